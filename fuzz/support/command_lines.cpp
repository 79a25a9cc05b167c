// Command lines as the shell takes them apart.

#include "world.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <vector>

namespace fuzz {
namespace {

struct token {
    std::string value; // without its quotes
    bool is_operator = false;
    bool is_live = false; // the shell makes something else of it
};
using tokens = std::vector<token>;

/// Takes a line apart; a quote that is not closed gives a live token.
tokens split(const std::string &line) {
    tokens found;
    bool in_word = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (c == ' ' || c == '\t') {
            in_word = false;
            continue;
        }
        if (std::string("|&;<>()\n").find(c) != std::string::npos) {
            found.push_back({{c}, true});
            in_word = false;
            continue;
        }
        if (!in_word) { found.emplace_back(); }
        token &word = found.back();
        if (c == '\'' || c == '"') {
            const std::size_t end = std::min(line.find(c, i + 1), line.size());
            const std::string quoted = line.substr(i + 1, end - i - 1);
            word.is_live |= end == line.size() || (c == '"' && quoted.find_first_of("$`\\") != std::string::npos);
            word.value += quoted;
            i = end;
        } else if (c == '\\') {
            word.is_live |= ++i == line.size();
            word.value += line[std::min(i, line.size() - 1)];
        } else {
            word.is_live |=
                std::string("$`*?[]{}!").find(c) != std::string::npos || (!in_word && (c == '#' || c == '~'));
            word.value += c;
        }
        in_word = true;
    }
    return found;
}

bool matches(const token &known, const token &found) {
    const char kind = known.value.empty() || known.is_operator ? '\0' : known.value.back();
    if (kind != '%' && kind != '@') {
        return known.value == found.value && known.is_operator == found.is_operator && known.is_live == found.is_live;
    }
    const std::string fixed = known.value.substr(0, known.value.size() - 1);
    const std::string outside = found.value.substr(std::min(fixed.size(), found.value.size()));
    const auto is_code = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == ','; };
    return !found.is_operator && !found.is_live && found.value.compare(0, fixed.size(), fixed) == 0 &&
           (kind == '%' || std::all_of(outside.begin(), outside.end(), is_code));
}

std::vector<tokens> load_known() {
    std::vector<tokens> known;
    std::ifstream lines(TARROW_SOURCE_DIR "/fuzz/commands.txt");
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("# ", 0) != 0) { known.push_back(split(line)); }
    }
    int count = 0;
    const std::unique_ptr<applet_info, decltype(&std::free)> rows(tarrow_get_module_applets(&count), &std::free);
    for (const applet_info *row = rows.get(); row != rows.get() + count; ++row) {
        for (const char *script : {row->di_handler_pre_set_cmd, row->di_handler_post_set_cmd,
                                   row->di_handler_pre_get_cmd, row->di_handler_post_get_cmd}) {
            if (script != nullptr) {
                known.push_back(split(script + std::string(" %")));
                known.push_back(split(script + std::string(" % %")));
            }
        }
    }
    require(known.size() > 40, "the known commands could be read");
    return known;
}

} // namespace

bool is_known_command(const std::string &line) {
    static const std::vector<tokens> known = load_known();
    const tokens found = split(line);
    const bool may_be_cut = line.size() > 254; // at the shortest of the limits
    return std::any_of(known.begin(), known.end(), [&](const tokens &shape) {
        if (found.empty() || found.size() > shape.size() || (found.size() < shape.size() && !may_be_cut)) {
            return false;
        }
        const std::size_t last = found.size() - 1;
        return std::equal(found.begin(), found.begin() + static_cast<std::ptrdiff_t>(last), shape.begin(),
                          [](const token &f, const token &k) { return matches(k, f); }) &&
               (matches(shape[last], found[last]) ||
                (may_be_cut && shape[last].value.rfind(found[last].value, 0) == 0));
    });
}

} // namespace fuzz
