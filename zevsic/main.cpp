// zevsic: the SNMP sub-agent of an access point. Builds the whole agent before the request socket exists,
// then serves until it is ended from outside.
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <new>

#include "handler/groups.h"
#include "platform/device.h"
#include "platform/log.h"
#include "platform/zevcfg.h"
#include "tree/agent.h"
#include "zevsic/loop.h"
#include "zevsic/options.h"
#include "zevsic/reload.h"
#include "zevsic/server.h"

static void write_pid_file() {
    FILE *file = fopen(device_path(PID_FILE).c_str(), "we");
    if (!file) {
        perror("opening pid file.\n");
        exit(1);
    }
    fprintf(file, "%d", getpid());
    fclose(file);
}

// Must not ask for memory itself.
[[noreturn]] static void out_of_memory() {
    static const char message[] = "zevsic: out of memory\n";
    if (write(STDERR_FILENO, message, sizeof message - 1) < 0) _exit(1);
    _exit(1);
}

int main(int argc, char **argv) {
    // A reload asked for while the agent is still being built waits until the loop can serve it.
    sigset_t usr2;
    sigemptyset(&usr2);
    sigaddset(&usr2, SIGUSR2);
    sigprocmask(SIG_BLOCK, &usr2, nullptr);
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);  // a log that may not grow any more is no reason to end
    std::set_new_handler(out_of_memory);

    setvbuf(stdout, nullptr, _IOLBF, 0);  // a killed daemon leaves whole trace lines behind
    read_options(argc, argv);
    write_pid_file();
    prepare_tools();
    init_norvalis();
    init_loop();
    const int listener = init_nonblock_socket();
    log_event("started, version " ZEVSIC_VERSION);
    tell_ready();
    run_loop(listener, reload_agent);
    close(listener);
    free_agent();
    return 0;
}
