// The serial trace: short messages to the device's serial console, "/dev/ttyS0".
#ifndef TARROW_LOG_H
#define TARROW_LOG_H

#ifdef __cplusplus
extern "C" {
#endif

// Writes the characters of msg, with nothing added and none for null, to the serial console. prio
// and tag are not used. Answers the result of closing the console, or -1 when it cannot be opened.
int __tarrow_log_write(int prio, const char *tag, const char *msg);

// Formats as printf does, cuts at 255 characters and writes the text as above. -1 for a null fmt.
int __tarrow_log_print(int prio, const char *tag, const char *fmt, ...)
    __attribute__((format(printf, 3, 4)));

#ifdef __cplusplus
}
#endif

#endif
