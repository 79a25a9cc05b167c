#include "xml.h"

namespace tarrow {

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

void add_text(mxml_node_t *element, const char *value) {
    if (element != nullptr && value != nullptr) {
        mxmlNewText(element, 0, value);
    }
}

void add_opaque(mxml_node_t *element, const char *value) {
    if (element != nullptr && value != nullptr) {
        mxmlNewOpaque(element, value);
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
