// The host tables: how much they hold, and what no page shows of them.

#include "support/transcript.h"

#include <cstring>

#include "../src/modules/device_management/host_tables.h"
#include "../src/support/owned.h"

namespace {

using namespace testing_device;
using hosts_test = device_test;

/// Reads a table; gives its entries, each with ", " behind it, or "untouched". Its release frees all.
template <typename List, int (*reader)(List *), void (*release)(List *)>
std::string read() {
    List table = {};
    table.num_of_entries = -1;
    EXPECT_EQ(reader(&table), 0);
    std::string all = table.num_of_entries < 0 ? "untouched" : "";
    for (int i = 0; i < table.num_of_entries; ++i) {
        char *texts[3] = {}; // an entry is nothing but texts
        std::memcpy(texts, &table.entry[i], sizeof(table.entry[i]));
        for (const char *text : texts) { all += text != nullptr ? text + std::string(" ") : ""; }
        all += ", ";
    }
    release(&table);
    return all;
}
constexpr auto bridge = read<bridge_fwd_list_t, bridge_fwd_get, bridge_list_free>;
constexpr auto stations = read<wireless_list_t, get_wireless_clients, wireless_client_list_free>;
constexpr auto arp = read<arp_list_t, arp_get, arp_list_free>;
constexpr auto leases = read<dhcp_list_t, dhcp_sys_info_get, dhcp_client_list_free>;

TEST_F(hosts_test, what_tables_and_commands_hold) {
    printed = output_of("/system/usr/sbin/brctl showmacs br0");
    EXPECT_NE(bridge().find("1 02:00:00:00:01:64 ,"), std::string::npos); // as the bridge itself tells it
    const struct {
        std::string (*read)();
        const char *path, *head, *row, *entry;
    } tables[] = {
        {bridge, "/tmp/printed", "h\n", "12345 no 0 x\n", "1234 5 , "},
        {stations, "/tmp/printed", "h\nh\nMAC x\nother\n", "MAC Address: m\n", "  m , "},
        {arp, "/proc/net/arp", "h\n", "1.1.1.1 1 2 m x br0\n", "1.1.1.1 m , "},
        {leases, "/var/lib/udhcpd.leases", "", "\\(\xe9*56)", "233.233.233.233 e9:e9:e9:e9:e9:e9 \\(%E9*30) , "},
    };
    for (const auto &[read, path, head, row, entry] : tables) {
        const std::string whole = unescape(row), shown = unescape(entry);
        const std::pair<std::string, std::string> contents[] = {
            {head + unescape("\\(" + whole + "*73)"), unescape("\\(" + shown + "*72)")},
            {head + whole.substr(0, whole.size() - 1), *head != '\0' ? shown : ""}, // a line need not end, but a lease
            {"", ""}};
        for (const auto &[content, expected] : contents) {
            printed = content;
            substitute(path, content);
            EXPECT_EQ(read(), expected);
        }
    }
    wireless_list_t list = {};
    get_wireless_clients_for_interface("14-characters:", &list);
    get_wireless_clients_for_interface("15-characters::", &list); // does not fit the command
    EXPECT_EQ(seen().back(), "$ /system/usr/bin/wapctl -i 14-characters: sta_list");
    list.num_of_entries = 9999; // which no table holds
    EXPECT_EQ(is_connected_in_wlan("m", &list), 0);
    EXPECT_STREQ(tarrow::heap_string(escape_special_chars("\x01 ,-./09:@AZ[^_`az{\xff")).get(),
                 "%01+%2C-.%2F09%3A%40AZ%5B%5E_%60az%7B%FF");
    limit_descriptors(0);
    EXPECT_EQ(bridge() + stations() + arp() + leases(), "untoucheduntoucheduntouched");
}

} // namespace
