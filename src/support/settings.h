// Reading single settings from the store.
#pragma once

#include "support/owned.h"

namespace tarrow {

/// A C text as the store's counted string; it points into the text, which the store does not
/// change.
qstr_t counted(const char *text);

/// The value of a setting of an opened module, or null when it is absent.
heap_string value_of(const store &handle, const char *key);

/// Sets a value in an opened module. The platform's store tells nothing of how it went.
void set_value(const store &handle, const char *key, const char *value);

/// The value of a setting, or null when it is absent or its module cannot be opened.
heap_string read_setting(const char *module, const char *key);

/// The number that a setting's value begins with, 0 for a value that begins with none; the fallback
/// when the setting is absent or its module cannot be opened.
int read_setting_number(const char *module, const char *key, int fallback);

} // namespace tarrow
