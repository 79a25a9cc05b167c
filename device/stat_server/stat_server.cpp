// The development statistics server: answers the library's requests through its pipes, from the
// kernel's byte counters. Traffic of each day is kept in an SQLite file, and survives a restart.
//
// stat_server [HISTORY-FILE]. It can be told to misbehave: /sim/stat_server holds "short" (half an
// answer), "none" (no answer), "late" (an answer after a second), "quit" (ends between header and
// payload) or "deaf" (does not read).

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <deque>
#include <fcntl.h>
#include <fstream>
#include <map>
#include <poll.h>
#include <sqlite3.h>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "modules/statistics/stat_api.h"

namespace {

using namespace std::chrono_literals;
using bytes = std::uint64_t;

constexpr char request_pipe[] = "/tmp/stat_server_fifo";
constexpr char default_history[] = "/data/traffic.db";
constexpr bytes gigabyte = bytes{1} << 30;
constexpr std::size_t speed_samples = 4; // seconds over which a speed is taken

struct traffic {
    bytes rx = 0;
    bytes tx = 0;
};

bytes read_counter(const std::string &interface, const char *name) {
    bytes value = 0;
    std::ifstream("/sys/class/net/" + interface + "/statistics/" + name) >> value;
    return value;
}

traffic read_kernel(const std::string &interface) {
    return {read_counter(interface, "rx_bytes"), read_counter(interface, "tx_bytes")};
}

/// A counter's growth; one that went back began anew with its interface.
bytes growth(bytes now, bytes before) {
    return now >= before ? now - before : now;
}

int day_number(int year, int month, int day) {
    return (year * 12 + month) * 32 + day;
}

int today() {
    const std::time_t now = std::time(nullptr);
    std::tm date = {};
    localtime_r(&now, &date);
    return day_number(date.tm_year, date.tm_mon, date.tm_mday);
}

/// Traffic by interface and day, and the counters as they were last seen and at the last reset.
class history {
public:
    explicit history(const char *path) {
        if (sqlite3_open(path, &db_) != SQLITE_OK) {
            std::fprintf(stderr, "stat_server: cannot open %s\n", path);
        }
        run("PRAGMA synchronous = OFF;"
            "CREATE TABLE IF NOT EXISTS days (interface TEXT, day INTEGER, rx INTEGER, tx INTEGER,"
            " PRIMARY KEY (interface, day));"
            "CREATE TABLE IF NOT EXISTS seen (interface TEXT PRIMARY KEY, rx INTEGER, tx INTEGER);"
            "CREATE TABLE IF NOT EXISTS base (interface TEXT PRIMARY KEY, rx INTEGER, tx INTEGER)");
    }
    history(const history &) = delete;
    history &operator=(const history &) = delete;
    ~history() { sqlite3_close(db_); }

    /// Adds what an interface has carried since it was last seen to today's traffic.
    void account(const std::string &interface, const traffic &now) {
        const traffic before = get("SELECT rx, tx FROM seen WHERE interface = %Q", interface);
        run(text("INSERT INTO days VALUES (%Q, %d, %lld, %lld) ON CONFLICT DO UPDATE SET"
                 " rx = rx + excluded.rx, tx = tx + excluded.tx",
                 interface.c_str(), today(), growth(now.rx, before.rx), growth(now.tx, before.tx)));
        run(text("INSERT OR REPLACE INTO seen VALUES (%Q, %lld, %lld)", interface.c_str(), now.rx,
                 now.tx));
    }
    traffic between(const std::string &interface, int first, int last) {
        return get(("SELECT sum(rx), sum(tx) FROM days WHERE interface = %Q AND day BETWEEN " +
                    std::to_string(first) + " AND " + std::to_string(last))
                       .c_str(),
                   interface);
    }
    traffic since_reset(const std::string &interface, const traffic &now) {
        const traffic base = get("SELECT rx, tx FROM base WHERE interface = %Q", interface);
        return {growth(now.rx, base.rx), growth(now.tx, base.tx)};
    }
    void reset(const std::string &interface, const traffic &now) {
        run(text("INSERT OR REPLACE INTO base VALUES (%Q, %lld, %lld)", interface.c_str(), now.rx,
                 now.tx));
    }

private:
    template <typename... Arguments>
    static std::string text(const char *format, Arguments... arguments) {
        char *made = sqlite3_mprintf(format, arguments...);
        std::string result = made != nullptr ? made : "";
        sqlite3_free(made);
        return result;
    }
    void run(const std::string &sql) { sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, nullptr); }
    traffic get(const char *format, const std::string &interface) {
        traffic found;
        sqlite3_exec(
            db_, text(format, interface.c_str()).c_str(),
            [](void *context, int, char **cells, char **) {
                auto *result = static_cast<traffic *>(context);
                result->rx = cells[0] != nullptr ? std::stoull(cells[0]) : 0;
                result->tx = cells[1] != nullptr ? std::stoull(cells[1]) : 0;
                return 0;
            },
            &found, nullptr);
        return found;
    }

    sqlite3 *db_ = nullptr;
};

