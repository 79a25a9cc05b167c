// Answers the requests of pages as the daemon does.
#pragma once

#include <functional>
#include <mxml.h>
#include <string>
#include <vector>

#include "library.h"
#include "page_schema.h"
#include "tree.h"

namespace host {

/// Reads a module: fills in the stored values, runs pre-get, reads each list that is asked for and
/// shows it to post-get, and runs post-get. False and the reason when settings were asked for that
/// cannot be read.
bool get(const library &lib, const page_schema &schema, const std::string &module,
         mxml_node_t *request, std::string &reason);

/// The elements of a request that the module does not have, as dotted paths.
std::vector<std::string> unknown_elements(const page_schema &schema, mxml_node_t *request);

/// Calls a handler in a phase of a request ("pre-set", "post-set") and returns what it returns.
using handler_call =
    std::function<int(const char *phase, tarrow_handler_t *handler, int flags, dc_args_t *args)>;

/// A call that also adds a message for each handler that returns an error. The daemon ignores what
/// handlers return; a person at the command line wants to know.
handler_call record_results(std::vector<std::string> &handler_errors);

/// Writes a module: runs pre-set, stores the posted values and lists, and runs post-set with the
/// same record. Elements that the module does not have are not stored. False and the reason when
/// the request was given up or a value was not stored.
bool set(const library &lib, const page_schema &schema, const applet_info &row,
         mxml_node_t *request, const handler_call &call_handler, std::string &reason);

} // namespace host
