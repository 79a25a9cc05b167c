// The upgrade page: how much of a firmware image another process has written.

#include "upgrade_status_applet.h"

#include <algorithm>
#include <array>

#include "support/callback.h"
#include "support/files.h"
#include "support/xml.h"

namespace {

/// The number in the first 9 characters of a file's first line; nothing for a missing or empty
/// file.
std::optional<int> read_count(const char *path) {
    std::array<char, 10> line;
    if (tarrow::read_first_line(path, line.data(), line.size()).value_or(0) == 0) {
        return std::nullopt;
    }
    return tarrow::parse_number(line.data()).value_or(0);
}

/// The percentage written, plus 1, cut to a whole number.
int progress(int written, int total) {
    if (total == 0) {
        return 1;
    }
    const auto percents = static_cast<float>(written * 100.0 / total);
    const float figure = percents + 1.0F;
    // The page has room for nine characters.
    return static_cast<int>(std::clamp<double>(figure, -99999999, 999999999));
}

} // namespace

int get_upgrade_status(int /*flags*/, dc_args_t *dc) {
    mxml_node_t *root = tarrow::subtree_of(dc);
    if (root == nullptr) {
        return -1;
    }
    const auto total = read_count("/tmp/total_bytes.txt");
    const auto written = read_count("/tmp/wrote_bytes.txt");
    if (!total || !written) {
        return 0;
    }
    if (mxml_node_t *element = tarrow::find_child(root, "progress"); element != nullptr) {
        std::array<char, 10> text;
        std::snprintf(text.data(), text.size(), "%d", progress(*written, *total));
        tarrow::move_last(root, element);
        tarrow::add_opaque(element, text.data());
    }
    return 0;
}
