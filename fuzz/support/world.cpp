#include "world.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sqlite3.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "../../device/cfgdb/backend.h"

extern "C" {
int __real_open(const char *path, int flags, ...);
int __real_unlink(const char *path);
int __real_stat(const char *path, struct stat *status);
int __real_sqlite3_open_v2(const char *file, sqlite3 **store, int flags, const char *vfs);
int __wrap_sqlite3_open_v2(const char *file, sqlite3 **store, int flags, const char *vfs);
}

namespace {

fuzz::world *current = nullptr;

/// The settings, emptied; this connection keeps the store in memory alive.
sqlite3 *new_store() {
    static sqlite3 *store = nullptr;
    if (store == nullptr) {
        __wrap_sqlite3_open_v2("", &store, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
        cfgdb_close(cfgdb_open("wan")); // makes its table
    }
    sqlite3_exec(store, "DELETE FROM settings", nullptr, nullptr, nullptr);
    return store;
}

constexpr char plain[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_.,:/+@%=-";
constexpr char harmless[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_.,:/+@%=- ";
constexpr char codes[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789,";

/// Passes one shell word without anything that a shell would change; gives null when there is none.
const char *after_word(const char *line) {
    for (const char *begin = line;;) {
        line += std::strspn(line, plain);
        if (*line == '\'') {
            const char *end = std::strchr(line + 1, '\'');
            if (end == nullptr) { return nullptr; }
            line = end + 1;
        } else if (std::strncmp(line, "\\'", 2) == 0) {
            line += 2;
        } else {
            return line > begin ? line : nullptr;
        }
    }
}

bool matches(const char *shape, const char *line) {
    const bool may_be_cut = std::strlen(line) > 760; // "sms" has the shortest lines that are
    for (; *shape != '\0' && (*line != '\0' || !may_be_cut); ++shape) {
        if (*shape == '%') {
            line = after_word(line);
            if (line == nullptr) { return false; }
        } else if (*shape == '@') {
            line += std::strspn(line, codes);
        } else if (*shape == '~') {
            line += std::strspn(line, harmless);
        } else if (*shape != *line++) {
            return false;
        }
    }
    return *line == '\0';
}

/// Those of fuzz/commands.txt, and of the table's hook scripts.
std::vector<std::string> load_commands() {
    std::vector<std::string> known;
    std::ifstream lines(TARROW_SOURCE_DIR "/fuzz/commands.txt");
    for (std::string line; std::getline(lines, line);) { known.push_back(line); }
    int count = 0;
    const std::unique_ptr<applet_info, decltype(&std::free)> rows(tarrow_get_module_applets(&count), &std::free);
    for (const applet_info *row = rows.get(); row != rows.get() + count; ++row) {
        for (const char *script : {row->di_handler_pre_set_cmd, row->di_handler_post_set_cmd,
                                   row->di_handler_pre_get_cmd, row->di_handler_post_get_cmd}) {
            for (const char *arguments : {" %", " % ", " % %"}) {
                if (script != nullptr) { known.push_back(std::string(script) + arguments); }
            }
        }
    }
    return known;
}

std::string program_of(const std::string &line) {
    fuzz::require(fuzz::is_known_command(line), "a known command", line);
    return line.substr(0, line.find(' '));
}

/// What is made, renamed or removed is the library's own or on the card.
int change(const std::string &path) {
    const bool is_below = path.rfind("/mnt/external_sdcard/", 0) == 0 && (path + '/').find("/../") == std::string::npos;
    fuzz::require(is_below || path.rfind("/tmp/", 0) == 0, "a path of the card", path);
    return 0;
}

} // namespace

namespace fuzz {

bool is_known_command(const std::string &line) {
    static const std::vector<std::string> known = load_commands();
    return std::any_of(known.begin(), known.end(),
                       [&](const std::string &shape) { return matches(shape.c_str(), line.c_str()); });
}

tree parse(const std::string &xml) {
    // Below a node of its own, which no text can close: what the reader makes of a broken text is released with it.
    mxmlSetErrorCallback([](const char *) {});
    const tree top(mxmlNewElement(nullptr, " "));
    const bool is_whole = mxmlLoadString(top.get(), xml.c_str(), MXML_OPAQUE_CALLBACK) != nullptr;
    mxml_node_t *root = mxmlFindElement(top.get(), top.get(), nullptr, nullptr, nullptr, MXML_DESCEND);
    if (is_whole) { mxmlRemove(root); }
    return tree(is_whole ? root : nullptr);
}

void serialise(mxml_node_t *node) {
    mxmlSetWrapMargin(0);
    const text written(mxmlSaveAllocString(node, MXML_NO_CALLBACK));
}

table new_table(const std::string &names, const std::string &stored, char field_delim, char record_delim) {
    table list(new dlist_node_t);
    dl_dlist_init(list.get());
    const int fields = dl_get_meta_fields(names.c_str(), list.get(), '#');
    dl_variable_to_dlist_alloc(stored.c_str(), list.get(), fields, field_delim, record_delim);
    return list;
}

std::string stored_text(const dlist_node_t *list, char field_delim, char record_delim) {
    char *value = nullptr;
    dl_dlist_to_variable(&value, list, field_delim, record_delim);
    return fuzz::text(value).get();
}

world::world(const std::uint8_t *data, std::size_t size) {
    const std::string marker = "\n==== ", input = std::string(data, data + size) + marker;
    sqlite3 *store = new_store();
    for (std::size_t begin = 0, end = 0; begin < input.size(); begin = end + marker.size()) {
        end = input.find(marker, begin);
        const std::size_t line_end = std::min(input.find('\n', begin), end);
        const std::string name = input.substr(begin, line_end - begin);
        const std::string value = line_end < end ? input.substr(line_end + 1, end - line_end - 1) : "";
        const std::size_t blank = std::min(name.find(' '), name.size());
        if (begin == 0) {
            task = name;
            text = value;
        } else if (parts[name] = value; blank < name.size() && name[0] != '/') {
            const std::string module = name.substr(0, blank);
            char *sql = sqlite3_mprintf("INSERT OR REPLACE INTO settings VALUES (%Q, %Q, %Q)", module.c_str(),
                                        name.c_str() + blank + 1, value.c_str());
            sqlite3_exec(store, sql, nullptr, nullptr, nullptr);
            sqlite3_free(sql);
        }
    }
    current = this;
}

world::~world() {
    current = nullptr;
    for (const auto &[name, fd] : files) { require(close(fd) == 0, "the library closes its own files only", name); }
    for (const int fd : handed_out) { require(fcntl(fd, F_GETFD) == -1, "every file is closed", std::to_string(fd)); }
    require(commands == 0, "every command is waited for");
}

std::string world::content(const std::string &path) {
    if (files.count(path) == 0) { return exists(path) ? parts[path] : ""; }
    std::string bytes(65536, '\0');
    bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(0, pread(files[path], bytes.data(), bytes.size(), 0))));
    return bytes;
}

bool world::remove(const std::string &path) {
    if (const auto opened = files.find(path); opened != files.end()) {
        close(opened->second);
        files.erase(opened);
    }
    return parts.erase(path) != 0;
}

void world::put(const std::string &path, const std::string &content) {
    remove(path);
    parts[path] = content;
}

int world::open(const std::string &path, int flags) {
    const bool is_there = exists(path);
    if ((flags & O_DIRECTORY) != 0) { return -1; } // it has no folders
    if (is_there ? (flags & O_EXCL) != 0 : (flags & O_CREAT) == 0 && !exists("*")) {
        errno = is_there ? EEXIST : ENOENT;
        return -1;
    }
    if (!is_there && (flags & O_CREAT) == 0) { put(path, parts["*"]); }
    if (files.count(path) == 0) {
        files[path] = memfd_create("world", MFD_CLOEXEC);
        require(write(files[path], parts[path].data(), parts[path].size()) >= 0, "there are descriptors");
    }
    const std::string file = "/proc/self/fd/" + std::to_string(files[path]);
    handed_out.push_back(__real_open(file.c_str(), flags & ~(O_CREAT | O_EXCL)));
    return handed_out.back();
}

} // namespace fuzz

// The calls of the library that would reach the machine, by the linker's --wrap.
extern "C" {
int __wrap_open(const char *path, int flags, ...) { return current->open(path, flags); }
int __wrap_unlink(const char *path) {
    if (current == nullptr) { return __real_unlink(path); }
    return change(path), current->remove(path) ? 0 : -1;
}
int __wrap_mkdir(const char *path, mode_t /*mode*/) { return change(path + std::string("/")); }
int __wrap_rename(const char *old_path, const char *new_path) { return change(old_path) + change(new_path); }
int __wrap_rmdir(const char *path) { return change(path); }
int __wrap_unlinkat(int /*folder*/, const char * /*name*/, int /*flags*/) { return -1; }
int __wrap_access(const char *path, int /*mode*/) { return current->exists(path) ? 0 : -1; }
int __wrap_lstat(const char *path, struct stat *status) { // a file that begins with ">" is a link
    *status = {};
    status->st_mode = current->content(path).rfind('>', 0) == 0 ? S_IFLNK : S_IFREG;
    return current->exists(path) ? 0 : -1;
}
int __wrap_mkstemp(char *path) { return current->open(path, O_RDWR | O_CREAT | O_EXCL); }
int __wrap_mkfifo(const char *path, mode_t /*mode*/) {
    std::string &answers = current->parts["answers"];
    const std::string answer = answers.empty() ? "" : answers.substr(1, static_cast<unsigned char>(answers[0]));
    answers.erase(0, answer.size() + 1);
    current->put(path, answer);
    return 0;
}
FILE *__wrap_popen(const char *line, const char * /*type*/) {
    const int fd = current->open(program_of(line), O_RDONLY);
    current->commands += fd >= 0 ? 1 : 0;
    return fd >= 0 ? fdopen(fd, "r") : nullptr;
}
int __wrap_pclose(FILE *stream) {
    --current->commands;
    return std::fclose(stream);
}
int __wrap_system(const char *line) {
    const std::string output = current->content(program_of(line));
    if (const char *file = std::strstr(line, " > "); file != nullptr && !output.empty()) {
        current->put(file + 3, output);
    }
    std::string &status = current->parts["status"];
    const int result = status.empty() ? 0 : static_cast<unsigned char>(status[0]);
    status.erase(0, 1);
    return result << 8;
}
int __wrap_nanosleep(const timespec * /*time*/, timespec * /*left*/) {
    fuzz::require(++current->sleeps < 100, "nothing waits for ever");
    if (current->sleeps == 3) { // what is waited for comes to its end
        current->remove("/tmp/sim_checking_mutex");
        current->remove("*");
    }
    return 0;
}
int __wrap_socket(int /*domain*/, int /*type*/, int /*protocol*/) { return current->open("socket", O_RDWR | O_CREAT); }
int __wrap_ioctl(int /*fd*/, unsigned long request, void *argument) {
    const std::string &answer = current->parts["ioctl"];
    auto *one = static_cast<ifreq *>(argument);
    auto *list = static_cast<ifconf *>(argument);
    if (answer.empty()) { return -1; }
    if (request == SIOCETHTOOL) {
        reinterpret_cast<ethtool_value *>(one->ifr_data)->data = static_cast<unsigned char>(answer[0]);
    } else if (request == SIOCGIFCONF) {
        const int count = std::min(answer[0] & 15, list->ifc_len / static_cast<int>(sizeof(ifreq)));
        for (int i = 0; i < count; ++i) { std::strncpy(list->ifc_req[i].ifr_name, &answer[1], IFNAMSIZ - 1); }
        list->ifc_len = count * static_cast<int>(sizeof(ifreq));
    } else {
        answer.copy(reinterpret_cast<char *>(&one->ifr_addr), sizeof(one->ifr_addr));
    }
    return 0;
}
void __wrap_openlog(const char * /*identity*/, int /*options*/, int /*facility*/) {}
void __wrap_syslog(int /*priority*/, const char *format, ...) {
    std::array<char, 8192> line; // every argument is read, as the log would
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line.data(), line.size(), format, arguments);
    va_end(arguments);
}
int __wrap_stat(const char *path, struct stat *status) {
    const bool is_store = std::strcmp(path, cfgdb_default_backend) == 0;
    if (is_store) { *status = {}; }
    return is_store ? 0 : __real_stat(path, status);
}
int __wrap_sqlite3_open_v2(const char * /*file*/, sqlite3 **store, int flags, const char *vfs) {
    return __real_sqlite3_open_v2("file:settings?mode=memory&cache=shared", store, flags | SQLITE_OPEN_URI, vfs);
}
}
