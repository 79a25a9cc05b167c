// The statistics module: traffic of the WAN interface, the USB link and the access point, and of
// the billing period.
//
// Units: the kernel counts packets, dropped packets, errors and collisions since the interface was
// created. Bytes, gigabytes and speeds are in the statistics server's units, which this library
// passes through; stat_api.h gives those of the development server.
//
// Blocking: each read of an interface's counters is one exchange with the server, and wan_accu_get
// is two. stat_api.h says how long an exchange waits.
//
// (archive): only in the static library; the shared library does not export it.
#ifndef TARROW_STATISTICS_APPLET_H
#define TARROW_STATISTICS_APPLET_H

#include <stdint.h>

#include "stat_api.h"
#include "tarrow_applets.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct rx {
    int32_t received; // packets
    int32_t dropped;  // packets
} rx_t;

typedef struct tx {
    uint32_t sent;   // packets
    int32_t dropped; // packets
    int32_t collisions;
} tx_t;

// The counters of one interface. A kernel counter is the low 32 bits of its first 19 characters;
// the page shows it as a signed number.
typedef struct statistics {
    rx_t rx;
    tx_t tx;
    uint32_t errors;    // receive and transmit errors together
    uint32_t rx_gbytes; // in the server's unit
    uint32_t rx_bytes;  // in addition to rx_gbytes
    uint32_t tx_gbytes; // in the server's unit
    uint32_t tx_bytes;  // in addition to tx_gbytes
} statistics_t;

// Post-get handler: reads the counters of the WAN interface, "usb" and "uap0", the WAN totals of
// the billing period and the WAN speeds. It makes all five exchanges, whatever the page asks for.
// It fills these elements, and moves each to the end of its group:
//  - WanStatistics, LanStatistics, WlanStatistics: rx, tx, rx_giga_bytes, tx_giga_bytes, rx_bytes,
//    tx_bytes, errors
//  - only WlanStatistics: rx_dropped, tx_collisions, tx_dropped
//  - WanStatisticsAccu: rx_bytes, tx_bytes, rx_giga_bytes, tx_giga_bytes, rx_speed, tx_speed
// Returns 0; -1 for a record without an XML subtree and when memory for the counters runs out.
int stat_get(int flags, dc_args_t *dc);

// All below: (archive). The caller provides a zero-filled record. A counter whose file is missing
// does not change. Byte totals are 0 when the server does not answer.

// Reads the counters of an interface from "/sys/class/net" and from the server. Returns 1; for a
// null argument it reads nothing.
int statistics_get(const char *interface, statistics_t *record);

// Reads the receive counters of an interface, and adds up the transmit counters of its virtual
// access points 0 to 7. It skips those whose operstate cannot be opened or contains "down". Sets
// errors, and leaves the byte totals as they are. Returns 0; -1 for a null argument, which it
// reports on standard output.
int statistics_get_mbss(const char *interface, statistics_t *record);

// Read the counters of an interface and fill its group. They return 0; -1 when there is no WAN
// interface.
int wan_stat_get(mxml_node_t *root, statistics_t *record);
int lan_stat_get(mxml_node_t *root, statistics_t *record);
int wlan_stat_get(mxml_node_t *root, statistics_t *record);

// Requests the WAN totals of the billing period and the WAN speeds from the server, and fills
// "WanStatisticsAccu". Does not use the record. Returns 1; -1 when there is no WAN interface.
int wan_accu_get(mxml_node_t *root, statistics_t *record);

// Fills one group of the subtree, if the page has it. Returns 1.
int stat_xml_get(mxml_node_t *root, const statistics_t *record, const char *group);

// Sets day, month and year of the billing period: from the day of the setting "StatisticsStartDay",
// which is 1 when it is absent, to today. Reads TZ at each call.
void get_start_end_date(stat_time_t *start, stat_time_t *end);

#ifdef __cplusplus
}
#endif

#endif
