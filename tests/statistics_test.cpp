// Traffic statistics behind the page: the bytes on the wire, exchanges that fail, virtual access points, billing
// periods, and the development server's history.

#include "support/transcript.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "../src/modules/statistics/statistics_applet.h"

namespace {

using namespace testing_device;

constexpr char server_pipe[] = "/tmp/stat_server_fifo", lock[] = "/tmp/.sflck";

const std::string own_pipe = "/tmp/stat_client_" + std::to_string(getpid()) + "_fifo";

std::string numbers(const std::vector<std::uint32_t> &values) {
    return {reinterpret_cast<const char *>(values.data()), values.size() * 4};
}

std::string padded(std::string text, std::size_t size) { return text.resize(size), text; }

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

/// What is requested while a call is made and a server gives these answers. Signals interrupt each wait of the client.
std::string requested(const strings &answers, const std::function<void()> &call) {
    struct sigaction ignore = {}; // without SA_RESTART
    ignore.sa_handler = [](int) {};
    sigaction(SIGUSR1, &ignore, nullptr);
    mkfifo(server_pipe, 0666);
    const int pipe = open(server_pipe, O_RDWR | O_CLOEXEC);
    const auto interrupt = [client = pthread_self()] {
        for (int i = 0; i < 3; ++i) { usleep(2000), pthread_kill(client, SIGUSR1); }
    };
    std::string received;
    std::thread server([&] {
        for (const std::string &answer : answers) {
            char bytes[200];
            received.append(bytes, static_cast<std::size_t>(read(pipe, bytes, 12)));
            received.append(bytes, static_cast<std::size_t>(read(pipe, bytes, static_cast<std::size_t>(bytes[8]))));
            interrupt();
            int out = -1;
            for (int i = 0; i < 1000 && (out = open(own_pipe.c_str(), O_WRONLY | O_NONBLOCK)) < 0; ++i) { usleep(999); }
            interrupt();
            EXPECT_EQ(write(out, answer.data(), answer.size()), static_cast<ssize_t>(answer.size()));
            close(out);
        }
    });
    call();
    server.join();
    close(pipe);
    unlink(server_pipe);
    return received;
}

class statistics_test : public stage {
protected:
    void TearDown() override {
        EXPECT_FALSE(exists(lock) || exists(own_pipe));
        stage::TearDown();
    }
    static std::string ask() {
        const speed_get_input_t input = {"usb"};
        speed_get_output_t output = {};
        return told([&] { return stat_speed_get(&input, &output); });
    }
    /// Makes the request of a transcript.
    void play(const std::string &text) {
        std::istringstream lines("== one\n" + text);
        const auto all = read_transcripts(lines, "statistics");
        const step &step = all[0].steps[0];
        for (const fact &given : step.given) { arrange(given); }
        payload sent(step);
        strings done = perform(step, &sent.record);
        done.push_back(sent.text());
        put_last_in_order(done);
        EXPECT_EQ(done, expected(step));
    }
};

TEST_F(statistics_test, the_self_test_shows_the_answers_and_sends_these_bytes) {
    EXPECT_EQ(told(stat_client_main),
              "0 Open server fifo failure\nOpen server fifo failure\nOpen server fifo failure\n");
    for (long block = 1; block <= 6; ++block) {
        EXPECT_EQ(refused(block, stat_client_main), "0 Open server fifo failure\nOpen server fifo failure\n");
    }
    const std::uint32_t pid = static_cast<std::uint32_t>(getpid());
    testing::internal::CaptureStdout();
    EXPECT_EQ(requested({numbers({1, 2, 4294967295U, 4, 5}), numbers({6}), numbers({7, 8})},
                        [] {
                            fault = {.is_armed = true};
                            stat_client_main();
                            EXPECT_EQ(std::exchange(fault, {}).block_count, 0);
                        }),
              numbers({1, pid, 108}) + padded("Accu Interface", 16) +
                  numbers({0, 0, 0, 0, 1, 4, 113, 0, 0, 0, 0, 0, 0, 0, 0, 1, 5, 113, 0, 0, 0, 0, 0}) +
                  numbers({0, pid, 16}) + padded("Reset Interface", 16) + numbers({2, pid, 16}) +
                  padded("Speed Interface", 16));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "got output\nrx:[1] rx_g:[2] tx:[-1] tx_g:[4] \n"
                                                      "got reset output ret:[6]\nspeed output\nrx:[7] tx:[8]\n");
}

