#include "transcript.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

namespace fs = std::filesystem;

namespace testing_device {

namespace {

/// The form of a command line: the program, then "_" for each word, quoted or plain, one blank between them, and what
/// is neither. Empty when quotes do not close, or something in them is expanded.
std::string form_of(const std::string &line) {
    std::string form = line.substr(0, line.find(' '));
    for (std::size_t i = 0; i < line.size(); ++i) {
        const bool is_escaped = line.compare(i, 2, "\\'") == 0, is_quoted = line[i] == '\'' || line[i] == '"';
        const bool is_word = is_escaped || is_quoted || std::isalnum(line[i] & 255) != 0 ||
                             std::strchr("_.,:/+@%=-", line[i]) != nullptr;
        const bool goes_on = is_word ? form.ends_with('_') : line[i] == ' ' && form.ends_with(' ');
        if (!goes_on) { form += is_word ? '_' : line[i]; }
        const std::size_t end = is_quoted ? line.find(line[i], i + 1) : is_escaped ? i + 1 : i;
        if (end == std::string::npos ||
            (line[i] == '"' && line.substr(i, end - i).find_first_of("$`\\") != std::string::npos)) {
            return "";
        }
        i = end;
    }
    return form;
}

/// Whether a line sends the modem one command: no text in it ends it, or begins another one, but between quotes.
bool is_one_modem_command(std::string line) {
    for (std::size_t begin = 0; (begin = line.find('"')) != std::string::npos;) {
        const std::size_t end = line.find('"', begin + 1);
        if (end == std::string::npos) { return false; }
        line.erase(begin, end + 1 - begin);
    }
    const auto ends_it = [](unsigned char c) { return c == ';' || std::iscntrl(c) != 0; };
    return std::none_of(line.begin(), line.end(), ends_it);
}

} // namespace

bool is_one_of(const std::string &word, const char *words) {
    return std::strstr(words, (" " + word + " ").c_str()) != nullptr;
}

std::string join(const std::string &word, const std::string &text) { return text.empty() ? word : word + " " + text; }

std::string unescape(const std::string &raw) {
    std::string text;
    for (std::size_t i = 0; i < raw.size(); ++i) {
        const char c = raw[i] == '\\' && i + 1 < raw.size() ? raw[++i] : '\0';
        const std::size_t known = std::string("nrt0").find(c), star = raw.find('*', i), end = raw.find(')', i);
        if (c == '(' && star < end && end != std::string::npos) { // "\(TEXT*N)"
            const std::string part = unescape(raw.substr(i + 1, star - i - 1));
            for (int left = std::atoi(&raw[star + 1]); left > 0; --left) { text += part; }
            i = end;
        } else if (c == 'x') {
            text += static_cast<char>(std::strtol(raw.substr(i + 1, 2).c_str(), nullptr, 16));
            i += 2;
        } else {
            text += known != std::string::npos ? "\n\r\t"[known] : raw[i];
        }
    }
    return text;
}

std::string take_word(std::string &text) {
    const std::size_t end = std::min(text.find(' '), text.size());
    std::string word = text.substr(0, end);
    text.erase(0, end + 1);
    return word;
}

namespace {

transcript read_transcript(const std::string &module, const std::string &lines) {
    transcript all = {module, "", std::vector<step>(1)};
    fact *last = nullptr, *last_above = nullptr; // which lines of four blanks, and of two, go on with
    std::istringstream text(lines);
    for (std::string line; std::getline(text, line);) {
        const std::size_t blanks = line.find_first_not_of(' ');
        if (blanks == std::string::npos) { continue; }
        if (line.starts_with("== ")) {
            all.title = line.substr(3);
            continue;
        }
        line.erase(0, blanks);
        if (blanks == 4) {
            last->text += line;
            continue;
        }
        const std::string word = take_word(line);
        const bool is_given = is_one_of(word, " setting file folder link without clock zone server do ");
        const bool is_request = is_one_of(word, " get set refused getlist call pre-get post-get pre-set post-set ");
        if ((is_request || is_given) && !all.steps.back().request.word.empty()) { all.steps.emplace_back(); }
        step &now = all.steps.back();
        if (is_request) {
            last = last_above = &(now.request = {word, line, {}});
        } else if (blanks == 2) {
            last = &last_above->below.emplace_back(fact{word, line, {}});
        } else {
            last = last_above = &(is_given ? now.given : now.outcome).emplace_back(fact{word, line, {}});
        }
    }
    return all;
}

/// Reads a file's transcripts; those of a page of the documentation are its blocks of that name.
void read_file(const fs::path &path, std::vector<transcript> &all) {
    std::ifstream text(path);
    bool is_read = path.extension() == ".txt";
    std::string lines;
    const auto add = [&] {
        if (lines.starts_with("== ")) { all.push_back(read_transcript(path.stem(), lines)); }
        lines.clear();
    };
    for (std::string line; std::getline(text, line);) {
        if (line.starts_with("```")) { is_read = line == "```transcript"; }
        if (is_read && line.starts_with("== ")) { add(); }
        if (is_read && !line.starts_with("```") && !line.starts_with("# ")) { lines += line + "\n"; }
    }
    add();
}

} // namespace

const std::vector<transcript> &corpus() {
    static const std::vector<transcript> all = [] {
        std::vector<transcript> read;
        for (const char *folder : {TARROW_SOURCE_DIR "/docs/pages", TARROW_SOURCE_DIR "/tests/pages"}) {
            for (const auto &entry : fs::directory_iterator(folder)) { read_file(entry.path(), read); }
        }
        return read;
    }();
    return all;
}

strings expected(const step &step) {
    strings lines;
    for (const fact &line : step.outcome) {
        lines.push_back(join(line.word, unescape(line.text)));
        for (const fact &record : line.below) { // of a table
            if (line.word == "->") { lines.back() += " " + unescape(record.word); }
        }
    }
    return lines;
}

bool is_harmless(const std::string &event) {
    static const std::set<std::string> forms = [] {
        std::set<std::string> read;
        for (const transcript &told : corpus()) {
            for (const step &step : told.steps) {
                for (const fact &fact : step.outcome) {
                    if (is_one_of(fact.word, " $ ! ")) { read.insert(form_of(unescape(fact.text))); }
                }
            }
        }
        return read;
    }();
    std::string text = event;
    if (take_word(text) != "$") { return true; }
    const std::string form = form_of(text);
    const auto known = forms.lower_bound(form); // a line that is cut, or lacks a word, has the form of its beginning
    return !form.empty() && known != forms.end() && known->starts_with(form) &&
           (!text.starts_with("/usr/app/at_chat") || is_one_modem_command(text));
}

std::vector<mxml_node_t *> leaves_of(mxml_node_t *page) {
    std::vector<mxml_node_t *> leaves;
    for (mxml_node_t *node = page; node != nullptr; node = mxmlWalkNext(node, page, MXML_DESCEND)) {
        mxml_node_t *child = mxmlGetFirstChild(node);
        const bool is_text = mxmlGetOpaque(child) != nullptr && mxmlGetNextSibling(child) == nullptr;
        if (mxmlGetType(node) == MXML_ELEMENT && (child == nullptr || is_text)) { leaves.push_back(node); }
    }
    return leaves;
}

} // namespace testing_device
