// Record lists: the table of a list-valued setting, and its conversions.
//
// A list-valued setting is a table of up to 500 records with up to 12 named fields. The store keeps
// it as one string: the module's field delimiter joins the fields, its record delimiter the records
// (tarrow_call_module_get_delimiters). The pages see <Item> elements. Field 0 is the key of a
// record. A slot whose field 0 is null is empty. A record ends before its first null field. The
// daemon knows which settings are lists, and the names of their fields.
//
// The caller provides the table, 48,096 bytes (24,048 on 32 bits), and clears it once with
// dl_dlist_init. From then on the table owns its strings, each a heap string of its own:
// operations free what they replace, and dl_free_dlist frees all of them.
//
// No operation waits, runs a command or keeps state: two threads may work on two tables.
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

// What a posted record asks for: the results of dl_xmllist_get_set_type.
enum {
    TARROW_DLIST_NO_KEY = -1,
    TARROW_DLIST_ADD = 1,
    TARROW_DLIST_EDIT = 2,
    TARROW_DLIST_DELETE = 4
};

// Sets all fields and names to null, and frees nothing.
void dl_dlist_init(dlist_node_t *dlist);

// Returns the number of names that delim separates in metaval: 1 for an empty text, 0 for null. The
// number can exceed 12.
int dl_count_meta_fields(const char *metaval, char delim);

// Replaces the field names of the table by the names in metaval, at most 12. Returns how many it
// stored. When memory runs out, the names from that point on are null, as they all are for a null
// text. 0 for a null table.
int dl_get_meta_fields(const char *metaval, dlist_node_t *dlist, char delim);

// Parses a stored string, whose records have field_count fields (1 to 12), into the slots of the
// table from slot 0 on. It empties the slot after the last record; later slots do not change.
// A null or empty value, or another field_count, changes nothing. A string that ends inside a
// record leaves what was parsed so far, and "Malformed variable\n" on standard error. The same
// happens when memory runs out, without the message at the start of a record. Records after the
// 500th are ignored. A delimiter is its low 8 bits; 0 is found in no string.
void dl_variable_to_dlist_alloc(const char *value, dlist_node_t *dlist, int field_count,
                                int field_delim, int record_delim);

// Writes the table as a stored string. *value becomes a new heap string, which the caller frees:
// empty for an empty table, null for a null table or when memory runs out. With a delimiter of 0
// the string ends at the first delimiter.
void dl_dlist_to_variable(char **value, const dlist_node_t *dlist, int field_delim,
                          int record_delim);

// Appends an <Item> with an element for each field to subnode for each record, in the order of the
// slots. The attribute index counts the items from 1.
void dl_dlist_to_xmllist(const dlist_node_t *dlist, mxml_node_t *subnode);

// Appends an empty <Item> with the attribute index = index + 1 (at most 9 characters) to subnode.
// Returns the item, which belongs to the tree; null for a null subnode or when memory runs out.
mxml_node_t *dl_dlist_xml_additem(mxml_node_t *subnode, int index);

// Appends an element with an opaque text to subnode for each named field of a record (0 to 499),
// up to the first null field.
void dl_dlist_get_xmllist_entry(const dlist_node_t *dlist, mxml_node_t *subnode, int record);

// Applies the posted <Item> elements below subnode to the table, in the order of the document. An
// item with the key of a record edits that record, or deletes it if the key element has the
// attribute "Delete". An item with another key adds a record in the lowest empty slot. It is
// skipped when the table is full, or when the key is not a direct child of the item. An item
// without a key ends the operation; the changes before it stay. Without field names, nothing
// changes.
void dl_xmllist_to_dlist(mxml_node_t *subnode, dlist_node_t *dlist);

// Returns what a posted key element asks for, and stores a slot in *record:
//  - TARROW_DLIST_EDIT, TARROW_DLIST_DELETE: the lowest slot with that key
//  - TARROW_DLIST_ADD: the lowest empty slot, -1 when the table is full
//  - TARROW_DLIST_NO_KEY: -1. The element is null or has no opaque text, or an argument is null.
int dl_xmllist_get_set_type(mxml_node_t *subnode, const dlist_node_t *dlist, int *record);

// Frees every field and name of the table and sets it to null. The table itself stays.
void dl_free_dlist(dlist_node_t *dlist);

// Only in the static library:

// Returns the text at *p up to the next delim as a new heap string, which the caller frees. *p
// moves behind the delimiter; it becomes null after the last token. Returns null when *p is null or
// memory runs out.
char *dl_alloc_get_token(char **p, char delim);

// Frees all fields of a record (0 to 499) and sets them to null.
void dl_dlist_delete_record(dlist_node_t *dlist, int record);

// Stores the texts of item's direct children in the fields of the same names in a record (0 to
// 499). Other fields do not change.
void dl_dlist_add_edit_record(dlist_node_t *dlist, int record, mxml_node_t *item);

#ifdef __cplusplus
}
#endif

#endif
