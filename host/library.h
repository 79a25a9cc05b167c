// The module library as the daemon loads it: at run time, through its exported names.
#pragma once

#include <string>

#include "tarrow_applets.h"

namespace host {

/// The operations that the daemon uses.
struct library {
    decltype(&tarrow_get_module_applets) get_module_applets;
    decltype(&tarrow_call_module_pre_set_handler) pre_set;
    decltype(&tarrow_call_module_post_set_handler) post_set;
    decltype(&tarrow_call_module_pre_get_handler) pre_get;
    decltype(&tarrow_call_module_post_get_handler) post_get;
    decltype(&tarrow_call_module_get_delimiters) get_delimiters;
    decltype(&dl_dlist_init) dlist_init;
    decltype(&dl_count_meta_fields) count_meta_fields;
    decltype(&dl_get_meta_fields) get_meta_fields;
    decltype(&dl_variable_to_dlist_alloc) variable_to_dlist;
    decltype(&dl_dlist_to_variable) dlist_to_variable;
    decltype(&dl_dlist_to_xmllist) dlist_to_xmllist;
    decltype(&dl_xmllist_to_dlist) xmllist_to_dlist;
    decltype(&dl_free_dlist) free_dlist;
};

/// Loads libtarrow_modules.so for the life of the process. False and the reason on failure.
bool load(library &lib, std::string &reason);

} // namespace host
