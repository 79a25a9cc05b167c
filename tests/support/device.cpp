#include "device.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include "../../src/support/settings.h"

namespace fs = std::filesystem;
using std::chrono::system_clock;

namespace testing_device {

namespace {

constexpr char console_path[] = "/dev/ttyS0";

device_test *current = nullptr;

long open_descriptors() { return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()); }

} // namespace

extern "C" {
reply ask(const char *what, const char *text) {
    const own_memory all;
    static std::string output;
    const std::string event = what;
    if (current == nullptr) { return {0, text, std::strlen(text)}; }
    output.clear();
    const long status = current->happens(event == "popen" ? "$" : event, text, event == "$" ? nullptr : &output);
    return {status, output.c_str(), output.size()};
}

FILE *__real_popen(const char *line, const char *mode);
int __real_pclose(FILE *stream);
}

tree parse(const std::string &xml) { return tree(mxmlLoadString(nullptr, xml.c_str(), MXML_OPAQUE_CALLBACK)); }

std::string serialise(mxml_node_t *node) {
    mxmlSetWrapMargin(0);
    const std::unique_ptr<char, decltype(&std::free)> text(mxmlSaveAllocString(node, MXML_NO_CALLBACK), &std::free);
    return trim(text ? text.get() : "");
}

std::string trim(std::string xml) {
    if (!xml.starts_with("<")) { return xml; } // a table
    xml.erase(xml.find_last_not_of('\n') + 1);
    for (std::size_t at = 0; (at = xml.find(" />", at)) != std::string::npos;) { xml.erase(at, 1); }
    return xml;
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

long device_test::happens(const std::string &what, const std::string &text, std::string *output) {
    const auto substitute = substitutes_.find(text);
    if (what == "time") { return clock != 0 ? clock : system_clock::to_time_t(system_clock::now()); }
    if (what != "open") { seen_.push_back(what + " " + text); }
    if (output != nullptr) {
        *output = what != "open" ? printed : substitute != substitutes_.end() ? substitute->second : text;
    }
    return 0;
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
    openlog("tarrow", 0, LOG_USER);
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
