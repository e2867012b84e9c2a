// The store lock: an flock, so the kernel frees it with its holder.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#include "platform/builtin/store.h"
#include "platform/device.h"
#include "platform/zevcfg.h"

static constexpr char LOCK_FILE[] = "/var/lib/zevcfg/lock";
static constexpr int NOBODYS_LOCK = 0;  // where there is no store, nobody holds it

int take_lock(int operation) {
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
    int error = errno;
    close(fd);
    errno = error;
    return -1;
}

// Freed by name: a child that is just being started may still have the descriptor.
void free_lock(int fd) {
    flock(fd, LOCK_UN);
    close(fd);
}

static std::atomic<int> held_lock{-1};

int lock_zevcfg(int /*first*/, int /*second*/) {
    int fd = take_lock(LOCK_EX | LOCK_NB);
    if (fd < 0) return errno == ENOENT ? NOBODYS_LOCK : -1;
    held_lock = fd;
    return fd;
}

void unlock_zevcfg(int lock_id) {
    // Any other id is a stale one, and its number may be another file's by now.
    int expected = lock_id;
    if (lock_id > NOBODYS_LOCK && held_lock.compare_exchange_strong(expected, -1)) free_lock(lock_id);
}
