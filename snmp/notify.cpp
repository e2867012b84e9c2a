// A round asks the daemon for a few objects, one after the other, every two seconds and when one of the files
// changes that the daemon makes while an apply or a transfer runs. All but the first of these questions are
// answered from the daemon's cache until its sampling interval has passed; the state of a transfer is asked
// for only once it has ended, so that looking for it leaves no older state in the cache for others.
#include "snmp/notify.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <functional>
#include <vector>

#include "client/protocol.h"
#include "platform/device.h"
#include "registry/notifications.h"
#include "snmp/log.h"
#include "snmp/netsnmp.h"
#include "snmp/translate.h"

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr seconds INTERVAL(2);
constexpr milliseconds LEAST_INTERVAL(200);  // between rounds, however often the files change
constexpr seconds PATIENCE(12);              // the tools of a request may run for ten

constexpr int SWITCH_ON = 2;
enum Apply { REBOOT_IS_NEEDED = -1, NOT_APPLYING, APPLYING };
enum Outcome { APPLIED = 1, FAILED };
enum Protocol { NO_PROTOCOL, TFTP, FTP };
enum Operation { UNKNOWN, UPGRADE, BACKUP, RESTORE };
constexpr int UPDATING = 1, BACKING_UP = 2;  // of the transfer status

// One for upgrades and restores, one for backups: the device runs one of each at a time.
struct Transfer {
    const char *lock_file;      // there while it runs
    const char *first_file[3];  // by protocol: made anew when it begins
    Operation fixed_operation;  // UNKNOWN: the update command says which
    bool begun = false;         // running, or ended with an outcome that is not known yet
    Protocol protocol = NO_PROTOCOL;
    Operation operation = UNKNOWN;
};

static struct {
    std::string socket;
    bool enabled = false;  // traps, as read last

    enum { NOT_YET, ANSWERS, SILENT } daemon = NOT_YET;
    Clock::time_point answered = Clock::now();
    std::string socket_identity;  // another one: the daemon was started anew

    int apply = NOT_APPLYING;
    bool apply_known = false;
    bool applying = false;
    bool apply_lock_made = false;  // since the last round that had an answer
    bool apply_stuck = false;      // failed: the state says applying until someone removes the lock file

    Transfer transfers[2] = {
        {UPDATE_LOCK_FILE, {nullptr, TFTP_STATUS_FILE, FTP_STATUS_FILE}, UNKNOWN},
        {BACKUP_LOCK_FILE, {nullptr, TFTP_BACKUP_FILE, FTP_BACKUP_FILE}, BACKUP},
    };
} state;

static bool is_earlier(const timespec &a, const timespec &b) {
    return a.tv_sec != b.tv_sec ? a.tv_sec < b.tv_sec : a.tv_nsec < b.tv_nsec;
}

// ---- sending ----

static oid *append(oid *end, const Oid &arcs) {
    for (const uint32_t arc : arcs) *end++ = arc;
    return end;
}

static void notify(NotificationKind kind, std::initializer_list<long> values = {}) {
    static const Oid ROOT = parse_oid(ROOT_OID);
    static const oid TRAP_OID[] = {1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0};  // snmpTrapOID.0
    const Notification &notification = NOTIFICATIONS[kind - 1];
    std::string text = notification.name;
    oid name[MAX_OID_LEN];
    oid *end = append(append(name, ROOT), {NOTIFICATION_ARC, static_cast<uint32_t>(kind)});
    netsnmp_variable_list *variables = nullptr;
    snmp_varlist_add_variable(&variables, TRAP_OID, OID_LENGTH(TRAP_OID), ASN_OBJECT_ID, name,
                              static_cast<size_t>(end - name) * sizeof *name);
    const int *arc = notification.objects.data();
    for (const long value : values) {
        const NotificationObject &object = NOTIFICATION_OBJECTS[*arc - 1];
        end = append(append(name, ROOT), {NOTIFICATION_OBJECT_ARC, static_cast<uint32_t>(*arc++), 0});
        snmp_varlist_add_variable(&variables, name, static_cast<size_t>(end - name), ASN_INTEGER, &value,
                                  sizeof value);
        for (const Word &word : object.words)
            if (word.value == value) text += std::string(" ") + word.text;
    }
    if (state.enabled) {
        log_line(LOG_INFO, "notification: " + text);
        send_v2trap(variables);
    }
    snmp_free_varbind(variables);
}

// ---- what the rounds find ----

static void apply_ended(Outcome outcome) {
    state.applying = false;
    notify(APPLY_ENDED, {outcome});
}

static void see_apply(int value) {
    const int before = state.apply;
    state.apply = value;
    if (value == APPLYING) {
        state.applying = !state.apply_stuck;
    } else {
        if (state.applying) apply_ended(APPLIED);
        state.apply_stuck = false;
        if (value == REBOOT_IS_NEEDED && before != value && state.apply_known) notify(REBOOT_NEEDED);
    }
    state.apply_known = true;
}

