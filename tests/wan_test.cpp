// The wan module: the WAN record by connection type, and the document through the dispatch.

#include "support/device.h"

#include <algorithm>
#include <unistd.h>

#include "../src/modules/wan/wan_applet.h"
#include "../src/support/owned.h"

namespace {

using namespace testing_device;

const std::string status_script = "/etc/init.d/get_wan_connection_status.sh";

class wan_test : public device_test {
protected:
    void SetUp() override {
        device_test::SetUp();
        write_file("/tmp/cust_resolv.conf", "nameserver 192.0.2.153\n");
        write_file("/tmp/check_sim.txt", "0");
        set_setting("wan", "proto", "cellular");
    }

    /// The record, its eight fields joined by "|"; "-" for an absent one.
    static std::string gather() {
        wan_info_t info = {};
        EXPECT_EQ(wan_info_gather(&info), 0);
        std::string text;
        for (char *field : {info.wan_link_status, info.wan_conn_type, info.wan_conn_status, info.ip_address,
                            info.ip6_address, info.gateway, info.dns1, info.dns2}) {
            text += (text.empty() ? "" : "|") + std::string(field != nullptr ? field : "-");
            std::free(field);
        }
        return text;
    }
    /// What the page gets below "cellular" for these elements.
    static std::string cellular(const std::string &elements) {
        const std::string answer = get("wan", "<wan><cellular>" + elements + "</cellular></wan>");
        const std::size_t start = answer.find("<cellular>") + 10;
        return answer.substr(start, answer.find("</cellular>") - start);
    }
    /// Lets the status script leave the state files alone, and writes one.
    static void keep_state(const std::string &down) {
        write_file("/sim/fail/get_wan_connection_status.sh", "");
        write_file("/tmp/wan_disc", down);
    }
};

TEST_F(wan_test, cellular_record_from_live_state) {
    set_setting("wan", "proto", "Cellular");
    const std::string rest = "|10.64.1.2|2001:db8:64::2|10.64.1.1|192.0.2.53|192.0.2.54";
    EXPECT_EQ(gather(), "Connected|Cellular|connected" + rest);
    EXPECT_EQ(calls(), (strings{"/usr/app/get_wan_interface.sh", status_script + " ccinet0 1"}));
    output_of("/sim/cable ccinet0 pull");
    EXPECT_EQ(gather(), "Disconnected|Cellular|disconnected|0.0.0.0||0.0.0.0|-|-");
    output_of("/sim/cable ccinet0 plug");
    for (const char *unclear : {"", "2", "01"}) { // neither up nor down
        keep_state(unclear);
        EXPECT_EQ(gather(), "Disconnected|Cellular|disconnected" + rest);
    }
    keep_state("0 1");
    write_file("/tmp/wan_conn_status", "a-connection-state-of-many-letters");
    EXPECT_EQ(gather(), "Connected|Cellular|a-connection-state-" + rest);
    output_of("rm /tmp/wan_disc /tmp/wan_conn_status");
    EXPECT_EQ(gather(), "Disconnected|Cellular|" + rest);
    EXPECT_EQ(log(), strings{});
}

TEST_F(wan_test, ethernet_record_follows_the_cable) {
    set_setting("wan", "proto", "static");
    output_of("/etc/init.d/wan_post_set.sh set");
    calls();
    const std::string rest = "|static|connected|198.51.100.2||198.51.100.1|192.0.2.53|192.0.2.54";
    EXPECT_EQ(gather(), "Connected" + rest);
    EXPECT_EQ(calls(),
              (strings{"/usr/app/get_eth_interface.sh", "/usr/app/get_wan_interface.sh", status_script + " eth0 1"}));
    output_of("/sim/cable eth0 pull");
    EXPECT_EQ(gather(), "Disconnected" + rest); // the rest is still gathered
    output_of("/sim/cable eth0 plug");
    EXPECT_EQ(log(), strings{});
    write_file("/sim/fail/get_eth_interface.sh", "");
    unlink("/tmp/eth_ifc");
    EXPECT_EQ(gather(), "Disconnected|static|-|-|-|-|-|-");
    EXPECT_EQ(log(), (strings{"<43>get_link_status: pointer is NULL \n",
                              "<43>vexorel_product_get_wan_link_status: Can't read WAN Link status \n"}));
    output_of("ip route replace default dev ccinet0; rm /userfs/cfgdb/settings.db");
    EXPECT_EQ(gather(), "Disconnected|-|-|-|-|-|-|-"); // no type at all counts as Ethernet
}

TEST_F(wan_test, interfaces_that_are_missing_or_half_there) {
    set_setting("wan", "proto", "DISABLED");
    EXPECT_EQ(gather(), "Disconnected|DISABLED|disconnected|0.0.0.0||0.0.0.0|-|-");
    EXPECT_EQ(calls(), strings{});
    set_setting("wan", "proto", "wifi");
    EXPECT_EQ(gather(), "Disconnected|wifi|disconnected|0.0.0.0||0.0.0.0|-|-");
    EXPECT_EQ(calls().back(), status_script + " wlan0 0");
    EXPECT_EQ(log(), strings{});

    set_setting("wan", "proto", "cellular"); // with a global IPv6 address only
    output_of("ip addr del 10.64.1.2 dev ccinet0; ip route flush dev ccinet0");
    EXPECT_EQ(gather(), "Connected|cellular|connected|0.0.0.0|2001:db8:64::2|0.0.0.0|192.0.2.53|192.0.2.54");
    output_of("ip addr add 10.64.1.2 peer 10.64.1.1 dev ccinet0; ip route add default dev ccinet0");
    EXPECT_EQ(log(), (strings{"<43>get_by_ioctl: ioctl is failed\n", "<43>get_gateway_address: read is failed \n",
                              "<43>interface_info_get: get_gateway_address is failed\n"}));
    write_file("/sim/fail/get_wan_interface.sh", "");
    unlink("/tmp/wan_ifc");
    EXPECT_EQ(gather(), "Connected|cellular||0.0.0.0||0.0.0.0|-|-");
    EXPECT_EQ(log(), strings{"<43>wan_connection_status_get: WAN ifc isn't configured\n"});
    // An interface that goes away once its presence was found, and whose name is shell syntax.
    keep_state("0");
    write_file("/tmp/wan_ifc", "`id`;x");
    substitute("/system/sbin/ifconfig", "#!/bin/sh\n[ -e /tmp/seen ] || echo inet6 a b/9 Global\n"
                                        ": > /tmp/seen\n");
    EXPECT_EQ(gather(), "Connected|cellular|connected|0.0.0.0||0.0.0.0|-|-");
    EXPECT_EQ(calls().back(), status_script + " `id`;x 1");
    EXPECT_EQ(log(), (strings{"<43>get_by_ioctl: ioctl is failed\n", "<43>interface_info_get: get_by_ioctl is failed\n",
                              "<43>wan_connection_status_get: interface_info_get is failed\n"}));
}

TEST_F(wan_test, name_servers) {
    const auto servers = [] {
        const std::string record = gather();
        return record.substr(record.find("10.64.1.1|") + 10);
    };
    set_setting("wan", "cdns_enable", "1");
    EXPECT_EQ(servers(), "192.0.2.153|-");
    const std::pair<std::string, const char *> cases[] = {
        {"nameserver 8.8.8.8\nnameserver 8.8.4.4\nnameserver 1.1.1.1\n", "8.8.8.8|1.1.1.1"},
        {"nameserver ::1\nnameserver 8.8.4.4\n", "-|8.8.4.4"},
        {"nameserver 8.8.8.8\nnameserver 8.8.4.4\nnameserver x\n", "8.8.8.8|-"},
        {"#nameserver 8.8.8.8\nnameserver\t9.9.9.9\n", "8.8.8.8|-"},
        {"nameserver \nnameserver 8.8.4.4\n", "-|8.8.4.4"},
        {std::string(199, ' ') + "nameserver 8.8.8.8", "8.8.8.8|-"},
        {std::string(300, 'n') + "\nnameserver " + std::string(10000, '1') + "\n", "-|-"},
    };
    for (const auto &[resolver, found] : cases) {
        write_file("/tmp/cust_resolv.conf", resolver);
        EXPECT_EQ(servers(), found) << resolver;
    }
    log();
    unlink("/tmp/cust_resolv.conf");
    EXPECT_EQ(servers(), "-|-");
    EXPECT_EQ(log(), strings{"<43>interface_info_get: Resolv.conf isn't exists\n"});
    substitute("/usr/app/get_wan_interface.sh", "#!/bin/sh\necho ccinet0 > /tmp/wan_ifc\n");
    for (const char *type : {"STATIC", "wifi"}) { // whose servers are never custom ones
        set_setting("wan", "proto", type);
        EXPECT_EQ(servers(), "192.0.2.53|192.0.2.54") << type;
    }
    set_setting("wan", "proto", "cellular");
    set_setting("wan", "cdns_enable", "0");
    EXPECT_EQ(servers(), "192.0.2.53|192.0.2.54");
}

TEST_F(wan_test, the_document_fills_what_the_page_asked_for) {
    write_file("/tmp/local/ip", "192.168.1.100");
    EXPECT_EQ(get("wan", "<wan><pc_mac/><dns1/><ConnType/><other/><ip4/><ip6/><wan_link_status/>"
                         "<wan_conn_status/><gateway/><dns2/><cellular><rssi/></cellular></wan>"),
              "<wan><dns1>192.0.2.53</dns1><ConnType>cellular</ConnType><other /><ip4>10.64.1.2</ip4>"
              "<ip6>2001:db8:64::2</ip6><wan_link_status>Connected</wan_link_status>"
              "<wan_conn_status>connected</wan_conn_status><gateway>10.64.1.1</gateway>"
              "<dns2>192.0.2.54</dns2><cellular><rssi>5</rssi></cellular>"
              "<pc_mac>02:00:00:00:01:64</pc_mac></wan>");
    EXPECT_EQ(get("wan", "<wan><x><ip4/><cellular><rssi/></cellular></x></wan>"),
              "<wan><x><ip4 /><cellular><rssi /></cellular></x></wan>");  // direct children only
    for (const char *address : {"192.168.1.100\n", "192.168.1.99", ""}) { // no neighbour's
        write_file("/tmp/local/ip", address);
        EXPECT_EQ(get("wan", "<wan><pc_mac/><b/></wan>"), "<wan><pc_mac /><b /></wan>");
    }
}

TEST_F(wan_test, connection_time) {
    const struct {
        const char *start, *uptime, *filled;
    } cases[] = {
        {"10", "90071.99 1", "1|1|1|1|"},
        {"0", "3600.00", "|1||0|"},
        {"0", "59.9", "|||59|"},
        {"0", "60", "||1|0|"},
        {"0", "86399.5", "|23|59|59|"},
        {"0", "86400", "1|||0|"},
        {"100", "40.5", "|||-60|"},
        {"x", "5.0", "||||"},
        {"5", "", "||||"},
        {"-2147483648", "99999999999", "24855|3|14|7|"},
    };
    substitute("/proc/uptime", "");
    for (const auto &c : cases) {
        write_file("/tmp/data_start_time", c.start);
        write_file("/proc/uptime", c.uptime);
        const std::string names = "<conn_days/><conn_hours/><conn_minutes/><conn_seconds/>";
        const std::string answer = "<c>" + cellular(names) + "</c>";
        std::string filled;
        for (const char *name : {"conn_days", "conn_hours", "conn_minutes", "conn_seconds"}) {
            filled += text_of(answer, name) + "|";
        }
        EXPECT_EQ(filled, c.filled) << c.start << " " << c.uptime;
    }
}

TEST_F(wan_test, cellular_elements_with_and_without_their_sources) {
    const std::string all = "<spn/><roaming/><rssi/><isp/><act/><sim_status/><pin_status/>"
                            "<pin_attempts/><puk_attempts/>";
    const std::string defaults = "<spn /><roaming>1</roaming><rssi>5</rssi><isp>noservice</isp><act />"
                                 "<sim_status>1</sim_status><pin_status>-1</pin_status><pin_attempts>-1</pin_attempts>"
                                 "<puk_attempts>-1</puk_attempts>";
    EXPECT_EQ(cellular(all), defaults);
    const strings numbers = {"/tmp/cellular_basic_act", "/tmp/cellular_sim_status", "/tmp/telephony/pin_status",
                             "/tmp/telephony/pin_attempts", "/tmp/telephony/puk_attempts"};
    for (const std::string &path : numbers) {
        write_file(path, "x"); // no number: as if it were missing
    }
    EXPECT_EQ(cellular(all), defaults);
    int value = -3;
    for (const std::string &path : numbers) { write_file(path, std::to_string(value++)); }
    set_setting("wan", "cellular.network_access_type_-3", "<HSPA>");
    set_setting("wan", "cellular.roaming", "0");
    set_setting("wan", "cellular.signal_level", "4 bars");
    write_file("/tmp/spn", "My Operator\n\n");
    write_file("/tmp/cellular_isp", "Their Operator\n");
    EXPECT_EQ(cellular(all), "<spn>My Operator\n</spn><roaming>0</roaming><rssi>4</rssi><isp>Their Operator\n</isp>"
                             "<act>&lt;HSPA&gt;</act><sim_status>-2</sim_status><pin_status>-1</pin_status>"
                             "<pin_attempts>0</pin_attempts><puk_attempts>1</puk_attempts>");
    write_file("/tmp/spn", std::string(100, 's'));
    write_file("/tmp/cellular_isp", "");
    EXPECT_EQ(cellular("<spn/><isp/>"), "<spn>" + std::string(63, 's') + "</spn><isp></isp>");
}

TEST_F(wan_test, the_subscriber_number_is_fetched_while_the_pin_allows_and_until_it_is_there) {
    const auto fetches = [&](const char *pin_status, const char *ready) {
        write_file("/tmp/telephony/pin_status", pin_status);
        write_file("/tmp/pb_ready", ready);
        EXPECT_EQ(cellular("<msisdn/>"), "<msisdn />");
        return calls().back() == "/usr/app/get_msisdn.sh";
    };
    EXPECT_TRUE(fetches("0", "0"));
    EXPECT_TRUE(fetches("0", ""));
    EXPECT_FALSE(fetches("0", "1"));
    EXPECT_FALSE(fetches("1", "0"));
    EXPECT_FALSE(fetches("", "0"));
    output_of("rm /tmp/pb_ready; printf 0 > /tmp/telephony/pin_status");
    cellular("<rssi/>"); // not asked for
    EXPECT_EQ(calls().back(), status_script + " ccinet0 1");
}

TEST_F(wan_test, sim_checks_start_where_one_is_due) {
    const auto starts = [&] {
        get("wan", "<wan/>");
        const strings all = calls();
        return std::count(all.begin(), all.end(), "/usr/app/agent_client 0 /usr/app/check_sim_status.sh");
    };
    EXPECT_EQ(starts(), 0); // the file holds 0
    unlink("/tmp/check_sim.txt");
    EXPECT_EQ(starts(), 1);
    EXPECT_EQ(starts(), 0); // the check that ran left "no check needed"
    for (const char *due : {"1", "-1", "x"}) {
        write_file("/tmp/check_sim.txt", due);
        EXPECT_EQ(starts(), 1) << due;
    }
    write_file("/tmp/check_sim.txt", "4");
    write_file("/tmp/cellular_sim_status", "1");
    EXPECT_EQ(starts(), 0);
    write_file("/tmp/cellular_sim_status", "0");
    write_file("/tmp/sim_checking_mutex", "");
    EXPECT_EQ(starts(), 0);
    is_ipv4("x");
    EXPECT_EQ(log().size(), 1U);
    EXPECT_EQ(log_identity(), "tarrow:wan");
}

TEST_F(wan_test, software_versions) {
    const std::string part(127 - 9, 'x');
    const std::pair<std::string, std::string> cases[] = {
        {"HW1 MAIN1.2 AP-3.4, CP5.6", "MAIN1.2 AP-3.4, "},
        {"MAINAP-" + part + ", tail", "MAINAP-" + part + ", "},
        {"MAINAP-" + part + "x, ", "!sw_version not in format!!"},
        {"MAIN1, AP-2", "!sw_version not in format!!"},
        {"AP-1, MAIN", "!sw_version:AP not in format!!"},
        {"main AP-1, ", "!sw_version:MAIN not in format!!"},
    };
    for (const auto &[text, result] : cases) {
        std::string buffer = text + std::string(256 - text.size(), '\0'), before = buffer;
        const int length = generate_sw_version(buffer.data());
        if (result[0] == '!') {
            EXPECT_EQ(length, -1);
            EXPECT_EQ(buffer, before);
            EXPECT_EQ(log(), strings{"<43>" + result.substr(1)});
        } else {
            EXPECT_EQ(length, static_cast<int>(result.size()));
            EXPECT_EQ(buffer.substr(0, 128), result + std::string(128 - result.size(), '\0'));
        }
    }
}

} // namespace
