// The applet table and its dispatch: what runs when a page reads or writes a settings module.
//
// The daemon gets the table from tarrow_get_module_applets and calls one dispatch operation for
// each phase of a request. A phase runs the module's handler function. Without one it runs the hook
// script, and without either nothing. The example daemon.c is a complete daemon.
//
//
// BUILDING
//
// pkg-config --cflags --libs tarrow_modules mxml, and -lcfgdb for a daemon that uses the store; or
// with CMake find_package(tarrow_modules) and the target tarrow::modules. Mini-XML 3 is needed.
//
// The archive: pkg-config --static --cflags --libs tarrow_modules, with -l:libtarrow_modules.a in
// place of -ltarrow_modules, for which the linker prefers the shared library; or the target
// tarrow::modules_static.
//
//
// REQUESTS
//
// A get request:
//  1. Load the page with MXML_OPAQUE_CALLBACK: handlers expect each text as one opaque node. The
//     payload of dc_args_t is the element of the module, such as <wan>.
//  2. Fill the empty elements of stored texts from the store, except those that a handler fills
//     (see below). Close the store.
//  3. Call pre-get with TARROW_ACTION_GET and the page.
//  4. For each list-valued setting in the page: load it into a table (tarrow.h), close the store,
//     call post-get with TARROW_ACTION_GETLIST and the table, then append the table to the
//     setting's element.
//  5. Call post-get with TARROW_ACTION_GET and the page.
//  6. Write the tree as the answer. mxmlSetWrapMargin(0) keeps Mini-XML from wrapping texts.
//
// A set request:
//  1. Set dc_opaque to null. Call pre-set with TARROW_ACTION_SET and the page. It fails only when
//     it cannot create the temporary file (see below). Stop then.
//  2. Write the posted settings to the store. For a list-valued setting, load the stored list into
//     a table, apply the posted items with dl_xmllist_to_dlist, and write the table back. Close
//     the store.
//  3. Call post-set with TARROW_ACTION_SET and the same dc_args_t.
//  4. Remove the temporary file.
// The library defines no answer to a set request. daemon.c writes the posted tree, to which
// http_share adds the result of its action 3.
//
// To read reboot or restore_defaults is to run their scripts: never read all modules in a loop.
//
//
// WHICH ELEMENTS ARE SETTINGS
//
// The daemon itself knows which elements are settings, under which keys it stores them, which of
// them are lists, and the names of the fields of a list. No header lists them. Handlers read only
// two of the tables. They expect in device_management the MAC address in field 0 and the connection
// type in field 4, and in wlan_cli_scan the SSID in field 0.
//
// Leave empty what a handler fills: it appends its value to the text that is there. The headers of
// device_date, device_management, diagnostic, pin_puk, sms, statistics, upgrade_status, wan,
// wlan_security and wlan_wps_client name these elements. One of them, roaming in cellular of wan,
// has the name of a value that the library reads from the store. wlan_get and http_share_post_get,
// which no row has, also fill elements.
//
// Do not store posted commands and their arguments:
//  - contacts: deleted, sim_contacts_list
//  - diagnostic: command, arg
//  - http_share: http_share_action, mode_set, and the five elements with SD_CARD in their names
//  - pin_puk: command, pin, new_pin, puk, mep_unlock_ck
//  - sms: all elements
//
//
// THE SETTINGS STORE
//
// Have no module of the store open during a dispatch call. Handlers and scripts open it themselves,
// and the post-set scripts read the values that the daemon has just written.
//
// The daemon stores the posted settings of every module. The library stores only these itself; the
// key of a nested element is the names joined by dots, as for pin in cellular:
//  - wan: cellular.pin, cellular.puk, cellular.mep_nck, cellular.mep_nsck, cellular.mep_spck,
//    cellular.mep_cck and cellular.mep_pck, for posts to pin_puk
//  - http_share: sdcard_mode_option (action 2); HTTP_SHARE_STATUS, HTTP_SHARE_WR_AUTH and
//    HTTP_SHARE_FILE (action 4)
//  - sms: posted messages, with cfgdb_cmd, in the backend /userfs/cfgdb/sms02.txt
// The library reads wan proto, cdns_enable, cellular.roaming, cellular.signal_level and
// cellular.network_access_type_N, wlan_settings channel, statistics StatisticsStartDay, and
// http_share sd_card_state and the four settings above.
//
//
// THE TEMPORARY FILE OF A SET REQUEST
//
// A module's pre-set script can leave data for its post-set script in a file. Pre-set creates it,
// "/tmp/tarrow.XXXXXX", empty, mode 0600, only for a module with a pre-set script and no pre-set
// function. For other modules, pre-set does not change dc_opaque. Both scripts get the path as
// their second argument. It travels in dc_opaque as a heap string, which post-set frees and
// replaces by null.
//
// The library never removes the file. The daemon copies the path after pre-set and removes the file
// after post-set. It frees dc_opaque itself when it gives up between the phases, and when dc_opaque
// is not null after post-set: without memory for its work, post-set does nothing.
//
// For a module with a post-set script, post-set passes on and frees whatever dc_opaque holds: it
// must be null or come from malloc.
//
//
// HOW LONG A CALL BLOCKS
//
// Every call runs on the calling thread and waits for each command that it runs. Nothing cancels a
// call, and a command that never ends blocks it forever. (Another process can end the command; the
// call then continues.) What a request on a module waits for:
//  - device_date, upgrade_status, wlan_security and wlan_wps_client, get: nothing, only files
//  - wan, get: up to six short commands, and a SIM check when one is due
//  - device_management, get: the agent's script, brctl and wapctl
//  - pin_puk, get: up to three commands of the modem, and 200 ms after the last one
//  - pin_puk, set: up to five commands of the modem, and a SIM check. Commands 4 and 5 first wait
//    until "/tmp/sim_checking_mutex" is gone, without a limit. Command 5 waits 1 s more.
//  - statistics, get: two scripts and five exchanges with the statistics server. While another
//    process holds the lock, each exchange gives up after 5 s: 25 s for the request. A server that
//    takes a request and never answers it blocks the call forever, with the lock held.
//  - diagnostic, set: the tool. ping took 9 s with replies and 19 s without.
//  - contacts, set: one command of the modem, and sync, which writes all file systems
//  - sms: one script at most for each section of the page, one cfgdb_cmd for each posted message
//  - http_share, set: short commands; action 8 as long as it takes to delete the files
//  - all other phases: the hook script, if there is one
// A settings store that another process has locked blocks a call up to the store's own limit, which
// is 20 s in the development store. A serial console that accepts no data blocks it without limit.
//
//
// SCRIPTS, SIGNALS AND CHILD PROCESSES
//
// Commands run in /bin/sh, through system() and popen(). They inherit the daemon's environment,
// folder and standard streams, and those of its descriptors that are not close-on-exec. What they
// print would be part of the answer of a daemon that writes to standard output. Before the first
// call, such a daemon moves its output to a close-on-exec descriptor, and makes standard error the
// standard output, and /dev/null the standard input, as daemon.c does.
//
// The exit status of a script is ignored: a script that fails or is missing goes unnoticed. Only a
// PIN change and the write to the channel notice file (find_channel) look at an exit status.
//
// During a call, do not ignore SIGCHLD, and let no other thread wait for any child, as
// waitpid(-1, ...) does. Otherwise a PIN change that succeeds is reported as failed.
//
// system() ignores SIGINT and SIGQUIT, and blocks SIGCHLD, while a command runs. The library blocks
// SIGPIPE while it writes to the statistics server. It installs no signal handler and starts no
// thread.
//
// Install the daemon's own signal handlers with SA_RESTART. Otherwise a signal can cut off the
// output of a command that the library reads, and connected hosts appear as not connected.
//
//
// THREADS, PROCESSES AND LOCKS
//
// One thread of a process at a time may call the library, and it completes all phases of a request
// before the next request: device_management keeps state from pre-get to post-get, get_mac_from_ip
// and the statistics client have static data, and openlog changes the whole process. Any thread at
// any time may call tarrow_get_module_applets, tarrow_call_module_get_delimiters, and the dl_
// operations on a table and a tree of its own.
//
// Between processes, the only lock is "/tmp/.sflck", which an exchange with the statistics server
// holds. A process that dies with it leaves the file behind, and all exchanges fail until somebody
// removes it. The state files below /tmp have no lock: run one daemon on a device.
//
//
// MEMORY
//
// Measured on x86-64 with glibc and the development store:
//  - Stack: at most 11 KB. 49 KB to delete a tree of 490 folders, each inside the other.
//  - Heap during a call: at most 48 KB (device_management, with four full host tables). 560 KB to
//    delete that tree, of which 32 KB for each of 17 open folders.
//  - Heap after a call: what the handler added to the page or table, such as 113 KB for 100
//    messages. The library itself keeps none.
// A dlist_node_t has 48,096 bytes, half of it on 32 bits: not for a small stack.
//
// When memory runs out, operations fail as described with each of them. But get_device_date ends
// the process, then and for a long zone name in TZ: see modules/device_date/device_date_applet.h.
//
//
// OWNERSHIP
//
// Release what an operation returns, and what a table owns, with free() of the C library that this
// library is linked to. Handlers add nodes to the page's tree and move its elements, and delete
// none. The tree with all its nodes belongs to the daemon.
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