// The daemon ends itself when an apply fails, and leaves the lock file.
static void see_end_of_daemon() {
    if ((!state.applying && !state.apply_lock_made) || !our_file_exists(APPLY_LOCK_FILE)) return;
    state.apply_stuck = true;
    state.apply_lock_made = false;
    apply_ended(FAILED);
}

static void see_silence(bool gone) {
    if (state.daemon == state.ANSWERS) notify(DAEMON_SILENT);
    state.daemon = state.SILENT;
    if (gone) see_end_of_daemon();
}

// True when an apply has begun since the daemon made its socket.
static bool applies_since(const timespec &start) {
    struct stat lock {};
    return stat(device_path(APPLY_LOCK_FILE).c_str(), &lock) == 0 && is_earlier(start, lock.st_mtim);
}

static void see_answer() {
    struct stat now {};
    if (stat(state.socket.c_str(), &now) == 0) {
        const std::string identity = std::to_string(now.st_ino) + " " + std::to_string(now.st_ctim.tv_sec) +
                                     " " + std::to_string(now.st_ctim.tv_nsec);
        const bool anew = !state.socket_identity.empty() && state.socket_identity != identity;
        if (anew && !applies_since(now.st_mtim)) see_end_of_daemon();
        state.socket_identity = identity;
    }
    if (state.daemon == state.SILENT) notify(DAEMON_ANSWERS);
    state.daemon = state.ANSWERS;
    state.answered = Clock::now();
    state.apply_lock_made = false;
}

static Protocol newest(const Transfer &transfer) {
    Protocol found = NO_PROTOCOL;
    timespec time{};
    for (const Protocol protocol : {TFTP, FTP}) {
        struct stat file {};
        if (stat(device_path(transfer.first_file[protocol]).c_str(), &file) != 0) continue;
        if (found && is_earlier(file.st_mtim, time)) continue;
        found = protocol;
        time = file.st_mtim;
    }
    return found;
}

static void see_status(Transfer *transfer, int status) {
    // What the daemon answers is older than the end, or of the other kind of transfer, which still runs.
    if (status == UPDATING || status == BACKING_UP) return;
    notify(TRANSFER_ENDED, {transfer->protocol, transfer->operation, status});
    transfer->begun = false;
    transfer->protocol = NO_PROTOCOL;
}

// ---- a round ----

struct Question {
    std::string oid;  // below the root
    std::function<void(int value)> answered;
};

static struct {
    std::vector<Question> questions;  // the first is being asked; none: there is no round
    int fd = -1;
    Clock::time_point begun;
    snmp_reply reply;
    size_t received = 0;
    bool again = false;        // a file has changed meanwhile
    bool switch_read = false;  // the daemon has said whether traps are enabled
    int switch_missing = 0;    // rounds in a row in which it had no such object
} round_now;

static void ask();
static void read_file_events();
static void begin_round_soon();

static void stop_asking() {
    if (round_now.fd < 0) return;
    unregister_readfd(round_now.fd);
    close(round_now.fd);
    round_now.fd = -1;
}

static void end_round() {
    stop_asking();
    round_now.questions.clear();
    if (round_now.again) begin_round_soon();
    round_now.again = false;
}

// The daemon is one thread: what it was doing when a file changed is done when it answers anything.
static void add_questions_of_transfers() {
    read_file_events();
    for (Transfer &transfer : state.transfers) {
        if (!transfer.begun && our_file_exists(transfer.lock_file)) transfer.begun = true;
        if (!transfer.begun) continue;
        if (!transfer.protocol) transfer.protocol = newest(transfer);
        if (!transfer.protocol) transfer.protocol = TFTP;
        const bool tftp = transfer.protocol == TFTP;
        transfer.operation = transfer.fixed_operation;
        if (!transfer.operation)
            round_now.questions.push_back({tftp ? "1.63.4.0" : "1.64.6.0", [&transfer](int value) {
                                               if (value == UPGRADE || value == RESTORE)
                                                   transfer.operation = static_cast<Operation>(value);
                                           }});
        if (!our_file_exists(transfer.lock_file))
            round_now.questions.push_back(
                {tftp ? "1.63.5.0" : "1.64.7.0", [&transfer](int value) { see_status(&transfer, value); }});
    }
}

static void take_answer() {
    stop_asking();
    round_now.reply.value[TEXT_SIZE - 1] = '\0';
    see_answer();
    const Question question = std::move(round_now.questions.front());
    round_now.questions.erase(round_now.questions.begin());
    // While an apply runs, the daemon has no other object.
    if (is_value(round_now.reply.reply_status)) question.answered(atoi(round_now.reply.value));
    if (round_now.questions.empty())
        end_round();
    else
        ask();
}

