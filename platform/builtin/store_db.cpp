// The SQLite side of the store: opening, making, and the few statements everything else is made of.
#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "platform/builtin/store.h"
#include "platform/device.h"

static constexpr int SCHEMA_VERSION = 1;
static constexpr int BUSY_TIMEOUT_MS = 5000;

void CloseDatabase::operator()(sqlite3 *db) const {
    sqlite3_close(db);
}
void FinalizeStatement::operator()(sqlite3_stmt *statement) const {
    sqlite3_finalize(statement);
}

static bool execute(sqlite3 *db, const char *sql) {
    return sqlite3_exec(db, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

Statement prepare(sqlite3 *db, const char *sql) {
    sqlite3_stmt *statement = nullptr;
    if (sqlite3_prepare_v2(db, sql, -1, &statement, nullptr) != SQLITE_OK)
        fprintf(stderr, "zevcfg: %s\n", sqlite3_errmsg(db));
    return Statement(statement);
}

bool run(sqlite3_stmt *statement, Layer layer, std::initializer_list<std::string_view> texts) {
    if (statement == nullptr) return false;
    sqlite3_bind_int(statement, 1, layer);
    int position = 2;
    for (std::string_view text : texts) {
        sqlite3_bind_text(statement, position, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
        position++;
    }
    bool done = sqlite3_step(statement) == SQLITE_DONE;
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
    return done;
}

static int schema_version(sqlite3 *db) {
    Statement statement = prepare(db, "PRAGMA user_version");
    if (!statement || sqlite3_step(statement.get()) != SQLITE_ROW) return -1;
    return sqlite3_column_int(statement.get(), 0);
}

static Database open_database() {
    sqlite3 *handle = nullptr;
    int result = sqlite3_open_v2(device_path(STORE_FILE).c_str(), &handle,
                                 SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    Database db(handle);
    if (result != SQLITE_OK) return nullptr;
    sqlite3_busy_timeout(handle, BUSY_TIMEOUT_MS);
    // FULL: a commit that was acknowledged is on the disk.
    if (!execute(handle, "PRAGMA synchronous = FULL")) return nullptr;
    return db;
}

Database open_store() {
    if (!device_file_exists(STORE_FILE)) return nullptr;
    Database db = open_database();
    // A file whose making was cut off is no store yet.
    if (db && schema_version(db.get()) != SCHEMA_VERSION) db.reset();
    return db;
}

Transaction::Transaction(sqlite3 *db) : db_(db), open_(db != nullptr && execute(db, "BEGIN IMMEDIATE")) {}

Transaction::~Transaction() {
    if (open_) execute(db_, "ROLLBACK");
}

bool Transaction::commit() {
    if (!open_ || !execute(db_, "COMMIT")) return false;
    open_ = false;
    return true;
}

bool create_store(const StoreContents &contents) {
    // Made here and not by SQLite: it holds secrets, and its companions take its mode.
    int fd = open_device_file(STORE_FILE, O_RDWR | O_CREAT, 0600);
    if (fd < 0) return false;
    close(fd);
    Database db = open_database();
    if (!db || !execute(db.get(), "PRAGMA journal_mode = WAL")) return false;
    Transaction transaction(db.get());
    if (!transaction.started()) return false;
    if (schema_version(db.get()) == SCHEMA_VERSION) return true;
    if (!execute(db.get(),
                 "CREATE TABLE items (layer INTEGER, grp TEXT, key TEXT, value TEXT NOT NULL,"
                 " PRIMARY KEY (layer, grp, key)) WITHOUT ROWID"))
        return false;
    return put_items(db.get(), LAYER_FACTORY, contents[LAYER_FACTORY]) &&
           copy_layer(db.get(), LAYER_FACTORY, LAYER_WORKING) &&
           put_items(db.get(), LAYER_WORKING, contents[LAYER_WORKING]) &&
           copy_layer(db.get(), LAYER_WORKING, LAYER_RUNNING) &&
           put_items(db.get(), LAYER_SYSTEM, contents[LAYER_SYSTEM]) &&
           put_items(db.get(), LAYER_ENVIRONMENT, contents[LAYER_ENVIRONMENT]) &&
           execute(db.get(), ("PRAGMA user_version = " + std::to_string(SCHEMA_VERSION)).c_str()) &&
           transaction.commit();
}

bool put_items(sqlite3 *db, Layer layer, const std::vector<StoreItem> &items) {
    Statement put = prepare(db, "INSERT OR REPLACE INTO items VALUES (?1, ?2, ?3, ?4)");
    for (const StoreItem &item : items) {
        if (!run(put.get(), layer, {item.group, item.key, item.value})) return false;
    }
    return true;
}

bool remove_item(sqlite3 *db, Layer layer, std::string_view group, std::string_view key) {
    Statement remove = prepare(db, "DELETE FROM items WHERE layer = ?1 AND grp = ?2 AND key = ?3");
    return run(remove.get(), layer, {group, key}) && sqlite3_changes(db) > 0;
}

bool copy_layer(sqlite3 *db, Layer from, Layer to) {
    Statement clear = prepare(db, "DELETE FROM items WHERE layer = ?1");
    Statement copy = prepare(db, "INSERT INTO items SELECT ?2, grp, key, value FROM items WHERE layer = ?1");
    if (!copy) return false;
    sqlite3_bind_int(copy.get(), 2, to);
    return run(clear.get(), to, {}) && run(copy.get(), from, {});
}

static std::string column(sqlite3_stmt *statement, int index) {
    const auto *text = static_cast<const char *>(sqlite3_column_blob(statement, index));
    return text == nullptr ? ""
                           : std::string(text, static_cast<size_t>(sqlite3_column_bytes(statement, index)));
}

bool list_items(sqlite3 *db, Layer layer, std::string_view group, std::vector<StoreItem> *out) {
    out->clear();
    Statement list = prepare(
        db, group.empty() ? "SELECT grp, key, value FROM items WHERE layer = ?1 ORDER BY grp, key"
                          : "SELECT grp, key, value FROM items WHERE layer = ?1 AND grp = ?2 ORDER BY key");
    if (!list) return false;
    sqlite3_bind_int(list.get(), 1, layer);
    if (!group.empty())
        sqlite3_bind_text(list.get(), 2, group.data(), static_cast<int>(group.size()), SQLITE_STATIC);
    int result = SQLITE_ROW;
    while ((result = sqlite3_step(list.get())) == SQLITE_ROW)
        out->push_back({column(list.get(), 0), column(list.get(), 1), column(list.get(), 2)});
    return result == SQLITE_DONE;
}
