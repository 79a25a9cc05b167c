// Shell commands: built in a fixed buffer, run, and waited for.
#pragma once

#include <array>
#include <cstddef>

#include "support/owned.h"

namespace tarrow {

/// A command line that grows in a caller's buffer and is always terminated. What does not fit is
/// cut; a cut word keeps its closing quote, so that the line stays well formed.
class command_builder {
public:
    command_builder(char *buffer, std::size_t size) : buffer_(buffer), size_(size) { *buffer = 0; }

    /// Adds fixed text of the command, as it is.
    command_builder &text(const char *text);
    /// The same for the first characters of a text.
    command_builder &text(const char *text, std::size_t length);
    /// Adds a text from outside as exactly one shell word, unless the line is cut: as it is when it
    /// is made only of letters, digits and "_.,:/+@%=-", single-quoted otherwise; an empty text is
    /// ''.
    command_builder &word(const char *text);
    /// Adds a decimal number.
    command_builder &number(int value);

    /// Whether nothing was cut.
    [[nodiscard]] bool complete() const { return complete_; }
    [[nodiscard]] const char *c_str() const { return buffer_; }

private:
    bool append(const char *text, std::size_t length, std::size_t reserve);
    void quoted(const char *text);

    char *buffer_;
    std::size_t size_;
    std::size_t length_ = 0;
    bool complete_ = true;
};

template <std::size_t Size>
struct command_storage {
    std::array<char, Size> characters;
};

/// A command line of at most Size - 1 characters.
template <std::size_t Size>
class command_line : private command_storage<Size>, public command_builder {
public:
    command_line() : command_builder(this->characters.data(), Size) {}
    command_line(const command_line &) = delete;
    command_line &operator=(const command_line &) = delete;
};

/// Runs a line through the shell and waits for it. Gives the wait status; without a shell it is
/// -1 or that of exit status 127.
int run(const char *line);
inline int run(const command_builder &line) {
    return run(line.c_str());
}

/// Starts a line through the shell with its output on a stream, or gives null.
pipe_stream open_command(const char *line);
inline pipe_stream open_command(const command_builder &line) {
    return open_command(line.c_str());
}

} // namespace tarrow
