// What a request did, made of the host program's system calls.
#pragma once

#include <algorithm>
#include <array>
#include <csignal>
#include <functional>
#include <set>
#include <unistd.h>
#include <utility>

#include "statistics/stat_api.h"
#include "strace.h"

namespace trace {

struct event {
    double at = 0; // milliseconds since the handlers began
    std::string kind;
    std::string text;
    std::optional<double> took = {}; // milliseconds
    std::optional<int> exit = {};    // a command's exit status; 128 and its number for a signal
};

/// The exit status of [{WIFEXITED(s) && WEXITSTATUS(s) == 3}], and 128 and the signal's number of
/// [{WIFSIGNALED(s) && WTERMSIG(s) == SIGKILL}].
inline int exit_status(const std::string &state) {
    const std::string value = state.substr(std::min(state.find("== ") + 3, state.size()));
    for (int signal = 1; signal < NSIG; ++signal) {
        const char *name = sigabbrev_np(signal);
        if (name != nullptr && value.starts_with(std::string("SIG") + name + "}")) {
            return 128 + signal;
        }
    }
    return std::atoi(value.c_str());
}

/// "err tarrow:wan: text" of "<3>Nov 25 14:00:00 tarrow:wan: text".
inline std::string log_line(const std::string &message) {
    constexpr std::array<const char *, 8> priorities = {"emerg",   "alert",  "crit", "err",
                                                        "warning", "notice", "info", "debug"};
    constexpr std::size_t date_length = sizeof("Nov 25 14:00:00 ") - 1;
    const std::size_t text = std::min(message.find('>') + 1 + date_length, message.size());
    const auto priority = static_cast<std::size_t>(std::atoi(message.c_str() + 1)) % 8;
    return std::string(priorities[priority]) + " " + message.substr(text);
}

/// The host program marks where the library's handlers begin and end: its standard output becomes
/// standard error, and the answer's again. What it asks of the kernel before and after, and what
/// the settings store and the C library ask for themselves, is left out.
class timeline {
public:
    explicit timeline(std::function<void(const event &)> show) : show_(std::move(show)) {}

    /// Whether the handlers have begun and not ended.
    [[nodiscard]] bool is_open() const { return is_open_; }
    /// Milliseconds from their begin to their end, or to what the program did last.
    [[nodiscard]] double took() const { return took_; }
    /// A line that the library or a command wrote on standard error, and when, in seconds.
    void take_error(double seconds, const std::string &line) {
        show_({.at = since_begin(seconds), .kind = "error", .text = line});
    }

    void take(const call &c) {
        host_ = host_ != 0 ? host_ : c.process;
        if (c.process != host_) {
            begin_command(c);
        } else if (c.name.starts_with("dup") && c.result == STDOUT_FILENO) {
            is_open_ = c.arguments.starts_with("2<");
            begin_ = is_open_ ? c.begin : begin_;
        } else if (is_open_) {
            took_ = since_begin(c.begin + c.took);
            take_file(c);
            take_other(c, c.has("\"") ? c.texts()[0] : "");
        }
    }

private:
    struct command {
        double begin;
        std::string line;
    };

    [[nodiscard]] double since_begin(double seconds) const { return (seconds - begin_) * 1000; }

    void add(const call &c, const char *kind, std::string text, std::optional<double> took = {}) {
        if (text.ends_with('\n')) {
            text.pop_back();
        }
        text += c.failure.empty() ? "" : ": " + c.failure;
        show_({since_begin(c.begin), kind, text, took});
    }

    /// Of "sh", "-c" and a line.
    void begin_command(const call &c) {
        const auto words = c.texts();
        if (c.name == "execve" && c.failure.empty() && is_open_ && !words.empty()) {
            add(c, "command", words.back());
            commands_[c.process] = {since_begin(c.begin), words.back()};
        }
    }

