// What handlers refuse of a post. Their results do not pass the dispatch, and so the daemon does
// not hear of them; a person at the command line does.
#pragma once

#include <string>
#include <vector>

#include "library.h"

namespace host {

/// Lets a library's operations for pre-set and post-set note what each handler answers. One library
/// can be listened to.
void listen(library &lib);

/// The handlers that have answered an error so far, each with its phase: "post-set: f() answered
/// -1".
const std::vector<std::string> &refusals();

} // namespace host
