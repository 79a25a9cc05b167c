// What the development store offers beside the platform's operations, for cfgdb_cmd.
#pragma once

#include "cfgdb.h"

/// Where the platform's operations keep the device's settings.
inline constexpr char cfgdb_default_backend[] = "/userfs/cfgdb/settings.db";

extern "C" {

/// Opens a module in a backend file, which is created when it is missing. Null when the file cannot
/// be opened, is no backend, or the module has no name.
cfgdb_handle_t *cfgdb_open_backend(const char *file, const char *module_name);

using cfgdb_visitor = void (*)(const char *module, const char *key, const char *value,
                               void *context);

/// Visits the settings of a module, or of all modules when it is null, in order of module and key.
/// -1 when the file cannot be read.
int cfgdb_visit(const char *file, const char *module_name, cfgdb_visitor visit, void *context);
}
