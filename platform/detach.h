// Leaving the daemon behind.
#pragma once

// Makes the calling process, a fork of a process that may have threads, one of its own: a session of its own,
// default signals with none blocked, no descriptor but 0, 1 and 2 on /dev/null. Only calls that are safe in a
// signal handler are made.
void detach_process();
