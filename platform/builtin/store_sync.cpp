// The marker of saved changes: a file whose first line says whether they need a reboot.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

#include "platform/builtin/store.h"
#include "platform/device.h"
#include "platform/zevcfg.h"

Saved read_marker() {
    std::string text;
    if (!read_device_file(SAVED_CHANGES_FILE, 1024, &text)) return Saved::NOTHING;
    return atoi(text.c_str()) == 1 ? Saved::CHANGES_FOR_REBOOT : Saved::CHANGES;
}

// Written in its place, so that a process that is killed here leaves no draft behind: a file of two bytes is
// the old or the new one, and an empty one, just made, is one of no reboot.
bool write_marker(Saved saved) {
    if (read_marker() == saved && saved != Saved::NOTHING) return true;
    if (saved == Saved::NOTHING) return remove_device_file(SAVED_CHANGES_FILE);
    int fd = open_device_file(SAVED_CHANGES_FILE, O_WRONLY | O_NONBLOCK);
    struct stat facts = {};
    bool ours = fd >= 0 && fstat(fd, &facts) == 0 && is_ours(facts) && facts.st_nlink == 1;
    // Whatever another user has put at its place is replaced, not written to.
    if (!ours) {
        if (fd >= 0) close(fd);
        remove_device_file(SAVED_CHANGES_FILE);
        fd = open_device_file(SAVED_CHANGES_FILE, O_WRONLY | O_CREAT | O_EXCL, 0644);
        if (fd < 0) return false;
        fchmod(fd, 0644);  // whatever the umask
    }
    std::string_view text = saved == Saved::CHANGES_FOR_REBOOT ? "1\n" : "0\n";
    bool written = pwrite(fd, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size());
    return close(fd) == 0 && written;
}

int check_apply_need_reboot() {
    return read_marker() == Saved::CHANGES_FOR_REBOOT ? 1 : 0;
}
