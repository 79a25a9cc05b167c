// The simulated device as the tests see it. Each test begins with no state files, no settings and
// empty logs, and must leave no descriptor and no process behind.
#pragma once

#include <atomic>
#include <ctime>
#include <functional>
#include <gtest/gtest.h>
#include <map>
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

void write_file(const std::string &path, const std::string &content);
std::string read_file(const std::string &path);
bool exists(const std::string &path);

void set_setting(const char *module, const char *key, const std::string &value);
/// The value, or "(absent)".
std::string setting(const char *module, const char *key);

/// What a command prints, and "exit N" after it when it fails.
std::string output_of(const std::string &command);

/// No file can be opened while one of these lives.
struct no_descriptors {
    no_descriptors() {
        getrlimit(RLIMIT_NOFILE, &saved);
        const rlimit none = {0, saved.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
    }
    ~no_descriptors() { setrlimit(RLIMIT_NOFILE, &saved); }
    no_descriptors(const no_descriptors &) = delete;
    no_descriptors &operator=(const no_descriptors &) = delete;
    rlimit saved{};
};

/// What time() says until the test ends, when it is not 0.
extern std::atomic<std::time_t> clock_setting;
/// The messages in the system log since the last look, as "<priority>identity: text".
extern strings logged;
/// Opens files for the library in its place, when it is set and gives no -2.
extern std::function<int(const char *path, int flags)> opener;

class device_test : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    /// The messages in the system log since the last look, as "<priority>text".
    static strings log();
    /// What the serial console has received since the last look.
    std::string console() const; // NOLINT(modernize-use-nodiscard): a look may be for its effect
    /// Lets a file have other content for the library until the test ends.
    static void substitute(const std::string &path, const std::string &content);

private:
    int console_ = -1;
    std::size_t descriptors_ = 0;
};

} // namespace testing_device
