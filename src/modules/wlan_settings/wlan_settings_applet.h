// The wlan_settings module: the radio channel of the access point.
//
// (archive): only in the static library; the shared library does not export it.
#ifndef TARROW_WLAN_SETTINGS_APPLET_H
#define TARROW_WLAN_SETTINGS_APPLET_H

#include "tarrow_applets.h"

#ifdef __cplusplus
extern "C" {
#endif

// A post-get handler that is in no row of the table: calls openlog for "tarrow:wlan_settings",
// facility LOG_SYSLOG, and fills the element channel. Returns 0; -1 for a record without an XML
// subtree.
int wlan_get(int flags, dc_args_t *dc);

// (archive) Fills the element channel with the stored channel, cut to 19 characters; for an
// automatic channel with the one in use. Returns 1.
int wlan_xml_get(mxml_node_t *root);

// (archive) When the stored channel is automatic ("0"), writes the channel in use into channel (at
// least 20 bytes). That is the first line of "/tmp/channel.txt", which it then deletes. Without the
// file it is the output of "/usr/bin/wapctl sys_cfg_channel", which it waits for and writes to the
// file. Returns 0; -1 for a null channel, and logged when the utility does not start, the file
// cannot be written, or the text does not fit the command that writes it.
int find_channel(char *channel);

#ifdef __cplusplus
}
#endif

#endif
