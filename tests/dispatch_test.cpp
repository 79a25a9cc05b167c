// The applet table and its dispatch, what all handlers refuse, and the serial trace.

#include "support/device.h"

#include "modules/pin_puk/pin_puk_applet.h"
#include "modules/wlan_wps_client/wlan_wps_client_applet.h"
#include "support/owned.h"
#include "tarrow_applets.h"
#include "tarrow_log.h"

/// Whether libmxml has no memory for an element.
static bool are_elements_refused = false;
extern "C" mxml_node_t *__real_mxmlNewElement(mxml_node_t *parent, const char *name);
extern "C" mxml_node_t *__wrap_mxmlNewElement(mxml_node_t *parent, const char *name) {
    return are_elements_refused ? nullptr : __real_mxmlNewElement(parent, name);
}

namespace {

using dispatch_test = device_test;

TEST_F(dispatch_test, the_documented_table_is_the_table) {
    // From "| 0 | lan | script | | ... | `'#'` | `' '` |" to what tarrow_host prints of the row.
    const std::string documented = output_of(R"(awk -F ' *[|] *' '/^[|] [0-9]/ {
            name = $3
            gsub(/\[|\].*/, "", name)
            printf "%2d %s  (fields %s, records %s)\n", $2, name, substr($8, 2, 3), substr($9, 2, 3)
            split("pre-set post-set pre-get post-get", phases, " ")
            for (i = 1; i <= 4; ++i) {
                script = "/etc/init.d/" name "_" phases[i] ".sh"
                sub(/-/, "_", script)
                handler = $(3 + i)
                gsub(/`/, "", handler)
                sub(/no script/, "not " script, handler)
                sub(/^script$/, script, handler)
                if (handler != "") printf "     %-9s %s\n", phases[i], handler
            }
        }' docs/pages/README.md)");
    EXPECT_EQ(output_of("tarrow_host list"), documented);
}

TEST_F(dispatch_test, the_other_operations_give_the_result_of_the_handler) {
    char variable[] = "n";
    dc_args_t args = {};
    applet_info row = {};
    row.di_handler_validate_func = [](char *name, dc_args_t * /*dc*/) { return int{name[0]}; };
    row.di_handler_dynamic = [](int getset, int flags, dc_args_t * /*dc*/) {
        return getset * 10 + flags;
    };
    row.di_handler_upgrades = [](int version) { return version + 1; };
    EXPECT_EQ(__tarrow_call_module_validate_handler(&row, variable, &args), 'n');
    EXPECT_EQ(__tarrow_call_module_dynamic_handler(&row, 4, 2, &args), 42);
    EXPECT_EQ(__tarrow_call_module_upgrade_handler(&row, 6), 7);
}

TEST_F(dispatch_test, an_unknown_module_has_no_scripts_and_the_usual_delimiters) {
    for (const char *module : {"LAN", "la", "lan ", ""}) {
        SCOPED_TRACE(module);
        char field = 'x';
        char record = 'x';
        dc_args_t args = {};
        EXPECT_EQ(tarrow_call_module_pre_set_handler(module, TARROW_ACTION_SET, &args), 0);
        EXPECT_EQ(args.dc_opaque, nullptr);
        tarrow_call_module_get_delimiters(module, &field, &record);
        EXPECT_EQ(field, ':');
        EXPECT_EQ(record, ' ');
    }
    EXPECT_EQ(events, strings());
}

TEST_F(dispatch_test, without_a_temporary_file_a_set_does_not_begin) {
    dc_args_t args = {};
    EXPECT_EQ(tarrow_call_module_pre_set_handler("lan", TARROW_ACTION_SET, nullptr), -1)
        << "nobody would carry its path";
    limit_descriptors(0);
    EXPECT_EQ(tarrow_call_module_pre_set_handler("lan", TARROW_ACTION_SET, &args), -1);
    EXPECT_EQ(args.dc_opaque, nullptr);
    EXPECT_EQ(events, strings());
}

TEST_F(dispatch_test, action_words) {
    canned_output = "";
    for (int flags = 0; flags <= 7; ++flags) {
        tarrow_call_module_run_cmd("script", flags, nullptr);
    }
    EXPECT_EQ(events, (strings{"+ script start", "+ script stop", "+ script set", "+ script get",
                               "+ script getlist", "+ script setlist"}));
}

TEST_F(dispatch_test, handlers_refuse_records_that_carry_nothing) {
    int count = 0;
    const tarrow::heap<applet_info> rows(tarrow_get_module_applets(&count));
    dc_args_t page = {TARROW_CB_ARGS_XML, {nullptr}, nullptr};
    for (const applet_info *row = rows.get(); row != rows.get() + count; ++row) {
        SCOPED_TRACE(row->di_modname);
        EXPECT_EQ(row->di_version, 1);
        for (tarrow_handler_t *handler :
             {row->di_handler_pre_set_func, row->di_handler_post_set_func,
              row->di_handler_pre_get_func, row->di_handler_post_get_func}) {
            if (handler != nullptr && handler != wlan_wps_client_pre_set) { // which takes any
                EXPECT_EQ(handler(TARROW_ACTION_GET, &page), -1);
            }
        }
    }
}

TEST_F(dispatch_test, messages_log_why_they_refuse_a_record) {
    dc_args_t empty = {TARROW_CB_ARGS_XML, {nullptr}, nullptr};
    dc_args_t list = {TARROW_CB_ARGS_DLIST, {nullptr}, nullptr};
    tarrow_call_module_post_get_handler("sms", TARROW_ACTION_GET, nullptr);
    tarrow_call_module_post_get_handler("sms", TARROW_ACTION_GET, &list);
    tarrow_call_module_post_get_handler("sms", TARROW_ACTION_GET, &empty);
    EXPECT_EQ(events, (strings{"<11>tarrow:sms: Argument dc is NULL",
                               "<11>tarrow:sms: dc->dc_type is not TARROW_CB_ARGS_XML",
                               "<11>tarrow:sms: No XML root found"}));
}

TEST_F(dispatch_test, a_message_that_there_is_no_memory_for_is_logged) {
    canned_output = "";
    write_file("/tmp/telephony/sms/.list_dev", "1#2\n");
    mxml_node_t *page =
        mxmlLoadString(nullptr, "<sms><list><dev/></list></sms>", MXML_OPAQUE_CALLBACK);
    dc_args_t args = {TARROW_CB_ARGS_XML, {page}, nullptr};
    are_elements_refused = true;
    tarrow_call_module_pre_get_handler("sms", TARROW_ACTION_GET, &args);
    are_elements_refused = false;
    mxmlDelete(page);
    EXPECT_EQ(events.back(), "<11>tarrow:sms: Failed to create node: item");
}

TEST_F(dispatch_test, operations_of_the_pin_refuse_codes_that_are_none) {
    EXPECT_EQ(enable_pin("1;"), -1);
    EXPECT_EQ(disable_pin("1;"), -1);
    EXPECT_EQ(change_pin("1", ";"), -1);
    EXPECT_EQ(reset_pin_using_puk("1", ";"), -1);
    EXPECT_EQ(provide_pin(";"), -1);
    EXPECT_EQ(mep_provide_ck(";"), -1);
    EXPECT_EQ(events, strings());
}

TEST_F(dispatch_test, operations_of_the_pin_give_0_once_their_commands_have_run) {
    canned_output = "";
    EXPECT_EQ(enable_pin("1"), 0);
    EXPECT_EQ(disable_pin("1"), 0);
    EXPECT_EQ(change_pin("1", "2"), 0);
    EXPECT_EQ(reset_pin_using_puk("1", "2"), 0);
    EXPECT_EQ(provide_pin("1"), 0);
    EXPECT_EQ(mep_provide_ck("1"), -1) << "no control key is waited for";
    write_file("/tmp/telephony/pin_status", "5");
    EXPECT_EQ(mep_provide_ck("1"), -1) << "for no lock that is known";
}

TEST_F(dispatch_test, of_a_serial_trace_255_characters_are_written) {
    write_file("/run/instead/dev/ttyS0", "");
    EXPECT_EQ(__tarrow_log_print(7, "tag", "%d%% %s", 3, std::string(300, 'x').c_str()), 0);
    EXPECT_EQ(output_of("cat /run/instead/dev/ttyS0"), "3% " + std::string(252, 'x'));
}

TEST_F(dispatch_test, without_a_console_a_trace_is_lost) {
    write_file("/run/instead/dev/ttyS0/file", "");
    EXPECT_EQ(__tarrow_log_write(0, nullptr, "lost"), -1);
}

} // namespace
