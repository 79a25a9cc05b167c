// Traffic statistics: the bytes on the wire, the exchange with a scripted and with the real server, counters
// and document.

#include "support/device.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "../src/modules/statistics/statistics_applet.h"

namespace {

using namespace testing_device;

constexpr char server_pipe[] = "/tmp/stat_server_fifo", lock[] = "/tmp/.sflck";

const std::string own_pipe = "/tmp/stat_client_" + std::to_string(getpid()) + "_fifo";

/// A server that takes requests, keeps their bytes and answers with given ones.
class scripted_server {
public:
    explicit scripted_server(std::string answer, int requests = 1) : answer_(std::move(answer)) {
        mkfifo(server_pipe, 0666);
        pipe_ = open(server_pipe, O_RDWR | O_CLOEXEC);
        thread_ = std::thread([this, requests] {
            for (int i = 0; i < requests; ++i) { serve(); }
        });
    }
    scripted_server(const scripted_server &) = delete;
    scripted_server &operator=(const scripted_server &) = delete;
    ~scripted_server() { stop(); }
    /// All that was requested.
    std::string stop() {
        if (thread_.joinable()) {
            thread_.join();
            close(pipe_);
            unlink(server_pipe);
        }
        return received_;
    }

private:
    void serve() {
        io_meta_data_t meta = {};
        EXPECT_EQ(read_io_meta_data(pipe_, &meta), 1);
        std::string payload(meta.dsize, '\0');
        EXPECT_EQ(read_io_data(pipe_, meta.dsize, payload.data()), 1);
        received_ += std::string(reinterpret_cast<const char *>(&meta), sizeof(meta)) + payload;
        const int out = get_client_fifo(IO_OUTPUT, meta.cpid);
        EXPECT_EQ(write(out, answer_.data(), answer_.size()), static_cast<ssize_t>(answer_.size()));
        close(out);
    }

    std::string answer_, received_;
    int pipe_ = -1;
    std::thread thread_;
};

void end(pid_t process) {
    kill(process, SIGKILL);
    while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) {}
}

/// The device's server, with a history of its own, until the test ends.
class real_server {
public:
    real_server() : pid_(fork()) {
        if (pid_ == 0) {
            execlp("stat_server", "stat_server", "/tmp/traffic.db", nullptr);
            _exit(127);
        }
        for (int i = 0; i < 500 && !exists(server_pipe); ++i) { usleep(10000); }
        usleep(50000); // it opens the pipe it has made
    }
    real_server(const real_server &) = delete;
    real_server &operator=(const real_server &) = delete;
    ~real_server() {
        end(pid_);
        unlink(server_pipe);
    }

private:
    pid_t pid_;
};

class statistics_test : public device_test {
protected:
    void TearDown() override {
        unlink("/sim/stat_server");
        EXPECT_FALSE(exists(lock) || exists(own_pipe));
        device_test::TearDown();
    }
    static std::string number(std::uint32_t value) { return {reinterpret_cast<const char *>(&value), sizeof(value)}; }
    /// What a request writes to standard error, after its result.
    static std::string ask(accu_get_output_t &output) {
        accu_get_input_t input = {};
        std::strcpy(input.interface, "ccinet0");
        testing::internal::CaptureStderr();
        const int result = stat_accu_get(&input, &output);
        return std::to_string(result) + " " + testing::internal::GetCapturedStderr();
    }
};

