#include "strace.h"

#include <cstdlib>

namespace trace {
namespace {

/// The bytes of the "\x2f\x74" at a position, which moves behind it.
std::string decode(const std::string &arguments, std::size_t &at) {
    std::string bytes;
    for (; arguments.compare(at, 2, "\\x") == 0; at += 4) {
        const std::string digits = arguments.substr(at + 2, 2);
        bytes += static_cast<char>(std::strtol(digits.c_str(), nullptr, 16));
    }
    return bytes;
}

} // namespace

std::vector<std::string> strace_command(const std::string &file) {
    constexpr char calls[] =
        "--trace=execve,wait4,?open,openat,?access,?faccessat,?faccessat2,read,write,sendto,ioctl,"
        "?rename,?renameat,renameat2,?unlink,unlinkat,?rmdir,?mkdir,mkdirat,?mknod,mknodat,"
        "nanosleep,clock_nanosleep";
    return {"strace",        "--daemonize", "--follow-forks", "--detach-on=execve",
            "--signal=none", calls,         "-tttTyyxx",      "-s65535",
            "-a1",           "-o" + file};
}

std::vector<std::string> call::texts() const {
    const bool has_folders = name.find("at") != std::string::npos;
    std::vector<std::string> found;
    std::string folder;
    for (std::size_t at = 0; at < arguments.size(); ++at) {
        if (arguments[at] == '<' && has_folders) {
            folder = decode(arguments, ++at);
        } else if (arguments[at] == '"') {
            const std::string text = decode(arguments, ++at);
            const bool is_relative = !folder.empty() && !text.starts_with('/');
            found.push_back(is_relative ? folder.append("/").append(text) : text);
            folder.clear();
        }
    }
    return found;
}

std::string call::file() const {
    std::size_t at = arguments.find('<') + 1;
    return decode(arguments, at);
}

std::optional<call> reader::read(const std::string &line) {
    call c;
    char *rest = nullptr;
    c.process = static_cast<int>(std::strtol(line.c_str(), &rest, 10));
    c.begin = std::strtod(rest, &rest);
    std::string text = *rest != '\0' ? rest + 1 : "";
    if (text.starts_with("<...")) {
        c = unfinished_[c.process];
        text.erase(0, text.find('>') + 1);
    } else {
        c.name = text.substr(0, text.find('('));
        text.erase(0, c.name.size() + 1);
    }
    const std::size_t close = text.rfind(") = ");
    c.arguments += text.substr(0, close);
    if (close == std::string::npos) {
        if (c.name == "execve") {
            return c;
        }
        unfinished_[c.process] = c;
        return std::nullopt;
    }
    text.erase(0, close + 4);
    c.result = std::atoi(text.c_str());
    c.took = std::strtod(text.c_str() + text.rfind('<') + 1, nullptr);
    if (const std::size_t reason = text.find(" ("); c.result == -1 && reason < text.size()) {
        c.failure = text.substr(reason + 2, text.rfind(')') - reason - 2);
    }
    return c;
}

} // namespace trace
