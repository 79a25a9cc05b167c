// Traffic statistics behind the page: exchanges that fail, virtual access points, and billing periods.

#include "support/transcript.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

#include "../src/modules/statistics/statistics_applet.h"

namespace {

using namespace testing_device;

constexpr char server_pipe[] = "/tmp/stat_server_fifo", lock[] = "/tmp/.sflck";
const std::string own_pipe = "/tmp/stat_client_" + std::to_string(getpid()) + "_fifo";

/// What a call writes to standard error, after its result.
template <typename Call>
std::string told(Call call) {
    testing::internal::CaptureStderr();
    const int result = call();
    return std::to_string(result) + " " + testing::internal::GetCapturedStderr();
}

/// The same when a block of memory that the call asks for is refused.
template <typename Call>
std::string refused(long block, Call call) {
    return told([&] {
        fault = {.is_armed = true, .first = block};
        const int result = call();
        return std::exchange(fault, {}).has_struck ? result : -9;
    });
}

class statistics_test : public stage {
protected:
    void TearDown() override {
        EXPECT_FALSE(exists(lock) || exists(own_pipe));
        stage::TearDown();
    }
    static int ask() {
        const speed_get_input_t input = {"usb"};
        speed_get_output_t output = {};
        return stat_speed_get(&input, &output);
    }
    /// Plays one request of a transcript.
    void play_lines(const std::string &text) {
        std::istringstream lines("== one\n" + text);
        play(read_transcripts(lines, "statistics").front());
    }
};

TEST_F(statistics_test, requests_that_are_not_made_or_break_off) {
    const speed_get_input_t input = {"usb"};
    speed_get_output_t output = {};
    EXPECT_EQ(call_server_func(OP_SPEED_GET, nullptr, &output) + call_server_func(OP_SPEED_GET, &input, nullptr) +
                  call_server_func(OP_END, &input, &output),
              -3);
    EXPECT_EQ(get_data_size(IO_INPUT, OP_END) + get_data_size(IO_OUTPUT, OP_END), 0U);
    mkfifo(server_pipe, 0666);
    EXPECT_EQ(told(ask), "-1 Open server fifo failure\n"); // nobody reads it
    const int pipe = open(server_pipe, O_RDWR | O_NONBLOCK | O_CLOEXEC);
    EXPECT_EQ(refused(1, ask), "-1 ");
    EXPECT_FALSE(exists(lock));
    std::filesystem::create_symlink("/tmp/nowhere/pipe", own_pipe);
    EXPECT_EQ(get_client_fifo(IO_INPUT, getpid()), -1);
    int interruptions = 0;
    opener = [&](const char *, int) { return interruptions++ % 2 == 0 ? (errno = EINTR, -1) : -2; };
    EXPECT_EQ(told(ask), "1 client read output error. ret:[-1] != output_dsize:[8]\n");
    EXPECT_EQ(interruptions, 6);
    opener = nullptr;
    fcntl(pipe, F_SETPIPE_SZ, 4096);
    const std::string filling(4096 - 28 - 12, 'x'); // beside the request; there is room for a header
    EXPECT_EQ(write(pipe, filling.data(), filling.size()), static_cast<ssize_t>(filling.size()));
    EXPECT_EQ(told(ask), "1 write_io_data error. write size(-1) != dsize(16)\nwrite input data to server error\n");
    EXPECT_EQ(told(ask), "1 write_io_meta_data error. write size(-1) != sizeof io_meta_data_t(12)\n"
                         "write meta data to server error\n");
    close(pipe);
    unlink(server_pipe);
}

TEST_F(statistics_test, transfers) {
    io_meta_data_t meta = {1, 2, 3}, came = {};
    char bytes[8] = {};
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    EXPECT_EQ(write_io_meta_data(-1, &meta) + write_io_data(-1, 3, bytes) + read_io_meta_data(-1, &meta) +
                  read_io_data(-1, 3, bytes) + write_io_meta_data(ends[1], nullptr),
              -5);
    EXPECT_EQ(write_io_meta_data(ends[1], &meta) + write_io_data(ends[1], 10, "0123456789"), 2);
    EXPECT_EQ(read_io_meta_data(ends[0], &came) + read_io_data(ends[0], 7, bytes), 2);
    EXPECT_EQ(bytes + std::to_string(came.op) + std::to_string(came.cpid) + std::to_string(came.dsize), "0123456123");
    const auto read_rest = [&] {
        return read_io_data(ends[0], 2, bytes) + read_io_meta_data(ends[0], &meta) + read_io_data(ends[0], 7, bytes);
    };
    EXPECT_EQ(told(read_rest), "-1 read_io_meta_data error. read size(1) != sizeof io_meta_data_t(12)\n"
                               "read_io_data error. read size(-1) != dsize(7)\n");
    const int input = dup(0);
    close(0);
    EXPECT_EQ(enter_lock(), 1); // with descriptor 0, which is one like all
    exit_lock();
    EXPECT_EQ(fcntl(0, F_GETFD), -1);
    dup2(input, 0);
    close(input);
    exit_lock(); // none is held
    EXPECT_NE(fcntl(0, F_GETFD), -1);
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
    is_pending_after_loss();
    sigprocmask(SIG_BLOCK, &pipe_signal, &before);
    EXPECT_FALSE(sigismember(&before, SIGPIPE) == 1 || is_pending_after_loss());
    raise(SIGPIPE);
    EXPECT_TRUE(is_pending_after_loss() && sigwaitinfo(&pipe_signal, nullptr) == SIGPIPE);
    sigprocmask(SIG_SETMASK, &before, nullptr);
    close(ends[1]);
}

TEST_F(statistics_test, a_busy_lock_is_given_up_after_ten_tries_and_left_in_place) {
    std::string busy;
    for (int i = 0; i < 10; ++i) { busy += "waits 500\n"; }
    busy += "stderr client " + std::to_string(getpid()) + " get lock fail!\\n\n";
    const std::string wan = "$ /usr/app/get_wan_interface.sh\n";
    play_lines("server\nfile /tmp/.sflck held\nget statistics <s/>\n" + wan + wan + busy + busy + "-> <s/>");
    unlink(lock);
    for (plan.first = 1; plan.first <= 3; ++plan.first) {
        play_lines("get statistics <s/>\nresult post-get -1\n-> <s/>");
    }
}

TEST_F(statistics_test, results) {
    strings lines;
    lines.reserve(20);
    recorded = &lines;
    const tree page = parse("<s><LanStatistics/></s>");
    statistics_t record = {};
    const auto all = [&] { // a digit each
        return wan_stat_get(page.get(), &record) + wan_accu_get(page.get(), &record) * 10 +
               lan_stat_get(page.get(), &record) * 100 + wlan_stat_get(page.get(), &record) * 1000;
    };
    EXPECT_EQ(told(all).substr(0, 4), "-11 ");
    write_file("/tmp/wan_ifc", "eth0");
    EXPECT_EQ(told(all).substr(0, 3), "10 ");
    int asks_nothing = 0; // without any of its four records
    for (long block = 1; block <= 10; ++block) {
        asks_nothing += refused(block, [&] { return wan_accu_get(page.get(), nullptr); }) == "1 " ? 1 : 0;
    }
    EXPECT_EQ(asks_nothing, 4);
    for (long block = 1; block <= 2; ++block) {
        EXPECT_EQ(refused(block, [&] { return statistics_get("usb", &record); }), "1 ");
    }
    recorded = nullptr;
    EXPECT_EQ(stat_xml_get(page.get(), nullptr, "LanStatistics") + stat_xml_get(page.get(), &record, nullptr), 2);
    EXPECT_EQ(statistics_get(nullptr, &record) + statistics_get("usb", nullptr), 2);
}

/// Makes an interface whose counters are files, each with the number and a digit of its own. Gives its name.
std::string made(const std::string &name, const std::string &number, const char *state = nullptr) {
    const std::string folder = "/tmp/net/" + name;
    std::filesystem::create_directories(folder + "/statistics");
    if (state != nullptr) { write_file(folder + "/operstate", state); }
    strings counters = {"rx_packets", "rx_dropped", "rx_errors", "tx_packets", "tx_dropped", "tx_errors", "collisions"};
    for (std::size_t i = 0; i < counters.size(); ++i) {
        write_file(folder + "/statistics/" + counters[i], number + std::to_string(i + 1));
    }
    return "../../.." + folder;
}

std::vector<int> fields(const statistics_t &record) {
    std::vector<int> all(sizeof(record) / 4);
    return std::memcpy(all.data(), &record, sizeof(record)), all;
}

TEST_F(statistics_test, virtual_access_points_are_summed) {
    const std::string wifi = made("wifi", "9");
    made("wifiap0", "1", "up\n");
    made("wifiap1", "200", "down\n");
    made("wifiap2", "10", "\n");
    made("wifiap3", "200", "a.lower.layer..down"); // of 19 characters
    made("wifiap5", "200");
    made("wifiap6", "100", "a.lower.layer...down"); // too long to be read whole
    std::filesystem::remove_all("/tmp/net/wifiap6/statistics/tx_errors");
    made("wifiap7", "1000", "unknown\n");
    made("wifiap8", "20000", "up\n");
    statistics_t record = {{1, 2}, {3, 4, 5}, 6, 7, 8, 9, 10};
    EXPECT_EQ(statistics_get_mbss(wifi.c_str(), &record), 0);
    EXPECT_EQ(fields(record), (std::vector<int>{91, 92, 11129, 11134, 11143, 10221, 7, 8, 9, 10}));
    testing::internal::CaptureStdout();
    EXPECT_EQ(statistics_get_mbss(nullptr, &record) + statistics_get_mbss("", nullptr), -2);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "pointer is NULL \npointer is NULL \n");
}

