// tarrow_host: loads the module library as the daemon does, and answers page requests on the
// command line.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "../src/modules/statistics/stat_api.h"
#include "library.h"
#include "page_schema.h"
#include "request.h"
#include "table.h"
#include "traced.h"
#include "tree.h"

namespace {

constexpr char usage[] = "usage: tarrow_host list [--json] | get MODULE [ASKED] | set MODULE "
                         "POSTED... | request MODULE | stat-selftest | --help\n";
constexpr char help[] =
    "  list                      the modules, and what runs when each is read or written\n"
    "  list --json               the same for programs, one module per line\n"
    "  get MODULE                reads everything that the module has\n"
    "  get MODULE ELEMENT        prints the value of one element; a.b is <a><b/></a>\n"
    "  get MODULE REQUEST        answers a request\n"
    "  set MODULE KEY=VALUE...   posts values; a.b=v is <a><b>v</b></a>\n"
    "  set MODULE REQUEST        answers a request\n"
    "  request MODULE            prints the request that reads everything\n"
    "  stat-selftest             asks the statistics server one request of each kind and prints\n"
    "                            the answers\n"
    "  --help                    this text\n"
    "A REQUEST is the module's XML element, as in '<wan><ip4/></wan>', or a file that holds it "
    "(its\n"
    "name has a \"/\" or ends in \".xml\"), or - for standard input. The answer has the same "
    "form.\n"
    "\n"
    "Exit status: 0 answered; 1 not answered, or the module does not have the element; 2 a wrong\n"
    "command line; 3 answered, but a handler returned an error, or the module does not have an\n"
    "element of the request. The daemon does not report that; this program says it on standard\n"
    "error.\n";

constexpr int exit_refused = 3;

/// Where this program's own messages go. Under a tracer they have a descriptor of their own,
/// because standard error carries what commands print.
FILE *messages = stderr;

void print_error(const std::string &message) {
    std::fprintf(messages, "tarrow_host: %s\n", message.c_str());
    std::fflush(messages);
}

int fail(const std::string &message) {
    print_error(message);
    return 1;
}

int fail_with_usage(const std::string &message) {
    print_error(message);
    std::fputs(usage, messages);
    return 2;
}

/// The exit status when the answer is complete.
int flush_output() {
    return std::fflush(stdout) == 0 && std::ferror(stdout) == 0 ? 0
                                                                : fail("cannot write the answer");
}

bool is_name_of_file(const std::string &word) {
    return word.find('/') != std::string::npos ||
           (word.size() > 4 && word.compare(word.size() - 4, 4, ".xml") == 0);
}

/// The request that a word gives as XML, as a file or as standard input. Null and the reason when
/// it cannot be read.
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
struct query {
    host::tree request;
    std::string element;        // the only one that is asked for, or empty
    bool is_wrong_line = false; // why there is no request
};

query make_query(const std::string &command, const host::page_schema &schema,
                 const std::string &module, char **words, int count, std::string &reason) {
    const std::string first = count > 0 ? words[0] : "";
    if (count == 0) {
        return {schema.full_request(), ""};
    }
    if (count == 1 && (first[0] == '<' || first == "-" ||
                       (first.find('=') == std::string::npos && is_name_of_file(first)))) {
        return {read_request(module, first, reason), ""};
    }
    if (command == "get") {
        return {schema.request_for(first, reason), first};
    }
    query posted = {host::from_words(module, words, count, reason), ""};
    posted.is_wrong_line = !posted.request;
    return posted;
}

/// Says why the answer is empty when a module without handlers is read.
void explain_empty_answer(const applet_info &row) {
    if (row.di_handler_pre_get_func == nullptr && row.di_handler_post_get_func == nullptr) {
        print_error(std::string(row.di_modname) +
                    " has nothing to show: it has scripts only, which " + list_command() +
                    " names");
    }
}

void print_answer(const query &asked) {
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

/// Reports elements that the module does not have, and handlers that returned an error. Gives the
/// exit status for that.
int print_refusals(const host::page_schema &schema, const std::vector<std::string> &unknown,
                   const std::vector<std::string> &handler_errors, bool is_set) {
    for (const std::string &path : unknown) {
        print_error((is_set ? "refused to store: " : "refused: ") +
                    schema.unknown_element_message(path));
    }
    for (const std::string &error : handler_errors) {
        print_error("refused in " + error);
    }
    return unknown.empty() && handler_errors.empty() ? 0 : exit_refused;
}

/// Reads or writes a module and prints the answer. Gives the exit status.
int answer(const host::library &lib, const applet_info &row, const host::page_schema &schema,
           const query &asked, bool is_set) {
    std::string reason;
    std::vector<std::string> handler_errors;
    mxml_node_t *request = asked.request.get();
    const std::vector<std::string> unknown = host::unknown_elements(schema, request);
    // What the device's scripts print is no part of the answer, nor can they hold its end open.
    const int output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    dup2(STDERR_FILENO, STDOUT_FILENO);
    static_cast<void>(access(host::begin_mark, F_OK));
    const bool is_answered =
        is_set ? host::set(lib, schema, row, request, host::record_results(handler_errors), reason)
               : host::get(lib, schema, row.di_modname, request, reason);
    static_cast<void>(access(host::end_mark, F_OK));
    dup2(output, STDOUT_FILENO);
    close(output);
    const int status = print_refusals(schema, unknown, handler_errors, is_set);
    if (!is_answered) {
        return fail(reason);
    }
    print_answer(asked);
    const int written = flush_output();
    return written != 0 ? written : status;
}

} // namespace

int main(int argc, char **argv) {
    // For tarrow_trace: --trace DESCRIPTOR goes before the command.
    if (argc > 2 && std::strcmp(argv[1], "--trace") == 0) {
        const int descriptor = std::atoi(argv[2]);
        fcntl(descriptor, F_SETFD, FD_CLOEXEC);
        messages = fdopen(descriptor, "we");
        if (messages == nullptr || !host::is_traced()) {
            messages = messages != nullptr ? messages : stderr;
            return fail("nothing traces this program");
        }
        argc -= 2;
        argv += 2;
    }
    const std::string command = argc > 1 ? argv[1] : "";
    const std::string module = argc > 2 ? argv[2] : "";
    const bool is_set = command == "set";
    const bool is_list = command == "list";
    const bool is_request = command == "request";
    if (command == "--help" || command == "-h") {
        std::printf("%s%s", usage, help);
        return flush_output();
    }
    if (command == "stat-selftest" && argc == 2) {
        stat_client_main();
        return flush_output();
    }
    const bool is_known = is_list || is_set || is_request || command == "get";
    if (!is_known && command != "stat-selftest") {
        return fail_with_usage("there is no command '" + command + "'");
    }
    const bool is_complete = is_list      ? argc == 2 || (argc == 3 && module == "--json")
                             : is_set     ? argc >= 4
                             : is_request ? argc == 3
                                          : is_known && (argc == 3 || argc == 4);
    if (!is_complete) {
        return fail_with_usage("wrong number of words after '" + command + "'");
    }

    host::library lib = {};
    std::string reason;
    if (!host::load(lib, reason)) {
        return fail("the module library cannot be loaded: " + reason);
    }
    if (is_list) {
        (argc == 2 ? host::print_table : host::print_table_as_json)(lib);
        return flush_output();
    }
    const std::vector<applet_info> rows = host::rows(lib);
    const auto row = std::find_if(rows.begin(), rows.end(), [&](const applet_info &candidate) {
        return module == candidate.di_modname;
    });
    if (row == rows.end()) {
        return fail(no_module(rows, module));
    }
    const host::page_schema schema(module);
    const query asked = make_query(command, schema, module, argv + 3, argc - 3, reason);
    if (!asked.request) {
        return asked.is_wrong_line ? fail_with_usage(reason) : fail(reason);
    }
    if (argc == 3 && host::first_element(asked.request.get()) == nullptr) {
        explain_empty_answer(*row);
    }
    if (is_request) {
        print_answer(asked);
        return flush_output();
    }
    return answer(lib, *row, schema, asked, is_set);
}
