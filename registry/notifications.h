// What the front end tells managers without being asked, as data: the sender and the MIB module take it from
// here.
#pragma once

#include <array>

#include "registry/words.h"

// Arcs below the root that the daemon never answers. The one in front of a notification's own has to be 0
// (RFC 2578, section 8.5).
inline constexpr int NOTIFICATION_ARC = 0;
inline constexpr int NOTIFICATION_OBJECT_ARC = 254;

inline constexpr Words APPLY_OUTCOME_WORDS = {{{1, "applied"}, {2, "failed"}}};
inline constexpr Words TRANSFER_PROTOCOL_WORDS = {{{1, "tftp"}, {2, "ftp"}}};
inline constexpr Words TRANSFER_OPERATION_WORDS = {
    {{0, "unknown"}, {1, "upgrade"}, {2, "backup"}, {3, "restore"}}};

// A value that comes with a notification and is no object otherwise.
struct NotificationObject {
    int arc;
    const char *name;
    Words words;
};
inline constexpr NotificationObject NOTIFICATION_OBJECTS[] = {
    {1, "zevsicApplyOutcome", APPLY_OUTCOME_WORDS},
    {2, "zevsicTransferProtocol", TRANSFER_PROTOCOL_WORDS},
    {3, "zevsicTransferOperation", TRANSFER_OPERATION_WORDS},
    {4, "zevsicTransferStatus", TRANSFER_STATUS_WORDS},
};

enum NotificationKind { APPLY_ENDED = 1, REBOOT_NEEDED, TRANSFER_ENDED, DAEMON_SILENT, DAEMON_ANSWERS };

struct Notification {
    NotificationKind kind;  // its arc
    const char *name;
    std::array<int, 3> objects{};  // their arcs, up to the first 0
};
inline constexpr Notification NOTIFICATIONS[] = {
    {APPLY_ENDED, "zevsicApplyEnded", {1}},
    {REBOOT_NEEDED, "zevsicRebootNeeded"},
    {TRANSFER_ENDED, "zevsicTransferEnded", {2, 3, 4}},
    {DAEMON_SILENT, "zevsicDaemonSilent"},
    {DAEMON_ANSWERS, "zevsicDaemonAnswers"},
};
