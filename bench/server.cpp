// bench_server SOCKET: the records and the event loop without any work behind them, the measure of what the
// daemon adds. Takes the same calls as the daemon: the read right after accepting, and an event with a time
// limit for a peer whose record is not there yet. Every answer is the same.
#include <event.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "registry/wire.h"

static char request[RECORD_SIZE];
static snmp_reply reply = {"1.3.6.1.4.1.48019.6.1.1.0", STRING, "answer"};
static event peers[1024];  // by descriptor

// False when there is nothing to read yet; else the connection is done with.
static bool serve(int client) {
    const ssize_t length = read(client, request, RECORD_SIZE);
    if (length < 0 && errno == EAGAIN) return false;
    if (length > 0 && write(client, &reply, RECORD_SIZE) < 0) perror("bench_server: write");
    close(client);
    return true;
}

static void peer_ready(int client, short events, void *) {
    if (events & EV_TIMEOUT)
        close(client);
    else if (!serve(client))
        return;
    event_del(&peers[client]);
}

static void accept_ready(int listener, short, void *) {
    const int client = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (client < 0 || serve(client)) return;
    if (client >= 1024) {
        close(client);
        return;
    }
    const timeval patience = {5, 0};
    event_set(&peers[client], client, EV_READ | EV_PERSIST, peer_ready, nullptr);
    event_add(&peers[client], &patience);
}

int main(int argc, char **argv) {
    sockaddr_un address{};
    if (argc != 2 || strlen(argv[1]) >= sizeof address.sun_path) {
        fprintf(stderr, "usage: bench_server SOCKET\n");
        return 2;
    }
    signal(SIGPIPE, SIG_IGN);
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, argv[1], strlen(argv[1]));
    unlink(argv[1]);
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address) < 0 ||
        listen(listener, 128) < 0) {
        perror("bench_server");
        return 1;
    }
    event_init();
    event listening;
    event_set(&listening, listener, EV_READ | EV_PERSIST, accept_ready, nullptr);
    event_add(&listening, nullptr);
    event_dispatch();
    return 0;
}
