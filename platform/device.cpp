#include "platform/device.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iterator>

static constexpr int SILENCE_LIMIT_MS = 10'000;

static std::string_view device_root() {
    const char *root = getenv("ZEVSIC_ROOT");
    std::string_view text = root != nullptr ? root : "";
    while (text.ends_with('/')) text.remove_suffix(1);
    return text;
}

std::string device_path(std::string_view absolute) {
    std::string path(device_root());
    return path.append(absolute);
}

void prepare_tool_path() {
    if (device_root().empty()) return;
    std::string path = device_path("/sbin") + ":" + device_path("/bin") + ":" + device_path("/usr/bin");
    const char *old = getenv("PATH");
    if (old != nullptr && std::string_view(old).starts_with(path)) return;
    if (old != nullptr && *old != '\0') path.append(":").append(old);
    setenv("PATH", path.c_str(), 1);
}

// ---- words of a command ----

static bool is_one_of(char c, std::string_view others) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           others.find(c) != std::string_view::npos;
}

// A command is C text: what follows a NUL could not be passed on, and would leave a quote open.
static std::string_view c_text(std::string_view text) {
    return text.substr(0, text.find('\0'));
}

std::string inside_single_quotes(std::string_view text) {
    std::string quoted;
    for (char c : c_text(text)) {
        if (c == '\'')
            quoted += "'\\''";
        else
            quoted += c;
    }
    return quoted;
}

std::string shell_word(std::string_view text) {
    text = c_text(text);
    bool plain = std::all_of(text.begin(), text.end(), [](char c) { return is_one_of(c, "._-/:@%+,"); });
    if (plain && !text.empty()) return std::string(text);
    return "'" + inside_single_quotes(text) + "'";
}

std::string url_text(std::string_view text) {
    static const char digits[] = "0123456789ABCDEF";
    std::string escaped;
    for (char c : text) {
        if (is_one_of(c, "._-~/:@+,")) {
            escaped += c;
            continue;
        }
        auto byte = static_cast<unsigned char>(c);
        escaped += '%';
        escaped += digits[byte >> 4];
        escaped += digits[byte & 15];
    }
    return escaped;
}

// ---- running tools ----

// With a root set, the tools that change the machine itself run from the root or not at all. Replaces such
// a first word by the root's own tool; false when the root has none.
static bool confine_to_root(std::string *command) {
    if (device_root().empty()) return true;
    size_t start = command->find_first_not_of(" \t\n");
    if (start == std::string::npos) return true;
    size_t end = std::min(command->find_first_of(" \t\n;&|<>()", start), command->size());
    std::string name = command->substr(start, end - start);
    name.erase(0, name.rfind('/') + 1);
    if (name != "date" && name != "reboot") return true;
    for (const char *folder : {"/sbin/", "/bin/", "/usr/bin/"}) {
        std::string tool = device_path(folder + name);
        if (access(tool.c_str(), X_OK) != 0) continue;
        command->replace(start, end - start, shell_word(tool));
        return true;
    }
    return false;
}

// Starts a command line as the leader of its own process group: the process, or −1. Its standard output is
// `output` when that is not −1. The daemon's signal dispositions and blocked signals are not handed down.
static pid_t start_command(std::string command, int output) {
    if (command.find('\0') != std::string::npos || !confine_to_root(&command)) return -1;
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    if (output >= 0) posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    sigset_t all;
    sigset_t none;
    sigfillset(&all);
    sigemptyset(&none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes,
                             POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
    char shell[] = "sh";
    char option[] = "-c";
    char *arguments[] = {shell, option, command.data(), nullptr};
    pid_t pid = -1;
    // The shell is the machine's own: a device root holds the device's files and tools, not a system.
    if (posix_spawn(&pid, "/bin/sh", &actions, &attributes, arguments, environ) != 0) pid = -1;
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return pid;
}

static int wait_for(pid_t pid) {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

int run_command(const std::string &command) {
    pid_t pid = start_command(command, -1);
    return pid < 0 ? -1 : wait_for(pid);
}

static long milliseconds_now() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000 + now.tv_nsec / 1'000'000;
}

// Collects until the end of the output or the limit. False when the other side stayed silent for too long.
static bool collect(int fd, std::string *text) {
    char buffer[16384];
    long deadline = milliseconds_now() + SILENCE_LIMIT_MS;
    while (text->size() < COMMAND_OUTPUT_LIMIT) {
        long left = deadline - milliseconds_now();
        if (left <= 0) return false;
        pollfd wait = {fd, POLLIN, 0};
        int ready = poll(&wait, 1, static_cast<int>(left));
        if (ready == 0) return false;
        if (ready < 0 && errno != EINTR) return false;
        if (ready < 0) continue;
        ssize_t n = read(fd, buffer, std::min(sizeof buffer, COMMAND_OUTPUT_LIMIT - text->size()));
        if (n == 0) return true;
        if (n < 0 && errno != EINTR) return false;
        if (n < 0) continue;
        text->append(buffer, static_cast<size_t>(n));
        deadline = milliseconds_now() + SILENCE_LIMIT_MS;
    }
    return true;
}

CommandOutput read_command(const std::string &command) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return {false, ""};
    pid_t pid = start_command(command, ends[1]);
    close(ends[1]);
    CommandOutput output = {pid >= 0, ""};
    if (pid >= 0) {
        bool ended = collect(ends[0], &output.text);
        // What is cut off is ended too: nobody reads it any more.
        if (!ended || output.text.size() >= COMMAND_OUTPUT_LIMIT) kill(-pid, SIGKILL);
        if (!ended) output.text.clear();
        wait_for(pid);
    }
    close(ends[0]);
    return output;
}

// ---- files ----

int open_device_file(std::string_view absolute, int flags, unsigned mode) {
    std::string path = device_path(absolute);
    int fd = -1;
    do {
        fd = open(path.c_str(), flags | O_NOFOLLOW | O_CLOEXEC, mode);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

bool read_device_file(std::string_view absolute, size_t limit, std::string *out) {
    out->clear();
    // Anyone may put a link or a pipe below /tmp: neither is followed or waited for.
    int flags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | (absolute.starts_with("/tmp/") ? O_NOFOLLOW : 0);
    int fd = open(device_path(absolute).c_str(), flags);
    if (fd < 0) return false;
    struct stat facts = {};
    bool readable = fstat(fd, &facts) == 0 && S_ISREG(facts.st_mode);
    while (readable && out->size() < limit) {
        char buffer[4096];
        ssize_t n = read(fd, buffer, std::min(sizeof buffer, limit - out->size()));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            readable = n == 0;
            break;
        }
        out->append(buffer, static_cast<size_t>(n));
    }
    close(fd);
    return readable;
}

bool device_file_exists(std::string_view absolute) {
    return access(device_path(absolute).c_str(), F_OK) == 0;
}

bool create_lock_file(std::string_view absolute) {
    int fd = open_device_file(absolute, O_WRONLY | O_CREAT | O_EXCL, 0600);
    if (fd < 0) return false;
    dprintf(fd, "%ld\n", static_cast<long>(time(nullptr)));
    close(fd);
    return true;
}

void remove_device_file(std::string_view absolute) {
    unlink(device_path(absolute).c_str());
}
