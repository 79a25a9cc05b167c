// The diagnostic module: runs a network tool and shows what it printed.
#ifndef TARROW_DIAGNOSTIC_APPLET_H
#define TARROW_DIAGNOSTIC_APPLET_H

#include "tarrow_applets.h"

#ifdef __cplusplus
extern "C" {
#endif

// Pre-set handler: runs the posted "command" with the posted "arg", writes its output to
// "/tmp/diag" and waits for its end, without a limit. ping took 9 s with replies and 19 s without.
//  - "command": "ping" or "arping", with 10 probes; or in any letter case "route", "traceroute" or
//    "arp", with numeric output. "ping" and "arping" in other letter case run without options. The
//    command runs under the name that was posted.
//  - "arg": absent, empty, or one host name or address of letters, digits and ".:-_%" that does not
//    begin with "-". The command line is cut to 255 characters. When the redirection to the file
//    does not fit, the output is lost.
// Returns 0, whatever the tool does. Returns -1, and runs nothing, for another command or argument,
// and for a record without an XML subtree.
int execute_command(int flags, dc_args_t *dc);

// Post-get handler: moves "output" to the end of the subtree and fills it with the first 1023 bytes
// of "/tmp/diag". Without that file the subtree does not change. Returns 0; -1 for a record without
// an XML subtree.
int command_output(int flags, dc_args_t *dc);

#ifdef __cplusplus
}
#endif

#endif
