// The settings store of the device: the operations the library needs, cfgdb_cmd, processes side by
// side.

#include "support/device.h"

#include <climits>
#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

#include "../src/support/settings.h"

namespace {

using namespace testing_device;
using store_test = device_test;

TEST_F(store_test, values_and_integers) {
    const std::string odd = "a 'b' \"c\" \xff\n\\ $x;";
    set_setting("wan", "key", odd);
    set_setting("lan", "key", "");
    EXPECT_EQ(setting("wan", "key") + setting("lan", "key"), odd);
    EXPECT_EQ(setting("lan", "other"), "(absent)");
    set_setting("wan", "key", std::string(100000, 'x'));
    EXPECT_EQ(setting("wan", "key").size(), 100000U);
    EXPECT_EQ(cfgdb_open(""), nullptr);
    const tarrow::store handle(cfgdb_open("http_share"));
    const qstr_t key = tarrow::counted("n");
    EXPECT_EQ(cfgdb_get_int(handle.get(), &key), 0);
    for (const int value : {1, -1, INT_MAX, INT_MIN}) {
        EXPECT_EQ(cfgdb_set_int(handle.get(), &key, value), 0);
        EXPECT_EQ(cfgdb_get_int(handle.get(), &key), value);
    }
}

TEST_F(store_test, what_a_handle_sets_is_there_for_others_once_it_is_closed) {
    set_setting("wan", "a", "old");
    const pid_t child = fork();
    tarrow::store handle(cfgdb_open("wan"));
    for (const char *name : {"a", "b"}) {
        const qstr_t key = tarrow::counted(name), value = tarrow::counted("new");
        cfgdb_set(handle.get(), &key, &value);
    }
    if (child == 0) {
        raise(SIGKILL); // a writer that dies before its close
    }
    waitpid(child, nullptr, 0);
    set_setting("wan", "c", "not held up by the open handle");
    EXPECT_EQ(setting("wan", "a") + setting("wan", "b"), "old(absent)");
    handle.reset();
    EXPECT_EQ(setting("wan", "a") + setting("wan", "b"), "newnew");
}

TEST_F(store_test, processes_that_write_at_once_lose_no_value) {
    const pid_t daemon = fork(); // all race for making the store, too
    if (daemon == 0) {
        for (int i = 0; i < 100; ++i) { set_setting("daemon", std::to_string(i).c_str(), "x"); }
        _exit(0);
    }
    EXPECT_EQ(output_of("for w in a b c d; do (for i in 1 2 3 4 5 6 7 8; do cfgdb_cmd set m$w $i x ||"
                        " echo lost; done) & done; wait"),
              "");
    waitpid(daemon, nullptr, 0);
    EXPECT_EQ(output_of("cfgdb_cmd list | wc -l"), "132\n");
    // A reader that takes its time holds nobody up.
    EXPECT_EQ(output_of("cfgdb_cmd list | while read -r m k v; do cfgdb_cmd set $m $k y; done"), "");
    EXPECT_EQ(output_of("cfgdb_cmd list | grep -c ' y$'"), "132\n");
}

TEST_F(store_test, the_command_line_tool) {
    const std::pair<const char *, const char *> cases[] = {
        {"set sms 1 'a#b c'", ""},
        {"get sms 1", "a#b c\n"},
        {"set wan 'k 2' 'l1\nl2\\n'", ""},
        {"list", "sms 1 a#b c\nwan k\\s2 l1\\nl2\\\\n\n"},
        {"list sms", "sms 1 a#b c\n"},
        {"list | cfgdb_cmd --backend /userfs/cfgdb/copy.txt import", ""},
        {"--backend /userfs/cfgdb/copy.txt get wan 'k 2'", "l1\nl2\\n\n"},
        {"get sms 2", "cfgdb_cmd: module 'sms' has no setting '2'\nexit 1"},
        {"set '' k v", "cfgdb_cmd: cannot open module '' in /userfs/cfgdb/settings.db\nexit 1"},
        {"--backend '' set m k v", "cfgdb_cmd: cannot open module 'm' in \nexit 1"},
        {"--backend /none/f get m k", "cfgdb_cmd: cannot read /none/f\nexit 1"},
        {"--backend /none/f set m k v", "cfgdb_cmd: cannot open module 'm' in /none/f\nexit 1"},
        {"--backend /etc/passwd list", "cfgdb_cmd: cannot read /etc/passwd\nexit 1"},
        {"import < /etc/group", "cfgdb_cmd: cannot store the line (those before it are stored): root:x:0:\nexit 1"},
        {"list > /dev/full", "cfgdb_cmd: cannot write the output\nexit 1"},
        {"set a b", "usage: cfgdb_cmd [--backend FILE] set MODULE KEY VALUE | get MODULE KEY | list [MODULE] | import\n"
                    "exit 2"},
    };
    for (const auto &[arguments, output] : cases) {
        EXPECT_EQ(output_of(std::string("{ cfgdb_cmd ") + arguments + "; } 2>&1"), output) << arguments;
    }
}

} // namespace
