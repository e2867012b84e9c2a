#include "zevsic/loop.h"

#include <event.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <list>

#include "registry/wire.h"
#include "tree/trace.h"
#include "zevsic/server.h"

// A peer that has connected and sent nothing yet. It waits beside the others and delays nobody.
struct WaitingPeer {
    int client;
    event readable;
};

constexpr size_t MOST_WAITING = 64;
constexpr timeval ACCEPT_PAUSE = {0, 100000};
constexpr timeval PEER_PATIENCE = {5, 0};  // with a peer that sends nothing

static std::list<WaitingPeer> waiting;  // oldest first
static size_t waiting_limit;
static snmp_request request;
static event listen_event;
static event pause_event;

static void (*reload_agent)();
static volatile sig_atomic_t reload_wanted;
static int wake_up = -1;  // readable once a reload is wanted: ends the wait of an idle loop
static event wake_up_event;

static void reload_requested(int) {
    const int error = errno;
    const uint64_t one = 1;
    reload_wanted = 1;
    [[maybe_unused]] const ssize_t written = write(wake_up, &one, sizeof one);
    errno = error;
}

// Comes before each connection, so that none is answered from what was asked to be built anew. Requests for a
// reload that come until it begins are one.
static void reload_if_wanted() {
    if (!reload_wanted) return;
    reload_wanted = 0;
    reload_agent();
}

static void woken_up(int, short, void *) {
    uint64_t count = 0;
    if (read(wake_up, &count, sizeof count) < 0) return;
    reload_if_wanted();
}

static void forget(std::list<WaitingPeer>::iterator peer) {
    event_del(&peer->readable);
    waiting.erase(peer);
}

static void drop(std::list<WaitingPeer>::iterator peer) {
    close(peer->client);
    forget(peer);
}

static void waiting_peer_ready(int client, short events, void *) {
    auto peer = waiting.begin();
    while (peer->client != client) ++peer;
    if (events & EV_TIMEOUT) {
        drop(peer);
        return;
    }
    reload_if_wanted();
    switch (read_request(client, &request)) {
        case Received::NOTHING_YET:
            return;
        case Received::RECORD:
            forget(peer);
            serve_request(client, &request);
            return;
        case Received::FAILED:
        case Received::NOT_ACCEPTED:
            forget(peer);
            return;
    }
}

static void add_waiting(int client) {
    if (waiting.size() >= waiting_limit) drop(waiting.begin());
    WaitingPeer &peer = waiting.emplace_back();
    peer.client = client;
    event_set(&peer.readable, client, EV_READ | EV_PERSIST, waiting_peer_ready, nullptr);
    event_add(&peer.readable, &PEER_PATIENCE);
}

static void accept_again(int, short, void *) {
    event_add(&listen_event, nullptr);
}

// There is nothing to give up for a connection that cannot be accepted: it waits, and the loop does not spin
// on it.
static void pause_accepting() {
    event_del(&listen_event);
    event_add(&pause_event, &ACCEPT_PAUSE);
}

static void connection_accept(int listener, short, void *) {
    reload_if_wanted();
    TRACE_LOCATION("zevsic", __func__);
    int client;
    switch (recv_cli(listener, &request, &client)) {
        case Received::RECORD:
            serve_request(client, &request);
            break;
        case Received::NOTHING_YET:
            add_waiting(client);
            break;
        case Received::NOT_ACCEPTED:
            if (waiting.empty())
                pause_accepting();
            else
                drop(waiting.begin());
            break;
        case Received::FAILED:
            break;
    }
}

// At most half of the process's descriptors: the other half is for the store, for files and for tools.
static size_t most_waiting() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return MOST_WAITING;
    return static_cast<size_t>(std::clamp<rlim_t>(limit.rlim_cur / 2, 1, MOST_WAITING));
}

void init_loop() {
    waiting_limit = most_waiting();
    event_init();
    wake_up = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (wake_up < 0) {
        perror("creating event descriptor");
        exit(1);
    }
}

void run_loop(int listener, void (*reload)()) {
    reload_agent = reload;
    event_set(&wake_up_event, wake_up, EV_READ | EV_PERSIST, woken_up, nullptr);
    event_add(&wake_up_event, nullptr);
    struct sigaction action {};
    action.sa_handler = reload_requested;
    action.sa_flags = SA_RESTART;
    sigaction(SIGUSR2, &action, nullptr);
    sigset_t usr2;
    sigemptyset(&usr2);
    sigaddset(&usr2, SIGUSR2);
    sigprocmask(SIG_UNBLOCK, &usr2, nullptr);

    event_set(&pause_event, -1, 0, accept_again, nullptr);
    event_set(&listen_event, listener, EV_READ | EV_PERSIST, connection_accept, &listen_event);
    event_add(&listen_event, nullptr);
    event_dispatch();
}
