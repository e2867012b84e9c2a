// The marker of saved changes: a file whose first line says whether they need a reboot.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "platform/builtin/store.h"
#include "platform/device.h"
#include "platform/zevcfg.h"

SyncMarker read_sync_marker() {
    SyncMarker marker = {};
    marker.exists = read_device_file(SAVED_CHANGES_FILE, 1024, &marker.text);
    return marker;
}

bool needs_reboot(const SyncMarker &marker) {
    return marker.exists && atoi(marker.text.c_str()) == 1;
}

// Written beside its place and moved there: readers see a whole marker, and a link put at its place by
// another user is replaced, not followed.
bool write_sync_marker(const SyncMarker &marker) {
    std::string place = device_path(SAVED_CHANGES_FILE);
    if (!marker.exists) return unlink(place.c_str()) == 0 || !device_file_exists(SAVED_CHANGES_FILE);
    std::string draft = place + ".XXXXXX";
    int fd = mkostemp(draft.data(), O_CLOEXEC);
    if (fd < 0) return false;
    bool written =
        write(fd, marker.text.data(), marker.text.size()) == static_cast<ssize_t>(marker.text.size());
    written = fchmod(fd, 0644) == 0 && written;
    written = close(fd) == 0 && written;
    if (written && rename(draft.c_str(), place.c_str()) == 0) return true;
    unlink(draft.c_str());
    return false;
}

int check_apply_need_reboot() {
    return needs_reboot(read_sync_marker()) ? 1 : 0;
}
