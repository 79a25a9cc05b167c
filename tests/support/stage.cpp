#include "transcript.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sstream>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "../../device/cfgdb/backend.h"
#include "../../src/modules/http_share/http_share_applet.h"
#include "../../src/modules/statistics/stat_api.h"
#include "../../src/modules/wlan_settings/wlan_settings_applet.h"

namespace fs = std::filesystem;
using namespace testing_device;

namespace {

constexpr char server_pipe[] = "/tmp/stat_server_fifo", temporary_file[] = "/tmp/tarrow.XXXXXX";
stage *playing = nullptr;
std::error_code none;          // of what is arranged: an input of the fuzz program may want what cannot be
std::map<FILE *, int> readers; // of commands that did not run, with their status

} // namespace

extern "C" {
int __real_system(const char *line);
FILE *__real_popen(const char *line, const char *mode);
int __real_pclose(FILE *stream);
int __real_nanosleep(const timespec *time, timespec *left);
int __real_open(const char *path, int flags, ...);

int __wrap_system(const char *line) {
    if (recorded != nullptr) {
        const own_memory all;
        recorded->push_back(line);
        return 0;
    }
    return playing != nullptr ? playing->command(line, nullptr) : __real_system(line);
}

FILE *__wrap_popen(const char *line, const char *mode) {
    if (recorded == nullptr && playing == nullptr) { return __real_popen(line, mode); }
    const own_memory all;
    if (recorded != nullptr) { recorded->push_back(line); }
    std::string output = recorded != nullptr ? printed : "";
    const int status = playing != nullptr ? playing->command(line, &output) : 0;
    if (status < 0) { return nullptr; }
    const int file = memfd_create("output", MFD_CLOEXEC);
    FILE *stream = fdopen(file, "r");
    if (stream == nullptr) { return close(file), nullptr; }
    readers[stream] = status;
    return pwrite(file, output.data(), output.size(), 0), stream;
}

int __wrap_pclose(FILE *stream) {
    const own_memory all;
    const auto reader = readers.extract(stream);
    return reader.empty() ? __real_pclose(stream) : (std::fclose(stream), reader.mapped());
}

/// The library's temporary files have one name.
int __real_mkstemp(char *name);
int __wrap_mkstemp(char *name) {
    return std::strcmp(name, temporary_file) == 0 ? open(name, O_RDWR | O_CREAT | O_CLOEXEC, 0600)
                                                  : __real_mkstemp(name);
}

int __wrap_mkstemp64(char *name) { return __wrap_mkstemp(name); }

int __wrap_nanosleep(const timespec *time, timespec *left) {
    if (recorded != nullptr) { return 0; }
    if (playing == nullptr) { return __real_nanosleep(time, left); }
    return playing->wait(static_cast<int>(time->tv_sec * 1000 + time->tv_nsec / 1000000)), 0;
}
}

