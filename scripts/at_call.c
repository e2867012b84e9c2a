// at_call FAULT N COMMAND… | at_call FAULT N -p PID | at_call FAULT N -f PID
// Has a fault come at the Nth system call of a process and its threads: "kill" ends it before the call, the
// name of an error (ENOSPC, EIO, EROFS) fails the Nth of those calls that such an error can come from, FULL
// all from the Nth on that want room on the disk. Children run on; with -f it is their calls that count, and
// theirs alone, and a child that is killed leaves the others. Says "the fault came" on standard error when it
// did. Exit status: the command's, 128 + signal; with a process it ends with 0 when that, or the last child
// of -f, ends, or on SIGTERM.
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

// What is traced runs on.
static void on_term(int signal) {
    (void)signal;
    _exit(0);
}

// Calls that reach the disk to change it; of those, with `room`, such as a full disk refuses. Writes to pipes
// and sockets are none.
static bool may_fail(pid_t thread, const struct __ptrace_syscall_info *call, bool room) {
    const __uint64_t *a = call->entry.args;
    char path[64];
    struct stat facts;
    switch (call->entry.nr) {
        case SYS_openat:
            return !room && a[2] & (O_CREAT | O_WRONLY | O_RDWR);
        case SYS_write:
            snprintf(path, sizeof path, "/proc/%d/fd/%llu", thread, (unsigned long long)a[0]);
            return stat(path, &facts) == 0 && S_ISREG(facts.st_mode);
        case SYS_pwrite64:
        case SYS_fallocate:
        case SYS_mkdirat:
            return true;
        case SYS_fsync:
        case SYS_fdatasync:
        case SYS_ftruncate:
        case SYS_renameat2:
        case SYS_linkat:
        case SYS_unlinkat:
#ifdef SYS_unlink  // machines with younger kernels have these no more
        case SYS_rename:
        case SYS_mkdir:
        case SYS_unlink:
#endif
            return !room;
        default:
            return false;
    }
}

// At its entry, has the call be none; at its exit, answer the error.
static void change_registers(pid_t thread, bool entry, int error) {
#ifdef __x86_64__
    struct user_regs_struct registers;
    ptrace(PTRACE_GETREGS, thread, 0, &registers);
    if (entry)
        registers.orig_rax = (unsigned long long)-1;
    else
        registers.rax = (unsigned long long)-error;
    ptrace(PTRACE_SETREGS, thread, 0, &registers);
#else
    (void)thread, (void)entry, (void)error;
    fputs("at_call: only kills on this machine\n", stderr);
    exit(2);
#endif
}

int main(int argc, char **argv) {
    if (argc < 4) return 2;
    const char *fault = argv[1];
    const bool full = !strcmp(fault, "FULL");
    const int error = full                       ? ENOSPC
                      : !strcmp(fault, "ENOSPC") ? ENOSPC
                      : !strcmp(fault, "EIO")    ? EIO
                      : !strcmp(fault, "EROFS")  ? EROFS
                                                 : 0;
    const bool children = argc > 4 && strcmp(argv[3], "-f") == 0;
    const bool attached = children || (argc > 4 && strcmp(argv[3], "-p") == 0);
    long left = atol(argv[2]);
    struct sigaction action = {.sa_handler = on_term};
    sigaction(SIGTERM, &action, NULL);
    const pid_t pid = attached ? atoi(argv[4]) : fork();
    if (pid == 0) {
        raise(SIGSTOP);
        execvp(argv[3], argv + 3);
        _exit(127);
    }
    int status = 0;
    if (!attached) waitpid(pid, &status, WUNTRACED);
    const int followed = children ? PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK : 0;
    if (ptrace(PTRACE_SEIZE, pid, NULL, PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | followed) != 0)
        return perror("at_call"), 98;
    if (attached)
        ptrace(PTRACE_INTERRUPT, pid, NULL, NULL);
    else
        kill(pid, SIGCONT);
    if (attached) puts("attached"), fflush(stdout);
    pid_t failing = 0;
    int living = 0;  // children
    for (;;) {
        const pid_t thread = waitpid(-1, &status, __WALL);
        if (thread < 0 && errno == EINTR) continue;
        if (thread < 0) return 0;
        if (WIFEXITED(status) || WIFSIGNALED(status)) {
            if (thread != pid && children && --living == 0) return 0;
            if (thread != pid) continue;
            if (attached) return 0;
            return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        long deliver = 0;
        const int signal = WSTOPSIG(status);
        if (signal == (SIGTRAP | 0x80)) {
            struct __ptrace_syscall_info call = {0};
            ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof call, &call);
            const bool entry = call.op == PTRACE_SYSCALL_INFO_ENTRY;
            if (!entry && thread == failing) change_registers(thread, false, error), failing = 0;
            const bool counts = (!children || thread != pid) && (!error || may_fail(thread, &call, full));
            if (entry && counts && (--left == 0 || (full && left < 0))) {
                if (left == 0) fputs("the fault came\n", stderr);
                if (error)
                    change_registers(thread, true, error), failing = thread;
                else
                    kill(children ? thread : pid, SIGKILL);
            }
        } else if (status >> 16 == PTRACE_EVENT_STOP && (signal == SIGSTOP || signal == SIGTSTP)) {
            ptrace(PTRACE_LISTEN, thread, NULL, NULL);
            continue;
        } else if (status >> 16 == PTRACE_EVENT_FORK || status >> 16 == PTRACE_EVENT_VFORK) {
            if (++living == 0) return 0;  // its end was told first
        } else if (status >> 16 == 0) {
            deliver = signal;
        }
        ptrace(PTRACE_SYSCALL, thread, NULL, deliver);
    }
}
