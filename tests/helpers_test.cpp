// Framework helpers: command lines, small files and numbers.

#include "support/device.h"

#include <climits>
#include <unistd.h>

#include "../src/modules/wlan_settings/wlan_settings_applet.h"
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
    tarrow::command_line<64> line;
    EXPECT_EQ(line.word(plain.c_str()).text(" ").number(INT_MIN).c_str(), plain + " -2147483648");
    EXPECT_TRUE(line.complete());
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
    const struct {
        std::string text;
        int value; // 7: none
        const char *word;
    } cases[] = {
        {" \n\t-12abc", -12, "-12ab"},
        {"+3 4", 3, "+3"},
        {"", 7, "old"},
        {"x1\v2", 7, "x1"},
        {"- 1", 7, "-"},
        {std::string(254, '0') + "5", 5, "00000"},
        {std::string(255, ' ') + "5", 7, "old"},
        {std::string(1000, '9'), INT_MAX, "99999"},
        {"-2147483649", INT_MIN, "-2147"},
        {std::string("4\0002", 3), 4, "4"},
        {std::string("\0a", 2), 7, "old"},
    };
    for (const auto &c : cases) {
        write_file("/tmp/value", c.text);
        int value = 7;
        char word[6] = "old";
        EXPECT_TRUE(tarrow::scan_number("/tmp/value", value) && tarrow::read_word("/tmp/value", word, sizeof(word)));
        EXPECT_EQ(value, c.value) << c.text;
        EXPECT_EQ(tarrow::read_number("/tmp/value").value_or(7), c.value) << c.text;
        EXPECT_STREQ(word, c.word) << c.text;
    }
    int value = 7;
    char word[6] = "old";
    EXPECT_FALSE(tarrow::scan_number("/tmp/none", value) || tarrow::read_word("/tmp/none", word, sizeof(word)));
    EXPECT_EQ(tarrow::read_number("/tmp").value_or(7), 7); // a folder opens and cannot be read
    EXPECT_TRUE(tarrow::write_number("/tmp/value", -40));
    EXPECT_EQ(read_file("/tmp/value"), "-40");
    EXPECT_FALSE(tarrow::write_number("/dev/full", 1));
    write_file("/tmp/value", "8 ");
    ASSERT_EQ(truncate("/tmp/value", 3LL << 30), 0); // more than 31 bits can say
    EXPECT_EQ(tarrow::read_number("/tmp/value"), 8);
    set_setting("wan", "n", "x");
    EXPECT_EQ(tarrow::read_setting_number("wan", "n", 9), 0);
}

TEST_F(helpers_test, a_setting_is_compared_in_any_letter_case) {
    set_setting("wan", "proto", "Static");
    for (int i = 0; i < 300; ++i) { ASSERT_EQ(cfgdb_match__("wan", nullptr, "proto", "STATIC"), 1); }
    EXPECT_EQ(cfgdb_match__("wan", nullptr, "proto", "stati"), 0);
    EXPECT_EQ(cfgdb_match__("wan", nullptr, "absent", ""), 0);
    EXPECT_EQ(cfgdb_match__(nullptr, nullptr, "proto", "static"), 0);
    EXPECT_EQ(cfgdb_match__("wan", nullptr, nullptr, "static"), 0);
    EXPECT_EQ(cfgdb_match__("wan", nullptr, "proto", nullptr), 0);
    output_of("mv /userfs/cfgdb /userfs/away");
    EXPECT_EQ(cfgdb_match__("wan", nullptr, "proto", "static"), 0); // cannot be opened
    output_of("mv /userfs/away /userfs/cfgdb");
    EXPECT_EQ(cfgdb_match__("wan", nullptr, "proto", "static"), 1);
}

TEST_F(helpers_test, a_channel_that_does_not_fit_its_notice) {
    set_setting("wlan_settings", "channel", "0");
    substitute("/usr/bin/wapctl", "#!/bin/sh\nprintf 'a\\nb\\n'\n"); // names none
    std::string channel(60, '\'');
    EXPECT_EQ(find_channel(channel.data()), -1);
    EXPECT_EQ(log(), strings{"<43>find_channel: system command is failed \n"});
    EXPECT_FALSE(exists("/tmp/channel.txt"));
}

} // namespace
