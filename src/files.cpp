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

/// A small file, a byte at a time. A stdio stream takes two more system calls and 4 KiB.
class small_file {
public:
    explicit small_file(const char *path);

    explicit operator bool() const { return bool(fd_); }
    /// The next byte, or EOF.
    int next();

private:
    unique_fd fd_;
    std::array<unsigned char, 512> buffer_;
    std::size_t position_ = 0;
    std::size_t end_ = 0;
};

small_file::small_file(const char *path) : fd_(open(path, O_RDONLY | O_CLOEXEC)) {}

int small_file::next() {
    if (position_ == end_) {
        const ssize_t count = read(fd_.get(), buffer_.data(), buffer_.size());
        position_ = 0;
        end_ = count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return position_ < end_ ? buffer_[position_++] : EOF;
}

/// Goes to the first byte that is no blank, and gives it.
int skip_blanks(small_file &source) {
    int c = source.next();
    while (is_blank(c)) {
        c = source.next();
    }
    return c;
}

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
    small_file source(path);
    if (!source) {
        return std::nullopt;
    }
    int c = skip_blanks(source);
    const bool is_negative = c == '-';
    if (is_negative || c == '+') {
        c = source.next();
    }
    if (c < '0' || c > '9') {
        return std::nullopt;
    }
    int value = 0;
    for (; c >= '0' && c <= '9'; c = source.next()) {
        const int digit = is_negative ? '0' - c : c - '0';
        if (__builtin_mul_overflow(value, 10, &value) ||
            __builtin_add_overflow(value, digit, &value)) {
            value = is_negative ? INT_MIN : INT_MAX; // and so with every further digit
        }
    }
    return value;
}

bool read_word(const char *path, char *buffer, std::size_t size) {
    small_file source(path);
    if (!source || size == 0) {
        return false;
    }
    int c = skip_blanks(source);
    if (c == EOF || c == '\0') {
        return false;
    }
    std::size_t length = 0;
    for (; c != EOF && !is_blank(c) && length + 1 < size; c = source.next()) {
        buffer[length++] = static_cast<char>(c);
    }
    buffer[length] = '\0';
    return true;
}

bool read_line(FILE *stream, char *buffer, std::size_t size) {
    return std::fgets(buffer, static_cast<int>(std::min<std::size_t>(size, INT_MAX)), stream) !=
           nullptr;
}

std::optional<std::size_t> read_bytes(const char *path, char *buffer, std::size_t size, int last) {
    small_file source(path);
    if (!source) {
        return std::nullopt;
    }
    std::size_t length = 0;
    for (int c = EOF; length < size && (length == 0 || c != last) && (c = source.next()) != EOF;) {
        buffer[length++] = static_cast<char>(c);
    }
    return length;
}

std::optional<std::size_t> read_text(const char *path, char *buffer, std::size_t size, int last) {
    const auto length = size > 0 ? read_bytes(path, buffer, size - 1, last) : std::nullopt;
    if (length) {
        buffer[*length] = '\0';
    }
    return length;
}

bool write_number(const char *path, int value) {
    unique_fd target(open(path, O_WRONLY | O_CLOEXEC | O_CREAT | O_TRUNC, 0666));
    std::array<char, 12> digits; // "-2147483648"
    const auto length = std::snprintf(digits.data(), digits.size(), "%d", value);
    const ssize_t written = write(target.get(), digits.data(), static_cast<std::size_t>(length));
    return close(target.release()) == 0 && written == length;
}

} // namespace tarrow
