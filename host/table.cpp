#include "table.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <memory>

namespace host {
namespace {

struct phase {
    const char *name;
    tarrow_handler_t *handler;
    const char *script;

    [[nodiscard]] bool is_empty() const { return handler == nullptr && script == nullptr; }
    /// What runs. A handler runs instead of its row's script.
    [[nodiscard]] std::string text() const {
        return handler != nullptr ? std::string(name_of(handler)) + "()" : script;
    }
};

std::array<phase, 4> phases_of(const applet_info &row) {
    return {{
        {"pre-set", row.di_handler_pre_set_func, row.di_handler_pre_set_cmd},
        {"post-set", row.di_handler_post_set_func, row.di_handler_post_set_cmd},
        {"pre-get", row.di_handler_pre_get_func, row.di_handler_pre_get_cmd},
        {"post-get", row.di_handler_post_get_func, row.di_handler_post_get_cmd},
    }};
}

} // namespace

std::vector<applet_info> rows(const library &lib) {
    int count = 0;
    const std::unique_ptr<applet_info, decltype(&std::free)> table(lib.get_module_applets(&count),
                                                                   &std::free);
    return table ? std::vector<applet_info>(table.get(), table.get() + count)
                 : std::vector<applet_info>();
}

const char *name_of(tarrow_handler_t *handler) {
    Dl_info info = {};
    const bool is_known = dladdr(reinterpret_cast<void *>(handler), &info) != 0;
    return is_known && info.dli_sname != nullptr ? info.dli_sname : "(function)";
}

void print_table(const library &lib) {
    int number = 0;
    for (const applet_info &row : rows(lib)) {
        char field = 0;
        char record = 0;
        lib.get_delimiters(row.di_modname, &field, &record);
        std::printf("%2d %s  (fields '%c', records '%c')\n", number++, row.di_modname, field,
                    record);
        for (const phase &p : phases_of(row)) {
            if (!p.is_empty()) {
                const bool is_replaced = p.handler != nullptr && p.script != nullptr;
                std::printf("     %-9s %s%s%s\n", p.name, p.text().c_str(),
                            is_replaced ? ", not " : "", is_replaced ? p.script : "");
            }
        }
    }
}

void print_table_as_json(const library &lib) {
    for (const applet_info &row : rows(lib)) {
        char field = 0;
        char record = 0;
        lib.get_delimiters(row.di_modname, &field, &record);
        // No name, path or delimiter of the table holds a quote or a backslash.
        std::printf(R"({"module":"%s","fields":"%c","records":"%c","phases":{)", row.di_modname,
                    field, record);
        const char *separator = "";
        for (const phase &p : phases_of(row)) {
            if (!p.is_empty()) {
                std::printf(R"(%s"%s":"%s")", separator, p.name, p.text().c_str());
                separator = ",";
            }
        }
        std::puts("}}");
    }
}

} // namespace host
