// The transcripts' requests with one text from anywhere in the place of one of theirs: no text makes the library run
// anything but what the transcripts tell of, break a page, or lose what it has opened.

#include "../support/transcript.h"

#include <cstdint>

namespace {

using namespace testing_device;

class fuzzed : public stage {
public:
    /// Plays a transcript with another text in its Nth place that holds one: a posted text, a file, what a command
    /// prints, a setting.
    void play(transcript told, std::size_t place, std::string text) {
        for (std::size_t at = 0; (at = text.find('\\', at)) != std::string::npos; at += 2) { text.insert(at, 1, '\\'); }
        const auto offer = [&](fact &line, int words) {
            std::string rest = line.text, kept;
            while (words-- > 0) { kept += take_word(rest) + " "; }
            if (place-- == 0) { line.text = kept + text; }
        };
        SetUp();
        is_live = false;
        for (step &step : told.steps) {
            for (fact &given : step.given) {
                if (is_one_of(given.word, " file setting ")) { offer(given, given.word == "file" ? 1 : 2); }
            }
            for (fact &event : step.outcome) {
                for (fact &effect : event.below) {
                    if (is_one_of(effect.word, " prints answers writes ")) {
                        offer(effect, effect.word == "writes" ? 1 : 0);
                    }
                }
            }
            const auto change = [&](mxml_node_t *page) {
                for (mxml_node_t *leaf : leaves_of(page)) {
                    if (place-- != 0) { continue; }
                    mxmlDelete(mxmlGetFirstChild(leaf));
                    mxmlNewOpaque(leaf, unescape(text).c_str());
                }
            };
            for (const std::string &event : perform(step, change)) { EXPECT_TRUE(is_harmless(event)) << event; }
        }
        TearDown();
    }

private:
    void TestBody() override {}
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    GTEST_FLAG_SET(throw_on_failure, true); // which nobody catches
    if (size < 2) { return -1; }
    const transcript &told = corpus()[data[0] % corpus().size()];
    if (told.module == "device_date") { return -1; } // which may end the process, and takes no text
    fuzzed().play(told, data[1], std::string(data + 2, data + size));
    return 0;
}
