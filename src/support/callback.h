// The payload of the record that a handler gets.
#pragma once

#include "tarrow_applets.h"

namespace tarrow {

/// The module's element, or null for a record of another type.
inline mxml_node_t *subtree_of(const dc_args_t *dc) {
    return dc != nullptr && dc->dc_type == TARROW_CB_ARGS_XML ? dc->dc_data.dc_subnode : nullptr;
}

/// The table of a list-valued setting, or null for a record of another type.
inline dlist_node_t *table_of(const dc_args_t *dc) {
    return dc != nullptr && dc->dc_type == TARROW_CB_ARGS_DLIST ? dc->dc_data.dc_dlist : nullptr;
}

} // namespace tarrow
