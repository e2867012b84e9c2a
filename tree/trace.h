// Trace output of the daemon: diagnostic lines on standard output or standard error.
// The level is tested at each message, so a change takes effect at once; a silent trace costs one test.
#pragma once

// 1 = standard output (the initial level), 2 = standard error, any other value = silent.
extern int debugLevel;

inline bool trace_on() {
    return debugLevel == 1 || debugLevel == 2;
}

// Writes one message to the stream of the current level. Call it through TRACE.
[[gnu::format(printf, 1, 2), gnu::cold]] void trace_message(const char *format, ...);

// Arguments are evaluated only when the trace is on.
#define TRACE(...)                                  \
    do {                                            \
        if (trace_on()) trace_message(__VA_ARGS__); \
    } while (0)

// Where the program is: module ("zevsic", "function" or "handler"), function, source line. The tree's module is
// "function" in these lines, which others read; its folder is `tree`.
#define TRACE_LOCATION(module, function) TRACE("%s %s:%d\n", module, function, __LINE__)
