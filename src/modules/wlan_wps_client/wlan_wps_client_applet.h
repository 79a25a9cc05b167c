// The wlan_wps_client module: the result of the last WPS run.
#ifndef TARROW_WLAN_WPS_CLIENT_APPLET_H
#define TARROW_WLAN_WPS_CLIENT_APPLET_H

#include "tarrow_applets.h"

#ifdef __cplusplus
extern "C" {
#endif

// Post-get handler: moves wps_result to the end of the subtree and fills it with the first
// character of "/tmp/wps/wps_result", or with "0". Returns 0; -1 for a record without an XML
// subtree.
int wlan_wps_client_post_get(int flags, dc_args_t *dc);

// Pre-set handler: does nothing, and thereby keeps the module's pre-set script from running.
// Returns 0.
int wlan_wps_client_pre_set(int flags, dc_args_t *dc);

#ifdef __cplusplus
}
#endif

#endif
