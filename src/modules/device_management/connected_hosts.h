// The record pass over the list of hosts, apart from where its tables come from.
#pragma once

#include "host_tables.h"
#include "tarrow.h"

namespace tarrow {

/// What is known of the hosts at one moment.
struct host_tables {
    const bridge_fwd_list_t *bridge;
    const arp_list_t *arp;
    const dhcp_list_t *leases;
    const wireless_list_t *stations;
};

/// Adds the columns "connected" and "ip_address" to a list of hosts and fills them; with
/// only_connected it removes the hosts that are not connected. Gives the number of those that are.
int mark_connected_hosts(dlist_node_t *hosts, const host_tables &tables, bool only_connected);

} // namespace tarrow