TEST_F(statistics_test, a_counter_without_a_number_stays_and_long_names_are_cut) {
    statistics_t record = {{1, 2}, {3, 4, 5}, 6, 7, 8, 9, 10};
    std::filesystem::create_directories("/tmp/net/empty/statistics");
    write_file("/tmp/net/empty/statistics/rx_packets", "");
    write_file("/tmp/net/empty/statistics/rx_dropped", "x");
    told([&] { return statistics_get("../../../tmp/net/empty", &record); });
    EXPECT_EQ(fields(record), (std::vector<int>{1, 2, 3, 4, 5, 6, 0, 0, 0, 0}));
    for (const std::size_t length : {45U, 46U}) { // the longest path that fits, and one more
        const std::string name(length, 'x'), interface = made(name, std::to_string(length));
        write_file("/tmp/net/" + name + "/statistics/collision", "8");
        told([&] { return statistics_get(interface.c_str(), &record); });
        EXPECT_EQ(record.tx.collisions, 457);
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
        clock_setting = std::mktime(&date);
        if (c.setting != nullptr) { set_setting("statistics", "StatisticsStartDay", c.setting); }
        stat_time_t start = {}, end = {};
        get_start_end_date(&start, &end);
        EXPECT_EQ((std::vector{start.tm_mday, start.tm_mon, start.tm_year, end.tm_mday, end.tm_mon, end.tm_year}),
                  (std::vector{c.first_day, c.first_month, 126, c.day, c.month, 126}));
    }
}

} // namespace
