// A command that runs for a page, in a process group of its own.
#pragma once

#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace web {

class process {
public:
    /// Starts a command, whose standard input is a text. Its output and its errors go the same way.
    process(const std::vector<std::string> &words, std::string_view input);
    process(const process &) = delete;
    process &operator=(const process &) = delete;
    /// Ends the command with all that it has started in its group, unless status() was asked for.
    ~process();

    [[nodiscard]] bool is_started() const { return id_ > 0; }

    /// Waits for output, puts at most so many bytes of it into a buffer and gives their number: 0
    /// when there is no more, -1 when the other side of a socket went away before that.
    ssize_t read(char *buffer, std::size_t room, int socket) const;

    /// Waits for the command. Gives its exit status as a shell does: 127 when there is no such
    /// command, 128 and the number of the signal that ended it.
    int status();

private:
    pid_t id_ = 0;
    int output_ = -1;
};

} // namespace web