TEST_F(statistics_test, requests_that_are_not_made_or_break_off) {
    speed_get_output_t output = {};
    const speed_get_input_t input = {"usb"};
    EXPECT_EQ(told([&] {
                  return call_server_func(OP_SPEED_GET, nullptr, &output) +
                         call_server_func(OP_SPEED_GET, &input, nullptr) + call_server_func(OP_END, &input, &output);
              }),
              "-3 ");
    EXPECT_EQ(get_data_size(IO_INPUT, OP_END) + get_data_size(IO_OUTPUT, OP_END), 0U);
    mkfifo(server_pipe, 0666);
    EXPECT_EQ(ask(), "-1 Open server fifo failure\n"); // nobody reads it
    const int pipe = open(server_pipe, O_RDWR | O_NONBLOCK | O_CLOEXEC);
    EXPECT_EQ(refused(1, [&] { return call_server_func(OP_SPEED_GET, &input, &output); }), "-1 ");
    EXPECT_FALSE(exists(lock));
    std::filesystem::create_symlink("/tmp/nowhere/pipe", own_pipe);
    EXPECT_EQ(get_client_fifo(IO_INPUT, getpid()), -1);
    EXPECT_EQ(ask(), "1 client read output error. ret:[-1] != output_dsize:[8]\n");
    fcntl(pipe, F_SETPIPE_SZ, 4096);
    const std::string filling(4096 - 28 - 12, 'x'); // beside the request; there is room for a header
    EXPECT_EQ(write(pipe, filling.data(), filling.size()), static_cast<ssize_t>(filling.size()));
    EXPECT_EQ(ask(), "1 write_io_data error. write size(-1) != dsize(16)\nwrite input data to server error\n");
    EXPECT_EQ(ask(), "1 write_io_meta_data error. write size(-1) != sizeof io_meta_data_t(12)\n"
                     "write meta data to server error\n");
    close(pipe);
    unlink(server_pipe);
}

TEST_F(statistics_test, transfers) {
    io_meta_data_t meta = {1, 2, 3};
    char bytes[8] = {};
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    const auto nothing = [](int fd, io_meta_data_t *record, char *data) {
        return write_io_meta_data(fd, record) + write_io_data(fd, 3, data) + read_io_meta_data(fd, record) +
               read_io_data(fd, 3, data);
    };
    EXPECT_EQ(told([&] { return nothing(-1, &meta, bytes) * 10 + nothing(ends[0], nullptr, nullptr); }), "-44 ");
    const int input = dup(0);
    dup2(ends[1], 0); // descriptor 0 is one like all
    EXPECT_EQ(told([&] { return write_io_meta_data(0, &meta) + write_io_data(0, 10, "0123456789"); }), "2 ");
    dup2(ends[0], 0);
    EXPECT_EQ(told([&] { return read_io_meta_data(0, &(meta = {})) + read_io_data(0, 7, bytes); }), "2 ");
    EXPECT_EQ(bytes + numbers({1, 2, 3}), "0123456" + std::string(reinterpret_cast<const char *>(&meta), sizeof(meta)));
    EXPECT_EQ(told([&] { return read_io_data(0, 2, bytes) + read_io_meta_data(0, &meta) + read_io_data(0, 7, bytes); }),
              "-1 read_io_meta_data error. read size(1) != sizeof io_meta_data_t(12)\n"
              "read_io_data error. read size(-1) != dsize(7)\n");
    close(0);
    EXPECT_EQ(enter_lock(), 1); // with descriptor 0
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
    const auto lost = [&] {
        EXPECT_EQ(told([&] { return write_io_data(ends[1], 3, "abc"); }),
                  "-1 write_io_data error. write size(-1) != dsize(3)\n");
        return sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
    };
    lost();
    sigprocmask(SIG_BLOCK, &pipe_signal, &before);
    EXPECT_FALSE(sigismember(&before, SIGPIPE) == 1 || lost());
    raise(SIGPIPE);
    EXPECT_TRUE(lost() && sigwaitinfo(&pipe_signal, nullptr) == SIGPIPE);
    sigprocmask(SIG_SETMASK, &before, nullptr);
    close(ends[1]);
    mkfifo(own_pipe.c_str(), 0600);
    const int reader = open(own_pipe.c_str(), O_RDONLY | O_NONBLOCK), writer = get_client_fifo(IO_OUTPUT, getpid());
    EXPECT_EQ((fcntl(writer, F_GETFL) & O_ACCMODE) + fcntl(writer, F_GETFD) * 10, O_WRONLY + FD_CLOEXEC * 10);
    close(writer);
    errno = EINTR; // of an earlier call: the end of the pipe is no interruption
    EXPECT_EQ(told([&] { return read_io_data(reader, 3, bytes); }),
              "-1 read_io_data error. read size(0) != dsize(3)\n");
    close(reader);
    remove_client_fifo();
}

