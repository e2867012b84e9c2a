// A device root of a test's own: a temporary folder that ZEVSIC_ROOT names until the end of the test, and the
// programs that run on it.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "tree/trace.h"

inline testing::AssertionResult has(const std::string &text, const std::string &part) {
    const bool there = text.find(part) != std::string::npos;
    return testing::AssertionResult(there) << (there ? "there is " : "there is no ") << part << " in:\n"
                                           << text;
}

// Tries until it is true, for at most that long.
template <typename Condition>
bool eventually(Condition condition, int ms = 20000) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        usleep(10000);
    }
    return true;
}

// Waits for what is expected. A failure says what that was and what was seen last: the condition's own words,
// as of has(), or those of `last`.
template <typename Condition>
testing::AssertionResult soon(const std::string &what, Condition condition,
                              const std::function<std::string()> &last = {}) {
    std::string seen;
    const auto holds = [&] {
        const testing::AssertionResult result(condition());
        seen = result.message();
        return static_cast<bool>(result);
    };
    if (eventually(holds)) return testing::AssertionSuccess();
    return testing::AssertionFailure()
           << "not within 20 s: " << what << "; seen last: " << seen << (last ? last() : "");
}

// How a process ended: its status, or 128 + the signal.
inline int status_of(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Does it without root's right to what has mode 0.
template <typename Task>
void as_nobody(Task task) {
    const uid_t self = geteuid();
    EXPECT_EQ(seteuid(self == 0 ? 65534 : self), 0);
    task();
    EXPECT_EQ(seteuid(self), 0);
}

// What `action` writes to the trace at level 1.
template <typename Action>
std::string traced(Action action) {
    testing::internal::CaptureStdout();
    debugLevel = 1;
    action();
    debugLevel = 0;
    fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

// The bytes of a file, none when there is none.
inline std::string read_file(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline sockaddr_un address_of(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

// Ends the program when the test takes longer than any does, even on a machine that is busy: the last line
// says which it was.
inline void limit_test() {
    constexpr unsigned LIMIT_S = 240;
    static char line[256];
    const testing::TestInfo *test = testing::UnitTest::GetInstance()->current_test_info();
    snprintf(line, sizeof line, "\n%s.%s does not end\n", test ? test->test_suite_name() : "a test",
             test ? test->name() : "");
    signal(SIGALRM, [](int) { _exit(write(STDERR_FILENO, line, strlen(line)) < 0 ? 2 : 1); });
    alarm(LIMIT_S);
}

class DeviceRoot {
  public:
    DeviceRoot() {
        limit_test();
        umask(022);  // whatever the caller's: some tests let other users in
        char folder[] = "/tmp/zevsic-test-XXXXXX";
        path_ = mkdtemp(folder);
        setenv("ZEVSIC_ROOT", path_.c_str(), 1);
        std::filesystem::create_directories(path_ + "/tmp");
        std::filesystem::create_directories(path_ + "/var/run");
        // The SNMP tools need not say that they have made a folder.
        std::filesystem::create_directories(path_ + "/var/lib/snmp/cert_indexes");
    }
    ~DeviceRoot() {
        while (!started_.empty()) end(started_.back());
        unsetenv("ZEVSIC_ROOT");
        std::filesystem::remove_all(path_);
    }
    DeviceRoot(const DeviceRoot &) = delete;
    DeviceRoot &operator=(const DeviceRoot &) = delete;

    std::string path(const std::string &absolute) const { return path_ + absolute; }
    bool has(const std::string &absolute) const { return std::filesystem::exists(path(absolute)); }
    void write(const std::string &absolute, const std::string &text) const {
        std::filesystem::create_directories(std::filesystem::path(path(absolute)).parent_path());
        std::ofstream(path(absolute), std::ios::binary) << text;
    }
    // A shell script as a tool of the device.
    void write_tool(const std::string &absolute, const std::string &script) const {
        write(absolute, "#!/bin/sh\n" + script + "\n");
        chmod(path(absolute).c_str(), 0755);
    }
    std::string read(const std::string &absolute) const { return read_file(path(absolute)); }

    // What a command prints, on both streams, and "exit N" on a line of its own when it fails. The programs
    // of this build come first in its PATH.
    std::string said(const std::string &command) const {
        std::string text;
        FILE *pipe = popen(("exec 2>&1; " + environment() + command).c_str(), "r");
        for (int c; (c = getc(pipe)) != EOF;) text += static_cast<char>(c);
        const int status = status_of(pclose(pipe));
        return status == 0 ? text : text + "exit " + std::to_string(status) + "\n";
    }
    // Has a stranger put something at a name, in one way after the other: false when there are no more.
    bool put_strangers_file(const std::string &absolute, size_t way) const {
        static const char *const WAYS[] = {"mkdir -p F/full", "mkfifo F", "ln -s victim F", "ln -s nowhere F",
                                           "echo 1 >F; chown 65534 F"};
        if (way >= std::size(WAYS) - (geteuid() == 0 ? 0 : 1)) return false;
        said("cd $ZEVSIC_ROOT/tmp; echo precious >victim; " + std::string(WAYS[way]) + "; mv F " +
             path(absolute));
        return true;
    }
    // Starts a command, in a process group of its own. What it prints goes to the end of a file.
    pid_t start(const std::string &command, const std::string &output = "/tmp/out") {
        const pid_t pid = fork();
        if (pid == 0) {
            setpgid(0, 0);
            prctl(PR_SET_PDEATHSIG, SIGKILL);  // a test program that dies leaves nothing behind
            const std::string line = environment() + "exec " + command + " >>" + path(output) + " 2>&1";
            execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
            _exit(127);
        }
        setpgid(pid, pid);
        started_.push_back(pid);
        return pid;
    }
    // How it ended, on its own with no signal, or on a signal to its group.
    int end(pid_t pid, int signal = SIGKILL) {
        int status = 0;
        kill(-pid, signal);
        waitpid(pid, &status, 0);
        std::erase(started_, pid);
        return status_of(status);
    }

    // Starts a daemon and waits until it answers. Its trace is in /tmp/trace.
    pid_t start_daemon(const std::string &options = "-d 0") {
        unlink(path("/tmp/zevsic_sock").c_str());
        const pid_t pid = start("zevsic " + options, "/tmp/trace");
        EXPECT_TRUE(soon(
            "the daemon answers", [&] { return close(connect_client()) == 0; },
            [&] { return read("/tmp/trace"); }));
        return pid;
    }
    // A connection to the daemon, or −1.
    int connect_client() const {
        const int client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const sockaddr_un address = address_of(path("/tmp/zevsic_sock"));
        if (connect(client, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0) return client;
        close(client);
        return -1;
    }

  private:
    // As on a device, without a locale. The SNMP tools keep and read nothing elsewhere.
    std::string environment() const {
        const std::string snmp = path("/var/lib/snmp");
        return "unset LANG LANGUAGE LC_ALL LC_CTYPE; export MIBS= SNMPCONFPATH=" + snmp +
               " SNMP_PERSISTENT_DIR=" + snmp + " PATH=" ZEVSIC_BIN_DIR ":$PATH ZEVSIC_ROOT=" + path("") +
               "; ";
    }
    std::vector<pid_t> started_;
    std::string path_;
};

// Compares a text with a file of the source tree and prints the lines that differ. With ZEVSIC_RENEW set the
// file is made anew: git diff then shows what became of it.
inline void expect_file(const DeviceRoot &root, const std::string &path, const std::string &text) {
    if (getenv("ZEVSIC_RENEW")) std::ofstream(path) << text;
    root.write("/now", text);
    const std::string difference = root.said("diff -U 1 " + path + " $ZEVSIC_ROOT/now");
    EXPECT_TRUE(difference.empty()) << difference;
}
