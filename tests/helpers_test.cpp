// Framework helpers: command lines, small files and numbers.

#include "support/device.h"

#include <climits>

#include "support/command.h"
#include "support/files.h"

namespace {

using helpers_test = device_test;

TEST_F(helpers_test, any_text_reaches_a_command_as_one_word) {
    std::string every_byte;
    for (int c = 1; c < 256; ++c) {
        every_byte += static_cast<char>(c);
    }
    for (const std::string &text : {std::string(), std::string("'"), every_byte}) {
        tarrow::command_line<2048> line;
        line.text("set -- ").word(text.c_str()).text("; printf '%s words: %s' $# \"$@\"");
        EXPECT_EQ(output_of(line.c_str()), "1 words: " + text);
    }
}

TEST_F(helpers_test, a_cut_line_is_well_formed) {
    const std::string text = "a'b';'c' d'"; // 28 characters in quotes
    for (std::size_t size = 1; size <= 30; ++size) {
        SCOPED_TRACE(size);
        std::string buffer(64, '!');
        tarrow::command_builder line(buffer.data(), size);
        line.word(text.c_str());
        const std::string cut = line.c_str();
        const std::string arrived = output_of("printf %s " + cut);
        EXPECT_EQ(text.substr(0, arrived.size()), arrived);
        EXPECT_EQ(line.complete(), arrived == text);
        EXPECT_EQ(line.complete(), size >= 29);
        EXPECT_EQ(buffer.find_first_not_of('!', size), std::string::npos);
        if (!line.complete()) {
            EXPECT_EQ(line.text("x").word("y").c_str(), cut) << "nothing follows a cut";
        }
    }
}

TEST_F(helpers_test, numbers_and_words_of_files) {
    const struct {
        const char *reason;
        std::string content;
        int number;       // 7 is none
        const char *word; // of at most 5 characters; "old" is none
    } cases[] = {
        {"blanks before, and other characters behind", " \n\t-12abc x", -12, "-12ab"},
        {"no number", "x1\v2", 7, "x1"},
        {"a NUL ends the text", std::string("\0a1", 3), 7, "old"},
        {"the 255th character counts", std::string(254, '0') + "5", 5, "00000"},
        {"the 256th does not", std::string(255, ' ') + "5", 7, "old"},
        {"beyond an int", std::string(100, '9'), INT_MAX, "99999"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.reason);
        write_file("/tmp/value", c.content);
        int number = 7;
        char word[6] = "old";
        EXPECT_TRUE(tarrow::scan_number("/tmp/value", number));
        EXPECT_EQ(number, c.number);
        EXPECT_EQ(tarrow::read_number("/tmp/value").value_or(7), c.number);
        EXPECT_TRUE(tarrow::read_word("/tmp/value", word, sizeof(word)));
        EXPECT_STREQ(word, c.word);
    }
}

TEST_F(helpers_test, a_number_is_written_or_not) {
    EXPECT_FALSE(tarrow::read_number("/tmp")) << "a folder can be opened";
    EXPECT_FALSE(tarrow::write_number("/dev/full", 1));
    EXPECT_FALSE(tarrow::write_number("/tmp/none/file", 1));
    EXPECT_TRUE(tarrow::write_number("/tmp/value", INT_MIN));
    EXPECT_EQ(output_of("cat /tmp/value"), "-2147483648");
    EXPECT_TRUE(tarrow::write_number("/tmp/value", 1));
    EXPECT_EQ(output_of("cat /tmp/value"), "1");
}

} // namespace
