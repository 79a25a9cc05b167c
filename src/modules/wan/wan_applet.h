// The wan module: network queries, the WAN information record and the wan status document.
//
// (archive): visible in the static library only; the shared library does not export it. Failures
// that are logged go to the system log as one line of facility LOG_SYSLOG, level LOG_ERR.
#ifndef TARROW_WAN_APPLET_H
#define TARROW_WAN_APPLET_H

#include "tarrow_applets.h"

#ifdef __cplusplus
extern "C" {
#endif

// --- Network queries, for any module ---

// 0 when the text is four decimal numbers of 0 to 255 joined by dots (an empty number counts as 0),
// else -1, logged unless the text is null or empty.
int is_ipv4(const char *p_ip);

// Reads six hexadecimal numbers, separated by any one character each, into e[0..5]: the low eight
// bits of each, FF of one beyond 64 bits. 1 when six were read, else 0 with the other bytes being
// 0; 0 for a null argument.
int ether_atoe(const char *a, unsigned char *e);

// Writes e[0..5] as "00:1A:2B:3C:4D:5E" into a (at least 18 bytes), and nothing for a null
// argument. Answers a.
char *ether_etoa(const unsigned char *e, char *a);

// Writes the first global IPv6 address of an interface, as "/system/sbin/ifconfig" lists it,
// without its prefix length into p_ipv6_address (128 bytes). 1, or 0 when there is none; also 0,
// and nothing runs, for a null argument and for a name that is empty, begins with "-" or does not
// fit the command line.
int get_ipv6_address(const char *p_ifc_name, char *p_ipv6_address);

// Writes a gateway from "/proc/net/route" as dotted text into p_gateway_addr (at least 16 bytes):
// for a name that contains "ccinet" the destination of the first host route, for any other name the
// gateway of the first default route, whichever interface the route is on. 0, or -1 without such a
// route (logged) or for a null argument.
int get_gateway_address(const char *p_ifc_name, char *p_gateway_addr);

// The link of an Ethernet port, of whose name 15 characters count, by ethtool request: 0 up, 1
// down, -1 null name or no socket, -2 when the query failed (failures are logged).
int get_link_status(const char *ifname);

// The name of the Ethernet WAN port that "/usr/app/get_eth_interface.sh" leaves in "/tmp/eth_ifc",
// at most 9 characters, as a new heap text that the caller frees; null when there is no name.
char *get_eth_interface(void);

// The same for the interface that carries the WAN connection: "/usr/app/get_wan_interface.sh" and
// "/tmp/wan_ifc". Without memory for the name the script does not run.
char *get_wan_interface(void);

// 1 when the interface is among the first 10 that have an IPv4 address (letter case ignored), has a
// global IPv6 address, or no interface has an IPv4 address at all; 0 when not; -1 for a null name,
// without a socket or for a failed query (logged), or when memory runs out.
int if_wan_ifc_lives(const char *p_ifc_name);

// Writes one value of an interface as text into p_parameter (at least 18 bytes). cmd is
// SIOCGIFADDR, SIOCGIFDSTADDR or SIOCGIFNETMASK (dotted text) or SIOCGIFHWADDR (as ether_etoa);
// another request is sent, writes nothing and is logged. sock_fd is an open datagram socket, or -1
// for one of its own. 0, or -1 for a null argument, without a socket, for a name of more than 15
// characters or when the request failed (logged).
int get_by_ioctl(int sock_fd, int cmd, const char *p_ifc_name, char *p_parameter);

// The hardware address that "/proc/net/arp" holds for an IPv4 address: a text of at most 17
// characters in a buffer that the next call overwrites, "" when no entry matches or ip is null,
// null when the table cannot be opened.
char *get_mac_from_ip(const char *ip);

// Fills buf (len bytes) with zeros and with the first line of a file, line end included, cut to
// len - 1 characters. 1 when the file could be opened, else 0; 0 for a null argument or no room.
int file_to_buf(const char *path, char *buf, int len);

// --- The WAN information record ---

// Each text is a heap string of the caller's, or null when it is absent.
typedef struct wan_info {
    char *wan_link_status; // "Connected" or "Disconnected" (20 bytes)
    char *wan_conn_type;   // the setting "proto" of module "wan"
    char *wan_conn_status; // first word of "/tmp/wan_conn_status", or "disconnected" (20 bytes)
    char *ip_address;      // "0.0.0.0" when unknown (20 bytes)
    char *ip6_address;     // first global one, "" when none (2048 bytes)
    char *gateway;         // "0.0.0.0" when unknown (20 bytes)
    char *dns1;            // first name server, when it is an IPv4 address (256 bytes)
    char *dns2;            // last of the further ones, likewise (256 bytes)
} wan_info_t;

// (archive) Fills a record that is handed in with all fields absent, as far as the facts and memory
// allow. Always 0.
int wan_info_gather(wan_info_t *p_wan_sys_info);

// Sets wan_link_status (20 bytes, made here when absent) to the link of the Ethernet WAN port. 0,
// or -1 with the field as it was when the link cannot be read (logged), for a null record or
// without memory.
int vexorel_product_get_wan_link_status(wan_info_t *p_wan_sys_info);

// (archive) 0 when "/tmp/wan_disc" holds "0", else -1.
int get_wan_link_status(void);

// --- The wan document ---

// Post-get handler: makes "tarrow:wan" the identity of the process in the system log, starts a SIM
// check where one is due and fills the module's subtree. 0, or -1 for a record without an XML
// subtree.
int wan_get(int flags, dc_args_t *dc);

// Pre-get handler: moves pc_mac to the end of the subtree and fills it with the hardware address of
// the host in "/tmp/local/ip", when that is known. 0, or -1 for a record without an XML subtree.
int wan_pc_mac_get(int flags, dc_args_t *dc);

// (archive) Fills the elements of the wan subtree. Always 1.
int wan_xml_get(mxml_node_t *root);

// (archive) Starts the SIM check, unless one is running ("/tmp/sim_checking_mutex" exists),
// "/tmp/cellular_sim_status" holds 1 (no SIM) or "/tmp/check_sim.txt" holds 0.
void check_sim_status(void);

// Reduces a version text in buff (at least 128 bytes) to its part from "MAIN" up to the first ", "
// after "AP-". The length of the result, or -1 with the text as it was (logged).
int generate_sw_version(char *buff);

#ifdef __cplusplus
}
#endif

#endif