    void end_command(const call &c) {
        if (const auto ended = commands_.extract(c.result); !ended.empty()) {
            const command &run = ended.mapped();
            show_({took_, "ended", run.line, took_ - run.begin, exit_status(c.arguments)});
        }
    }

    /// Tells a file once for each kind, but not what the settings store's engine and the C library
    /// open for themselves, nor the serial console: what is written to it is shown.
    void take_file(const call &c) {
        constexpr std::array<std::array<const char *, 2>, 7> kinds = {{{"open", "read"},
                                                                       {"access", "read"},
                                                                       {"faccess", "read"},
                                                                       {"mk", "make"},
                                                                       {"rename", "rename"},
                                                                       {"rmdir", "remove"},
                                                                       {"unlink", "remove"}}};
        constexpr std::array<const char *, 5> others = {"/userfs/cfgdb", "/dev/urandom",
                                                        "/etc/localtime", "/usr/share/zoneinfo/",
                                                        serial_console};
        const char *kind = nullptr;
        for (const auto &[name, meaning] : kinds) {
            kind = c.name.starts_with(name) ? meaning : kind;
        }
        const auto paths = c.texts();
        if (kind == nullptr || paths.empty() ||
            std::any_of(others.begin(), others.end(),
                        [&](const char *other) { return paths[0].starts_with(other); })) {
            return;
        }
        if (c.has("O_EXCL")) {
            kind = "make";
        } else if (c.has("O_WRONLY") || c.has("O_RDWR")) {
            kind = "write";
        }
        const std::string text = paths[0] + (paths.size() > 1 ? " -> " + paths[1] : "");
        if (files_.insert(kind + text + c.failure).second) {
            add(c, kind, text);
        }
    }

    void take_other(const call &c, const std::string &text) {
        const std::string file = c.file();
        if (c.name == "wait4") {
            end_command(c);
        } else if (c.name.ends_with("nanosleep")) {
            add(c, "wait", "", c.took * 1000);
        } else if (c.name == "sendto" && text.starts_with('<')) {
            add(c, "log", log_line(text));
        } else if (c.name == "ioctl" && c.has(", SIOC")) {
            add(c, "socket", request_of(c));
        } else if (c.name == "write" && file == serial_console) {
            add(c, "console", text);
        } else if (c.name == "write" && file == "/tmp/stat_server_fifo") {
            ask_server(c, text);
        } else if (c.name == "read" && file.starts_with("/tmp/stat_client_")) {
            add(c, "socket", "the statistics server answers", took_ - asked_);
        }
    }

    /// "SIOCGIFADDR ccinet0 10.64.1.2": an ioctl's name, with the texts given and got.
    static std::string request_of(const call &c) {
        const std::size_t name = c.arguments.find("SIOC");
        std::string text = c.arguments.substr(name, c.arguments.find(',', name) - name);
        for (const std::string &word : c.texts()) {
            text += " " + word;
        }
        return text;
    }

    /// A request comes in two records: the operation, and what begins with the interface's name.
    void ask_server(const call &c, const std::string &record) {
        constexpr std::array<const char *, OP_END> operations = {"a reset", "totals", "the speed"};
        if (record.size() == sizeof(io_meta_data_t)) {
            operation_ = static_cast<unsigned char>(record[0]);
            asked_ = since_begin(c.begin);
        } else if (operation_ < operations.size()) {
            add(c, "socket",
                std::string("the statistics server is asked for ") + operations[operation_] +
                    " of " + record.substr(0, record.find('\0')));
        }
    }

    static constexpr char serial_console[] = "/dev/ttyS0";
    std::function<void(const event &)> show_;
    int host_ = 0;     // process
    double begin_ = 0; // seconds; others are milliseconds since then
    double took_ = 0;
    bool is_open_ = false;
    std::map<int, command> commands_; // that run, by process
    std::set<std::string> files_;     // that were told
    std::size_t operation_ = 0;       // that the statistics server was asked for
    double asked_ = 0;                // and when
};

} // namespace trace
