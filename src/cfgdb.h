// The settings store of the platform, and this library's two operations on it.
//
// Settings are grouped by module (the names of the applet table); inside a module each setting is a
// text under a key. The store itself, libcfgdb, is the platform's; device/cfgdb holds one for
// development. Locking between the processes that use the store is the store's business.
#ifndef CFGDB_H
#define CFGDB_H

#ifdef __cplusplus
extern "C" {
#endif

// A counted string: len characters, and a NUL after them.
typedef struct qstr {
    unsigned int len;
    unsigned char *name;
} qstr_t;

// One opened module. Its fields belong to the store.
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

// A handle that cfgdb_close ends, or null when the module cannot be opened. flags is 0.
cfgdb_handle_t *__cfgdb_open(const char *module_name, int flags);
// The value as a new heap string that the caller frees, or null when the key is absent.
char *cfgdb_get(cfgdb_handle_t *handle, const qstr_t *key);
// The value as a number; the development store answers 0 for an absent key or a value that begins
// with no number.
int cfgdb_get_int(cfgdb_handle_t *handle, const qstr_t *key);
// What was set is in the store for others after the close. The library does not look at the results
// of these and of the close, which the platform does not define; the development store answers 0,
// or -1 when it cannot take the value.
int cfgdb_set(cfgdb_handle_t *handle, const qstr_t *key, const qstr_t *value);
int cfgdb_set_int(cfgdb_handle_t *handle, const qstr_t *key, int value);
// The handle is gone whatever the result; the development store answers -1 when the values set
// could not be stored.
int cfgdb_close(cfgdb_handle_t *handle);

// This library's operations.

// Each source file that uses the store has its own copy.
static inline cfgdb_handle_t *cfgdb_open(const char *module_name) {
    return __cfgdb_open(module_name, 0);
}

// 1 when the value of variable in module mod_name equals value, ignoring letter case; 0 when it
// differs or is absent, the module cannot be opened, or for a null argument. subspace is not used.
int cfgdb_match__(const char *mod_name, const char *subspace, const char *variable,
                  const char *value);

#ifdef __cplusplus
}
#endif

#endif
