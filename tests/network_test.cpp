// Network queries that no page reaches: forms of texts and tables, live interfaces, refusals.

#include "support/memory.h"
#include "support/transcript.h"

#include <cerrno>
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
using rows = std::vector<std::pair<std::string, std::string>>;

std::string gateway(const char *interface) {
    char address[16] = "";
    return std::to_string(get_gateway_address(interface, address)) + " " + address;
}

std::string by_ioctl(int request, const char *interface, int sock = -1) {
    char value[18] = "";
    return std::to_string(get_by_ioctl(sock, request, interface, value)) + " " + value;
}

TEST_F(network_test, texts_of_addresses) {
    for (const char *good : {"192.168.0.1", "1..2.3", "1.2.3.", "000000000000255.1.1.1"}) {
        EXPECT_EQ(is_ipv4(good), 0) << good;
    }
    EXPECT_EQ(is_ipv4(nullptr) + is_ipv4(""), -2);
    EXPECT_EQ(log(), strings{});
    for (const std::string bad : {"256.1.1.1", "1.2.3", "1.2.3.4.5", " 1.2.3.4", "1.2.3.a", "4294967296.1.1.1"}) {
        EXPECT_EQ(is_ipv4(bad.c_str()), -1) << bad;
        EXPECT_EQ(log(), strings{"<43>is_ipv4: " + bad + " is not valid\n"});
    }
    for (const auto &[read, written] : rows{{"00:1a:2B:3c:4d:5e", "1 00:1A:2B:3C:4D:5E"},
                                            {"00-1a-2B-3c-4d-5e:6f", "1 00:1A:2B:3C:4D:5E"},
                                            {"1FF:2:3:4:5:", "1 FF:02:03:04:05:00"},
                                            {"10000000000000000:100000001:x: 3", "0 FF:01:00:00:03:00"}}) {
        unsigned char bytes[6] = {9, 9, 9, 9, 9, 9};
        char text[18];
        const std::string result = std::to_string(ether_atoe(read.c_str(), bytes));
        EXPECT_EQ(result + " " + ether_etoa(bytes, text), written);
    }
}

TEST_F(network_test, tables_of_any_form) {
    const std::string good = "10.0.0.1 0x1 0x2 a:b * br0\n", end = "FFFFFFFF 0 0 0\n", wide(225, ' ');
    substitute("/proc/net/arp", good + "10.0.0.1 1 0x2 x * b\n10.0.0.1 0x1 2 x * b\n10.0.0.1 0x1 0x2 x *\n");
    EXPECT_STREQ(get_mac_from_ip("10.0.0.1"), ""); // the first line is the header
    write_file("/proc/net/arp", "h\n10.0.0.11 0x1 0x2 x * b\n" + std::string(99, 'x') + good); // read in pieces
    EXPECT_STREQ(get_mac_from_ip("10.0.0.1"), "a:b");
    write_file("/proc/net/route", "");
    EXPECT_EQ(gateway("eth0"), "-1 ");
    EXPECT_EQ(log(), strings{"<43>get_gateway_address: fscanf is failed \n"});
    std::string table = "h 0 1 3 0 0 0 " + end + "name-of-sixteen- 0 2 3 0 0 0 " + end + "no route\n\n\xff\n";
    table +=
        "e 0 zz 3 0 0 0 " + end + "e 0 -1 3 0 0 0 " + end + "e 0 123456789 3 0 0 0 " + end + "e 0 3 3 0 0 x " + end;
    table += "e 0 0 0 0 0 0 0 FFFFFFFF\n" + std::string("l 0 \0 1\n", 8);
    // 255 characters of a line count, and 15 of a name.
    table += "abcde 0 4 3 0 0 0 FFFFFFFF 0 0" + wide + "9\nabcd 5 6 3 0 0 0 FFFFFFFF 0 0" + wide + "9\n";
    write_file("/proc/net/route", table + "name-of-fifteen 0 7 3 0 0 -1 0 0 9 9");
    EXPECT_EQ(gateway("xccinetx") + ", " + gateway("eth0"), "0 5.0.0.0, 0 7.0.0.0");
    const no_descriptors limit;
    EXPECT_EQ(gateway("eth0"), "-1 ");
    EXPECT_EQ(get_mac_from_ip("10.0.0.1"), nullptr);
    EXPECT_EQ(log(), strings{"<43>get_gateway_address: fopen is failed \n"});
}

