// Hostile pages: every posted text of every module, with texts that a shell, a parser or a buffer could
// stumble over. Command lines are looked at instead of being run.

#include "support/device.h"

#include <cstring>
#include <sstream>

#include "../src/support/owned.h"

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

/// A line of hostile.txt.
struct row {
    std::string module, kind, page;
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
        const tree page = parse("<m>" + row.page + "</m>");
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
            tarrow_call_module_pre_set_handler(row.module.c_str(), TARROW_ACTION_SET, &args);
        }
        tarrow_call_module_post_set_handler(row.module.c_str(), TARROW_ACTION_SET, &args);
        recorded = nullptr;
        return lines;
    }
};

TEST_F(hostile_test, no_posted_text_is_anything_but_a_word) {
    std::size_t looked_at = 0;
    std::istringstream rows(read_file(TARROW_SOURCE_DIR "/tests/hostile.txt"));
    for (row row; std::getline(rows >> row.module >> row.kind >> std::ws, row.page);) {
        if (row.module == "#") { continue; }
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
        EXPECT_EQ(taken > 0, row.kind == "free") << row.module << row.page;
    }
    EXPECT_GT(looked_at, 500U);
    EXPECT_EQ(calls(), strings{});
    output_of("find /mnt/external_sdcard -mindepth 1 -delete");
}

} // namespace
