// Framework helpers: command lines, small files and numbers.

#include "support/device.h"

#include <climits>

#include "../src/command.h"
#include "../src/files.h"
#include "../src/settings.h"

namespace {

using namespace testing_device;
using helpers_test = device_test;

TEST_F(helpers_test, any_text_reaches_a_command_as_the_one_word_it_is) {
    std::string every_byte;
    for (int c = 1; c < 256; ++c) {
        every_byte += static_cast<char>(c);
    }
    const strings texts = {"",
                           "plain",
                           "-rf",
                           "a b",
                           "it's",
                           "'",
                           "''",
                           "$(touch /tmp/x)",
                           "`touch /tmp/x`",
                           "; touch /tmp/x",
                           "\"",
                           "\\",
                           "*",
                           "~",
                           "\n",
                           "#",
                           "\xff\xfe",
                           "%s%n",
                           every_byte};
    for (const std::string &text : texts) {
        tarrow::command_line<2048> line;
        line.text("printf %s ").word(text.c_str());
        ASSERT_TRUE(line.complete());
        EXPECT_EQ(output_of(line.c_str()), text);
        tarrow::command_line<2048> counting;
        counting.text("set -- ").word(text.c_str()).text("; echo $#");
        EXPECT_EQ(output_of(counting.c_str()), "1\n");
    }
    EXPECT_FALSE(exists("/tmp/x"));
    const std::string plain = "AZaz09_.,:/+@%=-";
    tarrow::command_line<64> line;
    EXPECT_STREQ(line.word(plain.c_str()).text(" ").number(INT_MIN).c_str(),
                 (plain + " -2147483648").c_str());
}

TEST_F(helpers_test, a_cut_word_keeps_its_closing_quote) {
    const std::string text = "a'b';'c' 'd";
    for (std::size_t size = 1; size < 48; ++size) {
        std::string buffer(64, '!');
        tarrow::command_builder line(buffer.data(), size);
        line.word(text.c_str());
        const std::string made = line.c_str();
        ASSERT_LT(made.size(), size);
        EXPECT_EQ(buffer.find_first_not_of('!', size), std::string::npos);
        const std::string arrived = output_of("printf %s " + made);
        EXPECT_EQ(text.compare(0, arrived.size(), arrived), 0) << size;
        EXPECT_EQ(line.complete(), arrived == text) << size;
    }
}

TEST_F(helpers_test, numbers) {
    const struct {
        std::string text;
        std::optional<int> value;
    } cases[] = {
        {"7", 7},
        {" \n\t-12abc", -12},
        {"+3 4", 3},
        {"", std::nullopt},
        {"x1", std::nullopt},
        {"-", std::nullopt},
        {std::string(100, '0') + "5", 5},
        {std::string(10000, '9'), INT_MAX},
        {"-99999999999999999999", INT_MIN},
        {"2147483648", INT_MAX},
        {std::string("4\0"
                     "2",
                     3),
         4},
    };
    for (const auto &c : cases) {
        write_file("/tmp/number", c.text);
        EXPECT_EQ(tarrow::read_number("/tmp/number"), c.value) << c.text.substr(0, 20);
    }
    EXPECT_EQ(tarrow::read_number("/tmp/none"), std::nullopt);
    EXPECT_EQ(tarrow::read_number("/tmp"), std::nullopt); // a folder opens and cannot be read
    EXPECT_TRUE(tarrow::write_number("/tmp/number", -40));
    EXPECT_EQ(read_file("/tmp/number"), "-40");
    EXPECT_FALSE(tarrow::write_number("/dev/full", 1));
    EXPECT_FALSE(tarrow::write_number("/tmp/none/number", 1));
    set_setting("wan", "n", "12x");
    set_setting("wan", "text", "x");
    EXPECT_EQ(tarrow::read_setting_number("wan", "n", 9), 12);
    EXPECT_EQ(tarrow::read_setting_number("wan", "text", 9), 0);
    EXPECT_EQ(tarrow::read_setting_number("wan", "absent", 9), 9);
}

TEST_F(helpers_test, words_lines_and_texts_stay_in_their_buffers) {
    char buffer[6] = "old";
    for (const char *empty : {"", " \n\t "}) {
        write_file("/tmp/w", empty);
        EXPECT_FALSE(tarrow::read_word("/tmp/w", buffer, sizeof(buffer)));
        EXPECT_STREQ(buffer, "old");
    }
    write_file("/tmp/w", "\n abcdefgh ij\nnext");
    EXPECT_TRUE(tarrow::read_word("/tmp/w", buffer, sizeof(buffer)));
    EXPECT_STREQ(buffer, "abcde");
    EXPECT_EQ(tarrow::read_text("/tmp/w", buffer, sizeof(buffer)), 5U);
    EXPECT_STREQ(buffer, "\n abc");
    EXPECT_EQ(tarrow::read_text("/tmp/none", buffer, sizeof(buffer)), std::nullopt);
}

} // namespace
