#include "zevsic/loop.h"

#include <event.h>
#include <signal.h>
#include <unistd.h>

#include <list>

#include "registry/wire.h"
#include "zevsic/server.h"
#include "zevsic/trace.h"

// A peer that has connected and sent nothing yet. It waits beside the others and delays nobody.
struct WaitingPeer {
    int client;
    event readable;
};

constexpr size_t MAX_WAITING = 64;
constexpr timeval PATIENCE = {5, 0};

static std::list<WaitingPeer> waiting;  // oldest first
static snmp_request request;
static event signal_event;
static event listen_event;

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
    switch (read_request(client, &request)) {
        case Received::NOTHING_YET:
            return;
        case Received::FAILED:
            forget(peer);
            return;
        case Received::RECORD:
            break;
    }
    forget(peer);
    serve_request(client, &request);
}

static void wait_for(int client) {
    if (waiting.size() == MAX_WAITING) drop(waiting.begin());
    WaitingPeer &peer = waiting.emplace_back();
    peer.client = client;
    event_set(&peer.readable, client, EV_READ | EV_PERSIST, waiting_peer_ready, nullptr);
    event_add(&peer.readable, &PATIENCE);
}

static void connection_accept(int listener, short, void *) {
    TRACE_LOCATION("zevsic", __func__);
    int client;
    switch (recv_cli(listener, &request, &client)) {
        case Received::RECORD:
            serve_request(client, &request);
            break;
        case Received::NOTHING_YET:
            wait_for(client);
            break;
        case Received::FAILED:
            break;
    }
}

static void reload_requested(int, short, void *reload) {
    reinterpret_cast<void (*)()>(reload)();
}

void init_loop() {
    event_init();
}

void run_loop(int listener, void (*reload)()) {
    event_set(&signal_event, SIGUSR2, EV_SIGNAL | EV_PERSIST, reload_requested,
              reinterpret_cast<void *>(reload));
    event_add(&signal_event, nullptr);
    sigset_t usr2;
    sigemptyset(&usr2);
    sigaddset(&usr2, SIGUSR2);
    sigprocmask(SIG_UNBLOCK, &usr2, nullptr);

    event_set(&listen_event, listener, EV_READ | EV_PERSIST, connection_accept, &listen_event);
    event_add(&listen_event, nullptr);
    event_dispatch();
}
