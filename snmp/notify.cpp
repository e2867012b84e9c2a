// A round asks the daemon for a few objects: when one of its files tells of a change, when its process ends,
// and seldom without. All but the first of these questions are answered from the daemon's cache until its
// sampling interval has passed; the state of a transfer is asked for only once it has ended, so that looking
// for it leaves no older state in the cache for others.
#include "snmp/notify.h"

#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <optional>

#include "platform/device.h"
#include "platform/files.h"
#include "registry/registry.h"
#include "snmp/files.h"
#include "snmp/log.h"
#include "snmp/netsnmp.h"
#include "snmp/notices.h"
#include "snmp/translate.h"

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr seconds INTERVAL(10);
constexpr milliseconds LEAST_INTERVAL(200);  // between rounds, however often the files change
constexpr seconds PATIENCE(12);              // the tools of a request may run for ten
// When an apply ends, the daemon's other objects are back a moment later: what has ended is judged by the
// switch as it was applied, in a later round, or without it when it does not come back.
constexpr int MOST_ROUNDS_WITHOUT_SWITCH = 10;

constexpr int SWITCH_ON = 2;
constexpr int NOTHING_TO_APPLY = 0;

// One for upgrades and restores, one for backups: the device runs one of each at a time.
struct TransferFiles {
    const char *lock;          // there while it runs
    const char *first[3];      // by protocol: made anew when it begins
    Operation only_operation;  // UNKNOWN: the update command says which
};
constexpr TransferFiles TRANSFER_FILES[] = {
    {UPDATE_LOCK_FILE, {nullptr, TFTP_STATUS_FILE, FTP_STATUS_FILE}, UNKNOWN},
    {BACKUP_LOCK_FILE, {nullptr, TFTP_BACKUP_FILE, FTP_BACKUP_FILE}, BACKUP},
};

struct Notifier {
    explicit Notifier(Asker *from) : asker(from), files(from->socket) {}

    Asker *asker;
    FileWatch files;
    bool files_changed = false;
    int process = -1;  // of the daemon: readable when it has ended
    SeenDevice device;
    SeenTransfer transfers[2];
    Clock::time_point answered;  // the latest answer that was seen

    // The round
    bool asking = false;
    bool again = false;  // something has changed meanwhile
    Clock::time_point begun;
    int awaited = 0;  // answers
    bool of_transfers = false;
    std::optional<int> enabled, apply;
    int rounds_without_switch = 0;
};

static std::unique_ptr<Notifier> notifier;

// ---- sending ----

static oid *append(oid *end, const Oid &arcs) {
    for (const uint32_t arc : arcs) *end++ = arc;
    return end;
}

static void send(const Notice &notice) {
    static const Oid ROOT = parse_oid(ROOT_OID);
    static const oid TRAP_OID[] = {1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0};  // snmpTrapOID.0
    const Notification &notification = NOTIFICATIONS[notice.kind - 1];
    std::string text = notification.name;
    oid name[MAX_OID_LEN];
    oid *end = append(append(name, ROOT), {NOTIFICATION_ARC, static_cast<uint32_t>(notice.kind)});
    netsnmp_variable_list *variables = nullptr;
    snmp_varlist_add_variable(&variables, TRAP_OID, OID_LENGTH(TRAP_OID), ASN_OBJECT_ID, name,
                              static_cast<size_t>(end - name) * sizeof *name);
    const int *arc = notification.objects.data();
    for (const long value : notice.values) {
        const NotificationObject &object = NOTIFICATION_OBJECTS[*arc - 1];
        end = append(append(name, ROOT), {NOTIFICATION_OBJECT_ARC, static_cast<uint32_t>(*arc++), 0});
        snmp_varlist_add_variable(&variables, name, static_cast<size_t>(end - name), ASN_INTEGER, &value,
                                  sizeof value);
        for (const Word &word : object.words)
            if (word.value == value) text += std::string(" ") + word.text;
    }
    log_line(LOG_INFO, "notification: " + text);
    send_v2trap(variables);
    snmp_free_varbind(variables);
}

static void send_notices() {
    for (const Notice &notice : notifier->device.notices) send(notice);
    notifier->device.notices.clear();
}

// ---- the files, and the daemon's process ----

// True when it is `file`, and no stranger's.
static bool is_file(const std::string &path, const char *file) {
    return path == device_path(file) && file_owner(file) != FileOwner::STRANGER;
}

// True when the file is one that says something.
static bool see_file(const std::string &path, FileChange change) {
    const bool made = change == FileChange::MADE, removed = change == FileChange::REMOVED;
    if (change == FileChange::UNKNOWN) return true;
    if (path == notifier->asker->socket) {
        if (made) see_end(&notifier->device, our_file_exists(APPLY_LOCK_FILE));
        return true;
    }
    if (is_file(path, APPLY_LOCK_FILE)) {
        if (made) see_lock_made(&notifier->device);
        if (removed) see_lock_removed(&notifier->device);
        return true;
    }
    if (is_file(path, SAVED_CHANGES_FILE)) {
        if (removed) see_marker_removed(&notifier->device);
        return true;
    }
    for (size_t i = 0; i < std::size(TRANSFER_FILES); i++) {
        if (is_file(path, TRANSFER_FILES[i].lock)) {
            if (made) notifier->transfers[i] = {.begun = true};
            return true;
        }
        for (const Protocol protocol : {TFTP, FTP})
            if (made && is_file(path, TRANSFER_FILES[i].first[protocol]))
                notifier->transfers[i].protocol = protocol;
    }
    return false;
}

static void take_files() {
    notifier->files_changed = false;
    take_changes(notifier->files, [](const std::string &path, FileChange change) {
        if (see_file(path, change)) notifier->again = true;
    });
}

