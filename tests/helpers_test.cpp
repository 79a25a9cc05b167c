// Framework helpers: command lines, small files and numbers.

#include "support/device.h"

#include <climits>
#include <unistd.h>

#include "../src/support/command.h"
#include "../src/support/files.h"
#include "../src/support/settings.h"

namespace {

using namespace testing_device;
using helpers_test = device_test;

TEST_F(helpers_test, any_text_reaches_a_command_as_the_one_word_it_is) {
    std::string every_byte;
    for (int c = 1; c < 256; ++c) { every_byte += static_cast<char>(c); }
    for (const std::string &text : {std::string(), every_byte, std::string("-rf"), std::string("'"),
                                    std::string("$(touch /tmp/x)`touch /tmp/x`; touch /tmp/x")}) {
        tarrow::command_line<2048> line;
        line.text("set -- ").word(text.c_str()).text("; printf %s $# \"$@\"");
        EXPECT_EQ(output_of(line.c_str()), "1" + text);
    }
    EXPECT_FALSE(exists("/tmp/x"));
    const std::string plain = "AZaz09_.,:/+@%=-";
    tarrow::command_line<64> line;
    EXPECT_EQ(line.word(plain.c_str()).text(" ").number(INT_MIN).c_str(), plain + " -2147483648");
    EXPECT_TRUE(line.complete());
}

TEST_F(helpers_test, a_cut_word_keeps_its_closing_quote) {
    const std::string text = "a'b';'c' 'd";
    for (std::size_t size = 1; size < 48; ++size) {
        std::string buffer(64, '!');
        tarrow::command_builder line(buffer.data(), size);
        line.word(text.c_str());
        ASSERT_EQ(buffer.find_first_not_of('!', size), std::string::npos);
        const std::string arrived = output_of(std::string("printf %s ") + line.c_str());
        EXPECT_EQ(text.compare(0, arrived.size(), arrived), 0) << size;
        EXPECT_EQ(line.complete(), arrived == text) << size;
    }
}

TEST_F(helpers_test, numbers_of_any_length) {
    const std::pair<std::string, std::optional<int>> cases[] = {
        {" \n\t-12abc", -12},
        {"+3 4", 3},
        {"", std::nullopt},
        {"x1", std::nullopt},
        {"-", std::nullopt},
        {std::string(254, '0') + "5", 5},
        {std::string(255, '0') + "5", 0},
        {"-0012", -12},
        {std::string(10000, '9'), INT_MAX},
        {"-2147483649", INT_MIN},
        {std::string("4\0"
                     "2",
                     3),
         4},
    };
    for (const auto &[text, value] : cases) {
        write_file("/tmp/number", text);
        EXPECT_EQ(tarrow::read_number("/tmp/number"), value) << text.substr(0, 20);
    }
    EXPECT_EQ(tarrow::read_number("/tmp"), std::nullopt); // a folder opens and cannot be read
    EXPECT_TRUE(tarrow::write_number("/tmp/number", -40));
    EXPECT_EQ(read_file("/tmp/number"), "-40");
    EXPECT_FALSE(tarrow::write_number("/dev/full", 1));
    set_setting("wan", "n", "x");
    EXPECT_EQ(tarrow::read_setting_number("wan", "n", 9), 0);
}

TEST_F(helpers_test, words_stay_in_their_buffers) {
    char buffer[6] = "old";
    for (const std::string &none : {std::string(), std::string(" \n\t "), std::string("\0a", 2)}) {
        write_file("/tmp/w", none);
        EXPECT_TRUE(tarrow::read_word("/tmp/w", buffer, sizeof(buffer)));
        EXPECT_STREQ(buffer, "old");
    }
    EXPECT_FALSE(tarrow::read_word("/tmp/no", buffer, sizeof(buffer)));
    write_file("/tmp/w", "\n abcdefgh ij\nnext");
    EXPECT_TRUE(tarrow::read_word("/tmp/w", buffer, sizeof(buffer)));
    EXPECT_STREQ(buffer, "abcde");
    write_file("/tmp/w", "large ");
    ASSERT_EQ(truncate("/tmp/w", 3LL << 30), 0); // more than 31 bits can say
    EXPECT_TRUE(tarrow::read_word("/tmp/w", buffer, sizeof(buffer)));
    EXPECT_STREQ(buffer, "large");
}

} // namespace