TEST_F(statistics_test, the_bytes_on_the_wire) {
    const std::string answer = number(1) + number(2) + number(3) + number(4) + number(5);
    scripted_server server(answer);
    accu_get_input_t input = {};
    std::strcpy(input.interface, "ccinet0");
    input.accu_type = ST_ACCU;
    input.start_date.tm_mday = 7;
    input.end_date.tm_year = 126;
    accu_get_output_t output = {};
    EXPECT_EQ(stat_accu_get(&input, &output), 1);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(&output), sizeof(output)), answer);
    std::string expected = number(1) + number(static_cast<std::uint32_t>(getpid())) + number(108) + "ccinet0" +
                           std::string(9, '\0') + number(1) + std::string(12, '\0') + number(7) +
                           std::string(28, '\0') + std::string(20, '\0') + number(126) + std::string(20, '\0');
    EXPECT_EQ(expected.size(), 120U);
    EXPECT_EQ(server.stop(), expected);
    scripted_server speeds(number(8) + number(9));
    const speed_get_input_t port = {"usb"};
    speed_get_output_t speed = {};
    EXPECT_EQ(stat_speed_get(&port, &speed), 1);
    EXPECT_EQ(speed.tx_speed, 9U);
    EXPECT_EQ(speeds.stop().size(), 28U);
    EXPECT_EQ(get_data_size(IO_OUTPUT, OP_RESET) + get_data_size(IO_INPUT, OP_END), 4U);
    EXPECT_EQ(call_server_func(OP_END, &port, &speed), -1);
}

TEST_F(statistics_test, exchanges_that_break_off) {
    accu_get_output_t output = {};
    EXPECT_EQ(ask(output), "-1 Open server fifo failure\n"); // no server
    {
        scripted_server server(std::string(12, '\1'));
        EXPECT_EQ(ask(output), "1 client read output error. ret:[12] != output_dsize:[20]\n");
        EXPECT_TRUE(output.tx_bytes != 0 && output.tx_gbytes == 0);
    }
    mkfifo(server_pipe, 0666);
    int pipe = open(server_pipe, O_RDWR | O_NONBLOCK | O_CLOEXEC);
    const std::string filling(65536, 'x');
    EXPECT_EQ(write(pipe, filling.data(), filling.size()), 65536);
    EXPECT_EQ(ask(output), "1 write_io_meta_data error. write size(-1) != sizeof io_meta_data_t(12)\n"
                           "write meta data to server error\n");
    close(pipe);
    unlink(server_pipe);
    // A reader that has gone raises no signal, and the handling of signals is as it was.
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    testing::internal::CaptureStderr();
    io_meta_data_t meta = {};
    char bytes[7];
    EXPECT_EQ(write(ends[1], "0123456789", 10), 10); // half a record
    EXPECT_EQ(read_io_data(ends[0], 7, bytes) + read_io_data(ends[0], 7, bytes), 0);
    EXPECT_EQ(write(ends[1], "x", 1), 1);
    EXPECT_EQ(read_io_meta_data(ends[0], &meta), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "read_io_data error. read size(3) != dsize(7)\n"
              "read_io_meta_data error. read size(1) != sizeof io_meta_data_t(12)\n");
    close(ends[0]);
    testing::internal::CaptureStderr();
    EXPECT_EQ(write_io_data(ends[1], 3, "abc"), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "write_io_data error. write size(-1) != dsize(3)\n");
    close(ends[1]);
    EXPECT_EQ(write_io_data(-1, 3, "abc"), -1);
    sigset_t blocked, pending;
    sigprocmask(SIG_BLOCK, nullptr, &blocked);
    sigpending(&pending);
    EXPECT_FALSE(sigismember(&blocked, SIGPIPE) == 1 || sigismember(&pending, SIGPIPE) == 1);
}

TEST_F(statistics_test, a_busy_lock_is_given_up_after_ten_tries) {
    mkfifo(server_pipe, 0666);
    const int pipe = open(server_pipe, O_RDWR | O_CLOEXEC);
    write_file(lock, "");
    accu_get_output_t output = {};
    EXPECT_EQ(ask(output), "-1 client " + std::to_string(getpid()) + " get lock fail!\n");
    EXPECT_TRUE(exists(lock)); // its holder's to remove
    unlink(lock);
    close(pipe);
    unlink(server_pipe);
}

