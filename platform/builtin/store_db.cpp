// The SQLite side of the store: opening, making, and the few statements everything else is made of.
#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/builtin/store.h"
#include "platform/device.h"

// Layout 1 had no sums.
static constexpr int SCHEMA_VERSION = 2;
static constexpr int APPLICATION_ID = 0x5a564346;  // "ZVCF", for file(1)
// The log is cut to this after a long transaction. 64 KiB are some hundred items.
static constexpr char SETTINGS[] = "PRAGMA synchronous = FULL; PRAGMA journal_size_limit = 65536";

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

static int number_of(sqlite3 *db, const char *pragma) {
    Statement statement = prepare(db, pragma);
    if (!statement || sqlite3_step(statement.get()) != SQLITE_ROW) return -1;
    return sqlite3_column_int(statement.get(), 0);
}

bool is_copy_in_memory(sqlite3 *db) {
    const char *file = sqlite3_db_filename(db, "main");
    // SQLite gives such a copy a name of its own.
    return file == nullptr || !std::string_view(file).ends_with(STORE_FILE);
}

std::string store_error(sqlite3 *db) {
    const std::string path = device_path(STORE_FILE);
    if (db == nullptr) return path + ": out of memory";
    if (sqlite3_errcode(db) == SQLITE_READONLY && is_copy_in_memory(db)) return path + ": no room to write";
    int code = sqlite3_errcode(db) & 0xff;
    bool of_the_file = code == SQLITE_CANTOPEN || code == SQLITE_READONLY || code == SQLITE_PERM;
    // SQLite opens a file that it may not write for reading, and says so only when it is to write.
    if (of_the_file && access(path.c_str(), R_OK | W_OK) != 0) return path + ": " + strerror(errno);
    int number = sqlite3_system_errno(db);
    if (of_the_file && number != 0) return path + ": " + strerror(number);
    return path + ": " + sqlite3_errmsg(db);
}

