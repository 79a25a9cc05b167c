// The statistics module: traffic of the WAN interface, the USB link and the access point, and of
// the billing period.
//
// (archive): visible in the static library only; the shared library does not export it.
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
    int32_t dropped;
} rx_t;

typedef struct tx {
    uint32_t sent; // packets
    int32_t dropped;
    int32_t collisions;
} tx_t;

// One interface's counters. Of the kernel's the low 32 bits of the first 19 characters count.
typedef struct statistics {
    rx_t rx;
    tx_t tx;
    uint32_t errors; // receive and transmit errors
    uint32_t rx_gbytes;
    uint32_t rx_bytes; // beyond the whole gigabytes
    uint32_t tx_gbytes;
    uint32_t tx_bytes;
} statistics_t;

// Post-get handler: reads the counters of the WAN interface, "usb" and "uap0", the WAN totals of
// the billing period and the WAN speeds, and fills the groups of the subtree. 0, or -1 for a record
// without an XML subtree or when memory for the counters runs out.
int stat_get(int flags, dc_args_t *dc);

// All below: (archive). A record is handed in zero-filled; a counter without a source stays as it
// is; byte totals without an answer are 0.

// Counters of one interface, from "/sys/class/net" and the statistics server. Always 1; a null
// argument reads nothing.
int statistics_get(const char *interface, statistics_t *record);

// Receive counters of an interface, and transmit counters summed over those of its virtual access
// points 0 to 7 whose operstate can be opened and does not contain "down". errors is counted anew,
// the byte totals are not touched. 0, or -1 for a null argument (written to standard output).
int statistics_get_mbss(const char *interface, statistics_t *record);

// Each reads its interface's counters and fills its group: 0, or -1 when no WAN interface is known.
int wan_stat_get(mxml_node_t *root, statistics_t *record);
int lan_stat_get(mxml_node_t *root, statistics_t *record);
int wlan_stat_get(mxml_node_t *root, statistics_t *record);

// Asks the server for the WAN totals of the billing period and the WAN speeds, and fills
// "WanStatisticsAccu". 1, or -1 when no WAN interface is known. The record is not consulted.
int wan_accu_get(mxml_node_t *root, statistics_t *record);

// Fills one group of the subtree, when it is there. Always 1.
int stat_xml_get(mxml_node_t *root, const statistics_t *record, const char *group);

// Day, month and year of the billing period: from the setting "StatisticsStartDay" (1 when it is
// absent) up to today.
void get_start_end_date(stat_time_t *start, stat_time_t *end);

#ifdef __cplusplus
}
#endif

#endif
