#include "platform/device.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <set>
#include <vector>

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

void prepare_tools() {
    // wget takes the %41 of a URL for an A in any other locale than one with UTF-8.
    setenv("LC_ALL", "C.UTF-8", 1);
    unsetenv("LANGUAGE");
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

// Starts a command line as the leader of its own process group: the process, or −1. Its standard output and
// error are `output` and `errors` where those are not −1. The daemon's signal dispositions and blocked
// signals are not handed down.
static pid_t start_command(std::string command, int output, int errors) {
    if (command.find('\0') != std::string::npos || !confine_to_root(&command)) return -1;
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    if (output >= 0) posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    if (errors >= 0) posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);
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

static std::set<std::string> reported;

// Nothing grows with what tools say.
static void report_once(std::string text) {
    constexpr size_t MOST_REPORTS = 100;
    constexpr size_t LONGEST = 500;
    if (reported.size() > MOST_REPORTS) return;
    text.resize(std::min(text.size(), LONGEST));
    if (reported.size() == MOST_REPORTS) text = "more messages of tools are left out until the next rebuild";
    if (reported.insert(text).second) fprintf(stderr, "zevsic: %s\n", text.c_str());
}

void report_tool(const std::string &command, const char *what) {
    report_once(command.substr(0, command.find(' ')) + ": " + what);
}

void forget_reports() {
    reported.clear();
}

// The time of the tools of the thread's request.
struct ToolTime {
    bool limited = false;  // false: the thread serves no request
    int64_t end = 0;       // in milliseconds of the monotonic clock; 0: no tool has run yet
    int asked_for = 0;
    int cut_short = 0;
};
static thread_local ToolTime tool_time;
int tool_time_limit = 10'000;

static int64_t milliseconds_now() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

static int time_left() {
    if (!tool_time.limited) return INT_MAX;
    const int64_t now = milliseconds_now();
    if (tool_time.end == 0) tool_time.end = now + tool_time_limit;
    return static_cast<int>(std::max<int64_t>(tool_time.end - now, 0));
}

void begin_tools() {
    tool_time = {.limited = true};
}

void end_tools() {
    tool_time = {};
}

int tools_cut_short() {
    return tool_time.cut_short;
}

int tools_asked_for() {
    return tool_time.asked_for;
}

bool most_tool_time_left() {
    return tool_time.end == 0 || tool_time.end - milliseconds_now() >= tool_time_limit / 2;
}

// Whether there is time to run another tool.
static bool may_run() {
    tool_time.asked_for++;
    if (time_left() > 0) return true;
    tool_time.cut_short++;
    return false;
}

namespace {

// The end of a pipe that a tool writes to.
struct Stream {
    int fd = -1;
    size_t limit = 0;  // of the bytes kept; the tool cannot write more
    std::string text = {};
};

}  // namespace

static bool open_stream(Stream *stream, int *tools_end) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return false;
    fcntl(ends[0], F_SETFL, O_NONBLOCK);
    stream->fd = ends[0];
    *tools_end = ends[1];
    return true;
}

static void close_stream(Stream *stream) {
    if (stream->fd >= 0) close(stream->fd);
    stream->fd = -1;
}

// Reads what has arrived, at least as much as a pipe holds.
static void read_stream(Stream *stream) {
    static constexpr size_t PIPE_SIZE = 65536;
    char buffer[PIPE_SIZE];
    if (stream->fd < 0) return;
    ssize_t n = 0;
    do {
        n = read(stream->fd, buffer, sizeof buffer);
    } while (n < 0 && errno == EINTR);
    if (n < 0 && errno == EAGAIN) return;
    if (n > 0)
        stream->text.append(buffer, std::min(static_cast<size_t>(n), stream->limit - stream->text.size()));
    if (n <= 0 || stream->text.size() == stream->limit) close_stream(stream);
}

static bool has_exited(pid_t pid) {
    siginfo_t facts = {};
    return waitid(P_PID, static_cast<id_t>(pid), &facts, WEXITED | WNOHANG | WNOWAIT) != 0 ||
           facts.si_pid == pid;
}

