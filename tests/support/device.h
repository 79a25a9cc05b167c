// The simulated device as the C++ cases see it. Each case begins with no state files and no
// settings, and must leave no descriptor and no child behind.
#pragma once

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>
#include <vector>

#include "cfgdb.h"

extern "C" {
#include "support.h"
}
extern "C" FILE *__real_popen(const char *line, const char *mode);
extern "C" int __real_pclose(FILE *stream);

using strings = std::vector<std::string>;

/// What the library has done since the case began, as support.h says.
inline strings events;
extern "C" [[gnu::used]] inline void report(const char *event) {
    events.emplace_back(event);
}

/// Writes a file, in a folder that is made for it.
inline void write_file(const std::filesystem::path &path, const std::string &content) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
}

/// What a shell line prints.
inline std::string output_of(const std::string &line) {
    std::string output;
    FILE *stream = __real_popen(line.c_str(), "r");
    for (int c = std::getc(stream); c != EOF; c = std::getc(stream)) {
        output += static_cast<char>(c);
    }
    __real_pclose(stream);
    return output;
}

/// From now on no descriptor is opened that is not below a number, until the case ends.
inline void limit_descriptors(rlim_t end) {
    const rlimit limit = {end, 1024};
    setrlimit(RLIMIT_NOFILE, &limit);
}

class device_test : public testing::Test {
protected:
    void SetUp() override {
        alarm(60); // a case that hangs ends the program
        output_of("mkdir -p /run/instead; find /run/instead /tmp /data /userfs "
                  "/mnt/external_sdcard -mindepth 1 -delete; mkdir /userfs/cfgdb");
        cfgdb_close(cfgdb_open("wan")); // the store keeps a descriptor from the first use on
        unsetenv("MEANWHILE");
        unsetenv("POPEN_FAILS");
        setenv("TZ", "UTC0", 1);
        setenv("CLOCK", "1795628000", 1);
        canned_output = nullptr;
        openlog("tarrow", 0, LOG_USER); // as the daemon does
        events.clear();
        descriptors_ = open_descriptors();
    }
    void TearDown() override {
        limit_descriptors(1024);
        EXPECT_EQ(open_descriptors(), descriptors_) << "a descriptor is left open, or closed";
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
    }

private:
    int descriptors_ = 0;
};
