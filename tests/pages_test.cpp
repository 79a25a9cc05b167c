// The pages, as the transcripts tell: each is a test case.

#include "support/transcript.h"

#include <algorithm>

namespace {

using namespace testing_device;

class page_test : public stage {
public:
    explicit page_test(const transcript &told) : told_(told) {}

protected:
    void TestBody() override { play(told_); }

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
