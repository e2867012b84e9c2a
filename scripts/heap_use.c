// LD_PRELOAD=heap_use.so HEAP_USE=FILE PROGRAM…
// Whenever an event loop on epoll begins to wait, the eight bytes of FILE become the bytes that the program
// has from malloc, as a number of this machine. Nothing of the program changes: no thread, no signal, no
// descriptor. What it runs is not looked at. FILE has to be there, of eight bytes or more.
#include <dlfcn.h>
#include <fcntl.h>
#include <malloc.h>
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <unistd.h>

static volatile uint64_t *use;
static int (*real_wait)(int, struct epoll_event *, int, int);

__attribute__((constructor)) static void begin(void) {
    // A pointer to an object cannot be cast to one to a function, as ISO C has it.
    *(void **)&real_wait = dlsym(RTLD_NEXT, "epoll_wait");
    const char *file = getenv("HEAP_USE");
    unsetenv("LD_PRELOAD");
    const int fd = file ? open(file, O_RDWR | O_CLOEXEC) : -1;
    if (fd < 0) return;
    void *page = mmap(NULL, sizeof *use, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (page != MAP_FAILED) use = page;
    close(fd);
}

int epoll_wait(int epoll, struct epoll_event *events, int size, int timeout) {
    if (use) {
        const struct mallinfo2 facts = mallinfo2();
        *use = facts.uordblks + facts.hblkhd;
    }
    return real_wait(epoll, events, size, timeout);
}
