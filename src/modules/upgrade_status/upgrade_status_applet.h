// The upgrade_status module: the progress of a firmware upgrade.
#ifndef TARROW_UPGRADE_STATUS_APPLET_H
#define TARROW_UPGRADE_STATUS_APPLET_H

#include "tarrow_applets.h"

#ifdef __cplusplus
extern "C" {
#endif

// Pre-get handler: moves "progress" to the end of the subtree and fills it with the percentage of
// "/tmp/total_bytes.txt" that "/tmp/wrote_bytes.txt" is, plus 1: from 1 for none to 101 for all, at
// most 9 characters. A total of 0 gives 1. The subtree does not change when a file is missing or
// empty. Returns 0; -1 for a record without an XML subtree.
int get_upgrade_status(int flags, dc_args_t *dc);

#ifdef __cplusplus
}
#endif

#endif
