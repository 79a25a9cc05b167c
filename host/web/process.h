// A command that runs for a browser's call, in a process group of its own.
#pragma once

#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace web {

/// Where a command's standard error goes.
enum class error_output {
    joined,  ///< to the output
    separate ///< to be read with errors()
};

class process {
public:
    /// Starts a command with a text as its standard input.
    process(const std::vector<std::string> &words, std::string_view input, error_output errors);
    process(const process &) = delete;
    process &operator=(const process &) = delete;
    /// Ends the command and everything in its group, unless status() was called.
    ~process();

    [[nodiscard]] bool is_started() const { return id_ > 0; }

    /// Waits for output, puts at most so many bytes of it into a buffer and returns their number: 0
    /// at the end of the output, -1 when the other side of a socket goes away before that.
    ssize_t read(char *buffer, std::size_t room, int socket) const;

    /// What the command wrote to its standard error.
    [[nodiscard]] std::string errors() const;

    /// Waits for the command. Returns its exit status as a shell does: 127 when there is no such
    /// command, 128 and the number of the signal that ended it.
    int status();

private:
    pid_t id_ = 0;
    int output_ = -1;
    int errors_ = -1;
};

} // namespace web
