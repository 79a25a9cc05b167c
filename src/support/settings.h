// Single settings of the store.
#pragma once

#include "support/owned.h"

namespace tarrow {

/// A text as a counted string, which points to the text. The store does not change it.
qstr_t counted(const char *text);

/// The value of a setting of an open module, or null when there is none.
heap_string value_of(const store &handle, const char *key);

/// Sets a value in an open module. The platform does not define a result.
void set_value(const store &handle, const char *key, const char *value);

/// The value of a setting, or null when there is none or its module cannot be opened.
heap_string read_setting(const char *module, const char *key);

/// The number at the start of a setting's value, 0 when the value begins with none. The fallback
/// when there is no value or its module cannot be opened.
int read_setting_number(const char *module, const char *key, int fallback);

} // namespace tarrow
