// Requests with bytes from anywhere: one text in the page or table, one in a file that the library
// reads, one that each command prints. No bytes make the library crash, use memory that it must
// not, lose any, or leave a descriptor open.

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "../laws/requests.h"

namespace {

/// Files that the library reads, which campaign.sh lists.
std::vector<std::string> files;

/// The bytes up to the next 0xff, which end a text; those are taken away.
std::string take_text(std::string &bytes) {
    std::string text = bytes.substr(0, bytes.find('\xff'));
    bytes.erase(0, text.size() + 1);
    return text;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    std::ifstream names("build/fuzz/files.txt");
    files.assign(std::istream_iterator<std::string>(names), {});
    set_up_requests();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    if (size < 2) {
        return -1;
    }
    std::string bytes(data + 2, data + size);
    const std::filesystem::path file = "/run/instead" + files[data[1] % files.size()];
    const std::string text = take_text(bytes), content = take_text(bytes),
                      output = take_text(bytes);
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
    canned_output = output.c_str();
    const request &one = requests[data[0] % request_count];
    const int descriptors = open_descriptors();
    dc_args_t record = begin_request(&one, -1, text.c_str());
    run_request(&one, &record);
    end_request(&record);
    std::filesystem::remove(file);
    if (open_descriptors() != descriptors) {
        std::abort();
    }
    return 0;
}
