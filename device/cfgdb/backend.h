// Operations of the development store in addition to the platform's, for cfgdb_cmd.
#pragma once

#include "cfgdb.h"

/// The file of the device's settings, which the platform's operations use.
inline constexpr char cfgdb_default_backend[] = "/userfs/cfgdb/settings.db";

extern "C" {

/// Opens a module in a backend file, and creates the file if it is missing. Returns null when the
/// file cannot be opened or is no backend, and for an empty module name.
cfgdb_handle_t *cfgdb_open_backend(const char *file, const char *module_name);

using cfgdb_visitor = void (*)(const char *module, const char *key, const char *value,
                               void *context);

/// Calls visit for each setting of a module, or of all modules for a null name, in the order of
/// module and key. Returns 0; -1 when the file cannot be read.
int cfgdb_visit(const char *file, const char *module_name, cfgdb_visitor visit, void *context);
}
