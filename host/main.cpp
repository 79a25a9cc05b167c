// tarrow_host: loads the module library as the daemon does and answers page requests on the command
// line.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

#include "../src/modules/statistics/stat_api.h"
#include "library.h"
#include "page.h"
#include "refusals.h"
#include "request.h"
#include "tree.h"

namespace {

constexpr char usage[] = "usage: tarrow_host list | get MODULE [ASKED] | set MODULE POSTED... | "
                         "stat-selftest | --help\n";
constexpr char help[] =
    "  list                      the modules, with what runs when each is read or written\n"
    "  get MODULE                answers a page that reads all that the module's page has\n"
    "  get MODULE ELEMENT        prints the value of one element, a.b for <a><b/></a>\n"
    "  get MODULE REQUEST        answers a page's request\n"
    "  set MODULE KEY=VALUE...   answers a page that posts values; a.b=v is <a><b>v</b></a>\n"
    "  set MODULE REQUEST        answers a page's request\n"
    "  stat-selftest             asks the statistics server for one of each and prints the "
    "answers\n"
    "  --help                    this text\n"
    "A REQUEST is the module's XML element, as in '<wan><ip4/></wan>', a file that holds it (its\n"
    "name has a \"/\" or ends in \".xml\"), or - for standard input. So is the answer.\n"
    "\n"
    "Exit status: 0 answered; 1 not, or the page has no such element; 2 a wrong command line;\n"
    "3 answered, but refused: a handler's answer was an error, or the page does not have what was\n"
    "asked for or posted. The daemon tells nobody of that; here it stands on standard error.\n";

constexpr int exit_refused = 3;

void tell(const std::string &message) {
    std::fprintf(stderr, "tarrow_host: %s\n", message.c_str());
}

int fail(const std::string &message) {
    tell(message);
    return 1;
}

int refuse_line(const std::string &message) {
    tell(message);
    std::fputs(usage, stderr);
    return 2;
}

/// The exit status once all has been written.
int flush_output() {
    return std::fflush(stdout) == 0 && std::ferror(stdout) == 0 ? 0
                                                                : fail("cannot write the answer");
}

bool is_name_of_file(const std::string &word) {
    return word.find('/') != std::string::npos ||
           (word.size() > 4 && word.compare(word.size() - 4, 4, ".xml") == 0);
}

/// The request that a word gives as XML, as a file or as standard input, or null and the reason.
host::tree read_request(const std::string &module, const std::string &word, std::string &reason) {
    std::string text;
    if (word[0] == '<') {
        text = word;
    } else if (!host::read_file(word, text, reason)) {
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

/// The command that lists the modules; ./run says so when the user typed that.
std::string list_command() {
    const char *command = std::getenv("TARROW_HOST");
    return std::string("'") + (command != nullptr ? command : "tarrow_host") + " list'";
}

std::string no_module(const std::vector<applet_info> &rows, const std::string &name) {
    std::vector<std::string> names;
    names.reserve(rows.size());
    for (const applet_info &row : rows) {
        names.emplace_back(row.di_modname);
    }
    const std::string meant = host::closest(name, names);
    return "no module is called '" + name + "'; " +
           (meant.empty() ? "" : "did you mean '" + meant + "'? ") + list_command() + " shows all";
}

/// What a command line asks of a module.
struct question {
    host::tree request;
    std::string element;        // the only one that is asked for
    bool is_wrong_line = false; // why there is no request
};

question make_question(const std::string &command, const host::page &page,
                       const std::string &module, char **words, int count, std::string &reason) {
    const std::string first = count > 0 ? words[0] : "";
    if (count == 0) {
        return {page.full_request(), ""};
    }
    if (count == 1 && (first[0] == '<' || first == "-" ||
                       (first.find('=') == std::string::npos && is_name_of_file(first)))) {
        return {read_request(module, first, reason), ""};
    }
    if (command == "get") {
        return {page.request_for(first, reason), first};
    }
    question posted = {host::from_words(module, words, count, reason), ""};
    posted.is_wrong_line = !posted.request;
    return posted;
}

/// Says why there is nothing to see when a module of scripts is read.
void tell_of_scripts(const applet_info &row) {
    const bool has_handler =
        row.di_handler_pre_get_func != nullptr || row.di_handler_post_get_func != nullptr;
    if (!has_handler) {
        tell(std::string(row.di_modname) + " has nothing to show: it has scripts only, which " +
             list_command() + " names");
    }
}

void print_answer(const question &asked) {
    mxml_node_t *element = asked.request.get();
    if (asked.element.empty()) {
        std::fputs(host::serialise(element).c_str(), stdout);
        return;
    }
    element = host::find_at(element, asked.element);
    if (host::first_element(element) == nullptr) {
        std::puts(host::text_of(element).c_str());
        return;
    }
    mxmlRemove(element);
    const host::tree part(element);
    std::fputs(host::serialise(part.get()).c_str(), stdout);
}

/// Tells what a page could not have or post; the exit status for it.
int tell_refusals(const host::page &page, const std::vector<std::string> &unknown, bool is_set) {
    for (const std::string &path : unknown) {
        tell((is_set ? "refused to store: " : "refused: ") + page.lack(path));
    }
    for (const std::string &refusal : host::refusals()) {
        tell("refused in " + refusal);
    }
    return unknown.empty() && host::refusals().empty() ? 0 : exit_refused;
}

} // namespace

int main(int argc, char **argv) {
    const std::string command = argc > 1 ? argv[1] : "";
    const bool is_set = command == "set";
    if (command == "--help" || command == "-h") {
        std::printf("%s%s", usage, help);
        return flush_output();
    }
    if (command == "stat-selftest" && argc == 2) {
        stat_client_main();
        return flush_output();
    }
    const bool is_list = command == "list" && argc == 2;
    const bool is_get = command == "get" && (argc == 3 || argc == 4);
    if (!is_list && !is_get && !(is_set && argc >= 4)) {
        const bool is_known =
            command == "list" || command == "get" || is_set || command == "stat-selftest";
        return refuse_line(is_known ? "wrong number of words after '" + command + "'"
                                    : "no command '" + command + "'");
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
    const std::vector<applet_info> rows = host::rows(lib);
    const auto row = std::find_if(rows.begin(), rows.end(), [&](const applet_info &candidate) {
        return module == candidate.di_modname;
    });
    if (row == rows.end()) {
        return fail(no_module(rows, module));
    }
    const host::page page(module);
    const question asked = make_question(command, page, module, argv + 3, argc - 3, reason);
    if (!asked.request) {
        return asked.is_wrong_line ? refuse_line(reason) : fail(reason);
    }
    mxml_node_t *request = asked.request.get();
    const std::vector<std::string> unknown = host::unknown_elements(page, request);
    if (argc == 3 && host::first_element(request) == nullptr) {
        tell_of_scripts(*row);
    }
    host::listen(lib);
    // What the device's scripts print is no part of the answer. Until standard output is the
    // answer's again, tarrow_trace takes what this program asks of the kernel for the library's.
    const int answer = dup(STDOUT_FILENO);
    dup2(STDERR_FILENO, STDOUT_FILENO);
    const bool is_answered = is_get ? host::get(lib, page, module, request, reason)
                                    : host::set(lib, page, module, request, reason);
    const int status = tell_refusals(page, unknown, is_set);
    if (!is_answered) {
        return fail(reason);
    }
    dup2(answer, STDOUT_FILENO);
    close(answer);
    print_answer(asked);
    const int written = flush_output();
    return written != 0 ? written : status;
}