class server {
public:
    explicit server(const char *path) : history_(path) {}

    /// Looks at the counters of every interface that was asked for.
    void sample() {
        for (auto &[interface, samples] : samples_) {
            samples.push_back(read_kernel(interface));
            if (samples.size() > speed_samples) {
                samples.pop_front();
            }
            history_.account(interface, samples.back());
        }
    }
    accu_get_output_t totals(const accu_get_input_t &input) {
        const std::string interface = name_of(input.interface);
        const traffic now = read_kernel(interface);
        history_.account(interface, now);
        const auto day = [](const stat_time_t &t) {
            return day_number(t.tm_year, t.tm_mon, t.tm_mday);
        };
        const traffic all =
            input.accu_type == ST_ACCU
                ? history_.between(interface, day(input.start_date), day(input.end_date))
                : history_.since_reset(interface, now);
        return {static_cast<std::uint32_t>(all.rx % gigabyte),
                static_cast<std::uint32_t>(all.rx / gigabyte),
                static_cast<std::uint32_t>(all.tx % gigabyte),
                static_cast<std::uint32_t>(all.tx / gigabyte), 0};
    }
    speed_get_output_t speed(const speed_get_input_t &input) {
        const auto &samples = samples_[name_of(input.interface)];
        if (samples.size() < 2) {
            return {};
        }
        const bytes seconds = samples.size() - 1;
        return {
            static_cast<std::uint32_t>(growth(samples.back().rx, samples.front().rx) / seconds),
            static_cast<std::uint32_t>(growth(samples.back().tx, samples.front().tx) / seconds)};
    }
    reset_output_t reset(const reset_input_t &input) {
        const std::string interface = name_of(input.interface);
        history_.reset(interface, read_kernel(interface));
        return {0};
    }

private:
    /// The interface of a request, which is sampled from now on.
    template <std::size_t Size>
    std::string name_of(const char (&text)[Size]) {
        std::string name(text, strnlen(text, Size));
        samples_.try_emplace(name);
        return name;
    }

    history history_;
    std::map<std::string, std::deque<traffic>> samples_;
};

std::string behaviour() {
    std::string word;
    std::ifstream("/sim/stat_server") >> word;
    return word;
}

/// Writes an answer into the pipe of a client, which may have gone away.
template <typename Answer>
void answer(const io_meta_data_t &meta, const Answer &content) {
    const std::string how = behaviour();
    if (how == "none") {
        return;
    }
    if (how == "late") {
        std::this_thread::sleep_for(1s);
    }
    const std::string path = "/tmp/stat_client_" + std::to_string(meta.cpid) + "_fifo";
    mkfifo(path.c_str(), 0777);
    int pipe = -1;
    for (int tries = 0; pipe < 0 && tries < 2000 && kill(meta.cpid, 0) == 0; ++tries) {
        pipe = open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC); // until the client reads
        if (pipe < 0) {
            std::this_thread::sleep_for(tries < 200 ? 100us : 1ms);
        }
    }
    if (pipe < 0) {
        unlink(path.c_str());
        return;
    }
    const std::size_t size = how == "short" ? sizeof(content) / 2 : sizeof(content);
    if (write(pipe, &content, size) < 0) {
        std::perror("stat_server: answer");
    }
    close(pipe);
}

template <typename Input>
bool read_payload(int pipe, const io_meta_data_t &meta, Input &input) {
    return meta.dsize == sizeof(input) && read_io_data(pipe, sizeof(input), &input) == 1;
}

void serve(server &served, int pipe) {
    io_meta_data_t meta = {};
    if (read_io_meta_data(pipe, &meta) != 1) {
        return;
    }
    if (behaviour() == "quit") {
        std::exit(0);
    }
    if (accu_get_input_t input; meta.op == OP_ACCU_GET && read_payload(pipe, meta, input)) {
        answer(meta, served.totals(input));
    } else if (speed_get_input_t port; meta.op == OP_SPEED_GET && read_payload(pipe, meta, port)) {
        answer(meta, served.speed(port));
    } else if (reset_input_t which; meta.op == OP_RESET && read_payload(pipe, meta, which)) {
        answer(meta, served.reset(which));
    }
}

} // namespace

int main(int argc, char **argv) {
    std::signal(SIGPIPE, SIG_IGN);
    server served(argc > 1 ? argv[1] : default_history);
    mkfifo(request_pipe, 0666);
    const int pipe =
        open(request_pipe, O_RDWR | O_CLOEXEC); // with a writer of its own it never ends
    if (pipe < 0) {
        std::perror("stat_server: /tmp/stat_server_fifo");
        return 1;
    }
    for (auto next = std::chrono::steady_clock::now();;) {
        pollfd request = {pipe, POLLIN, 0};
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            next - std::chrono::steady_clock::now());
        const bool is_deaf = behaviour() == "deaf";
        if (poll(&request, is_deaf ? 0 : 1, std::max(0, static_cast<int>(left.count()))) > 0) {
            serve(served, pipe);
        }
        if (std::chrono::steady_clock::now() >= next) {
            served.sample();
            next += 1s;
        }
    }
}
