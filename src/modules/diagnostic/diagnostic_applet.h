// The diagnostic module: runs a network tool and shows what it printed.
#ifndef TARROW_DIAGNOSTIC_APPLET_H
#define TARROW_DIAGNOSTIC_APPLET_H

#include "tarrow_applets.h"

#ifdef __cplusplus
extern "C" {
#endif

// Pre-set handler: runs the posted "command" with the posted "arg" and keeps what it prints in
// "/tmp/diag"; answers when the tool has ended. The command is "ping" or "arping" (10 probes), the
// same in other letters (no options), or in any letter case "route", "traceroute" or "arp" (numeric
// output); it runs by the name that was posted. The argument is absent, empty or one host name or
// address: letters, digits and ".:-_%", not beginning with "-"; the command line is cut at 255
// characters, and the output is lost when it has no room for the whole redirection. 0, whatever the
// tool answers; -1, and nothing runs, for another command or argument or a record without an XML
// subtree.
int execute_command(int flags, dc_args_t *dc);

// Post-get handler: moves "output" to the end of the subtree and fills it with the first 1023 bytes
// of "/tmp/diag". 0, also when there is no such file and the subtree stays as it is; -1 for a
// record without an XML subtree.
int command_output(int flags, dc_args_t *dc);

#ifdef __cplusplus
}
#endif

#endif
