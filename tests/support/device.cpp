#include "device.h"

#include <algorithm>
#include <cerrno>
#include <csetjmp>
#include <cstdarg>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include "../../src/support/settings.h"

namespace fs = std::filesystem;

namespace testing_device {

namespace {

constexpr char console_path[] = "/dev/ttyS0";

device_test *current = nullptr;
std::string log_identity;
int log_facility = 0;

long open_descriptors() { return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()); }

} // namespace

// The linker leads the library's calls here.
extern "C" {
std::time_t time(std::time_t *out) {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    const std::time_t value = current != nullptr && current->clock != 0 ? current->clock : now.tv_sec;
    if (out != nullptr) { *out = value; }
    return value;
}

int __real_open(const char *path, int flags, ...);
int __wrap_open(const char *path, int flags, mode_t mode) {
    return current != nullptr ? current->open_file(path, flags, mode) : __real_open(path, flags, mode);
}
int __wrap_open64(const char *path, int flags, mode_t mode) { return __wrap_open(path, flags | O_LARGEFILE, mode); }

int __real_mkstemp(char *name);
int __wrap_mkstemp(char *name) {
    return std::strcmp(name, temporary_file) == 0 ? open(name, O_RDWR | O_CREAT | O_CLOEXEC, 0600)
                                                  : __real_mkstemp(name);
}
int __wrap_mkstemp64(char *name) { return __wrap_mkstemp(name); }

void __wrap_openlog(const char *identity, int /*options*/, int facility) {
    const own_memory all;
    log_identity = identity;
    log_facility = facility;
}
void __wrap_syslog(int priority, const char *format, ...) {
    const own_memory all;
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    priority |= (priority & LOG_FACMASK) == 0 ? log_facility : 0;
    current->happens("log", "<" + std::to_string(priority) + ">" + log_identity + ": " + text, nullptr);
}

int __wrap_system(const char *line) {
    const own_memory all;
    return current->happens("$", line, nullptr);
}

FILE *__wrap_popen(const char *line, const char * /*mode*/) {
    const own_memory all;
    std::string output;
    if (current->happens("$", line, &output) < 0) { return nullptr; }
    const int file = memfd_create("output", MFD_CLOEXEC);
    FILE *stream = fdopen(file, "r");
    if (stream == nullptr) { return close(file), nullptr; }
    return pwrite(file, output.data(), output.size(), 0), stream;
}
int __wrap_pclose(FILE *stream) { return std::fclose(stream); }

int __real_nanosleep(const timespec *time, timespec *left);
int __wrap_nanosleep(const timespec *time, timespec *left) {
    const own_memory all;
    if (current == nullptr) { return __real_nanosleep(time, left); }
    return current->happens("waits", std::to_string(time->tv_sec * 1000 + time->tv_nsec / 1000000), nullptr);
}

FILE *__real_popen(const char *line, const char *mode);
int __real_pclose(FILE *stream);
}

tree parse(const std::string &xml) { return tree(mxmlLoadString(nullptr, xml.c_str(), MXML_OPAQUE_CALLBACK)); }

std::string serialise(mxml_node_t *node) {
    mxmlSetWrapMargin(0);
    const std::unique_ptr<char, decltype(&std::free)> text(mxmlSaveAllocString(node, MXML_NO_CALLBACK), &std::free);
    std::string result = text ? text.get() : "";
    result.erase(result.find_last_not_of('\n') + 1);
    for (std::size_t at = 0; (at = result.find(" />", at)) != std::string::npos;) { result.erase(at, 1); }
    return result;
}

void write_file(const std::string &path, const std::string &content) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

std::string read_file(const std::string &path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

void set_setting(const char *module, const char *key, const std::string &value) {
    const tarrow::store handle(cfgdb_open(module));
    ASSERT_TRUE(handle);
    const qstr_t name = tarrow::counted(key), text = tarrow::counted(value.c_str());
    ASSERT_EQ(cfgdb_set(handle.get(), &name, &text), 0);
}

std::string setting(const char *module, const char *key) {
    const tarrow::heap_string value = tarrow::read_setting(module, key);
    return value ? value.get() : "(absent)";
}

std::string output_of(const std::string &command) {
    FILE *stream = __real_popen(command.c_str(), "r");
    std::string output;
    for (int c = 0; (c = std::getc(stream)) != EOF;) { output += static_cast<char>(c); }
    const int status = WEXITSTATUS(__real_pclose(stream));
    return status == 0 ? output : output + "exit " + std::to_string(status);
}

void limit_descriptors(rlim_t end) {
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = std::min(end, limit.rlim_max);
    setrlimit(RLIMIT_NOFILE, &limit);
}

int device_test::happens(const std::string &what, const std::string &text, std::string *output) {
    seen_.push_back(what + " " + text);
    if (output != nullptr) { *output = printed; }
    return 0;
}

int device_test::open_file(const char *path, int flags, mode_t mode) {
    const auto known = substitutes_.find(path);
    return __real_open(known != substitutes_.end() ? known->second.c_str() : path, flags, mode);
}

void device_test::SetUp() {
    alarm(180); // a test that hangs ends the program
    for (const char *root : state_folders) {
        for (const auto &entry : fs::directory_iterator(root)) { fs::remove_all(entry.path()); }
    }
    fs::create_directories("/userfs/cfgdb");
    fs::create_directories("/data/panelui");
    write_file(mass_storage, "");
    unlink(console_path);
    ASSERT_EQ(mkfifo(console_path, 0666), 0);
    console_ = open(console_path, O_RDWR | O_NONBLOCK | O_CLOEXEC);
    setting("wan", "proto"); // so that the store has its connection already
    __wrap_openlog("tarrow", 0, LOG_USER);
    mxmlSetErrorCallback([](const char *) {});
    descriptors_ = open_descriptors();
    current = this;
}

void device_test::TearDown() {
    current = nullptr;
    limit_descriptors(1024);
    EXPECT_EQ(open_descriptors(), descriptors_) << "descriptors were left open or closed";
    EXPECT_TRUE(waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD) << "a child is left";
    close(console_);
}

std::string device_test::console() const {
    std::string text(4096, '\0');
    const ssize_t n = read(console_, text.data(), text.size());
    text.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
    return text;
}

void device_test::substitute(const std::string &path, const std::string &content) {
    substitutes_.try_emplace(path, "/run/substitute" + std::to_string(substitutes_.size()));
    write_file(substitutes_[path], content);
}

} // namespace testing_device
