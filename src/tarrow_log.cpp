#include "tarrow_log.h"

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr char serial_console[] = "/dev/ttyS0";
constexpr std::size_t line_size = 256;

} // namespace

int __tarrow_log_write(int /*prio*/, const char * /*tag*/, const char *msg) {
    // Without O_CLOEXEC: no command starts before the console is closed again.
    const int console = open(serial_console, O_WRONLY);
    if (console < 0) {
        return -1;
    }
    std::size_t left = msg != nullptr ? std::strlen(msg) : 0;
    while (left > 0) {
        const ssize_t written = write(console, msg, left);
        if (written > 0) {
            msg += written;
            left -= static_cast<std::size_t>(written);
        } else if (written == 0 || errno != EINTR) {
            break;
        }
    }
    return close(console);
}

int __tarrow_log_print(int prio, const char *tag, const char *fmt, ...) {
    if (fmt == nullptr) {
        return -1;
    }
    std::array<char, line_size> line = {};
    va_list arguments;
    va_start(arguments, fmt);
    std::vsnprintf(line.data(), line.size(), fmt, arguments);
    va_end(arguments);
    return __tarrow_log_write(prio, tag, line.data());
}
