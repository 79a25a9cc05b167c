// The steps of a request, made of the host program's system calls.
#pragma once

#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "strace.h"

namespace trace {

/// A step, or at the end the answer, as it is printed for programs. docs/trace.md describes both.
using json = nlohmann::ordered_json;

/// Follows the calls between the marks that the host program makes where the library's handlers
/// begin and end. It leaves out what the settings store and the C library open for themselves.
class timeline {
public:
    explicit timeline(std::function<void(const std::string &)> show) : show_(std::move(show)) {}

    void take(const call &c);
    /// A line that the library or a command wrote to standard error, and when, in seconds.
    void take_error(double seconds, const std::string &line);

    /// The end: the answer, the host program's exit status, and what it and strace complained of.
    void answer(const std::string &text, int status, const std::string &errors) const;

    /// Whether the handlers run: the first mark was seen, the second was not.
    [[nodiscard]] bool is_open() const { return has_begun_ && !has_ended_; }
    /// Whether both marks were seen.
    [[nodiscard]] bool is_complete() const { return has_ended_; }

private:
    struct command {
        double begin; // milliseconds
        std::string line;
    };

    [[nodiscard]] double since_begin(double seconds) const { return (seconds - begin_) * 1000; }
    void show(const json &object) const;
    void add(const call &c, const char *kind, std::string text, const double *took = nullptr);
    void begin_command(const call &c);
    void end_command(const call &c);
    void take_file(const call &c);
    void take_other(const call &c);

    std::function<void(const std::string &)> show_; // takes a line of JSON
    int host_ = 0;                                  // process
    double begin_ = 0;   // seconds; the others are milliseconds since then
    double took_ = 0;    // from the first mark to the second, or to the last call
    double written_ = 0; // when the statistics server was written to
    bool has_begun_ = false;
    bool has_ended_ = false;
    std::map<int, command> commands_; // that run, by process
    std::set<std::string> files_;     // that were shown
};

} // namespace trace
