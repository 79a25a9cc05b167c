/* A settings daemon in one program: "daemon get MODULE" and "daemon set MODULE" read a page from
 * standard input and write the answer to standard output. The steps of a request are those that
 * tarrow_applets.h lists. */
#define _POSIX_C_SOURCE 200809L /* strdup, fdopen, unlink */
#include <fcntl.h>
#include <mxml.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <cfgdb.h>
#include <tarrow_applets.h>

/* The settings that this daemon stores: no element that a handler fills, and no posted command. '#'
 * separates the fields of a list. */
static const struct setting {
    const char *module, *key, *fields; /* fields: NULL for a text */
} settings[] = {
    {"lan", "ip", NULL},
    {"lan", "fixed_leases", "mac#ip#name"},
    {"wan", "proto", NULL},
    {"device_management", "known_devices", "mac#name#first_seen#last_seen#type"},
};

static const struct setting *setting_of(const char *module, mxml_node_t *element) {
    const char *key = mxmlGetElement(element); /* NULL for a text between elements */
    for (size_t i = 0; key != NULL && i < sizeof(settings) / sizeof(settings[0]); ++i) {
        if (strcmp(settings[i].module, module) == 0 && strcmp(settings[i].key, key) == 0) {
            return &settings[i];
        }
    }
    return NULL;
}

static qstr_t counted(const char *text) {
    qstr_t string = {(unsigned int)strlen(text), (unsigned char *)text};
    return string;
}

/* Returns a setting's value as a heap string, empty when there is none. */
static char *stored_text(cfgdb_handle_t *store, const char *key) {
    const qstr_t name = counted(key);
    char *value = cfgdb_get(store, &name);
    return value != NULL ? value : strdup("");
}

/* Fills a table with a stored list. *fd and *rd become the module's delimiters. */
static void load_list(cfgdb_handle_t *store, const struct setting *list, dlist_node_t *table,
                      char *fd, char *rd) {
    char *value = stored_text(store, list->key);
    tarrow_call_module_get_delimiters(list->module, fd, rd);
    dl_dlist_init(table); /* before the first use of the table */
    dl_get_meta_fields(list->fields, table, '#');
    dl_variable_to_dlist_alloc(value, table, dl_count_meta_fields(list->fields, '#'), *fd, *rd);
    free(value);
}

/* Stores the posted settings. The posted items of a list change the stored list. */
static void store_page(const char *module, mxml_node_t *page, dlist_node_t *table) {
    cfgdb_handle_t *store = cfgdb_open(module);
    if (store == NULL) {
        return;
    }
    for (mxml_node_t *element = mxmlGetFirstChild(page); element != NULL;
         element = mxmlGetNextSibling(element)) {
        const struct setting *setting = setting_of(module, element);
        const char *posted = mxmlGetOpaque(mxmlGetFirstChild(element));
        char *text = NULL;
        if (setting != NULL && setting->fields != NULL) {
            char fd, rd;
            load_list(store, setting, table, &fd, &rd);
            dl_xmllist_to_dlist(element, table);
            dl_dlist_to_variable(&text, table, fd, rd);
            dl_free_dlist(table);
        } else if (setting != NULL) {
            text = strdup(posted != NULL ? posted : "");
        }
        if (text != NULL) {
            const qstr_t name = counted(setting->key), value = counted(text);
            cfgdb_set(store, &name, &value);
        }
        free(text);
    }
    cfgdb_close(store); /* before the next phase: its script reads the values */
}

/* Scripts inherit the standard streams. This gives them no input and standard error for their
 * output. Returns the stream for the answer. */
static FILE *take_output(void) {
    const int answer = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (answer < 0 || dup2(STDERR_FILENO, STDOUT_FILENO) < 0 ||
        freopen("/dev/null", "r", stdin) == NULL) {
        return NULL;
    }
    return fdopen(answer, "w");
}

