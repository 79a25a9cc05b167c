// Framework helpers: command lines, small files and numbers.

#include "support/transcript.h"

#include <climits>

#include "../src/support/command.h"
#include "../src/support/files.h"
#include "../src/support/settings.h"

namespace {

using namespace testing_device;
using helpers_test = device_test;

TEST_F(helpers_test, any_text_reaches_a_command_as_one_word) {
    std::string every_byte;
    for (int c = 1; c < 256; ++c) { every_byte += static_cast<char>(c); }
    for (const std::string &text : {std::string(), every_byte, std::string("-rf"), std::string("'")}) {
        tarrow::command_line<2048> line;
        line.text("set -- ").word(text.c_str()).text("; printf %s $# \"$@\"");
        EXPECT_EQ(output_of(line.c_str()), "1" + text);
    }
    const std::string plain = "AZaz09_.,:/+@%=-", text = "a'b';'c' 'd";
    tarrow::command_line<30> line;
    EXPECT_EQ(line.word(plain.c_str()).text(" ").number(INT_MIN).c_str(), plain + " -2147483648");
    for (std::size_t size = 1; size < 48; ++size) { // a cut word keeps its closing quote
        std::string buffer(64, '!');
        tarrow::command_builder cut(buffer.data(), size);
        cut.word(text.c_str());
        ASSERT_EQ(buffer.find_first_not_of('!', size), std::string::npos);
        const std::string arrived = output_of(std::string("printf %s ") + cut.c_str());
        EXPECT_EQ(text.compare(0, arrived.size(), arrived), 0) << size;
        EXPECT_EQ(cut.complete(), arrived == text) << size;
        EXPECT_TRUE(cut.complete() || cut.text("x").c_str() == std::string(cut.c_str())) << size;
    }
}

TEST_F(helpers_test, numbers_and_words_of_files) {
    // The number, which is 7 before, and the word, which is "old".
    const std::pair<const char *, std::string> cases[] = {{" \\n\\t-12abc", "-12 -12ab"},
                                                          {"x1\v2", "7 x1"},
                                                          {"\\(0*254)5", "5 00000"},
                                                          {"\\( *255)5", "7 old"},
                                                          {"\\(9*1000)", "2147483647 99999"},
                                                          {"-2147483649", "-2147483648 -2147"},
                                                          {"\\0a", "7 old"}};
    for (const auto &[text, result] : cases) {
        write_file("/tmp/value", unescape(text));
        int value = 7;
        char word[6] = "old";
        EXPECT_TRUE(tarrow::scan_number("/tmp/value", value) && tarrow::read_word("/tmp/value", word, sizeof(word)));
        EXPECT_EQ(std::to_string(value) + " " + word, result);
        EXPECT_EQ(tarrow::read_number("/tmp/value").value_or(7), value) << text;
    }
    EXPECT_EQ(tarrow::read_number("/tmp").value_or(7), 7); // a folder opens and cannot be read
    EXPECT_TRUE(tarrow::write_number("/tmp/value", INT_MIN));
    EXPECT_EQ(read_file("/tmp/value"), "-2147483648");
    EXPECT_FALSE(tarrow::write_number("/dev/full", 1));
    set_setting("wan", "n", "x");
    EXPECT_EQ(tarrow::read_setting_number("wan", "n", 9), 0);
}

} // namespace
