// Transcripts from anywhere, played on the device: no text in them makes the library run anything but what the
// transcripts of the pages tell of, break a page, or lose what it has opened.

#include "../tests/support/transcript.h"

#include <cstdint>
#include <sstream>

namespace {

using namespace testing_device;

/// What is done with a file, and its path.
std::string place_of(const fact &line) {
    std::string text = line.text;
    return line.word + " " + take_word(text);
}

/// Whether a line does with a file what the pages' transcripts do: an input writes nowhere else.
bool is_known_place(const fact &line) {
    static const std::set<std::string> places = [] {
        std::set<std::string> read;
        for (const transcript &told : corpus()) {
            for (const step &step : told.steps) {
                for (const fact &given : step.given) { read.insert(place_of(given)); }
                for (const fact &event : step.outcome) {
                    for (const fact &effect : event.below) { read.insert(place_of(effect)); }
                }
            }
        }
        read.erase("file /tmp/sim_checking_mutex"); // whose end would be waited for
        return read;
    }();
    return places.count(place_of(line)) == 1;
}

bool is_safe(const fact &given) {
    std::string text = given.text;
    const std::string first = take_word(text), second = take_word(text);
    return given.word == "zone" || given.word == "server" ||
           (given.word == "setting" && !first.empty() && !second.empty()) ||
           (given.word == "clock" && std::atol(first.c_str()) > 0) || // else the library ends the process
           ((given.word == "file" || given.word == "folder") && is_known_place(given));
}

/// A table comes back from its stored form as it was, and goes into a page.
void convert(const dlist_node_t *table) {
    char *stored = nullptr, *again = nullptr;
    dl_dlist_to_variable(&stored, table, '#', '^');
    payload copy({.request = {"getlist", "x", {}}}), page({.request = {"get", "x <p/>", {}}});
    dl_variable_to_dlist_alloc(stored, copy.table.get(), TARROW_DLIST_FIELDS, '#', '^');
    dl_dlist_to_variable(&again, copy.table.get(), '#', '^');
    dl_dlist_to_xmllist(table, page.page.get());
    dl_xmllist_to_dlist(page.page.get(), copy.table.get());
    EXPECT_EQ(page.text().substr(0, 2), "->");
    std::free(stored);
    std::free(again);
}

class fuzzed : public stage {
public:
    void play(transcript &told) {
        SetUp();
        is_live = false;
        for (step &step : told.steps) {
            for (fact &event : step.outcome) {
                std::erase_if(event.below, [](const fact &effect) {
                    return (effect.word == "writes" || effect.word == "removes") && !is_known_place(effect);
                });
            }
            for (const fact &given : step.given) {
                if (is_safe(given)) { arrange(given); }
            }
            payload sent(step);
            if (!sent.page && !sent.table) { break; }
            for (const std::string &line : perform(step, &sent.record)) {
                const bool is_command = line.starts_with("$ ") || line.starts_with("! ");
                EXPECT_TRUE(!is_command || is_harmless(unescape(line.substr(2)))) << line;
            }
            EXPECT_EQ(sent.text().substr(0, 2), "->");
            if (sent.table) { convert(sent.table.get()); }
        }
        TearDown();
    }

private:
    void TestBody() override {}
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    GTEST_FLAG_SET(throw_on_failure, true); // which nobody catches
    std::istringstream text(std::string(data, data + size));
    for (transcript &told : read_transcripts(text, "input")) { fuzzed().play(told); }
    return 0;
}
