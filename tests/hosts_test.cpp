// The host tables: how much they hold, and how names are encoded.

#include "support/device.h"

#include "modules/device_management/host_tables.h"
#include "support/owned.h"

namespace {

class hosts_test : public device_test {
protected:
    ~hosts_test() override {
        bridge_list_free(&bridge);
        arp_list_free(&arp);
        dhcp_client_list_free(&leases);
        wireless_client_list_free(&stations);
    }

    bridge_fwd_list_t bridge = {};
    arp_list_t arp = {};
    dhcp_list_t leases = {};
    wireless_list_t stations = {};
};

/// A text 73 times, which is once more than a table holds.
std::string too_many(const std::string &entry) {
    std::string all;
    for (int i = 0; i < 73; ++i) {
        all += entry;
    }
    return all;
}

TEST_F(hosts_test, a_table_holds_72_hosts) {
    const std::string macs = "ports\n" + too_many("1 m no 0\n");
    const std::string clients = "count\n\n" + too_many("MAC Address: m\n");
    write_file("/run/instead/proc/net/arp", "header\n" + too_many("1.1.1.1 1 2 m x br0\n"));
    write_file("/run/instead/var/lib/udhcpd.leases", too_many(std::string(56, 'x')));
    EXPECT_EQ(arp_get(&arp), 0);
    EXPECT_EQ(arp.num_of_entries, 72);
    EXPECT_EQ(dhcp_sys_info_get(&leases), 0);
    EXPECT_EQ(leases.num_of_entries, 72);
    canned_output = macs.c_str();
    EXPECT_EQ(bridge_fwd_get(&bridge), 0);
    EXPECT_EQ(bridge.num_of_entries, 72);
    canned_output = clients.c_str();
    EXPECT_EQ(get_wireless_clients(&stations), 0);
    EXPECT_EQ(stations.num_of_entries, 72);
}

TEST_F(hosts_test, names_are_form_encoded) {
    const tarrow::heap_string escaped(escape_special_chars("\x01 ,-./09:@AZ[^_`az{\xc3\xa9~"));
    EXPECT_STREQ(escaped.get(), "%01+%2C-.%2F09%3A%40AZ%5B%5E_%60az%7B%C3%A9%7E");
}

} // namespace
