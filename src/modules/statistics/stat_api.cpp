// The exchange with the statistics server.

#include "stat_api.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <sys/stat.h>

#include "support/clock.h"
#include "support/owned.h"

static_assert(sizeof(io_meta_data_t) == 12 && offsetof(io_meta_data_t, op) == 0);
static_assert(offsetof(io_meta_data_t, cpid) == 4 && offsetof(io_meta_data_t, dsize) == 8);
static_assert(sizeof(stat_time_t) == 44 && offsetof(stat_time_t, tm_sec) == 0);
static_assert(offsetof(stat_time_t, tm_min) == 4 && offsetof(stat_time_t, tm_hour) == 8);
static_assert(offsetof(stat_time_t, tm_mday) == 12 && offsetof(stat_time_t, tm_mon) == 16);
static_assert(offsetof(stat_time_t, tm_year) == 20 && offsetof(stat_time_t, tm_wday) == 24);
static_assert(offsetof(stat_time_t, tm_yday) == 28 && offsetof(stat_time_t, tm_isdst) == 32);
static_assert(offsetof(stat_time_t, tm_gmtoff) == 36 && offsetof(stat_time_t, tm_zone) == 40);
static_assert(sizeof(reset_input_t) == 16 && offsetof(reset_input_t, interface) == 0);
static_assert(sizeof(reset_output_t) == 4 && offsetof(reset_output_t, ret) == 0);
static_assert(sizeof(accu_get_input_t) == 108 && offsetof(accu_get_input_t, interface) == 0);
static_assert(offsetof(accu_get_input_t, accu_type) == 16);
static_assert(offsetof(accu_get_input_t, start_date) == 20);
static_assert(offsetof(accu_get_input_t, end_date) == 64);
static_assert(sizeof(accu_get_output_t) == 20 && offsetof(accu_get_output_t, rx_bytes) == 0);
static_assert(offsetof(accu_get_output_t, rx_gbytes) == 4);
static_assert(offsetof(accu_get_output_t, tx_bytes) == 8);
static_assert(offsetof(accu_get_output_t, tx_gbytes) == 12);
static_assert(offsetof(accu_get_output_t, connect_time) == 16);
static_assert(sizeof(speed_get_input_t) == 16 && offsetof(speed_get_input_t, interface) == 0);
static_assert(sizeof(speed_get_output_t) == 8 && offsetof(speed_get_output_t, rx_speed) == 0);
static_assert(offsetof(speed_get_output_t, tx_speed) == 4);

namespace {

constexpr char server_pipe[] = "/tmp/stat_server_fifo";
constexpr char lock_file[] = "/tmp/.sflck";
constexpr int lock_tries = 10;
constexpr int lock_interval_ms = 500;

constexpr std::array<uint32_t, OP_END> FUNC_INPUT_SIZE = {
    sizeof(reset_input_t), sizeof(accu_get_input_t), sizeof(speed_get_input_t)};
constexpr std::array<uint32_t, OP_END> FUNC_OUTPUT_SIZE = {
    sizeof(reset_output_t), sizeof(accu_get_output_t), sizeof(speed_get_output_t)};

int lock_fd = -1; // the lock file, while this process holds it

/// Blocks the SIGPIPE of a write, and restores the signal mask afterwards.
class sigpipe_blocker {
public:
    sigpipe_blocker() {
        sigemptyset(&pipe_signal_);
        sigaddset(&pipe_signal_, SIGPIPE);
        sigprocmask(SIG_BLOCK, &pipe_signal_, &old_mask_);
        sigset_t pending;
        was_pending_ = sigismember(&old_mask_, SIGPIPE) == 1 && // else it cannot be pending
                       sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
    }
    sigpipe_blocker(const sigpipe_blocker &) = delete;
    sigpipe_blocker &operator=(const sigpipe_blocker &) = delete;
    ~sigpipe_blocker() { sigprocmask(SIG_SETMASK, &old_mask_, nullptr); }

