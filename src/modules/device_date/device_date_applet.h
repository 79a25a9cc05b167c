// The device_date module: the device's local date and time.
//
// THIS MODULE CAN END THE PROCESS. When get_device_date cannot produce the date, it calls exit(1).
// It cannot when memory for 128 bytes runs out, when the clock cannot be read or converted, or when
// the zone's name in TZ has more than 102 characters. Before a daemon calls post-get on
// device_date, it can check that malloc gives it 8 KB, and free them. That is enough memory as long
// as no other thread allocates any. The daemon also checks that no zone name in TZ is longer than
// 102 characters. With the static library, it can call get_date instead, which returns -1.
//
// (archive): only in the static library; the shared library does not export it.
#ifndef TARROW_DEVICE_DATE_APPLET_H
#define TARROW_DEVICE_DATE_APPLET_H

#include "tarrow_applets.h"

#ifdef __cplusplus
extern "C" {
#endif

// Post-get handler: moves "date" to the end of the subtree and fills it with the text of get_date.
// Returns 0, also when there is no "date" or the record is not of type XML; -1 for a null record or
// subtree. Ends the process with status 1 when there is no date (see above).
int get_device_date(int flags, dc_args_t *dc);

// (archive) Writes the local time as "Tue Jan 06 12:00:00 UTC 2026" into a buffer of size bytes, at
// least 128. It reads TZ at each call. Returns 0; -1 for a null or smaller buffer, which it does
// not write to, when the clock or its conversion fails, and when the text does not fit.
int get_date(char *datebuf, int size);

#ifdef __cplusplus
}
#endif

#endif
