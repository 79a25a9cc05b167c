/* Requests of all modules with handlers, for what holds for each of them. */
#pragma once

#include <stddef.h>

#include "tarrow_applets.h"

#ifdef __cplusplus
extern "C" {
#endif
#include "../support/support.h"

struct request {
    const char *module;
    const char *page; /* "?" stands where a text is posted; or the names of a table's columns */
};
extern const struct request requests[];
extern const size_t request_count;

/* Makes a request with a text in the place of the page's "?" of that number, from 0, and "42" in
 * the others; -1: in each place. For a table the text holds its records. Gives the page or table,
 * which end_request releases. */
dc_args_t begin_request(const struct request *request, int place, const char *text);
int count_places(const struct request *request);
void run_request(const struct request *request, dc_args_t *record);
void end_request(dc_args_t *record);

/* Lets the log, the clock and the serial console be no matter of the test. */
void set_up_requests(void);

#ifdef __cplusplus
}
#endif
