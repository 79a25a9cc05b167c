// The applet table: one row a module, in the order in which the daemon walks it.

#include "tarrow_applets.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>
#include <utility>

#include "modules/contacts/contacts_applet.h"
#include "modules/device_date/device_date_applet.h"
#include "modules/device_management/device_management_applet.h"
#include "modules/diagnostic/diagnostic_applet.h"
#include "modules/http_share/http_share_applet.h"
#include "modules/pin_puk/pin_puk_applet.h"
#include "modules/sms/sms_applet.h"
#include "modules/statistics/statistics_applet.h"
#include "modules/upgrade_status/upgrade_status_applet.h"
#include "modules/wan/wan_applet.h"
#include "modules/wlan_cli_scan/wlan_cli_scan_applet.h"
#include "modules/wlan_security/wlan_security_applet.h"
#include "modules/wlan_wps_client/wlan_wps_client_applet.h"

namespace {

// The rows are constants of the compiler's alone. In the library each pointer among constants would
// cost the loader a relocation, so the texts are there in one piece and the functions as code.
constexpr applet_info rows[] = {
    {.di_modname = "lan",
     .di_version = 1,
     .di_handler_pre_set_cmd = "/etc/init.d/lan_pre_set.sh",
     .di_handler_post_set_cmd = "/etc/init.d/lan_post_set.sh",
     .di_rd = ' ',
     .di_fd = '#'},
    {.di_modname = "firewall",
     .di_version = 1,
     .di_handler_pre_set_cmd = "/etc/init.d/firewall_pre_set.sh",
     .di_handler_post_set_cmd = "/etc/init.d/firewall_post_set.sh"},
    {.di_modname = "wan",
     .di_version = 1,
     .di_handler_pre_set_cmd = "/etc/init.d/wan_pre_set.sh",
     .di_handler_post_set_cmd = "/etc/init.d/wan_post_set.sh",
     .di_handler_pre_get_func = wan_pc_mac_get,
     .di_handler_post_get_func = wan_get,
     .di_rd = '^',
     .di_fd = '%'},
    {.di_modname = "wlan_cli_scan",
     .di_version = 1,
     .di_handler_post_set_cmd = "/etc/init.d/wlan_cli_scan_post_set.sh",
     .di_handler_pre_get_cmd = "/etc/init.d/wlan_cli_scan_pre_get.sh",
     .di_handler_post_get_func = wlan_cli_scan_post_get,
     .di_rd = '#',
     .di_fd = '@'},
    {.di_modname = "pin_puk",
     .di_version = 1,
     .di_handler_post_set_func = pin_puk_post_set,
     .di_handler_post_get_func = pin_puk_post_get},
    {.di_modname = "locale",
     .di_version = 1,
     .di_handler_post_set_cmd = "/etc/init.d/locale_config.sh"},
    {.di_modname = "management",
     .di_version = 1,
     .di_handler_pre_set_cmd = "/etc/init.d/management_pre_set.sh",
     .di_handler_post_set_cmd = "/etc/init.d/management_post_set.sh"},
    {.di_modname = "device_management",
     .di_version = 1,
     .di_handler_post_set_cmd = "/etc/init.d/device_management_post_set.sh",
     .di_handler_pre_get_func = get_connected_type,
     .di_handler_post_get_func = get_connected_hosts,
     .di_rd = ' ',
     .di_fd = '#'},
    {.di_modname = "wlan_settings",
     .di_version = 1,
     .di_handler_pre_set_cmd = "/etc/init.d/wlan_settings_pre_set.sh",
     .di_handler_post_set_cmd = "/etc/init.d/wlan_settings_post_set.sh"},
    {.di_modname = "wlan_security",
     .di_version = 1,
     .di_handler_pre_set_cmd = "/etc/init.d/wlan_security_pre_set.sh",
     .di_handler_post_set_cmd = "/etc/init.d/wlan_security_post_set.sh",
     .di_handler_post_get_func = wlan_security_post_get},
    {.di_modname = "wlan_wps_client",
     .di_version = 1,
     .di_handler_pre_set_func = wlan_wps_client_pre_set,
     .di_handler_pre_set_cmd = "/etc/init.d/wlan_wps_client_pre_set.sh",
     .di_handler_post_set_cmd = "/etc/init.d/wlan_wps_client_post_set.sh",
     .di_handler_post_get_func = wlan_wps_client_post_get},
    {.di_modname = "wlan_mac_filters",
     .di_version = 1,
     .di_handler_pre_set_cmd = "/etc/init.d/wlan_mac_filters_pre_set.sh",
     .di_handler_post_set_cmd = "/etc/init.d/wlan_mac_filters_post_set.sh",
     .di_rd = ' ',
     .di_fd = '-'},
    {.di_modname = "custom_fw",
     .di_version = 1,
     .di_handler_post_set_cmd = "/etc/init.d/custom_fw_post_set.sh",
     .di_rd = ' ',
     .di_fd = '#'},
    {.di_modname = "port_forward_trigger",
     .di_version = 1,
     .di_handler_post_set_cmd = "/etc/init.d/port_forward_trigger_post_set.sh",
     .di_rd = '#',
     .di_fd = ':'},
    {.di_modname = "dynamic_dns",
     .di_version = 1,
     .di_handler_pre_set_cmd = "/etc/init.d/dynamic_dns_pre_set.sh",
     .di_handler_post_set_cmd = "/etc/init.d/dynamic_dns_post_set.sh",
     .di_rd = '^',
     .di_fd = '%'},
    {.di_modname = "internet_access_control",
     .di_version = 1,
     .di_handler_post_set_cmd = "/etc/init.d/internet_access_control_post_set.sh",
     .di_rd = ' ',
     .di_fd = '#'},
    {.di_modname = "device_date", .di_version = 1, .di_handler_post_get_func = get_device_date},
    {.di_modname = "statistics",
     .di_version = 1,
     .di_handler_post_set_cmd = "/etc/init.d/statistics_post_set.sh",
     .di_handler_post_get_func = stat_get},
    {.di_modname = "diagnostic",
     .di_version = 1,
     .di_handler_pre_set_func = execute_command,
     .di_handler_post_get_func = command_output},
    {.di_modname = "restore_defaults",
     .di_version = 1,
     .di_handler_pre_get_cmd = "/usr/sbin/restore_defaults.sh"},
    {.di_modname = "reboot", .di_version = 1, .di_handler_pre_get_cmd = "/usr/sbin/reboot.sh"},
    {.di_modname = "theme",
     .di_version = 1,
     .di_handler_post_set_cmd = "/etc/init.d/theme_config.sh"},
    {.di_modname = "last_login",
     .di_version = 1,
     .di_handler_post_set_cmd = "/etc/init.d/last_login.sh"},
    {.di_modname = "control_telnet",
     .di_version = 1,
     .di_handler_post_set_cmd = "/etc/init.d/control_telnet.sh"},
    {.di_modname = "file_sharing",
     .di_version = 1,
     .di_handler_post_set_cmd = "/etc/init.d/file_sharing_post_set.sh"},
    {.di_modname = "upgrade_status",
     .di_version = 1,
     .di_handler_pre_get_func = get_upgrade_status},
    {.di_modname = "sysinfo",
     .di_version = 1,
     .di_handler_post_set_cmd = "/etc/init.d/sysinfo_config.sh"},
    {.di_modname = "sms",
     .di_version = 1,
     .di_handler_pre_set_func = sms_pre_set,
     .di_handler_post_set_cmd = "/etc/init.d/sms_post_set.sh",
     .di_handler_pre_get_func = sms_pre_get,
     .di_handler_post_get_func = sms_post_get,
     .di_rd = ' ',
     .di_fd = '#'},
    {.di_modname = "contacts",
     .di_version = 1,
     .di_handler_post_set_func = contacts_post_set,
     .di_handler_pre_get_cmd = "/etc/init.d/contacts_pre_get.sh",
     .di_rd = '^',
     .di_fd = ':'},
    {.di_modname = "gps", .di_version = 1, .di_handler_pre_get_cmd = "/etc/init.d/gps_pre_get.sh"},
    {.di_modname = "gps_location_indication",
     .di_version = 1,
     .di_handler_pre_set_cmd = "/etc/init.d/gps_location_indication_pre_set.sh",
     .di_handler_post_set_cmd = "/etc/init.d/gps_location_indication_post_set.sh"},
    {.di_modname = "http_share", .di_version = 1, .di_handler_post_set_func = http_share_post_set},
};
constexpr std::size_t row_count = std::size(rows);

/// The texts that a row may have, in their order among the packed ones.
constexpr const char *applet_info::*texts[] = {
    &applet_info::di_modname, &applet_info::di_handler_pre_set_cmd,
    &applet_info::di_handler_post_set_cmd, &applet_info::di_handler_pre_get_cmd};

constexpr std::size_t packed_size() {
    std::size_t size = 0;
    for (const applet_info &row : rows) {
        for (const auto text : texts) {
            size += row.*text != nullptr ? std::char_traits<char>::length(row.*text) : 0;
        }
        size += std::size(texts) + 3;
    }
    return size;
}

/// For each row its texts, each with its NUL (an absent one is empty), version and delimiters.
constexpr auto packed_rows = [] {
    std::array<char, packed_size()> packed = {};
    std::size_t end = 0;
    for (const applet_info &row : rows) {
        for (const auto text : texts) {
            for (const char *c = row.*text; c != nullptr && *c != '\0'; ++c) {
                packed[end++] = *c;
            }
            ++end;
        }
        packed[end++] = static_cast<char>(row.di_version);
        packed[end++] = row.di_rd;
        packed[end++] = row.di_fd;
    }
    return packed;
}();

void unpack(applet_info *table) {
    const char *packed = packed_rows.data();
    for (applet_info *row = table; row != table + row_count; ++row) {
        for (const auto text : texts) {
            row->*text = *packed != '\0' ? packed : nullptr;
            packed += std::strlen(packed) + 1;
        }
        row->di_version = static_cast<unsigned char>(*packed++);
        row->di_rd = *packed++;
        row->di_fd = *packed++;
    }
}

template <std::size_t Row>
void set_functions(applet_info &row) {
    constexpr applet_info model = rows[Row];
    if constexpr (model.di_handler_pre_set_func != nullptr) {
        row.di_handler_pre_set_func = model.di_handler_pre_set_func;
    }
    if constexpr (model.di_handler_post_set_func != nullptr) {
        row.di_handler_post_set_func = model.di_handler_post_set_func;
    }
    if constexpr (model.di_handler_pre_get_func != nullptr) {
        row.di_handler_pre_get_func = model.di_handler_pre_get_func;
    }
    if constexpr (model.di_handler_post_get_func != nullptr) {
        row.di_handler_post_get_func = model.di_handler_post_get_func;
    }
}

template <std::size_t... Row>
void set_all_functions(applet_info *table, std::index_sequence<Row...> /*rows*/) {
    (set_functions<Row>(table[Row]), ...);
}

} // namespace

applet_info *tarrow_get_module_applets(int *number) {
    auto *table = static_cast<applet_info *>(std::calloc(row_count, sizeof(applet_info)));
    if (table != nullptr) {
        unpack(table);
        set_all_functions(table, std::make_index_sequence<row_count>());
    }
    if (number != nullptr) {
        *number = static_cast<int>(row_count);
    }
    return table;
}
