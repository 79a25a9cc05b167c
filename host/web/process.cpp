#include "process.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <poll.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fcntl.h>

namespace web {

process::process(const std::vector<std::string> &words, std::string_view input,
                 error_output errors) {
    std::vector<char *> arguments(words.size() + 1); // the last one is null
    std::transform(words.begin(), words.end(), arguments.begin(),
                   [](const std::string &word) { return const_cast<char *>(word.c_str()); });
    std::array<int, 2> ends = {-1, -1};
    const int file = memfd_create("input", MFD_CLOEXEC);
    errors_ = errors == error_output::separate ? memfd_create("errors", MFD_CLOEXEC) : -1;
    const bool is_ready =
        write(file, input.data(), input.size()) == static_cast<ssize_t>(input.size()) &&
        lseek(file, 0, SEEK_SET) == 0 && pipe2(ends.data(), O_CLOEXEC) == 0 &&
        (errors == error_output::joined || fcntl(errors_, F_SETFL, O_APPEND) == 0);
    id_ = is_ready ? fork() : 0;
    if (is_ready && id_ == 0) { // until exec only calls that are safe in a program with threads
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        std::signal(SIGPIPE, SIG_DFL);
        setpgid(0, 0);
        dup2(file, STDIN_FILENO);
        dup2(ends[1], STDOUT_FILENO);
        dup2(errors_ >= 0 ? errors_ : ends[1], STDERR_FILENO);
        execvp(arguments[0], arguments.data());
        _exit(127);
    }
    if (id_ > 0) {
        setpgid(id_, id_); // by whichever of the two comes first
    }
    output_ = ends[0];
    close(ends[1]);
    close(file);
}

process::~process() {
    if (id_ > 0) {
        kill(-id_, SIGKILL);
        status();
    }
    close(output_);
    close(errors_);
}

ssize_t process::read(char *buffer, std::size_t room, int socket) const {
    std::array<pollfd, 2> sources = {{{output_, POLLIN, 0}, {socket, POLLRDHUP, 0}}};
    while (poll(sources.data(), sources.size(), -1) < 0 && errno == EINTR) {
    }
    return sources[1].revents != 0 ? -1 : ::read(output_, buffer, room);
}

std::string process::errors() const {
    std::array<char, 65536> text = {};
    const ssize_t count = pread(errors_, text.data(), text.size(), 0);
    return {text.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
}

int process::status() {
    int status = 0;
    while (waitpid(id_, &status, 0) < 0 && errno == EINTR) {
    }
    id_ = 0;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

} // namespace web
