// The WPS page: the result of the last WPS run.

#include "wlan_wps_client_applet.h"

#include <array>

#include "support/callback.h"
#include "support/files.h"
#include "support/xml.h"

namespace {

std::array<char, 2> get_wps_status() {
    std::array<char, 2> status = {"0"};
    tarrow::read_bytes("/tmp/wps/wps_result", status.data(), 1);
    return status;
}

} // namespace

int wlan_wps_client_post_get(int /*flags*/, dc_args_t *dc) {
    mxml_node_t *root = tarrow::subtree_of(dc);
    if (root == nullptr) {
        return -1;
    }
    if (mxml_node_t *element = tarrow::find_child(root, "wps_result"); element != nullptr) {
        const std::array<char, 2> status = get_wps_status();
        tarrow::move_last(root, element);
        tarrow::add_opaque(element, status.data());
    }
    return 0;
}

int wlan_wps_client_pre_set(int /*flags*/, dc_args_t * /*dc*/) {
    return 0;
}
