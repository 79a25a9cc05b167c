// The device_date module: the device's local date and time.
//
// (archive): visible in the static library only; the shared library does not export it.
#ifndef TARROW_DEVICE_DATE_APPLET_H
#define TARROW_DEVICE_DATE_APPLET_H

#include "tarrow_applets.h"

#ifdef __cplusplus
extern "C" {
#endif

// Post-get handler: moves "date" to the end of the subtree and fills it with the text of get_date.
// 0, also without such an element or for a record that carries no XML; -1 for a null record or
// subtree. A date that cannot be produced, for want of memory too, ends the process with status 1.
int get_device_date(int flags, dc_args_t *dc);

// (archive) The local time now as "Tue Jan 06 12:00:00 UTC 2026", in a buffer of size bytes. 0; -1
// for a null buffer or fewer than 128 bytes (then nothing is written), or when the clock or its
// conversion fails.
int get_date(char *datebuf, int size);

#ifdef __cplusplus
}
#endif

#endif