static int set_page(const char *module, dc_args_t *page, dlist_node_t *table) {
    if (tarrow_call_module_pre_set_handler(module, TARROW_ACTION_SET, page) != 0) {
        return -1; /* no temporary file, and no script has run */
    }
    char *path = page->dc_opaque != NULL ? strdup(page->dc_opaque) : NULL;
    store_page(module, page->dc_data.dc_subnode, table);
    /* The same record, which has the path of the temporary file. The phase frees the path, unless
     * it has no memory. */
    tarrow_call_module_post_set_handler(module, TARROW_ACTION_SET, page);
    free(page->dc_opaque);
    page->dc_opaque = NULL;
    if (path != NULL) {
        unlink(path);
    }
    free(path);
    return 0;
}

/* Fills the empty elements of stored texts. */
static int load_texts(const char *module, mxml_node_t *root) {
    cfgdb_handle_t *store = cfgdb_open(module);
    if (store == NULL) {
        return -1;
    }
    for (mxml_node_t *element = mxmlGetFirstChild(root); element != NULL;
         element = mxmlGetNextSibling(element)) {
        const struct setting *setting = setting_of(module, element);
        if (setting != NULL && setting->fields == NULL && mxmlGetFirstChild(element) == NULL) {
            char *value = stored_text(store, setting->key);
            mxmlNewOpaque(element, value); /* copies the value */
            free(value);
        }
    }
    cfgdb_close(store);
    return 0;
}

static int get_page(const char *module, dc_args_t *page, dlist_node_t *table) {
    mxml_node_t *root = page->dc_data.dc_subnode;
    if (load_texts(module, root) != 0) {
        return -1;
    }
    tarrow_call_module_pre_get_handler(module, TARROW_ACTION_GET, page);
    for (mxml_node_t *element = mxmlGetFirstChild(root); element != NULL;
         element = mxmlGetNextSibling(element)) {
        const struct setting *list = setting_of(module, element);
        cfgdb_handle_t *store = list != NULL && list->fields != NULL ? cfgdb_open(module) : NULL;
        if (store != NULL) {
            dc_args_t args = {TARROW_CB_ARGS_DLIST, {.dc_dlist = table}, NULL};
            char fd, rd;
            load_list(store, list, table, &fd, &rd);
            cfgdb_close(store);
            tarrow_call_module_post_get_handler(module, TARROW_ACTION_GETLIST, &args);
            dl_dlist_to_xmllist(table, element);
            dl_free_dlist(table);
        }
    }
    tarrow_call_module_post_get_handler(module, TARROW_ACTION_GET, page);
    return 0;
}

int main(int argc, char **argv) {
    static dlist_node_t table; /* 48 KB: not for a small stack */
    if (argc != 3 || (strcmp(argv[1], "get") != 0 && strcmp(argv[1], "set") != 0)) {
        fprintf(stderr, "usage: %s get|set MODULE < page.xml\n", argv[0]);
        return 2;
    }
    mxml_node_t *root = mxmlLoadFile(NULL, stdin, MXML_OPAQUE_CALLBACK); /* opaque texts */
    if (root == NULL || mxmlGetElement(root) == NULL ||
        strcmp(mxmlGetElement(root), argv[2]) != 0) {
        fprintf(stderr, "%s: standard input is not a page of %s\n", argv[0], argv[2]);
        return 1;
    }
    FILE *answer = take_output();
    if (answer == NULL) {
        perror(argv[0]);
        return 1;
    }
    dc_args_t page = {TARROW_CB_ARGS_XML, {.dc_subnode = root}, NULL};
    const int result = (*argv[1] == 'g' ? get_page : set_page)(argv[2], &page, &table);
    mxmlSetWrapMargin(0);
    mxmlSaveFile(root, answer, MXML_NO_CALLBACK);
    mxmlDelete(root); /* with all nodes that the handlers added */
    return fclose(answer) == 0 && result == 0 ? 0 : 1;
}
