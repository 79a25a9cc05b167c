// The Wi-Fi security page: whether an external WPS registrar is active, and the access point's WPS
// PIN.

#include "wlan_security_applet.h"

#include <array>

#include "support/callback.h"
#include "support/files.h"
#include "support/xml.h"

namespace {

/// Replaces the first characters of a text by the first bytes of a file: of the preferred one, or
/// of the other when that cannot be opened.
void read_either(const char *preferred, const char *other, char *text, std::size_t size) {
    if (!tarrow::read_bytes(preferred, text, size)) {
        tarrow::read_bytes(other, text, size);
    }
}

const char *get_ext_registrar_status() {
    char state = '0';
    read_either("/tmp/wsc/wdev0ap0/wsc_ext_reg.txt", "/tmp/wsc/wsc_ext_reg.txt", &state, 1);
    return state == '2' ? "1" : "0";
}

using pin_text = std::array<char, sizeof("73920518")>;

pin_text get_ap_pin() {
    pin_text pin = {"73920518"}; // the PIN when no file has one
    read_either("/tmp/wsc/wdev0ap0/wsc_ap_pin.txt", "/tmp/wsc/wsc_ap_pin.txt", pin.data(),
                pin.size() - 1);
    return pin;
}

} // namespace

int wlan_security_post_get(int /*flags*/, dc_args_t *dc) {
    mxml_node_t *root = tarrow::subtree_of(dc);
    if (root == nullptr) {
        return -1;
    }
    mxml_node_t *wlan0 = tarrow::find_child(root, "wlan0");
    if (mxml_node_t *element = tarrow::find_child(wlan0, "ext_registrar"); element != nullptr) {
        const char *status = get_ext_registrar_status();
        tarrow::move_last(wlan0, element);
        tarrow::add_opaque(element, status);
    }
    if (mxml_node_t *element = tarrow::find_child(wlan0, "ap_pin"); element != nullptr) {
        const pin_text pin = get_ap_pin();
        tarrow::move_last(wlan0, element);
        tarrow::add_opaque(element, pin.data());
    }
    return 0;
}
