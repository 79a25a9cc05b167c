// The serial trace: short messages to the device's serial console, "/dev/ttyS0".
//
// Each call opens and closes the console. It blocks while the console accepts no data. Messages of
// several processes can mix.
#ifndef TARROW_LOG_H
#define TARROW_LOG_H

#ifdef __cplusplus
extern "C" {
#endif

// Writes msg to the serial console and adds nothing, not even a line end. A null msg is as an empty
// one. prio and tag are not used. Returns the result of closing the console; -1 when it cannot be
// opened.
int __tarrow_log_write(int prio, const char *tag, const char *msg);

// The same for a text that it formats as printf does and cuts to 255 characters. -1 for a null fmt.
int __tarrow_log_print(int prio, const char *tag, const char *fmt, ...)
    __attribute__((format(printf, 3, 4)));

#ifdef __cplusplus
}
#endif

#endif
