#include "transcript.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <thread>
#include <unistd.h>

#include "../../device/cfgdb/backend.h"
#include "../../src/modules/http_share/http_share_applet.h"
#include "../../src/modules/statistics/stat_api.h"
#include "../../src/modules/wlan_settings/wlan_settings_applet.h"

namespace fs = std::filesystem;
using namespace testing_device;

namespace {

constexpr char server_pipe[] = "/tmp/stat_server_fifo";
stage *playing = nullptr;
std::map<FILE *, int> readers; // of commands that did not run, with their status

/// While it lives no memory is refused: it is the runner that asks for it.
struct own_memory {
    const bool was_armed = std::exchange(fault.is_armed, false);
    own_memory() = default;
    own_memory(const own_memory &) = delete;
    own_memory &operator=(const own_memory &) = delete;
    ~own_memory() { fault.is_armed = was_armed; }
};

} // namespace

extern "C" {
int __real_system(const char *line);
FILE *__real_popen(const char *line, const char *mode);
int __real_pclose(FILE *stream);
int __real_nanosleep(const timespec *time, timespec *left);

int __wrap_system(const char *line) {
    if (recorded != nullptr) {
        const own_memory all;
        recorded->push_back(line);
        return 0;
    }
    return playing != nullptr ? playing->command(line, nullptr) : __real_system(line);
}

FILE *__wrap_popen(const char *line, const char *mode) {
    if (recorded != nullptr) {
        const own_memory all;
        recorded->push_back(line);
    }
    if (playing == nullptr) { return __real_popen(recorded != nullptr ? ":" : line, mode); }
    std::string output;
    const int status = playing->command(line, &output);
    const int file = status < 0 ? -1 : memfd_create("output", MFD_CLOEXEC);
    FILE *stream = file < 0 ? nullptr : fdopen(file, "r");
    if (stream == nullptr) { return close(file), nullptr; }
    const own_memory all;
    readers[stream] = status;
    return pwrite(file, output.data(), output.size(), 0), stream;
}

int __wrap_pclose(FILE *stream) {
    const own_memory all;
    const auto reader = readers.extract(stream);
    return reader.empty() ? __real_pclose(stream) : (std::fclose(stream), reader.mapped());
}

int __wrap_nanosleep(const timespec *time, timespec *left) {
    if (recorded != nullptr) { return 0; }
    if (playing == nullptr) { return __real_nanosleep(time, left); }
    return playing->wait(static_cast<int>(time->tv_sec * 1000 + time->tv_nsec / 1000000)), 0;
}
}

