// The wlan_cli_scan module: the networks that the device's Wi-Fi client sees.
#ifndef TARROW_WLAN_CLI_SCAN_APPLET_H
#define TARROW_WLAN_CLI_SCAN_APPLET_H

#include "tarrow_applets.h"

#ifdef __cplusplus
extern "C" {
#endif

// Post-get handler for the scan list, whose field 0 is the SSID: adds the columns "connected",
// "key_mgmt" and "ip_address" and fills them for each network that bears the SSID in
// "/tmp/wifi_status.txt"; traces what it compares in "/tmp/wifi_conn_test.log". A table without
// room for three more columns, or for which there is no such file, stays as it was; an empty file
// adds the columns alone. 0, or -1 for a record without a table.
int wlan_cli_scan_post_get(int flags, dc_args_t *dc);

#ifdef __cplusplus
}
#endif

#endif