namespace testing_device {

strings *recorded = nullptr;
std::string printed;

namespace {

/// Adds what was printed, in lines.
void add_lines(strings &lines, const char *word, const std::string &text) {
    std::istringstream parts(text);
    for (std::string line; std::getline(parts, line);) {
        lines.push_back(join(word, escape(line + (parts.eof() ? "" : "\n"))));
    }
}

/// All files that a request may change, folders with a "/" behind their names, and all settings.
std::map<std::string, std::string> all_state() {
    std::map<std::string, std::string> state = {{mass_storage, read_file(mass_storage)}};
    for (const char *root : state_folders) {
        for (const auto &entry : fs::recursive_directory_iterator(root)) {
            const std::string path = entry.path();
            if (path.rfind(cfgdb_default_backend, 0) == 0 || path == server_pipe) { continue; }
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

void stage::SetUp() {
    device_test::SetUp();
    fs::remove("/tmp/local");
    fs::remove("/tmp/telephony");
    mxmlSetErrorCallback([](const char *) {});
}

void stage::TearDown() {
    close(std::exchange(server_, -1));
    unsetenv("TZ");
    fs::rename("/userfs/cfgdb.away", "/userfs/cfgdb", none);
    setting("wan", "proto"); // the store may have lost its connection
    device_test::TearDown();
}

void stage::play(const transcript &told) {
    for (const step &step : told.steps) {
        SCOPED_TRACE(told.path + ":" + std::to_string(step.number));
        for (const fact &given : step.given) { arrange(given); }
        payload sent(step);
        strings done = perform(step, &sent.record), said = expected(step);
        const bool is_page_told =
            std::any_of(said.begin(), said.end(), [](const auto &line) { return line.rfind("-> ", 0) == 0; });
        if (!is_post(step.request.word) || is_page_told || sent.text() != payload(step).text()) {
            done.push_back(sent.text());
        }
        put_last_in_order(done);
        std::string all_said, all_done; // whose differences are shown line by line
        for (const std::string &line : said) { all_said += line + "\n"; }
        for (const std::string &line : done) { all_done += line + "\n"; }
        ASSERT_EQ(all_said, all_done) << told.title;
    }
}

void stage::arrange(const fact &given) {
    std::string text = given.text, rest = given.text;
    const std::string path = unescape(take_word(rest));
    if (given.word == "server") {
        mkfifo(server_pipe, 0666);
        close(std::exchange(server_, open(server_pipe, O_RDWR | O_NONBLOCK | O_CLOEXEC)));
    } else if (given.word == "do") {
        EXPECT_TRUE(!is_live || __real_system(unescape(text).c_str()) == 0) << text;
    } else if (given.word == "zone") {
        setenv("TZ", text.c_str(), 1);
    } else if (given.word == "clock") {
        clock_setting = std::atol(text.c_str());
    } else if (given.word == "setting") {
        const std::string key = take_word(rest);
        set_setting(path.c_str(), key.c_str(), unescape(rest));
    } else if (given.word == "without") {
        fs::rename(path, path + ".away", none);
    } else if (path != mass_storage && std::none_of(std::begin(state_folders), std::end(state_folders),
                                                    [&](const char *folder) { return path.rfind(folder, 0) == 0; })) {
        substitute(path, unescape(rest));
    } else if (fs::create_directories(fs::path(path).parent_path(), none); given.word == "folder") {
        fs::create_directories(path, none);
    } else if (given.word == "link") {
        fs::create_symlink(rest, path, none);
    } else {
        write_file(path, unescape(rest));
    }
}

/// Adds what was logged since the last look.
void stage::drain() {
    for (const std::string &line : std::exchange(logged, {})) { lines_.push_back("log " + escape(line)); }
    add_lines(lines_, "console", console());
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
            if (!is_done) {
                fs::create_directories(fs::path(path).parent_path(), none);
                write_file(path, state_[path]);
            }
        } else if (effect.word == "removes") {
            if (!is_done) { fs::remove_all(path, none); }
            std::erase_if(state_,
                          [&](const auto &file) { return file.first == path || file.first.rfind(path + "/", 0) == 0; });
        }
    }
}

int stage::command(const char *line, std::string *output) {
    const own_memory all;
    const fact *known = note("$", line);
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

/// Is the statistics server when the client opens the pipe for its answer: gives what stands below the request.
int stage::serve(const char *path, int flags) {
    if (server_ < 0 || std::strstr(path, "/stat_client_") == nullptr) { return -2; }
    const own_memory all;
    io_meta_data_t meta = {};
    accu_get_input_t input = {};
    EXPECT_EQ(read(server_, &meta, sizeof(meta)), static_cast<ssize_t>(sizeof(meta)));
    EXPECT_GT(read(server_, &input, std::min<std::size_t>(meta.dsize, sizeof(input))), 0);
    const fact *known = note("asked", asked(meta, input));
    std::istringstream text(known != nullptr && !known->below.empty() ? known->below[0].text : "");
    const int answers = __real_open(path, O_RDWR);
    for (long value = 0; text >> value;) {
        const auto word = static_cast<std::int32_t>(value);
        EXPECT_EQ(write(answers, &word, sizeof(word)), static_cast<ssize_t>(sizeof(word)));
    }
    const int opened = __real_open(path, flags);
    close(answers);
    return opened;
}

/// Runs one phase, and notes its result: the handler's, which the dispatch does not pass on, or the script's.
void stage::call(const applet_info &row, const char *name, int flags, dc_args_t *record) {
    const bool is_first = std::strncmp(name, "pre", 3) == 0, is_set = std::strstr(name, "set") != nullptr;
    tarrow_handler_t *const handler = is_first ? (is_set ? row.di_handler_pre_set_func : row.di_handler_pre_get_func)
                                      : is_set ? row.di_handler_post_set_func
                                               : row.di_handler_post_get_func;
    const auto dispatch = is_first
                              ? (is_set ? __tarrow_call_module_pre_set_handler : __tarrow_call_module_pre_get_handler)
                          : is_set ? __tarrow_call_module_post_set_handler
                                   : __tarrow_call_module_post_get_handler;
    volatile int result = 0;
    std::jmp_buf end;
    process_end = &end;
    playing = this;
    if (setjmp(end) == 0) {
        fault.is_armed = true; // if only to count the blocks
        result = handler != nullptr ? handler(flags, record) : dispatch(&row, flags, record);
        fault.is_armed = false;
    } else { // the library ended the process
        fault.is_armed = false;
        free_counted_blocks();
        note("ends", std::to_string(end_status));
    }
    playing = nullptr;
    process_end = nullptr;
    drain();
    if (step_->request.word == "refused" && result == -1) {
        lines_.push_back("refused");
    } else if (result != 0) {
        lines_.push_back(std::string("result ") + name + " " + std::to_string(result));
    }
}

strings stage::perform(const step &step, dc_args_t *record) {
    step_ = &step;
    lines_.clear();
    used_.clear();
    waits_ = 0;
    logged.clear();
    console();
    state_ = all_state();
    char output[4096] = "", errors[4096] = "";
    FILE *const own_output = std::exchange(stdout, fmemopen(output, sizeof(output), "w"));
    FILE *const own_errors = std::exchange(stderr, fmemopen(errors, sizeof(errors), "w"));
    setvbuf(stdout, nullptr, _IONBF, 0);
    setvbuf(stderr, nullptr, _IONBF, 0);
    opener = [this](const char *path, int flags) { return serve(path, flags); };
    fault = plan;

    std::string text = step.request.text;
    const std::string name = take_word(text), &word = step.request.word;
    applet_info row = {};
    if (word == "call") {
        row.di_handler_post_get_func = name == "wlan_get" ? wlan_get
                                       : name == "http_share_post_get"
                                           ? http_share_post_get
                                           : [](int, dc_args_t *) { return stat_client_main(); };
    } else {
        int count = 0;
        const std::unique_ptr<applet_info, decltype(&std::free)> rows(tarrow_get_module_applets(&count), &std::free);
        row = *std::find_if(rows.get(), rows.get() + count - 1, [&](const auto &r) { return name == r.di_modname; });
        if (name != row.di_modname) { lines_.push_back("no such module"); }
    }
    const int flags = is_post(word) ? TARROW_ACTION_SET : word == "getlist" ? TARROW_ACTION_GETLIST : TARROW_ACTION_GET;
    const char *const first = is_post(word) ? "pre-set" : "pre-get", *const second =
                                                                         is_post(word) ? "post-set" : "post-get";
    if (is_one_of(word, " set refused get pre-set pre-get ")) { call(row, first, flags, record); }
    if (word != first) { call(row, second, flags, record); }
    EXPECT_TRUE(word == first || record == nullptr || record->dc_opaque == nullptr)
        << "its file's name is not released";

    std::fclose(std::exchange(stdout, own_output));
    std::fclose(std::exchange(stderr, own_errors));
    add_lines(lines_, "stdout", output);
    add_lines(lines_, "stderr", errors);
    opener = nullptr;
    const auto now = all_state();
    const auto add = [&](const std::string &key, const std::string &kind, const std::string &value) {
        lines_.push_back(join(kind + " " + escape(key), escape(value)));
    };
    for (const auto &[key, value] : now) {
        const auto known = state_.find(key);
        if (known == state_.end() || known->second != value) { add(key, key[0] == '/' ? "left" : "stored", value); }
    }
    for (const auto &[key, value] : state_) {
        if (now.count(key) == 0) { add(key, "gone", ""); }
    }
    fs::remove(temporary_file);
    return lines_;
}

} // namespace testing_device
