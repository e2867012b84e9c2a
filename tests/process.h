// Programs on a device root of a test's own; they end with it.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <string>
#include <vector>

#include "registry/wire.h"
#include "tests/device_root.h"

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

inline sockaddr_un address_of(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

class TestDevice : public DeviceRoot {
  public:
    ~TestDevice() {
        while (!started_.empty()) end(started_.back());
    }

    // What a command prints, on both streams, and "exit N" on a line of its own when it fails. The programs
    // of this build come first in its PATH.
    std::string said(const std::string &command) const {
        std::string text;
        FILE *pipe = popen(("exec 2>&1; " + environment() + command).c_str(), "r");
        for (int c; (c = getc(pipe)) != EOF;) text += static_cast<char>(c);
        const int status = status_of(pclose(pipe));
        return status == 0 ? text : text + "exit " + std::to_string(status) + "\n";
    }
    // Starts a command, in a process group of its own. What it prints goes to the end of a file.
    pid_t start(const std::string &command, const std::string &output = "/tmp/out") {
        const pid_t pid = fork();
        if (pid == 0) {
            setpgid(0, 0);
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
        EXPECT_TRUE(eventually([&] { return close(connect_client()) == 0; })) << read("/tmp/trace");
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
    std::string environment() const {
        return "export ZEVSIC_ROOT=" + path("") + " PATH=" ZEVSIC_BIN_DIR ":$PATH; ";
    }
    std::vector<pid_t> started_;
};
