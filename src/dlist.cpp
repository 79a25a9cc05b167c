// Record lists: stored string <-> table <-> XML items.

#include "tarrow.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "support/table_entries.h"
#include "support/xml.h"

using tarrow::leading_entries;
using tarrow::replace_entry;

namespace {

constexpr int max_records = TARROW_DLIST_RECORDS;
constexpr int max_fields = TARROW_DLIST_FIELDS;
constexpr char item_name[] = "Item";

bool is_present(char *const *record) {
    return record[0] != nullptr;
}

/// The slot after the last present record.
int end_of_records(const dlist_node_t *dlist) {
    int end = max_records;
    while (end > 0 && !is_present(dlist->dn_dlist[end - 1])) {
        --end;
    }
    return end;
}

/// Returns a heap copy of the text up to the next delimiter. Moves the cursor behind the delimiter,
/// or to null at the end of the text. When the cursor is null, or memory runs out, returns null and
/// does not move the cursor.
char *next_token(const char *&cursor, char delim) {
    if (cursor == nullptr) {
        return nullptr;
    }
    // strchr would find a delimiter of 0 at the end of the text, and the cursor would move past it.
    const char *end = delim != '\0' ? std::strchr(cursor, delim) : nullptr;
    const std::size_t length =
        end != nullptr ? static_cast<std::size_t>(end - cursor) : std::strlen(cursor);
    char *token = static_cast<char *>(std::malloc(length + 1));
    if (token == nullptr) {
        return nullptr;
    }
    std::memcpy(token, cursor, length);
    token[length] = '\0';
    cursor = end != nullptr ? end + 1 : nullptr;
    return token;
}

/// Stores the next record of a stored string. Returns false when there is no complete record left.
bool parse_record(const char *&cursor, char **record, int field_count, char field_delim,
                  char record_delim) {
    for (int f = 0; f < field_count; ++f) {
        char *token = next_token(cursor, f == field_count - 1 ? record_delim : field_delim);
        replace_entry(record[f], token);
        if (token == nullptr) {
            if (f > 0) {
                std::fputs("Malformed variable\n", stderr);
            }
            // The fields behind it may be left from an earlier list.
            for (int rest = f + 1; rest < max_fields; ++rest) {
                replace_entry(record[rest], nullptr);
            }
            return false;
        }
    }
    for (int rest = field_count; rest < max_fields; ++rest) {
        replace_entry(record[rest], nullptr);
    }
    return true;
}

/// The number of the field with an element's name, or -1.
int field_of(const dlist_node_t *dlist, int names, const char *element_name) {
    for (int f = 0; f < names; ++f) {
        if (std::strcmp(dlist->dn_meta[f], element_name) == 0) {
            return f;
        }
    }
    return -1;
}

} // namespace

char *dl_alloc_get_token(char **p, char delim) {
    if (p == nullptr) {
        return nullptr;
    }
    const char *cursor = *p;
    char *token = next_token(cursor, delim);
    *p = const_cast<char *>(cursor);
    return token;
}

void dl_dlist_init(dlist_node_t *dlist) {
    if (dlist != nullptr) {
        *dlist = {};
    }
}

int dl_count_meta_fields(const char *metaval, char delim) {
    if (metaval == nullptr) {
        return 0;
    }
    int count = 1;
    for (; *metaval != '\0'; ++metaval) {
        count += *metaval == delim ? 1 : 0;
    }
    return count;
}

int dl_get_meta_fields(const char *metaval, dlist_node_t *dlist, char delim) {
    if (dlist == nullptr) {
        return 0;
    }
    for (char *&name : dlist->dn_meta) { // after the last name, next_token returns null
        replace_entry(name, next_token(metaval, delim));
        if (name == nullptr) {
            metaval = nullptr; // also when memory runs out: no name may take another's place
        }
    }
    return leading_entries(dlist->dn_meta);
}

void dl_variable_to_dlist_alloc(const char *value, dlist_node_t *dlist, int field_count,
                                int field_delim, int record_delim) {
    if (value == nullptr || *value == '\0' || dlist == nullptr || field_count < 1 ||
        field_count > max_fields) {
        return;
    }
    for (auto &record : dlist->dn_dlist) {
        if (value == nullptr && !is_present(record)) {
            return; // all records are parsed, and the slot after them is empty
        }
        if (!parse_record(value, record, field_count, static_cast<char>(field_delim),
                          static_cast<char>(record_delim))) {
            return;
        }
    }
}

void dl_dlist_to_variable(char **value, const dlist_node_t *dlist, int field_delim,
                          int record_delim) {
    if (value == nullptr) {
        return;
    }
    *value = nullptr;
    if (dlist == nullptr) {
        return;
    }
    const int end = end_of_records(dlist);
    std::size_t size = 0;
    for (int r = 0; r < end; ++r) {
        char *const *record = dlist->dn_dlist[r];
        for (int f = 0; f < max_fields && record[f] != nullptr; ++f) {
            size += std::strlen(record[f]) + 1;
        }
    }
    char *text = static_cast<char *>(std::malloc(size + 1));
    if (text == nullptr) {
        return;
    }
    *value = text;
    for (int r = 0; r < end; ++r) {
        char *const *record = dlist->dn_dlist[r];
        if (!is_present(record)) {
            continue;
        }
        for (int f = 0; f < max_fields && record[f] != nullptr; ++f) {
            text = stpcpy(text, record[f]);
            *text++ = static_cast<char>(field_delim);
        }
        text[-1] = static_cast<char>(record_delim);
    }
    if (end > 0) {
        --text; // the terminator replaces the last record's delimiter
    }
    *text = '\0';
}