TEST_F(statistics_test, a_busy_lock_is_given_up_after_ten_tries_and_left_in_place) {
    std::string busy;
    for (int i = 0; i < 10; ++i) { busy += "waits 500\n"; }
    busy += "stderr client " + std::to_string(getpid()) + " get lock fail!\\n\n";
    const std::string wan = "$ /usr/app/get_wan_interface.sh\n";
    play("server\nfile /tmp/.sflck held\nget statistics <s/>\n" + wan + wan + busy + busy + "-> <s/>");
    unlink(lock);
    for (plan.first = 1; plan.first <= 3; ++plan.first) { play("get statistics <s/>\nresult post-get -1\n-> <s/>"); }
}

TEST_F(statistics_test, results) {
    strings lines;
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
    lines.reserve(20);
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
    EXPECT_EQ(told([&] { return statistics_get(nullptr, &record) + statistics_get("usb", nullptr); }), "2 ");
    stat_time_t date = {};
    get_start_end_date(&date, nullptr);
    get_start_end_date(nullptr, &date);
    EXPECT_EQ(date.tm_year, 0);
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

TEST_F(statistics_test, a_counter_without_a_file_stays_and_long_names_are_cut) {
    statistics_t record = {{1, 2}, {3, 4, 5}, 6, 7, 8, 9, 10};
    std::filesystem::create_directories("/tmp/net/empty/statistics");
    write_file("/tmp/net/empty/statistics/rx_packets", "");
    write_file("/tmp/net/empty/statistics/rx_dropped", "x");
    const std::string sent = requested({numbers({11, 12, 13, 14, 15})},
                                       [&] { EXPECT_EQ(statistics_get("../../../tmp/net/empty", &record), 1); });
    EXPECT_EQ(fields(record), (std::vector<int>{1, 2, 3, 4, 5, 6, 12, 11, 14, 13}));
    EXPECT_EQ(sent.substr(12, 17), padded("../../../tmp/ne", 17));
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

TEST_F(statistics_test, the_development_server_keeps_its_history) {
    std::uint32_t total = 0;
    for (const std::uint32_t traffic : {0U, 10U}) { // the server starts anew
        output_of("/sim/traffic " + std::to_string(traffic));
        const pid_t server = fork();
        if (server == 0) { _exit(execlp("stat_server", "stat_server", "/tmp/traffic.db", nullptr)); }
        int pipe = -1;
        for (int i = 0; i < 5000 && (pipe = open(server_pipe, O_WRONLY | O_NONBLOCK)) < 0; ++i) { usleep(1000); }
        close(pipe);
        const auto sent = [](accu_type_t type) {
            accu_get_input_t input = {"ccinet0", type, {}, {}};
            get_start_end_date(&input.start_date, &input.end_date);
            accu_get_output_t output = {};
            return stat_accu_get(&input, &output) == 1 ? output.tx_bytes : 0;
        };
        EXPECT_GE(sent(ST_ACCU), total + traffic * 100);
        total = sent(ST_ACCU);
        const std::uint32_t current = sent(ST_CURRENT);
        const reset_input_t input = {"ccinet0"};
        reset_output_t output = {7};
        EXPECT_EQ(stat_reset(&input, &output) + output.ret, 1);
        EXPECT_TRUE(sent(ST_CURRENT) < current && sent(ST_ACCU) >= total);
        kill(server, SIGKILL);
        waitpid(server, nullptr, 0);
        unlink(server_pipe);
    }
}

} // namespace
