// Traffic statistics behind the page: exchanges that fail, virtual access points, and billing periods.

#include "support/transcript.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "../src/modules/statistics/statistics_applet.h"

namespace {

using namespace testing_device;

constexpr char server_pipe[] = "/tmp/stat_server_fifo";

/// What a call writes to standard error, after its result.
template <typename Call>
std::string told(Call call) {
    testing::internal::CaptureStderr();
    const int result = call();
    return std::to_string(result) + " " + testing::internal::GetCapturedStderr();
}

class statistics_test : public stage {
protected:
    /// Makes an interface with a number and a digit of its own in each counter, or no file there with an empty number.
    void make(const std::string &interface, const std::string &number, const char *state = nullptr) {
        const std::string path = "/sys/class/net/" + interface;
        if (state != nullptr) { substitute(path + "/operstate", state); }
        int digit = 0;
        for (const char *counter :
             {"rx_packets", "rx_dropped", "rx_errors", "tx_packets", "tx_dropped", "tx_errors", "collisions"}) {
            substitute(path + "/statistics/" + counter, number + std::to_string(++digit));
        }
    }
    std::vector<int> fields() const {
        std::vector<int> all(sizeof(record) / 4);
        return std::memcpy(all.data(), &record, sizeof(record)), all;
    }
    long happens(const std::string &what, const std::string &text, std::string *output) override {
        const bool is_interrupted = what == "open" && interruptions > 0 && interruptions++ % 2 == 1;
        return is_interrupted ? -EINTR : stage::happens(what, text, output);
    }
    int interruptions = 0;
    statistics_t record = {{1, 2}, {3, 4, 5}, 6, 7, 8, 9, 10};
};

TEST_F(statistics_test, requests_that_break_off) {
    speed_get_input_t input = {"usb"};
    speed_get_output_t output = {};
    const auto ask = [&] { return stat_speed_get(&input, &output); };
    const auto ask_for_nothing = [&] {
        return call_server_func(OP_SPEED_GET, nullptr, &output) + call_server_func(OP_SPEED_GET, &input, nullptr) +
               call_server_func(OP_END, &input, &output);
    };
    EXPECT_EQ(told(ask_for_nothing), "-3 ");
    EXPECT_EQ(get_data_size(IO_INPUT, OP_END) + get_data_size(IO_OUTPUT, OP_END), 0U);
    mkfifo(server_pipe, 0666);
    EXPECT_EQ(told(ask), "-1 Open server fifo failure\n"); // nobody reads it
    const int pipe = open(server_pipe, O_RDWR | O_NONBLOCK | O_CLOEXEC);
    const std::string answers = "/tmp/stat_client_" + std::to_string(getpid()) + "_fifo";
    EXPECT_EQ(mkfifo(answers.c_str(), 0600), 0); // left by a client that was ended
    substitute(answers, "8 bytes.");
    EXPECT_EQ(told(ask), "1 ");
    interruptions = 1;
    EXPECT_EQ(told([&] { return enter_lock(); }), "1 ");
    EXPECT_EQ(interruptions, 3);
    interruptions = 0;
    exit_lock();
    fcntl(pipe, F_SETPIPE_SZ, 4096);
    const std::string filling(4096 - 28 - 12, 'x'); // beside the request; there is room for a header
    EXPECT_EQ(write(pipe, filling.data(), filling.size()), static_cast<ssize_t>(filling.size()));
    EXPECT_EQ(told(ask), "1 write_io_data error. write size(-1) != dsize(16)\nwrite input data to server error\n");
    EXPECT_EQ(told(ask), "1 write_io_meta_data error. write size(-1) != sizeof io_meta_data_t(12)\n"
                         "write meta data to server error\n");
    close(pipe);
    // A lock that stays is given up after ten tries, and left in place.
    seen();
    const int reader = open(server_pipe, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    write_file("/tmp/.sflck", "held");
    EXPECT_EQ(told(ask), "-1 client " + std::to_string(getpid()) + " get lock fail!\n");
    EXPECT_EQ(seen(), strings(10, "waits 500"));
    EXPECT_EQ(read_file("/tmp/.sflck"), "held");
    close(reader);
}

TEST_F(statistics_test, transfers) {
    io_meta_data_t meta = {1, 2, 3}, came = {};
    char bytes[8] = {};
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    EXPECT_EQ(write_io_meta_data(ends[1], &meta) + write_io_data(ends[1], 10, "0123456789"), 2);
    EXPECT_EQ(read_io_meta_data(ends[0], &came) + read_io_data(ends[0], 7, bytes), 2);
    EXPECT_EQ(bytes + std::to_string(came.op) + std::to_string(came.cpid) + std::to_string(came.dsize), "0123456123");
    const auto read_rest = [&] {
        return read_io_data(ends[0], 2, bytes) + read_io_meta_data(ends[0], &meta) + read_io_data(ends[0], 7, bytes);
    };
    EXPECT_EQ(told(read_rest), "-1 read_io_meta_data error. read size(1) != sizeof io_meta_data_t(12)\n"
                               "read_io_data error. read size(-1) != dsize(7)\n");
    // The reader goes: no signal, whether it is blocked or not; one that waited before still waits.
    close(ends[0]);
    sigset_t pipe_signal, before, pending;
    sigemptyset(&pipe_signal);
    sigaddset(&pipe_signal, SIGPIPE);
    const auto is_pending_after_loss = [&] {
        EXPECT_EQ(told([&] { return write_io_data(ends[1], 3, "abc"); }),
                  "-1 write_io_data error. write size(-1) != dsize(3)\n");
        return sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
    };
    EXPECT_FALSE(is_pending_after_loss());
    sigprocmask(SIG_BLOCK, &pipe_signal, &before);
    EXPECT_FALSE(is_pending_after_loss());
    raise(SIGPIPE);
    EXPECT_TRUE(is_pending_after_loss() && sigwaitinfo(&pipe_signal, nullptr) == SIGPIPE);
    sigprocmask(SIG_SETMASK, &before, nullptr);
    close(ends[1]);
}

TEST_F(statistics_test, virtual_access_points_are_summed) {
    make("wifi", "9");
    make("wifiap0", "1", "up\n");
    make("wifiap1", "200", "down\n");
    make("wifiap2", "10", "\n");
    make("wifiap3", "200", "a.lower.layer..down"); // of 19 characters
    make("wifiap5", "200");
    make("wifiap6", "100", "a.lower.layer...down"); // too long to be read whole
    substitute("/sys/class/net/wifiap6/statistics/tx_errors", "");
    make("wifiap7", "1000", "unknown\n");
    make("wifiap8", "20000", "up\n");
    testing::internal::CaptureStdout();
    EXPECT_EQ(statistics_get_mbss("wifi", &record) + statistics_get_mbss(nullptr, &record), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "pointer is NULL \n");
    EXPECT_EQ(fields(), (std::vector<int>{91, 92, 11129, 11134, 11143, 10221, 7, 8, 9, 10}));
}

TEST_F(statistics_test, a_counter_without_a_number_stays_and_long_names_are_cut) {
    substitute("/sys/class/net/empty/statistics/rx_packets", "");
    substitute("/sys/class/net/empty/statistics/rx_dropped", "x");
    told([&] { return statistics_get("empty", &record); });
    EXPECT_EQ(fields(), (std::vector<int>{1, 2, 3, 4, 5, 6, 0, 0, 0, 0}));
    for (const std::size_t length : {62U, 63U}) { // the longest path that fits, and one more
        const std::string name(length, 'x');
        make(name, std::to_string(length));
        substitute("/sys/class/net/" + name + "/statistics/collision", "8");
        told([&] { return statistics_get(name.c_str(), &record); });
        EXPECT_EQ(record.tx.collisions, 627);
    }
}

TEST_F(statistics_test, billing_periods) {
    const struct {
        int day, month;
        const char *setting;
        int first_day, first_month;
    } cases[] = {{31, 0, nullptr, 1, 0}, {10, 2, "15", 15, 1}, {15, 1, "15", 15, 1}, {1, 2, "31", 31, 1},
                 {31, 11, "1", 1, 11},   {5, 4, "0", 0, 4},    {5, 4, "x", 0, 4},    {5, 4, "-1", -1, 3}};
    for (const auto &c : cases) {
        std::tm date = {.tm_mday = c.day, .tm_mon = c.month, .tm_year = 126};
        clock = std::mktime(&date);
        if (c.setting != nullptr) { set_setting("statistics", "StatisticsStartDay", c.setting); }
        stat_time_t start = {}, end = {};
        get_start_end_date(&start, &end);
        EXPECT_EQ((std::vector{start.tm_mday, start.tm_mon, start.tm_year, end.tm_mday, end.tm_mon, end.tm_year}),
                  (std::vector{c.first_day, c.first_month, 126, c.day, c.month, 126}));
    }
}

} // namespace
