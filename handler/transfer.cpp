// Backup, restore and firmware upgrade over TFTP and FTP: objects 1.63 and 1.64. A manager writes server,
// file and direction, then the update command, which starts the transfer in a process of its own; the action
// status tells from the files that the process leaves how far it is.
#include <crypt.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <ctime>

#include "handler/engine.h"
#include "handler/rules.h"
#include "handler/transfer_commands.h"
#include "handler/transfer_process.h"
#include "platform/device.h"
#include "tree/oid.h"
#include "tree/resolve.h"

using TextField = char (agent_state::*)[64];
using CodeField = uint8_t agent_state::*;

// Where a protocol's settings are. Without a user name a protocol has no account.
struct Transfer {
    Protocol protocol;
    TextField server, file;
    TextField user, password;
    CodeField command, update_command;
};

static constexpr Transfer TFTP{
    .protocol = Protocol::TFTP,
    .server = &agent_state::tftp_server,
    .file = &agent_state::tftp_file,
    .command = &agent_state::tftp_command,
    .update_command = &agent_state::tftp_update_command,
};
static constexpr Transfer FTP{
    .protocol = Protocol::FTP,
    .server = &agent_state::ftp_server,
    .file = &agent_state::ftp_file,
    .user = &agent_state::ftp_user,
    .password = &agent_state::ftp_password,
    .command = &agent_state::ftp_command,
    .update_command = &agent_state::ftp_update_command,
};

// Both protocols have the same objects.
static const Transfer &transfer_of(const HandlerCall &call) {
    static constexpr std::string_view TFTP_BRANCH = "TFTPSrvIP"_object->entry_oid();
    return call.object.entry_oid() == TFTP_BRANCH ? TFTP : FTP;
}

enum Direction { FROM_SERVER = 1, TO_SERVER = 2 };
enum UpdateCommand { CLEAR, UPGRADE, BACKUP, RESTORE };

// ---- settings ----

static snmp_reply *show(const HandlerCall &call, const std::string &value) {
    stamp(call);
    publish(call, {0}, value);
    return call.reply;
}

// A text is bounded by its object's line, and by its place in the state record in any case.
static snmp_reply *text_setting(const HandlerCall &call, TextField field) {
    if (!is_instance_0(call)) return call.reply;
    char(&text)[64] = zevap->*field;
    if (call.kind == KIND_GET) return show(call, text);
    TRACE("SET str=%s\n", call.value);
    const size_t length = strlen(call.value);
    if (!within_range(call.object, call.value) || length >= sizeof text) return set_refused(call);
    memcpy(text, call.value, length + 1);
    store_cell(call, {0}, call.value);
    return set_accepted(call);
}

snmp_reply *transfer_server(const HandlerCall &call) {
    return text_setting(call, transfer_of(call).server);
}
snmp_reply *transfer_file(const HandlerCall &call) {
    return text_setting(call, transfer_of(call).file);
}
snmp_reply *transfer_user(const HandlerCall &call) {
    return text_setting(call, transfer_of(call).user);
}
snmp_reply *transfer_password(const HandlerCall &call) {
    return text_setting(call, transfer_of(call).password);
}

// The number at the start of the value counts; a value without one is 0.
snmp_reply *transfer_direction(const HandlerCall &call) {
    const CodeField field = transfer_of(call).command;
    if (!is_instance_0(call)) return call.reply;
    if (call.kind == KIND_GET) return show(call, std::to_string(zevap->*field));
    TRACE("SET str=%s\n", call.value);
    const long number = strtol(call.value, nullptr, 10);
    if (!call.object.range.have(number)) return set_refused(call);
    zevap->*field = static_cast<uint8_t>(number);
    store_cell(call, {0}, call.value);
    return set_accepted(call);
}

// ---- starting a transfer ----

// The web server knows the administrator by the password's hash with any salt of two digits. Empty when the
// system cannot make one.
static std::string make_web_password() {
    char password[STORE_TEXT_SIZE] = "";
    get_cfg_item_by_str(current_sic_zevcfg, "admin", "password", password);
    srand(static_cast<unsigned>(time(nullptr)));
    const std::string salt = format("%02d", rand() % 100);
    const char *hash = crypt(password, salt.c_str());
    return hash && *hash != '*' ? hash : "";
}

// Makes the file anew, empty and readable by nobody else, before a tool writes it: tools follow links and
// continue what is there.
static bool make_private_file(const char *path) {
    remove_device_file(path);
    const int fd = open_device_file(path, O_WRONLY | O_CREAT | O_EXCL, 0600);
    if (fd < 0) return false;
    close(fd);
    return true;
}

static bool prepare_files(Operation operation, const TransferFiles &files) {
    if (operation == Operation::BACKUP) return make_private_file(files.backup);
    if (operation == Operation::RESTORE) {
        run_command("rm " + shell_word(device_path(files.backup)) + " " +
                    shell_word(device_path(files.status)) + " >/dev/null 2>&1");
        if (!make_private_file(files.backup)) return false;
    }
    return make_private_file(files.status);
}

