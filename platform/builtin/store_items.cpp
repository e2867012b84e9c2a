// Reading and writing items. The process keeps the working configuration in memory and reads it again when
// another connection has committed. The other layers are read for single items now and then.
#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>

#include "platform/builtin/store.h"
#include "platform/device.h"
#include "platform/load_note.h"
#include "platform/zevcfg.h"

static constexpr char REBOOT_GROUPS[] = "REBOOT_GROUPS";  // the variable that lists them
static constexpr int LOOK_AGAIN_MS = 1000;

struct zevcfg_object {
    Layer layer;
};
struct zevcfg_handle {
    Layer layer;
    int opened;
};
// The head also knows the last item, so that appending does not walk the list.
struct cfg_item {
    cfg_item *next;
    cfg_item *last;
    unsigned group_id;
    std::string key, value;
};

extern "C" {
zevcfg_object config_ram = {LAYER_WORKING};
zevcfg_object current_config = {LAYER_RUNNING};
}

namespace {

constexpr size_t HEADER_WORDS = 6;
// Versions of the database begin at 1.
constexpr sqlite3_int64 NEVER_READ = -1;
constexpr sqlite3_int64 NOT_KNOWN = -2;

// "group\0key\0value\0", one item behind the other, found by the hash of group and key: thousands of items in
// two pieces of memory.
struct PackedItems {
    std::string texts;
    std::vector<uint32_t> slots;  // where an item begins in `texts`, plus 1; 0: none. A power of two.
};

// The process's connection and what it has read. Handles are two counters in here: a stale one never dangles.
struct Cache {
    std::mutex mutex;
    std::string path;
    struct stat file = {};  // of the store that was opened
    Database db;
    int64_t next_look = 0;  // at the store's file, in milliseconds_now
    int64_t next_read = 0;  // after one that failed
    std::string missing;    // why there is no store; empty when there is one
    std::string failure;    // why the last reading or saving failed; empty when it did not
    std::string said;       // of the two on standard error
    Statement version;
    const volatile uint64_t *header = nullptr;  // see shared_header; null: none
    std::array<uint64_t, HEADER_WORDS> seen_header = {};
    sqlite3_int64 seen_version = NOT_KNOWN;    // of the database, with that header or a newer one
    PackedItems items;                         // the working configuration
    sqlite3_int64 items_version = NEVER_READ;  // of the database when it was read
    Statement select;                          // of an item of another layer
    std::string selected;                      // its text
    zevcfg_handle working = {LAYER_WORKING, 0};
    zevcfg_handle running = {LAYER_RUNNING, 0};
};

}  // namespace

// Never destroyed: a thread may still be reading while the process exits.
static Cache &cache() {
    static auto *instance = new Cache;
    return *instance;
}

static size_t item_hash(std::string_view group, std::string_view key) {
    const std::hash<std::string_view> hash;
    return hash(group) * 31 + hash(key);
}

static void index_items(PackedItems *items, size_t count) {
    items->slots.assign(std::bit_ceil(2 * count + 1), 0);
    const size_t mask = items->slots.size() - 1;
    const char *const texts = items->texts.c_str();
    for (size_t at = 0; at < items->texts.size();) {
        const std::string_view group = texts + at, key = group.end() + 1, value = key.end() + 1;
        size_t slot = item_hash(group, key) & mask;
        while (items->slots[slot] != 0) slot = (slot + 1) & mask;
        items->slots[slot] = static_cast<uint32_t>(at + 1);
        at += group.size() + key.size() + value.size() + 3;
    }
}

static const char *find_packed(const PackedItems &items, std::string_view group, std::string_view key) {
    if (items.slots.empty()) return nullptr;
    const size_t mask = items.slots.size() - 1;
    for (size_t slot = item_hash(group, key) & mask; items.slots[slot] != 0; slot = (slot + 1) & mask) {
        const std::string_view own_group = items.texts.c_str() + items.slots[slot] - 1;
        const std::string_view own_key = own_group.end() + 1;
        if (group == own_group && key == own_key) return own_key.end() + 1;
    }
    return nullptr;
}

static int64_t milliseconds_now() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

// Once for each failure, however many requests meet it.
static void say_failure(Cache &c) {
    const std::string &failure = c.missing.empty() ? c.failure : c.missing;
    if (failure == c.said) return;
    if (!failure.empty()) fprintf(stderr, "zevcfg: %s\n", failure.c_str());
    c.said = failure;
}

