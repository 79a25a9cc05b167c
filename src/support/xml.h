// Finding and filling elements of a page's tree. The tree owns every node; texts are copied into
// it.
#pragma once

#include <mxml.h>

namespace tarrow {

/// The first direct child element of that name, or null.
mxml_node_t *find_child(mxml_node_t *parent, const char *name);

/// The first element of that name anywhere below, in document order, or null.
mxml_node_t *find_below(mxml_node_t *parent, const char *name);

/// The text of an element's first child, or null when the element is null, empty or begins with
/// something else.
const char *element_text(mxml_node_t *element);

/// The same for an opaque text only, which is what a page posts.
const char *opaque_text(mxml_node_t *element);

/// Adds an empty element as the last child. Gives null for a null name or when memory runs out.
mxml_node_t *add_element(mxml_node_t *parent, const char *name);

/// Numbers an item of a list: its attribute "index" becomes the number, of which 9 characters
/// count.
void number_item(mxml_node_t *item, long long number);

/// Adds a value as an element's child: text without leading white space, opaque text, a number. A
/// null element or value adds nothing, nor does a value that there is no memory for.
void add_text(mxml_node_t *element, const char *value);
void add_opaque(mxml_node_t *element, const char *value);
void add_integer(mxml_node_t *element, int value);

/// Moves an element to the end of its parent's children.
void move_last(mxml_node_t *parent, mxml_node_t *element);

} // namespace tarrow
