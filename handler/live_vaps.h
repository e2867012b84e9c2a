// The VAPs that exist in the kernel, as the state record has them.
#pragma once

#include "handler/toolkit.h"
#include "platform/k480ext.h"

// Radio and VAP count from 1.
struct LiveVap {
    int radio;
    int vap;
    const agent_vap &state;

    // The name of its interface. False when it has none: it is on its way in or out.
    bool read_ifname(char (&ifname)[IFNAME_SIZE]) const {
        return get_ifname_by_idx(IFNAME_VAP, radio - 1, vap - 1, ifname) != 0;
    }
};

// Radio-major, until `visit(vap)` returns false; returns whether it never did.
template <typename Visit>
bool for_each_live_vap(int first_radio, int last_radio, Visit visit) {
    for (int radio = first_radio; radio <= last_radio; radio++)
        for (int vap = 1; vap <= VAPS; vap++) {
            const agent_vap &state = zevap->vap[radio - 1][vap - 1];
            if (state.ifindex > 0 && !visit(LiveVap{radio, vap, state})) return false;
        }
    return true;
}

template <typename Visit>
bool for_each_live_vap(Visit visit) {
    return for_each_live_vap(1, RADIOS, visit);
}
