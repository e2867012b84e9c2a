// The system's log: the few things that an operator must know of a daemon that traces nothing, one line each.
// No line holds a value of a manager or of the store.
#pragma once

#include <string>

enum class Severity { ERROR = 3, INFORMATION = 6 };  // RFC 5424, section 6.2.1

void log_event(const std::string &text, Severity severity = Severity::INFORMATION);

// A line that is ready to be sent, for a process that may make system calls only.
struct LogLine {
    std::string socket, datagram;
};
LogLine prepare_log_line(const std::string &text, Severity severity = Severity::INFORMATION);
// Sends it without waiting. It is lost when nobody takes it.
void send_log_line(const LogLine &line);

// Tells whoever supervises the process, and wants to know, that it serves now (sd_notify(3)).
void tell_ready();
