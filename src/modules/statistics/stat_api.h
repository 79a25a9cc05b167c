// The statistics server's protocol, from the client's side: requests through the server's pipe,
// answers through a pipe of the asking process, one request at a time on the whole device.
//
// Errors of an exchange are written to standard error.
//
// (archive): visible in the static library only; the shared library does not export it.
#ifndef TARROW_STAT_API_H
#define TARROW_STAT_API_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Operations of the server.
typedef enum { OP_RESET = 0, OP_ACCU_GET = 1, OP_SPEED_GET = 2, OP_END = 3 } opcode_t;

// Directions: of a payload, the request's or the answer's; of a pipe, to read from or to write to.
typedef enum { IO_INPUT = 0, IO_OUTPUT = 1 } io_t;

// Which totals are asked for.
typedef enum {
    ST_CURRENT = 0, // of the current connection; the dates are 0
    ST_ACCU = 1     // from start_date to end_date
} accu_type_t;

// All records go over the pipes as they are: 32-bit fields, little-endian.
typedef struct io_meta_data {
    int32_t op;     // opcode_t
    int32_t cpid;   // process id of the client, which names its answer pipe
    uint32_t dsize; // bytes of the payload that follows
} io_meta_data_t;

// A calendar time as the device's C library lays it out, whatever this one does.
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

typedef struct accu_get_output {
    uint32_t rx_bytes; // beyond the whole gigabytes
    uint32_t rx_gbytes;
    uint32_t tx_bytes;
    uint32_t tx_gbytes;
    int32_t connect_time;
} accu_get_output_t;

typedef struct speed_get_input {
    char interface[16];
} speed_get_input_t;

typedef struct speed_get_output {
    uint32_t rx_speed;
    uint32_t tx_speed;
} speed_get_output_t;

// All operations: (archive).

// One request. input and output hold as many bytes as get_data_size says. 1 once the request was
// sent, whatever came of it: output keeps what it held where no answer arrived. -1, and nothing is
// sent, when the server's pipe cannot be opened, the lock "/tmp/.sflck" cannot be taken within
// about 5 seconds, there is no such operation, a buffer is null or memory runs out.
int call_server_func(opcode_t op, const void *input, void *output);

// Bytes of an operation's payload; 0 for another direction or operation.
uint32_t get_data_size(io_t direction, opcode_t op);

// New zero-filled blocks, or null; their counterparts free them.
io_meta_data_t *alloc_meta(void);
void free_meta(io_meta_data_t *meta);
void *alloc_data(uint32_t size);
void free_data(void *data);

// 1 when the lock is held, -1 when it could not be taken in 10 tries half a second apart.
int enter_lock(void);
void exit_lock(void);

// One transfer of a whole record: 1, or -1 for a negative descriptor, a null record, or a short or
// failed transfer (this one written to standard error). Writing to a pipe whose reader is gone
// raises no signal.
int write_io_meta_data(int fd, const io_meta_data_t *meta);
int write_io_data(int fd, uint32_t size, const void *data);
int read_io_meta_data(int fd, io_meta_data_t *meta);
int read_io_data(int fd, uint32_t size, void *data);

// Makes the answer pipe of a process unless it exists, and opens it for reading (IO_INPUT) or
// writing (IO_OUTPUT), waiting for the other side. A descriptor that the caller closes, or -1.
int get_client_fifo(io_t direction, int32_t pid);
// Removes the name of the calling process's answer pipe.
void remove_client_fifo(void);

// The operations with their records; the result of call_server_func.
int stat_reset(const reset_input_t *input, reset_output_t *output);
int stat_accu_get(const accu_get_input_t *input, accu_get_output_t *output);
int stat_speed_get(const speed_get_input_t *input, speed_get_output_t *output);

// Asks the server for one of each and prints the answers. Always 0.
int stat_client_main(void);

#ifdef __cplusplus
}
#endif

#endif
