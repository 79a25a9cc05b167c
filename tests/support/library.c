#include "library.h"

#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <syslog.h>
#include <time.h>

#include "../../src/modules/http_share/http_share_applet.h"
#include "../../src/modules/statistics/stat_api.h"
#include "../../src/modules/wlan_settings/wlan_settings_applet.h"

dc_args_t request_record;
static mxml_node_t *page;
static dlist_node_t table;
static applet_info *rows;
static int row_count;

int load(const char *text) {
    char names[256];
    const int is_page = *text == '<';
    if (rows == NULL) { rows = tarrow_get_module_applets(&row_count); }
    free(request_record.dc_opaque);
    mxmlDelete(page);
    dl_free_dlist(&table);
    page = is_page ? mxmlLoadString(NULL, text, MXML_OPAQUE_CALLBACK) : NULL;
    request_record = (dc_args_t){TARROW_CB_ARGS_XML, {.dc_subnode = page}, NULL};
    if (is_page) { return 0; }
    request_record = (dc_args_t){TARROW_CB_ARGS_DLIST, {.dc_dlist = &table}, NULL};
    sscanf(text, "%255s", names);
    dl_variable_to_dlist_alloc(text + strlen(names) + 1, &table, dl_get_meta_fields(names, &table, '#'), '#', ' ');
    for (int r = 0; r < TARROW_DLIST_RECORDS; ++r) {
        char **const record = table.dn_dlist[r];
        for (int f = TARROW_DLIST_FIELDS; --f >= 0 && *record != NULL && **record == '~'; record[f] = NULL) {
            free(record[f]);
        }
    }
    return 0;
}

char *show(void) {
    static dlist_node_t all; /* its first record are the names */
    char *text = NULL;
    mxmlSetWrapMargin(0);
    if (request_record.dc_type == TARROW_CB_ARGS_XML) { return mxmlSaveAllocString(page, MXML_NO_CALLBACK); }
    memcpy(all.dn_dlist, table.dn_meta, sizeof(table.dn_meta));
    memcpy(all.dn_dlist + 1, table.dn_dlist, sizeof(table.dn_dlist) - sizeof(table.dn_dlist[0]));
    dl_dlist_to_variable(&text, &all, '#', ' ');
    return text;
}

static int self_test(int flags, dc_args_t *dc) { return (void)flags, (void)dc, stat_client_main(); }

int call(const char *phase, const char *name) {
    const applet_info *row = rows;
    while (row < rows + row_count - 1 && strcmp(row->di_modname, name) != 0) { ++row; }
    const struct {
        const char *name;
        tarrow_handler_t *handler; /* whose result the dispatch does not pass on */
        int (*dispatch)(const applet_info *row, int flags, dc_args_t *record);
    } all[] = {{"pre-set", row->di_handler_pre_set_func, __tarrow_call_module_pre_set_handler},
               {"post-set", row->di_handler_post_set_func, __tarrow_call_module_post_set_handler},
               {"pre-get", row->di_handler_pre_get_func, __tarrow_call_module_pre_get_handler},
               {"post-get", row->di_handler_post_get_func, __tarrow_call_module_post_get_handler},
               {"wlan_get", wlan_get, NULL},
               {"http_share_post_get", http_share_post_get, NULL},
               {"stat_client_main", self_test, NULL}},
      *one = all;
    while (strcmp(one->name, strcmp(phase, "call") == 0 ? name : phase) != 0) { ++one; }
    const int flags = request_record.dc_type == TARROW_CB_ARGS_DLIST ? TARROW_ACTION_GETLIST
                      : strstr(phase, "set") != NULL                 ? TARROW_ACTION_SET
                                                                     : TARROW_ACTION_GET;
    return one->handler != NULL ? one->handler(flags, &request_record) : one->dispatch(row, flags, &request_record);
}

/* In the place of the C library's. To the tests the linker leads the library's calls, and theirs. */
#ifdef TARROW_CLIENT
#define INSTEAD_OF(name) name
#else
#define INSTEAD_OF(name) __wrap_##name
#endif

time_t time(time_t *out) {
    const time_t now = ask("time", "").status;
    return out != NULL ? (*out = now) : now;
}

int INSTEAD_OF(nanosleep)(const struct timespec *time, struct timespec *left) {
    char milliseconds[32];
    (void)left;
    snprintf(milliseconds, sizeof(milliseconds), "%ld", (long)time->tv_sec * 1000 + time->tv_nsec / 1000000);
    return (int)ask("waits", milliseconds).status;
}

int INSTEAD_OF(system)(const char *line) { return (int)ask("$", line).status; }

FILE *INSTEAD_OF(popen)(const char *line, const char *mode) {
    const struct reply printed = ask("popen", line);
    FILE *const stream = printed.status < 0 || *mode != 'r' ? NULL : tmpfile();
    if (stream != NULL) {
        fwrite(printed.text, 1, printed.size, stream);
        rewind(stream);
    }
    return stream;
}
int INSTEAD_OF(pclose)(FILE *stream) { return fclose(stream); }

int INSTEAD_OF(open)(const char *path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const int mode = (flags & O_CREAT) != 0 ? va_arg(arguments, int) : 0;
    va_end(arguments);
    const struct reply instead = ask("open", path);
    errno = (int)-instead.status;
    return instead.status < 0 ? -1 : openat(AT_FDCWD, instead.text, flags, mode);
}
int INSTEAD_OF(mkstemp)(char *name) { /* there is one at a time */
    return strncmp(name, "/tmp/tarrow.", 12) != 0 ? mkstemps(name, 0)
                                                  : INSTEAD_OF(open)(name, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
}

static const char *log_identity = "tarrow";
static int log_facility = LOG_USER;
void INSTEAD_OF(openlog)(const char *identity, int options, int facility) {
    (void)options;
    log_identity = identity;
    log_facility = facility;
}
void INSTEAD_OF(syslog)(int priority, const char *format, ...) {
    char line[4096];
    va_list arguments;
    priority |= (priority & LOG_FACMASK) == 0 ? log_facility : 0;
    const int size = snprintf(line, sizeof(line), "<%d>%s: ", priority, log_identity);
    va_start(arguments, format);
    vsnprintf(line + size, sizeof(line) - (size_t)size, format, arguments);
    va_end(arguments);
    ask("log", line);
}
