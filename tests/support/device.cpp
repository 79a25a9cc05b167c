#include "device.h"

#include <cerrno>
#include <cstdarg>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include "../../src/support/settings.h"
#include "memory.h"

namespace fs = std::filesystem;

namespace testing_device {

std::atomic<std::time_t> clock_setting = 0;
strings logged;
std::function<int(const char *path, int flags)> opener;

namespace {

constexpr char console_path[] = "/dev/ttyS0";

const char *log_identity = nullptr;
int log_facility = 0;
std::map<std::string, std::string, std::less<>> substitutes;

auto open_descriptors() { return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()); }

void clear_state() {
    for (const char *root : state_folders) {
        for (const auto &entry : fs::directory_iterator(root)) { fs::remove_all(entry.path()); }
    }
    for (const char *folder : {"/tmp/local", "/tmp/telephony", "/userfs/cfgdb", "/data/panelui"}) {
        fs::create_directories(folder);
    }
    write_file(mass_storage, "");
}

} // namespace

extern "C" {
std::time_t time(std::time_t *out) {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    const std::time_t setting = clock_setting, value = setting != 0 ? setting : now.tv_sec;
    if (out != nullptr) { *out = value; }
    return value;
}

int __real_open(const char *path, int flags, ...);
int __wrap_open(const char *path, int flags, mode_t mode) {
    const int file = opener ? opener(path, flags) : -2;
    const auto known = substitutes.find(path);
    return file != -2 ? file : __real_open(known != substitutes.end() ? known->second.c_str() : path, flags, mode);
}
int __wrap_open64(const char *path, int flags, mode_t mode) { return __wrap_open(path, flags | O_LARGEFILE, mode); }

void __wrap_openlog(const char *identity, int /*options*/, int facility) {
    log_identity = identity;
    log_facility = facility;
}
void __wrap_syslog(int priority, const char *format, ...) {
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    const own_memory all;
    priority |= (priority & LOG_FACMASK) == 0 ? log_facility : 0;
    logged.push_back("<" + std::to_string(priority) + ">" + log_identity + ": " + text);
}
}

tree parse(const std::string &xml) {
    // Below a node of its own, which no text can close: what the reader makes of a broken text is released with it.
    const tree top(mxmlNewElement(nullptr, " "));
    const bool is_whole = mxmlLoadString(top.get(), xml.c_str(), MXML_OPAQUE_CALLBACK) != nullptr;
    mxml_node_t *root = mxmlFindElement(top.get(), top.get(), nullptr, nullptr, nullptr, MXML_DESCEND);
    if (is_whole) { mxmlRemove(root); }
    return tree(is_whole ? root : nullptr);
}

std::string serialise(mxml_node_t *node) {
    mxmlSetWrapMargin(0);
    const std::unique_ptr<char, decltype(&std::free)> text(mxmlSaveAllocString(node, MXML_NO_CALLBACK), &std::free);
    std::string result = text ? text.get() : "";
    result.erase(result.find_last_not_of('\n') + 1);
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

bool exists(const std::string &path) { return fs::exists(path); }

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
    FILE *stream = popen(command.c_str(), "r");
    std::string output;
    for (int c = 0; (c = std::getc(stream)) != EOF;) { output += static_cast<char>(c); }
    const int status = WEXITSTATUS(pclose(stream));
    return status == 0 ? output : output + "exit " + std::to_string(status);
}

void device_test::SetUp() {
    alarm(180); // a test that hangs ends the program
    clear_state();
    unlink(console_path);
    ASSERT_EQ(mkfifo(console_path, 0666), 0);
    console_ = open(console_path, O_RDWR | O_NONBLOCK | O_CLOEXEC);
    setting("wan", "proto"); // so that the store has its connection already
    __wrap_openlog("tarrow", 0, LOG_USER);
    logged.clear();
    descriptors_ = static_cast<std::size_t>(open_descriptors());
}

void device_test::TearDown() {
    clock_setting = 0;
    EXPECT_EQ(open_descriptors(), descriptors_) << "descriptors were left open or closed";
    EXPECT_TRUE(waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD) << "a child is left";
    substitutes.clear();
    opener = nullptr;
    close(console_);
}

strings device_test::log() {
    strings messages = std::exchange(logged, {});
    for (std::string &text : messages) {
        const std::size_t identity = text.find('>') + 1;
        text.erase(identity, text.find(": ", identity) + 2 - identity);
    }
    return messages;
}

std::string device_test::console() const {
    std::string text(4096, '\0');
    const ssize_t n = read(console_, text.data(), text.size());
    text.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
    return text;
}

void device_test::substitute(const std::string &path, const std::string &content) {
    substitutes.try_emplace(path, "/run/substitute" + std::to_string(substitutes.size()));
    write_file(substitutes[path], content);
}

} // namespace testing_device
