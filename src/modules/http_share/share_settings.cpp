// The settings of the file-sharing page: where the SD card is used, and how HTTP shares it.

#include "http_share_applet.h"

#include <array>
#include <cstring>
#include <unistd.h>

#include "support/callback.h"
#include "support/command.h"
#include "support/files.h"
#include "support/settings.h"
#include "support/xml.h"
#include "tarrow_log.h"

using tarrow::counted;
using tarrow::find_below;

namespace {

constexpr char module[] = "http_share";
constexpr char mode_key[] = "sdcard_mode_option";
constexpr char state_key[] = "sd_card_state";
constexpr char status_key[] = "HTTP_SHARE_STATUS";
constexpr char wr_auth_key[] = "HTTP_SHARE_WR_AUTH";
constexpr char file_key[] = "HTTP_SHARE_FILE";

constexpr char default_device[] = "/dev/block/mmcblk0";
constexpr std::size_t device_size = 30; // of a buffer for the card's block device

int read_integer(const tarrow::store &settings, const char *key) {
    const qstr_t name = counted(key);
    return cfgdb_get_int(settings.get(), &name);
}

void store_integer(const tarrow::store &settings, const char *key, int value) {
    const qstr_t name = counted(key);
    cfgdb_set_int(settings.get(), &name, value);
}

/// Exports a block device to the computer. Returns false, and exports none, when the command line
/// does not fit: a cut path could be the path of another device.
bool export_card(const char *device) {
    tarrow::command_line<100> line;
    line.text(" echo ");
    if (device[std::strspn(device, "0123456789")] == '\0') { // a number before ">" is a descriptor
        line.text("'").text(device).text("'");
    } else {
        line.word(device);
    }
    line.text(">/sys/devices/platform/usb_mass_storage/lun1/file");
    if (line.complete()) {
        tarrow::run(line);
    }
    return line.complete();
}

/// Fills the element of a key, at any depth, with the stored number.
void fill_integer(const tarrow::store &settings, mxml_node_t *root, const char *key, int &field) {
    if (mxml_node_t *element = find_below(root, key); element != nullptr) {
        field = read_integer(settings, key);
        tarrow::add_integer(element, field);
    }
}

/// The same with the stored text, cut to the size of its field.
void fill_text(const tarrow::store &settings, mxml_node_t *root, const char *key, char *field,
               std::size_t size) {
    mxml_node_t *element = find_below(root, key);
    const tarrow::heap_string value =
        element != nullptr ? tarrow::value_of(settings, key) : nullptr;
    if (value) {
        std::snprintf(field, size, "%s", value.get());
        tarrow::add_text(element, field);
    }
}

} // namespace

int set_httpshare_mode(const char *mode) {
    const tarrow::store settings(mode != nullptr ? cfgdb_open(module) : nullptr);
    if (!settings) {
        return -1;
    }
    if (std::strcmp(mode, "http_share_mode") == 0) {
        store_integer(settings, mode_key, 1);
        tarrow::run("echo > /sys/devices/platform/usb_mass_storage/lun1/file");
        tarrow::run("echo \"http_share_remount\" > /data/panelui/event");
    } else {
        store_integer(settings, mode_key, 0);
        std::array<char, device_size> device = {};
        std::strcpy(device.data(), default_device);
        get_tcard_block(device.data());
        if (!export_card(device.data())) {
            export_card(default_device);
        }
    }
    return 0;
}

void get_tcard_block(char *device) {
    std::array<char, device_size + 1> word = {}; // one more, to detect a word that is too long
    tarrow::read_word("/tmp/tcard_block", word.data(), word.size());
    const std::size_t length = std::strlen(word.data());
    if (device != nullptr && length > 0 && length < device_size) {
        std::strcpy(device, word.data());
    }
}

int check_httpshare_file(const char *path) {
    const tarrow::store settings(path != nullptr ? cfgdb_open(module) : nullptr);
    if (!settings) {
        return -1;
    }
    if (read_integer(settings, state_key) != 1) {
        return 0;
    }
    return access(path, F_OK) == 0 ? 2 : 1;
}

int set_httpshare_auth_param(const char *status, const char *wr_auth, const char *file) {
    if (status == nullptr || wr_auth == nullptr || file == nullptr) {
        return -1;
    }
    const tarrow::store settings(cfgdb_open(module));
    if (!settings) {
        return -1;
    }
    tarrow::set_value(settings, status_key, status);
    tarrow::set_value(settings, wr_auth_key, wr_auth);
    tarrow::set_value(settings, file_key, file);
    return 0;
}

int http_share_xml_get(mxml_node_t *root) {
    http_share_info info = {};
    const tarrow::store settings(cfgdb_open(module));
    if (!settings) {
        return 0;
    }
    fill_integer(settings, root, mode_key, info.sdcard_mode_option);
    fill_integer(settings, root, state_key, info.sd_card_state);
    if (find_below(root, status_key) != nullptr) {
        __tarrow_log_print(0, nullptr, "begin");
    }
    fill_text(settings, root, status_key, info.http_share_status, sizeof(info.http_share_status));
    fill_text(settings, root, wr_auth_key, info.http_share_wr_auth,
              sizeof(info.http_share_wr_auth));
    fill_text(settings, root, file_key, info.http_share_file, sizeof(info.http_share_file));
    tarrow::add_text(find_below(root, "HTTP_SHARE_CARD_USRER"), info.http_share_card_user);
    return 0;
}

int http_share_post_get(int /*flags*/, dc_args_t *dc) {
    mxml_node_t *root = tarrow::subtree_of(dc);
    return root != nullptr ? http_share_xml_get(root) : -1;
}
