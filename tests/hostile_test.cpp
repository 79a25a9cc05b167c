// Hostile pages: every posted text of every module, with texts that a shell, a parser or a buffer could
// stumble over. Command lines are looked at instead of being run.

#include "support/device.h"

#include <cstring>

#include "../src/owned.h"

namespace {

using namespace testing_device;

strings *recorded = nullptr; // takes command lines while it is set

} // namespace

extern "C" {
int __real_system(const char *line);
int __real_nanosleep(const timespec *time, timespec *left);
FILE *__real_popen(const char *line, const char *mode);

int __wrap_system(const char *line) {
    if (recorded == nullptr || line == nullptr) { return __real_system(line); }
    recorded->push_back(line);
    return 0;
}

int __wrap_nanosleep(const timespec *time, timespec *left) {
    return recorded == nullptr ? __real_nanosleep(time, left) : 0;
}

FILE *__wrap_popen(const char *line, const char *mode) {
    if (recorded == nullptr) { return __real_popen(line, mode); }
    recorded->push_back(line);
    return __real_popen(":", mode);
}
}

namespace {

/// The words of a line as a shell takes it apart; an operator is a word of its own that begins with a NUL.
/// Anything that a shell would expand, or quotes that do not close, give a word "BAD".
strings shell_words(const std::string &line) {
    strings words;
    bool is_open = false; // in a word
    const auto add = [&](char c) {
        if (!is_open) { words.emplace_back(); }
        is_open = true;
        words.back() += c;
    };
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (c == '\'' || c == '"') {
            const std::size_t end = line.find(c, i + 1);
            const std::string text = line.substr(i + 1, end - i - 1);
            if (end == std::string::npos || (c == '"' && text.find_first_of("$`\\") != std::string::npos)) {
                return {"BAD"};
            }
            if (!is_open) { words.emplace_back(); }
            is_open = true;
            words.back() += text;
            i = end;
        } else if (c == '\\' && i + 1 < line.size()) {
            add(line[++i]);
        } else if (c == ' ') {
            is_open = false;
        } else if (std::strchr("|&;<>()\n\t", c) != nullptr) {
            words.push_back(std::string(1, '\0') + c);
            is_open = false;
        } else if (std::strchr(is_open ? "$`*?[!{}" : "$`*?[!{}#~", c) != nullptr &&
                   line.compare(i, 17, "$LD_LIBRARY_PATH ") != 0 && line.compare(i, 8, "*PINCNT ") != 0) {
            return {"BAD"};
        } else {
            add(c);
        }
    }
    return words;
}

/// Whether a line does with a hostile text what another does with the harmless "1234": the same words, with
/// the one text in the place of the other, or as much of it as a limit left.
bool is_like(const strings &words, const strings &harmless, const std::string &text) {
    for (std::size_t i = 0; i < words.size() && i < harmless.size(); ++i) {
        std::string expected = harmless[i];
        for (std::size_t at = 0; (at = expected.find("1234", at)) != std::string::npos; at += text.size()) {
            expected.replace(at, 4, text);
        }
        if (words[i] != expected) {
            return text.size() > 100 && i + 1 == words.size() && expected.compare(0, words[i].size(), words[i]) == 0;
        }
    }
    return words.size() == harmless.size();
}

