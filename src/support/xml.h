// Finds and fills elements of a page's tree. The tree owns every node, and has copies of the texts.
#pragma once

#include <mxml.h>

namespace tarrow {

/// The first direct child element of that name, or null.
mxml_node_t *find_child(mxml_node_t *parent, const char *name);

/// The first element of that name anywhere below, in document order, or null.
mxml_node_t *find_below(mxml_node_t *parent, const char *name);

/// The text of an element's first child, or null when the element is null or empty, or its first
/// child is no text.
const char *element_text(mxml_node_t *element);

/// The same for opaque texts only: posted texts are opaque.
const char *opaque_text(mxml_node_t *element);

/// Adds an empty element as the last child. Returns null for a null name or when memory runs out.
mxml_node_t *add_element(mxml_node_t *parent, const char *name);

/// Sets the attribute "index" of a list's item to a number, cut to 9 characters.
void number_item(mxml_node_t *item, long long number);

/// Add a value as an element's child: text without leading white space, opaque text, a number. They
/// add nothing to a null element, for a null value, and when memory runs out.
void add_text(mxml_node_t *element, const char *value);
void add_opaque(mxml_node_t *element, const char *value);
void add_integer(mxml_node_t *element, int value);

/// Moves an element to the end of its parent's children.
void move_last(mxml_node_t *parent, mxml_node_t *element);

} // namespace tarrow
