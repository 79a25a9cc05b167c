// The applet table and its dispatch: what runs when a settings module is read or written.
//
// The daemon takes the table once with tarrow_get_module_applets, and calls one dispatch operation
// for each phase of a page's request. A handler function always wins over a hook script; where a
// phase has neither, nothing happens. Everything runs on the calling thread and is waited for.
//
// What the library counts on (examples/daemon.c shows a daemon's whole way):
// - Pages are loaded with MXML_OPAQUE_CALLBACK, so that each posted text is one opaque node.
//   Handlers add nodes below elements of dc_subnode and move its elements; the tree with all of
//   them is the daemon's, which deletes it.
// - What an operation gives away, and what a table owns, is released with free of the C library
//   that this library is linked to.
// - One thread calls at a time: get_mac_from_ip, device_management and the statistics keep state,
//   and openlog's identity and signal masks are the process's.
// - Commands run through system() and popen(): SIGCHLD is not ignored meanwhile, and nobody else
//   waits for any child.
// - get_device_date ends the process with exit(1) when there is no date to show.
#ifndef TARROW_APPLETS_H
#define TARROW_APPLETS_H

#include <stdint.h>

#include "tarrow.h"

#ifdef __cplusplus
extern "C" {
#endif

// What dc_data of a dc_args_t holds.
#define TARROW_CB_ARGS_XML 1   // dc_subnode: the module's element in the request or reply
#define TARROW_CB_ARGS_DLIST 2 // dc_dlist: the table of one list-valued setting

// Action codes ("flags"): what a handler is told, and the action word on a hook script's command
// line.
enum {
    TARROW_ACTION_START = 1,
    TARROW_ACTION_STOP = 2,
    TARROW_ACTION_SET = 3,
    TARROW_ACTION_GET = 4,
    TARROW_ACTION_GETLIST = 5,
    TARROW_ACTION_SETLIST = 6
};

union dc_data {
    mxml_node_t *dc_subnode;
    dlist_node_t *dc_dlist;
    char *dc_string; // the daemon's own; no handler reads it
};

// The record handed to every handler. It and its payload belong to the daemon.
typedef struct tarrow_callback_args {
    int16_t dc_type;       // TARROW_CB_ARGS_XML or TARROW_CB_ARGS_DLIST
    union dc_data dc_data; // the payload
    void *dc_opaque; // between pre-set and post-set: heap path of the request's temporary file
} dc_args_t;

// A handler answers 0, or -1 for a record it does not take or a failure, unless its own header says
// otherwise. dc may be null.
typedef int tarrow_handler_t(int flags, dc_args_t *dc);
typedef int tarrow_upgrade_handler_t(int modver);
typedef int tarrow_validate_handler_t(char *variable_name, dc_args_t *dc);
typedef int tarrow_dynamic_handler_t(int getset, int flags, dc_args_t *dc);

// One row of the table. Strings and functions are static: a row owns nothing.
typedef struct applet_info {
    const char *di_modname;
    int di_version;
    tarrow_upgrade_handler_t *di_handler_upgrades;
    tarrow_validate_handler_t *di_handler_validate_func;
    tarrow_handler_t *di_handler_pre_set_func;
    const char *di_handler_pre_set_cmd;
    tarrow_handler_t *di_handler_post_set_func;
    const char *di_handler_post_set_cmd;
    tarrow_handler_t *di_handler_pre_get_func;
    const char *di_handler_pre_get_cmd;
    tarrow_handler_t *di_handler_post_get_func;
    const char *di_handler_post_get_cmd;
    tarrow_dynamic_handler_t *di_handler_dynamic;
    char di_rd; // record delimiter of list-valued settings; 0: the default, a space
    char di_fd; // field delimiter; 0: the default, ':'
} applet_info;

// A new heap copy of the table, which the caller frees (and nothing inside it), or null when memory
// runs out. *number becomes 32 either way; number may be null.
applet_info *tarrow_get_module_applets(int *number);

// The phases of a request on one row. A set request is pre-set, storing the values, post-set, with
// the same dca; a get request is pre-get, post-get. What a handler answers is not passed on.
//
// Pre-set with a script creates a new temporary file "/tmp/tarrow.XXXXXX" and leaves its heap path
// in dc_opaque; post-set with a script passes dc_opaque on, then frees it and sets it to null. The
// file itself stays. 0, also for a null di, with which nothing runs; pre-set answers -1, with dca
// as it was and no script run, when the file cannot be created or there is no dca to carry its
// path.
int __tarrow_call_module_pre_set_handler(const applet_info *di, int flags, dc_args_t *dca);
int __tarrow_call_module_post_set_handler(const applet_info *di, int flags, dc_args_t *dca);
int __tarrow_call_module_pre_get_handler(const applet_info *di, int flags, dc_args_t *dca);
int __tarrow_call_module_post_get_handler(const applet_info *di, int flags, dc_args_t *dca);

// The handler's result, or 0 without one.
int __tarrow_call_module_validate_handler(const applet_info *di, char *variable_name,
                                          dc_args_t *dca);
int __tarrow_call_module_upgrade_handler(const applet_info *di, int modver);
int __tarrow_call_module_dynamic_handler(const applet_info *di, int getset, int flags,
                                         dc_args_t *dca);

// The same by module name (letter case counts): 0, and nothing runs, when no module has that name
// or memory runs out.
int tarrow_call_module_pre_set_handler(const char *modname, int flags, dc_args_t *dca);
int tarrow_call_module_post_set_handler(const char *modname, int flags, dc_args_t *dca);
int tarrow_call_module_pre_get_handler(const char *modname, int flags, dc_args_t *dca);
int tarrow_call_module_post_get_handler(const char *modname, int flags, dc_args_t *dca);
int tarrow_call_module_validate_handler(const char *modname, char *variable_name, dc_args_t *dca);
int tarrow_call_module_dynamic_handler(const char *modname, int getset, int flags, dc_args_t *dca);

// The delimiters of a module's list-valued settings: one character each to *fd and *rd. A module
// without delimiters of its own, or an unknown one, has ':' and a space. fd and rd may be null.
void tarrow_call_module_get_delimiters(const char *modname, char *fd, char *rd);

// Runs "cmdname word" or, with opaque, "cmdname word opaque" through the shell and waits for it,
// word being the action word of flags. Any other flags, or a null cmdname, run nothing. The exit
// status is ignored. opaque reaches the command as one word, quoted where the shell needs it, and
// not at all when it is empty; cmdname is taken as it is. The line is cut at 4095 characters, a
// quoted opaque so that its quotes close.
void tarrow_call_module_run_cmd(const char *cmdname, int flags, const char *opaque);

#ifdef __cplusplus
}
#endif

#endif
