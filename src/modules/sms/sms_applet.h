// The sms module: between the page and the device's SMS scripts, which do the work with the modem.
//
// (archive): visible in the static library only; the shared library does not export it.
#ifndef TARROW_SMS_APPLET_H
#define TARROW_SMS_APPLET_H

#include "tarrow_applets.h"

#ifdef __cplusplus
extern "C" {
#endif

// The handlers make "tarrow:sms" the identity of the process in the system log (facility LOG_USER),
// and answer -1 for a record without an XML subtree, with a line that says what is wrong with it.

// Pre-get handler: fills the sections del, list, capacity, save and send of the request from the
// scripts' answer files below "/tmp/telephony/sms"; list and capacity run their script first. 0, or
// the first negative result of a section, which ends the work.
int sms_pre_get(int flags, dc_args_t *dc);

// Post-get handler: runs the number-concatenation script when "concat_number" is asked for. 0.
int sms_post_get(int flags, dc_args_t *dc);

// Pre-set handler: runs the delete, save and send commands of the SMS script, and stores a posted
// list of device messages in the SMS backend of the settings store. 0.
int sms_pre_set(int flags, dc_args_t *dc);

// All below: (archive). file_name is an answer file's, without its folder.

// Appends an <item> to element for each message of a list file. 0, or -1 when the file cannot be
// opened or a node cannot be made (logged).
int get_list(mxml_node_t *element, const char *file_name);

// Appends the first word within a file's first 4 characters to element. 0, also for an empty file;
// -1 when it cannot be opened or there is no word on its first line (logged).
int get_capacity(mxml_node_t *element, const char *file_name);

// Appends the first line of a file, line end included, cut to 79 characters, to element. 0, or -1
// when the file cannot be opened (logged).
int get_result(mxml_node_t *element, const char *file_name);

// Runs a command line through the shell and logs it: format with each "%s" replaced by an argument
// of type const char * as a shell word, '' for an empty or null one; cut at 767 characters, quoted
// words so that their quotes close. No other conversion is known. A null format runs nothing.
void run_command(const char *format, ...) __attribute__((format(printf, 1, 2)));

#ifdef __cplusplus
}
#endif

#endif
