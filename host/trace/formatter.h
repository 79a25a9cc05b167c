// Prints a traced request for people.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <utility>

#include "timeline.h"

namespace trace {

/// Prints each step in a line as it happens, a command when it has ended, then what took longest,
/// and the answer, each line behind "| ". No text from the device can look like another line of
/// this output or reach the terminal as a control sequence.
class formatter {
public:
    /// Takes a line of JSON.
    void take(const std::string &line);

private:
    void take_step(const json &step);
    void finish(const json &answer);

    std::map<std::string, double> begins_;   // of commands, in milliseconds
    std::pair<double, std::string> longest_; // what took longest
    std::size_t errors_ = 0;                 // lines of kind "error"
};

} // namespace trace
