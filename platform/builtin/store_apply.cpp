// Making the working configuration the running one, and going back to the factory's.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/builtin/store.h"
#include "platform/device.h"
#include "platform/zevcfg.h"

static constexpr char APPLY_SCRIPT[] = "/etc/zevcfg/apply";

static bool copy_in_a_transaction(sqlite3 *db, Layer from, Layer to, std::string *why) {
    Transaction transaction(db);
    if (transaction.started() && copy_layer(db, from, to) && transaction.commit()) return true;
    *why = store_error(db);
    return false;
}

static bool run_script(std::string *why) {
    std::string script = device_path(APPLY_SCRIPT);
    int result = access(script.c_str(), X_OK) == 0 ? run_command(shell_word(script)) : 0;
    if (result != 0) *why = script + " failed with status " + std::to_string(result);
    return result == 0;
}

// The marker goes last, so that an apply that is killed before can be repeated, and while nobody can save. It
// stays when something was saved since.
static void remove_marker(sqlite3 *db) {
    Transaction transaction(db);
    std::vector<Difference> unapplied;
    if (transaction.started() && list_differences(db, LAYER_RUNNING, LAYER_WORKING, "", &unapplied) &&
        unapplied.empty())
        write_marker(Saved::NOTHING);
}

// Under the lock.
static bool apply_working(sqlite3 *db, std::string *why) {
    if (!take_saved(db, why)) return false;
    std::string ignored;
    if (!run_script(why)) {
        copy_in_a_transaction(db, LAYER_APPLIED, LAYER_RUNNING, &ignored);
        return false;
    }
    // The system has it, whatever becomes of this: then a repeated apply does it.
    if (copy_in_a_transaction(db, LAYER_RUNNING, LAYER_APPLIED, &ignored)) remove_marker(db);
    keep_good_copy(db);  // without room for it the one before stays
    return true;
}

// Calls it with the lock taken, on a connection of its own: other threads go on reading, and may close and
// reopen handles, all the while.
static bool with_lock(bool (*apply)(sqlite3 *db, std::string *why), std::string *why) {
    Database db = open_store(why);
    if (!db) return false;
    int lock = take_lock(LOCK_EX);
    if (lock < 0) {
        *why = std::string("the store lock: ") + strerror(errno);
        return false;
    }
    bool applied = apply(db.get(), why);
    free_lock(lock);
    return applied;
}

bool apply_store(std::string *why) {
    if (!with_lock(apply_working, why)) return false;
    if (apply_lock_is_left() || (our_file_exists(APPLY_LOCK_FILE) && !daemon_runs()))
        fprintf(stderr,
                "zevcfg: %s was left by an apply that has ended: no daemon applies until it is removed\n",
                device_path(APPLY_LOCK_FILE).c_str());
    notify_daemon();
    return true;
}

static bool apply_at_boot(sqlite3 *db, std::string *why) {
    if (apply_working(db, why)) return true;
    // The device starts with what worked before; what was saved can be applied again.
    std::string ignored;
    run_script(&ignored);
    if (read_marker() == Saved::NOTHING) write_marker(Saved::CHANGES);
    return false;
}

bool boot_store(std::string *why) {
    if (daemon_runs()) {
        *why = "zevsic is running: the device has started already";
        return false;
    }
    for (const char *file : {APPLY_LOCK_FILE, UPDATE_LOCK_FILE, BACKUP_LOCK_FILE}) remove_device_file(file);
    std::string mended, ignored;
    bool whole = mend_store(&mended);
    if (!mended.empty()) fprintf(stderr, "zevcfg: %s\n", mended.c_str());
    if (!whole) {
        *why = "there is no store to start with";
        return false;
    }
    if (mended.empty()) check_store(&ignored);  // an older damage is told still
    if (!grow_store(&ignored)) fprintf(stderr, "zevcfg: nothing was added: %s\n", ignored.c_str());
    return with_lock(apply_at_boot, why);
}

bool reset_store(std::string *why) {
    std::string mended;
    if (!mend_store(&mended, true)) {
        *why = mended;
        return false;
    }
    if (!mended.empty()) fprintf(stderr, "zevcfg: %s\n", mended.c_str());
    Database db = open_store(why);
    if (!db) return false;
    Transaction transaction(db.get());
    // What a load that died has left is not to come back.
    if (transaction.started() && forget_saved(db.get()) &&
        copy_layer(db.get(), LAYER_FACTORY, LAYER_WORKING) && transaction.commit())
        return true;
    *why = store_error(db.get());
    return false;
}

// ---- as the daemon calls them ----

static int said(bool done, const char *what, const std::string &why) {
    if (!done) fprintf(stderr, "zevcfg: %s: %s\n", what, why.c_str());
    return done ? 0 : -1;
}

int apply_cfg(zevcfg_handle *handle) {
    std::string why = "no store";
    bool done = handle != nullptr && apply_store(&why);
    return said(done, "the configuration was not applied", why);
}

int reset_zevcfg() {
    std::string why;
    bool done = reset_store(&why);
    return said(done, "the configuration was not reset", why);
}
