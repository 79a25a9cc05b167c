/* Makes requests through the library, as the daemon does, and prints what happens meanwhile.
 *
 *   page PHASE[,PHASE] MODULE XML              the phases are pre-get, post-get, pre-set and post-set
 *   page PHASE[,PHASE] MODULE NAMES RECORD...  with a table, as in "ssid#channel" "Net#6" "~#"; "~": no record
 *   page OPERATION - XML                       an operation that no row of the table names
 *
 * "then" begins another request in the same process. Each event is a line, as support/support.h says. The page or table
 * comes last, when the request has changed it. A line end in a text is \n. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include "cfgdb.h"
#include "modules/http_share/http_share_applet.h"
#include "modules/wlan_settings/wlan_settings_applet.h"
#include "support/support.h"

static dlist_node_t table;

void report(const char *event) {
    for (; *event != '\0'; ++event) {
        printf(*event == '\n' ? "\\n" : "%c", *event);
    }
    putchar('\n');
}

/* Handlers are called by themselves, since the dispatch does not pass on their results. */
static void run_phases(const char *names, const char *module, dc_args_t *record) {
    int count = 0;
    applet_info *rows = tarrow_get_module_applets(&count);
    const applet_info *row = rows;
    while (row < rows + count - 1 && strcmp(row->di_modname, module) != 0) {
        ++row;
    }
    const struct {
        const char *name;
        tarrow_handler_t *handler;
        int (*dispatch)(const applet_info *row, int flags, dc_args_t *record);
    } phases[] = {
        {"pre-get", row->di_handler_pre_get_func, __tarrow_call_module_pre_get_handler},
        {"post-get", row->di_handler_post_get_func, __tarrow_call_module_post_get_handler},
        {"pre-set", row->di_handler_pre_set_func, __tarrow_call_module_pre_set_handler},
        {"post-set", row->di_handler_post_set_func, __tarrow_call_module_post_set_handler},
        {"wlan_get", wlan_get, NULL},
        {"http_share_post_get", http_share_post_get, NULL},
    };
    const int flags = record->dc_type == TARROW_CB_ARGS_DLIST ? TARROW_ACTION_GETLIST
                      : strstr(names, "set") != NULL          ? TARROW_ACTION_SET
                                                              : TARROW_ACTION_GET;
    for (size_t i = 0; i < sizeof phases / sizeof phases[0]; ++i) {
        if (strstr(names, phases[i].name) == NULL) {
            continue;
        }
        const int result = phases[i].handler != NULL ? phases[i].handler(flags, record)
                                                     : phases[i].dispatch(row, flags, record);
        if (result != 0) {
            printf("%s: %d\n", phases[i].name, result);
        }
    }
    free(rows);
}

static void load_table(const char *names, char **records) {
    char text[8192] = "";
    for (char **record = records; *record != NULL; ++record) {
        strcat(strcat(text, record == records ? "" : "\n"), *record);
    }
    dl_variable_to_dlist_alloc(text, &table, dl_get_meta_fields(names, &table, '#'), '#', '\n');
    for (int number = 0; records[number] != NULL; ++number) {
        for (int field = 0; *records[number] == '~' && field < TARROW_DLIST_FIELDS; ++field) {
            free(table.dn_dlist[number][field]);
            table.dn_dlist[number][field] = NULL;
        }
    }
}

/* A page, or a table's names and records, a line each. */
static char *text_of(const dc_args_t *record) {
    static dlist_node_t all;
    char *text = NULL;
    if (record->dc_type == TARROW_CB_ARGS_XML) {
        mxmlSetWrapMargin(0);
        return mxmlSaveAllocString(record->dc_data.dc_subnode, MXML_NO_CALLBACK);
    }
    memcpy(all.dn_dlist[0], table.dn_meta, sizeof table.dn_meta);
    memcpy(all.dn_dlist[1], table.dn_dlist[0], sizeof table.dn_dlist - sizeof table.dn_dlist[0]);
    dl_dlist_to_variable(&text, &all, '#', '\n');
    return text;
}

static void make_request(char **arguments) {
    const int is_table = *arguments[2] != '<';
    dc_args_t record = {TARROW_CB_ARGS_DLIST, {.dc_dlist = &table}, NULL};
    if (is_table) {
        load_table(arguments[2], arguments + 3);
    } else {
        record.dc_type = TARROW_CB_ARGS_XML;
        record.dc_data.dc_subnode = mxmlLoadString(NULL, arguments[2], MXML_OPAQUE_CALLBACK);
    }
    char *before = text_of(&record);
    run_phases(arguments[0], arguments[1], &record);
    char *after = text_of(&record);
    if (strcmp(before, after) != 0 && is_table) {
        puts(after);
    } else if (strcmp(before, after) != 0) {
        after[strlen(after) - 1] = '\0'; /* a line end */
        report(after);
    }
    free(before);
    free(after);
    free(record.dc_opaque);
    mxmlDelete(is_table ? NULL : record.dc_data.dc_subnode);
    dl_free_dlist(&table);
}

int main(int argc, char **argv) {
    setvbuf(stdout, NULL, _IOLBF, 0); /* the commands print there too */
    alarm(20);                        /* a request that does not end fails */
    cfgdb_match__("wan", "", "", ""); /* the store's engine keeps a descriptor from now on */
    const int before = open_descriptors();
    for (int first = 1, end = 1; end < argc; first = ++end) {
        while (end < argc && strcmp(argv[end], "then") != 0) {
            ++end;
        }
        argv[end] = NULL;
        make_request(argv + first);
    }
    if (open_descriptors() != before) {
        report("a descriptor is left open, or closed");
    }
    if (waitpid(-1, NULL, WNOHANG) != -1) {
        report("a child is left");
    }
    return 0;
}