// The action codes ("flags" of a call). A hook script gets the action word as its first argument:
// "start", "stop", "set", "get", "getlist" or "setlist". No handler function looks at the code.
//
// Set requests use SET; get requests GET, and GETLIST with a table. START, STOP and SETLIST are for
// a daemon that wants to call a hook script with that word: the library gives them no meaning.
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
    char *dc_string; // for the daemon's own use: no handler reads it
};

// The argument of every handler. The record and its payload belong to the daemon.
typedef struct tarrow_callback_args {
    int16_t dc_type;       // TARROW_CB_ARGS_XML or TARROW_CB_ARGS_DLIST
    union dc_data dc_data; // the payload
    void *dc_opaque;       // null, or the heap path of the temporary file (see above)
} dc_args_t;

// A handler returns 0. It returns -1 when it fails or does not accept the record, unless its header
// says otherwise. dc may be null.
typedef int tarrow_handler_t(int flags, dc_args_t *dc);
typedef int tarrow_upgrade_handler_t(int modver);
typedef int tarrow_validate_handler_t(char *variable_name, dc_args_t *dc);
typedef int tarrow_dynamic_handler_t(int getset, int flags, dc_args_t *dc);

// One row of the table: a module. Strings and functions are static: a row owns nothing. A null
// pointer means that the module has no such handler or script.
typedef struct applet_info {
    const char *di_modname;
    int di_version; // 1 in every row: for the daemon, the library does not use it
    tarrow_upgrade_handler_t *di_handler_upgrades;       // null in every row
    tarrow_validate_handler_t *di_handler_validate_func; // null in every row
    tarrow_handler_t *di_handler_pre_set_func;
    const char *di_handler_pre_set_cmd;
    tarrow_handler_t *di_handler_post_set_func;
    const char *di_handler_post_set_cmd;
    tarrow_handler_t *di_handler_pre_get_func;
    const char *di_handler_pre_get_cmd;
    tarrow_handler_t *di_handler_post_get_func;
    const char *di_handler_post_get_cmd;          // null in every row
    tarrow_dynamic_handler_t *di_handler_dynamic; // null in every row
    char di_rd; // record delimiter of list-valued settings; 0: the default, a space
    char di_fd; // field delimiter; 0: the default, ':'
} applet_info;