// Waits until a stream has something or the process has ended; for a moment where the kernel has no handle
// of processes.
static void wait_for_tool(int handle, const Stream &out, const Stream &errors, int milliseconds) {
    static constexpr int MOMENT = 20;
    pollfd ends[] = {{handle, POLLIN, 0}, {out.fd, POLLIN, 0}, {errors.fd, POLLIN, 0}};
    poll(ends, std::size(ends), handle < 0 ? std::min(milliseconds, MOMENT) : milliseconds);
}

enum class ToolEnd { EXITED, TIME_UP, OUTPUT_FULL };

// Reads until the tool itself has ended: a child that it leaves behind is not waited for.
static ToolEnd attend(pid_t pid, int handle, Stream *out, Stream *errors) {
    for (;;) {
        // Asked before reading: all that it has printed can be read then.
        const bool exited = has_exited(pid);
        read_stream(out);
        read_stream(errors);
        if (out->limit > 0 && out->text.size() == out->limit) return ToolEnd::OUTPUT_FULL;
        if (exited) return ToolEnd::EXITED;
        const int left = time_left();
        if (left == 0) return ToolEnd::TIME_UP;
        wait_for_tool(handle, *out, *errors, left);
    }
}

// Takes the status of a process that has ended or is about to: the exit status, 128 + signal, or −1. One that
// a driver holds in the kernel dies later, and is taken then.
static int take_status(pid_t pid, int handle) {
    static thread_local std::vector<pid_t> held;
    std::erase_if(held, [](pid_t old) { return waitpid(old, nullptr, WNOHANG) != 0; });
    const int64_t patience = milliseconds_now() + 1000;
    while (!has_exited(pid) && milliseconds_now() < patience) wait_for_tool(handle, {}, {}, 100);
    int status = 0;
    const pid_t taken = waitpid(pid, &status, WNOHANG);
    if (taken == 0) held.push_back(pid);
    if (taken != pid) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Sees a started command to its end. Where its output is read, nothing that it started outlives it.
static int finish_command(const std::string &command, pid_t pid, Stream *out, Stream *errors) {
    const bool captured = out->fd >= 0;
    const int handle = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
    const ToolEnd end = attend(pid, handle, out, errors);
    if (captured || end != ToolEnd::EXITED) kill(-pid, SIGKILL);
    int status = take_status(pid, handle);
    if (handle >= 0) close(handle);
    if (end == ToolEnd::EXITED) return status;
    // Half a line is none.
    out->text.resize(out->text.rfind('\n') + 1);
    if (end == ToolEnd::OUTPUT_FULL) {
        report_tool(command, "printed too much, the rest is left out");
        return status;
    }
    tool_time.cut_short++;
    report_tool(command, "took too long and was ended");
    return -1;
}

int run_command(const std::string &command) {
    if (!may_run()) return -1;
    const pid_t pid = start_command(command, -1, -1);
    Stream none;
    return pid < 0 ? -1 : finish_command(command, pid, &none, &none);
}

CommandOutput read_command(const std::string &command) {
    constexpr size_t ERRORS_LIMIT = 65536;
    if (!may_run()) return {true, ""};
    Stream out = {.limit = COMMAND_OUTPUT_LIMIT};
    Stream errors = {.limit = ERRORS_LIMIT};
    int out_end = -1;
    int errors_end = -1;
    pid_t pid = -1;
    if (open_stream(&out, &out_end) && open_stream(&errors, &errors_end))
        pid = start_command(command, out_end, errors_end);
    for (const int end : {out_end, errors_end})
        if (end >= 0) close(end);
    if (pid >= 0) finish_command(command, pid, &out, &errors);
    close_stream(&out);
    close_stream(&errors);
    for (std::string_view rest = errors.text; !rest.empty();) {
        const size_t end = std::min(rest.find('\n'), rest.size());
        report_once(std::string(rest.substr(0, end)));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return {pid >= 0, std::move(out.text)};
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
    const bool is_public = absolute.starts_with("/tmp/");
    int flags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | (is_public ? O_NOFOLLOW : 0);
    int fd = open(device_path(absolute).c_str(), flags);
    if (fd < 0) return false;
    struct stat facts = {};
    bool readable = fstat(fd, &facts) == 0 && (is_public ? is_ours(facts) : S_ISREG(facts.st_mode));
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

std::string first_line(std::string_view text) {
    return std::string(text.substr(0, text.find('\n')));
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
