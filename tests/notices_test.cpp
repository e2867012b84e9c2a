// What is worth a notification: events in, notifications out.
#include <gtest/gtest.h>

#include <algorithm>

#include "snmp/notices.h"

// L, l: a lock file is made, removed. m: the marker of saved changes is removed. 0, 1, -: the apply object
// reads so (- needs a reboot). A: an answer. S: silence. E, e: the daemon has ended, with and without a lock
// file there. +, x: traps are enabled, disabled. u: a transfer's status reads "updating", 5: five.
static std::string told(const std::string &events) {
    SeenDevice device;
    SeenTransfer transfer = {.begun = true, .protocol = FTP, .operation = RESTORE};
    for (const char event : events) {
        if (event == 'L') see_lock_made(&device);
        if (event == 'l') see_lock_removed(&device);
        if (event == 'm') see_marker_removed(&device);
        if (event == '0' || event == '1') see_apply(&device, event - '0');
        if (event == '-') see_apply(&device, -1);
        if (event == 'A') see_answer(&device);
        if (event == 'S') see_silence(&device);
        if (event == 'E' || event == 'e') see_end(&device, event == 'E');
        if (event == '+' || event == 'x') device.enabled = event == '+';
        if (event == 'u' || event == '5') see_status(&device, &transfer, event == 'u' ? 1 : 5);
    }
    std::string text;
    for (const Notice &notice : device.notices) {
        text += (text.empty() ? "" : " ") + std::to_string(notice.kind);
        for (const long value : notice.values) text += "," + std::to_string(value);
    }
    return text;
}

TEST(Notices, AreToldOnceForEachEvent) {
    const struct {
        const char *what, *events, *told;
    } cases[] = {
        {"an apply that was seen while it ran", "+A010", "1,1"},
        {"one that was over before anybody asked", "+A0Lml0", "1,1"},
        {"three in a row, the last still running", "+A0LmlLmlLm1l0", "1,1 1,1 1,1"},
        {"a refused one", "+A0Ll0", ""},
        {"someone else's marker", "+A0m0", ""},
        {"the one that turned traps on, and not those before it", "A0LmlLml+0", "1,1"},
        {"traps that are off", "A010AS", ""},
        {"a failed apply, whose lock file stays", "+A0L1EA11", "4 1,2 5"},
        {"and the next one, once that is gone", "+A0L1EA1l0Lml0", "4 1,2 5 1,1"},
        {"applies that went well before it", "+A0LmlLE", "4 1,1 1,2"},
        {"a daemon that was started anew", "+AeA", "4 5"},
        {"one that is silent for long", "+ASSeA", "4 5"},
        {"the first answer of all", "+A", ""},
        {"saved changes that need a reboot", "+A0--0-", "2 2"},
        {"those that were there at the start", "+A--", ""},
        {"a transfer, once its end is known", "+u5", "3,2,3,5"},
    };
    for (const auto &c : cases) EXPECT_EQ(told(c.events), c.told) << c.what;
}
