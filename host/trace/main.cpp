// tarrow_trace: asks the host program, and shows what its request did.

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "output.h"

namespace {

constexpr char usage[] = "usage: tarrow_trace [--json] get|set MODULE [WORD...]\n";
constexpr char own_words[] = "tarrow_host: "; // before what the host program says on standard error
constexpr double patience = 1;                // seconds until what happens is shown at once

double now() {
    timespec time = {};
    clock_gettime(CLOCK_REALTIME, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/// A pipe, and what was read of it and not yet used.
struct channel {
    std::array<int, 2> ends = {-1, -1}; // to read from, to write to
    std::string text = {};

    bool open() {
        return pipe2(ends.data(), O_CLOEXEC) == 0 && fcntl(ends[0], F_SETFL, O_NONBLOCK) == 0;
    }
    /// Reads what is there. Gives false at the end.
    bool read_all() {
        std::array<char, 65536> chunk;
        ssize_t count = 0;
        while ((count = read(ends[0], chunk.data(), chunk.size())) > 0) {
            text.append(chunk.data(), static_cast<std::size_t>(count));
        }
        return count < 0;
    }
    bool take_line(std::string &line) {
        const std::size_t end = text.find('\n');
        if (end != std::string::npos) {
            line = text.substr(0, end);
            text.erase(0, end + 1);
        }
        return end != std::string::npos;
    }
};

/// A request that is asked and followed.
class request {
public:
    explicit request(bool is_json)
        : shown_(is_json), timeline_([this](const trace::event &e) { shown_.show(e); }) {}

    /// Gives the host program's exit status, or -1 and errno.
    int run(const std::vector<std::string> &words) {
        if (!answer_.open() || !errors_.open() || !calls_.open() || !start(words)) {
            return -1;
        }
        follow();
        int state = 0;
        waitpid(host_, &state, 0);
        const int status = WIFEXITED(state) ? WEXITSTATUS(state) : 128 + WTERMSIG(state);
        if (WIFSIGNALED(state)) {
            told_ += std::string(own_words) + strsignal(WTERMSIG(state)) + "\n";
        }
        shown_.finish({answer_.text, status, timeline_.took(), told_ + errors_.text});
        return status;
    }

private:
    /// Starts the host program, which ends with this one. Its calls go into a pipe that strace
    /// opens by its name here, so that neither the host program nor its commands inherit it.
    bool start(const std::vector<std::string> &words) {
        std::vector<std::string> line = trace::strace_command(
            "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(calls_.ends[1]));
        line.insert(line.end(), words.begin(), words.end());
        std::vector<char *> arguments;
        arguments.reserve(line.size() + 1);
        for (std::string &word : line) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        host_ = fork();
        if (host_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            dup2(answer_.ends[1], STDOUT_FILENO);
            dup2(errors_.ends[1], STDERR_FILENO);
            execvp(arguments[0], arguments.data());
            std::perror("tarrow_trace: strace cannot be run");
            _exit(127);
        }
        return host_ > 0;
    }

    /// Until strace has closed its pipe, which is kept open here until strace has it or has failed.
    void follow() {
        constexpr int interval_ms = 50;
        const double begin = now();
        std::array<pollfd, 3> ready = {};
        ready[0] = {calls_.ends[0], POLLIN, 0};
        ready[1] = {answer_.ends[0], POLLIN, 0};
        ready[2] = {errors_.ends[0], POLLIN, 0};
        for (bool is_open = true; is_open;) {
            poll(ready.data(), ready.size(), interval_ms);
            siginfo_t ended = {};
            waitid(P_PID, static_cast<id_t>(host_), &ended, WEXITED | WNOHANG | WNOWAIT);
            is_open = calls_.read_all();
            if (calls_.ends[1] >= 0 && (!calls_.text.empty() || ended.si_pid != 0)) {
                close(calls_.ends[1]);
                calls_.ends[1] = -1;
            }
            take_calls();
            take_errors(now());
            answer_.read_all();
            if (now() - begin > patience) {
                shown_.release();
            }
        }
    }

    void take_calls() {
        std::string line;
        while (calls_.take_line(line)) {
            if (const auto call = reader_.read(line)) {
                if (call->name == "wait4" || call->name == "write") {
                    take_errors(call->begin + call->took); // were written before it ended
                }
                timeline_.take(*call);
            }
        }
    }

    void take_errors(double seconds) {
        std::string line;
        errors_.read_all();
        while (errors_.take_line(line)) {
            if (timeline_.is_open() && !line.starts_with(own_words)) {
                timeline_.take_error(seconds, line);
            } else {
                told_ += line + "\n";
            }
        }
    }

    trace::output shown_;
    trace::timeline timeline_;
    trace::reader reader_;
    channel answer_, errors_, calls_;
    std::string told_; // by the host program itself
    pid_t host_ = -1;
};

} // namespace

int main(int argc, char **argv) {
    std::vector<std::string> words(argv + 1, argv + argc);
    const bool is_json = !words.empty() && words[0] == "--json";
    if (is_json) {
        words.erase(words.begin());
    }
    if (words.size() < 2 || (words[0] != "get" && words[0] != "set")) {
        std::fputs(usage, stderr);
        return 2;
    }
    words.insert(words.begin(), "tarrow_host");
    const int status = request(is_json).run(words);
    if (status < 0) {
        std::perror("tarrow_trace");
    }
    const bool is_written = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
    return status < 0 || !is_written ? 1 : status;
}
