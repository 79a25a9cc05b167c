// Every operation with the Nth allocation refused, for each N that it reaches, and again with all from the
// Nth on: it gives what it documents, loses nothing, and runs and leaves nothing that it otherwise does not.

#include "support/device.h"
#include "support/memory.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <functional>
#include <linux/sockios.h>
#include <set>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

#include "../src/modules/http_share/http_share_applet.h"
#include "../src/modules/wan/wan_applet.h"
#include "../src/modules/wlan_settings/wlan_settings_applet.h"
#include "../src/support/owned.h"
#include "../src/tarrow_log.h"

namespace {

using namespace testing_device;
namespace fs = std::filesystem;

/// What an operation gives and does: its result, elements, fields, commands and files.
using outcome = std::set<std::string>;

struct operation {
    std::string name;
    std::function<outcome()> run;
    std::string failures; // what may come beside what comes with all memory, joined by "|"
    std::string proto = "cellular";
    std::vector<std::pair<std::string, std::string>> files;
};

char buffer[2048]; // for texts that an operation writes

std::string text_or_null(const char *text) { return text != nullptr ? text : "(null)"; }

/// Calls an operation under the fault. Gives its result, and the text that it wrote or gave away.
template <typename Call>
outcome strike(Call call) {
    std::memset(buffer, 0, sizeof(buffer));
    if (setjmp(process_end) != 0) {
        fault.is_armed = false;
        return {"the end of the process"};
    }
    fault.is_armed = true;
    const auto result = call();
    fault.is_armed = false;
    if constexpr (std::is_pointer_v<decltype(result)>) {
        const tarrow::heap_string text(result);
        return {text ? text.get() : "no text"};
    } else {
        return {"result " + std::to_string(result), std::string("text ") + buffer};
    }
}

/// Adds what a page holds; each of its nodes must be whole.
void add(outcome &found, mxml_node_t *page) {
    for (mxml_node_t *node = page; node != nullptr; node = mxmlWalkNext(node, page, MXML_DESCEND)) {
        if (mxmlGetType(node) == MXML_ELEMENT) {
            const std::string name = text_or_null(mxmlGetElement(node));
            found.insert(name + "=");
            for (int i = 0; i < mxmlElementGetAttrCount(node); ++i) {
                const char *key = nullptr, *value = mxmlElementGetAttrByIndex(node, i, &key);
                found.insert(name + "@" + text_or_null(key) + "=" + text_or_null(value));
            }
        } else {
            const bool is_live = std::strcmp(mxmlGetElement(page), "live") == 0;
            const std::string text = mxmlGetType(node) == MXML_INTEGER
                                         ? std::to_string(is_live ? 0 : mxmlGetInteger(node))
                                     : mxmlGetType(node) == MXML_OPAQUE ? text_or_null(mxmlGetOpaque(node))
                                                                        : text_or_null(mxmlGetText(node, nullptr));
            found.insert(text_or_null(mxmlGetElement(mxmlGetParent(node))) + "=" + text);
        }
    }
    const auto is_broken = [](const std::string &text) { return text.find("(null)") != std::string::npos; };
    EXPECT_TRUE(std::none_of(found.begin(), found.end(), is_broken) && parse(serialise(page))) << "a broken node";
}

/// Adds what a list holds: the names and the values of each column.
void add(outcome &found, dlist_node_t *table) {
    for (int f = 0; f < TARROW_DLIST_FIELDS; ++f) {
        const std::string column = std::to_string(f) + ":";
        if (table->dn_meta[f] != nullptr) { found.insert(column + table->dn_meta[f]); }
        for (auto &record : table->dn_dlist) {
            if (record[f] != nullptr) { found.insert(column + "=" + record[f]); }
        }
    }
}

/// An operation on a table and a page.
template <typename Call>
std::function<outcome()> on(const std::string &names, const std::string &records, const std::string &xml, Call call) {
    return [=] {
        list table(names, records);
        const tree page = parse(xml);
        outcome asked;
        add(asked, page.get());
        outcome found = strike([&] { return call(table.get(), page.get()); });
        add(found, table.get());
        add(found, page.get());
        EXPECT_TRUE(std::includes(found.begin(), found.end(), asked.begin(), asked.end())) << "asked for and gone";
        return found;
    };
}

template <typename Call>
std::function<outcome()> just(Call call) {
    return [=] { return strike(call); };
}

/// The same for a handler, with a list (its names, a blank, its records) or a page.
template <typename Handler>
std::function<outcome()> with(const std::string &content, Handler handler) {
    const bool is_page = content[0] == '<';
    const std::size_t blank = is_page ? 0 : content.find(' ');
    return on(content.substr(0, blank), is_page ? "" : content.substr(blank + 1), is_page ? content : "<p/>",
              [=](dlist_node_t *table, mxml_node_t *page) {
                  dc_args_t dc = {TARROW_CB_ARGS_XML, {.dc_subnode = page}, nullptr};
                  if (!is_page) { dc = {TARROW_CB_ARGS_DLIST, {.dc_dlist = table}, nullptr}; }
                  return handler(is_page ? TARROW_ACTION_GET : TARROW_ACTION_GETLIST, &dc);
              });
}

/// Puts another file in the place of the settings: the store gives its connection up, and makes a new one.
void renew_store() {
    fs::copy_file("/userfs/cfgdb/settings.db", "/userfs/cfgdb/copy.db", fs::copy_options::overwrite_existing);
    fs::rename("/userfs/cfgdb/copy.db", "/userfs/cfgdb/settings.db");
}

const char names[] = "name#ip", records[] = "a#1 b#2 c#3";
const auto is_cellular = just([] { return cfgdb_match__("wan", nullptr, "proto", "CELLULAR"); });
const auto set_lan = [] { // its path goes the way of a request
    dc_args_t dc = {};
    outcome found = strike([&] {
        const int result = tarrow_call_module_pre_set_handler("lan", TARROW_ACTION_SET, &dc);
        return tarrow_call_module_post_set_handler("lan", TARROW_ACTION_SET, &dc) + result;
    });
    std::free(dc.dc_opaque); // when there was no memory for the table, post-set has not
    return found;
};

/// The exported operations that are no handlers of the table.
const operation operations[] = {
    {"tarrow_get_module_applets",
     just([] { return tarrow::heap<applet_info>(tarrow_get_module_applets(nullptr)) ? 1 : 0; }), "result 0"},
    {"tarrow_call_module_get_delimiters",
     just([] { return tarrow_call_module_get_delimiters("wan", buffer, buffer + 1), 0; }), "text : "},
    {"tarrow_call_module_pre_set_handler, post_set", set_lan, "result -1|/etc/init.d/lan_post_set.sh set"},
    {"tarrow_call_module_pre_get_handler", just([] { return tarrow_call_module_pre_get_handler("gps", 4, nullptr); })},
    {"tarrow_call_module_post_get_handler",
     with("<m><wps_result/></m>",
          [](int flags, dc_args_t *dc) { return tarrow_call_module_post_get_handler("wlan_wps_client", flags, dc); }),
     "wps_result=0"},
    {"tarrow_call_module_run_cmd", just([] { return tarrow_call_module_run_cmd("/sim/hook", 3, "x"), 0; })},
    {"__tarrow_log_print", just([] { return __tarrow_log_print(0, "", "%d", 7); })},
    {"dl_get_meta_fields", on("", "", "<p/>", [](auto *t, auto *) { return dl_get_meta_fields("x#y#z", t, '#'); }),
     "result 0|result 1|result 2"},
    {"dl_variable_to_dlist_alloc",
     on(names, "", "<p/>", [](auto *t, auto *) { return dl_variable_to_dlist_alloc("a#1 b#2", t, 2, '#', ' '), 0; })},
    {"dl_dlist_to_variable",
     on(names, records, "<p/>",
        [](auto *t, auto *) {
            char *value = nullptr;
            return dl_dlist_to_variable(&value, t, '#', ' '), value;
        }),
     "no text"},
    {"dl_dlist_to_xmllist", on(names, records, "<p/>", [](auto *t, auto *p) { return dl_dlist_to_xmllist(t, p), 0; })},
    {"dl_dlist_xml_additem",
     on(names, records, "<p/>", [](auto *, auto *p) { return dl_dlist_xml_additem(p, 41) != nullptr ? 1 : 0; }),
     "result 0"},
    {"dl_xmllist_to_dlist",
     on(names, records,
        "<p><Item><name>b</name><ip>9</ip></Item><Item><name Delete=''>c</name></Item>"
        "<Item><name>d</name><ip>8</ip></Item></p>",
        [](auto *t, auto *p) { return dl_xmllist_to_dlist(p, t), 0; }),
     "1:=2"},
    {"cfgdb_match__", is_cellular, "result 0"},
    {"cfgdb_match__, which connects", [] { return renew_store(), is_cellular(); }, "result 0"},
    {"is_ipv4", just([] { return is_ipv4("192.0.2.1"); }), "result -1"},
    {"get_ipv6_address", just([] { return get_ipv6_address("ccinet0", buffer); }), "result 0|text "},
    {"get_gateway_address", just([] { return get_gateway_address("ccinet0", buffer); }), "result -1|text "},
    {"get_link_status", just([] { return get_link_status("none"); })},
    {"get_eth_interface", just(get_eth_interface), "no text"},
    {"get_wan_interface", just(get_wan_interface), "no text"},
    {"if_wan_ifc_lives", just([] { return if_wan_ifc_lives("none"); }), "result -1"},
    {"get_by_ioctl", just([] { return get_by_ioctl(-1, SIOCGIFADDR, "none", buffer); })},
    {"get_mac_from_ip", just([] {
         const char *mac = get_mac_from_ip("192.168.1.100");
         return std::strcpy(buffer, mac != nullptr ? mac : ""), 0;
     }),
     "text "},
    {"file_to_buf", just([] { return file_to_buf("/tmp/spn", buffer, 64); }), "result 0|text "},
    {"vexorel_product_get_wan_link_status", just([] {
         wan_info_t info = {};
         return vexorel_product_get_wan_link_status(&info), info.wan_link_status;
     }),
     "no text"},
    {"generate_sw_version", just([] { return generate_sw_version(buffer); })},
    {"http_share_post_get",
     with("<h><sdcard_mode_option/><sd_card_state/><HTTP_SHARE_STATUS/></h>", http_share_post_get),
     "sdcard_mode_option=0|sd_card_state=0"},
    {"wlan_get", with("<w><channel/></w>", wlan_get), "channel=0"},
};

class faults_test : public device_test {
protected:
    void SetUp() override {
        device_test::SetUp();
        mxmlSetErrorCallback([](const char *) {});
        std::istringstream plan(read_file(TARROW_SOURCE_DIR "/tests/faults.txt"));
        for (std::string word, rest; plan >> word && std::getline(plan >> std::ws, rest);) {
            for (std::size_t at = 0; (at = rest.find("\\n")) != std::string::npos;) { rest.replace(at, 2, "\n"); }
            if (word.compare(0, 5, "/usr/") == 0 || word.compare(0, 6, "/proc/") == 0) {
                substitute(word, rest);
            } else if (word[0] == '/') {
                (requests_.empty() ? state_ : requests_.back().files).emplace_back(word, rest);
            } else if (word == "or") {
                requests_.back().failures += rest + "|";
            } else if (word == "proto") {
                requests_.back().proto = rest;
            } else if (word != "#") {
                requests_.push_back({word.append(" ").append(rest), nullptr, ""});
            }
        }
        server_ = std::stoi(output_of("stat_server /sim/faults.db > /dev/null 2>&1 & echo $!"));
        for (int i = 0; i < 500 && !exists("/tmp/stat_server_fifo"); ++i) { usleep(10000); }
        output_of("cfgdb_cmd import < /sim/settings.txt");
        set_setting("wan", "cdns_enable", "1");
        set_setting("http_share", "sd_card_state", "1");
        clock_setting = 1770000000;
    }
    void TearDown() override {
        mxmlSetErrorCallback(nullptr);
        kill(server_, SIGKILL);
        unlink("/tmp/stat_server_fifo");
        device_test::TearDown();
    }
    void run_with_each_fault(const operation &op);