TEST_F(statistics_test, every_client_gets_its_own_answer) {
    const pid_t server = fork();
    if (server == 0) { // answers with the process that asked
        mkfifo(server_pipe, 0666);
        const int pipe = open(server_pipe, O_RDWR);
        for (io_meta_data_t meta; read_io_meta_data(pipe, &meta) == 1;) {
            char payload[108];
            read_io_data(pipe, meta.dsize, payload);
            const accu_get_output_t output = {static_cast<std::uint32_t>(meta.cpid), 0, 0, 0, 0};
            const int out = get_client_fifo(IO_OUTPUT, meta.cpid);
            if (write(out, &output, sizeof(output)) < 0) { _exit(1); }
            close(out);
        }
        _exit(1);
    }
    for (int i = 0; i < 500 && !exists(server_pipe); ++i) { usleep(10000); }
    usleep(50000);
    const auto descriptors = [] {
        int count = 0;
        for (int fd = 0; fd < 256; ++fd) { count += fcntl(fd, F_GETFD) >= 0 ? 1 : 0; }
        return count;
    };
    std::array<pid_t, 20> clients;
    for (pid_t &client : clients) {
        client = fork();
        if (client == 0) {
            const int null = open("/dev/null", O_WRONLY);
            dup2(null, STDERR_FILENO);
            const int before = descriptors();
            int answered = 0, foreign = 0;
            for (int i = 0; i < 50; ++i) { // a client may find the lock busy ten times
                accu_get_input_t input = {};
                accu_get_output_t output = {};
                if (stat_accu_get(&input, &output) == 1) {
                    ++answered;
                    foreign += output.rx_bytes != static_cast<std::uint32_t>(getpid()) ? 1 : 0;
                }
            }
            _exit(foreign == 0 && answered >= 20 && descriptors() == before ? 0 : 1);
        }
    }
    for (const pid_t client : clients) {
        int status = -1;
        waitpid(client, &status, 0);
        EXPECT_EQ(status, 0);
    }
    end(server);
    unlink(server_pipe);
    EXPECT_EQ(output_of("ls /tmp/stat_client_* 2> /dev/null | wc -l"), "0\n");
}

TEST_F(statistics_test, servers_and_clients_that_go_away_and_signals_that_come) {
    struct sigaction ignore = {}, before = {};
    ignore.sa_handler = [](int) {};
    sigaction(SIGALRM, &ignore, &before); // without SA_RESTART: every call that waits is interrupted
    const itimerval often = {{0, 20000}, {0, 20000}}, never = {};
    setitimer(ITIMER_REAL, &often, nullptr);
    accu_get_output_t output = {};
    mkfifo(server_pipe, 0666);
    write_file(lock, "");
    int pipe = open(server_pipe, O_RDWR | O_CLOEXEC);
    std::thread leaving([&] { // the server ends while the client, which has its pipe open, waits for the lock
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        close(pipe);
        unlink(lock);
    });
    EXPECT_EQ(ask(output), "1 write_io_meta_data error. write size(-1) != sizeof io_meta_data_t(12)\n"
                           "write meta data to server error\n");
    leaving.join();
    unlink(server_pipe);
    {
        const real_server server;
        write_file("/sim/stat_server", "late");
        EXPECT_EQ(ask(output), "1 ");
        write_file("/sim/stat_server", "none");
        const pid_t client = fork();
        if (client == 0) {
            stat_client_main();
            _exit(0);
        }
        for (int i = 0; i < 100 && !exists("/tmp/stat_client_" + std::to_string(client) + "_fifo"); ++i) {
            usleep(20000);
        }
        end(client); // it dies with the lock
        EXPECT_TRUE(exists(lock));
        output_of("rm -f /tmp/.sflck /tmp/stat_client_*");
        write_file("/sim/stat_server", "short");
        EXPECT_EQ(ask(output), "1 client read output error. ret:[10] != output_dsize:[20]\n");
        unlink("/sim/stat_server");
        EXPECT_EQ(ask(output), "1 ");
    }
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &before, nullptr);
    alarm(60);
}

