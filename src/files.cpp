#include "files.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <climits>

namespace tarrow {
namespace {

bool is_blank(int c) {
    return std::isspace(c) != 0;
}

} // namespace

file open_for_reading(const char *path) {
    unique_fd fd(open(path, O_RDONLY | O_CLOEXEC));
    file stream(fd ? fdopen(fd.get(), "r") : nullptr);
    if (stream) {
        fd.release();
    }
    return stream;
}

file open_for_writing(const char *path, int flags) {
    unique_fd fd(open(path, O_WRONLY | O_CLOEXEC | flags, 0666));
    file stream(fd ? fdopen(fd.get(), "w") : nullptr);
    if (stream) {
        fd.release();
    }
    return stream;
}

std::optional<int> parse_number(const char *text) {
    char *end = nullptr;
    const long value = std::strtol(text, &end, 10);
    if (end == text) {
        return std::nullopt;
    }
    return static_cast<int>(std::clamp<long>(value, INT_MIN, INT_MAX));
}

bool is_readable(const char *path) {
    return access(path, R_OK) == 0;
}

std::optional<int> read_number(const char *path) {
    const file stream = open_for_reading(path);
    return stream ? read_number(stream.get()) : std::nullopt;
}

std::optional<int> read_number(FILE *stream) {
    const auto next = [&] { return std::getc(stream); };
    int c = next();
    while (is_blank(c)) {
        c = next();
    }
    std::array<char, 16> number; // a sign and 14 digits: more than any int has
    std::size_t length = 0;
    if (c == '-' || c == '+') {
        number[length++] = static_cast<char>(c);
        c = next();
    }
    const std::size_t first_digit = length;
    for (; c >= '0' && c <= '9'; c = next()) {
        if (length == first_digit + 1 && number[first_digit] == '0') {
            --length; // a leading zero
        }
        if (length + 1 < number.size()) {
            number[length++] = static_cast<char>(c);
        }
    }
    number[length] = '\0';
    return parse_number(number.data());
}

bool read_word(const char *path, char *buffer, std::size_t size) {
    const file stream = open_for_reading(path);
    if (!stream || size == 0) {
        return false;
    }
    int c = std::getc(stream.get());
    while (is_blank(c)) {
        c = std::getc(stream.get());
    }
    if (c == EOF || c == '\0') {
        return false;
    }
    std::size_t length = 0;
    for (; c != EOF && !is_blank(c) && length + 1 < size; c = std::getc(stream.get())) {
        buffer[length++] = static_cast<char>(c);
    }
    buffer[length] = '\0';
    return true;
}

bool read_line(FILE *stream, char *buffer, std::size_t size) {
    return std::fgets(buffer, static_cast<int>(std::min<std::size_t>(size, INT_MAX)), stream) !=
           nullptr;
}

std::optional<std::size_t> read_text(const char *path, char *buffer, std::size_t size) {
    const file stream = open_for_reading(path);
    if (!stream || size == 0) {
        return std::nullopt;
    }
    const std::size_t length = std::fread(buffer, 1, size - 1, stream.get());
    buffer[length] = '\0';
    return length;
}

bool write_number(const char *path, int value) {
    file stream = open_for_writing(path, O_CREAT | O_TRUNC);
    if (!stream) {
        return false;
    }
    const bool written = std::fprintf(stream.get(), "%d", value) > 0;
    return std::fclose(stream.release()) == 0 && written;
}

} // namespace tarrow
