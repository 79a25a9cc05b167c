#include "device.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include "../../src/support/settings.h"
#include "../../src/support/xml.h"

namespace fs = std::filesystem;

extern "C" std::time_t time(std::time_t *out) {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    const std::time_t setting = testing_device::clock_setting;
    const std::time_t value = setting != 0 ? setting : now.tv_sec;
    if (out != nullptr) { *out = value; }
    return value;
}

namespace testing_device {

std::atomic<std::time_t> clock_setting = 0;

namespace {

constexpr char log_path[] = "/dev/log";
constexpr char console_path[] = "/dev/ttyS0";

constexpr char calls_path[] = "/var/log/calls";

std::size_t open_descriptors() {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto &entry : fs::directory_iterator("/proc/self/fd")) { ++count; }
    return count;
}

void clear_state() {
    for (const char *root : state_folders) {
        for (const auto &entry : fs::directory_iterator(root)) { fs::remove_all(entry.path()); }
    }
    for (const char *folder : {"/tmp/local", "/tmp/telephony", "/userfs/cfgdb", "/data/panelui"}) {
        fs::create_directories(folder);
    }
    for (const auto &entry : fs::directory_iterator("/sim/fail")) { fs::remove(entry.path()); }
    write_file(mass_storage, "");
    write_file(calls_path, "");
}

} // namespace

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

std::string text_of(const std::string &xml, const char *element) {
    const tree root = parse(xml);
    const char *text = tarrow::element_text(tarrow::find_below(root.get(), element));
    return text != nullptr ? text : "";
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
    const qstr_t name = tarrow::counted(key);
    const qstr_t text = tarrow::counted(value.c_str());
    ASSERT_EQ(cfgdb_set(handle.get(), &name, &text), 0);
}

std::string setting(const char *module, const char *key) {
    const tarrow::heap_string value = tarrow::read_setting(module, key);
    return value ? value.get() : "(absent)";
}

list::list(const std::string &names, const std::string &stored) : table_(new dlist_node_t) {
    dl_dlist_init(table_.get());
    const int fields = dl_get_meta_fields(names.c_str(), table_.get(), '#');
    dl_variable_to_dlist_alloc(stored.c_str(), table_.get(), fields, '#', ' ');
}
list::~list() { dl_free_dlist(table_.get()); }

std::string list::text() const {
    char *value = nullptr;
    dl_dlist_to_variable(&value, table_.get(), '#', ' ');
    return tarrow::heap_string(value).get();
}

std::string output_of(const std::string &command) {
    FILE *stream = popen(command.c_str(), "r");
    std::string output;
    for (int c = 0; (c = std::getc(stream)) != EOF;) { output += static_cast<char>(c); }
    const int status = pclose(stream);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? output
                                                         : output + "exit " + std::to_string(WEXITSTATUS(status));
}

no_descriptors::no_descriptors() {
    getrlimit(RLIMIT_NOFILE, &saved_);
    rlimit none = saved_;
    none.rlim_cur = 0;
    setrlimit(RLIMIT_NOFILE, &none);
}
no_descriptors::~no_descriptors() { setrlimit(RLIMIT_NOFILE, &saved_); }

