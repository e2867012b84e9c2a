// Damage of the store, and the way back: a checked copy is kept after each apply that went well.
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <set>

#include "platform/builtin/embedded.h"
#include "platform/builtin/settings.h"
#include "platform/builtin/store.h"
#include "platform/device.h"

bool check_items(sqlite3 *db, std::string *why) {
    Statement check = prepare(db, "PRAGMA quick_check(1)");
    if (!check || sqlite3_step(check.get()) != SQLITE_ROW) {
        *why = sqlite3_errmsg(db);
        return false;
    }
    *why = column(check.get(), 0);
    if (*why != "ok") return false;
    why->clear();
    std::vector<StoreItem> sums;
    if (!list_items(db, LAYER_SUMS, "", &sums)) {
        *why = sqlite3_errmsg(db);
        return false;
    }
    Statement version = prepare(db, "PRAGMA user_version");
    if (!version || sqlite3_step(version.get()) != SQLITE_ROW) return false;
    if (sqlite3_column_int(version.get(), 0) == 1 && sums.empty()) return true;  // of a layout without them
    static constexpr const char *NAMES[LAYER_COUNT] = {
        "factory configuration",       "working configuration", "running configuration",
        "applied configuration",       "system items",          "rc environment",
        "configuration before a load", "load under way"};
    for (int layer = 0; layer < LAYER_COUNT; layer++) {
        uint64_t sum = 0;
        const std::string key = std::to_string(layer);
        bool same = layer_sum(db, static_cast<Layer>(layer), &sum);
        bool found = false;
        for (const StoreItem &stored : sums)
            found = found || (stored.key == key && stored.value == sum_text(sum));
        if (same && found) continue;
        *why = std::string("the sum of the ") + NAMES[layer] + " is not that of its items";
        return false;
    }
    Statement others =
        prepare(db,
                "SELECT 1 FROM items WHERE layer NOT BETWEEN 0 AND 8 OR typeof(layer) <> 'integer' OR"
                " typeof(grp) <> 'text' OR typeof(key) <> 'text' OR typeof(value) <> 'text'");
    if (others && sqlite3_step(others.get()) == SQLITE_DONE) return true;
    *why = "an item is not of this store's form";
    return false;
}

enum class Health { WHOLE, DAMAGED, NEWER, GONE, UNKNOWN };

static Health health_by(StoreFault fault) {
    if (fault == StoreFault::NEWER) return Health::NEWER;
    return fault == StoreFault::CONTENT ? Health::DAMAGED : Health::UNKNOWN;
}

// What SQLite's check could not read for want of memory, or for the disk, stands in its findings only.
static int failure_of_check(sqlite3 *db, const std::string &finding) {
    constexpr std::string_view CODE = "error code=";
    const size_t at = finding.find(CODE);
    // Without a number, of a page of a long item: one that does not exist would be "invalid".
    if (finding.find("failed to get page") != std::string::npos) return SQLITE_IOERR;
    return at == std::string::npos ? sqlite3_errcode(db) : atoi(finding.c_str() + at + CODE.size());
}

static Health look(std::string *why) {
    const std::string path = device_path(STORE_FILE);
    StoreFault fault{};
    Database db = open_store(why, PATIENCE_MS, &fault);
    if (!db && access(path.c_str(), F_OK) != 0 && errno == ENOENT) return Health::GONE;
    if (!db) return health_by(fault);
    Transaction one_state(is_copy_in_memory(db.get()) ? nullptr : db.get());
    if (!one_state.started() && !is_copy_in_memory(db.get())) {
        *why = store_error(db.get());
        return health_by(store_fault(sqlite3_errcode(db.get())));
    }
    if (check_items(db.get(), why)) return Health::WHOLE;
    const int code = failure_of_check(db.get(), *why);
    if (store_fault(code) == StoreFault::MOMENT) {
        *why = path + ": " + sqlite3_errstr(code);
        return Health::UNKNOWN;
    }
    *why = path + " is damaged: " + *why;
    return Health::DAMAGED;
}

// ---- telling ----

static void tell_damage(const std::string &text) {
    remove_device_file(DAMAGE_FILE);
    int fd = open_device_file(DAMAGE_FILE, O_WRONLY | O_CREAT | O_EXCL, 0644);
    if (fd < 0) return;
    fchmod(fd, 0644);  // whatever the umask
    const std::string line = text + "\n";
    if (write(fd, line.data(), line.size()) < 0) remove_device_file(DAMAGE_FILE);
    close(fd);
}

bool check_store(std::string *why) {
    Health health = look(why);
    if (health == Health::DAMAGED) tell_damage(*why);
    if (health != Health::WHOLE) return false;
    why->clear();
    if (!device_file_exists(DAMAGED_STORE_FILE))
        remove_device_file(DAMAGE_FILE);
    else if (!device_file_exists(DAMAGE_FILE))
        tell_damage("was replaced once: what it was is kept as " + device_path(DAMAGED_STORE_FILE));
    return true;
}

// ---- files ----

static bool sync_folder() {
    int folder = open(device_path(STORE_FOLDER).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    bool done = folder >= 0 && fsync(folder) == 0;
    if (folder >= 0) close(folder);
    return done;
}

// In the place of what is there, whole or not at all.
static bool replace_file(const std::string &absolute, const std::string &text) {
    const std::string draft = absolute + ".draft";
    remove_device_file(draft);
    int fd = open_device_file(draft, O_WRONLY | O_CREAT | O_EXCL, 0600);
    if (fd < 0) return false;
    bool written = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()) && fsync(fd) == 0;
    written = close(fd) == 0 && written &&
              rename(device_path(draft).c_str(), device_path(absolute).c_str()) == 0 && sync_folder();
    if (!written) {
        int error = errno;
        remove_device_file(draft);
        errno = error;
    }
    return written;
}

