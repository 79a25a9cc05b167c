// The host tables themselves: what they hold, and that they hold no more; what no page shows of them.

#include "support/device.h"
#include "support/memory.h"
#include "support/transcript.h"

#include "../src/modules/device_management/device_management_applet.h"
#include "../src/modules/device_management/host_tables.h"
#include "../src/support/owned.h"

using namespace testing_device;

class hosts_test : public device_test {
protected:
    /// Reads a table; gives its entries joined by ", ", or its count when it has not been touched. Nothing may be
    /// written behind the table, and its release must free all.
    template <typename List, typename Show>
    static std::string read(int (*reader)(List *), void (*release)(List *), Show show) {
        struct {
            List table;
            char *guard[3];
        } memory = {};
        List &table = memory.table;
        table.num_of_entries = 99;
        fault = {.is_armed = true};
        EXPECT_EQ(reader(&table), 0);
        fault.is_armed = false;
        std::string text;
        const int count = table.num_of_entries == 99 ? 0 : table.num_of_entries;
        for (int i = 0; i < count; ++i) { text += (i > 0 ? ", " : "") + show(table.entry[i]); }
        fault.is_armed = true;
        release(&table);
        fault.is_armed = false;
        release(nullptr);
        EXPECT_EQ(fault.block_count, 0) << text;
        EXPECT_EQ(memory.guard[0], nullptr);
        EXPECT_EQ(reader(nullptr), -1);
        return table.num_of_entries == 99 ? "untouched" : text;
    }
    static std::string bridge() {
        return read(bridge_fwd_get, bridge_list_free, [](auto &e) { return std::string(e.port) + " " + e.mac; });
    }
    static std::string arp() {
        return read(arp_get, arp_list_free, [](auto &e) { return std::string(e.ip) + " " + e.mac; });
    }
    static std::string leases() {
        return read(dhcp_sys_info_get, dhcp_client_list_free, [](auto &e) {
            return std::string(e.ip) + " " + e.mac + " " + (e.hostname != nullptr ? e.hostname : "-");
        });
    }
    static std::string stations() {
        return read(get_wireless_clients, wireless_client_list_free,
                    [](auto &e) { return e.type + ("/" + std::string(e.mac)); });
    }
};

TEST_F(hosts_test, tables_hold_72_entries_and_no_more) {
    substitute("/system/usr/sbin/brctl", "#!/bin/sh\ncat /tmp/output\n");
    substitute("/system/usr/bin/wapctl", "#!/bin/sh\ncat /tmp/output\n");
    substitute("/proc/net/arp", "");
    struct {
        std::string (*read)();
        const char *path, *head, *row, *entry;
    } const rows[] = {
        {bridge, "/tmp/output", "h\n", "12345 no 0 x\n", "1234 5"},
        {stations, "/tmp/output", "h\nh\nMAC x\nother\n", "MAC Address: m\n", " /m"},
        {arp, "/proc/net/arp", "h\n", "1.1.1.1 1 2 m x br0\n", "1.1.1.1 m"},
        {leases, "/var/lib/udhcpd.leases", "", "\\(\xe9*56)", "233.233.233.233 e9:e9:e9:e9:e9:e9 \\(%E9*30)"},
    };
    for (const auto &[read, path, head, row, entry] : rows) {
        const std::string text = unescape(row), shown = unescape(entry);
        std::string many = head, all = shown;
        for (int i = 0; i < 100; ++i) { many += text; }
        for (int i = 1; i < 72; ++i) { all += ", " + shown; }
        write_file(path, many);
        EXPECT_EQ(read(), all);
        write_file(path, "");
        EXPECT_EQ(read(), "");
        write_file(path, head + text.substr(0, text.size() - 1));
        EXPECT_EQ(read(), *head != '\0' ? shown : ""); // the last line need not end, a record must be whole
    }
    output_of("rm /var/lib/udhcpd.leases");
    const no_descriptors none;
    EXPECT_EQ(bridge() + " " + stations() + " " + arp() + " " + leases(), "untouched  untouched untouched");
}

