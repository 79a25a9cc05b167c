#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "modules/http_share/http_share_applet.h"
#include "modules/statistics/stat_api.h"
#include "modules/wlan_settings/wlan_settings_applet.h"
#include "support.h"

/* The dispatch does not pass on what a handler answers, so this one stands before it. */
static const char *phase;
static tarrow_handler_t *handler;

static int report_result(int flags, dc_args_t *record) {
    char event[64];
    const int result = handler(flags, record);
    if (result != 0) {
        report_console();
        snprintf(event, sizeof event, "%s: %d", phase, result);
        report(event);
    }
    return result;
}

static int self_test(int flags, dc_args_t *record) {
    (void)flags;
    (void)record;
    return stat_client_main();
}

static int call(const char *operation, dc_args_t *record) {
    handler = strcmp(operation, "wlan_get") == 0              ? wlan_get
              : strcmp(operation, "http_share_post_get") == 0 ? http_share_post_get
              : strcmp(operation, "stat_client_main") == 0    ? self_test
                                                              : NULL;
    phase = operation;
    return handler != NULL ? report_result(TARROW_ACTION_GET, record) : -1;
}

static void run_phases(const char *what, applet_info *row, dc_args_t *record) {
    const int flags = strcmp(what, "getlist") == 0  ? TARROW_ACTION_GETLIST
                      : strstr(what, "set") != NULL ? TARROW_ACTION_SET
                                                    : TARROW_ACTION_GET;
    const struct {
        const char *name;
        const char *requests; /* that it is a part of */
        tarrow_handler_t **handler;
        int (*dispatch)(const applet_info *row, int flags, dc_args_t *record);
    } phases[] = {
        {"pre-get", "get", &row->di_handler_pre_get_func, __tarrow_call_module_pre_get_handler},
        {"post-get", "get getlist", &row->di_handler_post_get_func,
         __tarrow_call_module_post_get_handler},
        {"pre-set", "set", &row->di_handler_pre_set_func, __tarrow_call_module_pre_set_handler},
        {"post-set", "set", &row->di_handler_post_set_func, __tarrow_call_module_post_set_handler},
    };
    for (size_t i = 0; i < sizeof phases / sizeof phases[0]; ++i) {
        if (strcmp(what, phases[i].name) != 0 && strstr(phases[i].requests, what) == NULL) {
            continue;
        }
        phase = phases[i].name;
        handler = *phases[i].handler;
        *phases[i].handler = handler != NULL ? report_result : NULL;
        if (phases[i].dispatch(row, flags, record) != 0) {
            report("the dispatch fails");
        }
    }
}

int make_request(const char *what, const char *module, dc_args_t *record) {
    int count = 0;
    if (strcmp(what, "call") == 0) {
        return call(module, record);
    }
    applet_info *rows = tarrow_get_module_applets(&count);
    applet_info *row = rows;
    while (row < rows + count && strcmp(row->di_modname, module) != 0) {
        ++row;
    }
    const int result = row < rows + count ? 0 : -1;
    if (result == 0) {
        run_phases(what, row, record);
    }
    free(rows);
    return result;
}
