#include "support/files.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>

namespace tarrow {
namespace {

/// A state file holds one short value.
using state_text = std::array<char, 256>;

} // namespace

file open_stream(const char *path, int flags) {
    unique_fd fd(open(path, flags | O_CLOEXEC, 0666));
    file stream(fd ? fdopen(fd.get(), (flags & O_WRONLY) != 0 ? "w" : "r") : nullptr);
    if (stream) {
        fd.release();
    }
    return stream;
}

file open_for_reading(const char *path) {
    return open_stream(path, O_RDONLY);
}

bool is_readable(const char *path) {
    return access(path, R_OK) == 0;
}

std::optional<std::size_t> read_bytes(const char *path, char *buffer, std::size_t size) {
    const unique_fd fd(open(path, O_RDONLY | O_CLOEXEC));
    if (!fd) {
        return std::nullopt;
    }
    std::size_t length = 0;
    ssize_t count = 0;
    while (length < size && (count = read(fd.get(), buffer + length, size - length)) > 0) {
        length += static_cast<std::size_t>(count);
    }
    return length;
}

std::optional<std::size_t> read_text(const char *path, char *buffer, std::size_t size) {
    const auto length = read_bytes(path, buffer, size - 1);
    if (length) {
        buffer[*length] = '\0';
    }
    return length;
}

std::optional<std::size_t> read_first_line(const char *path, char *buffer, std::size_t size) {
    auto length = read_text(path, buffer, size);
    if (const void *end = length ? std::memchr(buffer, '\n', *length) : nullptr; end != nullptr) {
        length = static_cast<const char *>(end) - buffer + 1;
        buffer[*length] = '\0';
    }
    return length;
}

bool read_line(FILE *stream, char *buffer, std::size_t size) {
    return std::fgets(buffer, static_cast<int>(size), stream) != nullptr;
}

bool read_word(const char *path, char *buffer, std::size_t size) {
    constexpr char blanks[] = " \t\n\v\f\r";
    state_text text;
    if (!read_text(path, text.data(), text.size())) {
        return false;
    }
    const char *word = text.data() + std::strspn(text.data(), blanks);
    const std::size_t length = std::min(std::strcspn(word, blanks), size - 1);
    if (length > 0) {
        std::memcpy(buffer, word, length);
        buffer[length] = '\0';
    }
    return true;
}

std::optional<int> parse_number(const char *text) {
    char *end = nullptr;
    const long value = std::strtol(text, &end, 10);
    if (end == text) {
        return std::nullopt;
    }
    return static_cast<int>(std::clamp<long>(value, INT_MIN, INT_MAX));
}

bool scan_number(const char *path, int &value) {
    state_text text;
    if (!read_text(path, text.data(), text.size())) {
        return false;
    }
    value = parse_number(text.data()).value_or(value);
    return true;
}

std::optional<int> read_number(const char *path) {
    state_text text;
    return read_text(path, text.data(), text.size()) ? parse_number(text.data()) : std::nullopt;
}

bool write_number(const char *path, int value) {
    unique_fd target(open(path, O_WRONLY | O_CLOEXEC | O_CREAT | O_TRUNC, 0666));
    std::array<char, 12> digits; // "-2147483648"
    const auto length = std::snprintf(digits.data(), digits.size(), "%d", value);
    const ssize_t written = write(target.get(), digits.data(), static_cast<std::size_t>(length));
    return close(target.release()) == 0 && written == length;
}

} // namespace tarrow
