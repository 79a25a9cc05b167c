// The date page: the local date and time of the device.

#include "device_date_applet.h"

#include <cstdlib>
#include <ctime>

#include "support/callback.h"
#include "support/owned.h"
#include "support/xml.h"

namespace {

constexpr int date_size = 128;

} // namespace

int get_date(char *datebuf, int size) {
    if (datebuf == nullptr || size < date_size) {
        return -1;
    }
    const std::time_t now = std::time(nullptr);
    if (now == -1) {
        return -1;
    }
    tzset(); // the zone can change while the daemon runs
    struct tm local;
    if (localtime_r(&now, &local) == nullptr) {
        return -1;
    }
    const auto room = static_cast<std::size_t>(size);
    return std::strftime(datebuf, room, "%a %b %d %H:%M:%S %Z %Y", &local) > 0 ? 0 : -1;
}

int get_device_date(int /*flags*/, dc_args_t *dc) {
    if (dc == nullptr) {
        return -1;
    }
    if (dc->dc_type != TARROW_CB_ARGS_XML) {
        return 0;
    }
    mxml_node_t *root = dc->dc_data.dc_subnode;
    if (root == nullptr) {
        return -1;
    }
    mxml_node_t *element = tarrow::find_child(root, "date");
    if (element == nullptr) {
        return 0;
    }
    const tarrow::heap_string date(static_cast<char *>(std::malloc(date_size)));
    if (get_date(date.get(), date_size) != 0) {
        std::exit(1); // documented: the page gets no answer without a date
    }
    tarrow::move_last(root, element);
    tarrow::add_opaque(element, date.get());
    return 0;
}