static void close_cache(Cache &c) {
    c.items = {};
    c.items_version = NEVER_READ;
    c.version.reset();
    c.select.reset();
    c.header = nullptr;
    c.db.reset();
    c.next_read = 0;
}

// The header of the write-ahead log's index, in memory that all connections to the store share: every commit
// changes its 48 bytes (www.sqlite.org/walformat.html, section 2.1). Looking there takes nanoseconds, asking
// for data_version 2 µs. SQLite has the region mapped while the connection is open.
static const volatile uint64_t *shared_header(sqlite3 *db) {
    constexpr int REGION = 32768;  // as SQLite maps it
    sqlite3_file *file = nullptr;
    volatile void *region = nullptr;
    bool mapped = sqlite3_file_control(db, "main", SQLITE_FCNTL_FILE_POINTER, &file) == SQLITE_OK &&
                  file->pMethods != nullptr && file->pMethods->iVersion >= 2 &&
                  file->pMethods->xShmMap != nullptr &&  // that of a copy in memory
                  file->pMethods->xShmMap(file, 0, REGION, 0, &region) == SQLITE_OK;
    return mapped ? static_cast<const volatile uint64_t *>(region) : nullptr;
}

// Takes the header down before the question for the version, so that what is committed between the two is
// seen the next time.
static bool header_changed(Cache &c) {
    if (c.header == nullptr) return true;
    bool changed = false;
    for (size_t i = 0; i < HEADER_WORDS; i++) {
        uint64_t word = c.header[i];
        changed = changed || word != c.seen_header[i];
        c.seen_header[i] = word;
    }
    return changed;
}

// Opens the store, or looks whether it is still the one that is open: another may have been made at its
// place. False when there is none. What was read of one that was removed goes on being served.
static bool look_at_store(Cache &c) {
    c.next_look = milliseconds_now() + LOOK_AGAIN_MS;
    c.missing.clear();
    std::string path = device_path(STORE_FILE);
    struct stat file = {};
    bool there = stat(path.c_str(), &file) == 0;
    bool open = c.db && path == c.path;
    // A copy is taken anew: others may have written, and there may be room by now.
    if (open && there && !is_copy_in_memory(c.db.get()) && file.st_ino == c.file.st_ino &&
        file.st_dev == c.file.st_dev)
        return true;
    Database db = open_store(&c.missing, REQUEST_PATIENCE_MS);
    if (!db && open && !there) return false;
    close_cache(c);
    if (!db) return false;
    c.db = std::move(db);
    c.version = prepare(c.db.get(), "PRAGMA data_version");
    c.select = prepare(c.db.get(), "SELECT value FROM items WHERE layer = ?1 AND grp = ?2 AND key = ?3");
    c.header = shared_header(c.db.get());
    c.path = path;
    c.file = file;
    return true;
}

static void reading_failed(Cache &c) {
    c.failure = store_error(c.db.get());
    c.next_read = milliseconds_now() + LOOK_AGAIN_MS;  // it may have waited for other processes
}

static bool read_items(Cache &c) {
    PackedItems items;
    size_t count = 0;
    items.texts.reserve(c.items.texts.size());
    const bool read = visit_items(c.db.get(), LAYER_WORKING, "", [&](auto group, auto key, auto value) {
        for (const std::string_view text : {group, key, value})
            items.texts.append(text.substr(0, text.find('\0'))).push_back('\0');
        count++;
    });
    if (!read) return false;
    items.texts.shrink_to_fit();
    index_items(&items, count);
    c.items = std::move(items);
    sqlite3_db_release_memory(c.db.get());  // the pages are not asked for again
    return true;
}

// Brings the working configuration up to date. When that fails for a moment the items read before are served.
static void refresh(Cache &c) {
    if (!header_changed(c) && c.items_version == c.seen_version) return;
    bool read = c.version && sqlite3_step(c.version.get()) == SQLITE_ROW;
    sqlite3_int64 version = read ? sqlite3_column_int64(c.version.get(), 0) : NOT_KNOWN;
    sqlite3_reset(c.version.get());
    c.seen_version = version;
    if (read) c.failure.clear();
    if (read && version == c.items_version) return;
    if (read && read_items(c))
        c.items_version = version;
    else
        reading_failed(c);
}

