#include "zevsic/options.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "platform/device.h"
#include "tree/trace.h"

[[noreturn]] static void usage() {
    TRACE("Usage: \n zevsic [-d Debug ]\n");
    exit(1);
}

// The log holds whatever managers write, keys too, in a folder where anyone may have put something of that
// name: only a file of our own will do, under no second name. The descriptor, or −1 with errno.
static int open_log() {
    const int log = open_device_file("/tmp/zevsic_log.txt", O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK, 0600);
    struct stat facts = {};
    if (log < 0 || fstat(log, &facts) != 0) return -1;
    if (is_ours(facts) && facts.st_nlink == 1) return log;
    close(log);
    errno = EEXIST;
    return -1;
}

// With a level above 0, standard error goes to the log file: level 2 is a trace into the log.
static void init_output() {
    if (debugLevel > 0) {
        const int log = open_log();
        if (log < 0 || dup2(log, STDERR_FILENO) < 0) {
            perror("dup stderr to file fail\n");
            exit(1);
        }
        close(log);
    }
    setvbuf(stdout, nullptr, _IOLBF, 0);
    setvbuf(stderr, nullptr, _IONBF, 0);
}

static void setDebug(const char *level) {
    debugLevel = atoi(level);
    printf("zevsic: debug mode %d\n", debugLevel);
    init_output();
}

void read_options(int argc, char **argv) {
    opterr = 0;  // the usage text is the only message, and it obeys the level
    for (int option; (option = getopt(argc, argv, "d:")) != -1;) {
        if (option != 'd') usage();
        setDebug(optarg);
    }
}
