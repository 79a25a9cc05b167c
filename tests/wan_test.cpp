// The wan module: the WAN record by connection type, and the document through the dispatch.

#include "support/device.h"

#include <algorithm>
#include <fstream>
#include <unistd.h>

#include "../src/modules/wan/wan_applet.h"
#include "../src/owned.h"

namespace {

using namespace testing_device;

constexpr char status_script[] = "/etc/init.d/get_wan_connection_status.sh";

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
        for (char *field :
             {info.wan_link_status, info.wan_conn_type, info.wan_conn_status, info.ip_address,
              info.ip6_address, info.gateway, info.dns1, info.dns2}) {
            const tarrow::heap_string owned(field);
            text += (text.empty() ? "" : "|") + std::string(field != nullptr ? field : "-");
        }
        return text;
    }
    /// The elements below "cellular" that a request for these gets filled.
    static std::string cellular(const std::string &elements) {
        const std::string answer = get("wan", "<wan><cellular>" + elements + "</cellular></wan>");
        const std::size_t start = answer.find("<cellular>") + 10;
        return answer.substr(start, answer.find("</cellular>") - start);
    }
    /// Lets the scripts leave the state files alone, and writes one.
    void keep_state(const std::string &down) {
        write_file("/sim/fail/get_wan_connection_status.sh", "");
        write_file("/tmp/wan_disc", down);
    }
};

TEST_F(wan_test, cellular_record_from_live_state) {
    set_setting("wan", "proto", "Cellular");
    const std::string rest = "|10.64.1.2|2001:db8:64::2|10.64.1.1|192.0.2.53|192.0.2.54";
    EXPECT_EQ(gather(), "Connected|Cellular|connected" + rest);
    EXPECT_EQ(calls(), (strings{"/usr/app/get_wan_interface.sh",
                                std::string(status_script) + " ccinet0 1"}));
    output_of("/sim/cable ccinet0 pull");
    EXPECT_EQ(gather(), "Disconnected|Cellular|disconnected|0.0.0.0||0.0.0.0|-|-");
    output_of("/sim/cable ccinet0 plug");
    for (const char *unclear : {"", "2", "01"}) { // neither up nor down
        keep_state(unclear);
        EXPECT_EQ(gather(), "Disconnected|Cellular|disconnected" + rest);
    }
    keep_state("0 1");
    EXPECT_EQ(gather(), "Connected|Cellular|disconnected" + rest);
    for (const char *path : {"/tmp/wan_disc", "/tmp/wan_conn_status"}) {
        unlink(path);
    }
    EXPECT_EQ(gather(), "Disconnected|Cellular|" + rest);
    write_file("/tmp/wan_conn_status", "a-connection-state-of-many-letters");
    EXPECT_EQ(gather(), "Disconnected|Cellular|a-connection-state-" + rest);
    EXPECT_EQ(log(), strings{});
}

TEST_F(wan_test, disabled_record_runs_no_script) {
    set_setting("wan", "proto", "DISABLED");
    EXPECT_EQ(gather(), "Disconnected|DISABLED|disconnected|0.0.0.0||0.0.0.0|-|-");
    EXPECT_EQ(calls(), strings{});
}

TEST_F(wan_test, ethernet_record_follows_the_cable) {
    set_setting("wan", "proto", "static");
    output_of("/etc/init.d/wan_post_set.sh set");
    const std::string rest = "|198.51.100.2||198.51.100.1|192.0.2.53|192.0.2.54";
    calls();
    EXPECT_EQ(gather(), "Connected|static|connected" + rest);
    EXPECT_EQ(calls(), (strings{"/usr/app/get_eth_interface.sh", "/usr/app/get_wan_interface.sh",
                                std::string(status_script) + " eth0 1"}));
    output_of("/sim/cable eth0 pull");
    keep_state("0");
    EXPECT_EQ(gather(), "Disconnected|static|connected" + rest); // the rest is still gathered
    output_of("/sim/cable eth0 plug");
    write_file("/sim/fail/get_eth_interface.sh", "");
    unlink("/tmp/eth_ifc");
    EXPECT_EQ(log(), strings{});
    EXPECT_EQ(gather(), "Disconnected|static|-|-|-|-|-|-");
    EXPECT_EQ(log(),
              strings{"<43>vexorel_product_get_wan_link_status: Can't read WAN Link status \n"});
    output_of("rm /userfs/cfgdb/settings.db"); // no type at all counts as Ethernet
    EXPECT_EQ(gather(), "Disconnected|-|-|-|-|-|-|-");
    output_of("ip route replace default dev ccinet0");
}

