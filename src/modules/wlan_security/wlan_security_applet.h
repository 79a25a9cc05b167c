// The wlan_security module: the state of the access point's WPS service.
#ifndef TARROW_WLAN_SECURITY_APPLET_H
#define TARROW_WLAN_SECURITY_APPLET_H

#include "tarrow_applets.h"

#ifdef __cplusplus
extern "C" {
#endif

// Post-get handler: below wlan0 moves ext_registrar and ap_pin to the end and fills them with "1"
// or "0" (whether an external registrar is active) and with the access point's PIN of eight
// characters, from the files below "/tmp/wsc": "0" and "73920518" without them. 0, or -1 for a
// record without an XML subtree.
int wlan_security_post_get(int flags, dc_args_t *dc);

#ifdef __cplusplus
}
#endif

#endif
