// The Wi-Fi modules: scan list, channel, WPS state.

#include "support/device.h"

#include "../src/modules/wlan_cli_scan/wlan_cli_scan_applet.h"
#include "../src/modules/wlan_settings/wlan_settings_applet.h"

namespace {

using namespace testing_device;

class wlan_test : public device_test {
protected:
    static std::string scan(const std::string &names, const std::string &stored) {
        list networks(names, stored);
        dc_args_t args = {TARROW_CB_ARGS_DLIST, {.dc_dlist = networks.get()}, nullptr};
        EXPECT_EQ(tarrow_call_module_post_get_handler("wlan_cli_scan", TARROW_ACTION_GETLIST, &args), 0);
        std::string result;
        for (int i = 0; i < 12 && networks.get()->dn_meta[i] != nullptr; ++i) {
            result += networks.get()->dn_meta[i] + std::string(" ");
        }
        return result + "| " + networks.text();
    }
    static std::string channel() {
        const tree page = parse("<wlan_settings><channel/></wlan_settings>");
        dc_args_t args = {TARROW_CB_ARGS_XML, {.dc_subnode = page.get()}, nullptr};
        EXPECT_EQ(wlan_get(TARROW_ACTION_GET, &args), 0);
        return text_of(serialise(page.get()), "channel");
    }
};

TEST_F(wlan_test, the_associated_network_is_marked_in_the_scan_list) {
    const std::string k19(19, 'k'), names = "ssid ch connected key_mgmt ip_address | ";
    const std::pair<std::string, std::string> cases[] = {
        {"Net:1:WPA2-PSK:192.168.1.5\nx:y", "Net#6#1#WPA2-PSK#192.168.1.5\n net#7 Net#8#1#WPA2-PSK#192.168.1.5\n"},
        {"net::WPA2-PSK:192.168.1.5\n", "Net#6 net#7#W#192.168.1.5\n# Net#8"}, // runs of ":" are one
        {"::net:12:" + k19 + "k:" + k19 + "k:more", "Net#6 net#7#1#" + k19 + "#" + k19 + " Net#8"},
        {"net", "Net#6 net#7### Net#8"},
        {std::string(200, 'n') + "\nnet:1:k:a", "Net#6 net#7 Net#8"},
        {"", "Net#6 net#7 Net#8"},
    };
    for (const auto &[status, result] : cases) {
        write_file("/tmp/wifi_status.txt", status);
        EXPECT_EQ(scan("ssid#ch", "Net#6 net#7 Net#8"), names + result);
    }
    output_of("rm /tmp/wifi_status.txt /tmp/wifi_conn_test.log");
    EXPECT_EQ(scan("ssid#ch", "Net#6"), "ssid ch | Net#6");
    EXPECT_FALSE(exists("/tmp/wifi_conn_test.log"));
    write_file("/tmp/wifi_status.txt", "Net:1:k:a\n");
    EXPECT_EQ(scan("a#b#c#d#e#f#g#h#i#j", "Net"), "a b c d e f g h i j | Net"); // no room for three
    EXPECT_EQ(scan("a#b#c#d#e#f#g#h#i", "Net#b#c#d#e#f#g#h#i"),
              "a b c d e f g h i connected key_mgmt ip_address | Net#b#c#d#e#f#g#h#i#1#k#a\n");
    const std::string ssid(49, 's'); // the longest that is kept
    write_file("/tmp/wifi_status.txt", ssid + "s:1:k:a\n");
    EXPECT_EQ(scan("ssid", "other " + ssid), "ssid connected key_mgmt ip_address | other " + ssid + "#1#k#a\n");
    write_file("/tmp/wifi_status.txt", "Net:1:k:a\n");
    EXPECT_EQ(scan("ssid", "net Net"), "ssid connected key_mgmt ip_address | net Net#1#k#a\n");
    EXPECT_EQ(read_file("/tmp/wifi_conn_test.log"), "string in wifi_status.txt is:Net:1:k:a\n\n"
                                                    "ssid conn keymgmt  ip_address are: Net,1,k,a\n\n"
                                                    "dlist->dn_dlist[record][0],ssid,strlen(ssid) are:0,net,Net,3\n"
                                                    "dlist->dn_dlist[record][0],ssid,strlen(ssid) are:1,Net,Net,3\n");
    output_of("rm /tmp/wifi_conn_test.log; mkdir /tmp/wifi_conn_test.log"); // no trace: all else goes on
    EXPECT_EQ(scan("ssid", "Net"), "ssid connected key_mgmt ip_address | Net#1#k#a\n");
    output_of("rmdir /tmp/wifi_conn_test.log");
}

TEST_F(wlan_test, an_automatic_channel_is_asked_for_every_other_time) {
    EXPECT_EQ(channel(), "");
    set_setting("wlan_settings", "channel", "a-channel-of-many-letters");
    EXPECT_EQ(channel(), "a-channel-of-many-l");
    EXPECT_EQ(calls(), strings{});
    set_setting("wlan_settings", "channel", "0");
    EXPECT_EQ(channel(), "11");
    EXPECT_EQ(calls(), strings{"/usr/bin/wapctl sys_cfg_channel"});
    EXPECT_EQ(read_file("/tmp/channel.txt"), "11\n");
    EXPECT_EQ(channel(), "11\n");
    EXPECT_FALSE(exists("/tmp/channel.txt"));
    write_file("/tmp/channel.txt", "");
    EXPECT_EQ(channel(), "0"); // no line: consumed all the same
    EXPECT_FALSE(exists("/tmp/channel.txt"));
    EXPECT_EQ(calls(), strings{});
    const struct {
        const char *script, *channel, *notice;
    } cases[] = {
        {"echo one line", "0", ""},
        {"printf 'a\\nChannel = 7'", "7", "7\n"},
        {"printf 'a\\nchannel 7\\n'", "0", "0\n"},
        {"echo; echo '        Channel = `id`;>/tmp/x;'", "`id`;>/tmp/x;", "`id`;>/tmp/x;\n"},
    };
    substitute("/usr/bin/wapctl", "");
    for (const auto &c : cases) {
        write_file("/usr/bin/wapctl", std::string("#!/bin/sh\n") + c.script + "\n");
        EXPECT_EQ(channel(), c.channel);
        EXPECT_EQ(read_file("/tmp/channel.txt"), c.notice);
        output_of("rm -f /tmp/channel.txt");
    }
    EXPECT_FALSE(exists("/tmp/x"));
    write_file("/tmp/channel.txt", "a-channel-of-many-letters\n");
    EXPECT_EQ(channel(), "a-channel-of-many-l");
    EXPECT_EQ(log(), strings{});
    output_of("ln -s /none/x /tmp/channel.txt"); // the notice cannot be left
    EXPECT_EQ(channel(), "`id`;>/tmp/x;");
    output_of("rm /tmp/channel.txt");
    EXPECT_EQ(log(), strings{"<43>find_channel: system command is failed \n"});
    EXPECT_EQ(log_identity(), "tarrow:wlan_settings");
    EXPECT_EQ(wlan_get(TARROW_ACTION_GET, nullptr), -1);
}

TEST_F(wlan_test, wps_state) {
    const std::string page = "<m><wlan0><ap_pin/><ext_registrar/><x/></wlan0></m>";
    const auto filled = [](const std::string &registrar, const std::string &pin) {
        return "<m><wlan0><x /><ext_registrar>" + registrar + "</ext_registrar><ap_pin>" + pin +
               "</ap_pin></wlan0></m>";
    };
    output_of("rm -rf /tmp/wsc /tmp/wps; mkdir -p /tmp/wsc/wdev0ap0 /tmp/wps");
    EXPECT_EQ(get("wlan_security", page), filled("0", "73920518"));
    write_file("/tmp/wsc/wsc_ext_reg.txt", "2");
    write_file("/tmp/wsc/wsc_ap_pin.txt", "123456789012");
    EXPECT_EQ(get("wlan_security", page), filled("1", "12345678"));
    write_file("/tmp/wsc/wdev0ap0/wsc_ext_reg.txt", "3");
    EXPECT_EQ(get("wlan_security", page), filled("0", "12345678"));
    write_file("/tmp/wsc/wdev0ap0/wsc_ext_reg.txt", "");
    write_file("/tmp/wsc/wdev0ap0/wsc_ap_pin.txt", "99");
    EXPECT_EQ(get("wlan_security", page), filled("0", "99920518"));
    EXPECT_EQ(get("wlan_security", "<m><ap_pin/></m>"), "<m><ap_pin /></m>");

    EXPECT_EQ(get("wlan_wps_client", "<m><wps_result/><b/></m>"), "<m><b /><wps_result>0</wps_result></m>");
    write_file("/tmp/wps/wps_result", "3\n");
    EXPECT_EQ(get("wlan_wps_client", "<m><wps_result/></m>"), "<m><wps_result>3</wps_result></m>");
    dc_args_t args = {};
    EXPECT_EQ(tarrow_call_module_pre_set_handler("wlan_wps_client", TARROW_ACTION_SET, &args), 0);
    EXPECT_EQ(args.dc_opaque, nullptr);
    EXPECT_EQ(calls(), strings{});
}

} // namespace
