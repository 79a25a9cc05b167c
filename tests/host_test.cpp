// tarrow_host: the whole way from a request on its command line to the answer.

#include "support/device.h"

namespace {

using namespace testing_device;
using host_test = device_test;

TEST_F(host_test, get_answers_a_full_page_or_what_is_asked_for) {
    set_setting("wan", "proto", "static");
    set_setting("wan", "cellular.rssi", "9");
    set_setting("wan", "cellular.signal_level", "3");
    const std::string page = output_of("tarrow_host get wan");
    EXPECT_EQ(text_of(page, "proto"), "static"); // from the store
    EXPECT_EQ(text_of(page, "ip4"), "198.51.100.2");
    EXPECT_EQ(text_of(page, "rssi"), "3"); // live, though the store has a value under its path
    write_file("/tmp/request", "<?xml version=\"1.0\"?>\n<wan>\n <cellular> <rssi/>\n</cellular></wan>\n");
    const std::string answer = "<wan>\n  <cellular>\n    <rssi>3</rssi>\n  </cellular>\n</wan>\n";
    EXPECT_EQ(output_of("tarrow_host get wan /tmp/request"), answer);
    EXPECT_EQ(output_of("tarrow_host get wan - < /tmp/request"), answer);
    set_setting("firewall", "rules.level", "high"); // has no page: all its settings are asked for
    EXPECT_EQ(output_of("tarrow_host get wan ip4; tarrow_host get wan cellular.rssi"), "198.51.100.2\n3\n");
    EXPECT_EQ(output_of("tarrow_host get wan '<wan><cellular><rssi/></cellular></wan>'"), answer);
    EXPECT_EQ(output_of("tarrow_host get firewall"),
              "<firewall>\n  <rules>\n    <level>high</level>\n  </rules>\n</firewall>\n");
}

TEST_F(host_test, set_runs_both_scripts_around_the_store) {
    substitute("/etc/init.d/firewall_pre_set.sh", "#!/bin/sh\necho noise; cfgdb_cmd get firewall ip > $2\n");
    substitute("/etc/init.d/firewall_post_set.sh",
               "#!/bin/sh\necho $1 $(cfgdb_cmd get firewall ip) | cat $2 - > /tmp/seen\n");
    set_setting("firewall", "ip", "10.0.0.1");
    EXPECT_EQ(output_of("tarrow_host set firewall ip=10.0.0.2 'dns.first=a=b <&>'"),
              "<firewall>\n  <ip>10.0.0.2</ip>\n  <dns>\n    <first>a=b &lt;&amp;&gt;</first>\n  </dns>\n"
              "</firewall>\n");
    EXPECT_EQ(read_file("/tmp/seen"), "10.0.0.1\nset 10.0.0.2\n");
    output_of("echo '<firewall><!-- c --><ip><!-- c --><![CDATA[<5>]]></ip></firewall>' | tarrow_host set firewall -");
    EXPECT_EQ(output_of("cfgdb_cmd list firewall"), "firewall dns.first a=b <&>\nfirewall ip <5>\n");
}

TEST_F(host_test, lists_go_through_their_tables_both_ways) {
    set_setting("lan", "fixed_leases", "m1#10.0.0.1#one m2#10.0.0.2#two");
    write_file("/tmp/request", "<lan><fixed_leases><Item><mac Delete=\"1\">m1</mac></Item><Item><mac>m3</mac>"
                               "<ip>10.0.0.3</ip><name>three</name></Item></fixed_leases></lan>");
    output_of("tarrow_host set lan /tmp/request");
    EXPECT_EQ(setting("lan", "fixed_leases"), "m3#10.0.0.3#three m2#10.0.0.2#two");
    EXPECT_EQ(output_of("echo '<lan><fixed_leases/></lan>' | tarrow_host get lan - | tr -d '\\n '"),
              "<lan><fixed_leases><Itemindex=\"1\"><mac>m3</mac><ip>10.0.0.3</ip><name>three</name>"
              "</Item><Itemindex=\"2\"><mac>m2</mac><ip>10.0.0.2</ip><name>two</name></Item>"
              "</fixed_leases></lan>");
}

TEST_F(host_test, refusals_are_plain_and_fail) {
    std::string open, close;
    for (int i = 0; i < 100000; ++i) { open.append("<wan>"), close.append("</wan>"); }
    write_file("/tmp/deep", open + close);
    const std::string unreadable = "the request cannot be read: ";
    const std::pair<const char *, std::string> cases[] = {
        {"get none", "no module is called 'none'; 'tarrow_host list' shows all"},
        {"get WAN", "no module is called 'WAN'; did you mean 'wan'? 'tarrow_host list' shows all"},
        {"get wan rssi", "the page of 'wan' has no element 'rssi'; did you mean 'cellular.rssi'?"},
        {"get sms del", "'del' is only posted"},
        {"get wan /tmp/none", "cannot open /tmp/none: No such file or directory"},
        {"get wan /tmp/deep", unreadable + "its elements are nested too deeply"},
        {"get wan - <<< '<lan/>'", "the request is not for <wan>"},
        {"get wan - <<< '<wan/><wan/>'", unreadable + "there is something beside its element"},
        {"get wan - <<< '<wan>'", unreadable + "line 2: <wan> is not closed"},
        {"get wan - <<< '<wan>&x;</wan>'", unreadable +
                                               "line 1: an \"&\" begins no character that there is; for itself it is "
                                               "written \"&amp;\""},
        {"set lan ip=1 novalue", "'novalue' is no key=value, nor a file"},
        {"set lan a=1 a.b=2", "'a.b' is no name of an element, or stands twice"},
        {"set lan 'a..b=1'", "'a..b' is no name of an element, or stands twice"},
        {"list > /dev/full", "cannot write the answer"},
    };
    for (const auto &[arguments, message] : cases) {
        EXPECT_EQ(output_of(std::string("bash -c \"tarrow_host ") + arguments + "\" 2>&1"),
                  "tarrow_host: " + message + "\nexit 1");
    }
    EXPECT_EQ(output_of("tarrow_host put lan 2>/dev/null"), "exit 2");
    EXPECT_EQ(calls(), strings{});
    EXPECT_EQ(setting("lan", "ip"), "(absent)");
    EXPECT_EQ(output_of("tarrow_host set wan prto=x 2>&1 > /dev/null"),
              "tarrow_host: refused to store: the page of 'wan' has no element 'prto'; did you mean 'proto'?\nexit 3");
    EXPECT_EQ(output_of("tarrow_host set diagnostic command=rm 2>&1 > /dev/null"),
              "tarrow_host: refused in pre-set: execute_command() answered -1\nexit 3");
    output_of("rm -r /userfs/cfgdb");
    EXPECT_EQ(output_of("tarrow_host get lan 2>&1"), "tarrow_host: the settings store cannot be opened\nexit 1");
    EXPECT_EQ(output_of("tarrow_host set lan ip=1 2>&1"),
              "tarrow_host: the settings store did not take the values\nexit 1");
}

} // namespace
