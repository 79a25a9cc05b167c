// What holds for every request of the transcripts: with memory refused, with hostile or missing posted texts, with
// records that carry nothing. A law has no table of its own: it compares with what the transcripts tell.

#include "support/transcript.h"

#include <algorithm>
#include <filesystem>
#include <sstream>

namespace {

using namespace testing_device;
namespace fs = std::filesystem;

/// Whether blocks are lost that were allocated while memory was refused.
bool is_lost() {
    free_lost_attribute();
    tzset();                                                            // the C library keeps the zone
    if (fault.block_count > 0 && exists("/userfs/cfgdb/settings.db")) { // the store keeps its connection to this file
        fs::copy_file("/userfs/cfgdb/settings.db", "/userfs/cfgdb/copy.db");
        fs::rename("/userfs/cfgdb/copy.db", "/userfs/cfgdb/settings.db");
        setting("wan", "proto");
    }
    return fault.block_count > 0;
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

std::string text_of(mxml_node_t *leaf) {
    const char *text = mxmlGetOpaque(mxmlGetFirstChild(leaf));
    return text != nullptr ? text : "";
}

/// The texts between the elements of a serialised page.
strings texts_of(const std::string &page) {
    strings texts;
    for (std::size_t at = 3; (at = page.find('>', at)) != std::string::npos;) {
        const std::size_t end = std::min(page.find('<', ++at), page.size());
        texts.push_back(page.substr(at, end - at));
    }
    return texts;
}

class sweep : public stage {
public:
    explicit sweep(const std::string &module) : module_(module) {}

protected:
    /// Tries something with each request of the module, or with its posts.
    template <typename Try>
    void each_request(bool are_posts, Try what) {
        for (const transcript &told : corpus()) {
            for (std::size_t i = 0; i < told.steps.size() && told.module == module_ && !HasFailure(); ++i) {
                for (const fact &given : told.steps[i].given) {
                    if (given.word == "do") { output_of(unescape(given.text)); } // what it does stays
                }
                is_live = false;
                SCOPED_TRACE(told.path + ":" + std::to_string(told.steps[i].number));
                if (!are_posts || is_post(told.steps[i].request.word)) { what(told, i); }
            }
        }
    }

    /// Plays a transcript up to a request, on a new device, and makes this one with what is changed in it. Gives what
    /// was done, as far as it may be done.
    template <typename Change>
    strings play(const transcript &told, std::size_t request, Change change) {
        TearDown();
        SetUp();
        alarm(600);
        strings done;
        for (std::size_t i = 0; i <= request; ++i) {
            for (const fact &given : told.steps[i].given) { arrange(given); }
            payload sent(told.steps[i]);
            if (i == request) {
                setting("wan", "proto"); // so that the store has its connection, and the C library knows the zone
                tzset();
                change(sent);
            }
            done = perform(told.steps[i], &sent.record);
            answer_ = i == request ? sent.text() : "";
        }
        plan = {};
        for (const std::string &line : done) { EXPECT_TRUE(is_harmless(line)) << line.substr(0, 300); }
        return done;
    }

    const std::string module_;
    std::string answer_;
};

/// With memory refused no block is lost, no posted text, and what is shown is a number or was there to be shown.
class memory : public sweep {
    using sweep::sweep;
    void TestBody() override {
        std::string known;
        for (const transcript &told : corpus()) {
            for (const step &step : told.module == module_ ? told.steps : std::vector<struct step>()) {
                for (const fact &given : step.given) { known += unescape(given.text) + "\n"; }
                for (const std::string &line : expected(step)) { known += line + "\n"; }
                known += unescape(step.request.text) + "\n";
            }
        }
        each_request(false, [&](const transcript &told, std::size_t request) {
            for (const bool is_lasting : {false, true}) {
                fault.has_struck = true;
                for (long n = 1; fault.has_struck && !HasFailure(); ++n) {
                    SCOPED_TRACE("allocation " + std::to_string(n) + (is_lasting ? " and all after it" : ""));
                    strings sent_texts;
                    play(told, request, [&](const payload &sent) {
                        sent_texts = texts_of(sent.text());
                        plan = {.is_lasting = is_lasting, .first = n};
                    });
                    EXPECT_FALSE(is_lost());
                    for (const std::string &text : sent_texts) {
                        EXPECT_NE(answer_.find(text), std::string::npos) << text << " is lost";
                    }
                    for (const std::string &text : texts_of(answer_)) {
                        const auto is_sent = [&](const auto &sent) { return !sent.empty() && text.starts_with(sent); };
                        EXPECT_TRUE(text.find_first_not_of("-0123456789.") == std::string::npos ||
                                    known.find(text) != std::string::npos ||
                                    std::any_of(sent_texts.begin(), sent_texts.end(), is_sent))
                            << text;
                    }
                }
            }
        });
    }
};

/// A posted text is one word of a command, whatever it is, and a post that is refused stores nothing.
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
        std::set<std::string> seen; // pages, by the elements that they have
        each_request(true, [&](const transcript &told, std::size_t request) {
            std::string kind;
            const payload as_told(told.steps[request]);
            for (mxml_node_t *leaf : leaves_of(as_told)) { kind += mxmlGetElement(leaf) + std::string(" "); }
            const bool is_new = seen.insert(kind).second;
            for (std::size_t i = 0; i < leaves_of(as_told).size() && !HasFailure(); ++i) {
                SCOPED_TRACE(std::string("element ") + mxmlGetElement(leaves_of(as_told)[i]));
                post(told, request, i, false, "");
                post(told, request, i, true, "");
                for (const std::string &before : is_new ? strings{"", text_of(leaves_of(as_told)[i])} : strings()) {
                    for (const std::string &text : hostile) { post(told, request, i, true, before + text); }
                }
            }
        });
    }

