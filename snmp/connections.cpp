#include "snmp/connections.h"

#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <map>
#include <vector>

using Clock = std::chrono::steady_clock;

constexpr size_t MOST_CONNECTIONS = 64;

struct Connection {
    int fd;
    Clock::time_point used;  // DROPPED: shut down, and not closed by the library yet
    int (*close)(netsnmp_transport *);
};

constexpr Clock::time_point DROPPED = Clock::time_point::max();

static std::vector<Connection> connections;
static std::map<int, netsnmp_transport> listeners;  // by descriptor, as the library made them

static Connection *find(int fd) {
    const auto at =
        std::find_if(connections.begin(), connections.end(), [&](const auto &each) { return each.fd == fd; });
    return at == connections.end() ? nullptr : &*at;
}

// The library closes it when it reads its end.
static void drop(Connection *connection) {
    connection->used = DROPPED;
    shutdown(connection->fd, SHUT_RDWR);
}

static void drop_oldest() {
    const auto oldest = std::min_element(connections.begin(), connections.end(),
                                         [](const auto &a, const auto &b) { return a.used < b.used; });
    if (oldest != connections.end()) drop(&*oldest);
}

static size_t most_connections() {
    static const size_t most = [] {
        rlimit limit{};
        getrlimit(RLIMIT_NOFILE, &limit);
        return std::min<rlim_t>(MOST_CONNECTIONS, limit.rlim_cur / 4);
    }();
    return most;
}

static int accept_connection(netsnmp_transport *listening) {
    const netsnmp_transport &library = listeners.at(listening->sock);
    const int fd = library.f_accept(listening);
    if (fd < 0) {
        if (errno == EMFILE || errno == ENFILE) drop_oldest();
        return fd;
    }
    const auto living = std::count_if(connections.begin(), connections.end(),
                                      [](const auto &each) { return each.used != DROPPED; });
    if (static_cast<size_t>(living) >= most_connections()) drop_oldest();
    connections.push_back({fd, Clock::now(), library.f_close});
    return fd;
}

// A part of a message would make nonsense of what follows.
static int send_or_drop(netsnmp_transport *to, const void *message, int size, void **, int *) {
    const ssize_t sent = send(to->sock, message, static_cast<size_t>(size), MSG_DONTWAIT | MSG_NOSIGNAL);
    Connection *connection = find(to->sock);
    if (connection && sent == size) connection->used = Clock::now();
    if (connection && sent != size) drop(connection);
    return sent == size ? size : -1;
}

static int close_connection(netsnmp_transport *transport) {
    const auto listening = listeners.find(transport->sock);
    if (listening != listeners.end()) return listening->second.f_close(transport);
    const Connection *connection = find(transport->sock);
    if (!connection) return -1;  // closed before
    const auto close = connection->close;
    connections.erase(connections.begin() + (connection - connections.data()));
    return close(transport);
}

void bound_connections(netsnmp_transport *listening) {
    listeners.emplace(listening->sock, *listening);
    // Each connection has these of its listener's.
    listening->f_accept = accept_connection;
    listening->f_send = send_or_drop;
    listening->f_close = close_connection;
}
