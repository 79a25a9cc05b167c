/* What the tests put in the place of C library calls, when the library makes them.
 *
 * Variables of the environment:
 *   CLOCK        the time of day in seconds; it must be set
 *   MEANWHILE    a shell line that runs at each wait, which has its number in WAIT
 *   POPEN_FAILS  no pipe to a command opens
 * Where there is a file /run/instead/PATH, the library opens it in the place of PATH. What it
 * writes to the serial console goes to standard output, behind "console: ". A request's temporary
 * file is always /tmp/tarrow.XXXXXX. */
#pragma once

/* Each test program has its own: receives each event, one line without its end. "+ LINE" is a shell
 * line that runs, "wait N ms" a wait, which takes no time, "<PRIORITY>IDENTITY: TEXT" a line of the
 * system log. */
void report(const char *event);

/* When it is set no command runs, and one that is read prints this text. */
extern const char *canned_output;

/* How many descriptors below 256 the process has. */
int open_descriptors(void);