TEST_F(wan_test, interfaces_that_are_missing_or_half_there) {
    set_setting("wan", "proto", "wifi");
    EXPECT_EQ(gather(), "Disconnected|wifi|disconnected|0.0.0.0||0.0.0.0|-|-");
    EXPECT_EQ(calls().back(), std::string(status_script) + " wlan0 0");
    EXPECT_EQ(log(), strings{});

    output_of("ip addr flush dev ccinet0; ip route flush dev ccinet0");
    set_setting("wan", "proto", "cellular");
    keep_state("0");
    EXPECT_EQ(gather(), "Connected|cellular|disconnected|0.0.0.0||0.0.0.0|-|-");
    output_of("ip addr add 2001:db8:64::9/64 dev ccinet0 nodad");
    log();
    EXPECT_EQ(gather(), "Connected|cellular|disconnected|0.0.0.0|2001:db8:64::9|0.0.0.0|192.0.2.53|"
                        "192.0.2.54");
    EXPECT_EQ(log(), (strings{"<43>get_by_ioctl: ioctl is failed\n",
                              "<43>get_gateway_address: read is failed \n",
                              "<43>interface_info_get: get_gateway_address is failed\n"}));
    output_of("ip addr add 2001:db8:64::2/64 dev ccinet0 nodad; ip addr del 2001:db8:64::9/64 dev"
              " ccinet0; ip addr add 10.64.1.2 peer 10.64.1.1 dev ccinet0; ip route add default dev"
              " ccinet0");

    write_file("/sim/fail/get_wan_interface.sh", "");
    unlink("/tmp/wan_ifc");
    EXPECT_EQ(gather(), "Connected|cellular||0.0.0.0||0.0.0.0|-|-");
    EXPECT_EQ(log(), strings{"<43>wan_connection_status_get: WAN ifc isn't configured\n"});
    // An interface that goes away once its presence was found, and a name that is shell syntax.
    write_file("/tmp/wan_ifc", "`id`;x");
    substitute("/system/sbin/ifconfig", "#!/bin/sh\n[ -e /tmp/seen ] || echo inet6 a b/9 Global\n"
                                        ": > /tmp/seen\n");
    calls();
    EXPECT_EQ(gather(), "Connected|cellular|disconnected|0.0.0.0||0.0.0.0|-|-");
    EXPECT_EQ(calls().back(), std::string(status_script) + " `id`;x 1");
    EXPECT_EQ(log(), (strings{"<43>get_by_ioctl: ioctl is failed\n",
                              "<43>interface_info_get: get_by_ioctl is failed\n",
                              "<43>wan_connection_status_get: interface_info_get is failed\n"}));
}

