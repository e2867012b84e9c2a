// The subcommands of zevctl that move files between the access point and a file server.
#pragma once

#include <string>

#include "zevctl/commands.h"

enum TransferKind { UPGRADE = 1, BACKUP, RESTORE };  // the numbers of the update command objects

struct TransferOrder {
    TransferKind kind;
    bool ftp;  // else TFTP
    std::string server, file;
    std::string user, password_file;  // FTP only; without a file the terminal is asked for the password
    bool wait;                        // for the end of the transfer, showing its states
};

// The daemon renews the state that it shows after its sample time, so an end may be seen that much later.
int transfer(const Client &client, const TransferOrder &order, int limit_ms = 600'000);
