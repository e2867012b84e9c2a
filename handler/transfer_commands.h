// The commands of a file transfer, as text. Nothing here touches the device or the agent.
#pragma once

#include <string>

enum class Operation {
    UPGRADE,  // the device's web server fetches the firmware itself
    BACKUP,   // configuration from the web server, then to the file server
    RESTORE,  // configuration from the file server, then to the web server
};

enum class Protocol { TFTP = 1, FTP = 2 };

struct TransferSettings {
    std::string server, file;
    std::string user, password;  // FTP only
    std::string web_password;    // what the web server knows the administrator by
};

struct TransferCommands {
    std::string first;
    std::string second;  // empty: none
    // The second ends inside a quoted URL: the size of the file that the first has brought, and the closing
    // quote, are still to be added.
    bool second_takes_size;
};

// A protocol's files on the device.
struct TransferFiles {
    const char *backup;  // the configuration on its way
    const char *status;  // what the web server answered
};
TransferFiles transfer_files(Protocol protocol);

// Ordinary texts stand in the commands as they are. Any other text reaches its tool unchanged as one word,
// and never as an option; in a URL it is percent-encoded.
TransferCommands transfer_commands(Operation operation, Protocol protocol, const TransferSettings &settings);
