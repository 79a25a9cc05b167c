// Null arguments, which any C caller can pass: the answer is the failure that the operation documents.

#include "support/device.h"

#include "../src/modules/contacts/contacts_applet.h"
#include "../src/modules/device_management/host_tables.h"
#include "../src/modules/sms/sms_applet.h"
#include "../src/modules/statistics/stat_api.h"
#include "../src/modules/statistics/statistics_applet.h"
#include "../src/modules/wan/wan_applet.h"
#include "../src/modules/wlan_settings/wlan_settings_applet.h"
#include "../src/tarrow_log.h"

namespace {

using namespace testing_device;
using arguments_test = device_test;

TEST_F(arguments_test, null_is_refused) {
    char text[20] = "text", *value = text;
    statistics_t counters = {};
    const std::pair<int, int> results[] = {
        {bridge_fwd_get(nullptr), -1},
        {arp_get(nullptr), -1},
        {dhcp_sys_info_get(nullptr), -1},
        {get_wireless_clients(nullptr), -1},
        {is_connected_in_wlan(nullptr, nullptr) + is_connected_in_bridge(nullptr, nullptr), 0},
        {escape_special_chars(nullptr) == nullptr, 1},
        {wan_info_gather(nullptr), 0},
        {vexorel_product_get_wan_link_status(nullptr), -1},
        {get_gateway_address(nullptr, text), -1},
        {get_ipv6_address(nullptr, text) + file_to_buf(nullptr, text, 4), 0},
        {ether_atoe(nullptr, nullptr), 0},
        {find_channel(nullptr), -1},
        {contacts_xml_set(nullptr), -1},
        {get_result(nullptr, nullptr), -1},
        {statistics_get(nullptr, &counters), 1},
        {write_io_meta_data(1, nullptr) + write_io_data(1, 1, nullptr), -2},
        {read_io_meta_data(0, nullptr) + read_io_data(0, 1, nullptr), -2},
        {dl_count_meta_fields(nullptr, ','), 0},
        {dl_get_meta_fields("a", nullptr, ','), 0},
        {dl_alloc_get_token(nullptr, ',') == nullptr, 1},
        {__tarrow_log_print(0, nullptr, nullptr), -1},
    };
    for (const auto &row : results) { EXPECT_EQ(row.first, row.second) << "row " << &row - results; }
    get_wireless_clients_for_interface(nullptr, nullptr);
    run_command(nullptr);
    get_start_end_date(nullptr, nullptr);
    dl_dlist_init(nullptr);
    dl_dlist_to_xmllist(nullptr, nullptr);
    dl_xmllist_to_dlist(nullptr, nullptr);
    dl_xmllist_get_set_type(nullptr, nullptr, nullptr);
    dl_dlist_to_variable(nullptr, nullptr, ',', ' ');
    dl_dlist_to_variable(&value, nullptr, ',', ' ');
    dl_free_dlist(nullptr);
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(calls(), strings{});
}

} // namespace
