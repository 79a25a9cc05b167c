// The device as the fuzz programs see it: an input brings every file, command output and setting, nothing of
// this machine is read or written, and each command line is compared with the known ones instead of run.
//
// An input is a first line (what to do), a text, and parts, each after a line "==== NAME":
//   ==== /PATH         a file, or what a command of that path prints; "*": any that has no part of its own
//   ==== MODULE KEY    a setting
//   ==== NAME          "status": exit codes; "ioctl": what interface requests answer; "answers": those of the
//                      statistics server, a length byte and as many bytes each; any other is the program's
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "../../src/tarrow_applets.h"

namespace fuzz {

/// Ends the program, with what is wrong, unless a condition holds.
inline void require(bool condition, const char *expectation, const std::string &found = "") {
    if (!condition) {
        std::fprintf(stderr, "not so: %s: %s\n", expectation, found.c_str());
        std::abort();
    }
}

struct release {
    void operator()(char *text) const { std::free(text); }
    void operator()(mxml_node_t *node) const { mxmlDelete(node); }
    void operator()(dlist_node_t *table) const {
        dl_free_dlist(table);
        delete table;
    }
};
using text = std::unique_ptr<char, release>; // a block of exactly its size, so that a read beyond it shows
using tree = std::unique_ptr<mxml_node_t, release>;
using table = std::unique_ptr<dlist_node_t, release>;

tree parse(const std::string &xml);
void serialise(mxml_node_t *node);
/// A table with the names that a text joins by '#', and the records of a stored string.
table new_table(const std::string &names, const std::string &stored, char field_delim, char record_delim);
std::string stored_text(const dlist_node_t *list, char field_delim, char record_delim);

/// Whether a line is in fuzz/commands.txt or a hook script's, and every text from outside in it exactly one word.
bool is_known_command(const std::string &line);

/// Lives as long as an input is worked on; then the library must have closed what it opened.
struct world {
    world(const std::uint8_t *data, std::size_t size);
    world(const world &) = delete;
    world &operator=(const world &) = delete;
    ~world();

    bool exists(const std::string &name) { return parts.count(name) != 0; }
    std::string content(const std::string &path); // as it is now
    bool remove(const std::string &path);
    void put(const std::string &path, const std::string &content);
    int open(const std::string &path, int flags);

    std::string task, text;
    std::map<std::string, std::string> parts;
    std::map<std::string, int> files; // of the parts that were opened
    std::vector<int> handed_out;
    int commands = 0; // that are not waited for
    int sleeps = 0;
};

} // namespace fuzz
