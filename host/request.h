// Page requests, answered as the daemon answers them.
#pragma once

#include <mxml.h>
#include <string>
#include <vector>

#include "library.h"
#include "page.h"
#include "tree.h"

namespace host {

/// Reads a module: fills the stored values, pre-get, each asked-for list through its table,
/// post-get.
/// Gives false and the reason when settings were asked for that could not be read.
bool get(const library &lib, const page &module_page, const std::string &module,
         mxml_node_t *request, std::string &reason);

/// The elements of a request that the module's page does not have, as dotted paths.
std::vector<std::string> unknown_elements(const page &module_page, mxml_node_t *request);

/// Writes a module: pre-set, stores the posted values and lists, post-set with the same record.
/// What the page does not have is not stored.
/// Gives false and the reason when the request had to be given up.
bool set(const library &lib, const page &module_page, const std::string &module,
         mxml_node_t *request, std::string &reason);

} // namespace host