mxml_node_t *dl_dlist_xml_additem(mxml_node_t *subnode, int index) {
    mxml_node_t *item = subnode != nullptr ? tarrow::add_element(subnode, item_name) : nullptr;
    if (item != nullptr) {
        tarrow::number_item(item, index + 1LL);
    }
    return item;
}

void dl_dlist_get_xmllist_entry(const dlist_node_t *dlist, mxml_node_t *subnode, int record) {
    if (dlist == nullptr || subnode == nullptr || record < 0 || record >= max_records) {
        return;
    }
    char *const *fields = dlist->dn_dlist[record];
    const int names = leading_entries(dlist->dn_meta); // a field without a name has no element
    for (int f = 0; f < names && fields[f] != nullptr; ++f) {
        tarrow::add_opaque(tarrow::add_element(subnode, dlist->dn_meta[f]), fields[f]);
    }
}

void dl_dlist_to_xmllist(const dlist_node_t *dlist, mxml_node_t *subnode) {
    if (dlist == nullptr || subnode == nullptr) {
        return;
    }
    const int end = end_of_records(dlist);
    int count = 0;
    for (int r = 0; r < end; ++r) {
        if (is_present(dlist->dn_dlist[r])) {
            dl_dlist_get_xmllist_entry(dlist, dl_dlist_xml_additem(subnode, count), r);
            ++count;
        }
    }
}

int dl_xmllist_get_set_type(mxml_node_t *subnode, const dlist_node_t *dlist, int *record) {
    if (record == nullptr) {
        return TARROW_DLIST_NO_KEY;
    }
    *record = -1;
    const char *key = tarrow::opaque_text(subnode);
    if (key == nullptr || dlist == nullptr) {
        return TARROW_DLIST_NO_KEY;
    }
    int first_empty = -1;
    for (int r = 0; r < max_records; ++r) {
        const char *stored_key = dlist->dn_dlist[r][0];
        if (stored_key == nullptr) {
            first_empty = first_empty < 0 ? r : first_empty;
        } else if (std::strcmp(stored_key, key) == 0) {
            *record = r;
            return mxmlElementGetAttr(subnode, "Delete") != nullptr ? TARROW_DLIST_DELETE
                                                                    : TARROW_DLIST_EDIT;
        }
    }
    *record = first_empty;
    return TARROW_DLIST_ADD;
}

void dl_xmllist_to_dlist(mxml_node_t *subnode, dlist_node_t *dlist) {
    if (subnode == nullptr || dlist == nullptr || dlist->dn_meta[0] == nullptr) {
        return;
    }
    mxml_node_t *item = tarrow::find_below(subnode, item_name);
    for (; item != nullptr;
         item = mxmlFindElement(item, subnode, item_name, nullptr, nullptr, MXML_DESCEND)) {
        mxml_node_t *key = tarrow::find_below(item, dlist->dn_meta[0]);
        int record = -1;
        switch (dl_xmllist_get_set_type(key, dlist, &record)) {
        case TARROW_DLIST_EDIT:
            dl_dlist_add_edit_record(dlist, record, item);
            break;
        case TARROW_DLIST_DELETE:
            dl_dlist_delete_record(dlist, record);
            break;
        case TARROW_DLIST_ADD:
            dl_dlist_add_edit_record(dlist, record, item);
            // A key that is not a direct child of its item does not fill field 0. Free the other
            // fields then: the next record in this slot would inherit them.
            if (record >= 0 && !is_present(dlist->dn_dlist[record])) {
                dl_dlist_delete_record(dlist, record);
            }
            break;
        default:
            return;
        }
    }
}

void dl_dlist_delete_record(dlist_node_t *dlist, int record) {
    if (dlist == nullptr || record < 0 || record >= max_records) {
        return;
    }
    for (char *&field : dlist->dn_dlist[record]) {
        replace_entry(field, nullptr);
    }
}

void dl_dlist_add_edit_record(dlist_node_t *dlist, int record, mxml_node_t *item) {
    if (dlist == nullptr || record < 0 || record >= max_records) {
        return;
    }
    const int names = leading_entries(dlist->dn_meta);
    for (mxml_node_t *child = mxmlGetFirstChild(item); child != nullptr;
         child = mxmlGetNextSibling(child)) {
        const char *name = mxmlGetElement(child);
        const int field = name != nullptr ? field_of(dlist, names, name) : -1;
        if (field < 0) {
            continue;
        }
        const char *text = tarrow::element_text(child);
        if (char *copy = strdup(text != nullptr ? text : ""); copy != nullptr) {
            replace_entry(dlist->dn_dlist[record][field], copy);
        }
    }
}

void dl_free_dlist(dlist_node_t *dlist) {
    if (dlist == nullptr) {
        return;
    }
    for (int r = 0; r < max_records; ++r) {
        dl_dlist_delete_record(dlist, r);
    }
    for (char *&name : dlist->dn_meta) {
        replace_entry(name, nullptr);
    }
}
