// The settings store of the device: the operations the library needs, cfgdb_cmd, processes side by
// side.

#include "support/device.h"

#include <climits>
#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

#include "../src/settings.h"

namespace {

using namespace testing_device;
using store_test = device_test;

int get_int(const char *module, const char *key) {
    const tarrow::store handle(cfgdb_open(module));
    const qstr_t name = tarrow::counted(key);
    return cfgdb_get_int(handle.get(), &name);
}

TEST_F(store_test, values_are_kept_by_module_and_key) {
    const std::string odd = "a 'b' \"c\" \xff\n\\ $x;";
    set_setting("wan", "key", odd);
    set_setting("lan", "key", "");
    EXPECT_EQ(setting("wan", "key"), odd);
    EXPECT_EQ(setting("lan", "key"), "");
    EXPECT_EQ(setting("lan", "other"), "(absent)");
    set_setting("wan", "key", std::string(100000, 'x'));
    EXPECT_EQ(setting("wan", "key").size(), 100000U);
    EXPECT_EQ(cfgdb_open(""), nullptr);
    EXPECT_EQ(cfgdb_open(nullptr), nullptr);
}

TEST_F(store_test, integers) {
    for (const int value : {0, 1, -1, INT_MAX, INT_MIN}) {
        {
            const tarrow::store handle(cfgdb_open("http_share"));
            const qstr_t key = tarrow::counted("n");
            EXPECT_EQ(cfgdb_set_int(handle.get(), &key, value), 0);
            EXPECT_EQ(cfgdb_get_int(handle.get(), &key), value); // before the close, too
        }
        EXPECT_EQ(get_int("http_share", "n"), value);
        EXPECT_EQ(setting("http_share", "n"), std::to_string(value));
    }
    set_setting("http_share", "n", "99999999999999999999");
    EXPECT_EQ(get_int("http_share", "n"), INT_MAX);
    EXPECT_EQ(get_int("http_share", "absent"), 0);
}

TEST_F(store_test, match_ignores_case_and_leaves_no_handle) {
    set_setting("wan", "proto", "Static");
    for (int i = 0; i < 300; ++i) {
        ASSERT_EQ(cfgdb_match__("wan", nullptr, "proto", "STATIC"), 1);
        ASSERT_EQ(cfgdb_match__("wan", nullptr, "proto", "stati"), 0);
    }
    EXPECT_EQ(cfgdb_match__("wan", "ignored", "proto", "static"), 1);
    EXPECT_EQ(cfgdb_match__("wan", nullptr, "absent", ""), 0);
    EXPECT_EQ(cfgdb_match__("", nullptr, "proto", "static"), 0);
    EXPECT_EQ(cfgdb_match__("wan", nullptr, nullptr, "static"), 0);
    output_of("rm -r /userfs/cfgdb");
    EXPECT_EQ(cfgdb_match__("wan", nullptr, "proto", "static"), 0); // the store cannot be opened
}

TEST_F(store_test, what_a_handle_sets_is_there_for_others_when_it_is_closed) {
    set_setting("wan", "a", "old");
    tarrow::store handle(cfgdb_open("wan"));
    for (const char *name : {"a", "b"}) {
        const qstr_t key = tarrow::counted(name);
        const qstr_t value = tarrow::counted("new");
        EXPECT_EQ(cfgdb_set(handle.get(), &key, &value), 0);
    }
    EXPECT_EQ(setting("wan", "a"), "old");
    EXPECT_EQ(setting("wan", "b"), "(absent)");
    set_setting("wan", "c", "not held up by the open handle");
    handle.reset();
    EXPECT_EQ(setting("wan", "a") + setting("wan", "b"), "newnew");
}

TEST_F(store_test, a_writer_that_dies_before_its_close_loses_nothing) {
    set_setting("wan", "a", "old");
    const pid_t child = fork();
    if (child == 0) {
        cfgdb_handle_t *handle = cfgdb_open("wan");
        const qstr_t key = tarrow::counted("a");
        const qstr_t value = tarrow::counted("lost");
        cfgdb_set(handle, &key, &value);
        raise(SIGKILL);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(setting("wan", "a"), "old");
}

TEST_F(store_test, processes_that_write_at_once_lose_no_value) {
    const std::string writer =
        "for i in 1 2 3 4 5 6 7 8; do cfgdb_cmd set m$W k$i $W-$i || exit; done";
    const pid_t daemon = fork(); // the first to open the store makes it: race for that, too
    if (daemon == 0) {
        for (int i = 0; i < 100; ++i) {
            set_setting("daemon", std::to_string(i).c_str(), "x");
        }
        _exit(0);
    }
    EXPECT_EQ(output_of("for W in a b c d; do (" + writer + ") & done; wait"), "");
    waitpid(daemon, nullptr, 0);
    EXPECT_EQ(output_of("cfgdb_cmd list | wc -l"), "132\n");
    EXPECT_EQ(setting("md", "k8"), "d-8");
}

TEST_F(store_test, the_command_line_tool) {
    const struct {
        const char *command, *output;
    } cases[] = {
        {"cfgdb_cmd set sms 1 'a#b c'", ""},
        {"cfgdb_cmd get sms 1", "a#b c\n"},
        {"cfgdb_cmd set wan two 'l1\nl2\\n'", ""},
        {"cfgdb_cmd list", "sms 1 a#b c\nwan two l1\\nl2\\\\n\n"},
        {"cfgdb_cmd list sms", "sms 1 a#b c\n"},
        {"cfgdb_cmd list none", ""},
        {"cfgdb_cmd list | cfgdb_cmd --backend /userfs/cfgdb/copy.txt import", ""},
        {"cfgdb_cmd --backend /userfs/cfgdb/copy.txt get wan two", "l1\nl2\\n\n"},
        {"cfgdb_cmd get sms 2 2>&1", "cfgdb_cmd: module 'sms' has no setting '2'\nexit 1"},
        {"cfgdb_cmd set '' k v 2>&1",
         "cfgdb_cmd: cannot open module '' in /userfs/cfgdb/settings.db\nexit 1"},
        {"cfgdb_cmd --backend /none/f get m k 2>&1", "cfgdb_cmd: cannot read /none/f\nexit 1"},
        {"cfgdb_cmd --backend /none/f set m k v 2>&1",
         "cfgdb_cmd: cannot open module 'm' in /none/f\nexit 1"},
        {"cfgdb_cmd --backend /etc/passwd list 2>&1", "cfgdb_cmd: cannot read /etc/passwd\nexit 1"},
        {"echo bad | cfgdb_cmd import 2>&1", "cfgdb_cmd: cannot store the line: bad\nexit 1"},
        {"cfgdb_cmd set a b 2>/dev/null", "exit 2"},
        {"cfgdb_cmd 2>/dev/null", "exit 2"},
        {"cfgdb_cmd --help | head -1", "usage: cfgdb_cmd [--backend FILE] COMMAND\n"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(output_of(c.command), c.output) << c.command;
    }
}

} // namespace
