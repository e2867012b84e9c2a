#include "tree/agent.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/device.h"
#include "platform/k480ext.h"
#include "tree/trace.h"

agent_state *zevap = nullptr;
zevcfg_handle *sic_zevcfg = nullptr;
zevcfg_handle *ram_sic_zevcfg = nullptr;
zevcfg_handle *current_sic_zevcfg = nullptr;

void init_agent_defaults(agent_state *state) {
    mib_node *root = state->root;
    *state = {};
    state->root = root;
    state->set_year = state->set_month = state->set_day = CLOCK_UNSET;
    state->set_hour = state->set_minute = state->set_second = CLOCK_UNSET;
    strcpy(state->tftp_server, "0.0.0.0");
    strcpy(state->tftp_file, "remote_file_name");
    strcpy(state->ftp_server, "0.0.0.0");
    strcpy(state->ftp_user, "none");
    strcpy(state->ftp_password, "none");
    strcpy(state->ftp_file, "remote_file_name");
    state->sample_time = 100;
}

void reopen_config_handles() {
    TRACE("Start sic_zevcfg\n");
    close_zevcfg(sic_zevcfg);
    sic_zevcfg = init_zevcfg_f(&config_ram);
    ram_sic_zevcfg = sic_zevcfg;
    close_zevcfg(current_sic_zevcfg);
    current_sic_zevcfg = init_zevcfg_f(&current_config);
}

static int read_ifindex(int radio, int vap) {
    char name[IFNAME_SIZE];
    if (!get_ifname_by_idx(IFNAME_VAP, radio, vap, name))
        snprintf(name, sizeof name, "ath%dap%d", radio, vap);
    std::string text;
    if (!read_device_file(std::string("/sys/class/net/") + name + "/ifindex", 255, &text)) return 0;
    return atoi(first_line(text).c_str());
}

static void update_vap(int radio, int vap) {
    char group[32];
    char state[STORE_TEXT_SIZE] = "";
    snprintf(group, sizeof group, "rf%d_vap%d", radio + 1, vap + 1);
    const int result = get_cfg_item_by_str(sic_zevcfg, group, "state", state);
    TRACE("rf:%d vap:%d state %s from ZEVCFG ret=%d.\n", radio + 1, vap + 1, state, result);
    agent_vap *entry = &zevap->vap[radio][vap];
    entry->enabled = strcmp(state, "enable") == 0;
    entry->ifindex = read_ifindex(radio, vap);
    TRACE("[%d][%d]VAP ifindex:%d.\n", radio, vap, entry->ifindex);
}

void update_zevap() {
    reopen_config_handles();
    TRACE_LOCATION("function", __func__);
    char text[STORE_TEXT_SIZE] = "";
    get_cfg_item_by_str(current_sic_zevcfg, "snmp", "sample_time", text);
    zevap->sample_time = static_cast<uint8_t>(atoi(text));
    text[0] = '\0';
    get_sys_item("wan_mac", text);
    snprintf(zevap->wan_mac, sizeof zevap->wan_mac, "%.*s", static_cast<int>(sizeof zevap->wan_mac - 1),
             text);
    for (int radio = 0; radio < RADIOS; radio++) {
        char name[16];
        snprintf(name, sizeof name, "rf%d_ch", radio + 1);
        text[0] = '\0';
        get_sys_item(name, text);
        TRACE("rf:%d Get ch:%s from ZEVCFG.\n", radio + 1, text);
        zevap->rf_channel[radio] = static_cast<uint8_t>(atoi(text));
        TRACE("rf num=%d,vap num=%d wds=%d\n", RADIOS, VAPS, WDS_LINKS);
        for (int vap = 0; vap < VAPS; vap++) update_vap(radio, vap);
    }
}

void free_agent() {
    free_tree();
    delete zevap;
    zevap = nullptr;
}