static const char *select_item(Cache &c, Layer layer, std::string_view group, std::string_view key) {
    sqlite3_stmt *select = c.select.get();
    sqlite3_bind_int(select, 1, layer);
    sqlite3_bind_text(select, 2, group.data(), static_cast<int>(group.size()), SQLITE_STATIC);
    sqlite3_bind_text(select, 3, key.data(), static_cast<int>(key.size()), SQLITE_STATIC);
    const int result = sqlite3_step(select);
    if (result == SQLITE_ROW) c.selected = column(select, 0);
    if (result != SQLITE_ROW && result != SQLITE_DONE) reading_failed(c);
    sqlite3_reset(select);
    return result == SQLITE_ROW ? c.selected.c_str() : nullptr;
}

// The item's text until the next look-up in such a layer, or null.
static const char *look_up(Cache &c, Layer layer, std::string_view group, std::string_view key) {
    // Without a handle nobody has looked yet.
    if (c.working.opened + c.running.opened == 0 || milliseconds_now() >= c.next_look) look_at_store(c);
    if (!c.db) return nullptr;
    const bool waits = milliseconds_now() < c.next_read;
    if (layer != LAYER_WORKING) return waits ? nullptr : select_item(c, layer, group, key);
    if (!waits) refresh(c);
    return find_packed(c.items, group, key);
}

int find_item(Layer layer, std::string_view group, std::string_view key, std::string *out) {
    Cache &c = cache();
    std::lock_guard lock(c.mutex);
    const char *text = look_up(c, layer, group, key);
    if (text == nullptr) return STORE_NO_SUCH_ITEM;
    *out = text;
    return 0;
}

std::string reading_failure() {
    Cache &c = cache();
    std::lock_guard lock(c.mutex);
    return c.missing.empty() ? c.failure : c.missing;
}

void copy_text(std::string_view text, char *out, size_t size) {
    if (size == 0) return;
    text = text.substr(0, size - 1);
    memcpy(out, text.data(), text.size());
    out[text.size()] = '\0';
}

zevcfg_handle *init_zevcfg_f(zevcfg_object *object) {
    Cache &c = cache();
    std::lock_guard lock(c.mutex);
    bool found = look_at_store(c);
    say_failure(c);
    if (object == nullptr || !found) return nullptr;
    zevcfg_handle *handle = object->layer == LAYER_WORKING ? &c.working : &c.running;
    handle->opened++;
    return handle;
}

void close_zevcfg(zevcfg_handle *handle) {
    Cache &c = cache();
    std::lock_guard lock(c.mutex);
    if (handle == nullptr || handle->opened == 0) return;
    handle->opened--;
    if (c.working.opened + c.running.opened == 0) close_cache(c);
}

int get_cfg_item_by_str(zevcfg_handle *handle, const char *group, const char *key, char *out) {
    if (handle == nullptr) return STORE_NO_SUCH_ITEM;
    Cache &c = cache();
    std::lock_guard lock(c.mutex);
    const char *text = look_up(c, handle->layer, group, key);
    say_failure(c);
    if (text == nullptr) return STORE_NO_SUCH_ITEM;
    copy_text(text, out, STORE_TEXT_SIZE);
    return 0;
}

int get_cfg_item(zevcfg_handle *handle, unsigned group_id, const char *key, char *out) {
    const char *group = group_name(group_id);
    return group == nullptr ? STORE_NO_SUCH_ITEM : get_cfg_item_by_str(handle, group, key, out);
}

cfg_item *append_cfg_item(cfg_item *head, unsigned group_id, const char *key, const char *value) {
    auto *item = new cfg_item{nullptr, nullptr, group_id, key, value != nullptr ? value : ""};
    if (head == nullptr) {
        item->last = item;
        return item;
    }
    head->last->next = item;
    head->last = item;
    return head;
}

void free_item_list(cfg_item *head) {
    while (head != nullptr) {
        cfg_item *next = head->next;
        delete head;
        head = next;
    }
}

std::vector<QueuedItem> queued_items(const cfg_item *head) {
    std::vector<QueuedItem> items;
    for (const cfg_item *item = head; item != nullptr; item = item->next)
        items.push_back({item->group_id, item->key, item->value});
    return items;
}