TEST_F(wan_test, name_servers) {
    const auto servers = [] {
        const std::string record = gather();
        return record.substr(record.find("10.64.1.1|") + 10);
    };
    set_setting("wan", "cdns_enable", "1");
    EXPECT_EQ(servers(), "192.0.2.153|-");
    const struct {
        std::string resolver;
        const char *servers;
    } cases[] = {
        {"nameserver 8.8.8.8\nnameserver 8.8.4.4\nnameserver 1.1.1.1\n", "8.8.8.8|1.1.1.1"},
        {"domain x\nnameserver 8.8.8.8", "8.8.8.8|-"},
        {"nameserver ::1\nnameserver 8.8.4.4\n", "-|8.8.4.4"},
        {"nameserver 8.8.8.8\nnameserver 8.8.4.4\nnameserver x\n", "8.8.8.8|-"},
        {"#nameserver 8.8.8.8\nnameserver\t9.9.9.9\n", "8.8.8.8|-"},
        {"nameserver \nnameserver 8.8.4.4\n", "-|8.8.4.4"},
        {std::string(199, ' ') + "nameserver 8.8.8.8\n", "8.8.8.8|-"},
        {std::string(300, 'n') + "\nnameserver " + std::string(10000, '1') + "\n", "-|-"},
        {"", "-|-"},
    };
    for (const auto &c : cases) {
        write_file("/tmp/cust_resolv.conf", c.resolver);
        EXPECT_EQ(servers(), c.servers) << c.resolver;
    }
    log();
    unlink("/tmp/cust_resolv.conf");
    EXPECT_EQ(servers(), "-|-");
    EXPECT_EQ(log(), strings{"<43>interface_info_get: Resolv.conf isn't exists\n"});
    set_setting("wan", "cdns_enable", "0");
    EXPECT_EQ(servers(), "192.0.2.53|192.0.2.54");
    // The types whose servers are never custom ones.
    set_setting("wan", "cdns_enable", "1");
    substitute("/usr/app/get_wan_interface.sh", "#!/bin/sh\necho ccinet0 > /tmp/wan_ifc\n");
    for (const char *type : {"STATIC", "wifi"}) {
        set_setting("wan", "proto", type);
        EXPECT_EQ(servers(), "192.0.2.53|192.0.2.54") << type;
    }
}

TEST_F(wan_test, link_state_operations_on_their_own) {
    wan_info_t info = {};
    EXPECT_EQ(vexorel_product_get_wan_link_status(&info), 0);
    const tarrow::heap_string owned(info.wan_link_status);
    EXPECT_STREQ(info.wan_link_status, "Connected");
    EXPECT_EQ(vexorel_product_get_wan_link_status(nullptr), -1);
    EXPECT_EQ(wan_info_gather(nullptr), 0);
    EXPECT_EQ(get_wan_link_status(), -1);
    write_file("/tmp/wan_disc", "0\n");
    EXPECT_EQ(get_wan_link_status(), 0);
}

TEST_F(wan_test, the_document_fills_what_the_page_asked_for) {
    write_file("/tmp/local/ip", "192.168.1.100");
    write_file("/tmp/cellular_basic_act", "7");
    set_setting("wan", "cellular.network_access_type_7", "LTE");
    EXPECT_EQ(
        get("wan", "<wan><pc_mac/><dns1/><ConnType/><other/><ip4/><ip6/><wan_link_status/>"
                   "<wan_conn_status/><gateway/><dns2/><cellular><act/><rssi/></cellular></wan>"),
        "<wan><dns1>192.0.2.53</dns1><ConnType>cellular</ConnType><other /><ip4>10.64.1.2</ip4>"
        "<ip6>2001:db8:64::2</ip6><wan_link_status>Connected</wan_link_status>"
        "<wan_conn_status>connected</wan_conn_status><gateway>10.64.1.1</gateway>"
        "<dns2>192.0.2.54</dns2><cellular><act>LTE</act><rssi>5</rssi></cellular>"
        "<pc_mac>02:00:00:00:01:64</pc_mac></wan>");
    EXPECT_EQ(get("wan", "<wan><x><ip4/><cellular><rssi/></cellular></x></wan>"),
              "<wan><x><ip4 /><cellular><rssi /></cellular></x></wan>"); // direct children only
}

TEST_F(wan_test, pc_mac_stays_where_it_is_without_a_neighbour) {
    for (const char *address : {"192.168.1.100\n", "192.168.1.99", ""}) {
        write_file("/tmp/local/ip", address);
        EXPECT_EQ(get("wan", "<wan><pc_mac/><b/></wan>"), "<wan><pc_mac /><b /></wan>");
    }
    unlink("/tmp/local/ip");
    EXPECT_EQ(get("wan", "<wan><pc_mac/><b/></wan>"), "<wan><pc_mac /><b /></wan>");
}

