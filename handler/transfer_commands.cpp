#include "handler/transfer_commands.h"

#include <initializer_list>

#include "platform/device.h"

TransferFiles transfer_files(Protocol protocol) {
    if (protocol == Protocol::TFTP) return {TFTP_BACKUP_FILE, TFTP_STATUS_FILE};
    return {FTP_BACKUP_FILE, FTP_STATUS_FILE};
}

// The texts as the last words of a command. "--" keeps one that begins with a hyphen from being an option.
static std::string operands(std::initializer_list<std::string> texts) {
    std::string words;
    bool hyphen = false;
    for (const std::string &text : texts) {
        hyphen = hyphen || text.starts_with('-');
        words += " " + shell_word(text);
    }
    return (hyphen ? " --" : "") + words;
}

// A request to the device's own web server, its answer written to a file. The URL's quote stays open.
static std::string open_request(const std::string &output, const TransferSettings &settings,
                                const std::string &page) {
    return "wget -c -O " + shell_word(output) +
           " --header 'Cookie: username=admin;password=" + inside_single_quotes(settings.web_password) +
           "' 'http://127.0.0.1/" + page;
}

static std::string request(const std::string &output, const TransferSettings &settings,
                           const std::string &page) {
    return open_request(output, settings, page) + "'";
}

static std::string upgrade_page(Protocol protocol, const TransferSettings &settings) {
    const bool ftp = protocol == Protocol::FTP;
    std::string page = "tftp_firmware_upgrade.egi?ipaddr=" + url_text(settings.server) +
                       (ftp ? "&port=21" : "&port=69") + "&filename=" + url_text(settings.file);
    if (ftp)
        page +=
            "&username=" + url_text(settings.user) + "&password=" + url_text(settings.password) + "&ftp=1";
    return page;
}

static constexpr const char *QUIET = " >/dev/null 2>&1";

// Carries `local` to the server for a backup, and from there for a restore.
static std::string carry(Operation operation, Protocol protocol, const TransferSettings &settings,
                         const std::string &local) {
    const bool put = operation == Operation::BACKUP;
    if (protocol == Protocol::TFTP)
        return (put ? "tftp -p -r " : "tftp -g -r ") + shell_word(settings.file) + " -l " +
               shell_word(local) + operands({settings.server}) + QUIET;
    const std::string account = " -u " + shell_word(settings.user) + " -p " + shell_word(settings.password);
    return (put ? "ftpput" + account + operands({settings.server, settings.file, local})
                : "ftpget" + account + operands({settings.server, local, settings.file})) +
           QUIET;
}

TransferCommands transfer_commands(Operation operation, Protocol protocol, const TransferSettings &settings) {
    const TransferFiles files = transfer_files(protocol);
    const std::string backup = device_path(files.backup);
    const std::string status = device_path(files.status);
    switch (operation) {
        case Operation::UPGRADE:
            return {request(status, settings, upgrade_page(protocol, settings)), "", false};
        case Operation::BACKUP:
            return {request(backup, settings, "backupCfg.egi"),
                    carry(operation, protocol, settings, backup) + " && rm " + shell_word(backup), false};
        case Operation::RESTORE:
            break;
    }
    return {
        carry(operation, protocol, settings, backup),
        open_request(status, settings, "upload.asp?type=config&filename=" + url_text(backup) + "&filesize="),
        true};
}
