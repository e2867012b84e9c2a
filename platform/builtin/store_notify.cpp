// Telling the daemon of an apply. The PID file may be a dead daemon's, and its number another process's by
// now: only a zevsic is told.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>

#include "platform/builtin/store.h"
#include "platform/detach.h"
#include "platform/device.h"
#include "platform/zevcfg.h"

static constexpr int POLL_MS = 20;
static constexpr int LIMIT_MS = 60'000;

// In a forked child of a process with threads: async-signal-safe calls only, down to signal_when_applied.

static ssize_t read_start(const char *path, char *text, size_t size) {
    int fd = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return -1;
    ssize_t length = read(fd, text, size);
    close(fd);
    return length;
}

// The number at the start of the PID file; 0 when there is none.
static pid_t read_pid(const char *pid_file) {
    char text[16];
    ssize_t length = read_start(pid_file, text, sizeof text);
    pid_t pid = 0;
    for (ssize_t i = 0; i < length && text[i] >= '0' && text[i] <= '9' && pid < 100'000'000; i++)
        pid = pid * 10 + (text[i] - '0');
    return pid;
}

// By the name that the kernel has of it. Processes are the machine's own, also when a device lives in a
// folder.
static bool is_zevsic(pid_t pid) {
    char path[32] = "/proc/";
    char digits[12];
    size_t count = 0;
    for (pid_t rest = pid; rest > 0; rest /= 10) digits[count++] = static_cast<char>('0' + rest % 10);
    char *end = path + strlen(path);
    while (count > 0) *end++ = digits[--count];
    memcpy(end, "/comm", sizeof "/comm");
    static const char NAME[] = "zevsic\n";
    char name[16];
    ssize_t length = read_start(path, name, sizeof name);
    return length == static_cast<ssize_t>(strlen(NAME)) && memcmp(name, NAME, strlen(NAME)) == 0;
}

// Sends a signal (0: none) to the process of the PID file if that is a zevsic. Looked at by descriptor: when
// it ends meanwhile, whoever gets its number gets nothing.
static bool signal_daemon(const char *pid_file, int number) {
    pid_t pid = read_pid(pid_file);
    if (pid <= 1) return false;
    auto process = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
    if (process < 0 && errno == ESRCH) return false;
    bool done = is_zevsic(pid);
    // A kernel before 5.3 knows no such descriptors.
    if (done)
        done = (process < 0 ? kill(pid, number)
                            : syscall(SYS_pidfd_send_signal, process, number, nullptr, 0)) == 0;
    if (process >= 0) close(process);
    return done;
}

static void signal_when_applied(const char *apply_lock, const char *pid_file) {
    timespec pause = {0, POLL_MS * 1'000'000L};
    // A lock that stays, of a daemon that died or by a disk that failed, hides the apply from nobody for
    // good.
    struct stat facts;
    for (int waited = 0; lstat(apply_lock, &facts) == 0 && is_ours(facts) && waited < LIMIT_MS;
         waited += POLL_MS)
        nanosleep(&pause, nullptr);
    signal_daemon(pid_file, SIGUSR2);
}

bool daemon_runs() {
    return signal_daemon(device_path(PID_FILE).c_str(), 0);
}

void notify_daemon() {
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