TEST_F(statistics_test, the_servers_history_and_the_self_test) {
    const auto sent = [](accu_type_t type) {
        accu_get_input_t input = {};
        std::strcpy(input.interface, "ccinet0");
        input.accu_type = type;
        get_start_end_date(&input.start_date, &input.end_date);
        accu_get_output_t output = {};
        EXPECT_EQ(stat_accu_get(&input, &output), 1);
        return output.tx_bytes;
    };
    std::uint32_t before = 0;
    {
        const real_server server;
        before = sent(ST_ACCU);
        EXPECT_GT(before, 0U);
        testing::internal::CaptureStdout();
        EXPECT_EQ(stat_client_main(), 0);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "got output\nrx:[0] rx_g:[0] tx:[0] tx_g:[0] \n"
                                                          "got reset output ret:[0]\nspeed output\nrx:[0] tx:[0]\n");
    }
    output_of("/sim/traffic 10");
    const real_server again;
    EXPECT_GE(sent(ST_ACCU), before + 1000);
    const std::uint32_t current = sent(ST_CURRENT);
    const reset_input_t input = {"ccinet0"};
    reset_output_t output = {7};
    EXPECT_EQ(stat_reset(&input, &output) + output.ret, 1);
    EXPECT_LT(sent(ST_CURRENT), current);
    EXPECT_GE(sent(ST_ACCU), before + 1000); // what was, stays
}

TEST_F(statistics_test, the_document_from_the_kernel_and_the_server) {
    const real_server server;
    set_setting("wan", "proto", "cellular");
    const std::string page =
        "<s><WanStatistics><errors/><x/><tx/></WanStatistics><LanStatistics><errors/><rx/><rx_dropped/>"
        "</LanStatistics><WlanStatistics/><WanStatisticsAccu><tx_speed/><rx_bytes/></WanStatisticsAccu></s>";
    const std::string before = output_of("cat /sys/class/net/ccinet0/statistics/tx_packets");
    const std::string first = get("statistics", page);
    EXPECT_EQ(calls(), (strings{"/usr/app/get_wan_interface.sh", "/usr/app/get_wan_interface.sh"}));
    EXPECT_EQ(text_of(first, "tx") + "\n", before);
    EXPECT_NE(first.find("<WanStatistics><x /><tx>"), std::string::npos);
    EXPECT_NE(first.find("<LanStatistics><rx_dropped /><rx>"), std::string::npos);
    EXPECT_NE(first.find("<WlanStatistics /><WanStatisticsAccu><rx_bytes>"), std::string::npos);
    const auto sent = [] {
        return std::stol(text_of(get("statistics", "<s><WanStatistics><tx_bytes/></WanStatistics></s>"), "tx_bytes"));
    };
    const long bytes = sent();
    output_of("/sim/traffic 10");
    EXPECT_GE(sent(), bytes + 1000);
    output_of("rm /tmp/wan_ifc; : > /sim/fail/get_wan_interface.sh");
    EXPECT_EQ(get("statistics",
                  "<s><WanStatistics><tx/></WanStatistics><WanStatisticsAccu><rx_bytes/></WanStatisticsAccu></s>"),
              "<s><WanStatistics><tx /></WanStatistics><WanStatisticsAccu><rx_bytes /></WanStatisticsAccu></s>");
}

TEST_F(statistics_test, groups_are_filled_in_their_order) {
    const statistics_t record = {{1, 2}, {4294967295U, 4, 5}, 6, 7, 8, 9, 10};
    const auto filled = [&](const std::string &group) {
        const std::string all =
            "<errors/><tx_bytes/><rx_bytes/><tx_giga_bytes/><rx_giga_bytes/><tx_dropped/><tx_collisions/>"
            "<rx_dropped/><tx/><rx/>";
        const tree page = parse("<s><" + group + ">" + all + "</" + group + "></s>");
        EXPECT_EQ(stat_xml_get(page.get(), &record, group.c_str()), 1);
        return serialise(mxmlGetFirstChild(page.get()));
    };
    const std::string rest = "<rx_giga_bytes>7</rx_giga_bytes><tx_giga_bytes>9</tx_giga_bytes><rx_bytes>8</rx_bytes>"
                             "<tx_bytes>10</tx_bytes><errors>6</errors></";
    EXPECT_EQ(filled("WlanStatistics"),
              "<WlanStatistics><rx>1</rx><tx>-1</tx><rx_dropped>2</rx_dropped><tx_collisions>5"
              "</tx_collisions><tx_dropped>4</tx_dropped>" +
                  rest + "WlanStatistics>");
    EXPECT_EQ(filled("LanStatistics"),
              "<LanStatistics><tx_dropped /><tx_collisions /><rx_dropped /><rx>1</rx><tx>-1</tx>" + rest +
                  "LanStatistics>");
}

