#include "platform/log.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

#include "platform/device.h"

// The form that local programs use (RFC 3164, section 4.1), without the time: whoever takes the line at once
// knows it, and a process between fork and exec may not make a local time.
LogLine prepare_log_line(const std::string &text, Severity severity) {
    constexpr int DAEMON = 3;  // the facility
    return {device_path("/dev/log"), "<" + std::to_string(DAEMON * 8 + static_cast<int>(severity)) +
                                         ">zevsic[" + std::to_string(getpid()) + "]: " + text};
}

void send_log_line(const LogLine &line) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (line.socket.size() >= sizeof address.sun_path) return;
    memcpy(address.sun_path, line.socket.data(), line.socket.size());
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) return;
    sendto(fd, line.datagram.data(), line.datagram.size(), MSG_NOSIGNAL,
           reinterpret_cast<sockaddr *>(&address), sizeof address);
    close(fd);
}

void log_event(const std::string &text, Severity severity) {
    send_log_line(prepare_log_line(text, severity));
}
