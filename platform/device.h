// The device as the programs see it: its files and its tools. Every absolute path and every tool goes
// through here, so that a whole device can live in a folder (environment variable ZEVSIC_ROOT).
#pragma once

#include <string>
#include <string_view>

#include "platform/files.h"

// The path below the device root; the path itself when no root is set.
std::string device_path(std::string_view absolute);

// Makes the environment of the tools that this process runs: the root's sbin, bin and usr/bin stand in front
// of PATH when there is a root, and the locale is one with untranslated messages in which bytes stay what
// they are.
void prepare_tools();

// The tools of a request have 10 s together: what the first one begins, the last one has to finish. When the
// time is up the running tool is ended, and the ones behind it print nothing.
extern int tool_time_limit;  // in milliseconds; shorter for tests

// A request begins and ends. Outside of one, and in other threads, tools have no limit.
void begin_tools();
void end_tools();

// How many tools of this request were ended, or not even started, because the time was up.
int tools_cut_short();

// How many this request has asked for, these included.
int tools_asked_for();

// Whether the tools that this request has run left most of the time: one that is cut short then hangs by
// itself, and does not lack what another took.
bool most_tool_time_left();

// What tools print on standard error, and what is wrong with one, is said on standard error once until the
// next rebuild. Only in the thread that serves requests.
void report_tool(const std::string &command, const char *what);
void forget_reports();

// Runs a command line in /bin/sh and waits: the exit status, 128 + signal, or −1 when it could not start, was
// refused or took too long. The child starts with default signals, in a process group of its own, with an
// empty standard input and no descriptor above 2. With a root set, `date` and `reboot` run only when the root
// has its own. A text with a NUL is no command.
int run_command(const std::string &command);

struct CommandOutput {
    bool started;      // false: the command could not be run
    std::string text;  // what it printed on standard output, at most COMMAND_OUTPUT_LIMIT bytes
};
constexpr size_t COMMAND_OUTPUT_LIMIT = 4U << 20;

// Runs a command line in /bin/sh and collects its standard output; the rest is as in run_command. The output
// ends with the command itself: children that it leaves behind in its process group are ended. Of a command
// that took too long or printed too much the whole lines that came before count. Only in the thread that
// serves requests.
CommandOutput read_command(const std::string &command);

// A word as it must stand in a shell command: unchanged when it is not empty and made of letters, digits
// and ._-/:@%+, only; else quoted so that the shell passes it on unchanged as one word. Ends at a NUL.
std::string shell_word(std::string_view text);

// A text inside a single-quoted part of a command ('...%s...'): ' becomes '\''. Ends at a NUL.
std::string inside_single_quotes(std::string_view text);

// A text inside a URL: every byte but letters, digits and ._-~/:@+, is percent-encoded.
std::string url_text(std::string_view text);

// Opens a file of the device without following a link at its last component: the descriptor
// (close-on-exec), or −1 with errno.
int open_device_file(std::string_view absolute, int flags, unsigned mode = 0);

// Up to `limit` bytes of a device file. False when it cannot be read or is no regular file; below /tmp also
// when it is a link or a stranger's.
bool read_device_file(std::string_view absolute, size_t limit, std::string *out);

// A text up to its first newline.
std::string first_line(std::string_view text);

bool device_file_exists(std::string_view absolute);

// Creates a lock file that must not exist yet (O_EXCL) holding the time in seconds and a newline.
bool create_lock_file(std::string_view absolute);
