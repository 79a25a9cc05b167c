/* Calls a build's library for the tests of another build, in C alone, so that any C library will do. The tests tell it
 * what in standard input, and are its device at descriptor 3. Messages are "WORD TEXT\0" both ways, one after the
 * other. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "cfgdb.h"
#include "support/library.h"

static char *word; /* of the message that came last */

static struct reply receive(void) {
    static size_t room;
    if (getdelim(&word, &room, '\0', stdin) < 0) { exit(0); } /* there is nothing more to do */
    char *const blank = strchr(word, ' ');
    *blank = '\0';
    return (struct reply){atol(word), blank + 1, strlen(blank + 1)};
}

struct reply ask(const char *what, const char *text) {
    dprintf(3, "%s %s%c", what, text, 0);
    return receive();
}

/* The settings store is the tests' one. A handle is the module's name. */
cfgdb_handle_t *__cfgdb_open(const char *module_name, int flags) {
    return flags != 0 || access("/userfs/cfgdb", F_OK) != 0 ? NULL : (cfgdb_handle_t *)strdup(module_name);
}
int cfgdb_close(cfgdb_handle_t *handle) { return free(handle), 0; }

static const char *use(const char *operation, cfgdb_handle_t *handle, const qstr_t *key, const char *value) {
    char text[8192];
    snprintf(text, sizeof(text), "%s %s %s", (char *)handle, (char *)key->name, value);
    return ask(operation, text).text;
}
char *cfgdb_get(cfgdb_handle_t *handle, const qstr_t *key) {
    const char *const value = use("get", handle, key, "");
    return strcmp(value, "(absent)") == 0 ? NULL : strdup(value);
}
int cfgdb_get_int(cfgdb_handle_t *handle, const qstr_t *key) { return atoi(use("get", handle, key, "")); }
int cfgdb_set(cfgdb_handle_t *handle, const qstr_t *key, const qstr_t *value) {
    return use("set", handle, key, (char *)value->name), 0;
}
int cfgdb_set_int(cfgdb_handle_t *handle, const qstr_t *key, int value) {
    char digits[12];
    snprintf(digits, sizeof(digits), "%d", value);
    return use("set", handle, key, digits), 0;
}

/* Answers "=RESULT PAGE", or a table. */
int main(void) {
    setvbuf(stdout, NULL, _IONBF, 0);
    for (struct reply request = receive();;) {
        char result[16];
        snprintf(result, sizeof(result), "=%d",
                 strcmp(word, "load") != 0 ? call(word, request.text) : load(request.text));
        char *const text = show();
        request = ask(result, text != NULL ? text : "");
        free(text);
    }
}
