// Reading what the file-sharing page posts.
#pragma once

#include "http_share_applet.h"

namespace tarrow {

/// The posted text of an element, or null without one.
inline const char *posted_text(mxml_node_t *root, const char *name) {
    const char *value = nullptr;
    get_opaque_string_by_name(root, name, &value);
    return value;
}

} // namespace tarrow
