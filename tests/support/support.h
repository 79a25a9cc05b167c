/* What the tests put in the place of C library calls, and how they make a request as the daemon
 * does. */
#pragma once

#include "tarrow_applets.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Each test program has its own: receives each event, one line without its end. "+ LINE" is a shell
 * line that runs, "wait N ms" a wait, which takes no time, "<PRIORITY>IDENTITY: TEXT" a line of the
 * system log, "console: TEXT" a text to the serial console, "PHASE: N" a result other than 0. */
void report(const char *event);

/* The replacements follow these variables of the environment:
 *   CLOCK        the time of day in seconds
 *   MEANWHILE    a shell line that runs at each wait, which has its number in WAIT
 *   POPEN_FAILS  no pipe to a command opens
 * The library opens /run/instead/PATH in the place of PATH where that file is there. */

/* When it is set no command runs, and one that is read prints this text. */
extern const char *canned_output;

/* Reports what the library has written to the serial console since the last event. */
void report_console(void);

/* Runs the phases of "get" or "set", a phase alone ("pre-get"), "getlist" (post-get on a table), or
 * with "call" an operation that no row of the table names. Gives 0, or -1 when there is no such
 * module or operation. */
int make_request(const char *what, const char *module, dc_args_t *record);

#ifdef __cplusplus
}
#endif