// Returns a new copy of the table, which the caller frees, or null when memory runs out. Test the
// pointer: *number becomes 32 in both cases. number may be null.
applet_info *tarrow_get_module_applets(int *number);

// Run one phase of a request on a row. They return 0, whatever the handler function returns, and
// for a null di, with which nothing runs. Only pre-set can fail: it returns -1 when it has to
// create the temporary file and cannot, or dca is null. Then no script runs and dca does not
// change.
int __tarrow_call_module_pre_set_handler(const applet_info *di, int flags, dc_args_t *dca);
int __tarrow_call_module_post_set_handler(const applet_info *di, int flags, dc_args_t *dca);
int __tarrow_call_module_pre_get_handler(const applet_info *di, int flags, dc_args_t *dca);
int __tarrow_call_module_post_get_handler(const applet_info *di, int flags, dc_args_t *dca);

// Return the handler's result; 0 when the row has no such handler.
int __tarrow_call_module_validate_handler(const applet_info *di, char *variable_name,
                                          dc_args_t *dca);
int __tarrow_call_module_upgrade_handler(const applet_info *di, int modver);
int __tarrow_call_module_dynamic_handler(const applet_info *di, int getset, int flags,
                                         dc_args_t *dca);

// The same, by the name of the module, whose letter case counts. When no module has that name, or
// memory runs out, nothing runs and the result is 0.
int tarrow_call_module_pre_set_handler(const char *modname, int flags, dc_args_t *dca);
int tarrow_call_module_post_set_handler(const char *modname, int flags, dc_args_t *dca);
int tarrow_call_module_pre_get_handler(const char *modname, int flags, dc_args_t *dca);
int tarrow_call_module_post_get_handler(const char *modname, int flags, dc_args_t *dca);
int tarrow_call_module_validate_handler(const char *modname, char *variable_name, dc_args_t *dca);
int tarrow_call_module_dynamic_handler(const char *modname, int getset, int flags, dc_args_t *dca);

// Stores the field and record delimiter of a module's list-valued settings in *fd and *rd, one
// character each. For a module without delimiters, and an unknown one, they are ':' and a space.
// fd and rd may be null.
void tarrow_call_module_get_delimiters(const char *modname, char *fd, char *rd);

// Runs "cmdname word" or, with opaque, "cmdname word opaque" in the shell and waits for its end.
// word is the action word of flags. For other flags, or a null cmdname, nothing runs. The exit
// status is ignored. cmdname is shell text; opaque becomes one word, in quotes where the shell
// needs them, and is left out when it is empty. The line is cut to 4095 characters; a cut opaque
// keeps its closing quote.
void tarrow_call_module_run_cmd(const char *cmdname, int flags, const char *opaque);

#ifdef __cplusplus
}
#endif

#endif
