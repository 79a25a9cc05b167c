// The client side of the statistics server's protocol. A client writes its request to the server's
// pipe "/tmp/stat_server_fifo" and reads the answer from a pipe of its own,
// "/tmp/stat_client_PID_fifo".
//
// Lock: "/tmp/.sflck" lets one process at a time make a request. A process that dies during a
// request leaves it behind: then every request fails, 5 seconds each, until somebody removes it.
//
// Blocking: a request waits up to 5 seconds for the lock. Then it waits, without a limit and with
// the lock held, for a server that has the request and does not answer it. Without a server it
// fails at once.
//
// Threads: one thread of a process at a time. Errors go to standard error.
//
// (archive): only in the static library; the shared library does not export it.
#ifndef TARROW_STAT_API_H
#define TARROW_STAT_API_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Operations of the server.
typedef enum { OP_RESET = 0, OP_ACCU_GET = 1, OP_SPEED_GET = 2, OP_END = 3 } opcode_t;

// Directions. Of a payload: request or answer. Of a pipe: open for reading or for writing.
typedef enum { IO_INPUT = 0, IO_OUTPUT = 1 } io_t;

// The period of the totals.
typedef enum {
    ST_CURRENT = 0, // the current connection; the dates are 0
    ST_ACCU = 1     // from start_date to end_date
} accu_type_t;

// Client and server write all records to the pipes as they are: 32-bit fields, little-endian.
typedef struct io_meta_data {
    int32_t op;     // opcode_t
    int32_t cpid;   // process id of the client, which names its answer pipe
    uint32_t dsize; // bytes of the payload that follows
} io_meta_data_t;

// A calendar time in the layout of the device's C library, which differs from that of others.
typedef struct stat_time {
    int32_t tm_sec;
    int32_t tm_min;
    int32_t tm_hour;
    int32_t tm_mday; // 1 to 31
    int32_t tm_mon;  // 0 to 11
    int32_t tm_year; // since 1900
    int32_t tm_wday;
    int32_t tm_yday;
    int32_t tm_isdst;
    int32_t tm_gmtoff;
    uint32_t tm_zone; // always 0
} stat_time_t;

typedef struct reset_input {
    char interface[16];
} reset_input_t;

typedef struct reset_output {
    int32_t ret; // the server's status
} reset_output_t;

typedef struct accu_get_input {
    char interface[16];
    int32_t accu_type; // accu_type_t
    stat_time_t start_date;
    stat_time_t end_date;
} accu_get_input_t;

// Totals in the server's units, which this library passes through. For the development server a
// gigabyte has 2^30 bytes, and connect_time is in seconds since the data connection began.
typedef struct accu_get_output {
    uint32_t rx_bytes; // in addition to rx_gbytes
    uint32_t rx_gbytes;
    uint32_t tx_bytes; // in addition to tx_gbytes
    uint32_t tx_gbytes;
    int32_t connect_time;
} accu_get_output_t;

typedef struct speed_get_input {
    char interface[16];
} speed_get_input_t;

// Speeds in the server's unit, which this library passes through. The development server gives
// bytes per second, as the mean of the last 3 seconds.
typedef struct speed_get_output {
    uint32_t rx_speed;
    uint32_t tx_speed;
} speed_get_output_t;

// All operations: (archive).

// Makes one request. input and output have the sizes of get_data_size. Returns 1 after the request,
// even when writing or reading failed: where no answer arrived, output does not change. Returns -1,
// without a request, when the server's pipe cannot be opened, when the lock cannot be taken within
// 5 seconds, for another operation or a null buffer, and when memory runs out.
int call_server_func(opcode_t op, const void *input, void *output);

// Returns the size of an operation's payload in bytes; 0 for another direction or operation.
uint32_t get_data_size(io_t direction, opcode_t op);

// Allocate a zero-filled block, or return null, and free it.
io_meta_data_t *alloc_meta(void);
void free_meta(io_meta_data_t *meta);
void *alloc_data(uint32_t size);
void free_data(void *data);

// Takes the lock. Returns 1, or -1 after 10 tries with half a second after each.
int enter_lock(void);
void exit_lock(void);

// Write or read a whole record. They return 1; -1 for a negative descriptor, a null record, and a
// short or failed transfer, which they report on standard error. Writing to a pipe without a reader
// raises no signal.
int write_io_meta_data(int fd, const io_meta_data_t *meta);
int write_io_data(int fd, uint32_t size, const void *data);
int read_io_meta_data(int fd, io_meta_data_t *meta);
int read_io_data(int fd, uint32_t size, void *data);

// Creates the answer pipe of a process if it does not exist, and opens it for reading (IO_INPUT) or
// writing (IO_OUTPUT). Waits, without a limit, until the other side opens it. Returns a descriptor,
// which the caller closes, or -1.
int get_client_fifo(io_t direction, int32_t pid);
// Removes the name of the calling process's answer pipe.
void remove_client_fifo(void);

// The operations of the server. They return the result of call_server_func.
int stat_reset(const reset_input_t *input, reset_output_t *output);
int stat_accu_get(const accu_get_input_t *input, accu_get_output_t *output);
int stat_speed_get(const speed_get_input_t *input, speed_get_output_t *output);

// Makes one request of each operation and prints the answers. Returns 0.
int stat_client_main(void);

#ifdef __cplusplus
}
#endif

#endif
