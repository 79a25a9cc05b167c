#include "support/xml.h"

#include <array>
#include <cstdio>

namespace tarrow {
namespace {

/// Deletes a new node when there was no memory for its text, and returns null then: the daemon's
/// serialisation expects every node to have its text.
mxml_node_t *delete_if_textless(mxml_node_t *node, const char *text) {
    if (node != nullptr && text == nullptr) {
        mxmlDelete(node);
        return nullptr;
    }
    return node;
}

} // namespace

mxml_node_t *find_child(mxml_node_t *parent, const char *name) {
    return mxmlFindElement(parent, parent, name, nullptr, nullptr, MXML_DESCEND_FIRST);
}

mxml_node_t *find_below(mxml_node_t *parent, const char *name) {
    return mxmlFindElement(parent, parent, name, nullptr, nullptr, MXML_DESCEND);
}

const char *element_text(mxml_node_t *element) {
    mxml_node_t *child = mxmlGetFirstChild(element);
    switch (mxmlGetType(child)) {
    case MXML_OPAQUE:
        return mxmlGetOpaque(child);
    case MXML_TEXT:
        return mxmlGetText(child, nullptr);
    default:
        return nullptr;
    }
}

const char *opaque_text(mxml_node_t *element) {
    mxml_node_t *child = mxmlGetFirstChild(element);
    return mxmlGetType(child) == MXML_OPAQUE ? mxmlGetOpaque(child) : nullptr;
}

mxml_node_t *add_element(mxml_node_t *parent, const char *name) {
    mxml_node_t *element = mxmlNewElement(parent, name);
    return delete_if_textless(element, mxmlGetElement(element));
}

void number_item(mxml_node_t *item, long long number) {
    std::array<char, 10> text;
    std::snprintf(text.data(), text.size(), "%lld", number);
    mxmlElementSetAttr(item, "index", text.data());
}

void add_text(mxml_node_t *element, const char *value) {
    if (element != nullptr && value != nullptr) {
        mxml_node_t *text = mxmlNewText(element, 0, value);
        delete_if_textless(text, mxmlGetText(text, nullptr));
    }
}

void add_opaque(mxml_node_t *element, const char *value) {
    if (element != nullptr && value != nullptr) {
        mxml_node_t *text = mxmlNewOpaque(element, value);
        delete_if_textless(text, mxmlGetOpaque(text));
    }
}

void add_integer(mxml_node_t *element, int value) {
    if (element != nullptr) {
        mxmlNewInteger(element, value);
    }
}

void move_last(mxml_node_t *parent, mxml_node_t *element) {
    mxmlAdd(parent, MXML_ADD_AFTER, MXML_ADD_TO_PARENT, element);
}

} // namespace tarrow
