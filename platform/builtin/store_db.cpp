// The SQLite side of the store: opening, making, and the few statements everything else is made of.
#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/builtin/store.h"
#include "platform/device.h"

static constexpr int SCHEMA_VERSION = 1;

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
    sqlite3_prepare_v2(db, sql, -1, &statement, nullptr);
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

std::string store_error(sqlite3 *db) {
    const std::string path = device_path(STORE_FILE);
    int code = sqlite3_errcode(db) & 0xff;
    bool of_the_file = code == SQLITE_CANTOPEN || code == SQLITE_READONLY || code == SQLITE_PERM;
    // SQLite opens a file that it may not write for reading, and says so only when it is to write.
    if (of_the_file && access(path.c_str(), R_OK | W_OK) != 0) return path + ": " + strerror(errno);
    int number = sqlite3_system_errno(db);
    if (of_the_file && number != 0) return path + ": " + strerror(number);
    return path + ": " + sqlite3_errmsg(db);
}

Database open_store(std::string *why, int patience_ms) {
    const std::string path = device_path(STORE_FILE);
    if (access(path.c_str(), F_OK) != 0) {
        *why = errno == ENOENT ? "no configuration store (zevcfg init makes one)"
                               : path + ": " + strerror(errno);
        return nullptr;
    }
    sqlite3 *handle = nullptr;
    int result = sqlite3_open_v2(path.c_str(), &handle, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    Database db(handle);
    sqlite3_busy_timeout(handle, patience_ms);
    // FULL: a commit that was acknowledged is on the disk.
    int version =
        result == SQLITE_OK && execute(handle, "PRAGMA synchronous = FULL") ? schema_version(handle) : -1;
    if (version == SCHEMA_VERSION) return db;
    *why = version < 0 ? store_error(handle) : path + " is no configuration store";
    return nullptr;
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

std::string new_store(const StoreContents &contents) {
    sqlite3 *handle = nullptr;
    int result = sqlite3_open(":memory:", &handle);
    Database db(handle);
    if (result != SQLITE_OK || !execute(handle,
                                        "CREATE TABLE items (layer INTEGER, grp TEXT, key TEXT,"
                                        " value TEXT NOT NULL, PRIMARY KEY (layer, grp, key)) WITHOUT ROWID"))
        return "";
    bool made = execute(handle, "BEGIN") && put_items(handle, LAYER_FACTORY, contents[LAYER_FACTORY]) &&
                copy_layer(handle, LAYER_FACTORY, LAYER_WORKING) &&
                put_items(handle, LAYER_WORKING, contents[LAYER_WORKING]) &&
                copy_layer(handle, LAYER_WORKING, LAYER_RUNNING) &&
                copy_layer(handle, LAYER_WORKING, LAYER_APPLIED) &&
                put_items(handle, LAYER_SYSTEM, contents[LAYER_SYSTEM]) &&
                put_items(handle, LAYER_ENVIRONMENT, contents[LAYER_ENVIRONMENT]) &&
                execute(handle, ("PRAGMA user_version = " + std::to_string(SCHEMA_VERSION)).c_str()) &&
                execute(handle, "COMMIT");
    sqlite3_int64 size = 0;
    unsigned char *bytes = made ? sqlite3_serialize(handle, "main", &size, 0) : nullptr;
    std::string image(reinterpret_cast<const char *>(bytes),
                      bytes != nullptr ? static_cast<size_t>(size) : 0);
    sqlite3_free(bytes);
    // A database in memory knows no write-ahead log; the file is to have one. (The two version numbers of
    // SQLite's file format, www.sqlite.org/fileformat.html, section 1.3.3.)
    for (size_t i : {18, 19}) {
        if (i < image.size()) image[i] = 2;
    }
    return image;
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

std::string_view column(sqlite3_stmt *statement, int index) {
    const auto *text = static_cast<const char *>(sqlite3_column_blob(statement, index));
    return {text, text == nullptr ? 0 : static_cast<size_t>(sqlite3_column_bytes(statement, index))};
}

bool list_differences(sqlite3 *db, Layer before, Layer after, std::string_view group,
                      std::vector<Difference> *out) {
    out->clear();
    Statement list = prepare(db,
                             "SELECT grp, key, max(CASE layer WHEN ?1 THEN value END),"
                             " max(CASE layer WHEN ?2 THEN value END) FROM items"
                             " WHERE layer IN (?1, ?2) AND (?3 = '' OR grp = ?3) GROUP BY grp, key"
                             " HAVING count(*) = 1 OR min(value) <> max(value) ORDER BY grp, key");
    if (!list) return false;
    sqlite3_bind_int(list.get(), 1, before);
    sqlite3_bind_int(list.get(), 2, after);
    sqlite3_bind_text(list.get(), 3, group.data() != nullptr ? group.data() : "",
                      static_cast<int>(group.size()), SQLITE_STATIC);
    const auto value = [&list](int index) {
        return sqlite3_column_type(list.get(), index) == SQLITE_NULL ? std::optional<std::string>()
                                                                     : std::string(column(list.get(), index));
    };
    int result = SQLITE_ROW;
    while ((result = sqlite3_step(list.get())) == SQLITE_ROW)
        out->push_back(
            {std::string(column(list.get(), 0)), std::string(column(list.get(), 1)), value(2), value(3)});
    return result == SQLITE_DONE;
}

bool copy_layer(sqlite3 *db, Layer from, Layer to) {
    std::vector<Difference> differences;
    if (!list_differences(db, to, from, "", &differences)) return false;
    std::vector<StoreItem> items;
    for (Difference &difference : differences) {
        if (difference.after)
            items.push_back(
                {std::move(difference.group), std::move(difference.key), std::move(*difference.after)});
        else if (!remove_item(db, to, difference.group, difference.key))
            return false;
    }
    return put_items(db, to, items);
}

bool visit_items(
    sqlite3 *db, Layer layer, std::string_view group,
    const std::function<void(std::string_view group, std::string_view key, std::string_view value)> &visit) {
    Statement list = prepare(
        db, group.empty() ? "SELECT grp, key, value FROM items WHERE layer = ?1 ORDER BY grp, key"
                          : "SELECT grp, key, value FROM items WHERE layer = ?1 AND grp = ?2 ORDER BY key");
    if (!list) return false;
    sqlite3_bind_int(list.get(), 1, layer);
    if (!group.empty())
        sqlite3_bind_text(list.get(), 2, group.data(), static_cast<int>(group.size()), SQLITE_STATIC);
    int result = SQLITE_ROW;
    while ((result = sqlite3_step(list.get())) == SQLITE_ROW)
        visit(column(list.get(), 0), column(list.get(), 1), column(list.get(), 2));
    return result == SQLITE_DONE;
}

bool list_items(sqlite3 *db, Layer layer, std::string_view group, std::vector<StoreItem> *out) {
    out->clear();
    return visit_items(db, layer, group, [out](auto item_group, auto key, auto value) {
        out->push_back({std::string(item_group), std::string(key), std::string(value)});
    });
}
