// Dispatch by module name and by row, hook scripts, delimiters and the serial trace.

#include "support/device.h"

#include <sys/stat.h>
#include <unistd.h>

#include "../src/tarrow_log.h"

namespace {

using namespace testing_device;
using dispatch_test = device_test;

std::string seen; // what the handlers of this file were called with

int note_handler(int flags, dc_args_t *dc) {
    seen += std::to_string(flags) + (dc != nullptr ? "dc " : " ");
    return -1;
}

TEST_F(dispatch_test, a_set_request_carries_its_temporary_file_from_pre_set_to_post_set) {
    substitute("/etc/init.d/lan_pre_set.sh", "#!/bin/sh\n. /sim/record\necho kept > \"$2\"\n");
    dc_args_t args = {};
    ASSERT_EQ(tarrow_call_module_pre_set_handler("lan", TARROW_ACTION_SET, &args), 0);
    const std::string path = static_cast<char *>(args.dc_opaque);
    EXPECT_EQ(path.substr(0, 12) + "XXXXXX", "/tmp/tarrow.XXXXXX");
    struct stat status = {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
    ASSERT_EQ(tarrow_call_module_post_set_handler("lan", TARROW_ACTION_SET, &args), 0);
    EXPECT_EQ(args.dc_opaque, nullptr);
    EXPECT_EQ(calls(), (strings{"/etc/init.d/lan_pre_set.sh set " + path, "/etc/init.d/lan_post_set.sh set " + path}));
    EXPECT_EQ(read_file(path), "kept\n"); // the file outlives the request

    EXPECT_EQ(tarrow_call_module_pre_set_handler("lan", TARROW_ACTION_SET, nullptr), -1);
    EXPECT_EQ(output_of("ls /tmp/tarrow.* | wc -l"), "1\n");
    char before[] = "before";
    args.dc_opaque = before;
    {
        const no_descriptors limit;
        EXPECT_EQ(tarrow_call_module_pre_set_handler("lan", TARROW_ACTION_SET, &args), -1);
    }
    EXPECT_EQ(args.dc_opaque, before);
    EXPECT_EQ(calls(), strings{});
}

TEST_F(dispatch_test, other_phases_run_their_script_with_the_action_word_alone) {
    dc_args_t args = {};
    tarrow_call_module_pre_set_handler("locale", TARROW_ACTION_SET, &args); // has none
    tarrow_call_module_post_set_handler("locale", TARROW_ACTION_SET, &args);
    tarrow_call_module_post_set_handler("locale", TARROW_ACTION_SET, nullptr);
    tarrow_call_module_pre_get_handler("reboot", TARROW_ACTION_GET, nullptr);
    EXPECT_EQ(calls(), (strings{"/etc/init.d/locale_config.sh set", "/etc/init.d/locale_config.sh set",
                                "/usr/sbin/reboot.sh get"}));
    for (const char *name : {"WAN", "wa", "lan ", "", static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(tarrow_call_module_pre_set_handler(name, 3, &args), 0);
        EXPECT_EQ(tarrow_call_module_post_get_handler(name, 4, &args), 0);
        EXPECT_EQ(tarrow_call_module_validate_handler(name, nullptr, &args), 0);
        EXPECT_EQ(tarrow_call_module_dynamic_handler(name, 0, 0, &args), 0);
    }
    EXPECT_EQ(calls(), strings{});
    for (const int flags : {-1, 0, 1, 2, 3, 4, 5, 6, 7, 1 << 30}) {
        tarrow_call_module_run_cmd("/sim/hook", flags, "");
    }
    EXPECT_EQ(calls(), (strings{"/sim/hook start", "/sim/hook stop", "/sim/hook set", "/sim/hook get",
                                "/sim/hook getlist", "/sim/hook setlist"}));
}

TEST_F(dispatch_test, a_handler_wins_over_a_script_and_keeps_dc_opaque) {
    char mark[] = "mark";
    dc_args_t args = {TARROW_CB_ARGS_XML, {nullptr}, mark};
    applet_info row = {};
    row.di_handler_pre_set_func = row.di_handler_post_set_func = note_handler;
    row.di_handler_pre_get_func = row.di_handler_post_get_func = note_handler;
    row.di_handler_pre_set_cmd = row.di_handler_post_set_cmd = "/sim/hook";
    row.di_handler_pre_get_cmd = row.di_handler_post_get_cmd = "/sim/hook";
    seen.clear();
    EXPECT_EQ(__tarrow_call_module_pre_set_handler(&row, 3, &args), 0);
    EXPECT_EQ(__tarrow_call_module_post_set_handler(&row, 3, &args), 0);
    EXPECT_EQ(__tarrow_call_module_pre_get_handler(&row, 4, nullptr), 0);
    EXPECT_EQ(__tarrow_call_module_post_get_handler(&row, 9, &args), 0);
    EXPECT_EQ(seen, "3dc 3dc 4 9dc ");
    EXPECT_EQ(args.dc_opaque, mark);
    EXPECT_EQ(calls(), strings{});

    row.di_handler_validate_func = [](char *name, dc_args_t *) { return name[0] + 0; };
    row.di_handler_upgrades = [](int version) { return version + 1; };
    row.di_handler_dynamic = [](int getset, int flags, dc_args_t *) { return getset * 10 + flags; };
    EXPECT_EQ(__tarrow_call_module_validate_handler(&row, mark, nullptr), 'm');
    EXPECT_EQ(__tarrow_call_module_upgrade_handler(&row, 6), 7);
    EXPECT_EQ(__tarrow_call_module_dynamic_handler(&row, 4, 2, nullptr), 42);
    const applet_info empty = {};
    for (const applet_info *none : {&empty, static_cast<const applet_info *>(nullptr)}) {
        EXPECT_EQ(__tarrow_call_module_post_set_handler(none, 3, &args), 0);
        EXPECT_EQ(__tarrow_call_module_upgrade_handler(none, 1), 0);
    }
}

TEST_F(dispatch_test, unknown_modules_have_the_default_delimiters) {
    char field = 'x', record = 'x';
    tarrow_call_module_get_delimiters("none", &field, &record);
    EXPECT_EQ(std::string({field, record}), ": ");
}

TEST_F(dispatch_test, a_command_line_is_cut_at_4095_characters) {
    const std::string start = "/sim/hook set ", rest(4095 - start.size(), 'a');
    tarrow_call_module_run_cmd("/sim/hook", TARROW_ACTION_SET, (rest + "aaa").c_str());
    EXPECT_EQ(calls(), strings{start + rest});
}

TEST_F(dispatch_test, the_serial_trace_writes_the_message_alone) {
    EXPECT_EQ(__tarrow_log_write(0, nullptr, "100% as it is"), 0);
    EXPECT_EQ(__tarrow_log_print(7, "tag", "%d of %s\n", 3, "four"), 0);
    EXPECT_EQ(console(), "100% as it is3 of four\n");
    EXPECT_EQ(__tarrow_log_print(0, nullptr, "%s", std::string(300, 'x').c_str()), 0);
    EXPECT_EQ(console(), std::string(255, 'x'));
    EXPECT_EQ(__tarrow_log_write(0, nullptr, nullptr), 0);
    unlink("/dev/ttyS0");
    EXPECT_EQ(__tarrow_log_write(0, nullptr, "lost"), -1);
    EXPECT_FALSE(exists("/dev/ttyS0"));
}

} // namespace
