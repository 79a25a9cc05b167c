#include "transcript.h"

#include <algorithm>
#include <csetjmp>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "../../device/cfgdb/backend.h"
#include "../../src/modules/statistics/stat_api.h"

namespace fs = std::filesystem;
using namespace std::string_literals;
using namespace testing_device;

namespace {

constexpr char server_pipe[] = "/tmp/stat_server_fifo";
const char *const client = std::getenv("TARROW_CLIENT"); // calls another build's library in the place of this program
std::jmp_buf *process_end = nullptr;                     // where a request goes on that ends the process
int end_status = 0;

} // namespace

extern "C" {
[[gnu::weak]] void __lsan_disable(); // of the leak sanitizer, where that is
[[gnu::weak]] void __lsan_enable();
int __real_system(const char *line);
FILE *__real_popen(const char *line, const char *mode);
int __real_pclose(FILE *stream);
[[noreturn]] void __real_exit(int status);
[[noreturn]] void __wrap_exit(int status) {
    end_status = status;
    if (process_end != nullptr) { std::longjmp(*process_end, 1); }
    __real_exit(status);
}
}

namespace testing_device {

namespace {

void add_lines(strings &lines, const char *word, const std::string &text) {
    std::istringstream parts(text);
    for (std::string line; std::getline(parts, line);) {
        lines.push_back(join(word, line + (parts.eof() ? "" : "\n")));
    }
}

/// All files that a request may change, folders with a "/" behind their names, and all settings.
std::map<std::string, std::string> all_state() {
    std::map<std::string, std::string> state = {{mass_storage, read_file(mass_storage)}};
    for (const char *root : state_folders) {
        for (const auto &entry : fs::recursive_directory_iterator(root)) {
            const std::string path = entry.path();
            if (path.starts_with(cfgdb_default_backend) || path == server_pipe) { continue; }
            std::string &content = state[path + (!entry.is_symlink() && entry.is_directory() ? "/" : "")];
            content = entry.is_symlink()        ? "-> " + fs::read_symlink(path).string()
                      : entry.is_regular_file() ? read_file(path)
                                                : "";
        }
    }
    const auto add = [](const char *module, const char *key, const char *value, void *all) {
        (*static_cast<decltype(state) *>(all))[module + std::string(" ") + key] = value;
    };
    cfgdb_visit(cfgdb_default_backend, nullptr, add, &state);
    return state;
}

/// A date that the statistics server is asked for.
std::string text_of(const char *name, const stat_time_t &date) {
    const stat_time_t day = {.tm_mday = date.tm_mday, .tm_mon = date.tm_mon, .tm_year = date.tm_year};
    EXPECT_EQ(std::memcmp(&date, &day, sizeof(day)), 0) << "more than a day";
    const auto part = [](int value) { return "." + std::to_string(value); };
    return date.tm_year == 0 ? "" : " "s + name + part(day.tm_mday) + part(day.tm_mon) + part(day.tm_year);
}

/// The page or table of the request.
std::string content() {
    const std::unique_ptr<char, decltype(&std::free)> text(show(), &std::free);
    return trim(text ? text.get() : "");
}

/// What the client has written to a file.
std::string taken(const std::string &file) {
    return client == nullptr ? "" : output_of("cat " + file + "; : > " + file);
}

/// What a call answers. When it ends the process instead, end_status says how.
int result_of(const std::string &phase, const std::string &name) {
    volatile int result = 0;
    std::jmp_buf end;
    process_end = &end;
    end_status = -1;
    if (setjmp(end) == 0) { result = call(phase.c_str(), name.c_str()); }
    process_end = nullptr;
    return result;
}

std::string shown(const strings &lines) {
    std::string all; // whose differences are shown line by line
    for (const std::string &line : lines) { all += line + "\n"; }
    return all;
}

} // namespace

void stage::TearDown() {
    end_client();
    close(std::exchange(server_, -1));
    unsetenv("TZ");
    std::error_code none;
    fs::rename("/userfs/cfgdb.away", "/userfs/cfgdb", none);
    setting("wan", "proto"); // the store may have lost its connection
    device_test::TearDown();
}

void stage::play(const transcript &told) {
    for (const step &step : told.steps) {
        ASSERT_EQ(shown(expected(step)), shown(perform(step))) << told.title << ": " << step.request.text;
    }
}

/// Lets the device hold what a line says.
void stage::arrange(const fact &given) {
    std::string text = given.text, rest = given.text;
    const std::string path = unescape(take_word(rest));
    const bool is_state = path == mass_storage || std::any_of(std::begin(state_folders), std::end(state_folders),
                                                              [&](const char *root) { return path.starts_with(root); });
    if (is_state) { fs::create_directories(fs::path(path).parent_path()); }
    if (given.word == "server") {
        mkfifo(server_pipe, 0666);
        close(std::exchange(server_, open(server_pipe, O_RDWR | O_NONBLOCK | O_CLOEXEC)));
    } else if (given.word == "do") {
        EXPECT_TRUE(!is_live || output_of(unescape(text)).empty()) << text;
    } else if (given.word == "zone") {
        setenv("TZ", text.c_str(), 1);
        end_client(); // the next one has it
    } else if (given.word == "clock") {
        clock = std::atol(text.c_str());
    } else if (given.word == "setting") {
        const std::string key = take_word(rest);
        set_setting(path.c_str(), key.c_str(), unescape(rest));
    } else if (given.word == "without") {
        fs::rename(path, path + ".away");
    } else if (given.word == "folder") {
        fs::create_directories(path);
    } else if (given.word == "link") {
        fs::create_symlink(rest, path);
    } else if (is_state) {
        write_file(path, unescape(rest));
    } else {
        substitute(path, unescape(rest));
    }
}

/// Adds an event, and does what stands below the line that tells of it.
long stage::happens(const std::string &what, const std::string &text, std::string *output) {
    if (what == "open" && server_ >= 0 && text.find("/stat_client_") != std::string::npos) { serve(text); }
    if (is_one_of(what, " get set ")) { // a client's "MODULE KEY VALUE"
        std::string value = text;
        const std::string module = take_word(value), key = take_word(value);
        if (what == "set") { set_setting(module.c_str(), key.c_str(), value); }
        return *output = setting(module.c_str(), key.c_str()), 0;
    }
    if (is_one_of(what, " time open ")) { return device_test::happens(what, text, output); }
    add_lines(seen_, "console", console());
    const auto known = std::find_if(expected_.begin(), expected_.end(), [&](const fact &line) {
        return (line.word == what || (line.word == "!" && what == "$")) && unescape(line.text) == text;
    });
    seen_.push_back(join(known != expected_.end() ? known->word : what, text));
    if (seen_.size() > 1000) { std::abort(); } // it would go on for ever
    if (known == expected_.end()) { return 0; }
    const fact event = *known;
    expected_.erase(known);
    const bool is_run = is_live && event.word == "!";
    int status = 0;
    if (is_run && output != nullptr) { *output = output_of(text); }
    if (is_run && output == nullptr) { status = __real_system(text.c_str()); }
    for (const fact &effect : event.below) {
        std::string rest = effect.text;
        if (is_one_of(effect.word, " prints answers ")) {
            if (output != nullptr && !is_run) { *output = unescape(rest); }
        } else if (effect.word == "exits") {
            status = is_run ? status : rest == "-1" ? -1 : std::atoi(rest.c_str()) << 8;
        } else if (const std::string path = unescape(take_word(rest)); effect.word == "writes") {
            state_[path] = unescape(rest);
            if (!is_run) {
                fs::create_directories(fs::path(path).parent_path());
                write_file(path, state_[path]);
            }
        } else if (effect.word == "removes") {
            if (!is_run) { fs::remove_all(path); }
            std::erase_if(state_, [&](const auto &file) { return (file.first + "/").starts_with(path + "/"); });
        }
    }
    return status;
}

/// Is the statistics server when the client opens the pipe for its answer: lets it hold what stands below the request.
void stage::serve(const std::string &pipe) {
    io_meta_data_t meta = {};
    accu_get_input_t input = {};
    EXPECT_EQ(read(server_, &meta, sizeof(meta)), static_cast<ssize_t>(sizeof(meta)));
    EXPECT_GT(read(server_, &input, std::min<std::size_t>(meta.dsize, sizeof(input))), 0);
    constexpr const char *operations[] = {"reset ", "accu_get ", "speed_get "};
    std::string asked = operations[meta.op % 3] + std::string(input.interface, strnlen(input.interface, 16)), numbers;
    if (input.accu_type != 0) { asked += " accu_type=" + std::to_string(input.accu_type); }
    happens("asked", asked + text_of("start", input.start_date) + text_of("end", input.end_date), &numbers);
    std::istringstream text(numbers);
    std::string bytes;
    for (long value = 0; text >> value;) {
        const auto word = static_cast<std::int32_t>(value);
        bytes.append(reinterpret_cast<const char *>(&word), sizeof(word));
    }
    substitute(pipe, bytes);
}

/// Lets the client do something (tests/client.c), and is the device for it until its result comes; the page or table is
/// in answer then. end_status says how it ended, should it.
int stage::tell_client(std::string word, std::string text) {
    end_status = -1;
    if (to_client_ == nullptr) {
        mkfifo("/run/client", 0600);
        to_client_ = __real_popen((client + " 3> /run/client >> /run/stdout 2>> /run/stderr"s).c_str(), "we");
        from_client_.open("/run/client");
    }
    for (;;) {
        std::fprintf(to_client_, "%s %s%c", word.c_str(), text.c_str(), 0);
        std::fflush(to_client_);
        if (!std::getline(from_client_, text, '\0')) { return end_client(), 0; }
        word = take_word(text);
        if (word[0] == '=') { return answer = trim(text), std::atoi(word.c_str() + 1); }
        const reply told = ask(word.c_str(), text.c_str());
        word = std::to_string(told.status);
        text = told.text;
    }
}

void stage::end_client() {
    if (to_client_ == nullptr) { return; }
    const int status = __real_pclose(std::exchange(to_client_, nullptr));
    from_client_.close();
    end_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    EXPECT_LT(end_status, 124) << "the client hangs or has crashed";
}

/// Runs the phases of a request, and notes their results.
void stage::make(const std::string &request, const std::string &name) {
    std::istringstream phases(is_one_of(request, " set refused ") ? "pre-set post-set"
                              : request == "get"                  ? "pre-get post-get"
                              : request == "getlist"              ? "post-get"
                                                                  : request);
    bool is_refused = false;
    for (std::string phase; phases >> phase;) {
        fault.is_armed = plan.first != 0;
        const bool is_end = __lsan_disable != nullptr && !expected_.empty() && expected_[0].word == "ends";
        if (is_end) { __lsan_disable(); } // what a process holds that ends
        const int result = client != nullptr ? tell_client(phase, name) : result_of(phase, name);
        if (is_end) { __lsan_enable(); }
        fault.is_armed = false;
        if (end_status >= 0) { happens("ends", std::to_string(end_status), nullptr); }
        is_refused = is_refused || result == -1;
        if (result != 0 && request != "refused") { seen_.push_back("result " + phase + " " + std::to_string(result)); }
    }
    if (request == "refused" && !is_refused) { seen_.emplace_back("not refused"); }
}

strings stage::perform(const step &step, const std::function<void(mxml_node_t *page)> &change) {
    for (const fact &given : step.given) { arrange(given); }
    std::string text = step.request.text;
    const std::string name = take_word(text), asked_for = unescape(text);
    load(asked_for.c_str());
    if (change) { change(request_record.dc_type == TARROW_CB_ARGS_XML ? request_record.dc_data.dc_subnode : nullptr); }
    const std::string sent = answer = content();
    if (client != nullptr) { tell_client("load", asked_for), taken("/run/stderr"); }

    seen_.clear();
    console();
    expected_ = step.outcome;
    state_ = all_state();
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    fault = plan;
    make(step.request.word, name);
    add_lines(seen_, "console", console());
    add_lines(seen_, "stdout", testing::internal::GetCapturedStdout() + taken("/run/stdout"));
    add_lines(seen_, "stderr", testing::internal::GetCapturedStderr() + taken("/run/stderr"));
    EXPECT_TRUE(step.request.word == "pre-set" || request_record.dc_opaque == nullptr)
        << "its file's name is not released";
    if (client == nullptr) { answer = content(); }
    if (answer != sent) { seen_.push_back("-> " + answer); }
    auto now = all_state();
    for (const auto &[key, value] : now) {
        const auto known = state_.find(key);
        const std::string word = key[0] == '/' ? "left " : "stored ";
        if (known == state_.end() || known->second != value) { seen_.push_back(join(word + key, value)); }
        state_.erase(key);
    }
    for (const auto &[key, value] : state_) { seen_.push_back("gone " + key); }
    fs::remove(temporary_file);
    return seen();
}

} // namespace testing_device