static void files_have_changed(int, void *) {
    notifier->files_changed = true;
}

static void process_has_ended(int fd, void *) {
    unregister_readfd(fd);
    close(fd);
    notifier->process = -1;
    notifier->again = true;
}

static void watch_process() {
    pid_t process = 0;
    if (notifier->process >= 0 || !(std::ifstream(device_path(PID_FILE)) >> process) || process <= 0) return;
    notifier->process = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
    if (notifier->process >= 0) register_readfd(notifier->process, process_has_ended, nullptr);
}

// ---- a round ----

static void go_on_with_round();

// A value of 0 stands for a text that is no number; none for no answer or no such object, as while an apply
// runs.
static void ask_for(const Object *object, std::function<void(std::optional<int>)> take) {
    notifier->awaited++;
    ask(notifier->asker, {.kind = KIND_GET,
                          .oid = std::string(ROOT_OID) + "." + object->oid + ".0",
                          .set = {},
                          .turn = Turn::AWAITED,
                          .send_before = notifier->asker->now + PATIENCE,
                          .done = [take = std::move(take)](const snmp_reply *reply) {
                              std::optional<int> value;
                              if (reply && is_value(reply->reply_status)) value = atoi(reply->value);
                              take(value);
                              if (--notifier->awaited == 0) go_on_with_round();
                          }});
}

static bool is_earlier(const timespec &a, const timespec &b) {
    return a.tv_sec != b.tv_sec ? a.tv_sec < b.tv_sec : a.tv_nsec < b.tv_nsec;
}

static Protocol newest(const TransferFiles &files) {
    Protocol found = TFTP;
    timespec time{};
    for (const Protocol protocol : {TFTP, FTP}) {
        struct stat file {};
        if (stat(device_path(files.first[protocol]).c_str(), &file) != 0) continue;
        if (!is_earlier(file.st_mtim, time)) found = protocol;
        if (found == protocol) time = file.st_mtim;
    }
    return found;
}

static void ask_about_transfers() {
    for (size_t i = 0; i < std::size(TRANSFER_FILES); i++) {
        SeenTransfer *transfer = &notifier->transfers[i];
        const TransferFiles &files = TRANSFER_FILES[i];
        const bool runs = our_file_exists(files.lock);
        if (runs) transfer->begun = true;
        if (!transfer->begun) continue;
        if (!transfer->protocol) transfer->protocol = newest(files);
        const bool tftp = transfer->protocol == TFTP;
        transfer->operation = files.only_operation;
        if (!transfer->operation)
            ask_for(tftp ? "TFTPUpdateCommand"_object : "FTPUpdateCommand"_object,
                    [transfer](std::optional<int> value) {
                        if (value == UPGRADE || value == RESTORE)
                            transfer->operation = static_cast<Operation>(*value);
                    });
        if (!runs)
            ask_for(tftp ? "TFTPActionStatus"_object : "FTPActionStatus"_object,
                    [transfer](std::optional<int> value) {
                        if (value) see_status(&notifier->device, transfer, *value);
                    });
    }
}

static void begin_round() {
    notifier->begun = notifier->asker->now;
    notifier->asking = true;
    notifier->again = notifier->of_transfers = false;
    ask_for("APSysSNMPTrapEnabled"_object, [](std::optional<int> value) { notifier->enabled = value; });
    ask_for("APSysApplyConfig"_object, [](std::optional<int> value) { notifier->apply = value; });
}

// The daemon is one thread: what it was doing when a file changed is done when it answers anything.
static void see_daemon() {
    take_files();
    if (notifier->enabled) notifier->device.enabled = *notifier->enabled == SWITCH_ON;
    if (notifier->enabled) notifier->rounds_without_switch = 0;
    if (!notifier->apply) return;
    if (notifier->apply == NOTHING_TO_APPLY && !notifier->enabled &&
        ++notifier->rounds_without_switch < MOST_ROUNDS_WITHOUT_SWITCH) {
        notifier->again = true;
        return;
    }
    see_apply(&notifier->device, *notifier->apply);
    ask_about_transfers();
}

static void go_on_with_round() {
    if (!std::exchange(notifier->of_transfers, true)) see_daemon();
    if (notifier->awaited > 0) return;
    notifier->asking = false;
    watch_process();
}

// ---- the loop ----

void start_notifications(Asker *asker) {
    notifier = std::make_unique<Notifier>(asker);
    if (notifier->files.error.empty())
        register_readfd(notifier->files.fd, files_have_changed, nullptr);
    else
        log_line(LOG_WARNING, "what the daemon's files tell goes unseen: " + notifier->files.error);
    begin_round();
}

void go_on_with_notifications() {
    const Asker &asker = *notifier->asker;
    if (notifier->files_changed) take_files();
    if (asker.answered > notifier->answered) {
        notifier->answered = asker.answered;
        see_answer(&notifier->device);
    }
    if (asker.gone)
        see_end(&notifier->device, our_file_exists(APPLY_LOCK_FILE));
    else if (!asker.sent.empty() && silence(asker) >= PATIENCE)  // else it may be for want of a descriptor
        see_silence(&notifier->device);
    send_notices();
    if (!notifier->asking && asker.now >= next_notification_step()) begin_round();
}

Clock::time_point next_notification_step() {
    const Clock::time_point now = notifier->asker->now;
    if (!notifier->asking) return notifier->begun + (notifier->again ? LEAST_INTERVAL : INTERVAL);
    if (notifier->device.daemon != SeenDevice::ANSWERS) return Clock::time_point::max();
    return std::max(notifier->begun + PATIENCE, now + seconds(1));
}
