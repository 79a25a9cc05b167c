// tarrow_host: loads the module library as the daemon does and answers page requests on the command
// line.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <unistd.h>

#include "../src/modules/statistics/stat_api.h"
#include "library.h"
#include "page.h"
#include "request.h"

namespace {

constexpr char usage[] =
    "usage: tarrow_host COMMAND\n"
    "  list                      the modules, with what runs when each is read or written\n"
    "  get MODULE [FILE|-]       answers a page that reads the module: the request in FILE or on\n"
    "                            standard input, or all that the module's page has\n"
    "  set MODULE FILE|-         answers a page that writes the module\n"
    "  set MODULE KEY=VALUE...   the same with values given here; a.b=v is <a><b>v</b></a>\n"
    "  stat-selftest             asks the statistics server for one of each and prints the "
    "answers\n"
    "  --help                    this text\n"
    "A request is the module's XML element, as in <wan><ip4/></wan>; so is the answer.\n";

int fail(const std::string &message) {
    std::fprintf(stderr, "tarrow_host: %s\n", message.c_str());
    return 1;
}

/// The exit status once all has been written.
int flush_output() {
    return std::fflush(stdout) == 0 && std::ferror(stdout) == 0 ? 0
                                                                : fail("cannot write the answer");
}

bool is_module(const host::library &lib, const std::string &name) {
    int count = 0;
    const std::unique_ptr<applet_info, decltype(&std::free)> table(lib.get_module_applets(&count),
                                                                   &std::free);
    for (int i = 0; table != nullptr && i < count; ++i) {
        if (name == table.get()[i].di_modname) {
            return true;
        }
    }
    return false;
}

/// The request that a command line's words after the module's name give, or null and the reason.
host::tree make_request(const std::string &command, const host::page &page,
                        const std::string &module, char **words, int count, std::string &reason) {
    if (count == 0) {
        return page.full_request();
    }
    const std::string first = words[0];
    const bool is_value = count > 1 || first.find('=') != std::string::npos;
    if (command == "set" && is_value) {
        return host::from_words(module, words, count, reason);
    }
    std::string text;
    if (!host::read_file(first, text, reason)) {
        return nullptr;
    }
    host::tree request = host::parse(text, reason);
    if (!request) {
        reason = "the request cannot be read: " + reason;
    } else if (module != mxmlGetElement(request.get())) {
        reason = "the request is not for <" + module + ">";
        return nullptr;
    }
    return request;
}

} // namespace

int main(int argc, char **argv) {
    const std::string command = argc > 1 ? argv[1] : "";
    const bool is_list = command == "list" && argc == 2;
    const bool is_get = command == "get" && (argc == 3 || argc == 4);
    const bool is_set = command == "set" && argc >= 4;
    if (command == "stat-selftest" && argc == 2) {
        stat_client_main();
        return flush_output();
    }
    if (!is_list && !is_get && !is_set) {
        const bool is_help = command == "--help" && argc == 2;
        std::fputs(usage, is_help ? stdout : stderr);
        return is_help ? 0 : 2;
    }

    host::library lib = {};
    std::string reason;
    if (!host::load(lib, reason)) {
        return fail("the module library cannot be loaded: " + reason);
    }
    if (is_list) {
        host::print_table(lib);
        return flush_output();
    }
    const std::string module = argv[2];
    if (!is_module(lib, module)) {
        return fail("no module is called '" + module + "'; 'tarrow_host list' shows all");
    }
    const host::page page(module);
    const host::tree request = make_request(command, page, module, argv + 3, argc - 3, reason);
    if (!request) {
        return fail(reason);
    }
    // What the device's scripts print is no part of the answer.
    const int answer = dup(STDOUT_FILENO);
    dup2(STDERR_FILENO, STDOUT_FILENO);
    const bool is_answered = is_get ? host::get(lib, page, module, request.get(), reason)
                                    : host::set(lib, page, module, request.get(), reason);
    if (!is_answered) {
        return fail(reason);
    }
    dup2(answer, STDOUT_FILENO);
    close(answer);
    std::fputs(host::serialise(request.get()).c_str(), stdout);
    return flush_output();
}
