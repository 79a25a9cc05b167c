/* The settings store of a build that has none: the device's own, through cfgdb_cmd. A handle is the
 * module's name. */
#include "cfgdb.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

FILE *__real_popen(const char *line, const char *mode);
int __real_pclose(FILE *stream);

static char *run(const char *action, cfgdb_handle_t *handle, const qstr_t *key, const char *value) {
    char text[8192];
    setenv("STORE_MODULE", (char *)handle, 1);
    setenv("STORE_KEY", (char *)key->name, 1);
    setenv("STORE_VALUE", value, 1);
    snprintf(text, sizeof text, "cfgdb_cmd %s 2> /dev/null", action);
    FILE *stream = __real_popen(text, "r");
    const size_t length = fread(text, 1, sizeof text - 1, stream);
    text[length > 0 ? length - 1 : 0] = '\0'; /* without the line end */
    return __real_pclose(stream) == 0 ? strdup(text) : NULL;
}

cfgdb_handle_t *__cfgdb_open(const char *module_name, int flags) {
    return flags != 0 || access("/userfs/cfgdb", F_OK) != 0 ? NULL
                                                            : (cfgdb_handle_t *)strdup(module_name);
}

int cfgdb_close(cfgdb_handle_t *handle) {
    free(handle);
    return 0;
}

char *cfgdb_get(cfgdb_handle_t *handle, const qstr_t *key) {
    return run("get \"$STORE_MODULE\" \"$STORE_KEY\"", handle, key, "");
}

int cfgdb_get_int(cfgdb_handle_t *handle, const qstr_t *key) {
    char *value = cfgdb_get(handle, key);
    const int number = value != NULL ? atoi(value) : 0;
    free(value);
    return number;
}

int cfgdb_set(cfgdb_handle_t *handle, const qstr_t *key, const qstr_t *value) {
    free(run("set \"$STORE_MODULE\" \"$STORE_KEY\" \"$STORE_VALUE\"", handle, key,
             (char *)value->name));
    return 0;
}

int cfgdb_set_int(cfgdb_handle_t *handle, const qstr_t *key, int value) {
    char digits[12];
    const qstr_t text = {(unsigned int)snprintf(digits, sizeof digits, "%d", value),
                         (unsigned char *)digits};
    return cfgdb_set(handle, key, &text);
}
