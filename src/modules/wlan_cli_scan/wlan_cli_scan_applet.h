// The wlan_cli_scan module: the networks that the device's Wi-Fi client sees.
#ifndef TARROW_WLAN_CLI_SCAN_APPLET_H
#define TARROW_WLAN_CLI_SCAN_APPLET_H

#include "tarrow_applets.h"

#ifdef __cplusplus
extern "C" {
#endif

// Post-get handler for the scan list, a table whose field 0 is the SSID. Adds the columns
// "connected", "key_mgmt" and "ip_address", and fills them for the networks with the SSID that is
// in "/tmp/wifi_status.txt". Writes the compared texts to "/tmp/wifi_conn_test.log". The table does
// not change when the file is missing or three more columns do not fit; an empty file only adds the
// columns. Returns 0; -1 for a record without a table.
int wlan_cli_scan_post_get(int flags, dc_args_t *dc);

#ifdef __cplusplus
}
#endif

#endif
