// Prints a traced request for people.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "timeline.h"

namespace trace {

/// Prints the answer, each line behind "| ", then one line for each step, and what took most of the
/// time. While a request takes long, its steps are printed as they happen, and the answer after
/// them. No text from the device can look like a line of this output or reach the terminal as a
/// control sequence.
class formatter {
public:
    /// Takes a line of JSON.
    void take(const std::string &line);
    /// Prints what was held back until the answer, and from now on each step as it comes.
    void release();

private:
    void take_step(const json &step);
    void finish(const json &answer);
    void print_sum(double took) const;

    bool is_held_ = true;
    std::vector<json> held_;
    std::vector<std::size_t> running_;    // commands among them that have not ended
    std::size_t errors_ = 0;              // lines of kind "error"
    std::map<std::string, double> times_; // of each command, and of all waits
};

} // namespace trace
