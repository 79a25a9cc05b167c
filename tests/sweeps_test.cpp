// What holds for every request of the transcripts: with memory refused, with hostile or missing posted texts, with
// records that carry nothing. A law compares with what the transcripts of the module say, and has no table of its own.

#include "support/transcript.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <regex>
#include <sstream>

namespace {

using namespace testing_device;
namespace fs = std::filesystem;
using texts = std::set<std::string>;

/// The elements of a page with their texts, or the fields of a table: of a line "-> ".
texts values_of(const std::string &line) {
    static const std::regex elements("<([^/>]+)/?>([^<]*)"), fields("()([^# \n][^#\n]*)");
    texts values;
    const std::string text = line.substr(3);
    for (std::sregex_iterator part(text.begin(), text.end(), text[0] == '<' ? elements : fields), end; part != end;
         ++part) {
        values.insert({part->str(1) + "=", part->str(1) + "=" + (part->str(2) == "~" ? "" : part->str(2))});
    }
    return values;
}

bool is_refusal(const std::string &line) {
    return line == "refused" || (line.starts_with("result ") && line.find(" -") != std::string::npos);
}

/// What a line tells of: the words of a command, each with its place and the program; a file; a setting.
texts parts_of(const std::string &line) {
    std::string text = unescape(line.substr(0, line.find('\n')));
    const std::string kind = take_word(text), first = text.substr(0, text.find(' '));
    texts parts;
    if (kind == "$" || kind == "!") {
        for (int place = 0; !text.empty(); ++place) { parts.insert(first + std::to_string(place) + take_word(text)); }
    } else if (kind == "stored" || kind == "left" || kind == "gone") {
        take_word(text);
        parts.insert(kind == "stored" ? first + " " + take_word(text) : first);
    }
    return parts;
}

/// What the transcripts of a module tell of, and of refused posts alone; values; what the device holds.
struct knowledge {
    texts done, refused, values;
    std::string held;
};
knowledge known_of(const std::string &module) {
    knowledge known;
    for (const transcript &told : corpus()) {
        for (const step &step : told.module == module ? told.steps : std::vector<struct step>()) {
            const strings lines = expected(step);
            const bool is_refused = std::any_of(lines.begin(), lines.end(), is_refusal);
            for (const std::string &line : lines) {
                if (is_refused) { known.refused.merge(parts_of(line)); }
                known.done.merge(parts_of(line));
                if (line.starts_with("-> ")) { known.values.merge(values_of(line)); }
            }
            known.values.merge(values_of(payload(step).text()));
            for (const fact &given : step.given) { known.held += escape(unescape(given.text)) + "\n"; }
        }
    }
    return known;
}

/// Whether blocks are lost that were allocated while memory was refused.
bool is_lost() {
    free_lost_attribute();
    tzset(); // the C library keeps the zone
    if (fault.block_count > 0 &&
        fs::exists("/userfs/cfgdb/settings.db")) { // the store keeps its connection to this file
        fs::copy_file("/userfs/cfgdb/settings.db", "/userfs/cfgdb/copy.db");
        fs::rename("/userfs/cfgdb/copy.db", "/userfs/cfgdb/settings.db");
        setting("wan", "proto");
    }
    return fault.block_count > 0;
}

bool is_command(const std::string &line) { return line.starts_with("$ ") || line.starts_with("! "); }

class sweep : public stage {
public:
    explicit sweep(const std::string &module) : module_(module), known_(known_of(module)) {}

protected:
    /// Tries something with each request of the module.
    template <typename Try>
    void each_request(const char *words, Try what) {
        for (const transcript &told : corpus()) {
            for (std::size_t i = 0; i < told.steps.size() && told.module == module_ && !HasFailure(); ++i) {
                for (const fact &given : told.steps[i].given) {
                    if (given.word == "do") { output_of(unescape(given.text)); } // what it does stays
                }
                is_live = false;
                played_ = nullptr;
                SCOPED_TRACE(told.path + ":" + std::to_string(told.steps[i].number));
                if (std::strstr(words, told.steps[i].request.word.c_str()) != nullptr) { what(told, i); }
            }
        }
    }

    /// Plays a transcript up to before a request, on a new device, unless the last request changed nothing in that one.
    void play_until(const transcript &told, std::size_t request) {
        if (std::exchange(played_, &told.steps[request]) != &told.steps[request] || !touched.empty()) {
            TearDown();
            SetUp();
            alarm(600);
            for (std::size_t i = 0; i <= request; ++i) {
                for (const fact &given : told.steps[i].given) { arrange(given); }
                payload sent(told.steps[i]);
                if (i < request) { perform(told.steps[i], &sent.record); }
            }
        }
        setting("wan", "proto"); // so that the store has its connection
    }