TEST_F(statistics_test, virtual_access_points_are_summed) {
    output_of("for i in 0 2 3; do ip link add wifiap$i type veth peer name peer$i; ip link set peer$i up; ip link set "
              "wifiap$i up; done;"
              "ip link set wifiap3 down; ip link add wifi type veth peer name wifipeer; sleep 0.3");
    const auto sum = [] {
        return std::stoul(output_of("cd /sys/class/net; echo $(($(cat wifiap0/statistics/tx_packets) + $(cat "
                                    "wifiap2/statistics/tx_packets)))"));
    };
    statistics_t record = {};
    const unsigned long before = sum(); // the kernel sends when it likes
    EXPECT_EQ(statistics_get_mbss("wifi", &record), 0);
    EXPECT_TRUE(before > 0 && before <= record.tx.sent && record.tx.sent <= sum()) << record.tx.sent;
    output_of("for i in ap0 ap2 ap3 ''; do ip link del wifi$i; done");
    const std::uint32_t known = record.tx.sent;
    testing::internal::CaptureStderr();
    statistics_get(std::string(90, 'w').c_str(), &record); // no such counters: the record keeps what it has
    statistics_get("wifi", &record);
    EXPECT_EQ(record.tx.sent, known);
    testing::internal::GetCapturedStderr();
    testing::internal::CaptureStdout();
    EXPECT_EQ(statistics_get_mbss(nullptr, &record), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "pointer is NULL \n");
}

TEST_F(statistics_test, billing_periods) {
    const struct {
        const char *today, *start_day, *period;
    } cases[] = {
        {"2026-03-20", "15", "15.3.2026-20.3.2026"},  {"2026-03-10", "15", "15.2.2026-10.3.2026"},
        {"2026-01-05", "15", "15.12.2025-5.1.2026"},  {"2026-04-30", "31", "31.3.2026-30.4.2026"},
        {"2026-03-01", "31", "31.2.2026-1.3.2026"},   {"2028-02-29", "29", "29.2.2028-29.2.2028"},
        {"2026-12-31", "1", "1.12.2026-31.12.2026"},  {"2026-05-05", "0", "0.5.2026-5.5.2026"},
        {"2026-05-05", "x", "0.5.2026-5.5.2026"},     {"2026-05-05", "-1", "-1.4.2026-5.5.2026"},
        {"2026-05-05", nullptr, "1.5.2026-5.5.2026"},
    };
    for (const auto &c : cases) {
        std::tm date = {};
        strptime(c.today, "%Y-%m-%d", &date);
        date.tm_hour = 12;
        clock_setting = std::mktime(&date);
        output_of("cfgdb_cmd set statistics other x; rm -f /userfs/cfgdb/settings.db");
        if (c.start_day != nullptr) { set_setting("statistics", "StatisticsStartDay", c.start_day); }
        stat_time_t start = {}, end = {};
        get_start_end_date(&start, &end);
        const auto text = [](const stat_time_t &t) {
            return std::to_string(t.tm_mday) + "." + std::to_string(t.tm_mon + 1) + "." +
                   std::to_string(t.tm_year + 1900);
        };
        EXPECT_EQ(text(start) + "-" + text(end), c.period);
    }
    setting("wan", "proto");
}

} // namespace
