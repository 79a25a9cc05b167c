// cfgdb_cmd: reads and writes the settings store, for scripts and at a prompt.

#include <array>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "backend.h"

namespace {

constexpr char usage[] = "usage: cfgdb_cmd [--backend FILE] set MODULE KEY VALUE | get MODULE KEY "
                         "| list [MODULE] | import\n";
constexpr char help[] =
    "  set MODULE KEY VALUE   stores a setting\n"
    "  get MODULE KEY         prints a setting's value; fails when there is none\n"
    "  list [MODULE]          prints all settings, or those of a module, as lines \"MODULE KEY "
    "VALUE\"\n"
    "  import                 stores such lines from standard input\n"
    "  --help                 prints this text\n"
    "--backend FILE uses another store than the device's, /userfs/cfgdb/settings.db.\n"
    "The lines of list and import have \\n for a line end, \\\\ for a backslash, and in names \\s "
    "for a blank.\n";

int fail(const std::string &message) {
    std::cerr << "cfgdb_cmd: " << message << '\n';
    return 1;
}

qstr_t counted(const std::string &text) {
    return {static_cast<unsigned int>(text.size()),
            reinterpret_cast<unsigned char *>(const_cast<char *>(text.c_str()))};
}

int set(const std::string &backend, const std::string &module, const std::string &key,
        const std::string &value) {
    cfgdb_handle_t *handle = cfgdb_open_backend(backend.c_str(), module.c_str());
    if (handle == nullptr) {
        return fail("cannot open module '" + module + "' in " + backend);
    }
    const qstr_t name = counted(key);
    const qstr_t text = counted(value);
    const int set_result = cfgdb_set(handle, &name, &text);
    const int close_result = cfgdb_close(handle);
    return set_result == 0 && close_result == 0
               ? 0
               : fail("cannot store '" + key + "' of module '" + module + "' in " + backend);
}

using settings = std::vector<std::array<std::string, 3>>; // module, key, value

/// Reads the settings of a module, or all for null. Returns false when the backend cannot be read.
bool load(const std::string &backend, const char *module, settings &found) {
    const auto append = [](const char *name, const char *key, const char *value, void *context) {
        static_cast<settings *>(context)->push_back({name, key, value});
    };
    return cfgdb_visit(backend.c_str(), module, append, &found) == 0;
}

int get(const std::string &backend, const std::string &module, const std::string &key) {
    settings found;
    if (!load(backend, module.c_str(), found)) {
        return fail("cannot read " + backend);
    }
    for (const auto &[name, found_key, value] : found) {
        if (found_key == key) {
            std::cout << value << '\n';
            return 0;
        }
    }
    return fail("module '" + module + "' has no setting '" + key + "'");
}

/// A text with its line ends and backslashes escaped, and in a name its blanks.
std::string escaped(const std::string &text, bool is_name) {
    std::string result;
    for (const char c : text) {
        if (c == '\n') {
            result += "\\n";
        } else if (c == '\\') {
            result += "\\\\";
        } else if (c == ' ' && is_name) {
            result += "\\s";
        } else {
            result += c;
        }
    }
    return result;
}

std::string unescaped(const std::string &text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 1 < text.size()) {
            ++i;
            result += text[i] == 'n' ? '\n' : text[i] == 's' ? ' ' : text[i];
        } else {
            result += text[i];
        }
    }
    return result;
}

int list(const std::string &backend, const char *module) {
    settings found;
    if (!load(backend, module, found)) {
        return fail("cannot read " + backend);
    }
    for (const auto &[name, key, value] : found) {
        std::cout << escaped(name, true) << ' ' << escaped(key, true) << ' '
                  << escaped(value, false) << '\n';
    }
    return 0;
}

/// Stores "MODULE KEY VALUE" lines: consecutive lines of a module in one transaction.
class importer {
public:
    explicit importer(std::string backend) : backend_(std::move(backend)) {}
    importer(const importer &) = delete;
    importer &operator=(const importer &) = delete;
    ~importer() { finish(); }

    bool add_line(const std::string &line) {
        const std::size_t key_at = line.find(' ') + 1;
        const std::size_t value_at = key_at != 0 ? line.find(' ', key_at) + 1 : 0;
        if (value_at == 0) {
            return false;
        }
        const std::string module = unescaped(line.substr(0, key_at - 1));
        if (module != module_ && !finish()) {
            return false;
        }
        if (handle_ == nullptr) {
            module_ = module;
            handle_ = cfgdb_open_backend(backend_.c_str(), module.c_str());
        }
        const std::string key_text = unescaped(line.substr(key_at, value_at - 1 - key_at));
        const std::string value_text = unescaped(line.substr(value_at));
        const qstr_t key = counted(key_text);
        const qstr_t value = counted(value_text);
        return handle_ != nullptr && cfgdb_set(handle_, &key, &value) == 0;
    }
    bool finish() {
        cfgdb_handle_t *handle = std::exchange(handle_, nullptr);
        return handle == nullptr || cfgdb_close(handle) == 0;
    }

private:
    std::string backend_;
    std::string module_;
    cfgdb_handle_t *handle_ = nullptr;
};

int import(const std::string &backend) {
    importer lines(backend);
    for (std::string line; std::getline(std::cin, line);) {
        if (!lines.add_line(line)) {
            return fail("cannot store the line (those before it are stored): " + line);
        }
    }
    return lines.finish() ? 0 : fail("cannot store the last module in " + backend);
}

int run(std::vector<std::string> words) {
    std::string backend = cfgdb_default_backend;
    if (words.size() >= 2 && words[0] == "--backend") {
        backend = words[1];
        words.erase(words.begin(), words.begin() + 2);
    }
    const std::string command = words.empty() ? "" : words[0];
    if (command == "set" && words.size() == 4) {
        return set(backend, words[1], words[2], words[3]);
    }
    if (command == "get" && words.size() == 3) {
        return get(backend, words[1], words[2]);
    }
    if (command == "list" && words.size() <= 2) {
        return list(backend, words.size() == 2 ? words[1].c_str() : nullptr);
    }
    if (command == "import" && words.size() == 1) {
        return import(backend);
    }
    if (command == "--help" || command == "-h") {
        std::cout << usage << help;
        return 0;
    }
    std::cerr << usage;
    return 2;
}

} // namespace

int main(int argc, char **argv) {
    const int result = run({argv + 1, argv + argc});
    std::cout.flush();
    return std::cout ? result : fail("cannot write the output");
}
