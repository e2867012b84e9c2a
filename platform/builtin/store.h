// The store behind zevcfg.h: one SQLite database below /var/lib/zevcfg that any number of processes read and
// write. Inside the built-in platform layer only.
//
// Every text of the store lives in a layer under a group and a key. The three configurations are layers;
// system items and the rc environment are layers with the one group "".
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

// The numbers are stored.
enum Layer : int {
    LAYER_FACTORY = 0,
    LAYER_WORKING = 1,
    LAYER_RUNNING = 2,
    // The running one as the last apply that succeeded left it: where one that fails, also one that repeats a
    // killed one, goes back to. Whoever writes the running configuration by hand writes it here too.
    LAYER_APPLIED = 3,
    LAYER_SYSTEM = 4,
    LAYER_ENVIRONMENT = 5,
    // The working one as it was before the first save of a load of settings, and which load that is.
    LAYER_BEFORE_LOAD = 6,
    LAYER_LOAD_ID = 7,
    LAYER_COUNT = 8,
    LAYER_SUMS = 8,  // of the layers before: the group "", the layer's number as the key
};

constexpr char STORE_FOLDER[] = "/var/lib/zevcfg";
constexpr char STORE_FILE[] = "/var/lib/zevcfg/zevcfg.db";
constexpr char DAMAGED_STORE_FILE[] = "/var/lib/zevcfg/zevcfg.db.damaged";
constexpr char GOOD_STORE_FILE[] =
    "/var/lib/zevcfg/zevcfg.db.good";  // as the last apply that went well left it

struct CloseDatabase {
    void operator()(sqlite3 *db) const;
};
struct FinalizeStatement {
    void operator()(sqlite3_stmt *statement) const;
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;
using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

struct StoreItem {
    std::string group, key, value;
};

// ---- the database (store_db.cpp); a connection is used by one thread at a time ----

// How long a statement waits for other processes' writing. The daemon's only thread for requests does not
// have the time of others.
constexpr int PATIENCE_MS = 5000;
constexpr int REQUEST_PATIENCE_MS = 900;
// Where it lies that a store cannot be read.
enum class StoreFault {
    MOMENT,   // in the moment, in the machine or in who asks: it may be whole
    CONTENT,  // in what the file holds
    NEWER,    // in this program, which does not know the layout
};
// Null when there is no store or it cannot be opened; `why` then says it. Where there is no room for the
// memory that SQLite's connections share, a copy in memory that cannot be written.
Database open_store(std::string *why, int patience_ms = PATIENCE_MS, StoreFault *fault = nullptr);
bool is_copy_in_memory(sqlite3 *db);
// What became of the last statement that failed, for people.
std::string store_error(sqlite3 *db);
// By SQLite's code of what failed.
StoreFault store_fault(int code);
// What a new store holds. The working layer's items are put on top of the factory configuration, and the
// running configuration becomes a copy of that.
using StoreContents = std::array<std::vector<StoreItem>, LAYER_COUNT>;
// The bytes of a new store's file; empty when it cannot be made.
std::string new_store(const StoreContents &contents);

// A write transaction, rolled back unless committed.
class Transaction {
  public:
    explicit Transaction(sqlite3 *db);
    ~Transaction();
    Transaction(const Transaction &) = delete;
    Transaction &operator=(const Transaction &) = delete;
    bool started() const { return open_; }
    bool commit();

