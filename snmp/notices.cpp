#include "snmp/notices.h"

enum ApplyState { REBOOT_IS_NEEDED = -1, NOT_APPLYING, APPLYING };
enum ApplyOutcome { APPLIED = 1, FAILED };
constexpr int UPDATING = 1, BACKING_UP = 2;  // of the transfer status

static void tell(SeenDevice *device, NotificationKind kind, std::vector<long> values = {}) {
    if (device->enabled) device->notices.push_back({kind, std::move(values)});
}

static void tell_applied(SeenDevice *device) {
    for (; device->ended > 0; device->ended--) tell(device, APPLY_ENDED, {APPLIED});
}

void see_lock_made(SeenDevice *device) {
    device->stuck = false;
    device->lock_made = true;
}

void see_lock_removed(SeenDevice *device) {
    device->lock_made = false;
}

void see_marker_removed(SeenDevice *device) {
    // Of those that ended while the traps were off the last may have turned them on.
    if (device->lock_made) device->ended = device->enabled ? device->ended + 1 : 1;
    device->lock_made = false;
}

void see_answer(SeenDevice *device) {
    if (device->daemon == device->SILENT) tell(device, DAEMON_ANSWERS);
    device->daemon = device->ANSWERS;
}

void see_silence(SeenDevice *device) {
    if (device->daemon == device->ANSWERS) tell(device, DAEMON_SILENT);
    device->daemon = device->SILENT;
}

void see_end(SeenDevice *device, bool locked) {
    see_silence(device);
    if (!locked || (!device->applying && !device->lock_made)) return;
    tell_applied(device);
    device->stuck = true;
    device->applying = device->lock_made = false;
    tell(device, APPLY_ENDED, {FAILED});
}

void see_apply(SeenDevice *device, int value) {
    const int before = device->apply;
    device->apply = value;
    if (value == APPLYING) {
        device->applying = !device->stuck;
    } else {
        if (device->applying && device->ended == 0) device->ended = 1;
        tell_applied(device);
        device->applying = device->stuck = false;
        if (value == REBOOT_IS_NEEDED && before != value && device->apply_known) tell(device, REBOOT_NEEDED);
    }
    device->apply_known = true;
}

void see_status(SeenDevice *device, SeenTransfer *transfer, int value) {
    // What the daemon answers is older than the end, or of the other kind of transfer, which still runs.
    if (value == UPDATING || value == BACKING_UP) return;
    tell(device, TRANSFER_ENDED, {transfer->protocol, transfer->operation, value});
    *transfer = {};
}
