// Fields and names of a record table.
#pragma once

#include <cstring>

#include "support/owned.h"
#include "tarrow.h"

namespace tarrow {

/// The number of fields of a record, or names of a table, before the first null one.
inline int leading_entries(char *const *entries) {
    int count = 0;
    while (count < TARROW_DLIST_FIELDS && entries[count] != nullptr) {
        ++count;
    }
    return count;
}

/// Replaces a field or name of a table, and frees the old one. text is null or a heap string, which
/// the table owns from then on.
inline void replace_entry(char *&entry, char *text) {
    if (entry != nullptr) {
        std::free(entry);
    }
    entry = text;
}

/// The same with a copy of a text. When memory runs out, the entry becomes null.
inline void copy_entry(char *&entry, const char *text) {
    replace_entry(entry, strdup(text));
}

} // namespace tarrow
