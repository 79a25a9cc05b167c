// The settings store of the device: handles, and cfgdb_cmd with processes side by side.

#include "support/device.h"

#include <climits>
#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

#include "../src/support/settings.h"

namespace {

using namespace testing_device;
using store_test = device_test;

TEST_F(store_test, what_a_handle_sets_is_there_for_others_once_it_is_closed) {
    set_setting("wan", "a", "old");
    const pid_t child = fork();
    tarrow::store handle(cfgdb_open("wan"));
    tarrow::set_value(handle, "a", "new");
    const qstr_t key = tarrow::counted("b");
    EXPECT_EQ(cfgdb_get_int(handle.get(), &key), 0);
    cfgdb_set_int(handle.get(), &key, INT_MIN);
    if (child == 0) { raise(SIGKILL); } // a writer that dies before its close
    waitpid(child, nullptr, 0);
    set_setting("wan", "c", "not held up by the open handle");
    EXPECT_EQ(setting("wan", "a") + setting("wan", "b"), "old(absent)");
    EXPECT_EQ(cfgdb_get_int(handle.get(), &key), INT_MIN);
    handle.reset();
    EXPECT_EQ(setting("wan", "a") + setting("wan", "b"), "new-2147483648");
}

TEST_F(store_test, the_command_line_tool) {
    const std::pair<const char *, const char *> cases[] = {
        {"set m 'k 2' 'l1\nl2\\\xff'\\''$x;'", ""},
        {"list", "m k\\s2 l1\\nl2\\\\\xff'$x;\n"},
        {"list m | cfgdb_cmd --backend /userfs/cfgdb/copy.txt import", ""},
        {"--backend /userfs/cfgdb/copy.txt get m 'k 2'", "l1\nl2\\\xff'$x;\n"},
        {"get m 2", "cfgdb_cmd: module 'm' has no setting '2'\nexit 1"},
        {"--backend /etc/passwd set m k v", "cfgdb_cmd: cannot open module 'm' in /etc/passwd\nexit 1"},
        {"import < /etc/group", "cfgdb_cmd: cannot store the line (those before it are stored): root:x:0:\nexit 1"},
        {"list > /dev/full", "cfgdb_cmd: cannot write the output\nexit 1"},
        // All race for making the store, too, and a reader that takes its time holds nobody up.
        {"list > /tmp/list; rm /userfs/cfgdb/settings.db;"
         "for w in a b c d; do (for i in 1 2 3 4 5 6 7 8; do cfgdb_cmd set $w $i x; done) & done; wait",
         ""},
        {"list | while read -r m k v; do cfgdb_cmd set $m $k y; done; cfgdb_cmd list | grep -c ' y$'", "32\n"},
    };
    for (const auto &[arguments, output] : cases) {
        EXPECT_EQ(output_of(std::string("{ cfgdb_cmd ") + arguments + "; } 2>&1"), output) << arguments;
    }
}

} // namespace
