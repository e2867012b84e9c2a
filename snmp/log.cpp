#include "snmp/log.h"

#include <cstdio>

static bool to_syslog = false;

void log_to_syslog(const char *program) {
    openlog(program, LOG_PID, LOG_DAEMON);
    to_syslog = true;
}

void log_line(int priority, const std::string &text) {
    if (to_syslog)
        syslog(priority, "%s", text.c_str());
    else
        fprintf(stderr, "<%d>%s\n", priority, text.c_str());
}