static bool is_unset(const TransferSettings &settings, Protocol protocol) {
    if (settings.server == "0.0.0.0" || settings.file == "remote_file_name") return true;
    return protocol == Protocol::FTP && (settings.user == "none" || settings.password == "none");
}

static bool start_transfer(const Transfer &transfer, UpdateCommand command) {
    TransferSettings settings{.server = zevap->*transfer.server, .file = zevap->*transfer.file};
    if (transfer.user) settings.user = zevap->*transfer.user;
    if (transfer.password) settings.password = zevap->*transfer.password;
    TRACE("action:%d,server ip:%s,remotefile:%s\n", command, settings.server.c_str(), settings.file.c_str());
    if (is_unset(settings, transfer.protocol)) return false;
    settings.web_password = make_web_password();
    if (settings.web_password.empty()) return false;

    const Operation operation = command == UPGRADE  ? Operation::UPGRADE
                                : command == BACKUP ? Operation::BACKUP
                                                    : Operation::RESTORE;
    // Both protocols share them: one upgrade or restore and one backup at a time.
    const char *lock_file = operation == Operation::BACKUP ? BACKUP_LOCK_FILE : UPDATE_LOCK_FILE;
    if (file_counts(lock_file) || !create_lock_file(lock_file)) return false;
    const TransferFiles files = transfer_files(transfer.protocol);
    if (!prepare_files(operation, files)) {
        remove_device_file(lock_file);
        return false;
    }
    const TransferCommands commands = transfer_commands(operation, transfer.protocol, settings);
    if (commands.second.empty())
        TRACE("cmd:%s\n", commands.first.c_str());
    else
        TRACE("cmd:%s,next_cmd:%s\n", commands.first.c_str(), commands.second.c_str());
    const std::string work = operation == Operation::UPGRADE  ? "upgrade"
                             : operation == Operation::BACKUP ? "backup"
                                                              : "restore";
    start_transfer_process(commands, files.backup, lock_file,
                           work + (transfer.protocol == Protocol::FTP ? " over FTP" : " over TFTP"));
    return true;
}

// Has the next GET of an object ask its handler. Whoever has just started or cleared a transfer must not be
// told how the one before ended.
static void make_due(const Object *object) {
    mib_node *node = head;
    ArcReader arcs(object->oid);
    for (int arc; node && arcs.next(&arc);) node = find_child(node, arc);
    if (node) node->update_stamp = 0;
}

snmp_reply *transfer_update_command(const HandlerCall &call) {
    const Transfer &transfer = transfer_of(call);
    if (!is_instance_0(call)) return call.reply;
    if (call.kind == KIND_GET) return show(call, std::to_string(zevap->*transfer.update_command));
    TRACE("SET str=%s\n", call.value);
    if (!within_range(call.object, call.value)) return set_refused(call);
    const auto command = static_cast<UpdateCommand>(atoi(call.value));
    // Kept and shown even when the transfer is refused.
    zevap->*transfer.update_command = static_cast<uint8_t>(command);
    store_cell(call, {0}, call.value);
    make_due("TFTPActionStatus"_object);
    make_due("FTPActionStatus"_object);
    if (command == CLEAR) {
        const TransferFiles files = transfer_files(transfer.protocol);
        remove_device_file(files.backup);
        remove_device_file(files.status);
        return set_accepted(call);
    }
    const Direction direction = command == BACKUP ? TO_SERVER : FROM_SERVER;
    if (zevap->*transfer.command != direction) return set_refused(call);
    return start_transfer(transfer, command) ? set_accepted(call) : set_refused(call);
}

// ---- action status ----

enum TransferStatus {
    IDLE,
    UPDATING,  // an upgrade or a restore runs
    BACKING_UP,
    RESTARTING,  // the web server has accepted an upgrade or a restore
    UPGRADE_FAILED,
    BACKUP_FAILED,
    RESTORE_FAILED,
};

static bool web_server_accepted(const char *status_file) {
    return !read_command("grep -r rebooting.asp " + shell_word(device_path(status_file))).text.empty();
}

static TransferStatus action_status(const Transfer &transfer) {
    if (file_counts(BACKUP_LOCK_FILE)) return BACKING_UP;
    if (file_counts(UPDATE_LOCK_FILE)) return UPDATING;
    const TransferFiles files = transfer_files(transfer.protocol);
    const int last = zevap->*transfer.update_command;
    // The backup file goes when it has reached the server.
    if (last == BACKUP && file_counts(files.backup)) return BACKUP_FAILED;
    if (!file_counts(files.status)) return IDLE;
    if (web_server_accepted(files.status)) return RESTARTING;
    if (last == UPGRADE) return UPGRADE_FAILED;
    return last == RESTORE ? RESTORE_FAILED : IDLE;
}

snmp_reply *transfer_status(const HandlerCall &call) {
    if (!is_instance_0(call)) return call.reply;
    if (call.kind == KIND_SET) return set_read_only(call);
    return show(call, std::to_string(action_status(transfer_of(call))));
}