static void receive(int fd, void *) {
    char *to = reinterpret_cast<char *>(&round_now.reply);
    const ssize_t n = recv(fd, to + round_now.received, RECORD_SIZE - round_now.received, MSG_DONTWAIT);
    if (n < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (n <= 0) return end_round();  // it went away, or had too many before us: the next round tells
    round_now.received += static_cast<size_t>(n);
    if (round_now.received == RECORD_SIZE) take_answer();
}

static void ask() {
    sockaddr_un address{};
    snmp_request request{};
    address.sun_family = AF_UNIX;
    request.type = KIND_GET;
    put_text(request.oid, std::string(ROOT_OID) + "." + round_now.questions.front().oid);
    const bool fits = state.socket.size() < sizeof address.sun_path;
    if (fits) memcpy(address.sun_path, state.socket.data(), state.socket.size());
    const int fd = fits ? socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0) : -1;
    if (fd < 0) {  // no descriptor is left, which says nothing of the daemon
        state.answered = Clock::now();
        return end_round();
    }
    // A record goes into the socket's buffer as a whole.
    std::string why;
    const bool connected = connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
                           is_trusted(fd, &why);
    if (connected && send(fd, &request, RECORD_SIZE, MSG_NOSIGNAL) == static_cast<ssize_t>(RECORD_SIZE)) {
        round_now.fd = fd;
        round_now.received = 0;
        register_readfd(fd, receive, nullptr);
        return;
    }
    const bool gone = errno == ECONNREFUSED || errno == ENOENT;
    close(fd);
    if (gone) see_silence(true);
    end_round();
}

// When an apply ends, the daemon's other objects are back a moment later: what has ended is judged by the
// switch as it was applied, in a later round, or without it when it does not come back.
static bool is_switch_awaited() {
    constexpr int MOST_ROUNDS = 10;
    round_now.switch_missing = round_now.switch_read ? 0 : round_now.switch_missing + 1;
    return !round_now.switch_read && round_now.switch_missing < MOST_ROUNDS;
}

static void begin_round() {
    round_now.begun = Clock::now();
    round_now.switch_read = false;
    round_now.questions = {
        {"1.26.0",
         [](int value) {
             state.enabled = value == SWITCH_ON;
             round_now.switch_read = true;
         }},
        {"1.62.0",
         [](int value) {
             if (value == NOT_APPLYING && is_switch_awaited()) {
                 round_now.again = true;
                 return;
             }
             see_apply(value);
             add_questions_of_transfers();
         }},
    };
    ask();
}

static void tick(unsigned, void *) {
    if (Clock::now() - state.answered >= PATIENCE) {
        see_silence(false);
        end_round();
    }
    if (round_now.questions.empty()) begin_round();
}

static void begin_round_now(unsigned, void *) {
    if (round_now.questions.empty()) begin_round();
}

static void begin_round_soon() {
    const auto left = std::chrono::duration_cast<std::chrono::microseconds>(round_now.begun + LEAST_INTERVAL -
                                                                            Clock::now());
    if (left.count() <= 0) return begin_round_now(0, nullptr);
    timeval wait = {0, static_cast<suseconds_t>(left.count())};
    snmp_alarm_register_hr(wait, 0, begin_round_now, nullptr);
}

// ---- the files ----

static int file_events = -1;

// True when the file is one that says something.
static bool see_file(const std::string &path, bool made) {
    if (made && file_owner(path) == FileOwner::STRANGER) return false;
    if (path == APPLY_LOCK_FILE) {
        if (made) state.apply_stuck = false;
        state.apply_lock_made = state.apply_lock_made || made;
        return true;
    }
    // The last thing that an apply does. One may be over before the daemon is asked.
    if (path == SAVED_CHANGES_FILE && !made) {
        state.applying = state.applying || state.apply_lock_made;
        return true;
    }
    for (Transfer &transfer : state.transfers) {
        if (path == transfer.lock_file) {
            if (made) {
                transfer.begun = true;
                transfer.protocol = NO_PROTOCOL;
            }
            return true;
        }
        for (const Protocol protocol : {TFTP, FTP})
            if (made && path == transfer.first_file[protocol]) transfer.protocol = protocol;
    }
    return false;
}

static bool changed;

static void read_file_events() {
    alignas(inotify_event) char events[4096];
    for (int reads = 0; reads < 16; reads++) {
        const ssize_t n = read(file_events, events, sizeof events);
        if (n <= 0) return;
        for (const char *at = events; at < events + n;) {
            const auto *event = reinterpret_cast<const inotify_event *>(at);
            if (event->len > 0 &&
                see_file(std::string("/tmp/") + event->name, (event->mask & IN_CREATE) != 0))
                changed = true;
            at += sizeof *event + event->len;
        }
    }
}

static void files_changed(int, void *) {
    changed = false;
    read_file_events();
    if (!changed) return;
    if (round_now.questions.empty())
        begin_round_soon();
    else
        round_now.again = true;
}

void start_notifications(const std::string &socket) {
    state.socket = socket;
    file_events = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (file_events >= 0 &&
        inotify_add_watch(file_events, device_path("/tmp").c_str(), IN_CREATE | IN_DELETE) >= 0)
        register_readfd(file_events, files_changed, nullptr);
    else
        log_line(LOG_WARNING, std::string("short applies and transfers go unseen: ") + strerror(errno));
    snmp_alarm_register(INTERVAL.count(), SA_REPEAT, tick, nullptr);
    begin_round();
}
