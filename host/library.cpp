#include "library.h"

#include <dlfcn.h>

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

} // namespace host