TEST_F(wan_test, connection_time) {
    const std::string elements = "<conn_seconds/><conn_minutes/><conn_hours/><conn_days/>";
    const struct {
        const char *start, *uptime, *filled;
    } cases[] = {
        {"10", "90071.99 1", "1|1|1|1"},
        {"0", "3600.00", "0||1|"},
        {"0", "59.9", "59|||"},
        {"0", "60", "0|1||"},
        {"0", "86399.5", "59|59|23|"},
        {"0", "86400", "0|||1"},
        {"100", "40.5", "-60|||"},
        {"5", "5.0", "0|||"},
        {"", "5.0", "|||"},
        {"x", "5.0", "|||"},
        {"5", "", "|||"},
        {"-2147483648", "99999999999", "15|28|6|49710"},
    };
    substitute("/proc/uptime", "");
    for (const auto &c : cases) {
        write_file("/tmp/data_start_time", c.start);
        write_file("/proc/uptime", c.uptime);
        const std::string answer = "<c>" + cellular(elements) + "</c>";
        std::string filled;
        for (const char *name : {"conn_seconds", "conn_minutes", "conn_hours", "conn_days"}) {
            filled += text_of(answer, name) + "|";
        }
        EXPECT_EQ(filled, c.filled + std::string("|")) << c.start << " " << c.uptime;
    }
    unlink("/tmp/data_start_time");
    EXPECT_EQ(cellular("<conn_seconds/>"), "<conn_seconds />");
}

TEST_F(wan_test, cellular_elements_with_and_without_their_sources) {
    const std::string all = "<spn/><roaming/><rssi/><isp/><act/><sim_status/><pin_status/>"
                            "<pin_attempts/><puk_attempts/>";
    const std::string defaults =
        "<spn /><roaming>1</roaming><rssi>5</rssi><isp>noservice</isp><act />"
        "<sim_status>1</sim_status><pin_status>-1</pin_status><pin_attempts>-1</pin_attempts>"
        "<puk_attempts>-1</puk_attempts>";
    EXPECT_EQ(cellular(all), defaults);
    write_file("/tmp/cellular_basic_act", "7"); // a technology without a name
    EXPECT_EQ(cellular(all), defaults);
    const strings numbers = {"/tmp/cellular_basic_act", "/tmp/cellular_sim_status",
                             "/tmp/telephony/pin_status", "/tmp/telephony/pin_attempts",
                             "/tmp/telephony/puk_attempts"};
    for (const char *none : {"", "x"}) { // files that hold no number count as missing
        for (const std::string &path : numbers) {
            write_file(path, none);
        }
        EXPECT_EQ(cellular(all), defaults);
    }
    int value = -3;
    for (const std::string &path : numbers) {
        write_file(path, std::to_string(value++));
    }
    set_setting("wan", "cellular.network_access_type_-3", "<HSPA>");
    set_setting("wan", "cellular.roaming", "0");
    set_setting("wan", "cellular.signal_level", "4 bars");
    write_file("/tmp/spn", "My Operator\n\n");
    write_file("/tmp/cellular_isp", "Their Operator\n");
    EXPECT_EQ(
        cellular(all),
        "<spn>My Operator\n</spn><roaming>0</roaming><rssi>4</rssi><isp>Their Operator\n</isp>"
        "<act>&lt;HSPA&gt;</act><sim_status>-2</sim_status><pin_status>-1</pin_status>"
        "<pin_attempts>0</pin_attempts><puk_attempts>1</puk_attempts>");
    write_file("/tmp/spn", std::string(100, 's'));
    write_file("/tmp/cellular_isp", "");
    EXPECT_EQ(cellular("<spn/><isp/>"), "<spn>" + std::string(63, 's') + "</spn><isp></isp>");
}

