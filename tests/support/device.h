// The simulated device as the tests see it. Each test begins with no state files and no settings, and must leave no
// descriptor and no process behind. What the library does outside of itself comes to the test, and no command runs.
#pragma once

#include <ctime>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <string>
#include <sys/resource.h>
#include <utility>
#include <vector>

extern "C" {
#include "library.h"
}

namespace testing_device {

using strings = std::vector<std::string>;

/// Where requests leave files: emptied before each test.
inline constexpr const char *state_folders[] = {"/tmp/", "/userfs/", "/data/", "/mnt/external_sdcard/"};
inline constexpr char mass_storage[] = "/sys/devices/platform/usb_mass_storage/lun1/file";
inline constexpr char temporary_file[] = "/tmp/tarrow.XXXXXX"; // the library's, of which there is one at a time

struct delete_tree {
    void operator()(mxml_node_t *node) const { mxmlDelete(node); }
};
using tree = std::unique_ptr<mxml_node_t, delete_tree>;

tree parse(const std::string &xml);
/// The text of a tree, without white space between elements.
std::string serialise(mxml_node_t *node);
std::string trim(std::string xml);

void write_file(const std::string &path, const std::string &content);
std::string read_file(const std::string &path);

void set_setting(const char *module, const char *key, const std::string &value);
/// The value, or "(absent)".
std::string setting(const char *module, const char *key);

/// What a command prints, and "exit N" after it when it fails.
std::string output_of(const std::string &command);

/// Lets no file be opened whose descriptor is not below a number, until the test ends.
void limit_descriptors(rlim_t end);

/// The allocator of the whole program, which serves the library, libmxml, the settings store and the C library alike:
/// while it is armed, the first allocation that it names is refused, or all from that one on.
struct memory_fault {
    bool is_armed = false, is_lasting = false, has_struck = false;
    long first = 0, seen = 0;
};
extern thread_local memory_fault fault;

/// While it lives no memory is refused: it is a test that asks for it.
struct own_memory {
    const bool was_armed = std::exchange(fault.is_armed, false);
    own_memory() = default;
    own_memory(const own_memory &) = delete;
    own_memory &operator=(const own_memory &) = delete;
    ~own_memory() { fault.is_armed = was_armed; }
};

class device_test : public testing::Test {
public:
    /// Takes what the library does: "$", a command line; "waits", milliseconds; "log", a line; "ends", the process's
    /// status; and what else it asks. Gives a command's wait status or another answer, below 0 an error's number, and
    /// what a command prints for one who reads it, or the path that is opened.
    virtual long happens(const std::string &what, const std::string &text, std::string *output);

    std::time_t clock = 0; // what time() says, when it is not 0

protected:
    void SetUp() override;
    void TearDown() override;

    /// What has happened since the last look, a line each.
    strings seen() { return std::exchange(seen_, {}); }
    /// What the serial console has received since the last look.
    std::string console() const; // NOLINT(modernize-use-nodiscard): a look may be for its effect
    /// Lets a file have other content for the library until the test ends.
    void substitute(const std::string &path, const std::string &content);

    std::string printed; // by each command
    strings seen_;

private:
    std::map<std::string, std::string, std::less<>> substitutes_;
    int console_ = -1;
    long descriptors_ = 0;
};

} // namespace testing_device