static Database connect(const std::string &path, int patience_ms) {
    sqlite3 *handle = nullptr;  // stays null without memory
    sqlite3_open_v2(path.c_str(), &handle, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    if (handle != nullptr) sqlite3_busy_timeout(handle, patience_ms);
    return Database(handle);
}

static bool lacks_shared_memory(sqlite3 *db) {
    int code = db != nullptr ? sqlite3_extended_errcode(db) : SQLITE_OK;
    return code == SQLITE_IOERR_SHMSIZE || code == SQLITE_IOERR_SHMOPEN || code == SQLITE_IOERR_SHMMAP ||
           code == SQLITE_FULL || code == SQLITE_CANTOPEN || code == SQLITE_IOERR_WRITE;
}

// The file's bytes as a database: in memory there is no write-ahead log. (The two version numbers of SQLite's
// file format, www.sqlite.org/fileformat.html, section 1.3.3.)
static void set_log(unsigned char *image, size_t size, bool write_ahead) {
    for (size_t i : {18, 19}) {
        if (i < size) image[i] = write_ahead ? 2 : 1;
    }
}

// A connection that has the file for itself keeps the log's index in its own memory. It holds the lock, so
// only for as long as it takes to copy everything; and leaves file and log as they are.
static Database read_alone(const std::string &path, int patience_ms) {
    Database alone = connect(path, patience_ms);
    if (!alone || !execute(alone.get(), "PRAGMA locking_mode = EXCLUSIVE")) return nullptr;
    sqlite3_db_config(alone.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    if (!execute(alone.get(), "BEGIN; SELECT count(*) FROM items; COMMIT")) return nullptr;
    sqlite3_int64 size = 0;
    unsigned char *image = sqlite3_serialize(alone.get(), "main", &size, 0);
    Database copy = connect(":memory:", patience_ms);
    if (image == nullptr || !copy) {
        sqlite3_free(image);
        return nullptr;
    }
    set_log(image, static_cast<size_t>(size), false);
    int result = sqlite3_deserialize(copy.get(), "main", image, size, size,
                                     SQLITE_DESERIALIZE_FREEONCLOSE | SQLITE_DESERIALIZE_READONLY);
    return result == SQLITE_OK ? std::move(copy) : nullptr;
}

StoreFault store_fault(int code) {
    for (int of_the_moment : {SQLITE_BUSY, SQLITE_LOCKED, SQLITE_PROTOCOL, SQLITE_NOMEM, SQLITE_IOERR,
                              SQLITE_FULL, SQLITE_CANTOPEN, SQLITE_PERM, SQLITE_INTERRUPT}) {
        if ((code & 0xff) == of_the_moment) return StoreFault::MOMENT;
    }
    bool forbidden = access(device_path(STORE_FILE).c_str(), R_OK | W_OK) != 0;
    return forbidden ? StoreFault::MOMENT : StoreFault::CONTENT;
}

bool knows_layout(sqlite3 *db, std::string *why, StoreFault *fault) {
    int version = number_of(db, "PRAGMA user_version");
    int application = version < 0 ? 0 : number_of(db, "PRAGMA application_id");
    if (version == 1 || (version == SCHEMA_VERSION && application == APPLICATION_ID)) return true;
    const std::string path = device_path(STORE_FILE);
    *fault = StoreFault::CONTENT;
    if (version > SCHEMA_VERSION && application == APPLICATION_ID) {
        *why = path + " was written by a newer version, in layout " + std::to_string(version) +
               "; this one knows those up to " + std::to_string(SCHEMA_VERSION);
        *fault = StoreFault::NEWER;
    } else if (version >= 0 && application >= 0) {
        *why = path + " is no configuration store";
    } else {
        *why = store_error(db);
        *fault = store_fault(sqlite3_errcode(db));
    }
    return false;
}

Database open_store(std::string *why, int patience_ms, StoreFault *fault) {
    StoreFault ignored{};
    if (fault == nullptr) fault = &ignored;
    *fault = StoreFault::MOMENT;
    const std::string path = device_path(STORE_FILE);
    if (access(path.c_str(), F_OK) != 0) {
        *why = errno == ENOENT ? "no configuration store (zevcfg init makes one)"
                               : path + ": " + strerror(errno);
        return nullptr;
    }
    Database db = connect(path, patience_ms);
    bool readable = db && execute(db.get(), SETTINGS) && number_of(db.get(), "PRAGMA user_version") >= 0;
    if (!readable && lacks_shared_memory(db.get())) {
        *why = store_error(db.get());
        db.reset();  // its lock
        db = read_alone(path, patience_ms);
        if (!db) return nullptr;
        why->clear();
    } else if (!readable) {
        *why = store_error(db.get());
        *fault = store_fault(sqlite3_errcode(db.get()));
        return nullptr;
    }
    return knows_layout(db.get(), why, fault) ? std::move(db) : nullptr;
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
                put_items(handle, LAYER_ENVIRONMENT, contents[LAYER_ENVIRONMENT]) && add_sums(handle) &&
                execute(handle, "COMMIT");
    return made ? store_image(handle) : "";
}

std::string store_image(sqlite3 *db) {
    sqlite3_int64 size = 0;
    unsigned char *bytes = sqlite3_serialize(db, "main", &size, 0);
    if (bytes != nullptr) set_log(bytes, static_cast<size_t>(size), true);
    std::string image(reinterpret_cast<const char *>(bytes),
                      bytes != nullptr ? static_cast<size_t>(size) : 0);
    sqlite3_free(bytes);
    return image;
}

// FNV-1a over the three texts, each with its end. A layer's sum adds them up, so that their order is nothing.
static uint64_t item_sum(std::string_view group, std::string_view key, std::string_view value) {
    uint64_t hash = 0xcbf29ce484222325;
    for (std::string_view text : {group, key, value}) {
        for (char byte : text) hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3;
        hash = (hash ^ 0x100) * 0x100000001b3;
    }
    return hash;
}

std::string sum_text(uint64_t sum) {
    char text[17];
    snprintf(text, sizeof text, "%016" PRIx64, sum);
    return text;
}

namespace {

constexpr char PUT[] = "INSERT OR REPLACE INTO items VALUES (?1, ?2, ?3, ?4)";
constexpr char GET[] = "SELECT value FROM items WHERE layer = ?1 AND grp = ?2 AND key = ?3";

// Reads an item, in a statement of GET. None: there is no such item, or it cannot be read.
std::optional<std::string> item_of(sqlite3_stmt *get, Layer layer, std::string_view group,
                                   std::string_view key) {
    std::optional<std::string> value;
    if (get == nullptr) return value;
    sqlite3_bind_int(get, 1, layer);
    sqlite3_bind_text(get, 2, group.data() != nullptr ? group.data() : "", static_cast<int>(group.size()),
                      SQLITE_STATIC);
    sqlite3_bind_text(get, 3, key.data(), static_cast<int>(key.size()), SQLITE_STATIC);
    if (sqlite3_step(get) == SQLITE_ROW) value = column(get, 0);
    sqlite3_reset(get);
    return value;
}

// The sum of a layer while items of it are written. Only what changes is taken from it and added to it, so
// that a writing does not make good what was damaged elsewhere.
class SumOfLayer {
  public:
    SumOfLayer(sqlite3 *db, Layer layer) : db_(db), layer_(layer), get_(prepare(db, GET)) {
        if (auto stored = item_of(get_.get(), LAYER_SUMS, "", std::to_string(layer))) {
            kept_ = true;
            sum_ = strtoull(stored->c_str(), nullptr, 16);
        }
    }
    void replace(std::string_view group, std::string_view key, const std::string_view *value) {
        if (!kept_) return;
        if (auto old = item_of(get_.get(), layer_, group, key)) sum_ -= item_sum(group, key, *old);
        if (value != nullptr) sum_ += item_sum(group, key, *value);
    }
    void clear() { sum_ = 0; }
    bool save() {
        return !kept_ ||
               run(prepare(db_, PUT).get(), LAYER_SUMS, {"", std::to_string(layer_), sum_text(sum_)});
    }

  private:
    sqlite3 *db_;
    Layer layer_;
    Statement get_;
    bool kept_ = false;  // not in a store of an older layout
    uint64_t sum_ = 0;
};

}  // namespace

bool layer_sum(sqlite3 *db, Layer layer, uint64_t *sum) {
    *sum = 0;
    return visit_items(db, layer, "",
                       [sum](auto group, auto key, auto value) { *sum += item_sum(group, key, value); });
}

bool add_sums(sqlite3 *db) {
    Statement put = prepare(db, PUT);
    for (int layer = 0; layer < LAYER_COUNT; layer++) {
        uint64_t sum = 0;
        if (!layer_sum(db, static_cast<Layer>(layer), &sum) ||
            !run(put.get(), LAYER_SUMS, {"", std::to_string(layer), sum_text(sum)}))
            return false;
    }
    return execute(db, ("PRAGMA user_version = " + std::to_string(SCHEMA_VERSION) +
                        "; PRAGMA application_id = " + std::to_string(APPLICATION_ID))
                           .c_str());
}

bool put_items(sqlite3 *db, Layer layer, const std::vector<StoreItem> &items) {
    if (items.empty()) return true;
    SumOfLayer sum(db, layer);
    Statement put = prepare(db, PUT);
    for (const StoreItem &item : items) {
        const std::string_view value = item.value;
        sum.replace(item.group, item.key, &value);
        if (!run(put.get(), layer, {item.group, item.key, item.value})) return false;
    }
    return sum.save();
}

bool remove_item(sqlite3 *db, Layer layer, std::string_view group, std::string_view key) {
    Statement remove = prepare(db, "DELETE FROM items WHERE layer = ?1 AND grp = ?2 AND key = ?3");
    SumOfLayer sum(db, layer);
    sum.replace(group, key, nullptr);
    return run(remove.get(), layer, {group, key}) && sqlite3_changes(db) > 0 && sum.save();
}

bool clear_layer(sqlite3 *db, Layer layer) {
    SumOfLayer sum(db, layer);
    sum.clear();
    return run(prepare(db, "DELETE FROM items WHERE layer = ?1").get(), layer, {}) && sum.save();
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
