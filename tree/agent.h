// The agent: the state record that many handlers share, the store handles, and the build of the whole tree.
// Main thread only; rebuilt whole between two requests.
#pragma once

#include <cstdint>

#include "platform/zevcfg.h"
#include "registry/object.h"
#include "tree/node.h"

constexpr int RADIOS = RADIO_ARC.high;
constexpr int VAPS = VAP_ARC.high;        // a radio
constexpr int WDS_LINKS = LINK_ARC.high;  // a radio

struct agent_vap {
    int32_t enabled;  // 1 when the VAP's configured state is "enable"
    int32_t ifindex;  // kernel interface index, 0 when the interface does not exist
};

constexpr int CLOCK_UNSET = -1;

// Defaults are those of init_agent_defaults.
struct agent_state {
    uint8_t rf_channel[RADIOS];  // current channel of each radio
    // Clock values that a manager composes before it applies them; CLOCK_UNSET when unset.
    int32_t set_year, set_month, set_day, set_hour, set_minute, set_second;
    char wan_mac[20];  // MAC address of the device
    agent_vap vap[RADIOS][VAPS];
    // Maintenance transfers: server, file, user and password texts, the direction selected (0 none, 1 from
    // the server, 2 to the server) and the last update command written.
    char tftp_server[64], tftp_file[64];
    uint8_t tftp_command, tftp_update_command;
    char ftp_server[64], ftp_user[64], ftp_password[64], ftp_file[64];
    uint8_t ftp_command, ftp_update_command;
    uint8_t sample_time;  // refresh interval of live objects in seconds
    mib_node *root;       // the same node as `head`
};

extern agent_state *zevap;

// Handles on the working configuration (two names of one handle) and on the running one. Read by the main
// thread only; they change at every rebuild.
extern zevcfg_handle *sic_zevcfg;
extern zevcfg_handle *ram_sic_zevcfg;
extern zevcfg_handle *current_sic_zevcfg;

// Frees tree and state record. Handles stay open; the next build closes them.
void free_agent();

void init_agent_defaults(agent_state *state);
void reopen_config_handles();
void update_zevap();
