// The two forms in which a request and what it did are printed.
#pragma once

#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <sys/ioctl.h>
#include <unistd.h>

#include "timeline.h"

namespace trace {

struct answer {
    std::string text;
    int status;         // of the host program
    double took;        // milliseconds, by the handlers
    std::string errors; // what the host program said of the request on standard error
};

/// For programs, a JSON object a line, as it happens. Times are milliseconds with one decimal, "at"
/// counts from where the library's handlers begin; bytes that are not UTF-8 come as U+FFFD.
///
///   {"at":0.4,"kind":"read","text":"/tmp/wan_ifc"}
///       or write, make, remove, rename, socket, log, console, error; or command, as one begins
///   {"at":5.3,"kind":"ended","text":"/usr/app/get_wan_interface.sh","took":4.9,"exit":0}
///       for a command; wait has "took", and the socket line of the statistics server's answer
///   {"kind":"answer","text":"<wan>...","status":0,"took":72.3,"errors":""}
///       at the end
///
/// For people, the answer, then what happened, a command with its end in one line, and what took
/// most of the time. Of a request that takes long, what happens is shown first, as it does.
class output {
public:
    explicit output(bool is_json) : is_json_(is_json) {}

    void show(const event &e) {
        if (is_json_) {
            json line = {{"at", rounded(e.at)}, {"kind", e.kind}, {"text", e.text}};
            if (e.took) {
                line["took"] = rounded(*e.took);
            }
            if (e.exit) {
                line["exit"] = *e.exit;
            }
            print(line);
            return;
        }
        if (e.took) {
            times_[e.kind == "wait" ? e.kind : e.text] += *e.took;
        }
        for (event &held : held_) {
            if (e.kind == "ended" && held.kind == "command" && !held.took && held.text == e.text) {
                held.took = e.took;
                held.exit = e.exit;
                return;
            }
        }
        held_.push_back(e);
        if (!is_held_) {
            release();
        }
    }

    /// Shows what was held back until the answer, and from now on what happens.
    void release() {
        for (const event &e : held_) {
            std::printf("%9.1f  %-8s %s", e.at, e.kind.c_str(), printable(e.text).c_str());
            if (e.exit) {
                std::printf("  (%.1f ms, exit status %d)", *e.took, *e.exit);
            } else if (e.took) {
                std::printf("  (%.1f ms)", *e.took);
            }
            std::puts("");
        }
        std::fflush(stdout);
        held_.clear();
        is_held_ = false;
    }

    void finish(const answer &a) {
        if (is_json_) {
            print({{"kind", "answer"},
                   {"text", a.text},
                   {"status", a.status},
                   {"took", rounded(a.took)},
                   {"errors", a.errors}});
            return;
        }
        std::fputs(a.text.c_str(), stdout);
        std::fflush(stdout);
        std::fputs(a.errors.c_str(), stderr);
        release();
        std::vector<std::pair<double, std::string>> longest;
        for (const auto &[what, time] : times_) {
            if (time > a.took / 10) { // else it is not worth telling
                longest.emplace_back(time, what);
            }
        }
        std::sort(longest.rbegin(), longest.rend());
        longest.resize(std::min<std::size_t>(longest.size(), 3));
        std::array<char, 64> number;
        std::snprintf(number.data(), number.size(), "%9.1f  in all", a.took);
        std::string line = number.data();
        const char *separator = ", most of it in ";
        for (const auto &[time, what] : longest) {
            std::snprintf(number.data(), number.size(), "%s%.1f ms ", separator, time);
            line += number.data() + printable(what);
            separator = "; ";
        }
        std::puts(fitted(line).c_str());
    }

private:
    using json = nlohmann::ordered_json;

    static double rounded(double milliseconds) { return std::round(milliseconds * 10) / 10; }
    static void print(const json &line) {
        std::puts(line.dump(-1, ' ', false, json::error_handler_t::replace).c_str());
        std::fflush(stdout);
    }
    /// A line that a terminal shows as one; the whole line where there is no terminal.
    static std::string fitted(std::string line) {
        winsize size = {};
        if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col < 4) {
            return line;
        }
        const auto begins_letter = [](char c) { return (c & 0xc0) != 0x80; };
        auto columns = std::count_if(line.begin(), line.end(), begins_letter);
        const bool is_wider = columns > size.ws_col;
        while (is_wider && columns > size.ws_col - 3) {
            columns -= begins_letter(line.back()) ? 1 : 0;
            line.pop_back();
        }
        return is_wider ? line + "..." : line;
    }
    /// A text in one line, without what a terminal would obey.
    static std::string printable(const std::string &text) {
        std::string line;
        for (const char c : text) {
            const auto byte = static_cast<unsigned char>(c);
            std::array<char, sizeof("\\x00")> code = {c};
            if (byte < ' ' || byte == 0x7f) {
                std::snprintf(code.data(), code.size(), c == '\n' ? "\\n" : "\\x%02x", byte);
            }
            line += code.data();
        }
        return line;
    }

    bool is_json_;
    bool is_held_ = true;
    std::vector<event> held_;
    std::map<std::string, double> times_; // that each command, and all waits, took
};

} // namespace trace