static bool lists_word(std::string_view list, std::string_view word) {
    while (!list.empty()) {
        size_t end = std::min(list.find_first_of(" \t"), list.size());
        if (list.substr(0, end) == word) return true;
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    return false;
}

// The lists of the firewall and the item that says how long each is.
static constexpr struct {
    const char *group, *entry, *size;
} LISTS[] = {
    {"bfirewall", "bfw_entry:", "table_size"},
    {"bfw_service", "uds_entry:", "table_size"},
    {"bfw_dai", "dhcp_entry:", "dtbl_size"},
    {"bfw_dai", "privilege_entry:", "ptbl_size"},
};

// Whoever writes an item of an entry makes the entry: a list becomes long enough to have it.
static void grow_lists(Cache &c, std::vector<StoreItem> *items) {
    for (const auto &list : LISTS) {
        const char *stored = look_up(c, LAYER_WORKING, list.group, list.size);
        const int before = stored ? atoi(stored) : 0;
        int size = before;
        for (const StoreItem &item : *items) {
            if (item.group != list.group || !item.key.starts_with(list.entry)) continue;
            size = std::max(size, atoi(item.key.c_str() + strlen(list.entry)) + 1);
        }
        if (size > before) items->push_back({list.group, list.size, std::to_string(size)});
    }
}

// Writes the items and the marker of saved changes; both are there or neither. Says why before the
// transaction is taken back, which has an outcome of its own.
static bool save_items(Cache &c, std::vector<StoreItem> *queued) {
    Transaction transaction(c.db.get());
    const auto fail = [&c](const std::string &why) {
        c.failure = "nothing was saved: " + why;
        return false;
    };
    if (!transaction.started()) return fail(store_error(c.db.get()));
    LoadNote note;
    const LoadState load = look_at_load(&note);
    if (load == LoadState::LEFT) return fail("a load of settings has died");
    if (load == LoadState::RUNS && !keep_saved(c.db.get(), note)) return fail(store_error(c.db.get()));
    grow_lists(c, queued);
    const std::vector<StoreItem> &items = *queued;
    const char *reboot_groups = look_up(c, LAYER_ENVIRONMENT, "", REBOOT_GROUPS);
    const Saved before = read_marker();
    bool reboot = before == Saved::CHANGES_FOR_REBOOT;
    for (const StoreItem &item : items) {
        if (reboot || reboot_groups == nullptr || !lists_word(reboot_groups, item.group)) continue;
        const char *old = look_up(c, LAYER_WORKING, item.group, item.key);
        reboot = old == nullptr || old != item.value;
    }
    if (!put_items(c.db.get(), LAYER_WORKING, items)) return fail(store_error(c.db.get()));
    const bool marked = write_marker(reboot ? Saved::CHANGES_FOR_REBOOT : Saved::CHANGES);
    if (marked && transaction.commit()) return true;
    fail(marked ? store_error(c.db.get()) : device_path(SAVED_CHANGES_FILE) + " cannot be written");
    write_marker(before);
    return false;
}

// What a load of settings that died has saved goes before anything else is saved, and with it what is queued
// now: that may be of the same load. False when that was something.
static bool put_back_load(Cache &c, bool queued) {
    LoadNote note;
    if (look_at_load(&note) != LoadState::LEFT) return true;
    Transaction transaction(c.db.get());
    if (!transaction.started() || !put_back_saved(c.db.get(), note) || !transaction.commit()) {
        c.failure = "nothing was saved: " + store_error(c.db.get());
        return false;
    }
    note.clear();
    c.items_version = NEVER_READ;
    notify_daemon();
    if (queued) c.failure = "nothing was saved: a load of settings has died, what it did is taken back";
    return !queued;
}

int set_cfg_items_snmp(zevcfg_handle *handle, const cfg_item *head) {
    if (handle == nullptr || handle->layer != LAYER_WORKING) return -1;
    std::vector<StoreItem> items;
    for (const cfg_item *item = head; item != nullptr; item = item->next) {
        const char *group = group_name(item->group_id);
        if (group == nullptr) return -1;
        items.push_back({group, item->key, item->value});
    }
    Cache &c = cache();
    std::lock_guard lock(c.mutex);
    bool saved =
        look_at_store(c) && put_back_load(c, !items.empty()) && (items.empty() || save_items(c, &items));
    say_failure(c);
    if (!saved) return -1;
    // SQLite tells of other connections' commits only.
    c.items_version = NEVER_READ;
    return 0;
}

int get_rc_env(const char *name, char *out, size_t size) {
    std::string text;
    int result = find_item(LAYER_ENVIRONMENT, "", name, &text);
    if (result == 0) copy_text(text, out, size);
    return result;
}
