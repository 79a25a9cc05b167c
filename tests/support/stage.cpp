#include "transcript.h"

#include <algorithm>
#include <csetjmp>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

#include "../../device/cfgdb/backend.h"
#include "../../src/modules/http_share/http_share_applet.h"
#include "../../src/modules/statistics/stat_api.h"
#include "../../src/modules/wlan_settings/wlan_settings_applet.h"

namespace fs = std::filesystem;
using namespace std::string_literals;
using namespace testing_device;

namespace {

constexpr char server_pipe[] = "/tmp/stat_server_fifo";
std::jmp_buf *process_end = nullptr; // where a request goes on that ends the process
int end_status = 0;

} // namespace

extern "C" {
int __real_open(const char *path, int flags, ...);
int __real_system(const char *line);
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

/// The names of a table's columns, and its records, in the form of a request.
std::string text_of(const dlist_node_t &table) {
    std::string text;
    for (int f = 0; f < TARROW_DLIST_FIELDS && table.dn_meta[f] != nullptr; ++f) { text += table.dn_meta[f] + "#"s; }
    char *records = nullptr;
    dl_dlist_to_variable(&records, &table, '#', ' ');
    const std::unique_ptr<char, decltype(&std::free)> owned(records, &std::free);
    text.back() = ' ';
    return text + records;
}

/// What a call answers. When it ends the process instead, end_status says how.
template <typename Call>
int result_of(const Call &call) {
    volatile int result = 0;
    std::jmp_buf end;
    process_end = &end;
    end_status = -1;
    if (setjmp(end) == 0) { result = call(); }
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
int stage::happens(const std::string &what, const std::string &text, std::string *output) {
    add_lines(seen_, "console", console());
    const auto known = std::find_if(expected_.begin(), expected_.end(), [&](const fact &line) {
        return (line.word == what || (line.word == "!" && what == "$")) && unescape(line.text) == text;
    });
    seen_.push_back(join(known != expected_.end() ? known->word : what, text));
    EXPECT_LT(seen_.size(), 1000U) << "the request goes on for ever";
    if (seen_.size() > 2000) { std::abort(); }
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

/// Is the statistics server when the client opens the pipe for its answer: gives what stands below the request.
int stage::open_file(const char *path, int flags, mode_t mode) {
    if (server_ < 0 || std::strstr(path, "/stat_client_") == nullptr) {
        return device_test::open_file(path, flags, mode);
    }
    const own_memory all;
    io_meta_data_t meta = {};
    accu_get_input_t input = {};
    EXPECT_EQ(read(server_, &meta, sizeof(meta)), static_cast<ssize_t>(sizeof(meta)));
    EXPECT_GT(read(server_, &input, std::min<std::size_t>(meta.dsize, sizeof(input))), 0);
    constexpr const char *operations[] = {"reset ", "accu_get ", "speed_get "};
    std::string asked = operations[meta.op % 3] + std::string(input.interface, strnlen(input.interface, 16)), numbers;
    if (input.accu_type != 0) { asked += " accu_type=" + std::to_string(input.accu_type); }
    happens("asked", asked + text_of("start", input.start_date) + text_of("end", input.end_date), &numbers);
    std::istringstream text(numbers);
    const int answers = __real_open(path, O_RDWR);
    for (long value = 0; text >> value;) {
        const auto word = static_cast<std::int32_t>(value);
        EXPECT_EQ(write(answers, &word, sizeof(word)), static_cast<ssize_t>(sizeof(word)));
    }
    const int opened = __real_open(path, flags);
    close(answers);
    return opened;
}

/// Runs the phases of a request, and notes their results: the handlers', which the dispatch does not pass on.
void stage::call(const std::string &request, const std::string &name, dc_args_t *record) {
    int count = 0;
    const std::unique_ptr<applet_info, decltype(&std::free)> rows(tarrow_get_module_applets(&count), &std::free);
    const auto is_it = [&](const applet_info &one) { return name == one.di_modname; };
    const applet_info row = *std::find_if(rows.get(), rows.get() + count - 1, is_it);
    const std::map<std::string, tarrow_handler_t *> functions = {
        {"wlan_get", wlan_get},
        {"http_share_post_get", http_share_post_get},
        {"stat_client_main", [](int, dc_args_t *) { return stat_client_main(); }}};
    const struct {
        const char *name, *requests;
        tarrow_handler_t *handler;
        decltype(&__tarrow_call_module_pre_set_handler) dispatch;
    } phases[] = {
        {"pre-set", " set refused ", row.di_handler_pre_set_func, __tarrow_call_module_pre_set_handler},
        {"post-set", " set refused ", row.di_handler_post_set_func, __tarrow_call_module_post_set_handler},
        {"pre-get", " get ", row.di_handler_pre_get_func, __tarrow_call_module_pre_get_handler},
        {"post-get", " get getlist ", row.di_handler_post_get_func, __tarrow_call_module_post_get_handler},
        {"call", " ", request == "call" ? functions.at(name) : nullptr, nullptr},
    };
    const int flags = request == "getlist"                                   ? TARROW_ACTION_GETLIST
                      : is_one_of(request, " set refused pre-set post-set ") ? TARROW_ACTION_SET
                                                                             : TARROW_ACTION_GET;
    bool is_refused = false;
    for (const auto &phase : phases) {
        if (request != phase.name && !is_one_of(request, phase.requests)) { continue; }
        fault.is_armed = plan.first != 0;
        const int result = result_of([&] {
            return phase.handler != nullptr ? phase.handler(flags, record) : phase.dispatch(&row, flags, record);
        });
        fault.is_armed = false;
        if (end_status >= 0) { happens("ends", std::to_string(end_status), nullptr); }
        is_refused = is_refused || result == -1;
        if (result != 0 && request != "refused") {
            seen_.push_back(std::string("result ") + phase.name + " " + std::to_string(result));
        }
    }
    if (request == "refused" && !is_refused) { seen_.emplace_back("not refused"); }
}

strings stage::perform(const step &step, const std::function<void(mxml_node_t *page)> &change) {
    for (const fact &given : step.given) { arrange(given); }
    std::string text = step.request.text;
    const std::string name = take_word(text);
    const bool is_table = step.request.word == "getlist";
    const tree page = is_table ? nullptr : parse(unescape(text));
    const auto table = std::make_unique<dlist_node_t>();
    if (is_table) {
        const int columns = dl_get_meta_fields(take_word(text).c_str(), table.get(), '#');
        dl_variable_to_dlist_alloc(unescape(text).c_str(), table.get(), columns, '#', ' ');
        for (int i = 0; i < TARROW_DLIST_RECORDS; ++i) { // "~" is an absent one
            const char *first = table->dn_dlist[i][0];
            if (first != nullptr && *first == '~') { dl_dlist_delete_record(table.get(), i); }
        }
    }
    dc_args_t record = {TARROW_CB_ARGS_XML, {.dc_subnode = page.get()}, nullptr};
    if (is_table) { record = {TARROW_CB_ARGS_DLIST, {.dc_dlist = table.get()}, nullptr}; }
    if (change) { change(page.get()); }
    const auto content = [&] { return is_table ? text_of(*table) : serialise(page.get()); };
    const std::string sent = content();

    seen_.clear();
    console();
    expected_ = step.outcome;
    state_ = all_state();
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    fault = plan;
    call(step.request.word, name, &record);
    add_lines(seen_, "console", console());
    add_lines(seen_, "stdout", testing::internal::GetCapturedStdout());
    add_lines(seen_, "stderr", testing::internal::GetCapturedStderr());
    EXPECT_TRUE(step.request.word == "pre-set" || record.dc_opaque == nullptr) << "its file's name is not released";
    std::free(record.dc_opaque);
    answer = content();
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
    dl_free_dlist(table.get());
    return seen();
}

} // namespace testing_device
