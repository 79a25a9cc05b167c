// The date, the diagnostics and the upgrade progress, through the dispatch.

#include "support/device.h"

#include <cstring>
#include <sys/stat.h>

#include "../src/modules/device_date/device_date_applet.h"
#include "../src/modules/diagnostic/diagnostic_applet.h"

namespace {

using namespace testing_device;

class services_test : public device_test {
protected:
    /// The result of a posted diagnostic.
    static int diagnose(const std::string &elements) {
        const tree page = parse("<diagnostic>" + elements + "</diagnostic>");
        dc_args_t args = {TARROW_CB_ARGS_XML, {.dc_subnode = page.get()}, nullptr};
        return execute_command(TARROW_ACTION_SET, &args);
    }
    static std::string output() { return text_of(get("diagnostic", "<diagnostic><output/></diagnostic>"), "output"); }
};

TEST_F(services_test, the_date_in_the_zone_of_the_device) {
    setenv("TZ", "EST5EDT", 1);
    clock_setting = 1770000000;
    const std::string date = "<date>Sun Feb 01 21:40:00 EST 2026</date>";
    EXPECT_EQ(get("device_date", "<device_date><date/><x/></device_date>"),
              "<device_date><x />" + date + "</device_date>");
    EXPECT_EQ(get("device_date", "<device_date><x><date/></x></device_date>"),
              "<device_date><x><date /></x></device_date>");
    setenv("TZ", "XYZ-1", 1); // the zone changes while the daemon runs
    EXPECT_EQ(text_of(get("device_date", "<device_date><date/></device_date>"), "date"),
              "Mon Feb 02 03:40:00 XYZ 2026");
    char text[128] = "before";
    EXPECT_EQ(get_date(text, 127), -1);
    EXPECT_STREQ(text, "before");
    EXPECT_EQ(get_date(nullptr, 128), -1);
    clock_setting = -1;
    EXPECT_EXIT(get("device_date", "<device_date><date/></device_date>"), testing::ExitedWithCode(1), "^$");
    unsetenv("TZ");
}

TEST_F(services_test, tools_answer_on_the_page) {
    EXPECT_EQ(get("diagnostic", "<diagnostic><output/></diagnostic>"), "<diagnostic><output /></diagnostic>");
    EXPECT_EQ(diagnose("<command>traceroute</command><arg>127.0.0.1</arg>"), 0);
    EXPECT_NE(output().find(" 1  127.0.0.1  "), std::string::npos) << output();
    const tree page = parse("<diagnostic><command>arp</command></diagnostic>");
    dc_args_t args = {TARROW_CB_ARGS_XML, {.dc_subnode = page.get()}, nullptr};
    tarrow_call_module_pre_set_handler("diagnostic", TARROW_ACTION_SET, &args);
    EXPECT_NE(output().find("192.168.1.100"), std::string::npos) << output();
    EXPECT_EQ(diagnose("<command>route</command><arg></arg>"), 0);
    EXPECT_NE(output().find("ccinet0"), std::string::npos) << output();
    EXPECT_EQ(get("diagnostic", "<diagnostic><output/><x/></diagnostic>").find("<diagnostic><x />"), 0U);
}

TEST_F(services_test, the_line_that_runs_a_tool) {
    unsetenv("LD_LIBRARY_PATH"); // which a memory checker sets
    for (const char *tool : {"ping", "arping", "traceroute", "TraceRoute", "ROUTE", "arp", "PING", "id"}) {
        put_tool(tool, ". /sim/record\necho \"$LD_LIBRARY_PATH\" >&2; printf %02000d 7");
    }
    const struct {
        const char *command, *argument, *call;
    } accepted[] = {
        {"ping", "10.0.0.1", "ping -c 10 10.0.0.1"},
        {"arping", "fe80::1%br0", "arping -c 10 fe80::1%br0"},
        {"TraceRoute", "a_b-c.d", "TraceRoute -n a_b-c.d"},
        {"ROUTE", "", "ROUTE -n"},
        {"arp", "10.0.0.1", "arp -n 10.0.0.1"},
        {"PING", "10.0.0.1", "PING 10.0.0.1"},
    };
    for (const auto &row : accepted) {
        EXPECT_EQ(diagnose("<command>" + std::string(row.command) + "</command><arg>" + row.argument + "</arg>"), 0);
        EXPECT_EQ(calls(), (strings{"/tmp/local/bin/" + std::string(row.call)}));
    }
    EXPECT_EQ(output(), "/vexorel/usr/lib/:\n" + std::string(1023 - 19, '0'));
    // A line that is too long is cut: before its redirection the output is lost, the old one stays.
    write_file("/tmp/diag", "before");
    const std::string head = "LD_LIBRARY_PATH=/vexorel/usr/lib/:$LD_LIBRARY_PATH ping -c 10 ",
                      tail = "  >/tmp/diag 2>&1";
    const std::size_t room = 255 - head.size();
    testing::internal::CaptureStdout();
    for (const std::size_t length : {std::size_t{600}, room, room - 5, room + 1 - tail.size()}) {
        EXPECT_EQ(diagnose("<command>ping</command><arg>" + std::string(length, 'h') + "</arg>"), 0);
        EXPECT_EQ(calls(), (strings{"/tmp/local/bin/ping -c 10 " + std::string(std::min(length, room), 'h')}));
        EXPECT_EQ(output() + (exists("/tmp/dia") ? " and more" : ""), "before") << length;
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(diagnose("<command>ping</command><arg>" + std::string(room - tail.size(), 'h') + "</arg>"), 0);
    EXPECT_NE(output(), "before");
    calls();
    write_file("/tmp/diag", "before");
    for (const char *refused : // the rest of what a shell could take for syntax is in hostile_test
         {"<arg>1</arg>", "<command/>", "<command>id</command>", "<command> ping</command>",
          "<command>ping id</command>", "<command>ping</command><arg>-f</arg>", "<command>ping</command><arg>a b</arg>",
          "<command>arp</command><arg>$(id)</arg>"}) {
        EXPECT_EQ(diagnose(refused), -1) << refused;
        EXPECT_EQ(calls(), strings{}) << refused;
    }
    EXPECT_EQ(output(), "before");
}

TEST_F(services_test, upgrade_progress) {
    const struct {
        const char *total, *written, *progress;
    } rows[] = {
        {"100000000", "99999999", "101"},
        {"10000000001", "50000000", "51"},
        {"1000\n", "0", "1"},
        {"1000", "500", "51"},
        {"1000", "999", "100"},
        {"1000", "1000", "101"},
        {"0", "5", "1"},
        {"none", "5", "1"},
        {"3", "1", "34"},
        {"1", "9999999990", "999999999"},
        {"-1", "999999999", "-99999999"},
        {"1000", "", "before"},
        {"1000", "(absent)", "before"},
        {"", "10", "before"},
        {"(absent)", "10", "before"},
    };
    for (const auto &row : rows) {
        output_of("rm -f /tmp/total_bytes.txt /tmp/wrote_bytes.txt");
        if (*row.total != '(') { write_file("/tmp/total_bytes.txt", row.total); }
        if (*row.written != '(') { write_file("/tmp/wrote_bytes.txt", row.written); }
        const bool is_kept = std::strcmp(row.progress, "before") == 0;
        const std::string request = is_kept ? "<progress>before</progress><x />" : "<progress /><x />";
        EXPECT_EQ(get("upgrade_status", "<upgrade_status>" + request + "</upgrade_status>"),
                  "<upgrade_status>" +
                      (is_kept ? request : "<x /><progress>" + std::string(row.progress) + "</progress>") +
                      "</upgrade_status>")
            << row.total << " " << row.written;
    }
    output_of("/sim/upgrade 1000 4 0");
    EXPECT_EQ(text_of(get("upgrade_status", "<upgrade_status><progress/></upgrade_status>"), "progress"), "101");
}

} // namespace
