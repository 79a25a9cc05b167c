#include "server.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <unistd.h>
#include <vector>

#include "process.h"

namespace web {
namespace {

constexpr std::size_t body_limit = 65536;
constexpr char text_type[] = "text/plain; charset=utf-8";

struct request {
    std::string body;
    bool is_too_long = false;
};

/// What a command prints, on its way to the browser.
struct stream {
    process command;
    int socket;
};

MHD_Result send(MHD_Connection *connection, unsigned status, const char *type,
                MHD_Response *response) {
    constexpr const char *headers[][2] = {
        {"Content-Security-Policy",
         "default-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
        {"X-Content-Type-Options", "nosniff"},
        {"Cross-Origin-Resource-Policy", "same-origin"},
        {"Cache-Control", "no-store"},
    };
    for (const auto &[name, value] : headers) {
        MHD_add_response_header(response, name, value);
    }
    MHD_add_response_header(response, "Content-Type", type);
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
    return send_text(connection, status, text_type, reason + "\n");
}

ssize_t read_stream(void *context, std::uint64_t, char *buffer, std::size_t room) {
    stream &source = *static_cast<stream *>(context);
    if (!source.command.is_started()) { // no more: its status was told
        return MHD_CONTENT_READER_END_OF_STREAM;
    }
    const ssize_t count = source.command.read(buffer, room, source.socket);
    if (count != 0) {
        return count > 0 ? count : MHD_CONTENT_READER_END_WITH_ERROR;
    }
    const std::string end = "\n\x04" + std::to_string(source.command.status()) + "\n";
    return static_cast<ssize_t>(end.copy(buffer, room));
}

MHD_Result send_output(MHD_Connection *connection, const std::vector<std::string> &words,
                       std::string_view input = "") {
    const int socket =
        MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
    auto source = std::unique_ptr<stream>(new stream{{words, input}, socket});
    if (!source->command.is_started()) {
        return refuse(connection, MHD_HTTP_INTERNAL_SERVER_ERROR, "no process can be started");
    }
    return send(connection, MHD_HTTP_OK, text_type,
                MHD_create_response_from_callback(
                    MHD_SIZE_UNKNOWN, 4096, read_stream, source.release(),
                    [](void *context) { delete static_cast<stream *>(context); }));
}

MHD_Result send_file(MHD_Connection *connection, const std::string &path) {
    static const std::map<std::string, const char *> types = {
        {"html", "text/html; charset=utf-8"},
        {"css", "text/css"},
        {"js", "text/javascript"},
        {"svg", "image/svg+xml"},
        {"xml", "text/xml"},
    };
    std::ifstream file(path);
    const auto type = types.find(path.substr(path.rfind('.') + 1));
    if (!file || type == types.end()) {
        return refuse(connection, MHD_HTTP_NOT_FOUND, "there is no such file");
    }
    return send_text(connection, MHD_HTTP_OK, type->second,
                     {std::istreambuf_iterator<char>(file), {}});
}

/// Whether a text can stand in a path as a file's name, and in a command line as no option.
bool is_name(const std::string &text) {
    return !text.empty() && text[0] != '.' && std::all_of(text.begin(), text.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '.';
    });
}

/// Whether the device has a tool of that name to steer it: a command of /sim, or the store's.
bool is_tool(const std::string &name) {
    return name == "cfgdb_cmd" || (is_name(name) && access(("/sim/" + name).c_str(), X_OK) == 0);
}

MHD_Result answer_get(const site &served, MHD_Connection *connection, const std::string &call,
                      const std::string &name) {
    const std::map<std::string, std::vector<std::string>> commands = {
        {"modules", {"tarrow_host", "list"}},
        {"state", {"sh", served.project + "/host/web/state.sh"}},
        {"log", {"tail", "-Fn100", "/var/log/messages", "/var/log/console"}},
    };
    if (const auto command = commands.find(call); command != commands.end()) {
        return send_output(connection, command->second);
    }
    if (call == "elements" && is_name(name)) {
        const std::string page = "/etc/tarrow/pages/" + name + ".xml";
        return std::ifstream(page) ? send_file(connection, page)
                                   : send_text(connection, MHD_HTTP_OK, text_type, "");
    }
    if (call == "docs" && is_name(name)) {
        const std::string page = served.project + "/docs/pages/" + name + ".md";
        return send_output(connection,
                           {"cmark-gfm", "--extension", "table",
                            std::ifstream(page) ? page : served.project + "/docs/pages/README.md"});
    }
    const std::string file = call.empty() ? "index.html" : call;
    return is_name(file) && name.empty()
               ? send_file(connection, served.project + "/host/web/page/" + file)
               : refuse(connection, MHD_HTTP_NOT_FOUND, "there is nothing of that name here");
}

MHD_Result answer_post(const site &served, MHD_Connection *connection, const std::string &call,
                       const std::string &name, const std::string &body) {
    std::vector<std::string> words;
    if ((call == "get" || call == "set") && is_name(name)) {
        words = {served.project + "/build/release/tarrow_trace", "--json", call, name, "-"};
        return send_output(connection, words, body);
    }
    for (std::size_t begin = 0, end = 0; (end = body.find('\0', begin)) != std::string::npos;
         begin = end + 1) {
        words.push_back(body.substr(begin, end - begin));
    }
    if (call != "run" || words.empty() || !is_tool(words[0])) {
        return refuse(connection, MHD_HTTP_FORBIDDEN, "only modules and tools can be used");
    }
    return send_output(connection, words);
}

/// Why a call is not for this page to make, or null. Another page's name may lead here, and its
/// scripts and forms may send what they like, but not under a name and an origin of ours.
const char *refusal(const site &served, MHD_Connection *connection, bool is_get, bool is_page) {
    const auto header = [&](const char *name) {
        const char *value = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, name);
        return std::string(value != nullptr ? value : "");
    };
    const std::string host = header("Host");
    const std::string origin = header("Origin");
    const std::string sender = header("Sec-Fetch-Site"); // of a browser that tells it
    if (host != "127.0.0.1" + served.port && host != "localhost" + served.port) {
        return "this device is reached as 127.0.0.1 or localhost only";
    }
    const bool is_ours = origin == "http://" + host || (is_get && origin.empty());
    const bool is_alike = sender.empty() || sender == "same-origin" || sender == "none";
    return is_ours && (is_alike || is_page) ? nullptr : "another page may not use this device";
}

/// Called for a request's head, for each piece of its body, and once it is there.
MHD_Result handle(void *context, MHD_Connection *connection, const char *url, const char *method,
                  const char *, const char *data, std::size_t *size, void **state) {
    const site &served = *static_cast<const site *>(context);
    const std::string path = url;
    const bool is_get = std::strcmp(method, MHD_HTTP_METHOD_GET) == 0;
    if (*state == nullptr) {
        if (const char *reason = refusal(served, connection, is_get, path == "/")) {
            return refuse(connection, MHD_HTTP_FORBIDDEN, reason);
        }
        *state = new request;
        return MHD_YES;
    }
    request &asked = *static_cast<request *>(*state);
    if (*size > 0) { // what is too long is read to its end, since no answer is heard before
        asked.is_too_long = asked.is_too_long || asked.body.size() + *size > body_limit;
        asked.body.append(data, asked.is_too_long ? 0 : *size);
        *size = 0;
        return MHD_YES;
    }
    if (asked.is_too_long) {
        return refuse(connection, MHD_HTTP_CONTENT_TOO_LARGE, "a request has at most 64 KiB");
    }
    const std::size_t slash = path.find('/', 1);
    const std::string call = path.substr(1, slash - 1);
    const std::string name = slash != std::string::npos ? path.substr(slash + 1) : "";
    return is_get ? answer_get(served, connection, call, name)
                  : answer_post(served, connection, call, name, asked.body);
}

} // namespace

MHD_Daemon *serve(const site &served, int socket) {
    const auto forget = [](void *, MHD_Connection *, void **state, MHD_RequestTerminationCode) {
        delete static_cast<request *>(*state);
    };
    return MHD_start_daemon(
        MHD_USE_THREAD_PER_CONNECTION | MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_POLL, 0, nullptr,
        nullptr, handle, const_cast<site *>(&served), MHD_OPTION_LISTEN_SOCKET, socket,
        MHD_OPTION_CONNECTION_LIMIT, 64U, MHD_OPTION_STRICT_FOR_CLIENT, 1,
        MHD_OPTION_NOTIFY_COMPLETED, static_cast<MHD_RequestCompletedCallback>(forget), nullptr,
        MHD_OPTION_END);
}

} // namespace web
