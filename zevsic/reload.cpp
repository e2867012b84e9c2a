#include "zevsic/reload.h"

#include "handler/commit.h"
#include "handler/groups.h"
#include "platform/log.h"
#include "platform/zevcfg.h"
#include "tree/agent.h"
#include "zevsic/server.h"

void reload_agent() {
    if (access_lock > 0) {
        unlock_zevcfg(access_lock);
        access_lock = 0;
    }
    free_agent();
    init_norvalis();
    mark_socket();
    log_event("rebuilt from the store");
}
