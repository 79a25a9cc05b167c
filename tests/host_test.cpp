// tarrow_host: the whole way from a request on its command line to the answer.

#include "support/device.h"

#include <unistd.h>

namespace {

using namespace testing_device;
using host_test = device_test;

TEST_F(host_test, get_answers_a_full_page_or_what_is_asked_for) {
    set_setting("wan", "proto", "static");
    const std::string page = output_of("tarrow_host get wan");
    EXPECT_EQ(text_of(page, "proto"), "static"); // from the store
    EXPECT_EQ(text_of(page, "ip4"), "198.51.100.2");
    EXPECT_EQ(text_of(page, "rssi"),
              "5"); // live, though the store could have a value under its path
    set_setting("wan", "cellular.signal_level", "3");
    set_setting("wan", "cellular.rssi", "9");
    write_file("/tmp/request",
               "<?xml version=\"1.0\"?>\n<wan>\n <cellular> <rssi/>\n</cellular></wan>\n");
    const std::string answer = "<wan>\n  <cellular>\n    <rssi>3</rssi>\n  </cellular>\n</wan>\n";
    EXPECT_EQ(output_of("tarrow_host get wan /tmp/request"), answer);
    EXPECT_EQ(output_of("tarrow_host get wan - < /tmp/request"), answer);
    EXPECT_EQ(output_of("tarrow_host get firewall"), "<firewall />\n");
}

TEST_F(host_test, set_runs_both_scripts_around_the_store) {
    substitute("/etc/init.d/lan_pre_set.sh",
               "#!/bin/sh\ncfgdb_cmd get lan ip > \"$2\" 2>/dev/null\n");
    substitute("/etc/init.d/lan_post_set.sh", "#!/bin/sh\ncat \"$2\" - > /tmp/seen <<E\n"
                                              "$1 $(cfgdb_cmd get lan ip)\nE\n");
    set_setting("lan", "ip", "10.0.0.1");
    EXPECT_EQ(
        output_of("tarrow_host set lan ip=10.0.0.2 'dns.first=a=b <&>'"),
        "<lan>\n  <ip>10.0.0.2</ip>\n  <dns>\n    <first>a=b &lt;&amp;&gt;</first>\n  </dns>\n"
        "</lan>\n");
    EXPECT_EQ(read_file("/tmp/seen"), "10.0.0.1\nset 10.0.0.2\n");
    EXPECT_EQ(setting("lan", "dns.first"), "a=b <&>");
}

TEST_F(host_test, lists_go_through_their_tables_both_ways) {
    set_setting("lan", "fixed_leases", "m1#10.0.0.1#one m2#10.0.0.2#two");
    write_file(
        "/tmp/request",
        "<lan><fixed_leases><Item><mac Delete=\"1\">m1</mac></Item><Item><mac>m3</mac>"
        "<ip>10.0.0.3</ip><name>three</name></Item><Item><mac>m2</mac><name>zwei</name></Item>"
        "</fixed_leases></lan>");
    output_of("tarrow_host set lan /tmp/request");
    EXPECT_EQ(setting("lan", "fixed_leases"), "m3#10.0.0.3#three m2#10.0.0.2#zwei");
    EXPECT_EQ(output_of("echo '<lan><fixed_leases/></lan>' | tarrow_host get lan - | tr -d '\\n '"),
              "<lan><fixed_leases><Itemindex=\"1\"><mac>m3</mac><ip>10.0.0.3</ip><name>three</name>"
              "</Item><Itemindex=\"2\"><mac>m2</mac><ip>10.0.0.2</ip><name>zwei</name></Item>"
              "</fixed_leases></lan>");
}

TEST_F(host_test, refusals_are_plain_and_fail) {
    write_file("/tmp/open", "<wan><ip4/>");
    write_file("/tmp/two", "<wan/><wan/>");
    write_file("/tmp/lan", "<lan/>");
    const struct {
        const char *arguments, *output;
    } cases[] = {
        {"get none",
         "tarrow_host: no module is called 'none'; 'tarrow_host list' shows all\nexit 1"},
        {"get wan /tmp/none",
         "tarrow_host: cannot open /tmp/none: No such file or directory\nexit 1"},
        {"get wan /tmp/lan", "tarrow_host: the request is not for <wan>\nexit 1"},
        {"get wan /tmp/two",
         "tarrow_host: the request cannot be read: there is something after its "
         "element\nexit 1"},
        {"get wan /tmp/open",
         "tarrow_host: the request cannot be read: Mismatched close tag </request> "
         "under parent <wan> on line 1.\nexit 1"},
        {"set lan novalue", "tarrow_host: 'novalue' is no key=value, nor a file\nexit 1"},
        {"set lan ip=1 =2", "tarrow_host: '=2' is no key=value, nor a file\nexit 1"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(output_of(std::string("tarrow_host ") + c.arguments + " 2>&1"), c.output);
    }
    for (const char *usage : {"", "get", "set lan", "list all", "put lan"}) {
        EXPECT_EQ(output_of("tarrow_host " + std::string(usage) + " 2>/dev/null"), "exit 2")
            << usage;
    }
    EXPECT_EQ(calls(), strings{});
    EXPECT_EQ(setting("lan", "ip"), "(absent)");
    output_of("rm -r /userfs/cfgdb");
    EXPECT_EQ(output_of("tarrow_host set lan ip=1 2>&1"),
              "tarrow_host: the settings store did not take the values\nexit 1");
}

TEST_F(host_test, list_names_what_runs) {
    EXPECT_EQ(output_of("tarrow_host list | sed -n '/^ 2 /,/^ 3 /p'"),
              " 2 wan  (fields '%', records '^')\n"
              "     pre-set   /etc/init.d/wan_pre_set.sh\n"
              "     post-set  /etc/init.d/wan_post_set.sh\n"
              "     pre-get   wan_pc_mac_get()\n"
              "     post-get  wan_get()\n"
              " 3 wlan_cli_scan  (fields '@', records '#')\n");
    EXPECT_EQ(output_of("tarrow_host list | grep -c '^ *[0-9]'"), "32\n");
}

} // namespace
