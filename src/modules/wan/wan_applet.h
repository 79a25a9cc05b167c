// The wan module: network queries, the WAN information record and the wan status document.
//
// Blocking: get_ipv6_address, get_eth_interface, get_wan_interface, if_wan_ifc_lives and the
// operations on the record and the document run scripts or ifconfig, and wait for them without a
// limit. The other queries only read kernel files or make a request on a socket.
//
// "Logged" is one line in the system log: facility LOG_SYSLOG, level LOG_ERR.
//
// (archive): only in the static library; the shared library does not export it.
#ifndef TARROW_WAN_APPLET_H
#define TARROW_WAN_APPLET_H

#include "tarrow_applets.h"

#ifdef __cplusplus
extern "C" {
#endif

// --- Network queries, for any module ---

// Returns 0 when the text is four decimal numbers of 0 to 255 with dots between them; an empty
// number counts as 0. Else returns -1, logged unless the text is null or empty.
int is_ipv4(const char *p_ip);

// Reads six hexadecimal numbers with any one character between them into e[0..5]. Each gives its
// low 8 bits; one of more than 64 bits gives FF. Returns 1. Returns 0 for fewer numbers, whose
// remaining bytes are 0, and for a null argument.
int ether_atoe(const char *a, unsigned char *e);

// Writes e[0..5] as "00:1A:2B:3C:4D:5E" into a, which has at least 18 bytes. Does nothing for a
// null argument. Returns a.
char *ether_etoa(const unsigned char *e, char *a);

// Writes the first global IPv6 address of an interface into p_ipv6_address (128 bytes): as printed
// by "/system/sbin/ifconfig", without its prefix length. Returns 1; 0 when there is none. Returns
// 0, and runs nothing, for a null argument and for a name that is empty, begins with "-" or does
// not fit the command line.
int get_ipv6_address(const char *p_ifc_name, char *p_ipv6_address);

// Writes a gateway from "/proc/net/route" as dotted text into p_gateway_addr (at least 16 bytes).
// For a name with "ccinet" in it, that is the destination of the first host route; for other names
// the gateway of the first default route. Both can be routes of another interface. Returns 0; -1
// for a null argument and, logged, when there is no such route.
int get_gateway_address(const char *p_ifc_name, char *p_gateway_addr);

// Returns the link state of an Ethernet port from an ethtool request: 0 up, 1 down. Returns,
// logged, -1 for a null name and without a socket, and -2 when the request fails. The name is cut
// to 15 characters.
int get_link_status(const char *ifname);

// Runs "/usr/app/get_eth_interface.sh" and returns the name of the Ethernet WAN port, which the
// script writes to "/tmp/eth_ifc": at most 9 characters, a new heap string, which the caller frees.
// Returns null when there is no name.
char *get_eth_interface(void);

// The same for the interface of the WAN connection, "/usr/app/get_wan_interface.sh" and
// "/tmp/wan_ifc". Does not run the script when memory for the name runs out.
char *get_wan_interface(void);

// Returns 1 when the interface is among the first 10 with an IPv4 address (in any letter case),
// when it has a global IPv6 address, and when no interface has an IPv4 address; else 0. Returns -1
// when memory runs out and, logged, for a null name, without a socket and when the request fails.
int if_wan_ifc_lives(const char *p_ifc_name);

// Writes one value of an interface as text into p_parameter (at least 18 bytes). cmd is
// SIOCGIFADDR, SIOCGIFDSTADDR or SIOCGIFNETMASK (dotted text), or SIOCGIFHWADDR (as ether_etoa).
// Another request is made and logged, and writes nothing. sock_fd is an open datagram socket; with
// -1 the call opens one for itself. Returns 0. Returns -1, logged, for a null argument, without a
// socket, for a name of more than 15 characters and when the request fails.
int get_by_ioctl(int sock_fd, int cmd, const char *p_ifc_name, char *p_parameter);

// Returns the hardware address of an IPv4 address from "/proc/net/arp", at most 17 characters, in a
// buffer that the next call overwrites. Returns "" when there is no entry or ip is null, and null
// when the table cannot be opened.
char *get_mac_from_ip(const char *ip);

// Reads the first line of a file into buf (len bytes), with its line end and cut to len - 1
// characters, and fills the rest with zeros. Returns 1; 0 when the file cannot be opened, for a
// null argument and for a len below 1.
int file_to_buf(const char *path, char *buf, int len);

// --- The WAN information record ---

// Each text is null or a heap string, which belongs to the record's owner. To release a record,
// call free() on each of its eight texts; it has nothing else.
typedef struct wan_info {
    char *wan_link_status; // "Connected" or "Disconnected" (20 bytes)
    char *wan_conn_type;   // the setting "proto" of module "wan"
    char *wan_conn_status; // first word of "/tmp/wan_conn_status", or "disconnected" (20 bytes)
    char *ip_address;      // "0.0.0.0" when unknown (20 bytes)
    char *ip6_address;     // first global one, "" when none (2048 bytes)
    char *gateway;         // "0.0.0.0" when unknown (20 bytes)
    char *dns1;            // first name server, if it is an IPv4 address (256 bytes)
    char *dns2;            // last other name server, if it is an IPv4 address (256 bytes)
} wan_info_t;

// (archive) Fills a record whose fields are all null. A field stays null when there is nothing to
// fill it with, or memory runs out. Returns 0.
int wan_info_gather(wan_info_t *p_wan_sys_info);

// Sets wan_link_status to the link state of the Ethernet WAN port; allocates its 20 bytes when it
// is null. Returns 0. Returns -1, without a change, for a null record, when memory runs out and,
// logged, when the link state cannot be read.
int vexorel_product_get_wan_link_status(wan_info_t *p_wan_sys_info);

// (archive) Returns 0 when "/tmp/wan_disc" contains "0", else -1.
int get_wan_link_status(void);

// --- The wan document ---

// Post-get handler: calls openlog for "tarrow:wan", facility LOG_SYSLOG, runs a SIM check when one
// is due, and fills the elements of wan_xml_get. Returns 0; -1 for a record without an XML subtree.
int wan_get(int flags, dc_args_t *dc);

// Pre-get handler: moves pc_mac to the end of the subtree and fills it with the hardware address of
// the host in "/tmp/local/ip". Without such an address the subtree does not change. Returns 0; -1
// for a record without an XML subtree.
int wan_pc_mac_get(int flags, dc_args_t *dc);

// (archive) Fills these elements of the wan subtree:
//  - its children ConnType, ip4, ip6, wan_link_status, wan_conn_status, gateway, dns1, dns2
//  - the children of "cellular": conn_days, conn_hours, conn_minutes, conn_seconds, spn, roaming,
//    rssi, isp, act, sim_status, pin_status, pin_attempts, puk_attempts
// It does not fill "msisdn" of "cellular", for which the device only begins to fetch the number.
// Returns 1.
int wan_xml_get(mxml_node_t *root);

// (archive) Runs the SIM check and waits for it, unless a check is running (the file
// "/tmp/sim_checking_mutex" exists), "/tmp/cellular_sim_status" is 1 (no SIM) or
// "/tmp/check_sim.txt" is 0 (no check is due).
void check_sim_status(void);

// Cuts a version text in buff (at least 128 bytes) to the part from "MAIN" to the first ", " after
// "AP-", including that. Returns its length; -1, logged, when the text has another form, and then
// does not change it.
int generate_sw_version(char *buff);

#ifdef __cplusplus
}
#endif

#endif
