#include "handler/transfer_process.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "platform/detach.h"
#include "platform/device.h"
#include "platform/log.h"

// Everything the process needs, ready before the fork: other threads of the daemon may hold any lock at that
// moment, so from then on only calls that are safe in a signal handler are made.
struct Prepared {
    const char *first;
    char *second;      // null: none
    char *second_end;  // where the size goes, with room for it; null: it is complete
    const char *file;  // what the first brings, for the second
    const char *lock_file;
    LogLine ended, failed;
};
static constexpr size_t SIZE_ROOM = 24;  // digits of any file size, quote and terminator

// The status that it ended with; −1 for no process.
static int status_of_ended(pid_t pid) {
    int status = -1;
    while (pid > 0 && waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

// True when it ended with status 0.
static bool run_to_the_end(const char *command) {
    const pid_t pid = fork();
    if (pid == 0) {
        execl("/bin/sh", "sh", "-c", command, static_cast<char *>(nullptr));
        _exit(127);
    }
    return status_of_ended(pid) == 0;
}

struct Fetched {
    unsigned long long size;  // 0 when there is no file
    bool is_strangers;        // put in the place of one that a tool has removed
};
static Fetched look_at(const char *path) {
    struct stat facts;
    if (lstat(path, &facts) != 0) return {0, false};
    if (!is_ours(facts)) return {0, true};
    return {static_cast<unsigned long long>(facts.st_size), false};
}

// Writes the size and the closing quote.
static void add_size(char *end, unsigned long long size) {
    char digits[SIZE_ROOM];
    int count = 0;
    do {
        digits[count++] = static_cast<char>('0' + size % 10);
        size /= 10;
    } while (size > 0);
    while (count > 0) *end++ = digits[--count];
    *end++ = '\'';
    *end = '\0';
}

// Nothing came: nothing is passed on, or it would replace what is good there. The action status takes an
// empty file for a failed backup.
static void leave_failed(const char *file, bool restoring) {
    unlink(file);
    if (!restoring) close(open(file, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
}

static void transfer(const Prepared &prepared) {
    bool done = run_to_the_end(prepared.first);
    const Fetched fetched = look_at(prepared.file);
    if (fetched.is_strangers) done = false;
    const bool restoring = prepared.second_end != nullptr;
    if (restoring) add_size(prepared.second_end, fetched.size);
    if (prepared.second && (done || fetched.size > 0))
        done = run_to_the_end(prepared.second);
    else if (prepared.second)
        leave_failed(prepared.file, restoring);
    send_log_line(done ? prepared.ended : prepared.failed);
    unlink(prepared.lock_file);
}

void start_transfer_process(const TransferCommands &commands, const std::string &file,
                            const std::string &lock_file, const std::string &work) {
    const std::string file_path = device_path(file);
    const std::string lock_path = device_path(lock_file);
    std::vector<char> second(commands.second.begin(), commands.second.end());
    second.resize(second.size() + SIZE_ROOM, '\0');
    const Prepared prepared{
        .first = commands.first.c_str(),
        .second = commands.second.empty() ? nullptr : second.data(),
        .second_end = commands.second_takes_size ? second.data() + commands.second.size() : nullptr,
        .file = file_path.c_str(),
        .lock_file = lock_path.c_str(),
        .ended = prepare_log_line(work + " ended"),
        .failed = prepare_log_line(work + " ended, a tool failed", Severity::ERROR),
    };
    log_event(work + " begun");
    const pid_t child = fork();
    if (child < 0) log_event(work + " not begun: no process", Severity::ERROR);
    if (child != 0) {
        status_of_ended(child);
        return;
    }
    // The child of the child is left to init, so that nobody has to wait for it.
    const pid_t grandchild = fork();
    if (grandchild == 0) {
        detach_process();
        umask(077);
        transfer(prepared);
    } else if (grandchild < 0) {
        send_log_line(prepared.failed);
        unlink(prepared.lock_file);
    }
    _exit(0);
}
