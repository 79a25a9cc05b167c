// The applet table and its dispatch, and the serial trace, as far as no page shows them.

#include "support/transcript.h"

#include <dlfcn.h>
#include <fstream>
#include <regex>
#include <sstream>
#include <unistd.h>

#include "../src/modules/pin_puk/pin_puk_applet.h"
#include "../src/support/owned.h"
#include "../src/tarrow_log.h"

namespace {

using namespace testing_device;
using dispatch_test = device_test;

TEST_F(dispatch_test, the_index_of_the_pages_is_the_table) {
    const std::string index = output_of(R"(awk -F ' *[|] *' '/^[|] [0-9]/ {
        name = $3; gsub(/\[|\].*/, "", name)
        printf "%2d %s  (fields %s, records %s)\n", $2, name, substr($8, 2, 3), substr($9, 2, 3)
        split("pre-set post-set pre-get post-get", phases, " ")
        for (i = 1; i <= 4; ++i) {
            script = "/etc/init.d/" name "_" phases[i] ".sh"; sub(/-/, "_", script)
            text = $(3 + i); gsub(/`/, "", text); sub(/no script/, "not " script, text); sub(/^script$/, script, text)
            if (text != "") printf "     %-9s %s\n", phases[i], text
        }
    }' )" TARROW_SOURCE_DIR "/docs/pages/README.md");
    EXPECT_EQ(output_of("tarrow_host list"), index);
    int count = 0;
    const tarrow::heap<applet_info> table(tarrow_get_module_applets(&count));
    for (int i = 0; i < count; ++i) { EXPECT_EQ(table.get()[i].di_version, 1); }
}

TEST_F(dispatch_test, handlers_and_scripts) {
    int sum = 0;
    char name[] = "n";
    dc_args_t args = {TARROW_CB_ARGS_XML, {nullptr}, &sum};
    applet_info row = {};
    row.di_handler_post_set_func = row.di_handler_post_get_func = [](int flags, dc_args_t *dc) {
        *static_cast<int *>(dc->dc_opaque) += flags;
        return -1;
    };
    row.di_handler_post_set_cmd = row.di_handler_post_get_cmd = "script"; // for which there is a handler
    row.di_handler_validate_func = [](char *variable, dc_args_t *dc) { return dc != nullptr ? variable[0] + 0 : 0; };
    row.di_handler_upgrades = [](int version) { return version + 1; };
    row.di_handler_dynamic = [](int getset, int flags, dc_args_t *) { return getset * 10 + flags; };
    EXPECT_EQ(__tarrow_call_module_post_set_handler(&row, 2, &args), 0);
    EXPECT_EQ(__tarrow_call_module_post_get_handler(&row, 4, &args), 0);
    EXPECT_EQ(sum, 6);
    EXPECT_EQ(__tarrow_call_module_validate_handler(&row, name, &args), 'n');
    EXPECT_EQ(__tarrow_call_module_dynamic_handler(&row, 4, 2, &args), 42);
    EXPECT_EQ(__tarrow_call_module_upgrade_handler(&row, 6), 7);
    for (const char *module : {"lan", "LAN", "la", "lan ", static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(tarrow_call_module_validate_handler(module, name, &args), 0);
        EXPECT_EQ(tarrow_call_module_dynamic_handler(module, 4, 2, &args), 0);
        EXPECT_EQ(tarrow_call_module_pre_get_handler(module, 3, &args), 0);
    }
    tarrow_call_module_post_set_handler("locale", TARROW_ACTION_SET, nullptr);
    const std::string start = "script set ", rest(4095 - start.size(), 'a');
    EXPECT_EQ(tarrow_call_module_pre_set_handler("lan", TARROW_ACTION_SET, nullptr), -1);
    for (const int flags : {0, 1, 2, 3, 4, 5, 6, 7}) { tarrow_call_module_run_cmd("script", flags, ""); }
    tarrow_call_module_run_cmd("script", TARROW_ACTION_SET, (rest + "aaa").c_str());
    EXPECT_EQ(seen(),
              (strings{"$ /etc/init.d/locale_config.sh set", "$ script start ", "$ script stop ", "$ script set ",
                       "$ script get ", "$ script getlist ", "$ script setlist ", "$ " + start + rest}));
    limit_descriptors(0);
    EXPECT_EQ(tarrow_call_module_pre_set_handler("lan", TARROW_ACTION_SET, &args), -1);
    EXPECT_EQ(args.dc_opaque, &sum);
}

/// Calls all operations that the headers name, with null pointers and numbers that are 0; more words are no harm to a C
/// function. Leaves which of those that give a number did not give -1.
#ifdef __clang__
__attribute__((no_sanitize("function")))
#endif
void call_with_nothing() {
    std::istringstream names(output_of("grep -rhoE '^[a-z][a-z0-9_ ]* [*]?[a-z_0-9]+[(]' " TARROW_SOURCE_DIR
                                       "/src --include='*.h' | sed 's/(//; s/[*]//' | sort -u"));
    std::ofstream results("/tmp/results");
    for (std::string name, type; std::getline(names, name);) {
        type = name.substr(0, name.rfind(' '));
        name.erase(0, type.size() + 1);
        void *const operation = dlsym(RTLD_DEFAULT, name.c_str());
        if (operation == nullptr || name == "get_client_fifo") { continue; } // which would wait for a server
        std::cerr << name << "\n";                                           // for the last one to be seen
        const int result = reinterpret_cast<int (*)(long, long, long, long, long, long)>(operation)(0, 0, 0, 0, 0, 0);
        if (type == "int" && result != -1) { results << name << "=" << result << " "; }
    }
    results.close();
    _exit(0);
}

TEST_F(dispatch_test, operations_take_null) {
    EXPECT_EXIT(call_with_nothing(), testing::ExitedWithCode(0), "");
    EXPECT_EQ(std::regex_replace(read_file("/tmp/results"), std::regex("_*tarrow_call[a-z_]*=0 |=0"), ""),
              "__tarrow_log_write cfgdb_get_int cfgdb_match__ dl_count_meta_fields dl_get_meta_fields enter_lock=1 "
              "ether_atoe file_to_buf get_ipv6_address http_share_enter_folder http_share_xml_get "
              "is_connected_in_bridge is_connected_in_wlan lan_stat_get pin_puk_xml_get stat_client_main "
              "stat_xml_get=1 statistics_get=1 wan_info_gather wan_xml_get=1 wlan_stat_get wlan_wps_client_pre_set "
              "wlan_xml_get=1 ");
}

TEST_F(dispatch_test, operations_of_the_pin) {
    EXPECT_EQ(enable_pin("1;") + disable_pin("2;") + change_pin("3", ";") + reset_pin_using_puk("4", ";") +
                  provide_pin(";") + mep_provide_ck(";"),
              -6);
    EXPECT_EQ(seen(), strings());
    set_setting("wan", "proto", "x");
    EXPECT_EQ(enable_pin("1") + disable_pin("2") + change_pin("3", "4") + reset_pin_using_puk("5", "6") +
                  provide_pin("7") + mep_provide_ck("8"),
              -1); // no control key is waited for
}

TEST_F(dispatch_test, delimiters_and_the_serial_trace) {
    char field = 'x', record = 'x';
    tarrow_call_module_get_delimiters("none", &field, &record);
    EXPECT_EQ(std::string({field, record}), ": ");
    EXPECT_EQ(__tarrow_log_write(0, nullptr, "%"), 0);
    EXPECT_EQ(__tarrow_log_print(7, "tag", "%d of %s\n", 3, std::string(300, 'x').c_str()), 0);
    EXPECT_EQ(console(), "%3 of " + std::string(250, 'x'));
    unlink("/dev/ttyS0");
    EXPECT_EQ(__tarrow_log_write(0, nullptr, "lost") + __tarrow_log_print(0, nullptr, "lost"), -2);
    EXPECT_NE(access("/dev/ttyS0", F_OK), 0);
}

} // namespace
