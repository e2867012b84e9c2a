// zevctl status: how the daemon, its store and what it does are.
#pragma once

#include "zevctl/commands.h"

// One line a part. EXIT_DONE all is well, EXIT_REFUSED something is not, EXIT_NO_DAEMON no daemon answers.
int status_report(const Client &client);
