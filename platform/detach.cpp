#include "platform/detach.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>

void detach_process() {
    setsid();
    for (int number = 1; number < NSIG; number++) signal(number, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    // Where the kernel has no close_range: as many as it gives a process unless told otherwise, and far more.
    constexpr int MOST_DESCRIPTORS = 65536;
    if (close_range(0, ~0U, 0) != 0) {
        for (int fd = 0; fd < MOST_DESCRIPTORS; fd++) close(fd);
    }
    int fd = open("/dev/null", O_RDWR);  // the machine's own: not a file of the device
    while (fd >= 0 && fd < STDERR_FILENO) fd = dup(fd);
}
