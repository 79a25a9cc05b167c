// Traffic statistics behind the page: exchanges that fail, access points and billing periods.

#include "support/device.h"

#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>

#include "modules/statistics/statistics_applet.h"
#include "support/owned.h"

namespace {

constexpr char server_pipe[] = "/tmp/stat_server_fifo";
const std::string interfaces = "/run/instead/sys/class/net/";

using statistics_test = device_test;

/// The end of the server's pipe that a server would read.
tarrow::unique_fd open_server() {
    mkfifo(server_pipe, 0666);
    return tarrow::unique_fd(open(server_pipe, O_RDWR | O_NONBLOCK | O_CLOEXEC));
}

std::string answer_pipe() {
    return "/tmp/stat_client_" + std::to_string(getpid()) + "_fifo";
}

/// Asks for speeds; gives what is written to standard error.
std::string ask(speed_get_output_t &speed) {
    const speed_get_input_t port = {"usb"};
    testing::internal::CaptureStderr();
    stat_speed_get(&port, &speed);
    return testing::internal::GetCapturedStderr();
}

TEST_F(statistics_test, an_answer_pipe_that_is_left_over_serves_again) {
    const tarrow::unique_fd server = open_server();
    speed_get_output_t speed = {};
    mkfifo(answer_pipe().c_str(), 0600);
    write_file("/run/instead" + answer_pipe(), std::string("\1\0\0\0\2\0\0\0", 8));
    EXPECT_EQ(ask(speed), "");
    EXPECT_EQ(speed.rx_speed, 1U);
    EXPECT_EQ(speed.tx_speed, 2U);
    EXPECT_NE(access(answer_pipe().c_str(), F_OK), 0);
    EXPECT_NE(access("/tmp/.sflck", F_OK), 0);
}

TEST_F(statistics_test, a_server_that_falls_behind_loses_requests) {
    const tarrow::unique_fd server = open_server();
    speed_get_output_t speed = {};
    fcntl(server.get(), F_SETPIPE_SZ, 4096);
    const std::string others(4096 - 12, 'x'); // there is room for a header, not for its payload
    ASSERT_EQ(write(server.get(), others.data(), others.size()), 4084);
    EXPECT_EQ(ask(speed), "write_io_data error. write size(-1) != dsize(16)\n"
                          "write input data to server error\n");
    EXPECT_EQ(ask(speed), "write_io_meta_data error. write size(-1) != sizeof io_meta_data_t(12)\n"
                          "write meta data to server error\n");
}

TEST_F(statistics_test, a_lock_that_stays_is_given_up_after_ten_tries) {
    const tarrow::unique_fd server = open_server();
    speed_get_output_t speed = {};
    write_file("/tmp/.sflck", "held");
    EXPECT_EQ(ask(speed), "client " + std::to_string(getpid()) + " get lock fail!\n");
    EXPECT_EQ(events, strings(10, "wait 500 ms"));
    EXPECT_EQ(enter_lock(), -1);
    EXPECT_EQ(output_of("cat /tmp/.sflck"), "held");
}

TEST_F(statistics_test, a_record_is_read_whole_or_not_at_all) {
    const tarrow::unique_fd server = open_server();
    io_meta_data_t meta = {};
    ASSERT_EQ(write(server.get(), "\1\0\0\0odd", 7), 7);
    EXPECT_EQ(read_io_data(server.get(), 4, &meta), 1);
    EXPECT_EQ(meta.op, OP_ACCU_GET);
    testing::internal::CaptureStderr();
    EXPECT_EQ(read_io_meta_data(server.get(), &meta), -1);
    EXPECT_EQ(read_io_data(server.get(), 4, &meta), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "read_io_meta_data error. read size(3) != sizeof io_meta_data_t(12)\n"
              "read_io_data error. read size(-1) != dsize(4)\n");
}

TEST_F(statistics_test, a_reader_that_goes_raises_no_signal) {
    const timespec at_once = {};
    sigset_t signals;
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const tarrow::unique_fd writer(ends[1]);
    close(ends[0]);
    EXPECT_EQ(write_io_data(writer.get(), 3, "abc"), -1); // a signal would end the program
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    EXPECT_EQ(write_io_data(writer.get(), 3, "abc"), -1);
    EXPECT_EQ(sigtimedwait(&signals, nullptr, &at_once), -1) << "none waits";
    sigprocmask(SIG_UNBLOCK, &signals, nullptr);
}

/// Makes an interface whose counters are a number and a digit each.
void make_interface(const std::string &name, const std::string &number) {
    int digit = 0;
    for (const char *counter : {"rx_packets", "rx_dropped", "rx_errors", "tx_packets", "tx_dropped",
                                "tx_errors", "collisions"}) {
        write_file(interfaces + name + "/statistics/" + counter, number + std::to_string(++digit));
    }
}

TEST_F(statistics_test, an_access_point_counts_unless_19_characters_of_its_state_say_down) {
    const std::pair<const char *, unsigned int> packets_by_state[] = {
        {"up\n", 14},
        {"lowerlayerdown\n", 0},
        {"of.19..........down", 0},
        {"of.20...........down", 14},
    };
    make_interface("wifiap7", "1");
    for (const auto &[state, packets] : packets_by_state) {
        statistics_t record = {};
        write_file(interfaces + "wifiap7/operstate", state);
        EXPECT_EQ(statistics_get_mbss("wifi", &record), 0);
        EXPECT_EQ(record.tx.sent, packets) << state;
        EXPECT_EQ(record.errors, packets == 0 ? 0U : 16U) << state;
    }
}

TEST_F(statistics_test, access_points_0_to_7_are_summed) {
    statistics_t record = {{1, 2}, {0, 0, 0}, 3, 4, 5, 6, 7};
    make_interface("wifi", "9");
    for (const std::string name : {"wifiap0", "wifiap7", "wifiap8"}) {
        make_interface(name, name.substr(6));
        write_file(interfaces + name + "/operstate", "up\n");
    }
    EXPECT_EQ(statistics_get_mbss("wifi", &record), 0);
    EXPECT_EQ(record.rx.received, 91);
    EXPECT_EQ(record.rx.dropped, 92);
    EXPECT_EQ(record.tx.sent, 4U + 74U);
    EXPECT_EQ(record.tx.dropped, 5 + 75);
    EXPECT_EQ(record.tx.collisions, 7 + 77);
    EXPECT_EQ(record.errors, 93U + 6U + 76U) << "counted anew";
    testing::internal::CaptureStdout();
    EXPECT_EQ(statistics_get_mbss(nullptr, &record), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "pointer is NULL \n");
}

TEST_F(statistics_test, billing_periods) {
    const struct {
        const char *reason;
        int month, day; // of today, in 2026; the first month is 0
        const char *setting;
        int start_year, start_month, start_day;
    } cases[] = {
        {"without a setting from the first", 0, 31, nullptr, 126, 0, 1},
        {"from the last month", 2, 10, "15", 126, 1, 15},
        {"from the last year", 0, 5, "15", 125, 11, 15},
        {"a day below 0 is later than today", 4, 5, "-1", 126, 3, -1},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.reason);
        std::tm date = {.tm_mday = c.day, .tm_mon = c.month, .tm_year = 126};
        setenv("CLOCK", std::to_string(timegm(&date)).c_str(), 1);
        if (c.setting != nullptr) {
            output_of("cfgdb_cmd set statistics StatisticsStartDay " + std::string(c.setting));
        }
        stat_time_t start = {};
        stat_time_t end = {};
        get_start_end_date(&start, &end);
        EXPECT_EQ(start.tm_year, c.start_year);
        EXPECT_EQ(start.tm_mon, c.start_month);
        EXPECT_EQ(start.tm_mday, c.start_day);
        EXPECT_EQ(end.tm_mday, c.day);
    }
}

} // namespace
