// The wlan_settings module: the radio channel of the access point.
//
// (archive): visible in the static library only; the shared library does not export it.
#ifndef TARROW_WLAN_SETTINGS_APPLET_H
#define TARROW_WLAN_SETTINGS_APPLET_H

#include "tarrow_applets.h"

#ifdef __cplusplus
extern "C" {
#endif

// A handler that no row names: makes "tarrow:wlan_settings" the identity of the process in the
// system log and fills the element channel. 0, or -1 for a record without an XML subtree.
int wlan_get(int flags, dc_args_t *dc);

// (archive) Fills the element channel of the subtree with the stored channel, cut to 19 characters,
// or with the one in use when that is automatic. Always 1.
int wlan_xml_get(mxml_node_t *root);

// (archive) Replaces the text of an automatic channel ("0" in the store) in channel (at least 20
// bytes) with the channel in use: the first line of "/tmp/channel.txt", which is deleted, or what
// "/usr/bin/wapctl sys_cfg_channel" says, which is left in that file. 0, or -1 when the utility
// cannot be started or the file cannot be written (logged), and for a null channel. A text that
// does not fit the command that writes the file is not cut: the file is not written.
int find_channel(char *channel);

#ifdef __cplusplus
}
#endif

#endif
