#include "transcript.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace testing_device {

bool is_one_of(const std::string &word, const char *words) {
    return std::strstr(words, (" " + word + " ").c_str()) != nullptr;
}

namespace {

void fill_fields(char **fields, const std::string &joined) {
    std::istringstream parts(joined);
    std::string field;
    for (int f = 0; f < TARROW_DLIST_FIELDS && std::getline(parts, field, '#'); ++f) {
        fields[f] = field == "~" ? nullptr : strdup(unescape(field).c_str());
    }
}

std::string fields_text(char *const *fields) {
    std::string text, gap;
    for (int f = 0; f < TARROW_DLIST_FIELDS; ++f) {
        gap += std::string(f > 0 ? "#" : "") + (fields[f] != nullptr ? fields[f] : "~");
        if (fields[f] != nullptr) { text += std::exchange(gap, ""); }
    }
    return text.empty() ? "~" : escape(text);
}

/// The form of a command line: the program, then "_" for each word, quoted or plain, and what is neither. Empty when
/// quotes do not close, or something in them is expanded.
std::string form_of(const std::string &line) {
    std::string form = line.substr(0, line.find(' '));
    for (std::size_t i = 0; i < line.size(); ++i) {
        const bool is_escaped = line.compare(i, 2, "\\'") == 0, is_quoted = line[i] == '\'' || line[i] == '"';
        const bool is_word = is_escaped || is_quoted || std::isalnum(line[i] & 255) != 0 ||
                             std::strchr("_.,:/+@%=-", line[i]) != nullptr;
        if (!is_word || !form.ends_with('_')) { form += is_word ? '_' : line[i]; }
        const std::size_t end = is_quoted ? line.find(line[i], i + 1) : is_escaped ? i + 1 : i;
        if (end == std::string::npos ||
            (line[i] == '"' && line.substr(i, end - i).find_first_of("$`\\") != std::string::npos)) {
            return "";
        }
        i = end;
    }
    return form;
}

/// Whether what the modem is sent is one command: no text in it ends it, or begins another one.
bool is_one_modem_command(const std::string &line) {
    const std::size_t begin = line.find(" -c ");
    if (line.rfind("/usr/app/at_chat", 0) != 0 || begin == std::string::npos) { return true; }
    const std::size_t end = line[begin + 4] == '\'' ? line.rfind('\'') : line.find(' ', begin + 4);
    bool is_quoted = false, is_one = true;
    for (const char c : line.substr(begin, end - begin)) {
        is_quoted = is_quoted != (c == '"');
        is_one = is_one && static_cast<unsigned char>(c) >= ' ' && c != 127 && (is_quoted || c != ';');
    }
    return is_one && !is_quoted;
}

} // namespace

std::string join(const std::string &word, const std::string &text) { return text.empty() ? word : word + " " + text; }

void put_last_in_order(strings &lines) {
    const auto is_event = [](const std::string &line) {
        return !is_one_of(line.substr(0, line.find(' ')), " -> stored left gone stdout stderr ");
    };
    std::sort(std::stable_partition(lines.begin(), lines.end(), is_event), lines.end());
}

std::string escape(const std::string &text) {
    std::string escaped;
    for (const char c : text) {
        const std::size_t known = std::string("\n\r\t\\\0", 5).find(c);
        char code[] = {'\\', "nrt\\0 "[std::min<std::size_t>(known, 5)], 0, 0, 0};
        if (known > 4) { std::snprintf(code, sizeof(code), static_cast<unsigned char>(c) < ' ' ? "\\x%02x" : "%c", c); }
        escaped += code;
    }
    return escaped;
}

