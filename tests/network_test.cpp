// Network queries: forms of texts and tables, live interfaces, refusals.

#include "support/device.h"

#include <cstring>
#include <linux/sockios.h>
#include <sched.h>

#include "modules/wan/wan_applet.h"

namespace {

using network_test = device_test;

TEST_F(network_test, components_of_an_address_are_empty_or_numbers_up_to_255) {
    EXPECT_EQ(is_ipv4("1..2."), 0);
    EXPECT_EQ(is_ipv4("000000000000255.1.1.1"), 0);
    EXPECT_EQ(is_ipv4(""), -1);
    EXPECT_EQ(events, strings());
    for (const std::string text : {"256.1.1.1", "1.2.3", "1.2.3.4.5", "1/.2.3.4", "1.2.3.:"}) {
        events.clear();
        EXPECT_EQ(is_ipv4(text.c_str()), -1);
        EXPECT_EQ(events, strings{"<43>tarrow: is_ipv4: " + text + " is not valid\n"});
    }
}

std::string mac_of(const char *text, int result) {
    unsigned char bytes[6] = {9, 9, 9, 9, 9, 9};
    char address[18];
    EXPECT_EQ(ether_atoe(text, bytes), result);
    return ether_etoa(bytes, address);
}

TEST_F(network_test, six_numbers_with_any_character_between_are_a_mac_address) {
    EXPECT_EQ(mac_of("a-B 3:4x5.6:7", 1), "0A:0B:03:04:05:06");
    EXPECT_EQ(mac_of("1::x:4:5:", 1), "01:00:00:00:04:05") << "nothing counts as 0";
    EXPECT_EQ(mac_of("1fe:2:3:4:5:6", 1), "FE:02:03:04:05:06") << "the low byte";
    EXPECT_EQ(mac_of("10000000000000000:2:3:4:5:6", 1), "FF:02:03:04:05:06");
    EXPECT_EQ(mac_of("1:2:3:4:5", 0), "01:02:03:04:05:00");
}

TEST_F(network_test, rows_of_the_arp_table) {
    const struct {
        const char *reason;
        std::string rows;
        const char *mac; // of 10.0.0.1
    } cases[] = {
        {"the first row of an address", "10.0.0.1 0x1 0x2 m * b\n10.0.0.1 0x1 0x2 n * b\n", "m"},
        {"flags without 0x", "10.0.0.1 0x1 2 m * b\n", ""},
        {"what follows 99 characters is a row", std::string(99, 'x') + "10.0.0.1 0x1 0x2 m * b\n",
         "m"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.reason);
        write_file("/run/instead/proc/net/arp", "10.0.0.1 0x1 0x2 header * b\n" + c.rows);
        EXPECT_STREQ(get_mac_from_ip("10.0.0.1"), c.mac);
    }
    limit_descriptors(0);
    EXPECT_EQ(get_mac_from_ip("10.0.0.1"), nullptr);
}

std::string gateway(const char *interface) {
    char address[16] = "none";
    get_gateway_address(interface, address);
    return address;
}

TEST_F(network_test, rows_of_the_route_table) {
    const struct {
        const char *reason;
        std::string row;
        const char *gateway;
    } cases[] = {
        {"the low byte comes first", "e 0 0201A8C0 3 0 0 0 0 0 0 0", "192.168.1.2"},
        {"an address that is no number", "e 0 zz 3 0 0 0 0 0 0 0", "7.0.0.0"},
        {"255 characters", "abcd 0 1 3 0 0 0 0 0 0" + std::string(232, ' ') + "0", "1.0.0.0"},
        {"256", "abcd 0 1 3 0 0 0 0 0 0" + std::string(233, ' ') + "0", "7.0.0.0"},
        {"an address of 9 digits", "e 0 123456789 3 0 0 0 0 0 0 0", "7.0.0.0"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.reason);
        write_file("/run/instead/proc/net/route",
                   "header 0 9 3 0 0 0 0 0 0 0\n" + c.row + "\neth0 0 7 3 0 0 0 0 0 0 0\n");
        EXPECT_EQ(gateway("eth0"), c.gateway);
    }
}

TEST_F(network_test, the_gateway_of_a_cellular_link_is_the_first_host_route) {
    write_file("/run/instead/proc/net/route", "header 1 0 3 0 0 0 FFFFFFFF 0 0 0\n"
                                              "ccinet0 0 7 3 0 0 0 0 0 0 0\n"
                                              "eth0 0100000A 0 5 0 0 0 FFFFFFFF 0 0 0\n");
    EXPECT_EQ(gateway("xccinetx"), "10.0.0.1");
    EXPECT_EQ(gateway("wlan0"), "7.0.0.0");
}

TEST_F(network_test, route_tables_without_a_gateway) {
    write_file("/run/instead/proc/net/route", "");
    EXPECT_EQ(gateway("eth0"), "none");
    write_file("/run/instead/proc/net/route", "header\n");
    EXPECT_EQ(gateway("eth0"), "none");
    limit_descriptors(0);
    EXPECT_EQ(gateway("eth0"), "none");
    EXPECT_EQ(events, (strings{"<43>tarrow: get_gateway_address: fscanf is failed \n",
                               "<43>tarrow: get_gateway_address: read is failed \n",
                               "<43>tarrow: get_gateway_address: fopen is failed \n"}));
}

TEST_F(network_test, values_of_interfaces) {
    const struct {
        int request;
        const char *interface;
        const char *value;
    } cases[] = {
        {SIOCGIFADDR, "ccinet0", "10.64.1.2"},    {SIOCGIFDSTADDR, "ccinet0", "10.64.1.1"},
        {SIOCGIFNETMASK, "br0", "255.255.255.0"}, {SIOCGIFHWADDR, "lo", "00:00:00:00:00:00"},
        {SIOCGIFBRDADDR, "br0", "unchanged"},
    };
    for (const auto &c : cases) {
        char value[18] = "unchanged";
        EXPECT_EQ(get_by_ioctl(-1, c.request, c.interface, value), 0);
        EXPECT_STREQ(value, c.value);
    }
    EXPECT_EQ(events, strings{"<43>tarrow: get_by_ioctl: ioctl isn't implemented\n"});
}

TEST_F(network_test, why_an_interface_cannot_be_asked_is_logged) {
    char value[18];
    EXPECT_EQ(get_by_ioctl(-1, SIOCGIFADDR, "lo", nullptr), -1);
    EXPECT_EQ(get_by_ioctl(-1, SIOCGIFADDR, "16-characters---", value), -1);
    EXPECT_EQ(get_link_status(nullptr), -1);
    EXPECT_EQ(get_link_status("none"), -2);
    EXPECT_EQ(if_wan_ifc_lives(nullptr), -1);
    limit_descriptors(0);
    EXPECT_EQ(get_by_ioctl(-1, SIOCGIFADDR, "lo", value), -1);
    EXPECT_EQ(get_link_status("lo"), -1);
    EXPECT_EQ(if_wan_ifc_lives("lo"), -1);
    EXPECT_EQ(events,
              (strings{"<43>tarrow: get_by_ioctl: Null pointer\n",
                       "<43>tarrow: get_by_ioctl: ioctl is failed\n",
                       "<43>tarrow: get_link_status: pointer is NULL \n",
                       "<43>tarrow: get_link_status: ETHTOOL_GLINK failed: No such device\n",
                       "<43>tarrow: if_wan_ifc_lives: Null pointer \n",
                       "<43>tarrow: get_by_ioctl: Socket creation is failed\n",
                       "<43>tarrow: get_link_status: Socket error\n",
                       "<43>tarrow: if_wan_ifc_lives: socket is failed \n"}));
}

TEST_F(network_test, an_interface_lives_when_it_is_among_the_first_ten_addresses) {
    output_of("for i in 0 1 2 3 4 5 6 7 8 9; do "
              "ip addr add 127.1.0.$i/32 dev lo label lo:$i; done"); // behind the one of lo
    EXPECT_EQ(if_wan_ifc_lives("LO:8"), 1);
    EXPECT_EQ(if_wan_ifc_lives("lo:9"), 0);
    output_of("for i in 0 1 2 3 4 5 6 7 8 9; do ip addr del 127.1.0.$i/32 dev lo; done");
}

TEST_F(network_test, every_interface_lives_where_none_has_an_address) {
    EXPECT_EXIT(_exit(unshare(CLONE_NEWNET) == 0 ? if_wan_ifc_lives("none") : 9),
                testing::ExitedWithCode(1), "");
}

TEST_F(network_test, names_and_addresses_of_ipv6) {
    const std::string longest(1023 - 22 - 54, 'x'); // what fits the command
    const std::string command = "+ /system/sbin/ifconfig " + longest +
                                " | /xbin/grep 'inet6.*Global' | /xbin/awk '{print $3}'";
    const std::string digits(128, '0'); // without the end of an address, "/"
    char text[128] = {};
    canned_output = digits.c_str();
    EXPECT_EQ(get_ipv6_address("", text), 0);
    EXPECT_EQ(get_ipv6_address("-a", text), 0);
    EXPECT_EQ(get_ipv6_address((longest + "x").c_str(), text), 0);
    EXPECT_EQ(get_ipv6_address(longest.c_str(), text), 1);
    EXPECT_EQ(text, std::string(127, '0'));
    EXPECT_EQ(events, strings{command});
}

TEST_F(network_test, a_version_is_shown_from_main_to_the_end_of_the_radios) {
    char text[256] = "x MAINAP-1, CP";
    EXPECT_EQ(generate_sw_version(text), 10);
    EXPECT_STREQ(text, "MAINAP-1, ");
    EXPECT_EQ(events, strings());
    for (const char *odd : {"AP-1, ", "AP-1, MAIN", "MAIN1, AP-2"}) {
        std::strcpy(text, odd);
        EXPECT_EQ(generate_sw_version(text), -1);
        EXPECT_STREQ(text, odd);
    }
    EXPECT_EQ(events, (strings{"<43>tarrow: sw_version:MAIN not in format!!",
                               "<43>tarrow: sw_version:AP not in format!!",
                               "<43>tarrow: sw_version not in format!!"}));
}

} // namespace
