// Posted texts of the file-sharing page.
#pragma once

#include "http_share_applet.h"

namespace tarrow {

/// The posted text of the first element of that name, or null.
inline const char *posted_text(mxml_node_t *root, const char *name) {
    const char *value = nullptr;
    get_opaque_string_by_name(root, name, &value);
    return value;
}

} // namespace tarrow
