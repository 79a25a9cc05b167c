// Connected hosts: the four tables from their real sources and from hostile ones, and the document.

#include "support/device.h"

#include <cctype>
#include <cstring>

#include "../src/modules/device_management/device_management_applet.h"
#include "../src/modules/device_management/host_tables.h"
#include "../src/support/owned.h"

namespace {

using namespace testing_device;

/// Reads a table, gives its entries as "first/second " and releases it.
template <typename List, typename Show>
std::string read_table(int (*read)(List *), void (*release)(List *), Show show) {
    const auto table = std::make_unique<List>(List{});
    EXPECT_EQ(read(table.get()), 0);
    std::string text;
    for (int i = 0; i < table->num_of_entries; ++i) { text += show(table->entry[i]) + " "; }
    release(table.get());
    release(nullptr);
    EXPECT_EQ(read(nullptr), -1);
    return text;
}

class hosts_test : public device_test {
protected:
    static std::string bridge() {
        return read_table(bridge_fwd_get, bridge_list_free,
                          [](const auto &e) { return e.port + std::string("/") + e.mac; });
    }
    static std::string arp() {
        return read_table(arp_get, arp_list_free, [](const auto &e) { return e.ip + std::string("/") + e.mac; });
    }
    static std::string leases() {
        return read_table(dhcp_sys_info_get, dhcp_client_list_free, [](const auto &e) {
            return e.ip + std::string("/") + e.mac + "/" + (e.hostname != nullptr ? e.hostname : "-");
        });
    }
    static std::string stations() {
        return read_table(get_wireless_clients, wireless_client_list_free,
                          [](const auto &e) { return e.type + std::string(e.mac); });
    }
    static std::string repeat(const std::string &text, int count) {
        std::string all;
        for (int i = 0; i < count; ++i) { all += text; }
        return all;
    }
};

TEST_F(hosts_test, bridge_table) {
    const std::string usb = "1/02:00:00:00:01:64 ", station = "5/02:00:00:00:01:69 ";
    EXPECT_NE(bridge().find(usb), std::string::npos);
    EXPECT_NE(bridge().find(station), std::string::npos);
    output_of("/sim/cable usb pull");
    EXPECT_EQ(bridge().find(usb), std::string::npos);
    output_of("/sim/cable usb plug");
    EXPECT_NE(bridge().find(usb), std::string::npos);
    const std::string row = "  1 aa:bb No 0.1\n";
    const std::pair<std::string, std::string> cases[] = {
        {"h\n 1 aa yes 0\n 2 bb no 0\n three\n\xff\n 3 cc no\n", "2/bb "},
        {"h\n12345 no 0 x\n" + row, "1234/5 1/aa:bb "}, // at most 4 characters of a port number
        {"h\n" + std::string(10000, 'x') + "\n" + row, "1/aa:bb "},
        {"h\n" + repeat(row, 10000), repeat("1/aa:bb ", 72)},
        {"h\n 1 aa no 0.1", "1/aa "},
        {row, ""},
        {"", ""},
    };
    substitute("/system/usr/sbin/brctl", "#!/bin/sh\ncat /tmp/macs\n");
    for (const auto &[output, entries] : cases) {
        write_file("/tmp/macs", output);
        EXPECT_EQ(bridge(), entries);
    }
    output_of("rm /system/usr/sbin/brctl");
    EXPECT_EQ(bridge(), "");
    write_file("/system/usr/sbin/brctl", "");
}

TEST_F(hosts_test, arp_table) {
    EXPECT_NE(arp().find("192.168.1.100/02:00:00:00:01:64 "), std::string::npos);
    const std::string row = "10.0.0.1 0x1 0x0 aa:bb * BR0\n";
    const std::pair<std::string, std::string> cases[] = {
        {"h\n10.0.0.2 0x1 0x2 aa * eth0\n" + row + "10.0.0.3 1 2\n\xff\n", "10.0.0.1/aa:bb "},
        {"h\n" + std::string(127, 'x') + row, "10.0.0.1/aa:bb "}, // pieces of 127 characters
        {"h\n" + std::string(10000, 'x') + "\n" + repeat(row, 10000), repeat("10.0.0.1/aa:bb ", 72)},
        {"h\n" + std::string(30, '1') + " x x " + std::string(30, 'a') + " * br0",
         std::string(19, '1') + "/" + std::string(19, 'a') + " "},
        {row, ""},
    };
    substitute("/proc/net/arp", "");
    for (const auto &[table, entries] : cases) {
        write_file("/proc/net/arp", table);
        EXPECT_EQ(arp(), entries);
    }
}

TEST_F(hosts_test, lease_table) {
    const std::string name = "an-unterminated-name-of-30-byt";
    output_of("rm -f /var/lib/udhcpd.leases");
    EXPECT_EQ(leases(), "");
    output_of(
        "leases add 00:1A:2B:3C:4D:5E 192.168.0.100 'my pc' 9; leases add ff:00:00:00:00:01 1.2.3.4 '' 9; leases add "
        "00:00:00:00:00:02 255.0.0.1 " +
        name + "xyz 9; head -c 20 /dev/zero >> /var/lib/udhcpd.leases");
    EXPECT_EQ(output_of("leases list | head -1"), "00:1a:2b:3c:4d:5e 192.168.0.100 my pc\n");
    EXPECT_EQ(leases(), "192.168.0.100/00:1a:2b:3c:4d:5e/my+pc 1.2.3.4/ff:00:00:00:00:01/- "
                        "255.0.0.1/00:00:00:00:00:02/" +
                            name + " ");
    std::string records, escaped;
    for (int byte = 1; byte < 256; ++byte) { // a name of each byte
        char code[4];
        std::snprintf(code, sizeof(code), "%%%02X", byte);
        const char c = static_cast<char>(byte);
        escaped += c == ' '                                                                      ? "+"
                   : byte < 128 && (std::isalnum(byte) != 0 || std::strchr("_-.", c) != nullptr) ? std::string(1, c)
                                                                                                 : code;
        records += c;
        if (byte % 15 == 0) {
            write_file("/var/lib/udhcpd.leases",
                       std::string(20, 'a') + records + std::string(36 - records.size(), '\0'));
            EXPECT_EQ(leases(), "97.97.97.97/61:61:61:61:61:61/" + escaped + " ");
            records.clear(), escaped.clear();
        }
    }
    write_file("/var/lib/udhcpd.leases", std::string(5600, '\xe9'));
    EXPECT_EQ(leases(), repeat("233.233.233.233/e9:e9:e9:e9:e9:e9/" + repeat("%E9", 30) + " ", 72));
}

TEST_F(hosts_test, station_table) {
    EXPECT_EQ(stations(), " 02:00:00:00:01:69 ");
    output_of("/sim/station join 02:00:00:00:aa:bb");
    EXPECT_EQ(stations(), " 02:00:00:00:01:69  02:00:00:00:aa:bb ");
    output_of("/sim/station leave 02:00:00:00:aa:bb");
    calls();
    substitute("/system/usr/bin/wapctl", "#!/bin/sh\ncat /tmp/stations\n");
    const std::pair<std::string, std::string> cases[] = {
        {"1\n\nMAC Address: a\nMAC\nxx MAC Address:b\nMAC Address: \nother\n", " a  b "},
        {"MAC Address: a\nMAC Address: b\nMAC Address: " + std::string(30, 'c'), " " + std::string(19, 'c') + " "},
        {"1\n\n" + std::string(10000, 'x') + "\n" + repeat("MAC Address: a\n", 10000), repeat(" a ", 72)},
        {"1\n", ""},
    };
    for (const auto &[output, entries] : cases) {
        write_file("/tmp/stations", output);
        EXPECT_EQ(stations(), entries);
    }
    write_file("/tmp/stations", "1\n\nMAC Address: a\n");
    output_of("ip link set uap0 name away");
    EXPECT_EQ(stations(), ""); // nothing is asked
    output_of("ip link set away name uap0; ip link set uap0 up");
}

TEST_F(hosts_test, lookups) {
    char port1[] = "1", port5[] = "5", port12[] = "12", port0[] = "0", mac1[] = "aa", mac5[] = "bb", mac12[] = "cc";
    const bridge_fwd_list_t bridge = {5,
                                      {{port1, mac1}, {port5, mac5}, {port12, mac12}, {nullptr, mac5}, {port0, mac5}}};
    EXPECT_EQ(is_connected_in_bridge("AA", &bridge), 1);
    for (const char *absent : {"bb", "cc", "a", "", static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(is_connected_in_bridge(absent, &bridge), 0);
    }
    EXPECT_EQ(is_connected_in_bridge("aa", nullptr), 0);
    EXPECT_EQ(get_ip_address_from_dhcp("aa", nullptr), nullptr);
    const arp_list_t many = {9999, {{port5, mac1}}}; // a count that no table has
    EXPECT_STREQ(get_ip_address_from_arp("AA", &many), "5");
    EXPECT_EQ(get_ip_address_from_arp("x", &many), nullptr);
}

TEST_F(hosts_test, the_document_marks_filters_and_counts) {
    set_setting("device_management", "known_devices",
                "02:00:00:00:01:64#desk#1#2#USB 02:00:00:00:01:67#lan#1#2#USBx 02:00:00:00:01:69#tab#1#2#WLAN-5 "
                "02:00:00:00:01:99#gone#1#2#WLAN.x 02:00:00:00:01:64#desk#1#2#usb");
    output_of("rm -f /var/lib/udhcpd.leases; leases add 02:00:00:00:01:67 10.9.9.9 x 9;"
              "leases add 02:00:00:00:01:64 10.9.9.8 x 9");
    const auto hosts = [](const std::string &elements) {
        write_file("/tmp/request", "<device_management>" + elements + "<known_devices/></device_management>");
        std::string all = output_of("tarrow_host get device_management /tmp/request | tr -d '\\n '");
        for (const char *gone : {"<device_management>", "</device_management>", "<first_seen>1</first_seen>",
                                 "<last_seen>2</last_seen>", "02:00:00:00:01:"}) {
            for (std::size_t at = 0; (at = all.find(gone)) != std::string::npos;) {
                all.erase(at, std::string(gone).size());
            }
        }
        return all;
    };
    const std::string three =
        "<Itemindex=\"1\"><mac>64</mac><name>desk</name><type>USB</type><connected>1</"
        "connected><ip_address>192.168.1.100"
        "</ip_address></Item><Itemindex=\"2\"><mac>67</mac><name>lan</name><type>USBx</type><connected>1</connected>"
        "<ip_address>10.9.9.9</ip_address></Item><Itemindex=\"3\"><mac>69</mac><name>tab</name><type>WLAN</type>"
        "<connected>1</connected><ip_address>192.168.1.105</ip_address></Item>";
    const std::string others =
        "<Itemindex=\"4\"><mac>99</mac><name>gone</name><type>WLAN</type><connected>0</connected></Item>"
        "<Itemindex=\"5\"><mac>64</mac><name>desk</name><type>usb</type><connected>0</connected></Item>";
    EXPECT_EQ(hosts(""), "<known_devices>" + three + others + "</known_devices>");
    EXPECT_EQ(hosts("<connected>1</connected><nr_connected_dev/>"),
              "<connected>1</connected><nr_connected_dev>3</nr_connected_dev><known_devices>" + three +
                  "</known_devices>");
    EXPECT_EQ(hosts("<connected/>").find("gone") == std::string::npos, false);
    EXPECT_EQ(calls()[0], "/usr/app/agent_client 0 /etc/init.d/device_management_pre_get.sh");
}

TEST_F(hosts_test, each_request_begins_anew) {
    EXPECT_EQ(get_connected_type(TARROW_ACTION_GET, nullptr), -1);
    EXPECT_EQ(calls()[0], "/usr/app/agent_client 0 /etc/init.d/device_management_pre_get.sh");
    // A host in the first slot, one not connected, one in the last; a seventh field that no column names.
    const auto request = [](const std::string &elements) {
        const tree page = parse("<m>" + elements + "</m>");
        dc_args_t xml = {TARROW_CB_ARGS_XML, {.dc_subnode = page.get()}, nullptr};
        EXPECT_EQ(get_connected_type(TARROW_ACTION_GET, &xml), 0);
        list hosts("m#n#f#l#t#6#7", "02:00:00:00:01:64#n#f#l#USB#6#old 02:00:00:00:01:98#n#f#l#USB#6#old");
        std::free(std::exchange(hosts.get()->dn_meta[5], nullptr)); // five names, and one behind a gap
        std::swap(hosts.get()->dn_dlist[0], hosts.get()->dn_dlist[499]);
        dc_args_t table = {TARROW_CB_ARGS_DLIST, {.dc_dlist = hosts.get()}, nullptr};
        EXPECT_EQ(get_connected_hosts(TARROW_ACTION_GETLIST, &table), 0);
        EXPECT_STREQ(hosts.get()->dn_meta[6], "ip_address");
        EXPECT_EQ(get_connected_hosts(TARROW_ACTION_GET, &xml), 0);
        const char *type = hosts.get()->dn_dlist[1][4];
        return serialise(page.get()) + hosts.text() + (type != nullptr ? type : " nothing");
    };
    const std::string here = "02:00:00:00:01:64#n#f#l#USB#1#192.168.1.100";
    EXPECT_EQ(request("<connected>1</connected><nr_connected_dev/>"),
              "<m><connected>1</connected><nr_connected_dev>1</nr_connected_dev></m>" + here + " nothing");
    const std::string both = "02:00:00:00:01:98#n#f#l#USB#0 " + here + "USB";
    EXPECT_EQ(request("<x><connected>1</connected><nr_connected_dev/></x>"), // not for this module
              "<m><x><connected>1</connected><nr_connected_dev /></x></m>" + both);
    EXPECT_EQ(request("<connected>10</connected>"), "<m><connected>10</connected></m>" + both);
}

TEST_F(hosts_test, columns_that_do_not_fit_are_left_out_but_all_is_counted) {
    const tree page = parse("<m><nr_connected_dev/></m>");
    dc_args_t xml = {TARROW_CB_ARGS_XML, {.dc_subnode = page.get()}, nullptr};
    EXPECT_EQ(get_connected_type(TARROW_ACTION_GET, &xml), 0);
    std::string names = "m#n#f#l#t#6#7#8#9", record = "02:00:00:00:01:64#n#f#l#USB#6#7#8#9";
    for (const char *marks : {"#1#192.168.1.100", "#1", ""}) {
        names += "#x", record += "#x";
        list hosts(names, record);
        dc_args_t table = {TARROW_CB_ARGS_DLIST, {.dc_dlist = hosts.get()}, nullptr};
        EXPECT_EQ(get_connected_hosts(TARROW_ACTION_GETLIST, &table), 0);
        EXPECT_EQ(hosts.text(), record + marks);
    }
    EXPECT_EQ(get_connected_hosts(TARROW_ACTION_GET, &xml), 0);
    EXPECT_EQ(serialise(page.get()), "<m><nr_connected_dev>3</nr_connected_dev></m>");
}

} // namespace