/// A page of a module, posted with each text in the place of "@".
struct row {
    const char *module;
    const char *page;
    bool is_free; // takes texts of any characters
};
const row rows[] = {
    {"pin_puk", "<command>1</command><pin>@</pin>", false},
    {"pin_puk", "<command>2</command><pin>@</pin>", false},
    {"pin_puk", "<command>3</command><pin>@</pin><new_pin>1</new_pin>", false},
    {"pin_puk", "<command>3</command><pin>1</pin><new_pin>@</new_pin>", false},
    {"pin_puk", "<command>4</command><puk>@</puk><new_pin>1</new_pin>", false},
    {"pin_puk", "<command>4</command><puk>1</puk><new_pin>@</new_pin>", false},
    {"pin_puk", "<command>5</command><pin>@</pin>", false},
    {"pin_puk", "<command>6</command><mep_unlock_ck>@</mep_unlock_ck>", false},
    {"pin_puk", "<command>@</command><pin>1</pin>", false},
    {"sms", "<save>@</save>", true},
    {"sms", "<send>@</send>", true},
    {"sms", "<del><sim>@</sim></del>", true},
    {"sms", "<del><dev>@</dev></del>", true},
    {"sms", "<list><dev><item><index>@</index><stat>1</stat><pdu>2</pdu></item></dev></list>", true},
    {"sms", "<list><dev><item><index>1</index><stat>@</stat><pdu>2</pdu></item></dev></list>", true},
    {"sms", "<list><dev><item><index>1</index><stat>1</stat><pdu>@</pdu></item></dev></list>", true},
    {"contacts", "<deleted>1</deleted><sim_contacts_list><Item><record>@</record></Item></sim_contacts_list>", true},
    {"contacts", "<deleted>@</deleted><sim_contacts_list><Item><record>1</record></Item></sim_contacts_list>", false},
    {"contacts",
     "<deleted>0</deleted><sim_contacts_list><Item><record>@</record><number>1</number><type>1</type>"
     "<text>t</text></Item></sim_contacts_list>",
     true},
    {"contacts",
     "<deleted>0</deleted><sim_contacts_list><Item><record>1</record><number>@</number><type>1</type>"
     "<text>t</text></Item></sim_contacts_list>",
     true},
    {"contacts",
     "<deleted>0</deleted><sim_contacts_list><Item><record>1</record><number>1</number><type>@</type>"
     "<text>t</text></Item></sim_contacts_list>",
     true},
    {"contacts",
     "<deleted>0</deleted><sim_contacts_list><Item><record>1</record><number>1</number><type>1</type>"
     "<text>@</text></Item></sim_contacts_list>",
     true},
    {"diagnostic", "<command>@</command><arg>a</arg>", false},
    {"diagnostic", "<command>ping</command><arg>@</arg>", false},
    {"http_share", "<http_share_action>@</http_share_action><path_SD_CARD>/mmc2</path_SD_CARD>", false},
    {"http_share", "<http_share_action>2</http_share_action><mode_set>@</mode_set>", false},
    {"http_share", "<http_share_action>3</http_share_action><path_SD_CARD>@</path_SD_CARD>", false},
    {"http_share",
     "<http_share_action>4</http_share_action><HTTP_SHARE_STATUS>@</HTTP_SHARE_STATUS>"
     "<HTTP_SHARE_WR_AUTH>@</HTTP_SHARE_WR_AUTH><HTTP_SHARE_FILE>@</HTTP_SHARE_FILE>",
     false},
    {"http_share",
     "<http_share_action>6</http_share_action><path_SD_CARD>@</path_SD_CARD><OLD_NAME_SD_CARD>/mmc2/@"
     "</OLD_NAME_SD_CARD><NEW_NAME_SD_CARD>/mmc2/b</NEW_NAME_SD_CARD><path_SD_CARD_time>1"
     "</path_SD_CARD_time>",
     true},
    {"http_share",
     "<http_share_action>6</http_share_action><path_SD_CARD>@</path_SD_CARD><OLD_NAME_SD_CARD>/mmc2/a"
     "</OLD_NAME_SD_CARD><NEW_NAME_SD_CARD>/mmc2/@</NEW_NAME_SD_CARD><path_SD_CARD_time>@"
     "</path_SD_CARD_time>",
     true},
    {"http_share",
     "<http_share_action>8</http_share_action><path_SD_CARD>/mmc2/@</path_SD_CARD><name_SD_CARD>@*"
     "</name_SD_CARD>",
     false},
    {"http_share",
     "<http_share_action>9</http_share_action><path_SD_CARD>/mmc2/@</path_SD_CARD><path_SD_CARD_time>@"
     "</path_SD_CARD_time>",
     true},
    {"wlan_wps_client", "<wps_result>@</wps_result>", false},
    {"wan", "@", true}, // the path of the request's temporary file is the daemon's
};

