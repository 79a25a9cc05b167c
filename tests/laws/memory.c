/* The law of memory and descriptors: when allocations of a request are refused, a single one or all
 * from one on, or when it can open only some descriptors or none, the library does not crash, and
 * loses no memory and no descriptor. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>

#include "cfgdb.h"
#include "modules/statistics/stat_api.h"
#include "requests.h"

static long refused_first; /* 1 is the next allocation; 0: none */
static int is_lasting, has_refused;
static long blocks; /* how many there are, without those of the store's engine, which keeps some */

#ifdef TARROW_ASAN
#define REAL(name) __interceptor_##name
#else
#define REAL(name) __libc_##name
#endif
void *REAL(malloc)(size_t size);
void *REAL(calloc)(size_t count, size_t size);
void *REAL(realloc)(void *block, size_t size);
void REAL(free)(void *block);

static int is_called_by(const void *caller, const char *library) {
    Dl_info code;
    return dladdr(caller, &code) != 0 && strstr(code.dli_fname, library) != NULL;
}

/* Counts a block that is asked for, or refuses it. It spares what libmxml allocates after the room
 * for an element's first attribute: libmxml loses that room when it gets none for the name. */
static int is_refused(const void *caller, size_t size) {
    static int is_behind_attribute;
    if (is_called_by(caller, "/libsqlite3.")) {
        return 0;
    }
    const int is_spared = is_behind_attribute;
    is_behind_attribute = size == 2 * sizeof(char *) && is_called_by(caller, "/libmxml.");
    if (refused_first == 0 || is_spared || --refused_first > 0) {
        ++blocks;
        return 0;
    }
    refused_first = is_lasting;
    has_refused = 1;
    return 1;
}

void *malloc(size_t size) {
    return is_refused(__builtin_return_address(0), size) ? NULL : REAL(malloc)(size);
}

void *calloc(size_t count, size_t size) {
    return is_refused(__builtin_return_address(0), count * size) ? NULL : REAL(calloc)(count, size);
}

void *realloc(void *block, size_t size) {
    const long before = blocks;
    if (is_refused(__builtin_return_address(0), 0)) {
        return NULL;
    }
    blocks = block != NULL ? before : blocks;
    return REAL(realloc)(block, size);
}

void free(void *block) {
    blocks -= block != NULL && !is_called_by(__builtin_return_address(0), "/libsqlite3.");
    REAL(free)(block);
}

char *strdup(const char *text) { /* the sanitizer's own does not call malloc */
    char *copy = malloc(strlen(text) + 1);
    return copy != NULL ? strcpy(copy, text) : NULL;
}

int __real_system(const char *line);

static void limit_descriptors(int end) {
    const struct rlimit limit = {(rlim_t)end, 1024};
    setrlimit(RLIMIT_NOFILE, &limit);
}

/* Without memory the store's engine gives up the descriptor that it keeps. */
static int descriptors_with_store(void) {
    cfgdb_match__("wan", "", "", "");
    return open_descriptors();
}

/* Makes a request with the allocation of a number refused, and with descriptors below a limit only.
 * Gives whether it leaves a descriptor, or closes one. */
static int try(const struct request *request, long first, int limit) {
    const int is_page = *request->page == '<', descriptors = descriptors_with_store();
    dc_args_t record = begin_request(request, -1, is_page ? "1" : "Cafe#1###USB m#2###WLAN");
    mxml_node_t *list =
        is_page ? record.dc_data.dc_subnode : mxmlNewElement(MXML_NO_PARENT, "list");
    if (strcmp(request->module, "sms") == 0) { /* whose files a request takes away */
        __real_system("cd /tmp/telephony/sms; : > .save; : > .send; echo '1#2#3#4' > .list_dev");
    }
    limit_descriptors(limit);
    refused_first = first;
    run_request(request, &record);
    if (strcmp(request->module, "statistics") == 0) {
        stat_client_main();
    }
    if (!is_page) {
        char *text;
        dl_dlist_to_xmllist(record.dc_data.dc_dlist, list);
        dl_xmllist_to_dlist(list, record.dc_data.dc_dlist);
        dl_dlist_to_variable(&text, record.dc_data.dc_dlist, '#', ' ');
        dl_variable_to_dlist_alloc(text, record.dc_data.dc_dlist, 1, '#', ' ');
        free(text);
    }
    refused_first = 0;
    limit_descriptors(1024);
    mxmlDelete(is_page ? NULL : list);
    end_request(&record);
    return descriptors_with_store() != descriptors;
}

/* Gives whether a request loses something. The C library keeps a block for the time zone, which
 * is there after the first request and after the last. */
static int loses(const struct request *request) {
    int count = try(request, 0, 1024);
    const long blocks_before = blocks;
    for (is_lasting = 0; is_lasting < 2; ++is_lasting) {
        has_refused = 1;
        for (long first = 1; has_refused; ++first) {
            has_refused = 0;
            count += try(request, first, 1024);
        }
    }
    for (int limit = 12; limit > 0; --limit) {
        count += try(request, 0, limit);
    }
    return count + try(request, 0, 1024) > 0 || blocks > blocks_before;
}

int main(void) {
    setvbuf(stdout, NULL, _IONBF, 0); /* or the first text would need a buffer that stays */
    set_up_requests();
    canned_output = "1\n\nMAC Address: 02:00:00:00:01:64\n1 02:00:00:00:01:64 no 1\n";
    __real_system(
        "cfgdb_cmd set wan proto cellular; echo ccinet0 > /tmp/wan_ifc; echo 0 > /tmp/wan_disc; "
        "echo 0 > /tmp/telephony/mep_category; echo 500 > /tmp/telephony/sms/.capacity_sim");
    for (size_t number = 0; number < request_count; ++number) {
        if (loses(requests + number)) {
            printf("%s %s loses memory or a descriptor\n", requests[number].module,
                   requests[number].page);
            return 1;
        }
    }
    return 0;
}
