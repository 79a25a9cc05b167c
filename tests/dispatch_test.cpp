// The applet table and its dispatch, and the serial trace, as far as no page shows them.

#include "support/device.h"

#include <cstring>
#include <regex>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

#include "../src/support/owned.h"
#include "../src/tarrow_log.h"

namespace {

using namespace testing_device;
using dispatch_test = device_test;

std::string seen; // what the handler of this file was called with

int note_handler(int flags, dc_args_t *dc) {
    seen += std::to_string(flags) + (dc != nullptr ? "dc " : " ");
    return -1;
}

TEST_F(dispatch_test, the_index_of_the_pages_is_the_table) {
    std::istringstream index(read_file(TARROW_SOURCE_DIR "/docs/pages/README.md"));
    const std::regex row(R"(\| (\d+) \| \[?(\w+).* \| (.*) \| (.*) \| (.*) \| (.*) \| `'(.)'` \| `'(.)'` \|)");
    std::string list;
    std::smatch cell;
    for (std::string line; std::getline(index, line);) {
        if (!std::regex_match(line, cell, row)) { continue; }
        list += (cell[1].length() < 2 ? " " : "") + cell.format("$1 $2  (fields '$7', records '$8')\n");
        for (const char *phase : {"pre-set", "post-set", "pre-get", "post-get"}) {
            std::string text =
                cell[static_cast<std::size_t>(3 + (phase[1] == 'o') + 2 * (phase[std::strlen(phase) - 3] == 'g'))];
            const std::string script = std::regex_replace(phase, std::regex("-"), "_") + ".sh";
            text = std::regex_replace(text, std::regex("`"), "");
            text =
                std::regex_replace(text, std::regex(", no script"), ", not /etc/init.d/" + cell.str(2) + "_" + script);
            text = text == "script" ? "/etc/init.d/" + cell.str(2) + "_" + script : text;
            if (!text.empty()) {
                list += "     " + std::string(phase) + (phase[1] == 'o' ? "  " : "   ") + text + "\n";
            }
        }
    }
    EXPECT_EQ(output_of("tarrow_host list"), list);
    int count = 0;
    const tarrow::heap<applet_info> table(tarrow_get_module_applets(&count));
    ASSERT_EQ(count, 32);
    for (const applet_info *applet = table.get(); applet != table.get() + count; ++applet) {
        EXPECT_EQ(applet->di_version, 1);
        EXPECT_TRUE(applet->di_handler_upgrades == nullptr && applet->di_handler_dynamic == nullptr &&
                    applet->di_handler_validate_func == nullptr && applet->di_handler_post_get_cmd == nullptr);
    }
}

TEST_F(dispatch_test, a_handler_wins_over_a_script_and_keeps_dc_opaque) {
    char mark[] = "mark";
    dc_args_t args = {TARROW_CB_ARGS_XML, {nullptr}, mark};
    applet_info row = {};
    row.di_handler_pre_set_func = row.di_handler_post_set_func = note_handler;
    row.di_handler_pre_get_func = row.di_handler_post_get_func = note_handler;
    row.di_handler_pre_set_cmd = row.di_handler_post_set_cmd = "/sim/hook";
    row.di_handler_pre_get_cmd = row.di_handler_post_get_cmd = "/sim/hook";
    row.di_handler_validate_func = [](char *name, dc_args_t *) { return name[0] + 0; };
    row.di_handler_upgrades = [](int version) { return version + 1; };
    row.di_handler_dynamic = [](int getset, int flags, dc_args_t *) { return getset * 10 + flags; };
    seen.clear();
    EXPECT_EQ(__tarrow_call_module_pre_set_handler(&row, 3, &args), 0);
    EXPECT_EQ(__tarrow_call_module_post_set_handler(&row, 3, &args), 0);
    EXPECT_EQ(__tarrow_call_module_pre_get_handler(&row, 4, nullptr), 0);
    EXPECT_EQ(__tarrow_call_module_post_get_handler(&row, 9, &args), 0);
    EXPECT_EQ(__tarrow_call_module_validate_handler(&row, mark, nullptr), 'm');
    EXPECT_EQ(__tarrow_call_module_upgrade_handler(&row, 6), 7);
    EXPECT_EQ(__tarrow_call_module_dynamic_handler(&row, 4, 2, nullptr), 42);
    EXPECT_EQ(seen, "3dc 3dc 4 9dc ");
    EXPECT_EQ(args.dc_opaque, mark);
    const applet_info empty = {};
    for (const applet_info *none : {&empty, static_cast<const applet_info *>(nullptr)}) {
        EXPECT_EQ(__tarrow_call_module_pre_set_handler(none, 3, &args), 0);
        EXPECT_EQ(__tarrow_call_module_post_set_handler(none, 3, &args), 0);
        EXPECT_EQ(__tarrow_call_module_pre_get_handler(none, 3, &args), 0);
        EXPECT_EQ(__tarrow_call_module_post_get_handler(none, 3, &args), 0);
        EXPECT_EQ(__tarrow_call_module_validate_handler(none, mark, &args), 0);
        EXPECT_EQ(__tarrow_call_module_upgrade_handler(none, 1), 0);
        EXPECT_EQ(__tarrow_call_module_dynamic_handler(none, 4, 2, &args), 0);
    }
    for (const char *name : {"WAN", "wa", "lan ", "", static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(tarrow_call_module_pre_set_handler(name, 3, &args), 0);
        EXPECT_EQ(tarrow_call_module_validate_handler(name, mark, &args), 0);
        EXPECT_EQ(tarrow_call_module_dynamic_handler(name, 4, 2, &args), 0);
    }
    EXPECT_EQ(calls(), strings{});
}

TEST_F(dispatch_test, scripts_and_their_temporary_file) {
    dc_args_t args = {};
    ASSERT_EQ(tarrow_call_module_pre_set_handler("lan", TARROW_ACTION_SET, &args), 0);
    const std::string path = static_cast<char *>(args.dc_opaque);
    struct stat status = {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFREG | 0600U);
    ASSERT_EQ(tarrow_call_module_post_set_handler("lan", TARROW_ACTION_SET, &args), 0);
    EXPECT_EQ(args.dc_opaque, nullptr);
    EXPECT_EQ(tarrow_call_module_post_set_handler("locale", TARROW_ACTION_SET, nullptr), 0);
    EXPECT_EQ(calls(), (strings{"/etc/init.d/lan_pre_set.sh set " + path, "/etc/init.d/lan_post_set.sh set " + path,
                                "/etc/init.d/locale_config.sh set"}));
    char before[] = "before";
    args.dc_opaque = before;
    {
        const no_descriptors limit;
        EXPECT_EQ(tarrow_call_module_pre_set_handler("lan", TARROW_ACTION_SET, &args), -1);
    }
    EXPECT_EQ(tarrow_call_module_pre_set_handler("lan", TARROW_ACTION_SET, nullptr), -1);
    EXPECT_EQ(args.dc_opaque, before);
    EXPECT_EQ(output_of("ls /tmp/tarrow.*"), path + "\n");
    EXPECT_EQ(calls(), strings{});
    for (const int flags : {-1, 0, 1, 2, 3, 4, 5, 6, 7, 1 << 30}) {
        tarrow_call_module_run_cmd("/sim/hook", flags, "");
    }
    const std::string start = "/sim/hook set ", rest(4095 - start.size(), 'a');
    tarrow_call_module_run_cmd("/sim/hook", TARROW_ACTION_SET, (rest + "aaa").c_str());
    tarrow_call_module_run_cmd(nullptr, TARROW_ACTION_SET, nullptr);
    EXPECT_EQ(calls(), (strings{"/sim/hook start", "/sim/hook stop", "/sim/hook set", "/sim/hook get",
                                "/sim/hook getlist", "/sim/hook setlist", start + rest}));
}

TEST_F(dispatch_test, delimiters_and_the_serial_trace) {
    char field = 'x', record = 'x';
    tarrow_call_module_get_delimiters("none", &field, nullptr);
    tarrow_call_module_get_delimiters("wan", nullptr, &record);
    EXPECT_EQ(std::string({field, record}), ":^");
    tarrow_call_module_get_delimiters("none", &field, &record);
    EXPECT_EQ(record, ' ');
    EXPECT_EQ(__tarrow_log_write(0, nullptr, "100% as it is"), 0);
    EXPECT_EQ(__tarrow_log_print(7, "tag", "%d of %s\n", 3, "four"), 0);
    EXPECT_EQ(console(), "100% as it is3 of four\n");
    EXPECT_EQ(__tarrow_log_print(0, nullptr, "%s", std::string(300, 'x').c_str()), 0);
    EXPECT_EQ(console(), std::string(255, 'x'));
    EXPECT_EQ(__tarrow_log_write(0, nullptr, nullptr), 0);
    EXPECT_EQ(__tarrow_log_print(0, nullptr, nullptr), -1);
    unlink("/dev/ttyS0");
    EXPECT_EQ(__tarrow_log_write(0, nullptr, "lost"), -1);
    EXPECT_FALSE(exists("/dev/ttyS0"));
}

} // namespace
