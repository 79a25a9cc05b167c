// The upgrade_status module: how far the writing of a firmware image has come.
#ifndef TARROW_UPGRADE_STATUS_APPLET_H
#define TARROW_UPGRADE_STATUS_APPLET_H

#include "tarrow_applets.h"

#ifdef __cplusplus
extern "C" {
#endif

// Pre-get handler: moves "progress" to the end of the subtree and fills it with a figure that goes
// from 1 (nothing written, or a total of 0) to 101 (all), at most 9 characters, made of the counts
// in "/tmp/wrote_bytes.txt" and "/tmp/total_bytes.txt". 0, also when a file is missing or empty and
// the subtree stays as it is; -1 for a record without an XML subtree.
int get_upgrade_status(int flags, dc_args_t *dc);

#ifdef __cplusplus
}
#endif

#endif
