// The settings store of the platform, and this library's two operations on it.
//
// A setting is a text under a key of a module; the modules are those of the applet table. The store
// itself, libcfgdb, belongs to the platform. The store that the component "store" of this package
// installs is for development. The store locks out other processes as it needs to.
//
// tarrow_applets.h says when a daemon opens and closes the store, and which settings it stores.
#ifndef CFGDB_H
#define CFGDB_H

#ifdef __cplusplus
extern "C" {
#endif

// A counted string: len characters, followed by a NUL that len does not count.
typedef struct qstr {
    unsigned int len;
    unsigned char *name;
} qstr_t;

// An open module. Only the store uses its fields.
typedef struct cfgdb_handle {
    char *cfgdbh_mod_name;
    qstr_t cfgdbh_env;
    void *cfgdbh_backend_info;
    int cfgdbh_semid;
    short cfgdbh_dirty;
    char cfgdbh_subspace[100];
    short cfgdbh_subspacelen;
} cfgdb_handle_t;

// The store's operations.

// Opens a module. Returns a handle for cfgdb_close, or null. flags is 0.
cfgdb_handle_t *__cfgdb_open(const char *module_name, int flags);
// Returns the value as a new heap string, which the caller frees; null when there is none.
char *cfgdb_get(cfgdb_handle_t *handle, const qstr_t *key);
// Returns the value as a number. The development store returns 0 when there is no value, or it does
// not begin with a number.
int cfgdb_get_int(cfgdb_handle_t *handle, const qstr_t *key);
// Set a value. Other processes see it after the close. The platform does not define the results of
// these two and of the close, and the library ignores them. The development store returns 0, or -1
// when it cannot store the value.
int cfgdb_set(cfgdb_handle_t *handle, const qstr_t *key, const qstr_t *value);
int cfgdb_set_int(cfgdb_handle_t *handle, const qstr_t *key, int value);
// Closes a module; the handle is invalid afterwards in any case. The development store returns -1
// when it could not store the values that were set, and then stores none of them.
int cfgdb_close(cfgdb_handle_t *handle);

// This library's operations.

// The same as __cfgdb_open with flags 0.
static inline cfgdb_handle_t *cfgdb_open(const char *module_name) {
    return __cfgdb_open(module_name, 0);
}

// Returns 1 when variable of module mod_name has that value, in any letter case. Returns 0 when it
// has another value or none, when the module cannot be opened, and for a null argument. subspace is
// not used.
int cfgdb_match__(const char *mod_name, const char *subspace, const char *variable,
                  const char *value);

#ifdef __cplusplus
}
#endif

#endif