std::string unescape(const std::string &raw) {
    std::string text;
    for (std::size_t i = 0; i < raw.size(); ++i) {
        const char c = raw[i] == '\\' && i + 1 < raw.size() ? raw[++i] : '\0';
        const std::size_t known = std::string("nrt0").find(c), star = raw.find('*', i), end = raw.find(')', i);
        if (c == '(' && star < end && end != std::string::npos) { // "\(TEXT*N)"
            const std::string part = unescape(raw.substr(i + 1, star - i - 1));
            for (int left = std::atoi(&raw[star + 1]); left > 0 && text.size() < 1000000; --left) { text += part; }
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

bool is_post(const std::string &word) { return is_one_of(word, " set refused pre-set post-set "); }

std::string take_word(std::string &text) {
    const std::size_t end = std::min(text.find(' '), text.size());
    std::string word = text.substr(0, end);
    text.erase(0, end + 1);
    return word;
}

std::vector<transcript> read_transcripts(std::istream &text, const std::string &path) {
    std::vector<transcript> all;
    fact *last = nullptr, *last_above = nullptr;              // which lines of four blanks, and of two, go on with
    const bool is_page = fs::path(path).extension() == ".md"; // whose transcripts are blocks
    bool is_read = !is_page;
    int number = 0;
    for (std::string line; std::getline(text, line); ++number) {
        const bool is_fence = is_page && line.rfind("```", 0) == 0;
        if (is_fence) { is_read = line == "```transcript"; }
        if (!is_read || is_fence || line.empty() || line.rfind("# ", 0) == 0) { continue; }
        const bool is_title = line.rfind("== ", 0) == 0;
        if (is_title || all.empty()) {
            all.push_back(
                {fs::path(path).stem(), line.substr(is_title ? 3 : 0), path, number + 1, std::vector<step>(1)});
            last = last_above = nullptr;
            if (is_title) { continue; }
        }
        const std::size_t blanks = line.find_first_not_of(' ');
        line.erase(0, blanks);
        if (blanks == 4 && last != nullptr) {
            last->text += line;
            continue;
        }
        std::vector<step> &steps = all.back().steps;
        const std::string word = take_word(line);
        const bool is_given = is_one_of(word, " setting file folder link without clock zone server do ");
        const bool is_request = is_one_of(word, " get set refused getlist call pre-get post-get pre-set post-set ");
        if (blanks == 2 && last_above != nullptr) {
            last_above->below.push_back({word, line, {}});
            last = &last_above->below.back();
            continue;
        }
        if ((is_request || is_given) && !steps.back().request.word.empty()) { steps.emplace_back(); }
        if (is_request) {
            steps.back().number = number + 1;
            last = &(steps.back().request = {word, line, {}});
        } else {
            last = &(is_given ? steps.back().given : steps.back().outcome).emplace_back(fact{word, line, {}});
        }
        last_above = last;
    }
    return all;
}

const std::vector<transcript> &corpus() {
    static const std::vector<transcript> all = [] {
        std::vector<transcript> read;
        for (const char *folder : {TARROW_SOURCE_DIR "/docs/pages", TARROW_SOURCE_DIR "/tests/pages"}) {
            for (const auto &entry : fs::directory_iterator(folder)) {
                std::ifstream text(entry.path());
                if (entry.path().stem() == "README") { continue; }
                for (transcript &one : read_transcripts(text, entry.path())) { read.push_back(std::move(one)); }
            }
        }
        return read;
    }();
    return all;
}

strings expected(const step &step) {
    strings lines;
    for (const fact &line : step.outcome) {
        lines.push_back(join(line.word, escape(unescape(line.text))));
        for (const fact &below : line.below) {
            const bool is_told = line.word == "->" || (line.word == "!" && is_one_of(below.word, " prints exits "));
            if (is_told) { lines.back() += "\n  " + escape(unescape(join(below.word, below.text))); }
        }
    }
    if (step.request.word == "refused") { lines.push_back("refused"); }
    put_last_in_order(lines);
    return lines;
}

bool is_harmless(const std::string &line) {
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
    std::string text = unescape(line);
    if (!is_one_of(take_word(text), " $ ! ")) { return true; }
    const std::string form = form_of(text);
    const auto known = forms.lower_bound(form); // a line that is cut, or lacks a word, has the form of its beginning
    return !form.empty() && known != forms.end() && known->starts_with(form) && is_one_modem_command(text);
}

payload::payload(const step &step) {
    std::string text = step.request.text;
    take_word(text);
    if (step.request.word != "getlist") {
        page = parse(unescape(text));
        record = {TARROW_CB_ARGS_XML, {.dc_subnode = page.get()}, nullptr};
        return;
    }
    table = std::make_unique<dlist_node_t>();
    record = {TARROW_CB_ARGS_DLIST, {.dc_dlist = table.get()}, nullptr};
    fill_fields(table->dn_meta, take_word(text));
    for (int i = 0; i < TARROW_DLIST_RECORDS && !text.empty(); ++i) {
        fill_fields(table->dn_dlist[i], take_word(text));
    }
}

payload::~payload() {
    dl_free_dlist(table.get());
    std::free(record.dc_opaque);
}

std::string payload::text() const {
    if (!table) {
        std::string xml = serialise(page.get());
        for (std::size_t at = 0; (at = xml.find(" />", at)) != std::string::npos;) { xml.erase(at, 1); }
        return "-> " + escape(xml);
    }
    std::string all = "-> " + fields_text(table->dn_meta), gap;
    for (const auto &fields : table->dn_dlist) {
        gap += "\n  " + fields_text(fields);
        if (gap.compare(gap.size() - 2, 2, " ~") != 0) { all += std::exchange(gap, ""); }
    }
    return all;
}

} // namespace testing_device
