// The device_management module: the known hosts on the LAN side, and which of them are connected.
//
// A request has three calls: pre-get, post-get with the table of known hosts, post-get with the
// subtree. The module keeps the request's state between them, so requests must not overlap.
//
// (archive): only in the static library; the shared library does not export it.
#ifndef TARROW_DEVICE_MANAGEMENT_APPLET_H
#define TARROW_DEVICE_MANAGEMENT_APPLET_H

#include "tarrow_applets.h"

#ifdef __cplusplus
extern "C" {
#endif

// Pre-get handler: begins a request. Runs "/etc/init.d/device_management_pre_get.sh" through the
// agent and waits for it. Then reads from the subtree whether the page wants connected hosts only
// ("connected" is "1") and their number ("nr_connected_dev" is there). Returns 0; -1 for a record
// without an XML subtree, with which a request also begins.
int get_connected_type(int flags, dc_args_t *dc);

// Post-get handler. Returns 0; -1 for a record without table and subtree, or when memory for the
// host tables runs out (48 KB at most).
//  - With a table (field 0: MAC address, field 4: connection type, "WLAN..." or "USB..."): adds the
//    columns "connected" ("1" or "0") and "ip_address". If the page wants connected hosts only,
//    removes the others. Runs brctl and wapctl for the hosts of the bridge and the access point,
//    and waits for both.
//  - With a subtree: fills nr_connected_dev with the number of connected hosts in the tables since
//    the pre-get call. Without a table that is 0: for a page that asks for the number alone, pass
//    the table all the same, and do not append it to the page.
int get_connected_hosts(int flags, dc_args_t *dc);

// (archive) Fills nr_connected_dev of the subtree, if the subtree of the pre-get call had it.
void get_nr_connected_dev(mxml_node_t *subnode);

#ifdef __cplusplus
}
#endif

#endif
