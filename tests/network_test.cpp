// Network queries, on the device's live interfaces, routes, links and neighbours.

#include "support/device.h"

#include <linux/sockios.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "../src/modules/wan/wan_applet.h"
#include "../src/support/owned.h"

namespace {

using namespace testing_device;
using network_test = device_test;

std::string gateway(const char *interface) {
    char address[16] = "(none)";
    return get_gateway_address(interface, address) == 0 ? address : "(none)";
}

std::string ipv6(const char *interface) {
    char address[128] = {};
    return get_ipv6_address(interface, address) == 1 ? address : "(none)";
}

std::string by_ioctl(int request, const char *interface, int sock = -1) {
    char value[18] = "(untouched)";
    return get_by_ioctl(sock, request, interface, value) == 0 ? value : "(failed)";
}

TEST_F(network_test, is_ipv4_accepts_four_components) {
    for (const char *good : {"192.168.0.1", "0.0.0.0", "1..2.3", "1.2.3.", "000000000000255.1.1.1"}) {
        EXPECT_EQ(is_ipv4(good), 0) << good;
    }
    EXPECT_EQ(is_ipv4(nullptr), -1);
    EXPECT_EQ(is_ipv4(""), -1);
    EXPECT_EQ(log(), strings{});
    for (const char *bad :
         {"256.1.1.1", "1.2.3", "1.2.3.4.5", " 1.2.3.4", "1.2.3.-4", "1.2.3.4 ", "4294967296.1.1.1", "1.2.3.\xb2"}) {
        EXPECT_EQ(is_ipv4(bad), -1) << bad;
        EXPECT_EQ(log(), strings{"<43>is_ipv4: " + std::string(bad) + " is not valid\n"});
    }
}

TEST_F(network_test, mac_text) {
    const struct {
        const char *text;
        int result;
        const char *bytes;
    } cases[] = {
        {"00:1a:2B:3c:4d:5e", 1, "00:1A:2B:3C:4D:5E"},
        {"00-1a-2B-3c-4d-5e:6f", 1, "00:1A:2B:3C:4D:5E"},
        {"1:2:3", 0, "01:02:03:00:00:00"},
        {"100000001:2:3:4:5:", 1, "01:02:03:04:05:00"}, // low eight bits
        {"xx: 2:3", 0, "00:00:00:02:03:00"},
    };
    for (const auto &c : cases) {
        unsigned char bytes[6] = {9, 9, 9, 9, 9, 9};
        char text[18];
        EXPECT_EQ(ether_atoe(c.text, bytes), c.result) << c.text;
        EXPECT_STREQ(ether_etoa(bytes, text), c.bytes);
    }
}

TEST_F(network_test, addresses_of_live_interfaces) {
    const tarrow::unique_fd sock(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    EXPECT_EQ(by_ioctl(SIOCGIFADDR, "br0"), "192.168.1.1");
    EXPECT_EQ(by_ioctl(SIOCGIFNETMASK, "br0", sock.get()), "255.255.255.0");
    EXPECT_EQ(by_ioctl(SIOCGIFHWADDR, "br0", sock.get()), "02:00:00:00:01:01");
    EXPECT_EQ(by_ioctl(SIOCGIFDSTADDR, "ccinet0", sock.get()), "10.64.1.1");
    EXPECT_EQ(log(), strings{});
    EXPECT_EQ(by_ioctl(SIOCGIFBRDADDR, "br0"), "(untouched)");
    for (const char *bad : {"usb", "br0 and a name that no interface can have"}) {
        EXPECT_EQ(by_ioctl(SIOCGIFADDR, bad), "(failed)");
    }
    EXPECT_EQ(get_by_ioctl(-1, SIOCGIFADDR, nullptr, nullptr), -1);
    const no_descriptors limit;
    EXPECT_EQ(by_ioctl(SIOCGIFADDR, "br0"), "(failed)");
    EXPECT_EQ(log(), (strings{"<43>get_by_ioctl: ioctl isn't implemented\n", "<43>get_by_ioctl: ioctl is failed\n",
                              "<43>get_by_ioctl: ioctl is failed\n", "<43>get_by_ioctl: Null pointer\n",
                              "<43>get_by_ioctl: Socket creation is failed\n"}));
}

TEST_F(network_test, ipv6_addresses_come_from_ifconfig) {
    EXPECT_EQ(ipv6("ccinet0"), "2001:db8:64::2");
    for (const char *none : {"br0", "-a", "none; echo inet6 x y/z Global"}) {
        EXPECT_EQ(ipv6(none), "(none)"); // a link-local address does not count
    }
    EXPECT_EQ(ipv6(std::string(2000, 'x').c_str()), "(none)");
    substitute("/xbin/awk", "#!/bin/sh\nprintf %0200d 7\n"); // no "/" in what is read
    EXPECT_EQ(ipv6("ccinet0"), std::string(127, '0'));
    write_file("/xbin/awk", "#!/bin/sh\nprintf 'a:b\\n'\n");
    EXPECT_EQ(ipv6("ccinet0"), "a:b\n");
}

TEST_F(network_test, gateways_of_the_live_route_table) {
    EXPECT_EQ(gateway("xccinetx"), "10.64.1.1"); // the host route to the peer
    output_of("ip route replace default via 198.51.100.1 dev eth0");
    EXPECT_EQ(gateway("br0"), "198.51.100.1"); // whichever interface it is on
    output_of("ip route del default");
    EXPECT_EQ(log(), strings{});
    EXPECT_EQ(gateway("eth0"), "(none)");
    output_of("ip route replace default dev ccinet0");
    const no_descriptors limit;
    EXPECT_EQ(gateway("eth0"), "(none)");
    EXPECT_EQ(log(),
              (strings{"<43>get_gateway_address: read is failed \n", "<43>get_gateway_address: fopen is failed \n"}));
}

TEST_F(network_test, route_tables_of_any_form_end_the_scan) {
    const std::string good = "eth0\t00000000\t0100000A\t0003\t0\t0\t0\t00000000\t0\t0\t0\n";
    const struct {
        std::string table;
        const char *cellular, *other;
    } cases[] = {
        {"h\nlong-if-name-15 0300000A 0 5 0 0 0 FFFFFFFF 0 0 0\n" + good, "10.0.0.3", "10.0.0.1"},
        {"h\nname-of-sixteen- 0 0300000A 5 0 0 0 FFFFFFFF 0 0 0\n" + good, "(none)", "10.0.0.1"},
        {"h\nno route\n\n\xff\neth0 0 zz 3 0 0 0 0 0 0 0\neth0 0 -1 3 0 0 0 0 0 0 0\n"
         "eth0 0 123456789 3 0 0 0 0 0 0 0\neth0 0 0 3 0 0 x 0 0 0 0\n" +
             good,
         "(none)", "10.0.0.1"},
        {"h\neth0 0 0200000A 3 0 0 -1 0 0 99999999999999999999 0", "(none)", "10.0.0.2"},
        {"h\n" + std::string(10000, 'x') + " eth0 0 0 0 0 0 0 0\n" + good, "(none)", "10.0.0.1"},
        {std::string("h\nl 0 \0 1\n", 10) + good, "(none)", "10.0.0.1"},
        {good, "(none)", "(none)"}, // the first line is the header, whatever it holds
    };
    substitute("/proc/net/route", "");
    EXPECT_EQ(gateway("eth0"), "(none)");
    EXPECT_EQ(log(), strings{"<43>get_gateway_address: fscanf is failed \n"});
    for (const auto &c : cases) {
        write_file("/proc/net/route", c.table);
        EXPECT_EQ(gateway("ccinet0"), c.cellular) << c.table;
        EXPECT_EQ(gateway("eth0"), c.other) << c.table;
    }
}

TEST_F(network_test, links_follow_the_cable) {
    EXPECT_EQ(get_link_status("eth0"), 0);
    output_of("/sim/cable eth0 pull");
    EXPECT_EQ(get_link_status("eth0"), 1);
    output_of("/sim/cable eth0 plug");
    EXPECT_EQ(get_link_status("eth0"), 0);
    EXPECT_EQ(log(), strings{});
    EXPECT_EQ(get_link_status("none"), -2);
    EXPECT_EQ(get_link_status(nullptr), -1);
    const no_descriptors limit;
    EXPECT_EQ(get_link_status("eth0"), -1);
    EXPECT_EQ(log(), (strings{"<43>get_link_status: ETHTOOL_GLINK failed: No such device\n",
                              "<43>get_link_status: pointer is NULL \n", "<43>get_link_status: Socket error\n"}));
}

TEST_F(network_test, interface_presence) {
    EXPECT_EQ(if_wan_ifc_lives("CCINET0"), 1);
    EXPECT_EQ(if_wan_ifc_lives("usb"), 0); // link-local only
    output_of("ip addr add 2001:db8:7::1/64 dev usb nodad");
    EXPECT_EQ(if_wan_ifc_lives("usb"), 1);
    output_of("ip addr del 2001:db8:7::1/64 dev usb");
    // Only the first ten addresses are examined; those of lo come first.
    output_of("for i in 0 1 2 3 4 5 6 7 8 9; do ip addr add 127.1.0.$i/32 dev lo label lo:$i; done");
    EXPECT_EQ(if_wan_ifc_lives("lo:8"), 1);
    EXPECT_EQ(if_wan_ifc_lives("lo:9"), 0);
    output_of("for i in 0 1 2 3 4 5 6 7 8 9; do ip addr del 127.1.0.$i/32 dev lo; done");
    const pid_t child = fork(); // where no interface has an address every one counts as present
    if (child == 0) { _exit(unshare(CLONE_NEWNET) == 0 && if_wan_ifc_lives("none") == 1 ? 0 : 1); }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(if_wan_ifc_lives(nullptr), -1);
    const no_descriptors limit;
    EXPECT_EQ(if_wan_ifc_lives("br0"), -1);
    EXPECT_EQ(log(), (strings{"<43>if_wan_ifc_lives: Null pointer \n", "<43>if_wan_ifc_lives: socket is failed \n"}));
}

TEST_F(network_test, interface_names_come_from_the_devices_scripts) {
    const auto names = [] {
        const tarrow::heap_string wan(get_wan_interface()), eth(get_eth_interface());
        return std::string(wan ? wan.get() : "-") + " " + (eth ? eth.get() : "-");
    };
    set_setting("wan", "proto", "cellular");
    EXPECT_EQ(names(), "ccinet0 eth0");
    EXPECT_EQ(calls(), (strings{"/usr/app/get_wan_interface.sh", "/usr/app/get_eth_interface.sh"}));
    for (const char *script : {"get_wan_interface.sh", "get_eth_interface.sh"}) {
        write_file(std::string("/sim/fail/") + script, ""); // their exit status does not matter
    }
    write_file("/tmp/wan_ifc", "\n usb0 second");
    write_file("/tmp/eth_ifc", "interface-of-many-letters\n");
    EXPECT_EQ(names(), "usb0 interface");
    write_file("/tmp/wan_ifc", " \n ");
    output_of("rm /tmp/eth_ifc");
    EXPECT_EQ(names(), "- -");
}

TEST_F(network_test, hardware_addresses_of_neighbours) {
    output_of("ip neigh replace 192.168.1.77 lladdr 02:00:00:00:01:77 dev br0 nud permanent");
    EXPECT_STREQ(get_mac_from_ip("192.168.1.77"), "02:00:00:00:01:77");
    EXPECT_STREQ(get_mac_from_ip("192.168.1.77\n"), "");
    output_of("ip neigh del 192.168.1.77 dev br0");

    const std::string entry = " 0x1 0x2 aa:bb * br0\n";
    substitute("/proc/net/arp", "10.0.0.1" + entry + "10.0.0.1 1 2 a * b\n10.0.0.1 0x1 0x2 aa *\n\xff\n" +
                                    "10.0.0.1 0xFFFFFFFFFFFFFFFFFFFF 0x2 cc:dd:longer-than-a-mac * b\n");
    EXPECT_STREQ(get_mac_from_ip("10.0.0.1"), "cc:dd:longer-than"); // the first line is the header
    // A line longer than 99 characters is read in pieces.
    write_file("/proc/net/arp", "h\n" + std::string(99, 'x') + "10.0.0.2" + entry);
    EXPECT_STREQ(get_mac_from_ip("10.0.0.2"), "aa:bb");
    const no_descriptors limit;
    EXPECT_EQ(get_mac_from_ip("10.0.0.2"), nullptr);
    EXPECT_EQ(log(), strings{});
}

TEST_F(network_test, the_first_line_of_a_file) {
    char buffer[16] = "old";
    EXPECT_EQ(file_to_buf("/tmp/none", buffer, sizeof(buffer)), 0);
    EXPECT_STREQ(buffer, "");
    write_file("/tmp/line", "a line of 23 characters");
    EXPECT_EQ(file_to_buf("/tmp/line", buffer, sizeof(buffer)), 1);
    EXPECT_STREQ(buffer, "a line of 23 ch");
}

} // namespace
