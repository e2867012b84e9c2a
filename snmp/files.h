// The files by which the daemon tells of itself: nobody has to go and look at them.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

enum class FileChange {
    MADE,     // also: moved there
    REMOVED,  // also: moved away
    MARKED,   // its times were set: how the daemon tells of a SET and of a rebuild, on its socket
    UNKNOWN,  // more happened than the kernel keeps; of no file
};

struct FileWatch {
    explicit FileWatch(const std::string &socket);
    ~FileWatch();
    FileWatch(const FileWatch &) = delete;
    FileWatch &operator=(const FileWatch &) = delete;

    int fd = -1;        // readable when there is something to take; −1: the system lets nobody watch
    std::string error;  // why
    std::vector<std::pair<int, std::string>> folders;  // the device's /tmp, and where the socket is
};

// Gives what happened since to `see`, in its order, with the path of each file; never waits.
void take_changes(const FileWatch &watch,
                  const std::function<void(const std::string &path, FileChange change)> &see);
