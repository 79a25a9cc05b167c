// What a handler finds in the record that the daemon hands it.
#pragma once

#include "tarrow_applets.h"

namespace tarrow {

/// The module's element, or null for a record that does not carry one.
inline mxml_node_t *subtree_of(const dc_args_t *dc) {
    return dc != nullptr && dc->dc_type == TARROW_CB_ARGS_XML ? dc->dc_data.dc_subnode : nullptr;
}

/// The table of a list-valued setting, or null for a record that does not carry one.
inline dlist_node_t *table_of(const dc_args_t *dc) {
    return dc != nullptr && dc->dc_type == TARROW_CB_ARGS_DLIST ? dc->dc_data.dc_dlist : nullptr;
}

} // namespace tarrow
