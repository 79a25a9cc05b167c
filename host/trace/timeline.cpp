#include "timeline.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <csignal>
#include <cstring>
#include <utility>

#include "../traced.h"

namespace trace {
namespace {

constexpr char serial_console[] = "/dev/ttyS0";
constexpr char server_pipes[] = "/tmp/stat_"; // of the statistics server and its clients

double rounded(double milliseconds) {
    return std::round(milliseconds * 10) / 10;
}

/// The exit status in [{WIFEXITED(s) && WEXITSTATUS(s) == 3}]; 128 and the signal's number in
/// [{WIFSIGNALED(s) && WTERMSIG(s) == SIGKILL}].
int exit_status(const std::string &state) {
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
std::string log_line(const std::string &message) {
    constexpr std::array<const char *, 8> priorities = {"emerg",   "alert",  "crit", "err",
                                                        "warning", "notice", "info", "debug"};
    constexpr std::size_t date_length = sizeof("Nov 25 14:00:00 ") - 1;
    const std::size_t text = std::min(message.find('>') + 1 + date_length, message.size());
    const auto priority = static_cast<std::size_t>(std::atoi(message.c_str() + 1)) % 8;
    return std::string(priorities[priority]) + " " + message.substr(text);
}

/// "SIOCGIFADDR ccinet0 10.64.1.2": an ioctl's name, with the texts that it passed and got.
std::string request_of(const call &c) {
    const std::size_t name = c.arguments.find("SIOC");
    std::string text = c.arguments.substr(name, c.arguments.find(',', name) - name);
    for (const std::string &word : c.texts()) {
        text += " " + word;
    }
    return text;
}

/// "/tmp/stat_server_fifo: 32 bytes, ccinet0": a pipe, and a record's size and name, if it has one.
std::string record_of(const std::string &pipe, const std::string &record) {
    std::string name = record.substr(0, record.find('\0'));
    const bool is_name = name.size() > 1 && std::all_of(name.begin(), name.end(), [](char c) {
                             return std::isprint(static_cast<unsigned char>(c)) != 0;
                         });
    return pipe + ": " + std::to_string(record.size()) + " bytes" + (is_name ? ", " + name : "");
}

/// The kind of step that a call on a path is, or null.
const char *kind_of(const call &c) {
    constexpr std::array<std::array<const char *, 2>, 7> kinds = {{{"open", "read"},
                                                                   {"access", "read"},
                                                                   {"faccess", "read"},
                                                                   {"mk", "make"},
                                                                   {"rename", "rename"},
                                                                   {"rmdir", "remove"},
                                                                   {"unlink", "remove"}}};
    for (const auto &[name, kind] : kinds) {
        if (c.name.starts_with(name)) {
            return c.has("O_EXCL") ? "make" : c.has("O_WRONLY") || c.has("O_RDWR") ? "write" : kind;
        }
    }
    return nullptr;
}

} // namespace

void timeline::show(const json &object) const {
    show_(object.dump(-1, ' ', false, json::error_handler_t::replace));
}

void timeline::answer(const std::string &text, int status, const std::string &errors) const {
    show({{"kind", "answer"},
          {"text", text},
          {"status", status},
          {"took", rounded(took_)},
          {"errors", errors}});
}

void timeline::take_error(double seconds, const std::string &line) {
    show({{"at", rounded(since_begin(seconds))}, {"kind", "error"}, {"text", line}});
}

void timeline::take(const call &c) {
    host_ = host_ != 0 ? host_ : c.process;
    if (c.process != host_) {
        begin_command(c);
        return;
    }
    const auto texts =
        c.name.find("access") != std::string::npos ? c.texts() : std::vector<std::string>();
    if (!texts.empty() && texts[0] == host::begin_mark) {
        has_begun_ = true;
        begin_ = c.begin + c.took;
    } else if (is_open()) {
        took_ = since_begin(c.begin);
        has_ended_ = !texts.empty() && texts[0] == host::end_mark;
        if (!has_ended_) {
            took_ = since_begin(c.begin + c.took);
            take_file(c);
            take_other(c);
        }
    }
}

void timeline::add(const call &c, const char *kind, std::string text, const double *took) {
    if (text.ends_with('\n')) {
        text.pop_back();
    }
    text += c.failure.empty() ? "" : ": " + c.failure;
    json step = {{"at", rounded(since_begin(c.begin))}, {"kind", kind}, {"text", text}};
    if (took != nullptr) {
        step["took"] = rounded(*took);
    }
    show(step);
}

/// The arguments of a command are "sh", "-c" and a line.
void timeline::begin_command(const call &c) {
    const auto words = c.texts();
    if (c.name == "execve" && c.failure.empty() && is_open() && !words.empty()) {
        add(c, "command", words.back());
        commands_[c.process] = {since_begin(c.begin), words.back()};
    }
}

void timeline::end_command(const call &c) {
    if (const auto ended = commands_.extract(c.result); !ended.empty()) {
        const command &run = ended.mapped();
        show({{"at", rounded(took_)},
              {"kind", "ended"},
              {"text", run.line},
              {"took", rounded(took_ - run.begin)},
              {"exit", exit_status(c.arguments)}});
    }
}

/// A file is shown once for each kind. The serial console and the statistics server are left to
/// take_other().
void timeline::take_file(const call &c) {
    constexpr std::array<const char *, 6> others = {"/userfs/cfgdb",         "/dev/urandom",
                                                    "/etc/localtime",        "/usr/share/zoneinfo/",
                                                    "/tmp/stat_server_fifo", serial_console};
    const char *kind = kind_of(c);
    const auto paths = kind != nullptr ? c.texts() : std::vector<std::string>();
    if (paths.empty() || std::any_of(others.begin(), others.end(), [&](const char *other) {
            return paths[0].starts_with(other);
        })) {
        return;
    }
    const std::string text = paths[0] + (paths.size() > 1 ? " -> " + paths[1] : "");
    if (files_.insert(kind + text + c.failure).second) {
        add(c, kind, text);
    }
}

void timeline::take_other(const call &c) {
    const std::string file = c.file();
    const std::string text = c.has("\"") ? c.texts()[0] : "";
    if (c.name == "wait4") {
        end_command(c);
    } else if (c.name.ends_with("nanosleep")) {
        const double took = c.took * 1000;
        add(c, "wait", "", &took);
    } else if (c.name == "sendto" && text.starts_with('<')) {
        add(c, "log", log_line(text));
    } else if (c.name == "ioctl" && c.has(", SIOC")) {
        add(c, "socket", request_of(c));
    } else if (c.name == "write" && file == serial_console) {
        add(c, "console", text);
    } else if (c.name == "write" && file.starts_with(server_pipes)) {
        written_ = since_begin(c.begin);
        add(c, "pipe", "to " + record_of(file, text));
    } else if (c.name == "read" && file.starts_with(server_pipes)) {
        const double took = took_ - written_;
        add(c, "pipe", "from " + record_of(file, text), &took);
    }
}

} // namespace trace
