// Files by which the daemon, the store and the clients know of each other.
#pragma once

#include <string_view>

struct stat;

constexpr char PID_FILE[] = "/var/run/zevsic.pid";                 // the daemon's process ID
constexpr char APPLY_LOCK_FILE[] = "/tmp/lock_snmp_apply_file";    // there while an apply of the daemon runs
constexpr char UPDATE_LOCK_FILE[] = "/tmp/lock_snmp_web";          // … an upgrade or a restore
constexpr char BACKUP_LOCK_FILE[] = "/tmp/lock_snmp_conf_backup";  // … a backup
// There when the working configuration holds saved changes; the first line is 1 when they need a reboot.
constexpr char SAVED_CHANGES_FILE[] = "/tmp/sync_config";

// There when a damaged configuration store was found, and says in a line what became of it. Readable by all.
constexpr char DAMAGE_FILE[] = "/var/run/zevcfg.damaged";

// A backup on its way to the server, there until it has arrived, or one that a restore has fetched; and what
// the web server said of the last upgrade or restore.
constexpr char TFTP_BACKUP_FILE[] = "/tmp/tftp_backup.cfg";
constexpr char TFTP_STATUS_FILE[] = "/tmp/up_tftp_status.txt";
constexpr char FTP_BACKUP_FILE[] = "/tmp/ftp_backup.cfg";
constexpr char FTP_STATUS_FILE[] = "/tmp/up_ftp_status.txt";

// ---- whose they are ----

// Anyone may put something below /tmp. A file there counts only as a regular one of root or of the user that
// this process runs as. Safe in a signal handler.
bool is_ours(const struct stat &facts);

enum class FileOwner { NOBODY, OURS, STRANGER };  // NOBODY: nothing has the name
FileOwner file_owner(std::string_view absolute);

// There is a file of that name, and it counts.
bool our_file_exists(std::string_view absolute);

// The lock file of an apply is there and older than the daemon's PID file, or no daemon has one: whoever made
// it is gone, and nobody will remove it.
bool apply_lock_is_left();

// Takes away what a stranger has put there, whatever it is. False when that cannot be done.
bool remove_strangers_file(std::string_view absolute);

// Takes away whatever has the name; a folder that is not empty is moved beside it. False when it is there
// still.
bool remove_device_file(std::string_view absolute);

// What was set and cannot be done on this machine, a line each, where zevnet puts the configuration in force.
constexpr char NOT_DONE_FILE[] = "/run/zevnet/not-done";
