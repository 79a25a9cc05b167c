// Owner types: they release what an operation holds on every path out of it.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <unistd.h>
#include <utility>

#include "cfgdb.h"

namespace tarrow {

struct free_memory {
    void operator()(void *block) const { std::free(block); }
};
struct close_file {
    void operator()(FILE *stream) const { std::fclose(stream); }
};
struct close_pipe {
    void operator()(FILE *stream) const { pclose(stream); }
};
struct close_store {
    void operator()(cfgdb_handle_t *handle) const { cfgdb_close(handle); }
};

/// A block from malloc.
template <typename T>
using heap = std::unique_ptr<T, free_memory>;
using heap_string = heap<char>;
/// A stdio stream on a file.
using file = std::unique_ptr<FILE, close_file>;
/// A stream of a command's output. Its destructor waits for the command.
using pipe_stream = std::unique_ptr<FILE, close_pipe>;
/// An open module of the settings store.
using store = std::unique_ptr<cfgdb_handle_t, close_store>;

class unique_fd {
public:
    explicit unique_fd(int fd = -1) : fd_(fd) {}
    unique_fd &operator=(unique_fd &&other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    unique_fd(const unique_fd &) = delete;
    unique_fd &operator=(const unique_fd &) = delete;
    ~unique_fd() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }

    [[nodiscard]] int get() const { return fd_; }
    /// The caller owns the descriptor from then on.
    int release() { return std::exchange(fd_, -1); }
    explicit operator bool() const { return fd_ >= 0; }

private:
    int fd_;
};

} // namespace tarrow
