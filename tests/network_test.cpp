// Network queries that no page reaches: forms of texts and tables, live interfaces, refusals.

#include "support/transcript.h"

#include <cstring>
#include <linux/sockios.h>
#include <sched.h>
#include <unistd.h>

#include "../src/modules/wan/wan_applet.h"

namespace {

using namespace testing_device;
using network_test = device_test;

std::string gateway(const char *interface) {
    char address[16] = "";
    return std::to_string(get_gateway_address(interface, address)) + " " + address;
}

std::string by_ioctl(int request, const char *interface) {
    char value[18] = "";
    return std::to_string(get_by_ioctl(-1, request, interface, value)) + " " + value;
}

TEST_F(network_test, texts_of_addresses) {
    EXPECT_EQ(is_ipv4("1..2.3") + is_ipv4("1.2.3.") + is_ipv4("000000000000255.1.1.1"), 0);
    for (const std::string text : {"256.1.1.1", "1.2.3", "1.2.3.4.5", "/1.2.3.4", "1.2.3.:", "4294967296.1.1.1"}) {
        EXPECT_EQ(is_ipv4(text.c_str()), -1);
        EXPECT_EQ(seen(), strings{"log <43>tarrow: is_ipv4: " + text + " is not valid\n"});
    }
    unsigned char bytes[6] = {9, 9, 9, 9, 9, 9};
    char text[18];
    EXPECT_EQ(ether_atoe("10000000000000000:1fe:x: 3c", bytes), 0);
    EXPECT_STREQ(ether_etoa(bytes, text), "FF:FE:00:00:3C:00");
    EXPECT_EQ(ether_atoe("1:2:3:4:5:6:7", bytes) + ether_atoe("a-B-3-4-5-", bytes), 2);
    EXPECT_STREQ(ether_etoa(bytes, text), "0A:0B:03:04:05:00");
}

TEST_F(network_test, tables_of_any_form) {
    substitute("/proc/net/arp", unescape("10 0x1 0x2 h * b\n10 1 0x2 n * b\n10 0x1 2 n * b\n10 0x1 0x2 n *\n"
                                         "101 0x1 0x2 n * b\n\\(x*99)10 0x1 0x2 in:pieces * b\n"));
    EXPECT_STREQ(get_mac_from_ip("10"), "in:pieces");
    substitute("/proc/net/route", ""); // without a header
    EXPECT_EQ(gateway("eth0"), "-1 ");
    // No routes, the first one for being the header; then, of a line 255 characters count, and of a name 15.
    const char routes[] = "h 0 1 3 0 0 0 FFFFFFFF 0 0 0\nname-of-sixteen- 0 2 3 0 0 0 FFFFFFFF 0 0 0\n\n"
                          "\\xff\ne 0 zz 3 0 0 0 FFFFFFFF 0 0 0\ne 0 -1 3 0 0 0 FFFFFFFF 0 0 0\n"
                          "e 0 123456789 3 0 0 0 FFFFFFFF 0 0 0\ne 0 3 3 0 0 x FFFFFFFF 0 0 0\n"
                          "e 0 0 0 0 0 0 0 FFFFFFFF\nl 0 \\0 1\nabcde 0 4 3 0 0 0 FFFFFFFF 0 0\\( *225)9\n"
                          "abcd 5 6 3 0 0 0 FFFFFFFF 0 0\\( *225)9\nname-of-fifteen 0 7 3 0 0 -1 0 0 9 9";
    substitute("/proc/net/route", unescape(routes));
    EXPECT_EQ(gateway("xccinetx") + " " + gateway("eth0"), "0 5.0.0.0 0 7.0.0.0");
    limit_descriptors(0);
    EXPECT_EQ(gateway("eth0"), "-1 ");
    EXPECT_EQ(get_mac_from_ip("10"), nullptr);
    EXPECT_EQ(seen(), (strings{"log <43>tarrow: get_gateway_address: fscanf is failed \n",
                               "log <43>tarrow: get_gateway_address: fopen is failed \n"}));
}

TEST_F(network_test, interfaces) {
    output_of("ip link add link-of-15-char type bridge; ip link set link-of-15-char address 02:00:00:00:0f:0f");
    EXPECT_EQ(get_link_status("link-of-15-chars"), 1);
    EXPECT_EQ(by_ioctl(SIOCGIFHWADDR, "link-of-15-char"), "0 02:00:00:00:0F:0F");
    EXPECT_EQ(by_ioctl(SIOCGIFHWADDR, "link-of-15-chars"), "-1 ");
    output_of("ip link del link-of-15-char");
    EXPECT_EQ(by_ioctl(SIOCGIFNETMASK, "br0"), "0 255.255.255.0");
    EXPECT_EQ(by_ioctl(SIOCGIFDSTADDR, "ccinet0"), "0 10.64.1.1");
    EXPECT_EQ(by_ioctl(SIOCGIFBRDADDR, "br0"), "0 ");
    EXPECT_EQ(get_link_status("none"), -2);
    // Only the first ten addresses are examined; those of lo come first.
    output_of("for i in 0 1 2 3 4 5 6 7 8 9; do ip addr add 127.1.0.$i/32 dev lo label lo:$i; done");
    EXPECT_EQ(if_wan_ifc_lives("LO:8") + 2 * if_wan_ifc_lives("lo:9"), 1);
    output_of("for i in 0 1 2 3 4 5 6 7 8 9; do ip addr del 127.1.0.$i/32 dev lo; done");
    // Where no interface has an address every one counts as present.
    EXPECT_EXIT(_exit(unshare(CLONE_NEWNET) == 0 ? if_wan_ifc_lives("none") : 9), testing::ExitedWithCode(1), "");
    limit_descriptors(0);
    EXPECT_EQ(if_wan_ifc_lives("br0"), -1);
    EXPECT_EQ(get_link_status("eth0"), -1);
    EXPECT_EQ(by_ioctl(SIOCGIFADDR, "br0"), "-1 ");
    EXPECT_EQ(get_by_ioctl(-1, SIOCGIFADDR, "br0", nullptr) + get_ipv6_address("br0", nullptr), -1);
    EXPECT_EQ(if_wan_ifc_lives(nullptr), -1);
    fault = {.is_armed = true, .first = 1}; // of memory
    EXPECT_EQ(is_ipv4("192.0.2.1"), -1);
    fault = {};
    EXPECT_EQ(seen(),
              (strings{"log <43>tarrow: get_by_ioctl: ioctl is failed\n",
                       "log <43>tarrow: get_by_ioctl: ioctl isn't implemented\n",
                       "log <43>tarrow: get_link_status: ETHTOOL_GLINK failed: No such device\n",
                       "$ /system/sbin/ifconfig lo:9 | /xbin/grep 'inet6.*Global' | /xbin/awk '{print $3}'",
                       "log <43>tarrow: if_wan_ifc_lives: socket is failed \n",
                       "log <43>tarrow: get_link_status: Socket error\n",
                       "log <43>tarrow: get_by_ioctl: Socket creation is failed\n",
                       "log <43>tarrow: get_by_ioctl: Null pointer\n",
                       "log <43>tarrow: if_wan_ifc_lives: Null pointer \n", "log <43>tarrow: is_ipv4: strdup failed"}));
}

TEST_F(network_test, limits_of_texts) {
    const std::string fits(1023 - 22 - 54, 'x'), rest = " | /xbin/grep 'inet6.*Global' | /xbin/awk '{print $3}'";
    char text[256] = {};
    printed = std::string(128, '0'); // without a "/"
    for (const std::string &name : {fits + "x", std::string(), std::string("-a"), fits}) {
        EXPECT_EQ(get_ipv6_address(name.c_str(), text), name == fits ? 1 : 0);
    }
    EXPECT_EQ(seen(), strings{"$ /system/sbin/ifconfig " + fits + rest});
    EXPECT_EQ(text, std::string(127, '0'));
    EXPECT_EQ(file_to_buf("/tmp/none", text, 127), 0);
    EXPECT_EQ(std::string(text, 127), std::string(127, '\0'));
    const std::pair<const char *, std::string> versions[] = {{"MAIMAINAP-\\(x*118), CP", "MAINAP-\\(x*118), "},
                                                             {"MAINAP-\\(x*119), ", "sw_version not in format!!"},
                                                             {"MAIN1, AP-2", "sw_version not in format!!"},
                                                             {"AP-1, MAIN", "sw_version:AP not in format!!"},
                                                             {"AP-1, ", "sw_version:MAIN not in format!!"}};
    for (const auto &[version, result] : versions) {
        std::strcpy(text, unescape(version).c_str());
        const bool is_good = result[0] == 'M';
        EXPECT_EQ(generate_sw_version(text), is_good ? 127 : -1);
        EXPECT_EQ(text, unescape(is_good ? result : version));
        EXPECT_EQ(seen(), is_good ? strings{} : strings{"log <43>tarrow: " + result});
    }
}

} // namespace
