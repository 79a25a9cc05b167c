// Working on a record table from within the library.
#pragma once

#include <cstring>

#include "support/owned.h"
#include "tarrow.h"

namespace tarrow {

/// The number of fields of a record, or of names of a table, before the first absent one.
inline int leading_entries(char *const *entries) {
    int count = 0;
    while (count < TARROW_DLIST_FIELDS && entries[count] != nullptr) {
        ++count;
    }
    return count;
}

/// Puts a heap text, or null, into a field or name of a table, which owns it from then on; releases
/// what was there.
inline void replace_entry(char *&entry, char *text) {
    if (entry != nullptr) {
        std::free(entry);
    }
    entry = text;
}

/// The same with a copy of a text; without memory the entry becomes absent.
inline void copy_entry(char *&entry, const char *text) {
    replace_entry(entry, strdup(text));
}

} // namespace tarrow
