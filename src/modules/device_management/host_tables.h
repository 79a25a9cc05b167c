// The hosts that the device sees on its LAN side: four tables of at most 72 entries.
//
// The caller provides a zero-filled table, and at the end calls its release operation. Each text in
// a table is a heap block of its own, which the table owns. Readers return -1 for a null table,
// else 0. When a source cannot be opened or ends early, the table holds what was read so far.
// Lookups ignore letter case. They return 0 or null for a null or empty table and a null address.
#ifndef TARROW_HOST_TABLES_H
#define TARROW_HOST_TABLES_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define HOST_TABLE_ENTRIES 72

typedef struct bridge_fwd_entry {
    char *port; // bridge port number, 5 bytes
    char *mac;  // 20 bytes
} bridge_fwd_entry_t;

typedef struct bridge_fwd_list {
    int32_t num_of_entries;
    bridge_fwd_entry_t entry[HOST_TABLE_ENTRIES];
} bridge_fwd_list_t;

typedef struct arp_entry {
    char *ip;  // dotted, 20 bytes
    char *mac; // as the kernel prints it, 20 bytes
} arp_entry_t;

typedef struct arp_list {
    int32_t num_of_entries;
    arp_entry_t entry[HOST_TABLE_ENTRIES];
} arp_list_t;

typedef struct dhcp_entry {
    char *ip;       // dotted, 20 bytes
    char *mac;      // lower case, 20 bytes
    char *hostname; // escaped, 180 bytes; null when the lease has no name
} dhcp_entry_t;

typedef struct dhcp_list {
    int32_t num_of_entries;
    dhcp_entry_t entry[HOST_TABLE_ENTRIES];
} dhcp_list_t;

typedef struct wireless_entry {
    char *type; // " ", 2 bytes
    char *mac;  // 20 bytes
} wireless_entry_t;

typedef struct wireless_list {
    int32_t num_of_entries;
    wireless_entry_t entry[HOST_TABLE_ENTRIES];
} wireless_list_t;

// A record of "/var/lib/udhcpd.leases", in the DHCP server's layout.
struct dhcpOfferedAddr {
    uint8_t chaddr[16]; // client hardware address: the first 6 bytes
    uint8_t yiaddr[4];  // leased IPv4 address, network byte order
    char hostname[30];  // NUL-padded, not always terminated; first byte 0: no name
    uint8_t padding[2];
    uint32_t expires; // not read here
};

// Read the remote hosts in the forwarding table of br0, with "/system/usr/sbin/brctl showmacs br0".
int bridge_fwd_get(bridge_fwd_list_t *list);
// Entries of "/proc/net/arp" on br0.
int arp_get(arp_list_t *list);
// Leases of "/var/lib/udhcpd.leases".
int dhcp_sys_info_get(dhcp_list_t *list);
// Stations of the access point uap0, with "/system/usr/bin/wapctl"; none without that interface.
int get_wireless_clients(wireless_list_t *list);
// Appends the stations of an interface. A name that does not fit a command of 49 characters has
// none.
void get_wireless_clients_for_interface(const char *interface, wireless_list_t *list);

// 1 when the host is on one of the bridge ports "1" to "4".
int is_connected_in_bridge(const char *mac, const bridge_fwd_list_t *list);
// 1 when the host is among the stations.
int is_connected_in_wlan(const char *mac, const wireless_list_t *list);
// Return the address in the first entry of a host, which points into the table, or null.
const char *get_ip_address_from_arp(const char *mac, const arp_list_t *list);
const char *get_ip_address_from_dhcp(const char *mac, const dhcp_list_t *list);

// Returns a text in URL form-encoding as a new heap string, which the caller frees; null for a null
// text or when memory runs out.
char *escape_special_chars(const char *text);

// Free the texts of the counted entries, not the table. A null table is allowed.
void bridge_list_free(bridge_fwd_list_t *list);
void arp_list_free(arp_list_t *list);
void dhcp_client_list_free(dhcp_list_t *list);
void wireless_client_list_free(wireless_list_t *list);
void wireless_client_entry_free(wireless_entry_t *entry);

#ifdef __cplusplus
}
#endif

#endif
