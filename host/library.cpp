#include "library.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <memory>

namespace host {
namespace {

template <typename Function>
bool find(void *handle, const char *name, Function &function, std::string &reason) {
    function = reinterpret_cast<Function>(dlsym(handle, name));
    if (function == nullptr) {
        reason = std::string("libtarrow_modules.so does not export ") + name;
    }
    return function != nullptr;
}

} // namespace

bool load(library &lib, std::string &reason) {
    void *handle = dlopen("libtarrow_modules.so", RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        reason = dlerror();
        return false;
    }
    return find(handle, "tarrow_get_module_applets", lib.get_module_applets, reason) &&
           find(handle, "tarrow_call_module_pre_set_handler", lib.pre_set, reason) &&
           find(handle, "tarrow_call_module_post_set_handler", lib.post_set, reason) &&
           find(handle, "tarrow_call_module_pre_get_handler", lib.pre_get, reason) &&
           find(handle, "tarrow_call_module_post_get_handler", lib.post_get, reason) &&
           find(handle, "__tarrow_call_module_pre_set_handler", lib.row_pre_set, reason) &&
           find(handle, "__tarrow_call_module_post_set_handler", lib.row_post_set, reason) &&
           find(handle, "tarrow_call_module_get_delimiters", lib.get_delimiters, reason) &&
           find(handle, "dl_dlist_init", lib.dlist_init, reason) &&
           find(handle, "dl_count_meta_fields", lib.count_meta_fields, reason) &&
           find(handle, "dl_get_meta_fields", lib.get_meta_fields, reason) &&
           find(handle, "dl_variable_to_dlist_alloc", lib.variable_to_dlist, reason) &&
           find(handle, "dl_dlist_to_variable", lib.dlist_to_variable, reason) &&
           find(handle, "dl_dlist_to_xmllist", lib.dlist_to_xmllist, reason) &&
           find(handle, "dl_xmllist_to_dlist", lib.xmllist_to_dlist, reason) &&
           find(handle, "dl_free_dlist", lib.free_dlist, reason);
}

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
        struct phase {
            const char *name;
            tarrow_handler_t *handler;
            const char *script;
        };
        const std::array<phase, 4> phases = {{
            {"pre-set", row.di_handler_pre_set_func, row.di_handler_pre_set_cmd},
            {"post-set", row.di_handler_post_set_func, row.di_handler_post_set_cmd},
            {"pre-get", row.di_handler_pre_get_func, row.di_handler_pre_get_cmd},
            {"post-get", row.di_handler_post_get_func, row.di_handler_post_get_cmd},
        }};
        char field = 0;
        char record = 0;
        lib.get_delimiters(row.di_modname, &field, &record);
        std::printf("%2d %s  (fields '%c', records '%c')\n", number++, row.di_modname, field,
                    record);
        for (const phase &p : phases) {
            if (p.handler != nullptr) {
                std::printf("     %-9s %s()%s%s\n", p.name, name_of(p.handler),
                            p.script != nullptr ? ", not " : "",
                            p.script != nullptr ? p.script : "");
            } else if (p.script != nullptr) {
                std::printf("     %-9s %s\n", p.name, p.script);
            }
        }
    }
}

} // namespace host
