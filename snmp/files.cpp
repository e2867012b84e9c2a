#include "snmp/files.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "platform/device.h"

FileWatch::FileWatch(const std::string &socket) : fd(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    constexpr uint32_t EVENTS = IN_CREATE | IN_MOVED_TO | IN_DELETE | IN_MOVED_FROM | IN_ATTRIB | IN_ONLYDIR;
    int failed = fd < 0 ? errno : 0;
    for (const std::string &folder : {device_path("/tmp"), socket.substr(0, socket.rfind('/'))}) {
        const int number = fd < 0 ? -1 : inotify_add_watch(fd, folder.c_str(), EVENTS);
        if (number >= 0)
            folders.emplace_back(number, folder);
        else if (fd >= 0)
            failed = errno;
    }
    if (failed) error = std::system_category().message(failed);
}

FileWatch::~FileWatch() {
    if (fd >= 0) close(fd);
}

static FileChange change_of(uint32_t mask) {
    if (mask & IN_Q_OVERFLOW) return FileChange::UNKNOWN;
    if (mask & (IN_CREATE | IN_MOVED_TO)) return FileChange::MADE;
    return mask & IN_ATTRIB ? FileChange::MARKED : FileChange::REMOVED;
}

void take_changes(const FileWatch &watch,
                  const std::function<void(const std::string &path, FileChange change)> &see) {
    alignas(inotify_event) char events[4096];
    // As much as the kernel keeps; whoever makes files faster than they are read here has to wait.
    for (int reads = 0; reads < 128; reads++) {
        const ssize_t n = read(watch.fd, events, sizeof events);
        if (n <= 0) return;
        for (const char *at = events; at < events + n;) {
            const auto *event = reinterpret_cast<const inotify_event *>(at);
            at += sizeof *event + event->len;
            const FileChange change = change_of(event->mask);
            if (change == FileChange::UNKNOWN) see("", change);
            const auto folder = std::find_if(watch.folders.begin(), watch.folders.end(),
                                             [&](const auto &each) { return each.first == event->wd; });
            if (event->len > 0 && folder != watch.folders.end())
                see(folder->second + "/" + event->name, change);
        }
    }
}
