#include "platform/files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/device.h"

bool is_ours(const struct stat &facts) {
    return S_ISREG(facts.st_mode) && (facts.st_uid == 0 || facts.st_uid == geteuid());
}

FileOwner file_owner(std::string_view absolute) {
    struct stat facts = {};
    if (lstat(device_path(absolute).c_str(), &facts) == 0)
        return is_ours(facts) ? FileOwner::OURS : FileOwner::STRANGER;
    return errno == ENOENT || errno == ENOTDIR ? FileOwner::NOBODY : FileOwner::STRANGER;
}

bool our_file_exists(std::string_view absolute) {
    return file_owner(absolute) == FileOwner::OURS;
}

bool apply_lock_is_left() {
    struct stat lock = {}, daemon = {};
    if (!our_file_exists(APPLY_LOCK_FILE) || lstat(device_path(APPLY_LOCK_FILE).c_str(), &lock) != 0)
        return false;
    if (stat(device_path(PID_FILE).c_str(), &daemon) != 0) return true;
    return lock.st_mtim.tv_sec != daemon.st_mtim.tv_sec ? lock.st_mtim.tv_sec < daemon.st_mtim.tv_sec
                                                        : lock.st_mtim.tv_nsec < daemon.st_mtim.tv_nsec;
}

// Moves it into a new folder of our own, where nobody else can change it any more, and removes it there. A
// folder that holds files stays, out of the way: how much is in it is for a stranger to say.
static bool take_away(const std::string &path, bool strangers_only) {
    std::string folder = path + ".removed-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr) return false;
    const std::string taken = folder + "/it";
    const bool gone = rename(path.c_str(), taken.c_str()) == 0 || errno == ENOENT;
    struct stat facts = {};
    // It has been replaced since it was looked at: one of ours goes back, unless there is a newer one.
    if (strangers_only && lstat(taken.c_str(), &facts) == 0 && is_ours(facts) &&
        link(taken.c_str(), path.c_str()) != 0 && errno != EEXIST)
        return false;
    remove(taken.c_str());
    rmdir(folder.c_str());
    return gone;
}

bool remove_strangers_file(std::string_view absolute) {
    return file_owner(absolute) != FileOwner::STRANGER || take_away(device_path(absolute), true);
}

bool remove_device_file(std::string_view absolute) {
    const std::string path = device_path(absolute);
    if (unlink(path.c_str()) == 0 || errno == ENOENT) return true;
    return errno == EISDIR && take_away(path, false);
}
