// The pages, as the transcripts in tests/pages tell: each is a test case.

#include "support/transcript.h"

#include <algorithm>
#include <sstream>

namespace {

using namespace testing_device;

/// What two lists of lines differ in, between what they begin and end with alike.
std::string difference(const strings &expected, const strings &found) {
    std::size_t begin = 0, end = 0;
    const std::size_t shorter = std::min(expected.size(), found.size());
    while (begin < shorter && expected[begin] == found[begin]) { ++begin; }
    while (end < shorter - begin && expected[expected.size() - 1 - end] == found[found.size() - 1 - end]) { ++end; }
    std::string text;
    for (const auto &[sign, lines] : {std::pair("  - ", &expected), {"  + ", &found}}) {
        for (std::size_t i = begin; i < lines->size() - end; ++i) {
            std::istringstream parts((*lines)[i].substr(0, 2000));
            for (std::string line; std::getline(parts, line);) { text += sign + line + "\n"; }
        }
    }
    return text;
}

class page_test : public stage {
public:
    explicit page_test(const transcript &told) : told_(told) {}

protected:
    void TestBody() override {
        for (const step &step : told_.steps) {
            for (const fact &given : step.given) { arrange(given); }
            payload sent(step);
            strings done = perform(step, &sent.record), said = expected(step);
            const auto is_page = [](const std::string &line) { return line.rfind("-> ", 0) == 0; };
            if (!is_post(step.request.word) || std::any_of(said.begin(), said.end(), is_page) ||
                sent.text() != payload(step).text()) {
                done.push_back(sent.text());
            }
            put_last_in_order(done);
            if (done == said) { continue; }
            ADD_FAILURE_AT(told_.path.c_str(), step.number) << told_.title << "\n" << difference(said, done);
            return;
        }
    }

private:
    const transcript &told_;
};

[[maybe_unused]] const bool are_registered = [] {
    for (const transcript &told : corpus()) {
        std::string name = told.title;
        std::replace_if(
            name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
        testing::RegisterTest(told.module.c_str(), name.c_str(), nullptr, nullptr, told.path.c_str(), told.number,
                              [&told]() -> testing::Test * { return new page_test(told); });
    }
    return true;
}();

} // namespace
