// Lines for the journal: on standard error with their priority in front, or to syslog in the background.
#pragma once

#include <syslog.h>

#include <string>

void log_to_syslog(const char *program);
void log_line(int priority, const std::string &text);