TEST_F(hosts_test, names_of_leases_are_escaped) {
    const std::string plain = "-.0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz";
    for (int byte = 1; byte < 256; ++byte) {
        const char text[] = {static_cast<char>(byte), 'x', '\0'};
        char code[] = "%00x";
        std::snprintf(code, sizeof(code), "%%%02Xx", byte);
        const tarrow::heap_string escaped(escape_special_chars(text));
        const bool is_plain = plain.find(text[0]) != std::string::npos;
        EXPECT_STREQ(escaped.get(), is_plain ? text : byte == ' ' ? "+x" : code);
    }
    EXPECT_EQ(escape_special_chars(nullptr), nullptr);
    write_file(
        "/var/lib/udhcpd.leases",
        unescape("\\0\\x1a\\x2b\\x3c\\x4d\\x5e\\(c*10)\\xc0\\xa8\\0dmy pc\\(\\0*31)"
                 "\\(\\x11*16)\\x01\\x02\\x03\\x04\\(\\0*30)\\(x*6)\\(\\x22*16)\\x05\\x06\\x07\\x08\\xe9\\(\\0*35)"));
    EXPECT_EQ(leases(), "192.168.0.100 00:1a:2b:3c:4d:5e my+pc, 1.2.3.4 11:11:11:11:11:11 -, "
                        "5.6.7.8 22:22:22:22:22:22 %E9");
}

TEST_F(hosts_test, lookups_and_handlers_take_what_is_missing) {
    EXPECT_NE(bridge().find("1 02:00:00:00:01:64"), std::string::npos); // as the bridge itself tells it
    char one[] = "1", mac[] = "aa";
    const bridge_fwd_list_t bridge = {3, {{nullptr, mac}, {one, nullptr}, {one, mac}, {one, mac}}};
    wireless_list_t many = {9999, {{nullptr, mac}, {nullptr, nullptr}}}; // a count that no table has
    EXPECT_EQ(is_connected_in_bridge("AA", &bridge), 1);
    EXPECT_EQ(is_connected_in_wlan("AA", &many), 1);
    for (const char *absent : {"a", "aaa", "", static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(is_connected_in_bridge(absent, &bridge), 0);
        EXPECT_EQ(is_connected_in_wlan(absent, &many), 0);
    }
    EXPECT_EQ(is_connected_in_bridge("aa", nullptr), 0);
    EXPECT_EQ(get_ip_address_from_arp("aa", nullptr), nullptr);
    EXPECT_EQ(get_ip_address_from_dhcp("aa", nullptr), nullptr);
    many.num_of_entries = -1;
    EXPECT_EQ(is_connected_in_wlan("aa", &many), 0);
    get_wireless_clients_for_interface("uap0", &many);
    get_wireless_clients_for_interface(nullptr, &many);
    get_wireless_clients_for_interface("uap0", nullptr);
    many.num_of_entries = 0;
    strings lines;
    recorded = &lines;
    for (const std::size_t length : {14U, 15U}) { // the longer name does not fit the command
        get_wireless_clients_for_interface(std::string(length, 'i').c_str(), &many);
    }
    recorded = nullptr;
    EXPECT_EQ(lines, strings{"/system/usr/bin/wapctl -i iiiiiiiiiiiiii sta_list"});
    wireless_client_entry_free(nullptr);
    EXPECT_EQ(calls(), strings{});
    EXPECT_EQ(get_connected_type(TARROW_ACTION_GET, nullptr), -1);
    EXPECT_EQ(calls()[0], "/usr/app/agent_client 0 /etc/init.d/device_management_pre_get.sh");
    EXPECT_EQ(get_connected_hosts(TARROW_ACTION_GET, nullptr), -1);
}
