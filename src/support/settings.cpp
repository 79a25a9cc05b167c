#include "support/settings.h"

#include <cstring>
#include <strings.h>

#include "support/files.h"

namespace tarrow {

qstr_t counted(const char *text) {
    return {static_cast<unsigned int>(std::strlen(text)),
            reinterpret_cast<unsigned char *>(const_cast<char *>(text))};
}

heap_string value_of(const store &handle, const char *key) {
    const qstr_t name = counted(key);
    return heap_string(cfgdb_get(handle.get(), &name));
}

void set_value(const store &handle, const char *key, const char *value) {
    const qstr_t name = counted(key);
    const qstr_t text = counted(value);
    cfgdb_set(handle.get(), &name, &text);
}

heap_string read_setting(const char *module, const char *key) {
    const store handle(cfgdb_open(module));
    return handle ? value_of(handle, key) : nullptr;
}

int read_setting_number(const char *module, const char *key, int fallback) {
    const heap_string value = read_setting(module, key);
    return value ? parse_number(value.get()).value_or(0) : fallback;
}

} // namespace tarrow

int cfgdb_match__(const char *mod_name, const char * /*subspace*/, const char *variable,
                  const char *value) {
    if (mod_name == nullptr || variable == nullptr || value == nullptr) {
        return 0;
    }
    const tarrow::heap_string stored = tarrow::read_setting(mod_name, variable);
    return stored && strcasecmp(stored.get(), value) == 0 ? 1 : 0;
}