const std::string texts[] = {"",
                             " ",
                             "0",
                             "-1",
                             "99999999999999999999",
                             "a b",
                             "$(id)",
                             "`id`",
                             "$PATH",
                             "${IFS}",
                             ";id;",
                             "|id",
                             "&id&",
                             "\nid\n",
                             ">/data/x",
                             "</etc/passwd",
                             "'",
                             "''",
                             "\"",
                             "'\"'",
                             "\\",
                             "\\'",
                             "a\\",
                             "*",
                             "?",
                             "[a-z]",
                             "~",
                             "{a,b}",
                             "(id)",
                             "#",
                             "!!",
                             "-rf",
                             "--",
                             "%s%n%1000d",
                             "\x80\xff\xfe",
                             "\x01\x02\x7f\x1b[2J",
                             "\t",
                             "\r\n",
                             "/",
                             "..",
                             "../../etc/passwd",
                             std::string(55, '\''),
                             std::string(300, '\''),
                             std::string(5000, 'a'),
                             std::string(5000, '$'),
                             std::string(70000, '"')};

class hostile_test : public device_test {
protected:
    static strings post(const row &row, const std::string &text) {
        const tree page = parse("<m>" + std::string(row.page) + "</m>");
        for (mxml_node_t *node = page.get(); node != nullptr; node = mxmlWalkNext(node, page.get(), MXML_DESCEND)) {
            std::string value =
                mxmlGetOpaque(node) != nullptr && mxmlGetType(node) == MXML_OPAQUE ? mxmlGetOpaque(node) : "";
            if (const std::size_t at = value.find('@'); at != std::string::npos) {
                mxmlSetOpaque(node, value.replace(at, 1, text).c_str());
            }
        }
        strings lines;
        dc_args_t args = {TARROW_CB_ARGS_XML, {.dc_subnode = page.get()}, nullptr};
        recorded = &lines;
        if (row.page[0] == '@') {
            args.dc_opaque = strdup(text.c_str());
        } else {
            tarrow_call_module_pre_set_handler(row.module, TARROW_ACTION_SET, &args);
        }
        tarrow_call_module_post_set_handler(row.module, TARROW_ACTION_SET, &args);
        recorded = nullptr;
        return lines;
    }
};

TEST_F(hostile_test, no_posted_text_is_anything_but_a_word) {
    std::size_t looked_at = 0;
    for (const row &row : rows) {
        write_file("/tmp/telephony/pin_status", "6"); // waits for a control key
        write_file("/tmp/telephony/mep_category", "0");
        strings harmless_lines = post(row, "1234");
        std::vector<strings> harmless;
        for (const std::string &line : harmless_lines) { harmless.push_back(shell_words(line)); }
        std::size_t taken = 0;
        for (const std::string &text : texts) {
            const strings lines = post(row, text);
            log(); // which would block when nobody reads it
            for (const std::string &line : lines) {
                const strings words = shell_words(line);
                bool is_known = false;
                for (const strings &other : harmless) { is_known = is_known || is_like(words, other, text); }
                EXPECT_TRUE(is_known || text.empty()) << row.module << row.page << ": " << line.substr(0, 300);
                taken += line.find('\'') != std::string::npos ? 1U : 0U;
                ++looked_at;
            }
        }
        EXPECT_EQ(taken > 0, row.is_free) << row.module << row.page;
    }
    EXPECT_GT(looked_at, 500U);
    EXPECT_EQ(calls(), strings{});
    output_of("find /mnt/external_sdcard -mindepth 1 -delete");
}

} // namespace