TEST_F(network_test, interfaces) {
    const tarrow::unique_fd sock(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    output_of("ip link add link-of-15-char type bridge; ip link set link-of-15-char address 02:00:00:00:0f:0f");
    const int cut = get_link_status("link-of-15-chars");
    EXPECT_EQ(by_ioctl(SIOCGIFHWADDR, "link-of-15-char", sock.get()), "0 02:00:00:00:0F:0F");
    EXPECT_EQ(by_ioctl(SIOCGIFNETMASK, "br0"), "0 255.255.255.0");
    EXPECT_EQ(by_ioctl(SIOCGIFDSTADDR, "ccinet0"), "0 10.64.1.1");
    EXPECT_EQ(by_ioctl(SIOCGIFBRDADDR, "br0"), "0 ");
    EXPECT_EQ(by_ioctl(SIOCGIFHWADDR, "link-of-15-chars"), "-1 ");
    output_of("ip link del link-of-15-char");
    EXPECT_EQ(cut + 10 * get_link_status("none"), 1 - 20);
    EXPECT_EQ(if_wan_ifc_lives("CCINET0") + 2 * if_wan_ifc_lives("usb"), 1); // usb has a link-local address
    // Only the first ten addresses are examined; those of lo come first.
    output_of("for i in 0 1 2 3 4 5 6 7 8 9; do ip addr add 127.1.0.$i/32 dev lo label lo:$i; done");
    EXPECT_EQ(if_wan_ifc_lives("lo:8") + 2 * if_wan_ifc_lives("lo:9"), 1);
    output_of("for i in 0 1 2 3 4 5 6 7 8 9; do ip addr del 127.1.0.$i/32 dev lo; done");
    const pid_t child = fork(); // where no interface has an address every one counts as present
    if (child == 0) { _exit(unshare(CLONE_NEWNET) == 0 && if_wan_ifc_lives("none") == 1 ? 0 : 1); }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    const no_descriptors limit;
    EXPECT_EQ(if_wan_ifc_lives("br0"), -1);
    EXPECT_EQ(get_link_status("eth0"), -1);
    EXPECT_EQ(by_ioctl(SIOCGIFADDR, "br0"), "-1 ");
    EXPECT_EQ(log(), (strings{"<43>get_by_ioctl: ioctl isn't implemented\n", "<43>get_by_ioctl: ioctl is failed\n",
                              "<43>get_link_status: ETHTOOL_GLINK failed: No such device\n",
                              "<43>if_wan_ifc_lives: socket is failed \n", "<43>get_link_status: Socket error\n",
                              "<43>get_by_ioctl: Socket creation is failed\n"}));
}

TEST_F(network_test, limits_of_texts) {
    char text[128] = {};
    substitute("/xbin/awk", "#!/bin/sh\nprintf %0200d 7\n"); // no "/" in what is read
    EXPECT_EQ(get_ipv6_address("ccinet0", text), 1);
    EXPECT_EQ(text, std::string(127, '0'));
    strings lines;
    recorded = &lines;
    const std::string fits(1023 - 22 - 54, 'x'), rest = " | /xbin/grep 'inet6.*Global' | /xbin/awk '{print $3}'";
    for (const std::string &name : {fits + "x", std::string(), std::string("-a"), fits}) {
        errno = EINTR; // of an earlier call
        EXPECT_EQ(get_ipv6_address(name.c_str(), text), 0);
    }
    recorded = nullptr;
    EXPECT_EQ(lines, strings{"/system/sbin/ifconfig " + fits + rest});
    write_file("/tmp/line", "192.168.1.16\n2");
    EXPECT_EQ(file_to_buf("/tmp/line", text, 16), 1);
    EXPECT_EQ(std::string(text, 17), std::string("192.168.1.16\n\0\0\0", 16) + "0");
    EXPECT_EQ(file_to_buf("/tmp/none", text, 17), 0);
    EXPECT_EQ(std::string(text, 18), std::string(17, '\0') + "0");
}

TEST_F(network_test, refusals) {
    fault = {true, false, false, 1}; // of memory
    const int is_address = is_ipv4("192.0.2.1");
    fault = {true, false, false, 1};
    EXPECT_EQ(10 * if_wan_ifc_lives("br0") + is_address, -11);
    fault = {};
    char text[20] = "text";
    unsigned char bytes[6] = {};
    EXPECT_EQ(get_gateway_address(nullptr, text) + get_gateway_address("br0", nullptr), -2);
    EXPECT_EQ(get_ipv6_address(nullptr, text) + get_ipv6_address("ccinet0", nullptr), 0);
    EXPECT_EQ(ether_atoe(nullptr, bytes) + ether_atoe("1", nullptr) + wan_info_gather(nullptr), 0);
    EXPECT_EQ(ether_etoa(nullptr, text), text);
    EXPECT_EQ(ether_etoa(bytes, nullptr), nullptr);
    EXPECT_EQ(file_to_buf("/", text, 0) + file_to_buf("/", nullptr, 9) + file_to_buf(nullptr, text, 9), 0);
    EXPECT_EQ(get_by_ioctl(-1, SIOCGIFADDR, nullptr, text) + get_by_ioctl(-1, SIOCGIFADDR, "br0", nullptr), -2);
    EXPECT_EQ(if_wan_ifc_lives(nullptr), -1);
    EXPECT_EQ(get_link_status(nullptr), -1);
    EXPECT_EQ(vexorel_product_get_wan_link_status(nullptr) + generate_sw_version(nullptr), -2);
    EXPECT_EQ(get_mac_from_ip(nullptr) + std::string(text), "text");
    EXPECT_EQ(log(), (strings{"<43>is_ipv4: strdup failed", "<43>get_by_ioctl: Null pointer\n",
                              "<43>get_by_ioctl: Null pointer\n", "<43>if_wan_ifc_lives: Null pointer \n",
                              "<43>get_link_status: pointer is NULL \n", "<43>sw_version:MAIN not in format!!"}));
}

TEST_F(network_test, results_that_the_document_does_not_need) {
    set_setting("wan", "proto", "disabled");
    EXPECT_EQ(wan_xml_get(parse("<wan/>").get()) + 10 * wan_xml_get(parse("<wan><cellular/></wan>").get()), 11);
    EXPECT_EQ(get_wan_link_status(), -1);
    write_file("/tmp/wan_disc", "0");
    EXPECT_EQ(get_wan_link_status(), 0);
    wan_info_t info = {}, port = {};
    EXPECT_EQ(vexorel_product_get_wan_link_status(&port) + wan_info_gather(&info), 0);
    EXPECT_STREQ(port.wan_link_status, "Connected"); // a text is made for it
    for (char *text : {port.wan_link_status, info.wan_link_status, info.wan_conn_type, info.wan_conn_status,
                       info.ip_address, info.ip6_address, info.gateway}) {
        std::free(text);
    }
}

TEST_F(network_test, software_versions) {
    const std::string part(127 - 9, 'x'), bad = "sw_version not in format!!";
    for (const auto &[text, result] : rows{{"HW1 MAIN1.2 AP-3.4, CP5.6", "MAIN1.2 AP-3.4, "},
                                           {"MAINAP-" + part + ", ", "MAINAP-" + part + ", "},
                                           {"MAINAP-" + part + "x, ", bad},
                                           {"MAIN1, AP-2", bad},
                                           {"AP-1, MAIN", "sw_version:AP not in format!!"}}) {
        std::string buffer = text + std::string(256 - text.size(), '.'), after = buffer;
        const bool is_good = result[0] == 'M';
        if (is_good) { after = result + std::string(128 - result.size(), '\0') + std::string(128, '.'); }
        EXPECT_EQ(generate_sw_version(buffer.data()), is_good ? static_cast<int>(result.size()) : -1);
        EXPECT_EQ(buffer, after);
        EXPECT_EQ(log(), is_good ? strings{} : strings{"<43>" + result});
    }
}

} // namespace
