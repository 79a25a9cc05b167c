// The development settings store: an SQLite file that the daemon, the scripts and cfgdb_cmd share.
//
// A handle keeps the values that are set. cfgdb_close writes them to the file in one transaction:
// other processes see all of them or none, and a process that dies before the close changes
// nothing. An open handle holds no lock. The last connection to the device's file stays open for
// the next handle, because opening one takes longer than the work of a handle.

#include "backend.h"

#include <array>
#include <atomic>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int lock_timeout_ms = 20000;

struct close_database {
    void operator()(sqlite3 *database) const { sqlite3_close(database); }
};
struct finalize {
    void operator()(sqlite3_stmt *statement) const { sqlite3_finalize(statement); }
};
struct free_sqlite {
    void operator()(void *block) const { sqlite3_free(block); }
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
    sqlite3_stmt *prepared = nullptr;
    sqlite3_prepare_v2(db, sql, -1, &prepared, nullptr);
    return statement(prepared);
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

/// Runs statements as one transaction; when one fails, the file does not change.
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

/// Whether the file is a backend: a statement on its table can be prepared.
bool has_settings(sqlite3 *db) {
    return prepare(db, "SELECT value FROM main.settings WHERE module = ?1 AND key = ?2") != nullptr;
}

/// Whether the database is empty: the store does not write to a database of another program.
bool is_empty(sqlite3 *db) {
    const statement query = prepare(db, "PRAGMA schema_version");
    return query && sqlite3_step(query.get()) == SQLITE_ROW &&
           sqlite3_column_int(query.get(), 0) == 0;
}

/// Opens a backend; with SQLITE_OPEN_CREATE it creates a missing one. Never read-only: after a
/// writer has died, the next process that opens the file must restore it.
database open_database(const char *file, int create) {
    if (file == nullptr || *file == '\0') {
        return nullptr;
    }
    // Names such as ":memory:" are special to SQLite, names with a "/" are not.
    const std::unique_ptr<char, free_sqlite> path(
        sqlite3_mprintf("%s%s", std::strchr(file, '/') == nullptr ? "./" : "", file));
    sqlite3 *opened = nullptr;
    const int result =
        path ? sqlite3_open_v2(path.get(), &opened,
                               SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | create, nullptr)
             : SQLITE_NOMEM;
    database db(opened);
    if (result != SQLITE_OK) {
        return nullptr;
    }
    sqlite3_busy_timeout(opened, lock_timeout_ms);
    const bool is_ready =
        has_settings(opened) ||
        (create != 0 && is_empty(opened) &&
         transact(opened, "CREATE TABLE IF NOT EXISTS settings (module TEXT NOT NULL,"
                          " key TEXT NOT NULL, value TEXT NOT NULL, PRIMARY KEY (module, key))"
                          " WITHOUT ROWID")) ||
        has_settings(opened); // another process has just created the table
    return is_ready ? std::move(db) : nullptr;
}

/// A connection to a backend, and the data to check whether this process can still use it.
struct connection {
    sqlite3 *db;
    pid_t process; // a child process cannot use its parent's connection
    dev_t device;  // with inode: the file, which another file can replace
    ino_t inode;
    bool is_reusable;
};

// The parent process's connection, which a child must not use. It stays referenced here, so that a
// leak checker does not count it as lost.
std::atomic<connection *> parent_connection = nullptr;

struct close_connection {
    void operator()(connection *c) const {
        if (c->process != getpid()) {
            parent_connection = c;
            return;
        }
        sqlite3_close(c->db);
        std::free(c);
    }
};
using connection_owner = std::unique_ptr<connection, close_connection>;

std::atomic<connection *> idle_connection = nullptr; // the next handle reuses it

connection_owner connect(const char *file) {
    const bool is_device_file = std::strcmp(file, cfgdb_default_backend) == 0;
    struct stat status = {};
    if (is_device_file) {
        connection_owner old(idle_connection.exchange(nullptr));
        if (old && old->process == getpid() && stat(file, &status) == 0 &&
            status.st_dev == old->device && status.st_ino == old->inode) {
            return old;
        }
    }
    connection_owner created(static_cast<connection *>(std::calloc(1, sizeof(connection))));
    if (!created) {
        return nullptr;
    }
    created->process = getpid();
    created->db = open_database(file, SQLITE_OPEN_CREATE).release();
    if (created->db == nullptr) {
        return nullptr;
    }
    created->is_reusable = is_device_file && stat(file, &status) == 0;
    created->device = status.st_dev;
    created->inode = status.st_ino;
    return created;
}

sqlite3 *database_of(const cfgdb_handle_t *handle) {
    return static_cast<connection *>(handle->cfgdbh_backend_info)->db;
}

// States of a handle, in cfgdbh_dirty.
constexpr short clean = 0;   // no value was set
constexpr short pending = 1; // the values are in temp.pending
constexpr short failed = -1; // a value could not be added to temp.pending: the close writes none

/// Adds a value to temp.pending.
bool add_pending(cfgdb_handle_t &handle, const qstr_t &key, const qstr_t &value) {
    sqlite3 *db = database_of(&handle);
    if (handle.cfgdbh_dirty == clean &&
        !execute(db, "PRAGMA temp_store = MEMORY; CREATE TEMP TABLE IF NOT EXISTS pending"
                     " (key TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID")) {
        return false;
    }
    handle.cfgdbh_dirty = pending;
    const statement insert = prepare(db, "INSERT OR REPLACE INTO temp.pending VALUES (?1, ?2)");
    if (!insert) {
        return false;
    }
    bind(insert, 1, key);
    bind(insert, 2, value);
    return sqlite3_step(insert.get()) == SQLITE_DONE;
}

/// Writes the values of temp.pending to the file.
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
    connection_owner backend = connect(file);
    std::unique_ptr<cfgdb_handle_t, free_memory> handle(
        static_cast<cfgdb_handle_t *>(std::calloc(1, sizeof(cfgdb_handle_t))));
    std::unique_ptr<char, free_memory> name(strdup(module_name));
    if (!backend || !handle || !name) {
        return nullptr;
    }
    handle->cfgdbh_mod_name = name.release();
    handle->cfgdbh_backend_info = backend.release();
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
        handle->cfgdbh_dirty == pending
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
    if (handle->cfgdbh_dirty == failed || !add_pending(*handle, *key, *value)) {
        handle->cfgdbh_dirty = failed;
        return -1;
    }
    return 0;
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
    const std::unique_ptr<char, free_memory> name(handle->cfgdbh_mod_name);
    const std::unique_ptr<cfgdb_handle_t, free_memory> block(handle);
    connection_owner backend(static_cast<connection *>(handle->cfgdbh_backend_info));
    bool is_stored = true;
    if (handle->cfgdbh_dirty != clean) {
        is_stored = handle->cfgdbh_dirty == pending && store_pending(handle);
        backend->is_reusable =
            execute(backend->db, "DROP TABLE temp.pending") && backend->is_reusable;
    }
    if (backend->is_reusable) {
        backend.reset(idle_connection.exchange(backend.release()));
    }
    return is_stored ? 0 : -1;
}

int cfgdb_visit(const char *file, const char *module_name, cfgdb_visitor visit, void *context) {
    const database db = open_database(file, 0);
    const std::unique_ptr<char, free_sqlite> query(
        sqlite3_mprintf("SELECT module, key, value FROM settings WHERE %Q IS NULL OR module = %Q"
                        " ORDER BY module, key",
                        module_name, module_name));
    // Reads all settings before the first visit, so that a slow visitor does not keep the file
    // locked.
    char **cells = nullptr;
    int rows = 0;
    int columns = 0;
    if (!db || !query ||
        sqlite3_get_table(db.get(), query.get(), &cells, &rows, &columns, nullptr) != SQLITE_OK) {
        return -1;
    }
    for (int row = 1; row <= rows; ++row) { // row 0 holds the columns' names
        char **cell = cells + static_cast<std::ptrdiff_t>(row) * columns;
        visit(cell[0], cell[1], cell[2], context);
    }
    sqlite3_free_table(cells);
    return 0;
}
