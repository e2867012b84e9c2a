#include "zevctl/status.h"

#include <sys/stat.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <ctime>

#include "client/protocol.h"
#include "platform/device.h"
#include "zevctl/output.h"

struct Part {
    std::string name, state;
    bool is_well = true;
};

// A lock file says when it was made. One that is older than its work may take was left behind: nothing of its
// kind starts until it is removed.
static constexpr struct {
    const char *path, *work;
    long longest_s;
} LOCKS[] = {{APPLY_LOCK_FILE, "apply", 60},
             {UPDATE_LOCK_FILE, "upgrade or restore", 600},
             {BACKUP_LOCK_FILE, "backup", 600}};

static std::string duration(long seconds) {
    const struct {
        long seconds;
        const char *unit;
    } units[] = {{86400, "day"}, {3600, "hour"}, {60, "minute"}, {1, "second"}};
    for (const auto &unit : units) {
        if (seconds < unit.seconds && unit.seconds > 1) continue;
        const long count = seconds / unit.seconds;
        return std::to_string(count) + " " + unit.unit + (count == 1 ? "" : "s");
    }
    return "";
}

static bool read_number(const char *path, long *number) {
    std::string text;
    if (!read_device_file(path, 64, &text)) return false;
    return std::from_chars(text.data(), text.data() + text.size(), *number).ec == std::errc();
}

static Part daemon_part() {
    long pid = 0;
    struct stat facts {};
    Part part{"daemon", "running"};
    if (read_number(PID_FILE, &pid)) part.state += ", process " + std::to_string(pid);
    if (stat(device_path(PID_FILE).c_str(), &facts) == 0)
        part.state += ", for " + duration(std::max(0L, static_cast<long>(time(nullptr) - facts.st_mtime)));
    return part;
}

static std::string value_of(const Client &client, const Object *object) {
    const Answer answer = exchange(client.socket, KIND_GET, instance_0(object).oid, "", client.timeout_ms);
    return answer.error.empty() ? answer.reply.value : "";
}

// Every device has a name, but for the time of an apply, when the tree is empty.
static Part store_part(const Client &client, bool is_applying) {
    if (!value_of(client, "APSysName"_object).empty()) return {"store", "answers"};
    if (is_applying) return {"store", "busy with the apply"};
    return {"store", "gives the daemon no values", false};
}

// Only what an administrator has not seen to.
static void add_damage(std::vector<Part> *parts) {
    std::string text;
    if (!device_file_exists(DAMAGE_FILE)) return;
    read_device_file(DAMAGE_FILE, 1024, &text);
    parts->push_back({"stored configuration", text.substr(0, text.find('\n')), false});
}

static Part changes_part() {
    std::string text;
    if (!our_file_exists(SAVED_CHANGES_FILE)) return {"saved changes", "all applied"};
    read_device_file(SAVED_CHANGES_FILE, 16, &text);
    return {"saved changes", text.starts_with('1') ? "not applied: a reboot is needed" : "not applied yet"};
}

static Part transfer_part(const Client &client, const std::string &protocol, const Object *object) {
    constexpr int FIRST_FAILURE = 4;
    const std::string value = value_of(client, object);
    return {protocol + " transfers", value.empty() ? "not known" : people_value(object, value),
            atoi(value.c_str()) < FIRST_FAILURE};
}

static void add_locks(std::vector<Part> *parts) {
    for (const auto &lock : LOCKS) {
        const FileOwner owner = file_owner(lock.path);
        if (owner == FileOwner::NOBODY) continue;
        long made = 0;
        Part part{lock.path, std::string(lock.work) + " of an unknown age"};
        if (owner == FileOwner::STRANGER) {
            part = {lock.path, "made by a stranger: does not count", false};
        } else if (read_number(lock.path, &made)) {
            const long age = std::max(0L, static_cast<long>(time(nullptr)) - made);
            part.is_well = age <= lock.longest_s;
            part.state = lock.work + (" since " + duration(age)) +
                         (part.is_well ? "" : ": left behind? nothing of its kind starts while it is there");
        }
        if (lock.path == APPLY_LOCK_FILE && apply_lock_is_left())
            part = {lock.path, "left by a daemon that is gone: nothing is applied until it is removed",
                    false};
        parts->push_back(part);
    }
}

// What was set and cannot be done on this machine, or why the last apply failed there: a line each. Without
// the file nobody says so.
static void add_not_done(std::vector<Part> *parts) {
    static constexpr char FAILURE[] = "The last apply failed";
    std::string text;
    if (!read_device_file(NOT_DONE_FILE, 1U << 16, &text)) return;
    while (text.ends_with('\n')) text.pop_back();
    const bool is_well = !text.starts_with(FAILURE);
    for (size_t at; (at = text.find('\n')) != std::string::npos;) text.replace(at, 1, "; ");
    parts->push_back({"not done", text.empty() ? "nothing" : text, is_well});
}

static void print_parts(const Client &client, const std::vector<Part> &parts, bool is_well) {
    std::string document = is_well ? "{\"healthy\":true" : "{\"healthy\":false";
    for (const Part &part : parts) {
        document += "," + json_text(part.name) + ":{\"state\":" + json_text(part.state) +
                    ",\"healthy\":" + (part.is_well ? "true" : "false") + "}";
        if (!client.json)
            printf("%-26s  %s%s\n", part.name.c_str(), part.is_well ? "" : "NOT WELL: ", part.state.c_str());
    }
    if (client.json) answer_json(document + "}");
}

int status_report(const Client &client) {
    const Target apply_object = instance_0("APSysApplyConfig"_object);
    const Answer answer = exchange(client.socket, KIND_GET, apply_object.oid, "", client.timeout_ms);
    std::vector<Part> parts;
    if (!answer.error.empty()) {
        parts.push_back({"daemon", "does not answer", false});
        parts.push_back(changes_part());
        add_damage(&parts);
        add_locks(&parts);
        print_parts(client, parts, false);
        return complain(EXIT_NO_DAEMON, answer.error);
    }
    const std::string applying = answer.reply.value;
    parts = {daemon_part(), store_part(client, applying == "1"), changes_part(),
             Part{"apply", people_value(apply_object.object, applying)}};
    parts.push_back(transfer_part(client, "TFTP", "TFTPActionStatus"_object));
    parts.push_back(transfer_part(client, "FTP", "FTPActionStatus"_object));
    add_damage(&parts);
    add_not_done(&parts);
    add_locks(&parts);
    const bool is_well =
        std::all_of(parts.begin(), parts.end(), [](const Part &part) { return part.is_well; });
    print_parts(client, parts, is_well);
    return is_well ? EXIT_DONE : EXIT_REFUSED;
}
