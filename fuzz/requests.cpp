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

bool is_safe(const fact &line) {
    std::string text = line.text;
    const std::string first = take_word(text), second = take_word(text);
    return (line.word == "setting" && *unescape(first).c_str() != '\0' && *second.c_str() != '\0') ||
           (line.word == "clock" && std::atol(first.c_str()) > 0) || // else the library ends the process
           (is_one_of(line.word, " file folder writes removes ") && is_known_place(line)) ||
           is_one_of(line.word, " zone server prints exits answers ");
}

class fuzzed : public stage {
public:
    void play(transcript &told) {
        SetUp();
        is_live = false;
        for (step &step : told.steps) {
            std::erase_if(step.given, [](const fact &given) { return !is_safe(given); });
            for (const fact &given : step.given) { arrange(given); }
            for (fact &event : step.outcome) {
                std::erase_if(event.below, [](const fact &effect) { return !is_safe(effect); });
            }
            payload sent(step);
            if (!sent.page && !sent.table) { break; }
            for (const std::string &line : perform(step, &sent.record)) { EXPECT_TRUE(is_harmless(line)) << line; }
            EXPECT_EQ(sent.text().substr(0, 2), "->");
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