    /// Looks for commands and changes that are not among some.
    static void expect_among(const strings &lines, const texts &done) {
        for (const std::string &line : lines) {
            const texts parts = parts_of(line);
            EXPECT_TRUE(std::includes(done.begin(), done.end(), parts.begin(), parts.end())) << line.substr(0, 300);
        }
    }

    const std::string module_;
    const knowledge known_;

private:
    const step *played_ = nullptr;
};

class memory : public sweep {
    using sweep::sweep;
    void TestBody() override {
        each_request("get set refused getlist call", [&](const transcript &told, std::size_t request) {
            for (const bool is_lasting : {false, true}) {
                fault.has_struck = true;
                for (long n = 1; fault.has_struck && !HasFailure(); ++n) {
                    SCOPED_TRACE("allocation " + std::to_string(n) + (is_lasting ? " and all after it" : ""));
                    play_until(told, request);
                    refuse(told.steps[request], {.is_lasting = is_lasting, .first = n});
                }
            }
        });
    }

    void refuse(const step &step, const memory_fault &refusal) {
        const texts before = values_of(payload(step).text());
        {
            payload sent(step);
            plan = refusal;
            expect_among(perform(step, &sent.record), known_.done);
            plan = {};
            const texts after = values_of(sent.text());
            for (const std::string &value : sent.page ? before : texts()) {
                const auto same = after.lower_bound(value); // or with something behind it
                EXPECT_TRUE(same != after.end() && same->starts_with(value)) << value << " is lost";
            }
            for (const std::string &value : !is_post(step.request.word) && fault.has_struck ? after : texts()) {
                const std::string text = value.substr(value.find('=') + 1);
                EXPECT_TRUE(text.empty() || text.find_first_not_of("-0123456789.") == std::string::npos ||
                            known_.values.count(value) == 1 || known_.held.find(text) != std::string::npos)
                    << value;
            }
        }
        EXPECT_FALSE(is_lost());
    }
};

std::string text_of(mxml_node_t *leaf) {
    const char *text = mxmlGetOpaque(mxmlGetFirstChild(leaf));
    return text != nullptr ? text : "";
}

/// The elements of a page that hold nothing but a text, or nothing.
std::vector<mxml_node_t *> leaves_of(const payload &sent) {
    std::vector<mxml_node_t *> leaves;
    for (mxml_node_t *node = sent.page.get(); node != nullptr; node = mxmlWalkNext(node, nullptr, MXML_DESCEND)) {
        mxml_node_t *child = mxmlGetFirstChild(node);
        const bool is_text = mxmlGetOpaque(child) != nullptr && mxmlGetNextSibling(child) == nullptr;
        if (mxmlGetType(node) == MXML_ELEMENT && (child == nullptr || is_text)) { leaves.push_back(node); }
    }
    return leaves;
}

class posted : public sweep {
    using sweep::sweep;
    void TestBody() override {
        const char list[] =
            R"(\x20 0 -1 99999999999999999999 a\x20b $(id) `id` $PATH ${IFS} ;id; |id &id& \nid\n >/data/x
            </etc/passwd ' '' " '"' \\ \\' a\\ * ? [a-z] ~ {a,b} (id) # !! -rf -- %s%n%1000d \x80\xff\xfe \x01\x02\x7f\x1b[2J
            \t \r\n / .. ../../etc/passwd \('*55) \('*300) \(a*5000) \($*5000) \("*70000))";
        strings hostile;
        std::istringstream parts(list);
        for (std::string text; parts >> text;) { hostile.push_back(unescape(text)); }
        texts seen; // pages, by the elements that they have
        each_request("set refused", [&](const transcript &told, std::size_t request) {
            std::string kind;
            const payload as_told(told.steps[request]);
            for (mxml_node_t *leaf : leaves_of(as_told)) { kind += mxmlGetElement(leaf) + std::string(" "); }
            const bool is_new = seen.insert(kind).second;
            for (std::size_t i = 0; i < leaves_of(as_told).size() && !HasFailure(); ++i) {
                SCOPED_TRACE(std::string("element ") + mxmlGetElement(leaves_of(as_told)[i]));
                for (const bool is_there : {false, true}) {
                    const strings lines = post(told, request, i, is_there, "");
                    if (std::any_of(lines.begin(), lines.end(), is_refusal)) { expect_among(lines, known_.refused); }
                }
                const std::string old = text_of(leaves_of(as_told)[i]);
                for (const std::string &before : is_new ? strings{"", old} : strings()) {
                    for (const std::string &text : hostile) {
                        for (const std::string &line : post(told, request, i, true, before + text)) {
                            EXPECT_TRUE(!is_command(line) || is_harmless(unescape(line.substr(2))))
                                << line.substr(0, 300);
                        }
                    }
                }
            }
        });
    }

    /// Posts a page with a text in one of its elements, or without the element. Gives what was done.
    strings post(const transcript &told, std::size_t request, std::size_t place, bool is_there,
                 const std::string &text) {
        play_until(told, request);
        payload sent(told.steps[request]);
        mxml_node_t *element = leaves_of(sent)[place];
        mxmlDelete(is_there || element == sent.page.get() ? mxmlGetFirstChild(element) : element);
        if (!text.empty()) { mxmlNewOpaque(element, text.c_str()); }
        return perform(told.steps[request], &sent.record);
    }
};

TEST_F(device_test, handlers_refuse_records_that_carry_nothing) {
    int count = 0;
    const std::unique_ptr<applet_info, decltype(&std::free)> rows(tarrow_get_module_applets(&count), &std::free);
    dc_args_t page = {TARROW_CB_ARGS_XML, {}, nullptr}, list = {TARROW_CB_ARGS_DLIST, {}, nullptr},
              text = {3, {}, nullptr};
    texts takers; // of such a record
    for (const applet_info *row = rows.get(); row != rows.get() + count; ++row) {
        for (tarrow_handler_t *handler : {row->di_handler_pre_set_func, row->di_handler_post_set_func,
                                          row->di_handler_pre_get_func, row->di_handler_post_get_func}) {
            for (dc_args_t *record : {static_cast<dc_args_t *>(nullptr), &page, &list, &text}) {
                const bool is_taken = handler != nullptr && handler(TARROW_ACTION_GET, record) != -1;
                if (is_taken) { takers.insert(row->di_modname + std::string(record == nullptr ? " without" : "")); }
            }
        }
    }
    EXPECT_EQ(takers, (texts{"device_date", "wlan_wps_client", "wlan_wps_client without"}));
    const strings done = calls(); // what comes before any look at the record
    EXPECT_EQ(texts(done.begin(), done.end()),
              (texts{"/usr/app/agent_client 0 /etc/init.d/device_management_pre_get.sh",
                     "/etc/init.d/device_management_pre_get.sh"}));
}

using operation = void (*)(dlist_node_t *table, mxml_node_t *page);

/// The exported operations that allocate and that no page reaches.
const operation operations[] = {
    [](dlist_node_t *table, mxml_node_t *) { dl_get_meta_fields("x#y#z", table, '#'); },
    [](dlist_node_t *table, mxml_node_t *) { dl_variable_to_dlist_alloc("d#1 e#2 f#3", table, 2, '#', ' '); },
    [](dlist_node_t *table, mxml_node_t *) {
        char *value = nullptr;
        dl_dlist_to_variable(&value, table, '#', ' ');
        table->dn_meta[2] = value;
    },
    [](dlist_node_t *table, mxml_node_t *page) { dl_dlist_to_xmllist(table, page); },
    [](dlist_node_t *, mxml_node_t *page) { dl_dlist_xml_additem(page, 41); },
    [](dlist_node_t *table, mxml_node_t *page) { dl_xmllist_to_dlist(page, table); },
};

class exported : public stage {
    /// What a table and a page hold after an operation.
    static texts run(operation call, const memory_fault &refusal) {
        payload table({.request = {"getlist", "x name#ip a#1 b#2 c#3", {}}});
        payload page({.request = {"get",
                                  "x <p><Item><name>b</name><ip>9</ip></Item><Item><name Delete=''>c</name></Item></p>",
                                  {}}});
        fault = refusal;
        fault.is_armed = true;
        call(table.table.get(), page.page.get());
        fault.is_armed = false;
        texts values = values_of(table.text());
        values.merge(values_of(page.text()));
        return values;
    }
    void TestBody() override {
        for (const operation &call : operations) {
            texts known = run([](dlist_node_t *, mxml_node_t *) {}, {});
            known.merge(run(call, {}));
            fault.has_struck = true;
            for (long n = 1; fault.has_struck; ++n) {
                for (const bool is_lasting : {true, false}) {
                    const texts found = run(call, {.is_lasting = is_lasting, .first = n});
                    EXPECT_TRUE(std::includes(known.begin(), known.end(), found.begin(), found.end()))
                        << &call - operations;
                    EXPECT_FALSE(is_lost());
                }
            }
        }
    }
};

template <typename Sweep>
void add_for_each_module(const char *name) {
    texts modules;
    for (const transcript &told : corpus()) { modules.insert(told.module); }
    for (const std::string &module : modules) {
        testing::RegisterTest(name, module.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                              [module]() -> testing::Test * { return new Sweep(module); });
    }
}

[[maybe_unused]] const bool are_registered = [] {
    add_for_each_module<memory>("memory");
    add_for_each_module<posted>("posted");
    testing::RegisterTest("memory", "exported", nullptr, nullptr, __FILE__, __LINE__,
                          []() -> testing::Test * { return new exported; });
    return true;
}();

} // namespace
