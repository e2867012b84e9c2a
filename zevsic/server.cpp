#include "zevsic/server.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/device.h"
#include "platform/log.h"
#include "tree/dispatch.h"
#include "tree/trace.h"
#include "zevsic/peers.h"

constexpr int BACKLOG = 128;

[[noreturn]] static void error(const char *message) {
    const int why = errno;
    log_event(std::string(message) + ": " + strerror(why), Severity::ERROR);
    errno = why;
    perror(message);
    exit(0);
}

// The process that listens on the path: 0 when nobody does.
static pid_t listening_process(const sockaddr_un &address, socklen_t length) {
    const int client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    ucred peer = {};
    socklen_t size = sizeof peer;
    if (client >= 0 && connect(client, reinterpret_cast<const sockaddr *>(&address), length) == 0)
        getsockopt(client, SOL_SOCKET, SO_PEERCRED, &peer, &size);
    if (client >= 0) close(client);
    return peer.pid;
}

static std::string socket_path() {
    return device_path("/tmp/zevsic_sock");
}

void mark_socket() {
    utimensat(AT_FDCWD, socket_path().c_str(), nullptr, AT_SYMLINK_NOFOLLOW);
}

int init_nonblock_socket() {
    const std::string path = socket_path();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const bool fits = path.size() < sizeof address.sun_path;
    if (fits) memcpy(address.sun_path, path.data(), path.size());
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
    const pid_t other = fits ? listening_process(address, length) : 0;
    const int in_the_way = unlink(path.c_str()) == 0 || errno == ENOENT ? 0 : errno;

    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listener < 0) error("creating socket");
    const int on = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (!fits) {
        errno = ENAMETOOLONG;
        error("binding socket");
    }
    const mode_t mask = umask(0117);
    const int bound = bind(listener, reinterpret_cast<sockaddr *>(&address), length);
    umask(mask);
    if (bound < 0) {
        if (in_the_way != 0) errno = in_the_way;  // says more: a folder of that name, say
        error("binding socket");
    }
    open_to_groups(path);
    listen(listener, BACKLOG);
    if (other > 0) log_event("request socket taken over from process " + std::to_string(other));
    return listener;
}

Received read_request(int client, snmp_request *request) {
    char *record = reinterpret_cast<char *>(request);
    const ssize_t length = read(client, record, RECORD_SIZE);
    if (length < 0) {
        if (errno == EAGAIN || errno == EINTR) return Received::NOTHING_YET;
        printf(" read fail\n");
        close(client);
        return Received::FAILED;
    }
    memset(record + length, 0, RECORD_SIZE - length);
    request->oid[TEXT_SIZE - 1] = '\0';
    request->set[TEXT_SIZE - 1] = '\0';
    return Received::RECORD;
}

Received recv_cli(int listener, snmp_request *request, int *client) {
    static bool reported;
    *client = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (*client >= 0) {
        reported = false;
        return read_request(*client, request);
    }
    if (errno == EINTR || errno == ECONNABORTED) return Received::FAILED;
    if (!reported) printf("accept clisock error, code = %d\n", *client);
    reported = true;
    return Received::NOT_ACCEPTED;
}

void serve_request(int client, snmp_request *request) {
    static snmp_reply reply;  // all zero between requests
    TRACE("recv oid=%s type = %s\n", request->oid, type_to_str(request->type));
    // Reading asks nobody who it is.
    if (request->type == KIND_GET || request->type == KIND_GETNEXT || may_change(client))
        snmp_exec(&reply, request);
    else if (request->type == KIND_SET)
        reply.reply_status = STATUS_READ_ONLY;
    if (reply.reply_status == STATUS_ACCEPTED) mark_socket();
    // An empty socket takes a whole record at once. A peer that has gone is no reason to end (SIGPIPE is
    // ignored).
    if (write(client, &reply, RECORD_SIZE) != static_cast<ssize_t>(RECORD_SIZE)) TRACE("write fail\n");
    close(client);
    clear_reply(&reply);
}
