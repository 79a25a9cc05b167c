// The sms module: passes messages between the page and the device's SMS scripts, which talk to the
// modem. Each script blocks the call until it ends.
//
// (archive): only in the static library; the shared library does not export it.
#ifndef TARROW_SMS_APPLET_H
#define TARROW_SMS_APPLET_H

#include "tarrow_applets.h"

#ifdef __cplusplus
extern "C" {
#endif

// The handlers call openlog: the process logs as "tarrow:sms", facility LOG_USER, from then on.
// They return -1 for a record without an XML subtree, and log the reason.

// Pre-get handler: fills the page from the scripts' answer files below "/tmp/telephony/sms", in
// this order: dev of del, or its sim when it has no dev; the same of list; sim of capacity; save;
// send. list and capacity first run their script. Returns 0, or the first negative result of a
// section, after which it fills no other.
int sms_pre_get(int flags, dc_args_t *dc);

// Post-get handler: runs "sms_post_get.sh concat_number" when the page has "concat_number". Returns
// 0.
int sms_post_get(int flags, dc_args_t *dc);

// Pre-set handler: runs the delete, save and send commands of the SMS script, and stores a posted
// list of device messages with cfgdb_cmd in "/userfs/cfgdb/sms02.txt". Returns 0.
int sms_pre_set(int flags, dc_args_t *dc);

// All below: (archive). file_name is the name of an answer file, without its folder. Failures are
// logged.

// Appends an <item> to element for each message of a list file. Returns 0; -1 when the file cannot
// be opened or a node cannot be created.
int get_list(mxml_node_t *element, const char *file_name);

// Appends the first word in the first 4 characters of a file to element. Returns 0, also for an
// empty file; -1 when it cannot be opened or its first line has no word.
int get_capacity(mxml_node_t *element, const char *file_name);

// Appends the first line of a file, with its line end and cut to 79 characters, to element. Returns
// 0; -1 when the file cannot be opened.
int get_result(mxml_node_t *element, const char *file_name);

// Runs a command line in the shell, waits for its end and logs it. The line is format, with each
// "%s" replaced by an argument of type const char * as one shell word; null is the empty word ''.
// There is no other conversion. The line is cut to 767 characters; a cut word keeps its closing
// quote. A null format runs nothing.
void run_command(const char *format, ...) __attribute__((format(printf, 1, 2)));

#ifdef __cplusplus
}
#endif

#endif
