/* The law of memory: when allocations of a request are refused, a single one or all from one on,
 * the library does not crash, and loses no memory, no descriptor and no element or text of the
 * page. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "cfgdb.h"
#include "requests.h"

static long refused_first; /* 1 is the next allocation; 0: none */
static int is_lasting, has_refused;

#ifdef TARROW_ASAN
#define REAL(name) __interceptor_##name
#else /* a build that counts the lines that run */
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

/* Without memory the store's engine gives up the descriptor that it keeps. */
static int descriptors_with_store(void) {
    cfgdb_match__("wan", "", "", "");
    return open_descriptors();
}

/* Makes a request with the allocation of a number refused; gives what is wrong afterwards, or null.
 */
static const char *try(const struct request *request, long first) {
    const int is_page = *request->page == '<', descriptors = descriptors_with_store();
    dc_args_t record = begin_request(request, -1, is_page ? "1" : "Cafe#1###USB m#2###WLAN");
    mxml_node_t *list =
        is_page ? record.dc_data.dc_subnode : mxmlNewElement(MXML_NO_PARENT, "list");
    char *before = mxmlSaveAllocString(list, MXML_NO_CALLBACK);
    refused_first = first;
    run_request(request, &record);
    if (!is_page) {
        dl_dlist_to_xmllist(record.dc_data.dc_dlist, list);
        dl_xmllist_to_dlist(list, record.dc_data.dc_dlist);
    }
    refused_first = 0;
    char *after = mxmlSaveAllocString(list, MXML_NO_CALLBACK);
    const int is_shorter = strlen(after) < strlen(before);
    free(before);
    free(after);
    mxmlDelete(is_page ? NULL : list);
    end_request(&record);
    return descriptors_with_store() != descriptors ? "a descriptor is left"
           : is_shorter                            ? "the page lacks something"
                                                   : NULL;
}

static const char *try_each(const struct request *request) {
    for (is_lasting = 0; is_lasting < 2; ++is_lasting) {
        has_refused = 1;
        for (long first = 1; has_refused; ++first) {
            has_refused = 0;
            const char *fault = try(request, first);
            if (fault != NULL) {
                return fault;
            }
        }
    }
    const int is_lost =
        __lsan_do_recoverable_leak_check != NULL && __lsan_do_recoverable_leak_check() != 0;
    return is_lost ? "memory is lost" : NULL;
}

int main(void) {
    set_up_requests();
    canned_output = "1 02:00:00:00:01:64 no 1";
    __real_system(
        "echo usb > /tmp/wan_ifc; echo 0 > /tmp/wan_disc; echo 0 > /tmp/telephony/mep_category;"
        "cd /tmp/telephony/sms; echo 500 > .capacity_sim; : > .save; : > .send; echo '1#2#3#4' > "
        ".list_dev");
    for (size_t number = 0; number < request_count; ++number) {
        const char *fault = try_each(requests + number);
        if (fault != NULL) {
            printf("%s %s: %s\n", requests[number].module, requests[number].page, fault);
            return 1;
        }
    }
    return 0;
}