    /// Posts a page with a text in one of its elements, or without the element.
    void post(const transcript &told, std::size_t request, std::size_t place, bool is_there, const std::string &text) {
        const strings lines = play(told, request, [&](const payload &sent) {
            mxml_node_t *element = leaves_of(sent)[place];
            mxmlDelete(is_there || element == sent.page.get() ? mxmlGetFirstChild(element) : element);
            if (!text.empty()) { mxmlNewOpaque(element, text.c_str()); }
        });
        const auto begins = [&](const char *start) {
            return std::any_of(lines.begin(), lines.end(), [&](const auto &line) { return line.starts_with(start); });
        };
        EXPECT_FALSE((begins("refused") || begins("result post-set -1")) && begins("stored")) << text.substr(0, 300);
    }
};

TEST_F(device_test, handlers_refuse_records_that_carry_nothing) {
    int count = 0;
    const std::unique_ptr<applet_info, decltype(&std::free)> rows(tarrow_get_module_applets(&count), &std::free);
    dc_args_t page = {TARROW_CB_ARGS_XML, {}, nullptr}, list = {TARROW_CB_ARGS_DLIST, {}, nullptr},
              text = {3, {}, nullptr};
    std::set<std::string> takers; // of such a record
    for (const applet_info *row = rows.get(); row != rows.get() + count; ++row) {
        for (tarrow_handler_t *handler : {row->di_handler_pre_set_func, row->di_handler_post_set_func,
                                          row->di_handler_pre_get_func, row->di_handler_post_get_func}) {
            for (dc_args_t *record : {static_cast<dc_args_t *>(nullptr), &page, &list, &text}) {
                const bool is_taken = handler != nullptr && handler(TARROW_ACTION_GET, record) != -1;
                if (is_taken) { takers.insert(row->di_modname); }
            }
        }
    }
    EXPECT_EQ(takers, (std::set<std::string>{"device_date", "wlan_wps_client"}));
}

/// The exported operations on tables, which no page reaches: with memory refused they lose nothing, and fail.
TEST_F(device_test, tables_without_memory) {
    fault.has_struck = true;
    for (long n = 1; fault.has_struck; ++n) {
        for (const bool is_lasting : {true, false}) {
            payload table({.request = {"getlist", "x name#ip a#1 b#2 c#3", {}}});
            payload page({.request = {"get", "x <p><Item><name>b</name><ip>9</ip></Item></p>", {}}});
            dlist_node_t copy = {};
            char *value = nullptr;
            fault = {.is_armed = true, .is_lasting = is_lasting, .first = n};
            dl_get_meta_fields("x#y#z", &copy, '#');
            dl_variable_to_dlist_alloc("d#1 e#2 f#3", &copy, 2, '#', ' ');
            dl_dlist_to_variable(&value, table.table.get(), '#', ' ');
            dl_dlist_to_xmllist(table.table.get(), page.page.get());
            dl_dlist_xml_additem(page.page.get(), 41);
            dl_xmllist_to_dlist(page.page.get(), &copy);
            fault.is_armed = false;
            EXPECT_EQ(page.text().substr(0, 5), "-> <p"); // and whole
            std::free(value);
            dl_free_dlist(&copy);
            page.page.reset();
            EXPECT_FALSE(is_lost()) << n;
        }
    }
}

template <typename Sweep>
void add_for_each_module(const char *name) {
    std::set<std::string> modules;
    for (const transcript &told : corpus()) { modules.insert(told.module); }
    for (const std::string &module : modules) {
        testing::RegisterTest(name, module.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                              [module]() -> testing::Test * { return new Sweep(module); });
    }
}

[[maybe_unused]] const bool are_registered = [] {
    add_for_each_module<memory>("memory");
    add_for_each_module<posted>("posted");
    return true;
}();

} // namespace
