// The pages, as the transcripts tell, and what holds for every request of them: with memory refused, with hostile or
// missing posted texts, with records that carry nothing. A law has no table of its own: it compares with what the
// transcripts tell.

#include "support/transcript.h"

#include <algorithm>
#include <set>
#include <sstream>

namespace {

using namespace testing_device;

class page_test : public stage {
public:
    explicit page_test(const transcript &told) : told_(told) {}

private:
    void TestBody() override { play(told_); }

    const transcript &told_;
};

/// A sweep over the requests of a module.
class sweep : public stage {
public:
    explicit sweep(std::string module) : module_(std::move(module)) {}

protected:
    /// Tries each request.
    template <typename Try>
    void each_request(Try what) {
        for (const transcript &told : corpus()) {
            for (std::size_t i = 0; i < told.steps.size() && told.module == module_ && !HasFailure(); ++i) {
                for (const fact &given : told.steps[i].given) {
                    if (given.word == "do") { output_of(unescape(given.text)); } // what it does stays
                }
                is_live = false;
                SCOPED_TRACE(told.title + ": " + told.steps[i].request.text);
                what(told, i);
            }
        }
    }

    /// Plays a transcript up to a request, on a new device, and makes this one with what is changed in it. Gives what
    /// comes of it.
    strings play(const transcript &told, std::size_t request, const std::function<void(mxml_node_t *page)> &change) {
        TearDown();
        SetUp();
        alarm(600);
        for (std::size_t i = 0; i < request; ++i) { perform(told.steps[i]); }
        strings events = perform(told.steps[request], change);
        plan = {};
        for (const std::string &event : events) { EXPECT_TRUE(is_harmless(event)) << event.substr(0, 300); }
        return events;
    }

    const std::string module_;
};

/// With memory refused nothing is lost, nor any element or text of the page.
class memory : public sweep {
    using sweep::sweep;
    void TestBody() override {
        each_request([&](const transcript &told, std::size_t request) {
            for (const bool is_lasting : {false, true}) {
                fault.has_struck = true;
                for (long n = 1; fault.has_struck && !HasFailure(); ++n) {
                    SCOPED_TRACE("allocation " + std::to_string(n) + (is_lasting ? " and all after it" : ""));
                    std::string sent;
                    play(told, request, [&](mxml_node_t *page) {
                        sent = serialise(page);
                        plan = {.is_lasting = is_lasting, .first = n};
                    });
                    EXPECT_GE(answer.size(), sent.size()) << answer;
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
        std::istringstream parts(list);
        const strings hostile{std::istream_iterator<std::string>(parts), {}};
        std::set<std::string> seen; // pages, by the elements that they have
        each_request([&](const transcript &told, std::size_t request) {
            const fact &post = told.steps[request].request;
            if (!is_one_of(post.word, " set refused pre-set ")) { return; }
            const tree page = parse(unescape(post.text.substr(post.text.find(' ') + 1)));
            std::string kind;
            for (mxml_node_t *leaf : leaves_of(page.get())) { kind += mxmlGetElement(leaf) + std::string(" "); }
            strings texts = {"-", ""}; // without the element, with no text in it
            if (seen.insert(kind).second) { texts.insert(texts.end(), hostile.begin(), hostile.end()); }
            for (std::size_t i = 0; i < leaves_of(page.get()).size(); ++i) {
                for (const std::string &text : texts) {
                    SCOPED_TRACE(mxmlGetElement(leaves_of(page.get())[i]) + std::string(" is ") + text.substr(0, 300));
                    const strings events = play(told, request, [&](mxml_node_t *sent) {
                        mxml_node_t *leaf = leaves_of(sent)[i];
                        mxmlDelete(text == "-" && leaf != sent ? leaf : mxmlGetFirstChild(leaf));
                        if (!text.empty() && text != "-") { mxmlNewOpaque(leaf, unescape(text).c_str()); }
                    });
                    const auto has = [&](const char *start) {
                        const auto begins = [&](const auto &line) { return line.starts_with(start); };
                        return std::any_of(events.begin(), events.end(), begins);
                    };
                    const bool is_refused = post.word == "refused" ? !has("not refused") : has("result post-set -1");
                    EXPECT_FALSE(is_refused && has("stored "));
                }
            }
        });
    }
};

TEST_F(device_test, handlers_refuse_records_that_carry_nothing) {
    int count = 0;
    const std::unique_ptr<applet_info, decltype(&std::free)> rows(tarrow_get_module_applets(&count), &std::free);
    dc_args_t page = {TARROW_CB_ARGS_XML, {}, nullptr}, list = {TARROW_CB_ARGS_DLIST, {}, nullptr},
              text = {3, {}, nullptr};
    std::string takers; // of such a record
    for (const applet_info *row = rows.get(); row != rows.get() + count; ++row) {
        for (tarrow_handler_t *handler : {row->di_handler_pre_set_func, row->di_handler_post_set_func,
                                          row->di_handler_pre_get_func, row->di_handler_post_get_func}) {
            for (dc_args_t *record : {&page, &list, &text}) {
                const bool is_taken = handler != nullptr && handler(TARROW_ACTION_GET, record) != -1;
                takers += is_taken ? row->di_modname + std::string(" ") : "";
            }
        }
    }
    EXPECT_EQ(takers, "wlan_wps_client wlan_wps_client wlan_wps_client device_date device_date ");
    EXPECT_EQ(seen().size(), 12U); // each refusal of messages is logged
}

template <typename Test, typename What>
void add(const std::string &suite, std::string name, const What &what) {
    std::replace_if(
        name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
    testing::RegisterTest(suite.c_str(), name.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                          [&what]() -> testing::Test * { return new Test(what); });
}

[[maybe_unused]] const bool are_registered = [] {
    std::set<std::string> modules;
    for (const transcript &told : corpus()) {
        add<page_test>(told.module, told.title, told);
        if (!modules.insert(told.module).second) { continue; }
        add<memory>("memory", told.module, told.module);
        add<posted>("posted", told.module, told.module);
    }
    return true;
}();

} // namespace
