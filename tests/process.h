// Processes that a test starts, and waiting for what they do.
#pragma once

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

// Tries until it is true, for at most 20 s.
template <typename Condition>
bool eventually(Condition condition) {
    for (int i = 0; i < 2000; i++) {
        if (condition()) return true;
        usleep(10000);
    }
    return false;
}

inline pid_t start(const std::vector<std::string> &words, const std::string &output) {
    const pid_t pid = fork();
    if (pid != 0) return pid;
    const int out = open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    dup2(out, STDOUT_FILENO);
    dup2(out, STDERR_FILENO);
    std::vector<char *> argv;
    for (const std::string &word : words) argv.push_back(const_cast<char *>(word.c_str()));
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
}

inline int exit_status(pid_t pid) {
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
