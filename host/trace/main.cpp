// tarrow_trace: runs the host program under strace, and shows what its request did.

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "../traced.h"
#include "formatter.h"
#include "strace.h"
#include "timeline.h"

namespace {

constexpr char usage[] = "usage: tarrow_trace [--json] get|set MODULE [WORD...]\n";

double now() {
    timespec time = {};
    clock_gettime(CLOCK_REALTIME, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/// A pipe whose text is read in lines.
struct channel {
    std::array<int, 2> ends = {-1, -1}; // to read from, to write to
    std::string text = {};
    std::size_t taken = 0; // of the text
    std::size_t searched = 0;

    bool open() {
        return pipe2(ends.data(), O_CLOEXEC) == 0 && fcntl(ends[0], F_SETFL, O_NONBLOCK) == 0;
    }
    /// Reads what is there. False when no writer is left.
    bool read_all() {
        std::array<char, 65536> chunk;
        ssize_t count = 0;
        while ((count = read(ends[0], chunk.data(), chunk.size())) > 0) {
            text.append(chunk.data(), static_cast<std::size_t>(count));
        }
        return count < 0;
    }
    bool take_line(std::string &line) {
        const std::size_t end = text.find('\n', searched);
        if (end == std::string::npos) {
            text.erase(0, std::exchange(taken, 0));
            searched = text.size();
            return false;
        }
        line = text.substr(taken, end - taken);
        taken = searched = end + 1;
        return true;
    }
};

/// Everything in a file in memory.
std::string content_of(int file) {
    std::string text(static_cast<std::size_t>(std::max<off_t>(lseek(file, 0, SEEK_END), 0)), '\0');
    const ssize_t count = pread(file, text.data(), text.size(), 0);
    return text.substr(0, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
}

/// A request that runs and is followed.
class request {
public:
    explicit request(bool is_json)
        : is_json_(is_json), timeline_([this](const std::string &line) { show(line); }) {}

    /// Gives the host program's exit status, 1 when it could not be traced, -1 and errno when it
    /// could not be started.
    int run(const std::vector<std::string> &words) {
        if (answer_ < 0 || messages_ < 0 || !output_.open() || !calls_.open() || !start(words)) {
            return -1;
        }
        follow();
        int state = 0;
        waitpid(host_, &state, 0);
        int status = WIFEXITED(state) ? WEXITSTATUS(state) : 128 + WTERMSIG(state);
        std::string errors = content_of(messages_) + before_;
        if (WIFSIGNALED(state)) {
            errors += std::string("tarrow_host: ") + strsignal(WTERMSIG(state)) + "\n";
        } else if (!timeline_.is_complete() && (status == 0 || status == 3)) {
            errors += "tarrow_trace: the request ran, but could not be traced\n";
            status = 1;
        }
        timeline_.answer(content_of(answer_), status, errors);
        keep_output_open();
        return status;
    }

private:
    void show(const std::string &line) {
        if (is_json_) {
            std::puts(line.c_str());
        } else {
            formatter_.take(line);
        }
    }

    /// Starts the host program, which ends with this one. strace opens the pipe for its lines by a
    /// name here, so that neither the host program nor a command inherits it.
    bool start(const std::vector<std::string> &words) {
        constexpr int descriptor = 3; // of the host program's own messages
        std::vector<std::string> line = trace::strace_command(
            "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(calls_.ends[1]));
        line.insert(line.end(), {"tarrow_host", "--trace", std::to_string(descriptor)});
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
            dup2(answer_, STDOUT_FILENO);
            dup2(output_.ends[1], STDERR_FILENO);
            dup2(messages_, descriptor);
            execvp(arguments[0], arguments.data());
            std::perror("tarrow_trace: strace cannot be run");
            _exit(127);
        }
        close(output_.ends[1]);
        return host_ > 0;
    }

    /// Until strace has closed its pipe, whose writing end stays open here until strace has opened
    /// it too or has failed.
    void follow() {
        constexpr int interval_ms = 50;
        std::array<pollfd, 2> ready = {{{calls_.ends[0], POLLIN, 0}, {output_.ends[0], POLLIN, 0}}};
        bool has_strace = false;
        for (bool is_open = true; is_open;) {
            poll(ready.data(), ready.size(), interval_ms);
            siginfo_t ended = {};
            waitid(P_PID, static_cast<id_t>(host_), &ended, WEXITED | WNOHANG | WNOWAIT);
            is_open = calls_.read_all();
            if (!has_strace && (!calls_.text.empty() || ended.si_pid != 0)) {
                has_strace = close(calls_.ends[1]) == 0;
            }
            take_calls();
            take_output(now());
            for (pollfd &source : ready) {
                source.fd = (source.revents & POLLHUP) != 0 ? -1 : source.fd;
            }
            std::fflush(stdout);
        }
    }

    void take_calls() {
        std::string line;
        while (calls_.take_line(line)) {
            if (const auto call = reader_.read(line)) {
                if (call->name == "wait4" || call->name == "write") {
                    take_output(call->begin + call->took); // it was written before that ended
                }
                timeline_.take(*call);
            }
        }
    }

    void take_output(double seconds) {
        std::string line;
        has_writer_ = output_.read_all();
        while (output_.take_line(line)) {
            if (timeline_.is_open()) {
                timeline_.take_error(seconds, line);
            } else if (!timeline_.is_complete()) {
                before_ += line + "\n"; // strace says why it fails
            }
        }
    }

    /// A job that a command left in the background may write to its output for as long as it runs.
    void keep_output_open() const {
        if (!has_writer_ || fork() != 0) {
            return;
        }
        setsid();
        for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            close(descriptor);
        }
        fcntl(output_.ends[0], F_SETFL, 0);
        std::array<char, 65536> chunk;
        while (read(output_.ends[0], chunk.data(), chunk.size()) > 0) {
        }
        _exit(0);
    }

    bool is_json_;
    trace::formatter formatter_;
    trace::timeline timeline_;
    trace::reader reader_;
    int answer_ = memfd_create("answer", MFD_CLOEXEC);
    int messages_ = memfd_create("messages", MFD_CLOEXEC); // of the host program itself
    channel output_, calls_;
    std::string before_; // standard error before the handlers began
    bool has_writer_ = true;
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
    if (host::is_traced()) {
        std::fputs("tarrow_trace: this program is traced itself, so it cannot trace another\n",
                   stderr);
        return 1;
    }
    const int status = request(is_json).run(words);
    if (status < 0) {
        std::perror("tarrow_trace");
    }
    const bool is_written = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
    return status < 0 || !is_written ? 1 : status;
}
