/* Makes one request through the library, as the daemon does, and prints what happens meanwhile.
 *
 *   page get|set|pre-get|post-get|pre-set|post-set MODULE XML
 *   page getlist MODULE NAMES [RECORD...]   a table, as in "ssid#channel" "Net#6" "~#Net8"; "~": no
 * record page call OPERATION XML                 an operation that no row of the table names
 *
 * "then" begins another request of the same process.  * Each event is a line, as support/support.h
 * says. The page or table comes last, when the request has changed it. A line end in a text is \n,
 * another control character \xHH. */
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include "cfgdb.h"
#include "support/support.h"

static dlist_node_t table;

static void put(char c) {
    if (c == '\n') {
        fputs("\\n", stdout);
    } else if ((unsigned char)c < ' ' || c == 0x7f) {
        printf("\\x%02x", c);
    } else {
        putchar(c);
    }
}

void report(const char *event) {
    while (*event != '\0') {
        put(*event++);
    }
    putchar('\n');
}

/* A long page goes on in the next line, a table has a record in each. */
static void print(const char *text, int is_table) {
    for (int column = 1; *text != '\0'; ++column, ++text) {
        if (is_table ? *text == '\n' : column > 90 && *text == '<' && text[1] != '/') {
            putchar('\n');
            column = 1;
        }
        if (!is_table || *text != '\n') {
            put(*text);
        }
    }
    putchar('\n');
}

static void load_table(const char *names, char **records) {
    char text[8192] = "";
    for (char **record = records; *record != NULL; ++record) {
        strcat(strcat(text, record == records ? "" : "\n"), *record);
    }
    dl_variable_to_dlist_alloc(text, &table, dl_get_meta_fields(names, &table, '#'), '#', '\n');
    for (char **record = table.dn_dlist[0]; *records != NULL;
         ++records, record += TARROW_DLIST_FIELDS) {
        for (int field = 0; **records == '~' && field < TARROW_DLIST_FIELDS; ++field) {
            free(record[field]);
            record[field] = NULL;
        }
    }
}

/* The names and the records of the table, a line each. */
static char *text_of_table(void) {
    static dlist_node_t all;
    char *text = NULL;
    memcpy(all.dn_dlist[0], table.dn_meta, sizeof table.dn_meta);
    memcpy(all.dn_dlist[1], table.dn_dlist[0], sizeof table.dn_dlist - sizeof table.dn_dlist[0]);
    dl_dlist_to_variable(&text, &all, '#', '\n');
    return text;
}

static char *text_of(const dc_args_t *record) {
    if (record->dc_type == TARROW_CB_ARGS_DLIST) {
        return text_of_table();
    }
    mxmlSetWrapMargin(0);
    char *text = mxmlSaveAllocString(record->dc_data.dc_subnode, MXML_NO_CALLBACK);
    text[strlen(text) - 1] = '\0'; /* a line end */
    return text;
}

static int open_descriptors(void) {
    int count = 0;
    for (int fd = 0; fd < 256; ++fd) {
        count += fcntl(fd, F_GETFD) >= 0;
    }
    return count;
}

static void make(char **arguments) {
    dc_args_t record = {TARROW_CB_ARGS_DLIST, {.dc_dlist = &table}, NULL};
    if (*arguments[2] == '<') {
        record.dc_type = TARROW_CB_ARGS_XML;
        record.dc_data.dc_subnode = mxmlLoadString(NULL, arguments[2], MXML_OPAQUE_CALLBACK);
    } else {
        load_table(arguments[2], arguments + 3);
    }
    char *before = text_of(&record);
    if (make_request(arguments[0], arguments[1], &record) != 0) {
        report("no such module");
    }
    report_console();
    char *after = text_of(&record);
    if (strcmp(before, after) != 0) {
        print(after, record.dc_type == TARROW_CB_ARGS_DLIST);
    }
    free(before);
    free(after);
    free(record.dc_opaque);
    if (record.dc_type == TARROW_CB_ARGS_XML) {
        mxmlDelete(record.dc_data.dc_subnode);
    }
    dl_free_dlist(&table);
}

int main(int argc, char **argv) {
    setvbuf(stdout, NULL, _IOLBF, 0); /* the commands print there too */
    alarm(20);                        /* a request that does not end fails */
    cfgdb_handle_t *store = cfgdb_open("wan");
    if (store != NULL) {
        cfgdb_close(store); /* its engine keeps a descriptor from now on */
    }
    const int before = open_descriptors();
    for (int first = 1, last = 1; last < argc; first = ++last) {
        while (last < argc && strcmp(argv[last], "then") != 0) {
            ++last;
        }
        if (last - first < 3) {
            fputs(
                "usage: page get|set|PHASE|getlist|call MODULE XML|NAMES [RECORD...] [then ...]\n",
                stderr);
            return 2;
        }
        argv[last] = NULL;
        make(argv + first);
    }
    if (open_descriptors() != before) {
        report("a descriptor is left open, or closed");
    }
    if (waitpid(-1, NULL, WNOHANG) != -1) {
        report("a child is left");
    }
    return 0;
}
