// The device_management module: the hosts that have been seen on the LAN side, and which are
// connected.
//
// (archive): visible in the static library only; the shared library does not export it.
#ifndef TARROW_DEVICE_MANAGEMENT_APPLET_H
#define TARROW_DEVICE_MANAGEMENT_APPLET_H

#include "tarrow_applets.h"

#ifdef __cplusplus
extern "C" {
#endif

// Pre-get handler: begins a request, also with a record that it refuses. Runs
// "/etc/init.d/device_management_pre_get.sh" through the agent, then notes from the subtree whether
// only connected hosts are asked for ("connected" is "1"), and whether their number is
// ("nr_connected_dev" is there). 0, or -1 for a record without an XML subtree.
int get_connected_type(int flags, dc_args_t *dc);

// Post-get handler. With a table (field 0 the MAC address, field 4 the connection type): marks each
// host as connected or not, with its address. With a subtree: fills nr_connected_dev with the
// number of hosts that were marked connected since the pre-get call. 0, or -1 for another record or
// when memory for the host tables runs out.
int get_connected_hosts(int flags, dc_args_t *dc);

// (archive) Fills nr_connected_dev of the subtree, when the pre-get call saw it asked for.
void get_nr_connected_dev(mxml_node_t *subnode);

#ifdef __cplusplus
}
#endif

#endif
