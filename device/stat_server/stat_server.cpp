// The development statistics server: answers the library's requests from the kernel's byte
// counters. An SQLite file keeps the traffic of each day over a restart.
//
// usage: stat_server [HISTORY-FILE]
//
// A word in the file /sim/stat_server makes it fail: "short" (sends half an answer), "none" (sends
// no answer), "late" (answers after a second), "quit" (ends between header and payload) or "deaf"
// (does not read requests).

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <deque>
#include <fcntl.h>
#include <filesystem>
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
constexpr std::size_t speed_samples = 4; // about a second apart

struct traffic {
    bytes rx = 0;
    bytes tx = 0;
};

struct sample {
    std::chrono::steady_clock::time_point time;
    traffic counters;
};

bytes read_counter(const std::string &interface, const char *name) {
    bytes value = 0;
    std::ifstream("/sys/class/net/" + interface + "/statistics/" + name) >> value;
    return value;
}

traffic read_kernel(const std::string &interface) {
    return {read_counter(interface, "rx_bytes"), read_counter(interface, "tx_bytes")};
}

/// A counter's growth. A counter that is smaller than before belongs to a new interface, and began
/// at 0.
bytes growth(bytes now, bytes before) {
    return now >= before ? now - before : now;
}

/// A number that grows from day to day. A day that the month does not have counts as the 31st.
int day_number(int year, int month, int day) {
    return (std::clamp(year, 0, 9999) * 12 + std::clamp(month, 0, 11)) * 32 +
           std::clamp(day, 0, 31);
}

/// Seconds since the data connection started.
int connection_time() {
    double uptime = 0;
    double start = 0;
    std::ifstream("/proc/uptime") >> uptime;
    std::ifstream("/tmp/data_start_time") >> start;
    return static_cast<int>(uptime - start);
}

int today() {
    const std::time_t now = std::time(nullptr);
    std::tm date = {};
    localtime_r(&now, &date);
    return day_number(date.tm_year, date.tm_mon, date.tm_mday);
}

/// Traffic by interface and day, and the counters at the last look and at the last reset.
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

    /// Adds the growth of an interface's counters since the last look to today's traffic.
    void add_traffic(const std::string &interface, const traffic &now) {
        const traffic before = get("SELECT rx, tx FROM seen WHERE interface = %Q", interface);
        run(text("INSERT INTO days VALUES (%Q, %d, %lld, %lld) ON CONFLICT DO UPDATE SET"
                 " rx = rx + excluded.rx, tx = tx + excluded.tx",
                 interface.c_str(), today(), growth(now.rx, before.rx), growth(now.tx, before.tx)));
        if (now.rx < before.rx || now.tx < before.tx) { // a new interface
            run(text("DELETE FROM base WHERE interface = %Q", interface.c_str()));
        }
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

    /// Reads the counters of every interface.
    void take_samples() {
        for (const auto &entry : std::filesystem::directory_iterator("/sys/class/net")) {
            const std::string interface = entry.path().filename();
            auto &samples = samples_[interface];
            samples.push_back({std::chrono::steady_clock::now(), read_kernel(interface)});
            if (samples.size() > speed_samples) {
                samples.pop_front();
            }
            history_.add_traffic(interface, samples.back().counters);
        }
    }
    accu_get_output_t totals(const accu_get_input_t &input) {
        const std::string interface = name_of(input.interface);
        const traffic now = read_kernel(interface);
        history_.add_traffic(interface, now);
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
                static_cast<std::uint32_t>(all.tx / gigabyte), connection_time()};
    }
    speed_get_output_t speed(const speed_get_input_t &input) {
        const auto found = samples_.find(name_of(input.interface));
        if (found == samples_.end() || found->second.size() < 2) {
            return {};
        }
        const sample &first = found->second.front();
        const sample &last = found->second.back();
        const double seconds = std::chrono::duration<double>(last.time - first.time).count();
        const auto per_second = [&](bytes now, bytes before) {
            return static_cast<std::uint32_t>(static_cast<double>(growth(now, before)) / seconds);
        };
        return {per_second(last.counters.rx, first.counters.rx),
                per_second(last.counters.tx, first.counters.tx)};
    }
    reset_output_t reset(const reset_input_t &input) {
        const std::string interface = name_of(input.interface);
        history_.reset(interface, read_kernel(interface));
        return {0};
    }

