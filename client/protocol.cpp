#include "client/protocol.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <system_error>

#include "platform/device.h"

using Clock = std::chrono::steady_clock;

std::string default_socket() {
    return device_path("/tmp/zevsic_sock");
}

// Lets the next blocking call last until the deadline only. The kernel applies the sending limit to connect()
// as well, which on a UNIX socket waits while the backlog is full.
static bool limit(int fd, int option, Clock::time_point deadline) {
    const auto left = std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now()).count();
    if (left <= 0) {
        errno = EAGAIN;
        return false;
    }
    const timeval time = {static_cast<time_t>(left / 1000000), static_cast<suseconds_t>(left % 1000000)};
    return setsockopt(fd, SOL_SOCKET, option, &time, sizeof time) == 0;
}

static bool connect_until(int fd, const sockaddr_un &address, Clock::time_point deadline) {
    while (limit(fd, SO_SNDTIMEO, deadline)) {
        if (connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0) return true;
        if (errno != EINTR) return false;
    }
    return false;
}

bool is_trusted(int fd, std::string *error) {
    ucred server{};
    socklen_t size = sizeof server;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &server, &size) != 0) {
        *error = std::system_category().message(errno);
        return false;
    }
    if (server.uid == 0 || server.uid == geteuid()) return true;
    *error = "its server runs as user " + std::to_string(server.uid) + ", who is neither root nor you";
    errno = EPERM;
    return false;
}

static bool send_all(int fd, const void *record, Clock::time_point deadline) {
    const char *from = static_cast<const char *>(record);
    for (size_t done = 0; done < RECORD_SIZE;) {
        if (!limit(fd, SO_SNDTIMEO, deadline)) return false;
        const ssize_t n = send(fd, from + done, RECORD_SIZE - done, MSG_NOSIGNAL);
        if (n >= 0)
            done += static_cast<size_t>(n);
        else if (errno != EINTR)
            return false;
    }
    return true;
}

static bool receive_all(int fd, void *record, Clock::time_point deadline) {
    char *to = static_cast<char *>(record);
    for (size_t done = 0; done < RECORD_SIZE;) {
        if (!limit(fd, SO_RCVTIMEO, deadline)) return false;
        const ssize_t n = recv(fd, to + done, RECORD_SIZE - done, 0);
        if (n > 0) {
            done += static_cast<size_t>(n);
        } else if (n == 0) {
            errno = ECONNRESET;
            return false;
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

static std::string failure(int code, int timeout_ms) {
    if (code == EPIPE || code == ECONNRESET) return "connection closed early";
    if (code != EAGAIN) return std::system_category().message(code);
    char text[64];
    snprintf(text, sizeof text, "no answer within %g s", timeout_ms / 1000.0);
    return text;
}

Answer exchange(const std::string &socket_path, RequestKind kind, std::string_view oid, std::string_view set,
                int timeout_ms) {
    Answer answer{};
    sockaddr_un address{};
    if (oid.size() >= TEXT_SIZE || set.size() >= TEXT_SIZE) {
        answer.error = "the text is longer than a record can carry";
        return answer;
    }
    if (socket_path.size() >= sizeof address.sun_path) {
        answer.error = "the path of the socket is too long: " + socket_path;
        return answer;
    }
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, socket_path.data(), socket_path.size());

    snmp_request request{};
    request.type = kind;
    put_text(request.oid, oid);
    put_text(request.set, set);

    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeout_ms);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        answer.error = "cannot make a socket: " + std::system_category().message(errno);
        return answer;
    }
    if (!connect_until(fd, address, deadline)) {
        answer.error = "cannot connect to " + socket_path + ": " + failure(errno, timeout_ms);
    } else if (std::string why; !is_trusted(fd, &why)) {
        answer.error = "not asked: " + socket_path + ": " + why;
    } else if (!send_all(fd, &request, deadline) || !receive_all(fd, &answer.reply, deadline)) {
        answer.error = failure(errno, timeout_ms);
    }
    close(fd);
    answer.reply.oid[TEXT_SIZE - 1] = '\0';
    answer.reply.value[TEXT_SIZE - 1] = '\0';
    return answer;
}
