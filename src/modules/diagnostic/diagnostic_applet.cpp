// The diagnostics page: a post runs a network tool, a read shows its output.

#include "diagnostic_applet.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <strings.h>

#include "support/callback.h"
#include "support/command.h"
#include "support/files.h"
#include "support/text.h"
#include "support/xml.h"

namespace {

constexpr char output_file[] = "/tmp/diag";
constexpr char redirection[] = " >/tmp/diag 2>&1";
constexpr std::size_t line_size = 256;
constexpr std::size_t output_size = 1024;
constexpr std::size_t max_argument_length = 498;

/// The tools of this page, whose names match in any letter case, and their options.
struct tool {
    const char *name;
    const char *options;
};
constexpr tool tools[] = {
    {"route", "-n"}, {"traceroute", "-n"}, {"arp", "-n"}, {"ping", ""}, {"arping", ""}};

/// The options of a posted command, or null when this page has no such tool.
const char *options_of(const char *command) {
    if (std::strcmp(command, "ping") == 0 || std::strcmp(command, "arping") == 0) {
        return "-c 10"; // without a number of probes it would not end
    }
    for (const tool &candidate : tools) {
        if (strcasecmp(command, candidate.name) == 0) {
            return candidate.options;
        }
    }
    return nullptr;
}

/// Whether a text is empty or can be a host's name or address.
bool is_host(const char *text) {
    return *text != '-' && tarrow::is_made_of(text, ".:-_%");
}

} // namespace

int execute_command(int /*flags*/, dc_args_t *dc) {
    mxml_node_t *root = tarrow::subtree_of(dc);
    const char *command = tarrow::element_text(tarrow::find_child(root, "command"));
    const char *options = command != nullptr ? options_of(command) : nullptr;
    const char *argument = tarrow::element_text(tarrow::find_child(root, "arg"));
    if (options == nullptr || (argument != nullptr && !is_host(argument))) {
        return -1;
    }
    tarrow::command_line<line_size> line;
    line.text("LD_LIBRARY_PATH=/vexorel/usr/lib/:$LD_LIBRARY_PATH ")
        .text(command)
        .text(" ")
        .text(options)
        .text(" ");
    if (argument != nullptr) {
        line.text(argument, std::min(std::strlen(argument), max_argument_length)).text(" ");
    }
    // Part of the redirection would name another file. If not all of it fits, the output is lost.
    if (std::strlen(line.c_str()) + sizeof(redirection) <= line_size) {
        line.text(redirection);
    }
    if (const tarrow::pipe_stream output = tarrow::open_command(line); output) {
        std::array<char, output_size> discarded;
        std::fread(discarded.data(), 1, discarded.size() - 1, output.get());
    }
    return 0;
}

int command_output(int /*flags*/, dc_args_t *dc) {
    mxml_node_t *root = tarrow::subtree_of(dc);
    if (root == nullptr) {
        return -1;
    }
    std::array<char, output_size> output;
    if (!tarrow::read_text(output_file, output.data(), output.size())) {
        return 0;
    }
    if (mxml_node_t *element = tarrow::find_child(root, "output"); element != nullptr) {
        tarrow::move_last(root, element);
        tarrow::add_opaque(element, output.data());
    }
    return 0;
}