bool keep_good_copy(sqlite3 *db) {
    if (is_copy_in_memory(db)) return false;
    std::string image, why;
    {
        Transaction one_state(db);
        if (one_state.started() && check_items(db, &why)) image = store_image(db);
    }
    return !image.empty() && replace_file(GOOD_STORE_FILE, image);
}

// The bytes of the kept copy; empty when there is none, or it is damaged itself.
static std::string good_copy() {
    constexpr size_t LIMIT = 64U << 20;
    std::string image, why;
    if (!read_device_file(GOOD_STORE_FILE, LIMIT, &image) || image.size() < 20) return "";
    std::string bytes = image;
    bytes[18] = bytes[19] = 1;  // no write-ahead log in memory
    StoreFault fault{};
    sqlite3 *handle = nullptr;
    int result = sqlite3_open(":memory:", &handle);
    Database db(handle);
    if (result != SQLITE_OK ||
        sqlite3_deserialize(handle, "main", reinterpret_cast<unsigned char *>(bytes.data()),
                            static_cast<sqlite3_int64>(bytes.size()),
                            static_cast<sqlite3_int64>(bytes.size()),
                            SQLITE_DESERIALIZE_READONLY) != SQLITE_OK)
        return "";
    return knows_layout(handle, &why, &fault) && check_items(handle, &why) ? image : "";
}

static std::string factory_store() {
    StoreContents contents;
    std::string faulty;
    return expand_settings(factory_settings, LAYER_FACTORY, &contents, &faulty) ? new_store(contents) : "";
}

// The name goes first and the log behind it: a log beside a store that is not its own would be played back
// into it. Whoever finds no store and a damaged one knows that somebody was killed here.
static bool set_aside() {
    const std::string store = device_path(STORE_FILE), damaged = device_path(DAMAGED_STORE_FILE);
    if (access(store.c_str(), F_OK) == 0) {
        unlink((damaged + "-wal").c_str());
        if (rename(store.c_str(), damaged.c_str()) != 0) return false;
    }
    if (rename((store + "-wal").c_str(), (damaged + "-wal").c_str()) != 0 && errno != ENOENT) return false;
    return (unlink((store + "-shm").c_str()) == 0 || errno == ENOENT) && sync_folder();
}

static bool put_in_its_place(std::string *said) {
    std::string image = good_copy();
    const std::string what =
        image.empty() ? "the factory configuration" : "the copy of the last apply that went well";
    if (image.empty()) image = factory_store();
    if (image.empty() || !set_aside() || !replace_file(STORE_FILE, image)) {
        *said += "; it cannot be replaced: " + std::string(strerror(errno));
        return false;
    }
    *said += "; kept as " + device_path(DAMAGED_STORE_FILE) + ", in its place is " + what;
    return true;
}

// One at a time, and not while `zevcfg init` makes a store.
static int lock_folder() {
    int folder = open(device_path(STORE_FOLDER).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0 && flock(folder, LOCK_EX) == 0) return folder;
    if (folder >= 0) close(folder);
    return -1;
}

bool mend_store(std::string *said, bool newer_too) {
    int folder = lock_folder();
    Health health = look(said);
    if (health == Health::NEWER && newer_too) health = Health::DAMAGED;
    if (health == Health::GONE && device_file_exists(DAMAGED_STORE_FILE)) {
        *said = device_path(STORE_FILE) + " was damaged";
        health = Health::DAMAGED;
    }
    bool mended = health == Health::DAMAGED && folder >= 0 && put_in_its_place(said);
    if (health == Health::DAMAGED) tell_damage(*said);
    if (health == Health::WHOLE) said->clear();
    if (folder >= 0) close(folder);
    return mended || health == Health::WHOLE;
}

bool grow_store(std::string *why) {
    StoreContents contents;
    if (!expand_settings(factory_settings, LAYER_FACTORY, &contents, why)) return false;
    Database db = open_store(why);
    if (!db) return false;
    std::vector<StoreItem> known, sums, missing;
    Transaction transaction(db.get());
    if (!transaction.started() || !list_items(db.get(), LAYER_FACTORY, "", &known) ||
        !list_items(db.get(), LAYER_SUMS, "", &sums)) {
        *why = store_error(db.get());
        return false;
    }
    std::set<std::pair<std::string, std::string>> names;
    for (const StoreItem &item : known) names.emplace(item.group, item.key);
    for (const StoreItem &item : contents[LAYER_FACTORY]) {
        if (!names.contains({item.group, item.key})) missing.push_back(item);
    }
    if (missing.empty() && !sums.empty()) return true;
    bool grown = put_items(db.get(), LAYER_FACTORY, missing);
    // What somebody has set already stays as it is.
    for (Layer layer : {LAYER_WORKING, LAYER_RUNNING, LAYER_APPLIED}) {
        std::vector<StoreItem> own, lacking;
        grown = grown && list_items(db.get(), layer, "", &own);
        names.clear();
        for (const StoreItem &item : own) names.emplace(item.group, item.key);
        for (const StoreItem &item : missing) {
            if (!names.contains({item.group, item.key})) lacking.push_back(item);
        }
        grown = grown && put_items(db.get(), layer, lacking);
    }
    if (sums.empty()) grown = grown && add_sums(db.get());
    if (grown && transaction.commit()) return true;
    *why = store_error(db.get());
    return false;
}
