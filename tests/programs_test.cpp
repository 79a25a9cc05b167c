// The settings store and the host program, on their command lines and with processes side by side.

#include "support/device.h"

namespace {

using namespace testing_device;
using programs_test = device_test;

TEST_F(programs_test, command_lines) {
    const std::pair<const char *, const char *> cases[] = {
        {R"(cfgdb_cmd set m 'k 2' 'l1
l2\'\''$x;')",
         ""},
        {"cfgdb_cmd list", "m k\\s2 l1\\nl2\\\\'$x;\n"},
        {"cfgdb_cmd list m | cfgdb_cmd --backend /userfs/cfgdb/copy.txt import", ""},
        {"cfgdb_cmd --backend /userfs/cfgdb/copy.txt get m 'k 2'", "l1\nl2\\'$x;\n"},
        {"cfgdb_cmd import < /etc/group",
         "cfgdb_cmd: cannot store the line (those before it are stored): root:x:0:\nexit 1"},
        // All race for making the store, too, and a reader that takes its time holds nobody up.
        {"rm /userfs/cfgdb/settings.db;"
         "for w in a b c d; do (for i in 1 2 3 4 5 6 7 8; do cfgdb_cmd set $w $i x; done) & done; wait",
         ""},
        {"cfgdb_cmd list | while read -r m k v; do cfgdb_cmd set $m $k y; done; cfgdb_cmd list | grep -c ' y$'",
         "32\n"},
        // What is posted is stored, one key after the other; a live value wins over a stored one when it is read.
        {"tarrow_host set firewall ip=2 'dns.first=a=b <&>'; cfgdb_cmd list firewall",
         "<firewall>\n  <ip>2</ip>\n  <dns>\n    <first>a=b &lt;&amp;&gt;</first>\n  </dns>\n</firewall>\n"
         "firewall dns.first a=b <&>\nfirewall ip 2\n"},
        {"cfgdb_cmd set wan cellular.rssi 9; cfgdb_cmd set wan cellular.signal_level 3;"
         "tarrow_host get wan cellular.rssi",
         "3\n"},
        {"tarrow_host get WAN",
         "tarrow_host: no module is called 'WAN'; did you mean 'wan'? 'tarrow_host list' shows all\nexit 1"},
        {"tarrow_host get wan '<wan>\n'",
         "tarrow_host: the request cannot be read: line 2: <wan> is not closed\nexit 1"},
        {"tarrow_host set wan prto=x > /dev/null", "tarrow_host: refused to store: the page of 'wan' has no element "
                                                   "'prto'; did you mean 'proto'?\nexit 3"},
        {"tarrow_host set diagnostic command=rm > /dev/null",
         "tarrow_host: refused in pre-set: execute_command() answered -1\nexit 3"},
    };
    for (const auto &[command, output] : cases) {
        EXPECT_EQ(output_of(std::string("{ ") + command + "; } 2>&1"), output) << command;
    }
}

} // namespace
