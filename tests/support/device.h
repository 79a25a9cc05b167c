// The simulated device as the tests see it. Each test begins with no state files, no settings and
// empty logs, and must leave no descriptor, process or mount behind.
#pragma once

#include <atomic>
#include <ctime>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <sys/resource.h>
#include <vector>

#include "../../src/tarrow_applets.h"

namespace testing_device {

using strings = std::vector<std::string>;

/// Where requests leave files: emptied before each test.
inline constexpr const char *state_folders[] = {"/tmp/", "/userfs/", "/data/", "/mnt/external_sdcard/"};
inline constexpr char mass_storage[] = "/sys/devices/platform/usb_mass_storage/lun1/file";

struct delete_tree {
    void operator()(mxml_node_t *node) const { mxmlDelete(node); }
};
using tree = std::unique_ptr<mxml_node_t, delete_tree>;

tree parse(const std::string &xml);
/// The text of a tree, without white space between elements.
std::string serialise(mxml_node_t *node);
/// The text of the first element of that name, "" when it is empty or not there.
std::string text_of(const std::string &xml, const char *element);

void write_file(const std::string &path, const std::string &content);
std::string read_file(const std::string &path);
bool exists(const std::string &path);

void set_setting(const char *module, const char *key, const std::string &value);
/// The value, or "(absent)".
std::string setting(const char *module, const char *key);

/// A record table that is released with this.
class list {
public:
    /// A table of the named fields (joined by "#") and the records of a stored string.
    explicit list(const std::string &names, const std::string &stored = "");
    list(const list &) = delete;
    list &operator=(const list &) = delete;
    ~list();

    dlist_node_t *get() { return table_.get(); }
    /// The table as a stored string.
    std::string text() const;

private:
    std::unique_ptr<dlist_node_t> table_;
};

/// What a command prints, and "exit N" after it when it fails.
std::string output_of(const std::string &command);

/// No file can be opened while one of these lives.
class no_descriptors {
public:
    no_descriptors();
    ~no_descriptors();
    no_descriptors(const no_descriptors &) = delete;
    no_descriptors &operator=(const no_descriptors &) = delete;

private:
    rlimit saved_{};
};

/// What time() says until the test ends, when it is not 0.
extern std::atomic<std::time_t> clock_setting;

class device_test : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    /// The calls that the device's stand-ins got since the last look, as "program argument...".
    strings calls();
    /// The messages in the system log since the last look, as "<priority>text".
    strings log();
    /// The same as "<priority>identity: text".
    strings log_with_identity();
    /// The identity that the last message looked at was logged under.
    [[nodiscard]] const std::string &log_identity() const { return identity_; }
    /// What the serial console has received since the last look.
    std::string console();
    /// Lets a file have other content, and be executable, until the test ends. Below /proc/net it
    /// is the only file then, and for this process alone.
    void substitute(const std::string &path, const std::string &content);

    /// Lets a program found by its name be this shell script until the test ends.
    void put_tool(const std::string &name, const std::string &script);

    /// Asks a module through the dispatch, as the daemon does: pre-get, post-get. Gives the filled
    /// tree.
    static std::string get(const char *module, const std::string &request);

private:
    int log_socket_ = -1;
    std::vector<int> log_senders_;
    int console_ = -1;
    std::size_t descriptors_ = 0;
    std::string identity_;
    strings mounts_;
    std::string search_path_;
    std::vector<std::pair<std::string, std::string>> links_;
};

} // namespace testing_device
