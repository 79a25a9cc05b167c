// The wlan_security module: the state of the access point's WPS service.
#ifndef TARROW_WLAN_SECURITY_APPLET_H
#define TARROW_WLAN_SECURITY_APPLET_H

#include "tarrow_applets.h"

#ifdef __cplusplus
extern "C" {
#endif

// Post-get handler: fills two elements of "wlan0" and moves them to its end. ext_registrar is "1"
// when an external registrar is active, else "0". ap_pin is the access point's PIN of eight
// characters. Both are read from files below "/tmp/wsc"; without them they are "0" and "73920518".
// Returns 0; -1 for a record without an XML subtree.
int wlan_security_post_get(int flags, dc_args_t *dc);

#ifdef __cplusplus
}
#endif

#endif