void device_test::SetUp() {
    alarm(180); // a test that hangs ends the program
    clear_state();
    closelog();
    unlink(log_path);
    // A stream, which the C library takes too: unlike datagrams it holds nobody up when many wait.
    log_socket_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_un address = {AF_UNIX, {}};
    std::strcpy(address.sun_path, log_path);
    ASSERT_EQ(bind(log_socket_, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
    ASSERT_EQ(listen(log_socket_, 64), 0);
    unlink(console_path);
    ASSERT_EQ(mkfifo(console_path, 0666), 0);
    console_ = open(console_path, O_RDWR | O_NONBLOCK | O_CLOEXEC);
    setting("wan", "proto");               // so that the store has its connection already
    openlog("test", LOG_NDELAY, LOG_USER); // so that no test opens the log's descriptors first
    log();
    descriptors_ = open_descriptors();
}

void device_test::TearDown() {
    if (!search_path_.empty()) { setenv("PATH", search_path_.c_str(), 1); }
    clock_setting = 0;
    EXPECT_EQ(open_descriptors(), descriptors_) << "descriptors were left open or closed";
    EXPECT_TRUE(waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD) << "a child is left";
    for (const std::string &path : mounts_) { umount2(path.c_str(), MNT_DETACH); }
    fs::remove_all("/tmp/substitute.net");
    for (const auto &[path, target] : links_) {
        fs::remove(path);
        fs::create_symlink(target, path);
    }
    closelog();
    for (const int sender : log_senders_) { close(sender); }
    close(log_socket_);
    close(console_);
}

strings device_test::calls() {
    std::istringstream records(read_file(calls_path));
    write_file(calls_path, "");
    strings result;
    for (std::string count, call, word; std::getline(records, count, '\0');) {
        std::getline(records, call, '\0');
        for (int left = std::stoi(count); left > 0; --left) {
            std::getline(records, word, '\0');
            call += ' ' + word;
        }
        result.push_back(call);
    }
    return result;
}

strings device_test::log_with_identity() {
    for (int sender = 0; (sender = accept4(log_socket_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK)) >= 0;) {
        log_senders_.push_back(sender);
    }
    std::string received, piece(65536, '\0');
    for (const int sender : log_senders_) {
        for (ssize_t n = 0; (n = read(sender, piece.data(), piece.size())) > 0;) {
            received.append(piece, 0, static_cast<std::size_t>(n));
        }
    }
    strings messages;
    std::istringstream texts(received);
    for (std::string text; std::getline(texts, text, '\0');) { // "<43>Jan  1 00:00:00 identity: text"
        messages.push_back(text.erase(text.find('>') + 1, sizeof("Jan  1 00:00:00")));
    }
    return messages;
}

strings device_test::log() {
    strings messages = log_with_identity();
    for (std::string &text : messages) {
        const std::size_t identity = text.find('>') + 1, end = text.find(": ", identity);
        identity_ = text.substr(identity, end - identity);
        text.erase(identity, end + 2 - identity);
    }
    return messages;
}

std::string device_test::console() {
    std::string text(4096, '\0');
    const ssize_t n = read(console_, text.data(), text.size());
    text.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
    return text;
}

void device_test::substitute(const std::string &path, const std::string &content) {
    if (fs::is_symlink(path)) { // a mount would go to what it points at
        links_.emplace_back(path, fs::read_symlink(path));
        fs::remove(path);
        write_file(path, content);
        ASSERT_EQ(chmod(path.c_str(), 0755), 0);
        return;
    }
    // The kernel keeps no mount on a file below /proc/net, but one on the folder of a process.
    const bool is_net = path.compare(0, 10, "/proc/net/") == 0;
    const std::string source = is_net ? "/tmp/substitute.net" : "/tmp/substitute";
    const std::string target = is_net ? "/proc/self/net" : path;
    const std::string file = is_net ? source + path.substr(9) : source;
    if (is_net) { fs::create_directory(source); }
    const bool is_mounted = std::find(mounts_.begin(), mounts_.end(), target) != mounts_.end();
    write_file(is_mounted ? path : file, content);
    if (is_mounted) { return; }
    ASSERT_EQ(chmod(file.c_str(), 0755), 0);
    ASSERT_EQ(mount(source.c_str(), target.c_str(), "", MS_BIND, nullptr), 0) << path << ": " << std::strerror(errno);
    mounts_.push_back(target);
    if (!is_net) {
        fs::remove(source); // the mount keeps it
    }
}

void device_test::put_tool(const std::string &name, const std::string &script) {
    const std::string folder = "/tmp/local/bin";
    if (search_path_.empty()) {
        search_path_ = output_of("printf %s \"$PATH\"");
        setenv("PATH", (folder + ":" + search_path_).c_str(), 1);
        fs::create_directories(folder);
    }
    write_file(folder + "/" + name, "#!/bin/sh\n" + script);
    chmod((folder + "/" + name).c_str(), 0755);
}

std::string device_test::get(const char *module, const std::string &request) {
    const tree page = parse(request);
    dc_args_t args = {TARROW_CB_ARGS_XML, {.dc_subnode = page.get()}, nullptr};
    EXPECT_EQ(tarrow_call_module_pre_get_handler(module, TARROW_ACTION_GET, &args), 0);
    EXPECT_EQ(tarrow_call_module_post_get_handler(module, TARROW_ACTION_GET, &args), 0);
    return serialise(page.get());
}

} // namespace testing_device
