// Marks the connected hosts in lists of 1 to 500 records, without the commands that fill the
// tables.

#include "pair.h"

#include <cstring>
#include <memory>
#include <strings.h>

#include "../src/modules/device_management/connected_hosts.h"
#include "../src/support/table_entries.h"

namespace {

/// Full tables, and a list whose hosts are at the end of the tables.
struct hosts {
    explicit hosts(int records) : count(records), list(new dlist_node_t) {
        dl_dlist_init(list.get());
        dl_get_meta_fields("mac#name#first#last#type", list.get(), '#');
        std::string stored;
        for (int r = 0; r < records; ++r) {
            stored += (r > 0 ? " " : "") + mac(r % 2 == 0 ? 71 : r % 71) + "#n#f#l#" +
                      (r % 4 < 2 ? "WLAN" : "USB");
        }
        dl_variable_to_dlist_alloc(stored.c_str(), list.get(), 5, '#', ' ');
        for (int i = 0; i < HOST_TABLE_ENTRIES; ++i) {
            stations.entry[i] = {strdup(" "), strdup(mac(i).c_str())};
            bridge.entry[i] = {strdup("2"), strdup(mac(i).c_str())};
            // Only every other host has its address in the ARP table; the others have a lease.
            arp.entry[i] = {strdup("192.168.1.2"), strdup(i % 2 == 0 ? mac(i).c_str() : "-")};
            leases.entry[i] = {strdup("192.168.1.2"), strdup(mac(i).c_str()), nullptr};
        }
        stations.num_of_entries = bridge.num_of_entries = HOST_TABLE_ENTRIES;
        arp.num_of_entries = leases.num_of_entries = HOST_TABLE_ENTRIES;
    }
    hosts(const hosts &) = delete;
    hosts &operator=(const hosts &) = delete;
    ~hosts() {
        dl_free_dlist(list.get());
        wireless_client_list_free(&stations);
        bridge_list_free(&bridge);
        arp_list_free(&arp);
        dhcp_client_list_free(&leases);
    }

    static std::string mac(int i) {
        return "02:00:00:00:01:" + std::string(1, static_cast<char>('a' + i / 10)) +
               static_cast<char>('0' + i % 10);
    }

    int count;
    std::unique_ptr<dlist_node_t> list;
    bridge_fwd_list_t bridge = {};
    arp_list_t arp = {};
    dhcp_list_t leases = {};
    wireless_list_t stations = {};
};

/// Compares up to a host's entry.
template <typename List>
bool find(const char *mac, const List &list) {
    for (const auto &entry : list.entry) {
        if (strcasecmp(entry.mac, mac) == 0) {
            return true;
        }
    }
    return false;
}

} // namespace

void bench::register_hosts() {
    for (const int records : {1, 10, 100, 500}) {
        const auto h = std::make_shared<hosts>(records);
        pair(
            "connected hosts/" + std::to_string(records), 1.5,
            [h] {
                tarrow::mark_connected_hosts(
                    h->list.get(), {&h->bridge, &h->arp, &h->leases, &h->stations}, false);
                // The next run adds the same columns.
                tarrow::replace_entry(h->list->dn_meta[5], nullptr);
                tarrow::replace_entry(h->list->dn_meta[6], nullptr);
            },
            [h] { // checks each slot, and compares each host with the entries of its tables
                for (const auto &record : h->list->dn_dlist) {
                    if (record[0] != nullptr) {
                        benchmark::DoNotOptimize(record[4][0] == 'U'
                                                     ? find(record[0], h->bridge)
                                                     : find(record[0], h->stations));
                        if (!find(record[0], h->arp)) {
                            benchmark::DoNotOptimize(find(record[0], h->leases));
                        }
                    }
                }
            });
    }
}
