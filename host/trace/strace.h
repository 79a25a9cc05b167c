// The output of strace: the system calls of a process.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace trace {

/// The command line that goes before a program's, for strace to write the program's calls to a
/// file: begin and duration of each, descriptors with their paths, nothing cut, and all texts in
/// hexadecimal, so that no text can look like anything else. The program is this process's child,
/// with strace beside it. strace lets go of what the program starts as it begins, so commands run
/// at their own speed.
std::vector<std::string> strace_command(const std::string &file);

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
    /// The texts among the arguments. A path below a folder's descriptor is made whole.
    [[nodiscard]] std::vector<std::string> texts() const;
    /// The path of the first descriptor.
    [[nodiscard]] std::string file() const;
};

/// Makes calls of lines:
///   210 1795616095.671599 openat(AT_FDCWD<...>, "...") = -1 ENOENT (No such file) <0.000006>
///   210 1795616095.676178 wait4(215, <unfinished ...>
///   210 1795616095.689201 <... wait4 resumed>[...], 0, NULL) = 215 <0.013012>
class reader {
public:
    /// The call that ends with a line. An execve is returned as it begins, since strace may let go
    /// of the process before it ends.
    std::optional<call> read(const std::string &line);

private:
    std::map<int, call> unfinished_; // by process
};

} // namespace trace
