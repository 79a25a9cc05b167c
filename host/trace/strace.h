// The output of strace, which tells what a process asks of the kernel.
#pragma once

#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace trace {

/// The command line that goes before a program's, for its calls to be written to a file: when each
/// began and how long it took, descriptors with their paths, nothing cut or padded, texts in
/// hexadecimal so that none can pass for anything else. The program is this process's child, with
/// strace beside it. What the program starts is let go as it begins, and runs at its own speed.
inline std::vector<std::string> strace_command(const std::string &file) {
    constexpr char calls[] =
        "--trace=execve,wait4,?open,openat,?access,?faccessat,?faccessat2,read,write,sendto,ioctl,"
        "?rename,?renameat,renameat2,?unlink,unlinkat,?rmdir,?mkdir,mkdirat,?mknod,mknodat,"
        "nanosleep,clock_nanosleep,?dup2,dup3";
    return {"strace",        "--daemonize", "--follow-forks", "--detach-on=execve",
            "--signal=none", calls,         "-tttTyyxx",      "-s65535",
            "-a1",           "-o" + file};
}

/// A system call.
struct call {
    int process = 0;
    double begin = 0; // seconds since 1970
    double took = 0;  // seconds
    std::string name;
    std::string arguments; // as strace writes them
    int result = 0;
    std::string failure; // "No such file or directory", or empty

    [[nodiscard]] bool has(const char *flag) const {
        return arguments.find(flag) != std::string::npos;
    }
    /// The texts among the arguments; of a call that takes a folder's descriptor, whole paths.
    [[nodiscard]] std::vector<std::string> texts() const {
        const bool has_folders = name.find("at") != std::string::npos;
        std::vector<std::string> found;
        std::string folder;
        for (std::size_t at = 0; at < arguments.size(); ++at) {
            if (arguments[at] == '<' && has_folders) {
                folder = decode(++at);
            } else if (arguments[at] == '"') {
                const std::string text = decode(++at);
                const bool is_relative = !folder.empty() && !text.starts_with('/');
                found.push_back(is_relative ? folder.append("/").append(text) : text);
                folder.clear();
            }
        }
        return found;
    }
    /// The path of the first descriptor.
    [[nodiscard]] std::string file() const {
        std::size_t at = arguments.find('<') + 1;
        return decode(at);
    }

private:
    /// The bytes of the "\x2f\x74" that begins there in the arguments.
    std::string decode(std::size_t &at) const {
        std::string bytes;
        for (; arguments.compare(at, 2, "\\x") == 0; at += 4) {
            const std::string digits = arguments.substr(at + 2, 2);
            bytes += static_cast<char>(std::strtol(digits.c_str(), nullptr, 16));
        }
        return bytes;
    }
};

/// Makes calls of lines:
///   210 1795616095.671599 openat(AT_FDCWD<...>, "...") = -1 ENOENT (No such file) <0.000006>
///   210 1795616095.676178 wait4(215, <unfinished ...>
///   210 1795616095.689201 <... wait4 resumed>[...], 0, NULL) = 215 <0.013012>
class reader {
public:
    /// The call that ends with a line. An execve is told as it begins: its end may not be.
    std::optional<call> read(const std::string &line) {
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

private:
    std::map<int, call> unfinished_; // of each process
};

} // namespace trace
