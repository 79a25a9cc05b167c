// The applet table, for programs and for people.
#pragma once

#include <string>
#include <vector>

#include "library.h"

namespace host {

/// All rows of the applet table; none when memory runs out.
std::vector<applet_info> rows(const library &lib);

/// The exported name of a handler of the library.
const char *name_of(tarrow_handler_t *handler);

/// Prints the applet table for people.
void print_table(const library &lib);

/// Prints the applet table as JSON, one module per line:
///   {"module":"lan","fields":"#","records":" ","phases":{"pre-set":"/etc/init.d/lan_pre_set.sh"}}
/// A phase that runs nothing is left out. The text of a handler ends in "()".
void print_table_as_json(const library &lib);

} // namespace host