    /// Discards the SIGPIPE of a failed write, unless one was already pending before the write.
    void discard_pending() const {
        const timespec at_once = {};
        while (!was_pending_ && sigtimedwait(&pipe_signal_, nullptr, &at_once) < 0 &&
               errno == EINTR) {
        }
    }

private:
    sigset_t pipe_signal_;
    sigset_t old_mask_;
    bool was_pending_;
};

/// Repeats a system call after each signal that interrupts it.
template <typename Call>
auto retry_on_eintr(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

int write_once(int fd, const void *data, uint32_t size) {
    const sigpipe_blocker blocker;
    const auto count = retry_on_eintr([&] { return write(fd, data, size); });
    if (count < 0 && errno == EPIPE) {
        blocker.discard_pending();
    }
    return static_cast<int>(count);
}

int read_once(int fd, void *data, uint32_t size) {
    return static_cast<int>(retry_on_eintr([&] { return read(fd, data, size); }));
}

/// Returns 1 when a transfer moved all bytes of a record. Else reports both sizes and returns -1.
int check_size(int count, uint32_t size, const char *count_name, const char *size_name) {
    if (count == static_cast<int>(size)) {
        return 1;
    }
    std::fprintf(stderr, "%s(%d) != %s(%d)\n", count_name, count, size_name,
                 static_cast<int>(size));
    return -1;
}

using pipe_path = std::array<char, 40>;

pipe_path client_pipe(int32_t pid) {
    pipe_path path;
    std::snprintf(path.data(), path.size(), "/tmp/stat_client_%d_fifo", pid);
    return path;
}

/// Sends a request and reads its answer.
void exchange(int server, const io_meta_data_t &meta, const void *input, void *output) {
    if (write_io_meta_data(server, &meta) != 1) {
        std::fputs("write meta data to server error\n", stderr);
        return;
    }
    if (write_io_data(server, meta.dsize, input) != 1) {
        std::fputs("write input data to server error\n", stderr);
        return;
    }
    const tarrow::unique_fd answers(get_client_fifo(IO_INPUT, meta.cpid));
    const uint32_t size = get_data_size(IO_OUTPUT, static_cast<opcode_t>(meta.op));
    const int count = answers ? read_once(answers.get(), output, size) : -1;
    if (count != static_cast<int>(size)) {
        std::fprintf(stderr, "client read output error. ret:[%d] != output_dsize:[%d]\n", count,
                     static_cast<int>(size));
    }
    remove_client_fifo();
}

} // namespace

int call_server_func(opcode_t op, const void *input, void *output) {
    if (op < OP_RESET || op >= OP_END || input == nullptr || output == nullptr) {
        return -1;
    }
    const tarrow::unique_fd server(
        retry_on_eintr([] { return open(server_pipe, O_WRONLY | O_NONBLOCK | O_CLOEXEC); }));
    if (!server) {
        std::fputs("Open server fifo failure\n", stderr);
        return -1;
    }
    if (enter_lock() != 1) {
        std::fprintf(stderr, "client %d get lock fail!\n", static_cast<int>(getpid()));
        return -1;
    }
    io_meta_data_t *meta = alloc_meta();
    if (meta != nullptr) {
        *meta = {op, static_cast<int32_t>(getpid()), get_data_size(IO_INPUT, op)};
        exchange(server.get(), *meta, input, output);
    }
    const int result = meta != nullptr ? 1 : -1;
    free_meta(meta);
    exit_lock();
    return result;
}

uint32_t get_data_size(io_t direction, opcode_t op) {
    if (op < OP_RESET || op >= OP_END) {
        return 0;
    }
    const auto index = static_cast<std::size_t>(op);
    return direction == IO_INPUT    ? FUNC_INPUT_SIZE[index]
           : direction == IO_OUTPUT ? FUNC_OUTPUT_SIZE[index]
                                    : 0;
}

io_meta_data_t *alloc_meta() {
    return static_cast<io_meta_data_t *>(std::calloc(1, sizeof(io_meta_data_t)));
}
void free_meta(io_meta_data_t *meta) {
    std::free(meta);
}
void *alloc_data(uint32_t size) {
    return std::calloc(1, size);
}
void free_data(void *data) {
    std::free(data);
}

int enter_lock() {
    for (int i = 0; i < lock_tries; ++i) {
        lock_fd = retry_on_eintr(
            [] { return open(lock_file, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666); });
        if (lock_fd >= 0) {
            return 1;
        }
        tarrow::wait_ms(lock_interval_ms);
    }
    return -1;
}

void exit_lock() {
    if (lock_fd >= 0) {
        close(lock_fd);
        lock_fd = -1;
    }
    unlink(lock_file);
}

int write_io_meta_data(int fd, const io_meta_data_t *meta) {
    return fd < 0 || meta == nullptr
               ? -1
               : check_size(write_once(fd, meta, sizeof(*meta)), sizeof(*meta),
                            "write_io_meta_data error. write size", "sizeof io_meta_data_t");
}

int write_io_data(int fd, uint32_t size, const void *data) {
    return fd < 0 || data == nullptr ? -1
                                     : check_size(write_once(fd, data, size), size,
                                                  "write_io_data error. write size", "dsize");
}

int read_io_meta_data(int fd, io_meta_data_t *meta) {
    return fd < 0 || meta == nullptr
               ? -1
               : check_size(read_once(fd, meta, sizeof(*meta)), sizeof(*meta),
                            "read_io_meta_data error. read size", "sizeof io_meta_data_t");
}

int read_io_data(int fd, uint32_t size, void *data) {
    return fd < 0 || data == nullptr ? -1
                                     : check_size(read_once(fd, data, size), size,
                                                  "read_io_data error. read size", "dsize");
}

int get_client_fifo(io_t direction, int32_t pid) {
    const pipe_path path = client_pipe(pid);
    if (mkfifo(path.data(), 0777) != 0 && errno != EEXIST) {
        return -1;
    }
    const int mode = direction == IO_INPUT ? O_RDONLY : O_WRONLY;
    return retry_on_eintr([&] { return open(path.data(), mode | O_CLOEXEC); });
}

void remove_client_fifo() {
    unlink(client_pipe(static_cast<int32_t>(getpid())).data());
}