    std::vector<operation> requests_;

private:
    outcome run(const operation &op, bool is_lasting, long first);

    std::vector<std::pair<std::string, std::string>> state_; // files that all find
    pid_t server_ = 0;
    outcome before_; // the files that the last operation found
};

/// Runs an operation from the same state as ever.
outcome faults_test::run(const operation &op, bool is_lasting, long first) {
    const auto held = [] { return std::distance(fs::directory_iterator("/proc/self/fd"), {}); };
    for (const std::string &path : state_files()) {
        if (fs::is_regular_file(path)) { fs::remove(path); }
    }
    for (const auto &files : {state_, op.files}) {
        for (const auto &[path, content] : files) {
            fs::create_directories(fs::path(path).parent_path());
            write_file(path, content);
        }
    }
    set_setting("wan", "proto", op.proto); // and the store is connected
    calls(), log(), console();
    const strings files = state_files();
    before_ = {files.begin(), files.end()};
    const auto descriptors = held();
    fault = {.is_lasting = is_lasting, .first = first};
    outcome found = op.run();
    free_lost_attribute();
    tzset(); // the C library keeps the zone,
    if (fault.block_count > 0) { renew_store(); }
    setting("wan", "proto"); // and the store its connection
    EXPECT_EQ(fault.block_count, 0) << "blocks are left";
    EXPECT_EQ(held(), descriptors) << "descriptors are left";
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
    for (const strings &done : {calls(), state_files()}) {
        for (const std::string &text : done) {
            const std::size_t random = text.find("/tmp/tarrow.");
            found.insert(random != std::string::npos ? text.substr(0, random) + "(file)" : text);
        }
    }
    return found;
}

void faults_test::run_with_each_fault(const operation &op) {
    alarm(120);
    outcome whole = run(op, false, 0), allowed = whole;
    allowed.merge(before_);
    for (const std::string &text : whole) { allowed.insert(text.substr(0, text.find('=') + 1)); } // an empty element
    std::istringstream failures(op.failures);
    for (std::string text; std::getline(failures, text, '|');) { allowed.insert(text); }
    for (const bool is_lasting : {false, true}) {
        for (long n = 1;; ++n) {
            SCOPED_TRACE(op.name + ", allocation " + std::to_string(n) + (is_lasting ? " and all after it" : ""));
            const outcome found = run(op, is_lasting, n);
            if (!fault.has_struck) {
                EXPECT_EQ(found, whole) << "the device is not as it was";
                break;
            }
            for (const std::string &text : found) { EXPECT_EQ(allowed.count(text), 1U) << text; }
            if (HasFailure()) { return; }
        }
    }
}

TEST_F(faults_test, every_exported_operation) {
    for (const operation &op : operations) { run_with_each_fault(op); }
}

TEST_F(faults_test, every_handler) {
    const tarrow::heap<applet_info> table(tarrow_get_module_applets(nullptr));
    for (const applet_info *row = table.get(); row != table.get() + 32; ++row) {
        for (const auto &[phase, handler] : {std::pair(" pre-set ", row->di_handler_pre_set_func),
                                             {" post-set ", row->di_handler_post_set_func},
                                             {" pre-get ", row->di_handler_pre_get_func},
                                             {" post-get ", row->di_handler_post_get_func}}) {
            bool is_reached = handler == nullptr;
            for (operation &asked : requests_) {
                const std::string start = row->di_modname + std::string(phase);
                if (handler == nullptr || asked.name.compare(0, start.size(), start) != 0) { continue; }
                is_reached = true;
                asked.run = with(asked.name.substr(start.size()), handler);
                run_with_each_fault(asked);
            }
            EXPECT_TRUE(is_reached) << row->di_modname << phase << "is in no request of tests/faults.txt";
        }
    }
}

} // namespace
