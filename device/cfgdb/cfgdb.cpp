// The development settings store: one SQLite file, shared by the daemon, the scripts and cfgdb_cmd.
//
// What a handle sets is kept with the handle and goes into the file in one transaction when the
// handle is closed: others see all of it or nothing, a process that dies in between changes
// nothing, and no lock is held while a handle is open, however many handles and processes there
// are.

#include "backend.h"

#include <array>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sqlite3.h>

namespace {

constexpr int lock_timeout_ms = 20000;

struct close_database {
    void operator()(sqlite3 *database) const { sqlite3_close(database); }
};
struct finalize {
    void operator()(sqlite3_stmt *statement) const { sqlite3_finalize(statement); }
};
struct free_memory {
    void operator()(void *block) const { std::free(block); }
};
using database = std::unique_ptr<sqlite3, close_database>;
using statement = std::unique_ptr<sqlite3_stmt, finalize>;

bool execute(sqlite3 *db, const char *sql) {
    return sqlite3_exec(db, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

statement prepare(sqlite3 *db, const char *sql) {
    sqlite3_stmt *made = nullptr;
    sqlite3_prepare_v2(db, sql, -1, &made, nullptr);
    return statement(made);
}

void bind(const statement &query, int parameter, const qstr_t &text) {
    sqlite3_bind_text(query.get(), parameter, reinterpret_cast<const char *>(text.name),
                      static_cast<int>(text.len), SQLITE_STATIC);
}

void bind(const statement &query, int parameter, const char *text) {
    sqlite3_bind_text(query.get(), parameter, text, -1, SQLITE_STATIC);
}

/// Commits the open transaction, or leaves the file as it was.
bool commit(sqlite3 *db) {
    if (execute(db, "COMMIT")) {
        return true;
    }
    execute(db, "ROLLBACK");
    return false;
}

/// Runs statements as one transaction, or not at all.
bool transact(sqlite3 *db, const char *sql) {
    if (!execute(db, "BEGIN IMMEDIATE")) {
        return false;
    }
    if (!execute(db, sql)) {
        execute(db, "ROLLBACK");
        return false;
    }
    return commit(db);
}

bool has_tables(sqlite3 *db) {
    const statement query = prepare(db, "PRAGMA user_version");
    return query && sqlite3_step(query.get()) == SQLITE_ROW &&
           sqlite3_column_int(query.get(), 0) == 1;
}

database open_database(const char *file, int flags) {
    sqlite3 *opened = nullptr;
    const int result = sqlite3_open_v2(file, &opened, flags | SQLITE_OPEN_NOMUTEX, nullptr);
    database db(opened);
    if (result != SQLITE_OK) {
        return nullptr;
    }
    sqlite3_busy_timeout(opened, lock_timeout_ms);
    const bool is_ready =
        has_tables(opened) ||
        ((flags & SQLITE_OPEN_CREATE) != 0 &&
         transact(opened, "CREATE TABLE IF NOT EXISTS settings (module TEXT NOT NULL,"
                          " key TEXT NOT NULL, value TEXT NOT NULL, PRIMARY KEY (module, key))"
                          " WITHOUT ROWID; PRAGMA user_version = 1"));
    return is_ready ? std::move(db) : nullptr;
}

sqlite3 *database_of(const cfgdb_handle_t *handle) {
    return static_cast<sqlite3 *>(handle->cfgdbh_backend_info);
}

/// Moves the values set on a handle into the file.
bool store_pending(const cfgdb_handle_t *handle) {
    sqlite3 *db = database_of(handle);
    if (!execute(db, "BEGIN IMMEDIATE")) {
        return false;
    }
    const statement move = prepare(db, "INSERT OR REPLACE INTO main.settings"
                                       " SELECT ?1, key, value FROM temp.pending");
    if (move) {
        bind(move, 1, handle->cfgdbh_mod_name);
    }
    if (!move || sqlite3_step(move.get()) != SQLITE_DONE) {
        execute(db, "ROLLBACK");
        return false;
    }
    return commit(db);
}

} // namespace

cfgdb_handle_t *cfgdb_open_backend(const char *file, const char *module_name) {
    if (file == nullptr || module_name == nullptr || *module_name == '\0') {
        return nullptr;
    }
    database db = open_database(file, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    std::unique_ptr<cfgdb_handle_t, free_memory> handle(
        static_cast<cfgdb_handle_t *>(std::calloc(1, sizeof(cfgdb_handle_t))));
    std::unique_ptr<char, free_memory> name(strdup(module_name));
    if (!db || !handle || !name) {
        return nullptr;
    }
    handle->cfgdbh_mod_name = name.release();
    handle->cfgdbh_backend_info = db.release();
    handle->cfgdbh_semid = -1;
    return handle.release();
}

cfgdb_handle_t *__cfgdb_open(const char *module_name, int /*flags*/) {
    return cfgdb_open_backend(cfgdb_default_backend, module_name);
}

char *cfgdb_get(cfgdb_handle_t *handle, const qstr_t *key) {
    if (handle == nullptr || key == nullptr || key->name == nullptr) {
        return nullptr;
    }
    const statement query = prepare(
        database_of(handle),
        handle->cfgdbh_dirty != 0
            ? "SELECT value, 1 AS age FROM temp.pending WHERE key = ?2 UNION ALL"
              " SELECT value, 2 FROM main.settings WHERE module = ?1 AND key = ?2 ORDER BY age"
            : "SELECT value FROM main.settings WHERE module = ?1 AND key = ?2");
    if (!query) {
        return nullptr;
    }
    bind(query, 1, handle->cfgdbh_mod_name);
    bind(query, 2, *key);
    if (sqlite3_step(query.get()) != SQLITE_ROW) {
        return nullptr;
    }
    const void *text = sqlite3_column_text(query.get(), 0);
    const auto length = static_cast<std::size_t>(sqlite3_column_bytes(query.get(), 0));
    char *value = text != nullptr ? static_cast<char *>(std::malloc(length + 1)) : nullptr;
    if (value != nullptr) {
        std::memcpy(value, text, length + 1);
    }
    return value;
}

int cfgdb_get_int(cfgdb_handle_t *handle, const qstr_t *key) {
    const std::unique_ptr<char, free_memory> value(cfgdb_get(handle, key));
    const long number = value ? std::strtol(value.get(), nullptr, 10) : 0;
    return static_cast<int>(number < INT_MIN ? INT_MIN : number > INT_MAX ? INT_MAX : number);
}

int cfgdb_set(cfgdb_handle_t *handle, const qstr_t *key, const qstr_t *value) {
    if (handle == nullptr || key == nullptr || key->name == nullptr || key->len == 0 ||
        value == nullptr || value->name == nullptr) {
        return -1;
    }
    sqlite3 *db = database_of(handle);
    if (handle->cfgdbh_dirty == 0) {
        if (!execute(db, "PRAGMA temp_store = MEMORY; CREATE TEMP TABLE IF NOT EXISTS pending"
                         " (key TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID")) {
            return -1;
        }
        handle->cfgdbh_dirty = 1;
    }
    const statement insert = prepare(db, "INSERT OR REPLACE INTO temp.pending VALUES (?1, ?2)");
    if (!insert) {
        return -1;
    }
    bind(insert, 1, *key);
    bind(insert, 2, *value);
    return sqlite3_step(insert.get()) == SQLITE_DONE ? 0 : -1;
}

int cfgdb_set_int(cfgdb_handle_t *handle, const qstr_t *key, int value) {
    std::array<char, 12> digits; // "-2147483648"
    const int length = std::snprintf(digits.data(), digits.size(), "%d", value);
    const qstr_t text = {static_cast<unsigned int>(length),
                         reinterpret_cast<unsigned char *>(digits.data())};
    return cfgdb_set(handle, key, &text);
}

int cfgdb_close(cfgdb_handle_t *handle) {
    if (handle == nullptr) {
        return -1;
    }
    const database db(database_of(handle));
    const std::unique_ptr<char, free_memory> name(handle->cfgdbh_mod_name);
    const std::unique_ptr<cfgdb_handle_t, free_memory> block(handle);
    return handle->cfgdbh_dirty == 0 || store_pending(handle) ? 0 : -1;
}

int cfgdb_visit(const char *file, const char *module_name, cfgdb_visitor visit) {
    const database db = open_database(file, SQLITE_OPEN_READONLY);
    const statement query =
        db ? prepare(db.get(), "SELECT module, key, value FROM settings"
                               " WHERE ?1 IS NULL OR module = ?1 ORDER BY module, key")
           : nullptr;
    if (!query) {
        return -1;
    }
    bind(query, 1, module_name);
    int result = sqlite3_step(query.get());
    for (; result == SQLITE_ROW; result = sqlite3_step(query.get())) {
        const auto column = [&](int i) {
            return reinterpret_cast<const char *>(sqlite3_column_text(query.get(), i));
        };
        visit(column(0), column(1), column(2));
    }
    return result == SQLITE_DONE ? 0 : -1;
}
