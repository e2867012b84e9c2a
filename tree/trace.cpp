#include "tree/trace.h"

#include <cstdarg>
#include <cstdio>

int debugLevel = 1;

void trace_message(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vfprintf(debugLevel == 2 ? stderr : stdout, format, arguments);
    va_end(arguments);
}
