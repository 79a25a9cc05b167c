// tarrow_probe: answers requests as the daemon does, for a look from outside at what they cost.
//
//   tarrow_probe calls FILE    Marks the library's part of each request in the system calls, for a
//                              tracer: a write to no descriptor when it begins and ends, and when
//                              the settings store begins and ends its own.
//   tarrow_probe memory FILE   Prints, to descriptor 3, what the library adds to a process that
//                              loads it and answers the requests: pages, and heap without the
//                              store's.
//
// FILE has a request a line, "get MODULE" for all of the module's page, or "set MODULE XML"; what
// follows a "|" is not for this program. Lines that begin with "!" are for the shell, between
// requests.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <fstream>
#include <malloc.h>
#include <sstream>
#include <string>
#include <syslog.h>
#include <unistd.h>

#include "../host/library.h"
#include "../host/page_schema.h"
#include "../host/request.h"
#include "../host/table.h"
#include "cfgdb.h"

extern "C" void *__libc_malloc(std::size_t size);
extern "C" void *__libc_calloc(std::size_t count, std::size_t size);
extern "C" void *__libc_realloc(void *block, std::size_t size);
extern "C" void __libc_free(void *block);

namespace {

host::library real = {};
int store_depth = 0;
bool is_in_library = false;

// Bytes of the heap, without the store's own.
long heap = 0;
long highest = 0;
long most = 0; // that one call took
std::string greediest;

void count(void *block, int sign) {
    if (store_depth == 0) {
        heap += sign * static_cast<long>(malloc_usable_size(block));
        highest = std::max(highest, heap);
    }
}

/// Something that a tracer sees and the kernel refuses.
void mark(const char *text) {
    const ssize_t refused = write(-1, text, std::strlen(text));
    static_cast<void>(refused);
}

/// The time that the store takes for itself.
class store_call {
public:
    explicit store_call(const char *name) {
        if (store_depth++ == 0 && is_in_library) {
            mark(name);
        }
    }
    store_call(const store_call &) = delete;
    store_call &operator=(const store_call &) = delete;
    ~store_call() {
        if (--store_depth == 0 && is_in_library) {
            mark("back");
        }
    }
};

template <typename Function>
Function next(Function /*own*/, const char *name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

/// A call of the library, between its marks.
class library_call {
public:
    explicit library_call(const char *name) : name_(name), before_(heap) {
        highest = heap;
        is_in_library = true;
        mark("library");
    }
    library_call(const library_call &) = delete;
    library_call &operator=(const library_call &) = delete;
    ~library_call() {
        mark("end");
        is_in_library = false;
        if (highest - before_ > most) {
            most = highest - before_;
            greediest = name_;
        }
    }

private:
    const char *name_;
    long before_;
};

template <auto host::library::*Call>
int marked(const char *module, int flags, dc_args_t *args) {
    const library_call call(module);
    return (real.*Call)(module, flags, args);
}

/// The same for a handler that the host program calls itself.
int marked_handler(const char * /*phase*/, tarrow_handler_t *handler, int flags, dc_args_t *args) {
    const library_call call(host::name_of(handler));
    return handler(flags, args);
}

bool answer(const host::library &lib, const std::string &line) {
    std::istringstream words(line.substr(0, line.find('|')));
    std::string command;
    std::string module;
    std::string text;
    std::string reason;
    words >> command >> module;
    std::getline(words >> std::ws, text);
    const host::page_schema schema(module);
    const host::tree request = text.empty() ? schema.full_request() : host::parse(text, reason);
    mark(("request " + command + " " + module).c_str());
    if (!request) {
        return false;
    }
    if (command == "get") {
        return host::get(lib, schema, module, request.get(), reason);
    }
    for (const applet_info &row : host::rows(lib)) {
        if (module == row.di_modname) {
            return host::set(lib, schema, row, request.get(), marked_handler, reason);
        }
    }
    return false;
}

/// A number of KiB of this process, of the mappings whose name holds a text ("": of all).
long memory(const char *field, const char *mapping) {
    std::ifstream maps("/proc/self/smaps");
    long sum = 0;
    bool is_counted = false;
    for (std::string line; std::getline(maps, line);) {
        const std::string first = line.substr(0, line.find(' '));
        if (first.back() != ':') {
            is_counted = line.find(mapping) != std::string::npos;
        } else if (is_counted && first == std::string(field) + ":") {
            sum += std::stol(line.substr(first.size()));
        }
    }
    return sum;
}

} // namespace

void *malloc(std::size_t size) {
    void *block = __libc_malloc(size);
    count(block, 1);
    return block;
}
void *calloc(std::size_t number, std::size_t size) {
    void *block = __libc_calloc(number, size);
    count(block, 1);
    return block;
}
void *realloc(void *block, std::size_t size) {
    count(block, -1);
    void *moved = __libc_realloc(block, size);
    count(moved, 1);
    return moved;
}
void free(void *block) {
    count(block, -1);
    __libc_free(block);
}

cfgdb_handle_t *__cfgdb_open(const char *module, int flags) {
    const store_call call("store open");
    return next(__cfgdb_open, "__cfgdb_open")(module, flags);
}
int cfgdb_close(cfgdb_handle_t *handle) {
    const store_call call("store");
    return next(cfgdb_close, "cfgdb_close")(handle);
}
char *cfgdb_get(cfgdb_handle_t *handle, const qstr_t *key) {
    char *value = nullptr;
    {
        const store_call call("store");
        value = next(cfgdb_get, "cfgdb_get")(handle, key);
    }
    count(value, 1); // the caller's from here on
    return value;
}
int cfgdb_get_int(cfgdb_handle_t *handle, const qstr_t *key) {
    const store_call call("store");
    return next(cfgdb_get_int, "cfgdb_get_int")(handle, key);
}
int cfgdb_set(cfgdb_handle_t *handle, const qstr_t *key, const qstr_t *value) {
    const store_call call("store");
    return next(cfgdb_set, "cfgdb_set")(handle, key, value);
}
int cfgdb_set_int(cfgdb_handle_t *handle, const qstr_t *key, int value) {
    const store_call call("store");
    return next(cfgdb_set_int, "cfgdb_set_int")(handle, key, value);
}

namespace {

/// Answers the requests of a file; with is_again those that only read.
bool answer_all(const host::library &lib, const char *path, bool is_again) {
    std::ifstream lines(path);
    for (std::string line; std::getline(lines, line);) {
        const bool is_get = line.compare(0, 4, "get ") == 0;
        if (line[0] == '!') {
            const int status = std::system(line.c_str() + 1);
            static_cast<void>(status);
        } else if ((is_get || (!is_again && line.compare(0, 4, "set ") == 0)) &&
                   !answer(lib, line)) {
            std::fprintf(stderr, "tarrow_probe: not answered: %s\n", line.c_str());
            return false;
        }
    }
    return lines.eof();
}

struct cost {
    long resident = memory("Rss", "");
    long changed = memory("Private_Dirty", "");
    long heap_bytes = heap;
};

void print_memory(const cost &before, const cost &loaded, const cost &answered, const cost &again) {
    const auto row = [](const char *what, long value, const char *unit) {
        dprintf(3, "%-66s %8ld %s\n", what, value, unit);
    };
    row("memory of a process that loads it: resident, more by", loaded.resident - before.resident,
        "KiB");
    row("  of which private and changed", loaded.changed - before.changed, "KiB");
    row("after a request of each module: resident, more by", answered.resident - before.resident,
        "KiB");
    row("  of which private and changed", answered.changed - before.changed, "KiB");
    row("  of both, pages of the library's file", memory("Rss", "libtarrow_modules"), "KiB");
    row("  of these private and changed", memory("Private_Dirty", "libtarrow_modules"), "KiB");
    row("heap that loading keeps (the loader's records)", loaded.heap_bytes - before.heap_bytes,
        "bytes");
    row("heap that the requests keep", answered.heap_bytes - loaded.heap_bytes, "bytes");
    row("heap that the same reads keep when they come again",
        again.heap_bytes - answered.heap_bytes, "bytes");
    row(("heap at its highest within one handler call, of " + greediest).c_str(), most, "bytes");
}

} // namespace

int main(int argc, char **argv) {
    const bool is_memory = argc == 3 && std::strcmp(argv[1], "memory") == 0;
    if (!is_memory && (argc != 3 || std::strcmp(argv[1], "calls") != 0)) {
        std::fputs("usage: tarrow_probe calls|memory FILE\n", stderr);
        return 2;
    }
    // What a process does once, before any request.
    cfgdb_close(cfgdb_open("wan"));
    openlog("tarrow_probe", LOG_NDELAY, LOG_USER);
    syslog(LOG_INFO, "begins");
    tzset();
    mxmlSetWrapMargin(0);
    std::string reason;
    const cost uncounted; // looking takes memory, too
    const cost before;
    if (!host::load(real, reason)) {
        std::fprintf(stderr, "tarrow_probe: %s\n", reason.c_str());
        return 1;
    }
    const cost loaded;
    host::library lib = real;
    lib.pre_get = marked<&host::library::pre_get>;
    lib.post_get = marked<&host::library::post_get>;
    lib.pre_set = marked<&host::library::pre_set>;
    lib.post_set = marked<&host::library::post_set>;
    if (!answer_all(lib, argv[2], false)) {
        return 1;
    }
    if (is_memory) {
        const cost answered;
        if (!answer_all(lib, argv[2], true)) {
            return 1;
        }
        print_memory(before, loaded, answered, cost());
    }
    return 0;
}
