// The applet table: a row for each module, in the order that the daemon sees.

#include "tarrow_applets.h"

#include <cstdlib>
#include <cstring>
#include <iterator>

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

} // namespace

applet_info *tarrow_get_module_applets(int *number) {
    auto *table = static_cast<applet_info *>(std::malloc(sizeof(rows)));
    if (table != nullptr) {
        std::memcpy(table, rows, sizeof(rows));
    }
    if (number != nullptr) {
        *number = static_cast<int>(std::size(rows));
    }
    return table;
}
