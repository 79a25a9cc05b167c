// tarrow_web: serves the simulated device to a browser on this machine. It is started twice: on the
// machine, where it opens the socket that a browser can reach, and by that inside the device, where
// it serves it.

#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "server.h"

namespace {

constexpr char usage[] =
    "usage: tarrow_web listen PORT COMMAND... | serve FOLDER\n"
    "  listen   runs a command with a socket of that port of 127.0.0.1 as its standard input\n"
    "  serve    serves such a socket from the project's folder, and prints its address\n";

int fail(const std::string &what) {
    std::fprintf(stderr, "tarrow_web: %s: %s\n", what.c_str(), std::strerror(errno));
    return 1;
}

int listen_for(const char *port, char **command) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(std::strtoul(port, nullptr, 10)));
    const int on = 1;
    close(STDIN_FILENO);
    if (socket(AF_INET, SOCK_STREAM, 0) != STDIN_FILENO ||
        setsockopt(STDIN_FILENO, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
        bind(STDIN_FILENO, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
        listen(STDIN_FILENO, SOMAXCONN) != 0) {
        return fail(std::string("cannot listen on port ") + port + " of 127.0.0.1");
    }
    execvp(command[0], command);
    return fail(command[0]);
}

int serve(const char *folder) {
    sockaddr_in address = {};
    socklen_t size = sizeof address;
    if (getsockname(STDIN_FILENO, reinterpret_cast<sockaddr *>(&address), &size) != 0) {
        return fail("the standard input is no socket");
    }
    const std::string port = std::to_string(ntohs(address.sin_port));
    const web::site site = {folder, port == "80" ? "" : ":" + port};
    // What brought this program into the device may be ended first; there is time to tidy up then.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    sigset_t endings;
    sigemptyset(&endings);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        sigaddset(&endings, signal);
    }
    sigprocmask(SIG_BLOCK, &endings, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    MHD_Daemon *server = web::serve(site, STDIN_FILENO);
    if (server == nullptr) {
        return fail("cannot serve");
    }
    std::printf("http://127.0.0.1:%s/\n", port.c_str());
    std::fflush(stdout);
    int signal = 0;
    sigwait(&endings, &signal);
    MHD_stop_daemon(server);
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    const std::string command = argc > 1 ? argv[1] : "";
    if (command == "listen" && argc >= 4) {
        return listen_for(argv[2], argv + 3);
    }
    if (command == "serve" && argc == 3) {
        return serve(argv[2]);
    }
    std::fputs(usage, stderr);
    return 2;
}
