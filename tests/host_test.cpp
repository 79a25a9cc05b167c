// tarrow_host: the whole way from a request on its command line to the answer.

#include "support/device.h"

namespace {

using namespace testing_device;
using host_test = device_test;

TEST_F(host_test, requests_and_refusals) {
    set_setting("wan", "proto", "static");
    set_setting("wan", "cellular.rssi", "9");
    set_setting("wan", "cellular.signal_level", "3");
    set_setting("lan", "fixed_leases", "m1#1#x m2#2#y");
    set_setting("firewall", "ip", "1");
    write_file("/tmp/request", "<?xml version=\"1.0\"?>\n<wan>\n <cellular> <rssi/>\n</cellular></wan>\n");
    // A script for both phases: tells what is stored, and brings it to the other.
    write_file("/tmp/script", "#!/bin/sh\necho $1 $(cfgdb_cmd get firewall ip) >> $2; cat $2\n");
    output_of("chmod +x /tmp/script; for phase in pre post; do ln -sf /tmp/script "
              "/etc/init.d/firewall_${phase}_set.sh; done");
    const std::pair<const char *, const char *> cases[] = {
        {"get wan | grep -E '<(proto|ip4|rssi)>'", // a live value wins over a stored one
         "  <proto>static</proto>\n  <ip4>198.51.100.2</ip4>\n    <rssi>3</rssi>\n"},
        {"get wan /tmp/request", "<wan>\n  <cellular>\n    <rssi>3</rssi>\n  </cellular>\n</wan>\n"},
        {"get wan cellular.rssi", "3\n"},
        {"set firewall ip=2 'dns.first=a=b <&>'",
         "set 1\nset 1\nset 2\n"
         "<firewall>\n  <ip>2</ip>\n  <dns>\n    <first>a=b &lt;&amp;&gt;</first>\n  </dns>\n</firewall>\n"},
        {"get firewall | grep -c '<first>a=b &lt;\\|<ip>2<'", "2\n"}, // all that is stored
        {"set lan '<lan><fixed_leases><Item><mac Delete=\"\">m1</mac></Item><Item><mac>m2</mac><ip>3</ip></Item>"
         "</fixed_leases></lan>' > /dev/null; tarrow_host get lan fixed_leases | tr -d '\\n '",
         "<fixed_leases><Itemindex=\"1\"><mac>m2</mac><ip>3</ip><name>y</name></Item></fixed_leases>"},
        {"get WAN", "tarrow_host: no module is called 'WAN'; did you mean 'wan'? 'tarrow_host list' shows all\nexit 1"},
        {"get wan '<wan>\n'", "tarrow_host: the request cannot be read: line 2: <wan> is not closed\nexit 1"},
        {"set wan prto=x > /dev/null", "tarrow_host: refused to store: the page of 'wan' has no element 'prto'; "
                                       "did you mean 'proto'?\nexit 3"},
        {"set diagnostic command=rm > /dev/null",
         "tarrow_host: refused in pre-set: execute_command() answered -1\nexit 3"},
        {"list > /dev/full", "tarrow_host: cannot write the answer\nexit 1"},
    };
    for (const auto &[arguments, output] : cases) {
        EXPECT_EQ(output_of(std::string("{ tarrow_host ") + arguments + "; } 2>&1"), output) << arguments;
    }
    output_of("for phase in pre post; do ln -sf /sim/hook /etc/init.d/firewall_${phase}_set.sh; done");
}

} // namespace
