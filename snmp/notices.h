// What is worth a notification, from what is seen of the daemon and of its files. It has no process, no file
// and no clock: who calls has looked.
#pragma once

#include <vector>

#include "registry/notifications.h"

enum Protocol { NO_PROTOCOL, TFTP, FTP };
enum Operation { UNKNOWN, UPGRADE, BACKUP, RESTORE };

struct Notice {
    NotificationKind kind;
    std::vector<long> values;
};

struct SeenTransfer {
    bool begun = false;  // running, or ended with an outcome that is not known yet
    Protocol protocol = NO_PROTOCOL;
    Operation operation = UNKNOWN;
};

struct SeenDevice {
    bool enabled = false;         // its traps, as read last; nothing is worth a notification without
    std::vector<Notice> notices;  // oldest first, for the caller to send and to clear

    enum { NOT_YET, ANSWERS, SILENT } daemon = NOT_YET;
    int apply = 0;  // its state, as read last
    bool apply_known = false;
    bool applying = false;   // the daemon has said so, and not yet that it is over
    bool lock_made = false;  // the lock file of an apply, and nothing has told yet what became of that
    int ended = 0;           // applies that are over, and not told yet
    bool stuck = false;      // failed: the state says applying until someone removes the lock file
};

// Its files. The last thing that an apply does is to remove the marker of saved changes; one that is refused
// removes the lock file only. So several that are over before the daemon is asked are counted.
void see_lock_made(SeenDevice *device);
void see_lock_removed(SeenDevice *device);
void see_marker_removed(SeenDevice *device);

void see_answer(SeenDevice *device);   // to whatever question
void see_silence(SeenDevice *device);  // for too long
// The daemon is gone, or another one has taken its place. `locked`: the lock file of an apply is there. The
// daemon ends itself when an apply fails, and leaves that file.
void see_end(SeenDevice *device, bool locked);

// The apply object's value, once the switch of traps has been read that it left.
void see_apply(SeenDevice *device, int value);

// The status object's value, read after the transfer's lock file was gone.
void see_status(SeenDevice *device, SeenTransfer *transfer, int value);
