#include "support/command.h"

#include <cstdio>
#include <cstring>

#include "support/text.h"

namespace tarrow {
namespace {

/// Whether a text needs no quotes as a word behind a command's name. (Directly before ">" a text of
/// digits needs them too. The caller takes care of that.)
bool is_plain(const char *text) {
    return *text != '\0' && is_made_of(text, "_.,:/+@%=-");
}

} // namespace

/// Appends as much of the text as fits, less the room for reserve more characters.
bool command_builder::append(const char *text, std::size_t length, std::size_t reserve) {
    const std::size_t used = length_ + reserve + 1;
    const std::size_t room = used < size_ ? size_ - used : 0;
    const std::size_t fitting = length < room ? length : room;
    std::memcpy(buffer_ + length_, text, fitting);
    length_ += fitting;
    buffer_[length_] = '\0';
    complete_ = complete_ && fitting == length;
    return fitting == length;
}

command_builder &command_builder::text(const char *text) {
    return this->text(text, std::strlen(text));
}

command_builder &command_builder::text(const char *text, std::size_t length) {
    if (complete_) { // after a cut, nothing more is appended
        append(text, length, 0);
    }
    return *this;
}

command_builder &command_builder::word(const char *text) {
    if (!complete_) {
        return *this;
    }
    if (is_plain(text)) {
        return this->text(text);
    }
    if (length_ + 3 > size_) {
        complete_ = false; // no room for a pair of quotes
        return *this;
    }
    quoted(text);
    return *this;
}

void command_builder::quoted(const char *text) {
    append("'", 1, 1);
    while (*text != '\0') {
        const std::size_t run = std::strcspn(text, "'");
        if (!append(text, run, 1)) {
            break;
        }
        text += run;
        if (*text == '\'') {
            if (length_ + 6 > size_) { // no room for the whole escaped quote
                complete_ = false;
                break;
            }
            append("'\\''", 4, 1);
            ++text;
        }
    }
    append("'", 1, 0);
}

command_builder &command_builder::number(int value) {
    std::array<char, 12> digits; // "-2147483648"
    std::snprintf(digits.data(), digits.size(), "%d", value);
    return text(digits.data());
}

int run(const char *line) {
    return std::system(line);
}

pipe_stream open_command(const char *line) {
    pipe_stream stream(popen(line, "r"));
    if (stream) {
        fcntl(fileno(stream.get()), F_SETFD, FD_CLOEXEC);
    }
    return stream;
}

} // namespace tarrow
