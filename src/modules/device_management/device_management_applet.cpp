// The list of known hosts: which of them are connected now, by Wi-Fi or USB, their addresses, and
// their number.

#include "device_management_applet.h"

#include <cstring>
#include <strings.h>

#include "connected_hosts.h"
#include "support/callback.h"
#include "support/command.h"
#include "support/table_entries.h"
#include "support/xml.h"

namespace {

constexpr int mac_field = 0;
constexpr int type_field = 4;

// The state of a request, from its pre-get call to its last post-get call.
int only_connected_devices = 0;
int nr_connected_dev_flag = 0;
int nr_connected_dev = 0;

bool begins_with(const char *text, const char *start) {
    return text != nullptr && std::strncmp(text, start, std::strlen(start)) == 0;
}

/// Whether a host is connected now. Cuts the type of a Wi-Fi host to "WLAN" for the page.
bool is_connected(char **record, const tarrow::host_tables &tables) {
    if (begins_with(record[type_field], "USB")) {
        return is_connected_in_bridge(record[mac_field], tables.bridge) == 1;
    }
    if (begins_with(record[type_field], "WLAN")) {
        const bool is_station = is_connected_in_wlan(record[mac_field], tables.stations) == 1;
        if (char *type = strdup("WLAN"); type != nullptr) {
            tarrow::replace_entry(record[type_field], type);
        }
        return is_station;
    }
    return false;
}

const char *address_of(const char *mac, const tarrow::host_tables &tables) {
    const char *address = get_ip_address_from_arp(mac, tables.arp);
    return address != nullptr ? address : get_ip_address_from_dhcp(mac, tables.leases);
}

/// Sets an entry to a copy of a text, or to null. Does nothing for a column that the table does not
/// have.
void set_column(char **entries, int column, const char *text) {
    if (column < TARROW_DLIST_FIELDS) {
        tarrow::replace_entry(entries[column], text != nullptr ? strdup(text) : nullptr);
    }
}

template <typename List>
tarrow::heap<List> new_table() {
    return tarrow::heap<List>(static_cast<List *>(std::calloc(1, sizeof(List))));
}

/// Reads the host tables and marks the connected hosts in the list.
int mark_hosts(dlist_node_t *hosts) {
    const auto leases = new_table<dhcp_list_t>();
    const auto arp = new_table<arp_list_t>();
    const auto stations = new_table<wireless_list_t>();
    const auto bridge = new_table<bridge_fwd_list_t>();
    if (!leases || !arp || !stations || !bridge) {
        return -1;
    }
    const bool is_read = bridge_fwd_get(bridge.get()) >= 0 && arp_get(arp.get()) >= 0 &&
                         dhcp_sys_info_get(leases.get()) >= 0 &&
                         get_wireless_clients(stations.get()) >= 0;
    if (is_read) {
        nr_connected_dev += tarrow::mark_connected_hosts(
            hosts, {bridge.get(), arp.get(), leases.get(), stations.get()},
            only_connected_devices == 1);
    }
    bridge_list_free(bridge.get());
    arp_list_free(arp.get());
    dhcp_client_list_free(leases.get());
    wireless_client_list_free(stations.get());
    return is_read ? 0 : -1;
}

} // namespace

int tarrow::mark_connected_hosts(dlist_node_t *hosts, const host_tables &tables,
                                 bool only_connected) {
    const int column = leading_entries(hosts->dn_meta);
    set_column(hosts->dn_meta, column, "connected");
    set_column(hosts->dn_meta, column + 1, "ip_address");
    int count = 0;
    for (int r = 0; r < TARROW_DLIST_RECORDS; ++r) {
        char **record = hosts->dn_dlist[r];
        if (record[mac_field] == nullptr) {
            continue;
        }
        if (is_connected(record, tables)) {
            const char *address = address_of(record[mac_field], tables);
            set_column(record, column, "1");
            set_column(record, column + 1, address);
            ++count;
        } else if (only_connected) {
            dl_dlist_delete_record(hosts, r);
        } else {
            set_column(record, column, "0");
            set_column(record, column + 1, nullptr);
        }
    }
    return count;
}

int get_connected_type(int /*flags*/, dc_args_t *dc) {
    only_connected_devices = 0;
    nr_connected_dev_flag = 0;
    nr_connected_dev = 0;
    tarrow::run("/usr/app/agent_client 0 /etc/init.d/device_management_pre_get.sh");
    mxml_node_t *root = tarrow::subtree_of(dc);
    if (root == nullptr) {
        return -1;
    }
    const char *filter = tarrow::element_text(tarrow::find_child(root, "connected"));
    if (filter != nullptr && strcasecmp(filter, "1") == 0) {
        only_connected_devices = 1;
    }
    if (tarrow::find_child(root, "nr_connected_dev") != nullptr) {
        nr_connected_dev_flag = 1;
    }
    return 0;
}

int get_connected_hosts(int /*flags*/, dc_args_t *dc) {
    if (dlist_node_t *hosts = tarrow::table_of(dc); hosts != nullptr) {
        return mark_hosts(hosts);
    }
    mxml_node_t *root = tarrow::subtree_of(dc);
    if (root == nullptr) {
        return -1;
    }
    get_nr_connected_dev(root);
    return 0;
}

void get_nr_connected_dev(mxml_node_t *subnode) {
    if (nr_connected_dev_flag == 1) {
        tarrow::add_integer(tarrow::find_child(subnode, "nr_connected_dev"), nr_connected_dev);
    }
}
