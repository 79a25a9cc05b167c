// The applet table as a C daemon walks it.

#include "support/device.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <set>

#include "../src/owned.h"

namespace {

using namespace testing_device;
using applets_test = device_test;

// Pointers, and what they make of the alignment, differ between the device and this machine.
constexpr std::size_t ptr = sizeof(void *);
static_assert(offsetof(applet_info, di_version) == ptr);
static_assert(offsetof(applet_info, di_handler_upgrades) == 2 * ptr);
static_assert(offsetof(applet_info, di_handler_validate_func) == 3 * ptr);
static_assert(offsetof(applet_info, di_handler_pre_set_func) == 4 * ptr);
static_assert(offsetof(applet_info, di_handler_pre_set_cmd) == 5 * ptr);
static_assert(offsetof(applet_info, di_handler_post_set_func) == 6 * ptr);
static_assert(offsetof(applet_info, di_handler_post_set_cmd) == 7 * ptr);
static_assert(offsetof(applet_info, di_handler_pre_get_func) == 8 * ptr);
static_assert(offsetof(applet_info, di_handler_pre_get_cmd) == 9 * ptr);
static_assert(offsetof(applet_info, di_handler_post_get_func) == 10 * ptr);
static_assert(offsetof(applet_info, di_handler_post_get_cmd) == 11 * ptr);
static_assert(offsetof(applet_info, di_handler_dynamic) == 12 * ptr);
static_assert(offsetof(applet_info, di_rd) == 13 * ptr);
static_assert(offsetof(applet_info, di_fd) == 13 * ptr + 1 && sizeof(applet_info) == 14 * ptr);
static_assert(offsetof(dc_args_t, dc_type) == 0 && sizeof(dc_args_t::dc_type) == 2);
static_assert(offsetof(dc_args_t, dc_data) == ptr && offsetof(dc_args_t, dc_opaque) == 2 * ptr);
static_assert(offsetof(dlist_node_t, dn_meta) == 6000 * ptr && sizeof(dlist_node_t) == 6012 * ptr);

TEST_F(applets_test, rows_come_in_the_daemons_order_and_name_only_what_the_device_has) {
    constexpr std::array<const char *, 32> order = {"lan",
                                                    "firewall",
                                                    "wan",
                                                    "wlan_cli_scan",
                                                    "pin_puk",
                                                    "locale",
                                                    "management",
                                                    "device_management",
                                                    "wlan_settings",
                                                    "wlan_security",
                                                    "wlan_wps_client",
                                                    "wlan_mac_filters",
                                                    "custom_fw",
                                                    "port_forward_trigger",
                                                    "dynamic_dns",
                                                    "internet_access_control",
                                                    "device_date",
                                                    "statistics",
                                                    "diagnostic",
                                                    "restore_defaults",
                                                    "reboot",
                                                    "theme",
                                                    "last_login",
                                                    "control_telnet",
                                                    "file_sharing",
                                                    "upgrade_status",
                                                    "sysinfo",
                                                    "sms",
                                                    "contacts",
                                                    "gps",
                                                    "gps_location_indication",
                                                    "http_share"};
    int count = 0;
    const tarrow::heap<applet_info> table(tarrow_get_module_applets(&count));
    ASSERT_EQ(count, 32);
    std::set<std::string> scripts;
    for (std::size_t i = 0; i < order.size(); ++i) {
        const applet_info &row = table.get()[i];
        EXPECT_STREQ(row.di_modname, order[i]);
        EXPECT_EQ(row.di_version, 1);
        for (const char *script : {row.di_handler_pre_set_cmd, row.di_handler_post_set_cmd,
                                   row.di_handler_pre_get_cmd, row.di_handler_post_get_cmd}) {
            if (script != nullptr) {
                EXPECT_EQ(access(script, X_OK), 0) << script;
                EXPECT_NE(std::strstr(script, i < 19 || i > 20 ? order[i] : "/usr/sbin/"), nullptr);
                EXPECT_TRUE(scripts.insert(script).second) << script << " stands twice";
            }
        }
    }
    EXPECT_EQ(scripts.size(), 38U);
}

TEST_F(applets_test, each_call_gives_a_copy_of_its_own) {
    const tarrow::heap<applet_info> first(tarrow_get_module_applets(nullptr));
    std::memset(first.get(), 0, 32 * sizeof(applet_info));
    const tarrow::heap<applet_info> second(tarrow_get_module_applets(nullptr));
    EXPECT_STREQ(second.get()[31].di_modname, "http_share");
}

TEST_F(applets_test, handlers_refuse_records_that_they_do_not_take) {
    const tree page = parse("<m><pc_mac/><ip4/></m>");
    write_file("/tmp/local/ip", "192.168.1.100");
    dlist_node_t *no_list = nullptr;
    dc_args_t null_tree = {TARROW_CB_ARGS_XML, {nullptr}, nullptr};
    dc_args_t list = {TARROW_CB_ARGS_DLIST, {.dc_dlist = no_list}, nullptr};
    dc_args_t other = {3, {.dc_subnode = page.get()}, nullptr};
    const tarrow::heap<applet_info> table(tarrow_get_module_applets(nullptr));
    for (int i = 0; i < 32; ++i) {
        const applet_info &row = table.get()[i];
        for (tarrow_handler_t *handler :
             {row.di_handler_pre_set_func, row.di_handler_post_set_func,
              row.di_handler_pre_get_func, row.di_handler_post_get_func}) {
            for (dc_args_t *args : {static_cast<dc_args_t *>(nullptr), &null_tree, &list, &other}) {
                EXPECT_TRUE(handler == nullptr || handler(TARROW_ACTION_GET, args) == -1)
                    << row.di_modname;
            }
        }
    }
    EXPECT_EQ(serialise(page.get()), "<m><pc_mac /><ip4 /></m>");
    EXPECT_EQ(calls(), strings{});
}

} // namespace