namespace testing_device {

strings *recorded = nullptr;

namespace {

bool is_one_of(const std::string &word, const char *words) {
    return std::strstr(words, (" " + word + " ").c_str()) != nullptr;
}
std::string join(const std::string &word, const std::string &text) { return text.empty() ? word : word + " " + text; }

/// Names that are made at random are all the same in a transcript.
std::string without_random(std::string text) {
    constexpr char start[] = "/tmp/tarrow.";
    for (std::size_t at = 0; (at = text.find(start, at)) != std::string::npos;) {
        text.replace(at += std::strlen(start), 6, "XXXXXX");
    }
    return text;
}

/// All files that a request may change, folders with a "/" behind their names, and all settings.
contents all_state() {
    contents state = {{mass_storage, read_file(mass_storage)}};
    for (const char *root : state_folders) {
        for (const auto &entry : fs::recursive_directory_iterator(root)) {
            const std::string path = entry.path();
            if (path.rfind(cfgdb_default_backend, 0) == 0 || path == server_pipe) { continue; }
            if (entry.is_symlink()) {
                state[path] = "-> " + fs::read_symlink(path).string();
            } else if (entry.is_directory()) {
                state[path + "/"];
            } else {
                state[without_random(path)] = entry.is_fifo() ? "a pipe" : read_file(path);
            }
        }
    }
    const auto add = [](const char *module, const char *key, const char *value, void *all) {
        (*static_cast<contents *>(all))[module + std::string(" ") + key] = value;
    };
    cfgdb_visit(cfgdb_default_backend, nullptr, add, &state);
    return state;
}

/// The phases of a request, in the order of their use.
struct phase {
    const char *name;
    tarrow_handler_t *applet_info::*handler;
    int (*run)(const applet_info *row, int flags, dc_args_t *record);
};
const phase phases[] = {
    {"pre-get", &applet_info::di_handler_pre_get_func, __tarrow_call_module_pre_get_handler},
    {"post-get", &applet_info::di_handler_post_get_func, __tarrow_call_module_post_get_handler},
    {"pre-set", &applet_info::di_handler_pre_set_func, __tarrow_call_module_pre_set_handler},
    {"post-set", &applet_info::di_handler_post_set_func, __tarrow_call_module_post_set_handler},
};

// The dispatch does not pass on what a handler answers.
tarrow_handler_t *handler = nullptr;
int handler_result = 0;
int watched_handler(int flags, dc_args_t *record) { return handler_result = handler(flags, record); }

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

/// Whether no text in a modem's command line ends it.
bool is_one_modem_command(const std::string &line) {
    bool is_quoted = false, is_one = true;
    for (const char c : line) {
        is_quoted = is_quoted != (c == '"');
        is_one = is_one && static_cast<unsigned char>(c) >= ' ' && c != 127 && (is_quoted || c != ';');
    }
    return is_one && !is_quoted;
}

/// The form of a command line: its first word, "_" for any other, and operators. Empty when a shell would expand
/// anything, quotes do not close, or text goes beyond the one command that a modem is sent.
std::string form_of(const std::string &line) {
    std::string form, word, last;
    bool is_open = false; // a word
    for (std::size_t i = 0; i <= line.size(); ++i) {
        const char c = i < line.size() ? line[i] : ' ';
        if (std::strchr(" |&;<>()\n\t", c) != nullptr) {
            const bool is_modem_command = is_open && last == "-c" && form.starts_with("/usr/app/at_chat");
            if (is_modem_command && !is_one_modem_command(word)) { return ""; }
            if (is_open) { form += form.empty() ? word : " _"; }
            form += c != ' ' ? std::string(1, c) : "";
            last = std::exchange(word, "");
            is_open = false;
            continue;
        }
        const bool is_quote = c == '\'' || c == '"';
        const std::size_t end = is_quote ? line.find(c, i + 1) : i + 1;
        std::string text = is_quote ? line.substr(i + 1, end - i - 1) : std::string(1, c);
        const char *expanded = c == '\'' ? "" : c == '"' ? "$`\\" : is_open ? "$`*?[!{}" : "$`*?[!{}#~";
        const bool is_own = line.compare(i, 17, "$LD_LIBRARY_PATH ") == 0 || line.compare(i, 8, "*PINCNT ") == 0;
        if (c == '\\') {
            text = line.substr(++i, 1);
        } else if (end == std::string::npos || (text.find_first_of(expanded) != std::string::npos && !is_own)) {
            return "";
        }
        i = is_quote ? end : i;
        word += text;
        is_open = true;
    }
    return form;
}

/// What a request to the statistics server asks.
std::string asked(const io_meta_data_t &meta, const accu_get_input_t &input) {
    constexpr const char *operations[] = {"reset", "accu_get", "speed_get"};
    constexpr const char *fields[] = {"sec",  "min",  "hour",  "mday",   "mon", "year",
                                      "wday", "yday", "isdst", "gmtoff", "zone"};
    std::string text =
        operations[meta.op % 3] + std::string(" ") + std::string(input.interface, strnlen(input.interface, 16));
    for (int i = 0; meta.op == OP_ACCU_GET && i < 23; ++i) {
        const std::string date = i < 12 ? "start." : "end.";
        const int value = (&input.accu_type)[i];
        if (value != 0) {
            text += " " + (i == 0 ? "accu_type" : date + fields[(i - 1) % 11]) + "=" + std::to_string(value);
        }
    }
    return text;
}

} // namespace

void put_last_in_order(strings &lines) {
    const auto is_event = [](const std::string &line) {
        return !is_one_of(line.substr(0, line.find(' ')), " -> stored left gone ");
    };
    std::sort(std::stable_partition(lines.begin(), lines.end(), is_event), lines.end());
}

std::string escape(const std::string &text) {
    std::string escaped;
    for (const char c : text) {
        const std::size_t known = std::string("\n\r\t\\\0", 5).find(c);
        const char code[] = {'\\', known < 5 ? "nrt\\0"[known] : 'x', "0123456789abcdef"[c >> 4 & 15],
                             "0123456789abcdef"[c & 15], '\0'};
        escaped += known < 5 ? std::string(code, 2) : static_cast<unsigned char>(c) < ' ' ? code : std::string(1, c);
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
    std::vector<fact> *place = nullptr; // of the last line
    fact *last = nullptr;               // which a line of four blanks goes on with
    int number = 0;
    const bool is_page = fs::path(path).extension() == ".md"; // whose transcripts are blocks
    bool is_read = !is_page;
    for (std::string line; std::getline(text, line);) {
        ++number;
        if (is_page && line.rfind("```", 0) == 0) { is_read = line == "```transcript"; }
        if (!is_read || line.empty() || line.rfind("# ", 0) == 0 || line.rfind("```", 0) == 0) { continue; }
        if (line.rfind("== ", 0) == 0) {
            all.push_back({fs::path(path).stem(), line.substr(3), path, number, std::vector<step>(1)});
            place = nullptr;
            continue;
        }
        if (all.empty()) { all.push_back({"none", "none", path, number, std::vector<step>(1)}); }
        const bool is_below = line.rfind("  ", 0) == 0 && place != nullptr && !place->empty();
        const bool goes_on = line.rfind("    ", 0) == 0 && last != nullptr;
        line.erase(0, line.find_first_not_of(' '));
        if (goes_on) {
            last->text += line;
            continue;
        }
        fact read;
        read.word = take_word(line);
        read.text = line;
        if (is_below) {
            place->back().below.push_back(read);
            last = &place->back().below.back();
            continue;
        }
        std::vector<step> &steps = all.back().steps;
        const bool is_given = is_one_of(read.word, " setting file folder link without clock zone server do ");
        const bool is_request =
            is_one_of(read.word, " get set refused getlist call pre-get post-get pre-set post-set ");
        if ((is_request || is_given) && !steps.back().request.word.empty()) { steps.emplace_back(); }
        place = is_given ? &steps.back().given : &steps.back().outcome;
        if (is_request) {
            steps.back().request = read;
            steps.back().number = number;
            last = &steps.back().request;
        } else {
            place->push_back(read);
            last = &place->back();
        }
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
    const std::string form = form_of(line);
    const auto known = forms.lower_bound(form); // a line that a limit cut has the form of its beginning
    return !form.empty() && known != forms.end() && (*known == form || (line.size() > 200 && known->starts_with(form)));
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

void stage::SetUp() {
    device_test::SetUp();
    fs::remove("/tmp/local");
    fs::remove("/tmp/telephony");
    openlog("tarrow", LOG_NDELAY, LOG_USER);
    mxmlSetErrorCallback([](const char *) {});
}

void stage::TearDown() {
    for (const auto &[path, place] : std::exchange(hidden_, {})) {
        fs::remove_all(path);
        fs::rename(place, path);
    }
    for (const std::string &path : std::exchange(made_, {})) { fs::remove(path); }
    unsetenv("TZ");
    has_server_ = false;
    setting("wan", "proto"); // the store may have lost its connection
    device_test::TearDown();
}

void stage::arrange(const fact &given) {
    std::string text = given.text;
    if (given.word == "server") {
        has_server_ = mkfifo(server_pipe, 0666) == 0;
    } else if (given.word == "do") {
        EXPECT_TRUE(!is_live || __real_system(unescape(text).c_str()) == 0) << text;
    } else if (given.word == "zone") {
        setenv("TZ", text.c_str(), 1);
    } else if (given.word == "clock") {
        clock_setting = std::atol(text.c_str());
    } else if (given.word == "setting") {
        const std::string module = take_word(text), key = take_word(text);
        set_setting(module.c_str(), key.c_str(), unescape(text));
    } else { // the rest begins with a path
        const std::string path = unescape(take_word(text));
        text = unescape(text);
        bool is_state = path == mass_storage;
        for (const char *folder : state_folders) { is_state = is_state || path.rfind(folder, 0) == 0; }
        const bool is_there = fs::exists(path);
        if (given.word == "without") {
            fs::rename(path, hidden_[path] = path + ".away");
        } else if (!is_state && is_there) {
            substitute(path, text);
        } else if (fs::create_directories(fs::path(path).parent_path()); given.word == "folder") {
            fs::create_directories(path);
        } else if (given.word == "link") {
            fs::create_symlink(text, path);
        } else {
            write_file(path, text);
        }
        if (!is_state && !is_there) { made_.push_back(path); }
    }
}

/// Adds what was logged and printed since the last look.
void stage::drain() {
    for (const std::string &line : log_with_identity()) { lines_.push_back("log " + escape(line)); }
    std::string errors(65536, '\0');
    errors.resize(static_cast<std::size_t>(pread(fileno(errors_), errors.data(), errors.size(), errors_read_)));
    errors_read_ += static_cast<off_t>(errors.size());
    for (const auto &[word, text] : {std::pair(std::string("console"), console()), {"stderr", errors}}) {
        std::istringstream parts(text);
        for (std::string line; std::getline(parts, line);) {
            lines_.push_back(join(word, escape(line + (parts.eof() ? "" : "\n"))));
        }
    }
}

/// Adds an event. Gives the line that tells of it.
const fact *stage::note(const std::string &word, const std::string &text) {
    drain();
    const auto found = std::find_if(step_->outcome.begin(), step_->outcome.end(), [&](const fact &line) {
        const bool is_alike = line.word == word || (line.word == "!" && word == "$");
        return is_alike && used_.count(&line) == 0 && unescape(line.text) == text;
    });
    const fact *known = found != step_->outcome.end() ? &*found : nullptr;
    lines_.push_back(join(known != nullptr ? known->word : word, escape(text)));
    used_.insert(known);
    return known;
}

/// Does what stands below an event, or takes it as done.
void stage::apply(const fact &event, bool is_done, std::string *output, int *status) {
    for (const fact &effect : event.below) {
        std::string text = effect.text;
        if (effect.word == "prints" && output != nullptr && !is_done) {
            *output = unescape(text);
        } else if (effect.word == "exits" && !is_done) {
            *status = text == "-1" ? -1 : std::atoi(text.c_str()) << 8;
        } else if (const std::string path = unescape(take_word(text)); effect.word == "writes") {
            state_[path] = unescape(text);
            touched.insert(path);
            if (!is_done) {
                fs::create_directories(fs::path(path).parent_path());
                write_file(path, state_[path]);
            }
        } else if (effect.word == "removes") {
            if (!is_done) { fs::remove_all(path); }
            std::erase_if(state_,
                          [&](const auto &file) { return file.first == path || file.first.rfind(path + "/", 0) == 0; });
            touched.insert(path);
        }
    }
}

int stage::command(const char *line, std::string *output) {
    const own_memory all;
    const fact *known = note("$", without_random(line));
    if (known == nullptr) { return 0; }
    const bool is_run = is_live && known->word == "!";
    int status = 0;
    if (is_run && output == nullptr) {
        status = __real_system(line);
    } else if (is_run) {
        FILE *stream = __real_popen(line, "r");
        for (int c = 0; (c = std::getc(stream)) != EOF;) { *output += static_cast<char>(c); }
        status = __real_pclose(stream);
        if (!output->empty()) { lines_.back() += "\n  prints " + escape(*output); }
    }
    if (is_run && status != 0) { lines_.back() += "\n  exits " + std::to_string(WEXITSTATUS(status)); }
    apply(*known, is_run, output, &status);
    return status;
}

void stage::wait(int milliseconds) {
    const own_memory all;
    const fact *known = note("waits", std::to_string(milliseconds));
    if (known != nullptr) { apply(*known, false, nullptr, nullptr); }
    if (++waits_ < 1000) { return; }
    dprintf(STDERR_FILENO, "line %d waits for ever\n", step_->number);
    std::abort();
}

/// Is the statistics server, which answers what stands below a request, or breaks off.
void stage::serve(int pipe) {
    io_meta_data_t meta = {};
    accu_get_input_t input = {};
    while (read(pipe, &meta, sizeof(meta)) == sizeof(meta) && meta.op >= 0 &&
           read(pipe, &input, std::min<std::size_t>(meta.dsize, sizeof(input))) > 0) {
        const fact *known = note("asked", asked(meta, input));
        const std::string client = "/tmp/stat_client_" + std::to_string(meta.cpid) + "_fifo";
        int answers = -1;
        for (int tries = 0; answers < 0 && tries < 1000; ++tries) {
            answers = open(client.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
            if (answers < 0) { usleep(1000); }
        }
        std::istringstream text(known != nullptr && !known->below.empty() ? known->below[0].text : "");
        std::vector<std::int32_t> words; // in one piece: the client reads once
        for (long value = 0; text >> value;) { words.push_back(static_cast<std::int32_t>(value)); }
        if (answers >= 0 && !words.empty()) { EXPECT_GT(::write(answers, words.data(), words.size() * 4), 0); }
        close(answers);
    }
    close(pipe);
}

/// Runs one phase, and notes its result.
void stage::call(applet_info row, const std::string &name, int index, int flags, dc_args_t *record) {
    const phase &phase = phases[index];
    if ((handler = row.*phase.handler) != nullptr) { row.*phase.handler = watched_handler; }
    volatile int result = handler_result = 0;
    std::jmp_buf end;
    process_end = &end;
    playing = this;
    FILE *const own_errors = std::exchange(stderr, errors_);
    if (setjmp(end) == 0) {
        fault.is_armed = true; // if only to count the blocks
        result = phase.run(&row, flags, record);
        fault.is_armed = false;
    } else { // the library ended the process
        fault.is_armed = false;
        free_counted_blocks();
        note("ends", std::to_string(end_status));
    }
    stderr = own_errors;
    playing = nullptr;
    process_end = nullptr;
    drain();
    result = handler != nullptr ? handler_result : result;
    if (step_->request.word == "refused" && result == -1) {
        lines_.push_back("refused");
    } else if (result != 0) {
        lines_.push_back("result " + name + " " + std::to_string(result));
    }
}

strings stage::perform(const step &step, dc_args_t *record) {
    step_ = &step;
    lines_.clear();
    used_.clear();
    touched.clear();
    waits_ = 0;
    log();
    console();
    state_ = all_state();
    errors_ = fdopen(memfd_create("errors", MFD_CLOEXEC), "w");
    errors_read_ = 0;
    setvbuf(errors_, nullptr, _IONBF, 0);
    const int pipe = has_server_ ? open(server_pipe, O_RDWR | O_CLOEXEC) : -1;
    std::thread server(pipe >= 0 ? std::thread([this, pipe] { serve(pipe); }) : std::thread());
    fault = plan;

    std::string text = step.request.text;
    const std::string name = take_word(text), &word = step.request.word;
    applet_info row = {.di_handler_post_get_func = name == "wlan_get" ? wlan_get : http_share_post_get};
    if (word != "call") {
        int count = 0;
        const std::unique_ptr<applet_info, decltype(&std::free)> rows(tarrow_get_module_applets(&count), &std::free);
        const auto named =
            std::find_if(rows.get(), rows.get() + count, [&](const applet_info &r) { return name == r.di_modname; });
        row = named != rows.get() + count ? *named : applet_info();
        if (row.di_modname == nullptr) { lines_.push_back("no such module"); }
    }
    const bool is_set = is_post(word);
    const int flags = is_set ? TARROW_ACTION_SET : word == "getlist" ? TARROW_ACTION_GETLIST : TARROW_ACTION_GET;
    const std::string first = is_set ? "pre-set" : "pre-get", second = is_set ? "post-set" : "post-get";
    if (word == first || is_one_of(word, " set refused get ")) { call(row, first, is_set ? 2 : 0, flags, record); }
    if (word != first) { call(row, word == "call" ? name : second, is_set ? 3 : 1, flags, record); }
    EXPECT_TRUE(word == first || record == nullptr || record->dc_opaque == nullptr)
        << "its file's name is not released";

    if (pipe >= 0) {
        const io_meta_data_t end = {-1, 0, 0};
        EXPECT_EQ(write(pipe, &end, sizeof(end)), static_cast<ssize_t>(sizeof(end)));
        server.join();
    }
    std::fclose(std::exchange(errors_, nullptr));
    const contents now = all_state();
    const auto add = [&](const std::string &key, const std::string &kind, const std::string &value) {
        lines_.push_back(join(kind + " " + escape(key), escape(value)));
        touched.insert(key);
    };
    for (const auto &[key, value] : now) {
        const auto known = state_.find(key);
        if (known == state_.end() || known->second != value) { add(key, key[0] == '/' ? "left" : "stored", value); }
    }
    for (const auto &[key, value] : state_) {
        if (now.count(key) == 0) { add(key, "gone", ""); }
    }
    for (const auto &entry : fs::directory_iterator("/tmp")) {
        if (without_random(entry.path()) != entry.path()) { fs::remove(entry.path()); }
    }
    return lines_;
}

} // namespace testing_device
