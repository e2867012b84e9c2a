// The store lock, applying the working configuration, and going back to the factory's.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>

#include "platform/builtin/store.h"
#include "platform/detach.h"
#include "platform/device.h"
#include "platform/zevcfg.h"

static constexpr char LOCK_FILE[] = "/var/lib/zevcfg/lock";
static constexpr char APPLY_SCRIPT[] = "/etc/zevcfg/apply";
static constexpr int NOTIFY_POLL_MS = 20;
static constexpr int NOTIFY_LIMIT_MS = 60'000;

// ---- the lock: an flock, so the kernel frees it with its holder ----

// The descriptor that holds the lock, above 2, or −1.
static int take_lock(int operation) {
    int fd = open_device_file(LOCK_FILE, O_RDWR | O_CREAT, 0600);
    if (fd >= 0 && fd <= STDERR_FILENO) {
        int higher = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
        close(fd);
        fd = higher;
    }
    if (fd < 0) return -1;
    int result = 0;
    do {
        result = flock(fd, operation);
    } while (result != 0 && errno == EINTR);
    if (result == 0) return fd;
    close(fd);
    return -1;
}

// Freed by name: a child that is just being started may still have the descriptor.
static void free_lock(int fd) {
    flock(fd, LOCK_UN);
    close(fd);
}

static std::atomic<int> held_lock{-1};

int lock_zevcfg(int /*first*/, int /*second*/) {
    int fd = take_lock(LOCK_EX | LOCK_NB);
    if (fd >= 0) held_lock = fd;
    return fd;
}

void unlock_zevcfg(int lock_id) {
    // Any other id is a stale one, and its number may be another file's by now.
    int expected = lock_id;
    if (lock_id >= 0 && held_lock.compare_exchange_strong(expected, -1)) free_lock(lock_id);
}

// ---- telling the daemon ----

// In a forked child of a process with threads: async-signal-safe calls only.
static void signal_when_applied(const char *apply_lock, const char *pid_file) {
    timespec pause = {0, NOTIFY_POLL_MS * 1'000'000L};
    for (int waited = 0; access(apply_lock, F_OK) == 0; waited += NOTIFY_POLL_MS) {
        if (waited >= NOTIFY_LIMIT_MS) return;
        nanosleep(&pause, nullptr);
    }
    int fd = open(pid_file, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    char text[16] = {};
    ssize_t length = fd < 0 ? 0 : read(fd, text, sizeof text - 1);
    pid_t pid = 0;
    for (ssize_t i = 0; i < length && text[i] >= '0' && text[i] <= '9' && pid < 100'000'000; i++)
        pid = pid * 10 + (text[i] - '0');
    if (pid > 1) kill(pid, SIGUSR2);
}

// Starts a process of its own, nobody's child, that sends SIGUSR2 to the daemon once its apply has ended.
static void notify_daemon() {
    std::string apply_lock = device_path(APPLY_LOCK_FILE);
    std::string pid_file = device_path(PID_FILE);
    pid_t child = fork();
    if (child == 0) {
        if (fork() == 0) {
            detach_process();
            signal_when_applied(apply_lock.c_str(), pid_file.c_str());
        }
        _exit(0);
    }
    while (child > 0 && waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
}

// ---- apply and reset ----

static bool make_working_run(sqlite3 *db, SyncMarker *marker) {
    Transaction transaction(db);
    if (!transaction.started() || !copy_layer(db, LAYER_RUNNING, LAYER_PREVIOUS) ||
        !copy_layer(db, LAYER_WORKING, LAYER_RUNNING))
        return false;
    // Within the transaction: what is saved from here on leaves a marker of its own.
    *marker = read_sync_marker();
    if (write_sync_marker({false, ""}) && transaction.commit()) return true;
    write_sync_marker(*marker);
    return false;
}

static void go_back(sqlite3 *db, const SyncMarker &marker) {
    Transaction transaction(db);
    bool restored = transaction.started() && copy_layer(db, LAYER_PREVIOUS, LAYER_RUNNING);
    // A marker that was made meanwhile stays, with the need for a reboot of both.
    if (marker.exists && (!device_file_exists(SAVED_CHANGES_FILE) || needs_reboot(marker))) write_sync_marker(marker);
    if (restored) transaction.commit();
}

static bool apply_to_system() {
    std::string script = device_path(APPLY_SCRIPT);
    return access(script.c_str(), X_OK) != 0 || run_command(shell_word(script)) == 0;
}

// On a connection of its own: other threads go on reading, and may close and reopen handles, all the while.
static bool apply_locked() {
    Database db = open_store();
    SyncMarker marker = {};
    if (!db || !make_working_run(db.get(), &marker)) return false;
    if (apply_to_system()) return true;
    go_back(db.get(), marker);
    return false;
}

int apply_cfg(zevcfg_handle *handle) {
    if (handle == nullptr) return -1;
    int lock = take_lock(LOCK_EX);
    if (lock < 0) return -1;
    bool applied = apply_locked();
    free_lock(lock);
    if (!applied) return -1;
    notify_daemon();
    return 0;
}

int reset_zevcfg() {
    Database db = open_store();
    Transaction transaction(db.get());
    return transaction.started() && copy_layer(db.get(), LAYER_FACTORY, LAYER_WORKING) && transaction.commit()
               ? 0
               : -1;
}
