#include "platform/log.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "platform/device.h"

// The form that local programs use (RFC 3164, section 4.1), without the time: whoever takes the line at once
// knows it, and a process between fork and exec may not make a local time.
LogLine prepare_log_line(const std::string &text, Severity severity) {
    constexpr int DAEMON = 3;  // the facility
    return {device_path("/dev/log"), "<" + std::to_string(DAEMON * 8 + static_cast<int>(severity)) +
                                         ">zevsic[" + std::to_string(getpid()) + "]: " + text};
}

// To a path, or to a name of the kernel's own behind an @.
static void send_datagram(std::string_view to, std::string_view text) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (to.empty() || to.size() >= sizeof address.sun_path) return;
    memcpy(address.sun_path, to.data(), to.size());
    if (to.starts_with('@')) address.sun_path[0] = '\0';
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + to.size());
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) return;
    sendto(fd, text.data(), text.size(), MSG_NOSIGNAL, reinterpret_cast<sockaddr *>(&address), length);
    close(fd);
}

void send_log_line(const LogLine &line) {
    send_datagram(line.socket, line.datagram);
}

void log_event(const std::string &text, Severity severity) {
    send_log_line(prepare_log_line(text, severity));
}

void tell_ready() {
    const char *socket = getenv("NOTIFY_SOCKET");
    if (!socket) return;
    send_datagram(socket, "READY=1");
    unsetenv("NOTIFY_SOCKET");  // no business of the tools
}