private:
    template <std::size_t Size>
    static std::string name_of(const char (&text)[Size]) {
        return {text, strnlen(text, Size)};
    }

    history history_;
    std::map<std::string, std::deque<sample>> samples_;
};

std::string fault_mode() {
    std::string word;
    std::ifstream("/sim/stat_server") >> word;
    return word;
}

/// Whether a process exists and is no zombie.
bool is_alive(int process) {
    std::string line;
    std::getline(std::ifstream("/proc/" + std::to_string(process) + "/stat"), line);
    const std::size_t state = line.rfind(") ");
    return state != std::string::npos && line.compare(state + 2, 1, "Z") != 0;
}

/// Writes an answer to the pipe of a client, unless the client has ended.
template <typename Answer>
void answer(const io_meta_data_t &meta, const Answer &content) {
    const std::string how = fault_mode();
    if (how == "none") {
        return;
    }
    if (how == "late") {
        std::this_thread::sleep_for(1s);
    }
    const std::string path = "/tmp/stat_client_" + std::to_string(meta.cpid) + "_fifo";
    mkfifo(path.c_str(), 0777);
    int pipe = -1;
    for (int tries = 0; pipe < 0 && is_alive(meta.cpid);
         ++tries) { // opening fails until the client reads
        pipe = open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        if (pipe < 0) {
            mkfifo(path.c_str(), 0777);
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

/// Reads a record, which its client writes in one call. When it is not complete, drops all data
/// that the pipe has.
bool read_whole(int pipe, void *record, std::size_t size) {
    pollfd request = {pipe, POLLIN, 0};
    if (size > 0 && poll(&request, 1, 1000) > 0 &&
        read(pipe, record, size) == static_cast<ssize_t>(size)) {
        return true;
    }
    std::array<char, 4096> rest;
    while (poll(&request, 1, 0) > 0 && read(pipe, rest.data(), rest.size()) > 0) {
    }
    return false;
}

template <typename Input>
Input as(const std::array<char, 256> &payload) {
    Input input;
    std::memcpy(&input, payload.data(), sizeof(input));
    return input;
}

void handle_request(server &stat_server, int pipe) {
    io_meta_data_t meta = {};
    std::array<char, 256> payload = {};
    if (!read_whole(pipe, &meta, sizeof(meta))) {
        return;
    }
    if (fault_mode() == "quit") {
        std::exit(0);
    }
    const auto op = static_cast<opcode_t>(meta.op);
    if (!read_whole(pipe, payload.data(), std::min<std::size_t>(meta.dsize, payload.size())) ||
        meta.dsize != get_data_size(IO_INPUT, op)) {
        return;
    }
    switch (op) {
    case OP_ACCU_GET:
        answer(meta, stat_server.totals(as<accu_get_input_t>(payload)));
        break;
    case OP_SPEED_GET:
        answer(meta, stat_server.speed(as<speed_get_input_t>(payload)));
        break;
    case OP_RESET:
        answer(meta, stat_server.reset(as<reset_input_t>(payload)));
        break;
    default:
        break;
    }
}

} // namespace

int main(int argc, char **argv) {
    std::signal(SIGPIPE, SIG_IGN);
    server stat_server(argc > 1 ? argv[1] : default_history);
    mkfifo(request_pipe, 0666);
    const int pipe =
        open(request_pipe, O_RDWR | O_CLOEXEC); // with a writer, the pipe has no end of file
    if (pipe < 0) {
        std::perror("stat_server: /tmp/stat_server_fifo");
        return 1;
    }
    for (auto next = std::chrono::steady_clock::now();;) {
        pollfd request = {pipe, POLLIN, 0};
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            next - std::chrono::steady_clock::now());
        const auto wait = static_cast<int>(std::max(left, 0ms).count());
        if (poll(&request, fault_mode() == "deaf" ? 0 : 1, wait) > 0 && fault_mode() != "deaf") {
            handle_request(stat_server, pipe);
        }
        if (std::chrono::steady_clock::now() >= next) {
            stat_server.take_samples();
            next = std::chrono::steady_clock::now() + 1s;
        }
    }
}
