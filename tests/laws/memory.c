/* The law of memory and descriptors: when allocations of a request are refused, a single one or all
 * from one on, or when it can open only some descriptors or none, the library does not crash, and
 * loses no memory and no descriptor. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>

#include "cfgdb.h"
#include "modules/statistics/stat_api.h"
#include "requests.h"

static long refused_first; /* 1 is the next allocation; 0: none */
static int is_lasting, has_refused;

#ifdef TARROW_ASAN
#define REAL(name) __interceptor_##name
#else
#define REAL(name) __libc_##name
#endif
void *REAL(malloc)(size_t size);
void *REAL(calloc)(size_t count, size_t size);
void *REAL(realloc)(void *block, size_t size);
__attribute__((weak)) int __lsan_do_recoverable_leak_check(void);

/* The store's engine keeps blocks for later and is spared; so is what libmxml allocates behind the
 * room for an element's first attribute, which it loses without the attribute's name. */
static int is_refused(const void *caller, size_t size) {
    static int is_behind_attribute;
    Dl_info code = {0};
    const char *file = refused_first != 0 && dladdr(caller, &code) != 0 ? code.dli_fname : "";
    const int is_spared = is_behind_attribute || strstr(file, "/libsqlite3.") != NULL;
    is_behind_attribute = strstr(file, "/libmxml.") != NULL && size == 2 * sizeof(char *);
    if (refused_first == 0 || is_spared || --refused_first > 0) {
        return 0;
    }
    refused_first = is_lasting;
    has_refused = 1;
    errno = ENOMEM;
    return 1;
}

void *malloc(size_t size) {
    return is_refused(__builtin_return_address(0), size) ? NULL : REAL(malloc)(size);
}

void *calloc(size_t count, size_t size) {
    return is_refused(__builtin_return_address(0), count * size) ? NULL : REAL(calloc)(count, size);
}

void *realloc(void *block, size_t size) {
    return is_refused(__builtin_return_address(0), 0) ? NULL : REAL(realloc)(block, size);
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

/* Makes a request with the allocation of a number refused, and with descriptors below a limit only;
 * gives how many descriptors more than before it leaves. */
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
    return descriptors_with_store() - descriptors;
}

/* Gives what is wrong with a request, or null. */
static const char *try_each(const struct request *request) {
    int left = 0;
    for (is_lasting = 0; is_lasting < 2; ++is_lasting) {
        has_refused = 1;
        for (long first = 1; has_refused; ++first) {
            has_refused = 0;
            left |= try(request, first, 1024);
        }
    }
    for (int limit = 0; limit < 12; ++limit) {
        left |= try(request, 0, limit);
    }
    if (left != 0) {
        return "a descriptor is left, or closed";
    }
    const int is_lost =
        __lsan_do_recoverable_leak_check != NULL && __lsan_do_recoverable_leak_check() != 0;
    return is_lost ? "memory is lost" : NULL;
}

int main(void) {
    freopen("/dev/null", "w", stdout); /* the self-test of the statistics client writes to it */
    set_up_requests();
    canned_output = "1\n\nMAC Address: 02:00:00:00:01:64\n1 02:00:00:00:01:64 no 1\n";
    __real_system(
        "cfgdb_cmd set wan proto cellular; echo ccinet0 > /tmp/wan_ifc; echo 0 > /tmp/wan_disc; "
        "echo 0 > /tmp/telephony/mep_category;"
        "echo 500 > /tmp/telephony/sms/.capacity_sim");
    for (size_t number = 0; number < request_count; ++number) {
        const char *fault = try_each(requests + number);
        if (fault != NULL) {
            fprintf(stderr, "%s %s: %s\n", requests[number].module, requests[number].page, fault);
            return 1;
        }
    }
    return 0;
}