  private:
    sqlite3 *db_;
    bool open_;
};

// Null when the text is no statement, or the store is broken.
Statement prepare(sqlite3 *db, const char *sql);
// Runs a statement that returns no rows, texts bound in order from parameter 2 and the layer to parameter 1.
bool run(sqlite3_stmt *statement, Layer layer, std::initializer_list<std::string_view> texts);

// A text of the row at which the statement stands, until its next step.
std::string_view column(sqlite3_stmt *statement, int index);

bool put_items(sqlite3 *db, Layer layer, const std::vector<StoreItem> &items);
// True when there was such an item.
bool remove_item(sqlite3 *db, Layer layer, std::string_view group, std::string_view key);
bool clear_layer(sqlite3 *db, Layer layer);
// An item that two layers do not hold alike.
struct Difference {
    std::string group, key;
    std::optional<std::string> before, after;  // none: the layer has no such item
};
// From layer to layer, of one group when `group` is not empty, sorted by group and key.
bool list_differences(sqlite3 *db, Layer before, Layer after, std::string_view group,
                      std::vector<Difference> *out);
// Makes a layer a copy of another. Only what differs is written.
bool copy_layer(sqlite3 *db, Layer from, Layer to);
// The items of a layer, of one group when `group` is not empty, sorted by group and key. What `visit` gets is
// gone when it returns.
bool visit_items(
    sqlite3 *db, Layer layer, std::string_view group,
    const std::function<void(std::string_view group, std::string_view key, std::string_view value)> &visit);
bool list_items(sqlite3 *db, Layer layer, std::string_view group, std::vector<StoreItem> *out);

// Sums over what a layer's items are, kept up to date by every writing. Made where a store has none.
bool add_sums(sqlite3 *db);
std::string sum_text(uint64_t sum);                       // as it is stored
bool layer_sum(sqlite3 *db, Layer layer, uint64_t *sum);  // of the items that are there
// The bytes of the store's file, what is in its log included; empty when it cannot be read.
std::string store_image(sqlite3 *db);
// Whether this program knows the layout; else `why`, behind the store's name, and where that lies.
bool knows_layout(sqlite3 *db, std::string *why, StoreFault *fault);

// ---- checking, mending and growing a store (store_check.cpp) ----

// Looks at the structure and at each layer's sum. False, and what is wrong with it.
bool check_items(sqlite3 *db, std::string *why);
// The same of the file, and tells whoever asks for the device's state (DAMAGE_FILE). `why` is empty when
// nothing is wrong.
bool check_store(std::string *why);
// Puts the copy of the last good apply in the place of a store that is damaged, or gone since a repair that
// was killed; without one the factory configuration. The damaged file is kept. So is, with `newer_too`, one
// of a newer layout; else that is left. True when there is a whole store now; `said` is what was done, empty
// when nothing had to be.
bool mend_store(std::string *said, bool newer_too = false);
// Keeps a copy of the store as it is, when it is whole.
bool keep_good_copy(sqlite3 *db);
// Gives a store that an older program made what the factory configuration has more.
bool grow_store(std::string *why);

// ---- reading and writing through the process's one cached connection (store_items.cpp); any thread ----

// 0 and the text, or STORE_NO_SUCH_ITEM. Says nothing of a missing store.
int find_item(Layer layer, std::string_view group, std::string_view key, std::string *out);
// Why the last look-up could not read the store; empty when it could.
std::string reading_failure();
// Copies into a caller's buffer, cut to its size.
void copy_text(std::string_view text, char *out, size_t size);

// The set item, or what the kernel knows.
bool system_item(std::string_view name, std::string *out);

struct cfg_item;
struct QueuedItem {
    unsigned group_id;
    std::string key, value;
};
std::vector<QueuedItem> queued_items(const cfg_item *head);

// ---- group ids (store_groups.cpp) ----

const char *group_name(unsigned group_id);  // null for an unknown id

// ---- the marker of saved changes (store_sync.cpp) ----

enum class Saved { NOTHING, CHANGES, CHANGES_FOR_REBOOT };
Saved read_marker();
bool write_marker(Saved saved);  // NOTHING removes it

// ---- loads of settings that save in steps (store_load.cpp), see platform/load_note.h ----

class LoadNote;
enum class LoadState { NONE, RUNS, LEFT };  // LEFT: by a load that died
// Opens the note. One that was left is held by it from here on.
LoadState look_at_load(LoadNote *note);
// In a transaction each. Before a save while a load runs: keeps what the working configuration is.
bool keep_saved(sqlite3 *db, const LoadNote &note);
// Makes the working configuration what it was before the first save of this load, when there was one.
bool put_back_saved(sqlite3 *db, const LoadNote &note);
bool forget_saved(sqlite3 *db);
// Makes the saved configuration the running one; the steps of a load are none of it: while a load runs, it is
// what was saved before.
bool take_saved(sqlite3 *db, std::string *why);

// ---- the lock (store_lock.cpp), and who is told of an apply (store_notify.cpp) ----

// flock's operation: the descriptor that holds the lock, above 2; −1 with errno.
int take_lock(int operation);
void free_lock(int fd);

// True when the process of the PID file is a zevsic.
bool daemon_runs();
// Starts a process of its own, nobody's child, that sends SIGUSR2 to the daemon once its apply has ended.
void notify_daemon();

// ---- apply, boot, reset (store_apply.cpp); `why` says what failed ----

bool apply_store(std::string *why);
bool boot_store(std::string *why);
bool reset_store(std::string *why);
