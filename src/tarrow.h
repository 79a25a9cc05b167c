// Record lists: the in-memory table of a list-valued setting and its conversions.
//
// A list-valued setting is a table of records with up to 12 named fields. The settings store keeps
// it as one string (fields joined by the module's field delimiter, records by its record
// delimiter), the pages see it as <Item> elements. Field 0 is a record's key; a record whose field
// 0 is null is an empty slot. A record is read from field 0 up to its first null field.
//
// Every string in a table is a heap string of its own that the table owns; the table structure
// belongs to its creator. Clear a table with dl_dlist_init before anything is stored in it:
// afterwards each operation releases what it replaces.
#ifndef TARROW_H
#define TARROW_H

#include <mxml.h>

#ifdef __cplusplus
extern "C" {
#endif

#define TARROW_DLIST_RECORDS 500
#define TARROW_DLIST_FIELDS 12

typedef struct dlist_node {
    char *dn_dlist[TARROW_DLIST_RECORDS][TARROW_DLIST_FIELDS]; // record, field; null: absent
    char *dn_meta[TARROW_DLIST_FIELDS]; // names of the fields, which are their XML element names
} dlist_node_t;

// What dl_xmllist_get_set_type finds a posted record to be.
enum {
    TARROW_DLIST_NO_KEY = -1,
    TARROW_DLIST_ADD = 1,
    TARROW_DLIST_EDIT = 2,
    TARROW_DLIST_DELETE = 4
};

// Sets all field and name pointers to null and releases nothing.
void dl_dlist_init(dlist_node_t *dlist);

// Number of names in metaval, names being separated by delim: 1 for an empty text, not limited
// to 12. 0 for a null text.
int dl_count_meta_fields(const char *metaval, char delim);

// Makes the names in metaval, at most 12, the table's field names; entries that it has no name for
// become null, all of them for a null text. Answers how many were stored: when memory runs out,
// those before the first that there was none for. 0 for a null table.
int dl_get_meta_fields(const char *metaval, dlist_node_t *dlist, char delim);

// Parses a stored string of records of field_count fields (1 to 12) into the table from slot 0 on.
// The slot after its last record is emptied, later slots stay as they are.
// A null or empty value, or a field count outside 1 to 12, leaves the table as it was. A string
// that ends within a record keeps what was parsed, touches no further slot and writes "Malformed
// variable\n" to standard error. When memory runs out the work ends likewise, in silence at the
// start of a record. Data beyond 500 records is ignored. Of the delimiters only the low 8 bits
// count; a delimiter of 0 occurs in no string.
void dl_variable_to_dlist_alloc(const char *value, dlist_node_t *dlist, int field_count,
                                int field_delim, int record_delim);

// Writes the table as a stored string. *value becomes a new heap string that the caller frees
// (empty for an empty table), or null for a null table or when memory runs out. With a delimiter of
// 0 the string ends where the first one stands.
void dl_dlist_to_variable(char **value, const dlist_node_t *dlist, int field_delim,
                          int record_delim);

// Appends one <Item index="1"...> to subnode for each present record, in slot order.
void dl_dlist_to_xmllist(const dlist_node_t *dlist, mxml_node_t *subnode);

// Appends an empty <Item> with the attribute index = index + 1 (at most 9 characters) to subnode.
// Answers the item, which belongs to the tree, or null for a null subnode or without memory.
mxml_node_t *dl_dlist_xml_additem(mxml_node_t *subnode, int index);

// Appends one element with an opaque text to subnode for each named field of a record (0 to 499),
// up to the first absent one.
void dl_dlist_get_xmllist_entry(const dlist_node_t *dlist, mxml_node_t *subnode, int record);

// Applies the posted <Item> elements below subnode to the table, in document order: an item whose
// key matches a record edits it, or deletes it when the key element carries the attribute "Delete";
// any other key is added in the lowest empty slot, or passed over when the table is full. A new
// record whose key is no direct child of its item is not kept. An item without a key ends the work;
// what was applied before it stays. Nothing is applied to a table without field names.
void dl_xmllist_to_dlist(mxml_node_t *subnode, dlist_node_t *dlist);

// Classifies a posted key element: TARROW_DLIST_EDIT or TARROW_DLIST_DELETE with *record the lowest
// slot of that key, TARROW_DLIST_ADD with *record the lowest empty slot (-1 when the table is
// full), TARROW_DLIST_NO_KEY with *record -1 when the element is null or holds no opaque text.
// A null table or record answers as if there were no key.
int dl_xmllist_get_set_type(mxml_node_t *subnode, const dlist_node_t *dlist, int *record);

// Releases and nulls every field and name of the table, not the table itself.
void dl_free_dlist(dlist_node_t *dlist);

// Not exported from the shared library:

// The text at *p up to the next delim, as a new heap string that the caller frees; *p moves past
// the delimiter, or becomes null after the last token. Null when *p is null or memory runs out.
char *dl_alloc_get_token(char **p, char delim);

// Releases and nulls all 12 fields of a record (0 to 499).
void dl_dlist_delete_record(dlist_node_t *dlist, int record);

// Stores the texts of item's direct children in the fields of a record (0 to 499) that bear their
// names. Fields that the item does not name keep their values.
void dl_dlist_add_edit_record(dlist_node_t *dlist, int record, mxml_node_t *item);

#ifdef __cplusplus
}
#endif

#endif
