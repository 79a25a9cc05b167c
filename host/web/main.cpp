// tarrow_web: serves the simulated device that hangs on a process to a browser on this machine, at a
// port of 127.0.0.1, and prints its address. It runs outside the device, and enters it for each call.

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <string>
#include <sys/random.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "server.h"

namespace {

constexpr char usage[] = "usage: tarrow_web PORT PROJECT PROCESS\n";

int fail(const std::string &what) {
    std::fprintf(stderr, "tarrow_web: %s: %s\n", what.c_str(), std::strerror(errno));
    return 1;
}

/// A socket that listens on a port of 127.0.0.1, or -1. Port 0 becomes one that is free.
int listen_on(std::uint16_t &port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    socklen_t size = sizeof address;
    auto *const any = reinterpret_cast<sockaddr *>(&address);
    const int on = 1;
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool is_listening = setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
                              bind(listener, any, size) == 0 && listen(listener, SOMAXCONN) == 0 &&
                              getsockname(listener, any, &size) == 0;
    port = ntohs(address.sin_port);
    return is_listening ? listener : -1;
}

/// A text that nobody can guess, or an empty one.
std::string make_token() {
    std::array<std::uint64_t, 2> numbers = {};
    const bool is_filled = getrandom(numbers.data(), sizeof numbers, 0) == sizeof numbers;
    return is_filled ? std::to_string(numbers[0]) + std::to_string(numbers[1]) : "";
}

/// A descriptor that can be read when this program is told to end.
int watch_signals() {
    sigset_t endings;
    sigemptyset(&endings);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        sigaddset(&endings, signal);
    }
    sigprocmask(SIG_BLOCK, &endings, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    return signalfd(-1, &endings, SFD_CLOEXEC);
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 4) {
        std::fputs(usage, stderr);
        return 2;
    }
    auto port = static_cast<std::uint16_t>(std::strtoul(argv[1], nullptr, 10));
    const int listener = listen_on(port);
    if (listener < 0) {
        return fail(std::string("cannot listen on port ") + argv[1] + " of 127.0.0.1");
    }
    // While this is open, no other process gets the number of the device's.
    const auto device = static_cast<int>(syscall(SYS_pidfd_open, std::atoi(argv[3]), 0));
    const std::string token = make_token();
    if (device < 0 || token.empty()) {
        return fail("cannot serve the device");
    }
    const web::site site = {argv[2], argv[3], port == 80 ? "" : ":" + std::to_string(port), token};
    std::array<pollfd, 2> ends = {{{watch_signals(), POLLIN, 0}, {device, POLLIN, 0}}};
    MHD_Daemon *server = web::serve(site, listener);
    if (server == nullptr) {
        return fail("cannot serve");
    }
    std::printf("http://127.0.0.1%s/%s/\n", site.port.c_str(), token.c_str());
    std::fflush(stdout);
    while (poll(ends.data(), ends.size(), -1) < 0 && errno == EINTR) {
    }
    MHD_stop_daemon(server);
    if (ends[0].revents == 0) {
        std::fputs("tarrow_web: the device has ended\n", stderr);
        return 1;
    }
    return 0;
}
