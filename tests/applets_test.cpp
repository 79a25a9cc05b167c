// The applet table as a C daemon walks it.

#include "support/device.h"

#include <cstring>
#include <sstream>
#include <unistd.h>

#include "../src/modules/device_date/device_date_applet.h"
#include "../src/modules/wlan_wps_client/wlan_wps_client_applet.h"
#include "../src/support/owned.h"

namespace {

using namespace testing_device;
using applets_test = device_test;

TEST_F(applets_test, the_table_row_by_row) {
    const std::string expected = read_file(TARROW_SOURCE_DIR "/tests/applet_table.txt");
    EXPECT_GT(expected.size(), 1000U);
    EXPECT_EQ(output_of("tarrow_host list"), expected);
    int count = 0;
    const tarrow::heap<applet_info> table(tarrow_get_module_applets(&count));
    ASSERT_EQ(count, 32);
    for (const applet_info *row = table.get(); row != table.get() + count; ++row) {
        EXPECT_EQ(row->di_version, 1);
        EXPECT_TRUE(row->di_handler_upgrades == nullptr && row->di_handler_dynamic == nullptr &&
                    row->di_handler_validate_func == nullptr && row->di_handler_post_get_cmd == nullptr);
        for (const char *script :
             {row->di_handler_pre_set_cmd, row->di_handler_post_set_cmd, row->di_handler_pre_get_cmd}) {
            EXPECT_TRUE(script == nullptr || access(script, X_OK) == 0) << script;
        }
    }
    std::memset(table.get(), 0, sizeof(applet_info)); // the copy is the caller's
    const tarrow::heap<applet_info> other(tarrow_get_module_applets(nullptr));
    EXPECT_STREQ(other.get()->di_modname, "lan");
}

TEST_F(applets_test, handlers_refuse_records_that_they_do_not_take) {
    const tree page = parse("<m><pc_mac/><ip4/></m>");
    write_file("/tmp/local/ip", "192.168.1.100");
    dc_args_t null_tree = {TARROW_CB_ARGS_XML, {nullptr}, nullptr};
    dc_args_t null_list = {TARROW_CB_ARGS_DLIST, {nullptr}, nullptr};
    dc_args_t other = {3, {.dc_subnode = page.get()}, nullptr};
    const tarrow::heap<applet_info> table(tarrow_get_module_applets(nullptr));
    for (const applet_info *row = table.get(); row != table.get() + 32; ++row) {
        for (tarrow_handler_t *handler : {row->di_handler_pre_set_func, row->di_handler_post_set_func,
                                          row->di_handler_pre_get_func, row->di_handler_post_get_func}) {
            for (dc_args_t *dc : {static_cast<dc_args_t *>(nullptr), &null_tree, &null_list, &other}) {
                const bool is_lenient = handler == wlan_wps_client_pre_set ||
                                        (handler == get_device_date && dc != nullptr && dc != &null_tree);
                const int refusal = is_lenient ? 0 : -1;
                EXPECT_TRUE(handler == nullptr || handler(4, dc) == refusal) << row->di_modname;
            }
        }
    }
    EXPECT_EQ(serialise(page.get()), "<m><pc_mac /><ip4 /></m>");
    for (const std::string &call : calls()) { // which runs before the record is looked at
        EXPECT_NE(call.find("/etc/init.d/device_management_pre_get.sh"), std::string::npos) << call;
    }
}

} // namespace
