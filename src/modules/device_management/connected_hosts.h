// Marks the connected hosts in a list, whatever the source of the host tables.
#pragma once

#include "host_tables.h"
#include "tarrow.h"

namespace tarrow {

/// The hosts that the device sees at one moment.
struct host_tables {
    const bridge_fwd_list_t *bridge;
    const arp_list_t *arp;
    const dhcp_list_t *leases;
    const wireless_list_t *stations;
};

/// Adds the columns "connected" and "ip_address" to a list of hosts and fills them. With
/// only_connected it removes the hosts that are not connected. Returns the number of connected
/// hosts.
int mark_connected_hosts(dlist_node_t *hosts, const host_tables &tables, bool only_connected);

} // namespace tarrow
