// Shell commands: builds them in a fixed buffer, runs them and waits for them.
#pragma once

#include <array>
#include <cstddef>

#include "support/owned.h"

namespace tarrow {

/// Builds a command line in a caller's buffer, and terminates it at every step. It cuts what does
/// not fit; a cut word keeps its closing quote, so that the line is always well formed.
class command_builder {
public:
    command_builder(char *buffer, std::size_t size) : buffer_(buffer), size_(size) { *buffer = 0; }

    /// Appends shell text, unchanged.
    command_builder &text(const char *text);
    command_builder &text(const char *text, std::size_t length);
    /// Appends a text from outside as one shell word. A text of letters, digits and "_.,:/+@%=-" is
    /// unchanged; any other gets single quotes. An empty text becomes ''.
    command_builder &word(const char *text);
    command_builder &number(int value);

    /// False after a cut.
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

/// Runs a line in the shell and waits for it. Returns the wait status; when there is no shell, -1
/// or the wait status of exit status 127.
int run(const char *line);
inline int run(const command_builder &line) {
    return run(line.c_str());
}

/// Starts a line in the shell. Returns a stream of its output, or null.
pipe_stream open_command(const char *line);
inline pipe_stream open_command(const command_builder &line) {
    return open_command(line.c_str());
}

} // namespace tarrow
