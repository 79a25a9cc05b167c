#include "server.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <poll.h>
#include <string_view>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace web {
namespace {

using json = nlohmann::ordered_json;
using word_list = std::vector<std::string>;

constexpr std::size_t body_limit = 65536;
constexpr std::size_t flood_limit = 16 * body_limit; // after which a body is not even read
constexpr std::size_t output_limit = 1 << 20;        // of a text
constexpr unsigned connection_limit = 64;
constexpr unsigned idle_seconds = 10;

/// A command that runs for a browser's call, in a process group of its own.
class process {
public:
    /// Starts a command with a text as its standard input.
    process(const std::vector<std::string> &words, std::string_view input)
        : errors_(memfd_create("errors", MFD_CLOEXEC)) {
        std::vector<char *> arguments(words.size() + 1); // the last one is null
        std::transform(words.begin(), words.end(), arguments.begin(),
                       [](const std::string &word) { return const_cast<char *>(word.c_str()); });
        std::array<int, 2> ends = {-1, -1};
        const int file = memfd_create("input", MFD_CLOEXEC);
        const bool is_ready =
            write(file, input.data(), input.size()) == static_cast<ssize_t>(input.size()) &&
            lseek(file, 0, SEEK_SET) == 0 && pipe2(ends.data(), O_CLOEXEC) == 0;
        id_ = is_ready ? fork() : 0;
        if (is_ready && id_ == 0) { // until exec only calls that are safe in a program with threads
            sigset_t none;
            sigemptyset(&none);
            sigprocmask(SIG_SETMASK, &none, nullptr);
            std::signal(SIGPIPE, SIG_DFL);
            setpgid(0, 0);
            dup2(file, STDIN_FILENO);
            dup2(ends[1], STDOUT_FILENO);
            dup2(errors_, STDERR_FILENO);
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
    process(const process &) = delete;
    process &operator=(const process &) = delete;
    /// Ends the command and everything in its group, unless status() was called.
    ~process() {
        if (id_ > 0) {
            kill(-id_, SIGKILL);
            status();
        }
        close(output_);
        close(errors_);
    }

    [[nodiscard]] bool is_started() const { return id_ > 0; }

    /// Waits for output, puts at most so many bytes of it into a buffer and returns their number: 0
    /// at the end of the output, -1 when the other side of a socket goes away before that.
    ssize_t read(char *buffer, std::size_t room, int socket) const {
        std::array<pollfd, 2> sources = {{{output_, POLLIN, 0}, {socket, POLLRDHUP, 0}}};
        while (poll(sources.data(), sources.size(), -1) < 0 && errno == EINTR) {
        }
        return sources[1].revents != 0 ? -1 : ::read(output_, buffer, room);
    }

    /// What the command wrote to its standard error.
    [[nodiscard]] std::string errors() const {
        std::array<char, 65536> text = {};
        const ssize_t count = pread(errors_, text.data(), text.size(), 0);
        return {text.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
    }

    /// Waits for the command. Returns its exit status as a shell does: 127 when there is no such
    /// command, 128 and the number of the signal that ended it.
    int status() {
        int status = 0;
        while (waitpid(id_, &status, 0) < 0 && errno == EINTR) {
        }
        id_ = 0;
        return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    }

private:
    pid_t id_ = 0;
    int output_ = -1;
    int errors_ = -1;
};

/// A command whose lines are on their way to the browser.
struct stream {
    process command;
    int socket;
    std::string rest = {}; // of the reply, once the command has ended
    bool has_ended = false;
};

MHD_Result send(MHD_Connection *connection, unsigned status, const char *type,
                MHD_Response *response) {
    const std::array<std::array<const char *, 2>, 9> headers = {{
        {"Content-Security-Policy",
         "default-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
        {"X-Content-Type-Options", "nosniff"},
        {"Cross-Origin-Opener-Policy", "same-origin"},
        {"Cross-Origin-Resource-Policy", "same-origin"},
        {"Referrer-Policy", "no-referrer"}, // the address holds the token
        {"Cache-Control", "no-store"},
        {"Connection", "close"}, // since one without a limit for idle time must not be kept
        {"Allow", "GET, POST"},
        {"Content-Type", type},
    }};
    for (const auto &[name, value] : headers) {
        MHD_add_response_header(response, name, value);
    }
    const MHD_Result result = MHD_queue_response(connection, status, response);
    MHD_destroy_response(response);
    return result;
}

MHD_Result send_text(MHD_Connection *connection, unsigned status, const char *type,
                     std::string text) {
    return send(connection, status, type,
                MHD_create_response_from_buffer(text.size(), text.data(), MHD_RESPMEM_MUST_COPY));
}

MHD_Result refuse(MHD_Connection *connection, unsigned status, const std::string &reason) {
    return send_text(connection, status, "text/plain; charset=utf-8", reason + "\n");
}

std::string line_of(const json &object) {
    return object.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
}

ssize_t read_stream(void *context, std::uint64_t, char *buffer, std::size_t room) {
    stream &source = *static_cast<stream *>(context);
    if (!source.has_ended) {
        const ssize_t count = source.command.read(buffer, room, source.socket);
        if (count != 0) {
            return count > 0 ? count : MHD_CONTENT_READER_END_WITH_ERROR;
        }
        const int status = source.command.status();
        source.rest =
            line_of({{"kind", "end"}, {"status", status}, {"errors", source.command.errors()}});
        source.has_ended = true;
    }
    if (source.rest.empty()) {
        return MHD_CONTENT_READER_END_OF_STREAM;
    }
    const std::size_t count = source.rest.copy(buffer, room);
    source.rest.erase(0, count);
    return static_cast<ssize_t>(count);
}

/// The browser's socket. A command may take longer than a connection may be idle, so this one may
/// be idle from now on.
int socket_of(MHD_Connection *connection) {
    MHD_set_connection_option(connection, MHD_CONNECTION_OPTION_TIMEOUT, 0U);
    return MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
}

/// Sends a command's lines as they come, and at the end how it ended.
MHD_Result send_lines(MHD_Connection *connection, const word_list &words, std::string_view input) {
    auto source = std::unique_ptr<stream>(new stream{{words, input}, socket_of(connection)});
    if (!source->command.is_started()) {
        return refuse(connection, MHD_HTTP_INTERNAL_SERVER_ERROR, "no process can be started");
    }
    return send(connection, MHD_HTTP_OK, "application/x-ndjson",
                MHD_create_response_from_callback(
                    MHD_SIZE_UNKNOWN, 65536, read_stream, source.release(),
                    [](void *context) { delete static_cast<stream *>(context); }));
}

/// Waits for a command and sends its output.
MHD_Result send_output(MHD_Connection *connection, const word_list &words) {
    const int socket = socket_of(connection);
    process command(words, "");
    std::string output;
    std::array<char, 65536> chunk;
    std::size_t size = 0;
    ssize_t count = command.is_started() ? 0 : -1;
    while (count >= 0 && (count = command.read(chunk.data(), chunk.size(), socket)) > 0) {
        const std::size_t room = output_limit - output.size();
        size += static_cast<std::size_t>(count);
        output.append(chunk.data(), std::min(room, static_cast<std::size_t>(count)));
    }
    if (count < 0) {
        return MHD_NO; // nobody reads the reply
    }
    if (size > output.size()) {
        output += "\n... " + std::to_string(size - output.size()) + " more bytes\n";
    }
    const int status = command.status();
    return send_text(connection, MHD_HTTP_OK, "application/json",
                     line_of({{"status", status}, {"output", output + command.errors()}}));
}

word_list in_device(const site &served, const word_list &words) {
    word_list line = {served.project + "/device/boot", "--enter", served.device};
    line.insert(line.end(), words.begin(), words.end());
    return line;
}

std::optional<std::string> content_of(const std::string &path) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) {
        return std::nullopt;
    }
    std::ifstream file(path);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

/// A script of this folder as a command line in the device, which does not see this machine's paths.
word_list script(const site &served, const char *name, const word_list &arguments = {}) {
    const std::string text = content_of(served.project + "/host/web/" + name).value_or("");
    word_list words = {"sh", "-c", text, name};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return in_device(served, words);
}

/// Whether a text can stand in a path as a file's name, and in a command line as no option.
bool is_name(const std::string &text) {
    return !text.empty() && text[0] != '.' && text[0] != '-' &&
           text.find_first_not_of(
               "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_.-") ==
               std::string::npos;
}

/// The command for a tool's words, or none. The tools are those that ./run sim has, the store's
/// command, and two that set what has no tool: "fail on|off NAME" and "stat_server MODE".
word_list tool(const site &served, const word_list &words) {
    const std::string name = words.empty() ? "" : words[0];
    if (words.size() == 3 && name == "fail" && is_name(words[2])) {
        const std::string path = "/sim/fail/" + words[2];
        return words[1] == "on" ? word_list{"touch", path} : word_list{"rm", "-f", path};
    }
    if (words.size() == 2 && name == "stat_server" && is_name(words[1])) {
        return {"sh", "-c", "echo \"$1\" > /sim/stat_server", "-", words[1]};
    }
    const std::string file = served.project + "/device/image/sim/" + name;
    const bool is_tool =
        is_name(name) && content_of(file).value_or("").find("\n# usage:") != std::string::npos;
    return is_tool || name == "cfgdb_cmd" ? words : word_list();
}

MHD_Result send_file(const site &served, MHD_Connection *connection, const std::string &name) {
    const std::map<std::string, const char *> types = {{"html", "text/html; charset=utf-8"},
                                                       {"css", "text/css"},
                                                       {"js", "text/javascript"},
                                                       {"svg", "image/svg+xml"}};
    const auto type = types.find(name.substr(name.rfind('.') + 1));
    const auto content = content_of(served.project + "/host/web/page/" + name);
    return content && type != types.end()
               ? send_text(connection, MHD_HTTP_OK, type->second, *content)
               : refuse(connection, MHD_HTTP_NOT_FOUND, "there is no such file");
}

/// Splits a text at a character.
word_list split(const std::string &text, char separator) {
    word_list parts;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(separator, begin), text.size());
        parts.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return parts;
}

MHD_Result answer_get(const site &served, MHD_Connection *connection, const word_list &path) {
    const std::string &call = path[0];
    const bool is_named = path.size() == 2 && is_name(path[1]);
    if (call == "modules" && path.size() == 1) {
        return send_lines(connection, in_device(served, {"tarrow_host", "list", "--json"}), "");
    }
    if (call == "module" && is_named) {
        return send_output(connection, script(served, "module.sh", {path[1]}));
    }
    if (call == "state" && path.size() == 1) {
        return send_output(connection, script(served, "state.sh"));
    }
    if (call == "log" && path.size() == 3 &&
        (path[1] + path[2]).find_first_not_of("0123456789-") == std::string::npos) {
        return send_output(connection, script(served, "log.sh", {path[1], path[2]}));
    }
    if (call == "docs" && is_named) {
        const std::string file = served.project + "/docs/pages/" + path[1] + ".md";
        return content_of(file)
                   ? send_output(connection, {"cmark-gfm", "--extension", "table", file})
                   : refuse(connection, MHD_HTTP_NOT_FOUND, "there is no such page");
    }
    return path.size() == 1 && (call.empty() || is_name(call))
               ? send_file(served, connection, call.empty() ? "index.html" : call)
               : refuse(connection, MHD_HTTP_NOT_FOUND, "there is nothing of that name");
}

MHD_Result answer_post(const site &served, MHD_Connection *connection, const word_list &path,
                       const std::string &body) {
    const std::string &call = path[0];
    if ((call == "get" || call == "set") && path.size() == 2 && is_name(path[1])) {
        return send_lines(connection,
                          in_device(served, {"tarrow_trace", "--json", call, path[1], "-"}), body);
    }
    if (call != "run" || path.size() != 1) {
        return refuse(connection, MHD_HTTP_NOT_FOUND, "there is nothing of that name");
    }
    word_list words = split(body, '\0');
    words.pop_back(); // behind the last NUL
    words = tool(served, words);
    return words.empty() ? refuse(connection, MHD_HTTP_FORBIDDEN, "the device has no such tool")
                         : send_output(connection, in_device(served, words));
}

/// Why a browser may not make a call, or null. Another site's name may lead to this address, and
/// its scripts and forms may send what they like, but not with the name and origin of this page,
/// and without the token. Other users of this machine do not have the token either.
const char *refusal(const site &served, MHD_Connection *connection, bool is_get, bool is_page,
                    bool has_token) {
    const auto header = [&](const char *name) {
        const char *value = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, name);
        return std::string(value != nullptr ? value : "");
    };
    const std::string host = header("Host");
    const std::string origin = header("Origin");
    const std::string sender = header("Sec-Fetch-Site"); // of a browser that says it
    if (host != "127.0.0.1" + served.port && host != "localhost" + served.port) {
        return "this device is reached as 127.0.0.1 or localhost only";
    }
    const bool is_own = origin == "http://" + host || (is_get && origin.empty());
    const bool is_same_site = sender.empty() || sender == "same-origin" || sender == "none";
    if (!is_own || (!is_same_site && !is_page)) {
        return "another page may not use this device";
    }
    return has_token ? nullptr : "the token is missing: open the address that ./run web printed";
}

/// libmicrohttpd calls this for a request's head, for each piece of its body, and at its end.
MHD_Result handle(void *context, MHD_Connection *connection, const char *url, const char *method,
                  const char *, const char *data, std::size_t *size, void **state) {
    const site &served = *static_cast<const site *>(context);
    const bool is_get = std::strcmp(method, MHD_HTTP_METHOD_GET) == 0;
    word_list path = split(url, '/'); // the first part is empty
    const bool has_token = path.size() > 2 && path[1] == served.token;
    path.erase(path.begin(), path.begin() + std::min<std::ptrdiff_t>(2, std::ssize(path)));
    if (*state == nullptr) {
        const bool is_page = path.size() == 1 && path[0].empty();
        if (const char *reason = refusal(served, connection, is_get, is_page, has_token)) {
            return refuse(connection, MHD_HTTP_FORBIDDEN, reason);
        }
        if (!is_get && std::strcmp(method, MHD_HTTP_METHOD_POST) != 0) {
            return refuse(connection, MHD_HTTP_METHOD_NOT_ALLOWED, "only GET and POST are served");
        }
        *state = new std::string;
        return MHD_YES;
    }
    std::string &body = *static_cast<std::string *>(*state);
    if (*size > 0) { // a browser hears the refusal of a long body only after sending it all
        body.append(data, *size);
        *size = 0;
        return body.size() > flood_limit ? MHD_NO : MHD_YES;
    }
    if (body.size() > body_limit) {
        return refuse(connection, MHD_HTTP_CONTENT_TOO_LARGE, "a request has at most 64 KiB");
    }
    return is_get ? answer_get(served, connection, path)
                  : answer_post(served, connection, path, body);
}

} // namespace

MHD_Daemon *serve(const site &served, int socket) {
    const auto forget = [](void *, MHD_Connection *, void **state, MHD_RequestTerminationCode) {
        delete static_cast<std::string *>(*state);
        *state = nullptr;
    };
    return MHD_start_daemon(
        MHD_USE_THREAD_PER_CONNECTION | MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_POLL, 0, nullptr,
        nullptr, handle, const_cast<site *>(&served), MHD_OPTION_LISTEN_SOCKET, socket,
        MHD_OPTION_CONNECTION_LIMIT, connection_limit, MHD_OPTION_CONNECTION_TIMEOUT, idle_seconds,
        MHD_OPTION_STRICT_FOR_CLIENT, 1, MHD_OPTION_NOTIFY_COMPLETED,
        static_cast<MHD_RequestCompletedCallback>(forget), nullptr, MHD_OPTION_END);
}

} // namespace web