TEST_F(wan_test, the_subscriber_number_is_fetched_once_the_pin_allows_and_until_it_is_there) {
    const strings fetch = {"/usr/app/agent_client 0 /usr/app/get_msisdn.sh",
                           "/usr/app/get_msisdn.sh"};
    const auto fetches = [&](const char *pin_status, const char *ready) {
        if (pin_status != nullptr) {
            write_file("/tmp/telephony/pin_status", pin_status);
        }
        if (ready != nullptr) {
            write_file("/tmp/pb_ready", ready);
        }
        EXPECT_EQ(cellular("<msisdn/>"), "<msisdn />");
        strings all = calls();
        all.erase(all.begin(), all.begin() + 2); // of the record
        unlink("/tmp/pb_ready");
        return all;
    };
    EXPECT_EQ(fetches(nullptr, nullptr), strings{});
    EXPECT_EQ(fetches("0", nullptr), fetch);
    EXPECT_EQ(fetches("0", "0"), fetch);
    EXPECT_EQ(fetches("0", "1"), strings{});
    EXPECT_EQ(fetches("1", nullptr), strings{});
    EXPECT_EQ(fetches("", nullptr), strings{});
    write_file("/tmp/telephony/pin_status", "0");
    cellular("<rssi/>"); // not asked for
    EXPECT_EQ(calls().size(), 2U);
}

TEST_F(wan_test, sim_checks_start_where_one_is_due) {
    const auto starts = [&] {
        const std::string answer = get("wan", "<wan/>");
        const strings all = calls();
        return std::count(all.begin(), all.end(),
                          "/usr/app/agent_client 0 /usr/app/check_sim_status.sh");
    };
    EXPECT_EQ(starts(), 0); // the file holds 0
    const auto none = [](const char *path) { unlink(path); };
    none("/tmp/check_sim.txt");
    EXPECT_EQ(starts(), 1);
    EXPECT_EQ(starts(), 0); // the check that ran left "no check needed"
    for (const char *due : {"1", "4", "-1", "x", ""}) {
        write_file("/tmp/check_sim.txt", due);
        EXPECT_EQ(starts(), 1) << due;
    }
    none("/tmp/check_sim.txt");
    write_file("/tmp/cellular_sim_status", "1");
    EXPECT_EQ(starts(), 0);
    write_file("/tmp/cellular_sim_status", "0");
    write_file("/tmp/sim_checking_mutex", "");
    EXPECT_EQ(starts(), 0);
    EXPECT_EQ(log(), strings{});
    is_ipv4("x");
    log();
    EXPECT_EQ(log_identity(), "tarrow:wan");
}

TEST_F(wan_test, software_versions) {
    const std::string long_part(127 - 9, 'x');
    const struct {
        std::string text;
        int length;
        std::string result, message;
    } cases[] = {
        {"HW1 MAIN1.2 AP-3.4, CP5.6", 16, "MAIN1.2 AP-3.4, ", ""},
        {"MAINAP-" + long_part + ", tail", 127, "MAINAP-" + long_part + ", ", ""},
        {"MAINAP-" + long_part + "x, ", -1, "", "sw_version not in format!!"},
        {"AP-1, MAIN", -1, "", "sw_version:AP not in format!!"},
        {"MAIN1, AP-2", -1, "", "sw_version not in format!!"},
        {"main AP-1, ", -1, "", "sw_version:MAIN not in format!!"},
        {"", -1, "", "sw_version:MAIN not in format!!"},
    };
    for (const auto &c : cases) {
        std::string buffer = c.text;
        buffer.resize(256, '\0');
        const std::string before = buffer;
        EXPECT_EQ(generate_sw_version(buffer.data()), c.length) << c.text;
        if (c.length >= 0) {
            EXPECT_EQ(buffer.substr(0, 128), c.result + std::string(128 - c.result.size(), '\0'));
        } else {
            EXPECT_EQ(buffer, before);
        }
        EXPECT_EQ(log(), c.message.empty() ? strings{} : strings{"<43>" + c.message});
    }
    EXPECT_EQ(generate_sw_version(nullptr), -1);
}

} // namespace
