// Keeps the "band_steer" item of the VAPs in step with the radios' band steering: it is "enable" where the
// radio steers and the VAP and a VAP of the other radio with the same SSID are both enabled.
#include <cstring>

#include "platform/builtin/store.h"
#include "platform/zevcfg.h"

static constexpr int RADIOS = 2;
static constexpr int VAPS = 16;

namespace {
struct Vap {
    std::string ssid;
    bool enabled;
    bool steered;  // as "band_steer" says
};
struct Wireless {
    bool steering[RADIOS];
    Vap vaps[RADIOS * VAPS];
};
}  // namespace

static std::string stored(zevcfg_handle *handle, unsigned group_id, const char *key) {
    char text[STORE_TEXT_SIZE] = "";
    get_cfg_item(handle, group_id, key, text);
    return text;
}

static Wireless stored_wireless(zevcfg_handle *handle) {
    Wireless wireless;
    for (int r = 0; r < RADIOS; r++)
        wireless.steering[r] = stored(handle, gid_rf[r], "band_steering") == "enable";
    for (int i = 0; i < RADIOS * VAPS; i++)
        wireless.vaps[i] = {stored(handle, gid_vap[i], "ssid"),
                            stored(handle, gid_vap[i], "state") == "enable",
                            stored(handle, gid_vap[i], "band_steer") == "enable"};
    return wireless;
}

// What is queued comes true together with what is appended here.
static void overlay_queued(const cfg_item *head, Wireless *wireless) {
    for (const QueuedItem &item : queued_items(head)) {
        for (int r = 0; r < RADIOS; r++) {
            if (item.group_id == gid_rf[r] && item.key == "band_steering")
                wireless->steering[r] = item.value == "enable";
        }
        for (int i = 0; i < RADIOS * VAPS; i++) {
            if (item.group_id != gid_vap[i]) continue;
            if (item.key == "ssid") wireless->vaps[i].ssid = item.value;
            if (item.key == "state") wireless->vaps[i].enabled = item.value == "enable";
            if (item.key == "band_steer") wireless->vaps[i].steered = item.value == "enable";
        }
    }
}

static bool should_steer(const Wireless &wireless, int index) {
    const Vap &vap = wireless.vaps[index];
    int radio = index / VAPS;
    if (!wireless.steering[radio] || !vap.enabled) return false;
    for (int other = 0; other < RADIOS * VAPS; other++) {
        const Vap &twin = wireless.vaps[other];
        if (other / VAPS != radio && twin.enabled && twin.ssid == vap.ssid) return true;
    }
    return false;
}

cfg_item *check_vap_band_steering(zevcfg_handle *handle, const char *band_steering, cfg_item *head, int radio,
                                  int vap, const char *ssid, const char *state) {
    bool steering = band_steering != nullptr && strcmp(band_steering, "enable") == 0;
    Wireless wireless = stored_wireless(handle);
    bool one_vap = radio >= 0 && radio < RADIOS && vap >= 0 && vap < VAPS;
    if (one_vap) {
        Vap &changed = wireless.vaps[radio * VAPS + vap];
        if (ssid != nullptr) changed.ssid = ssid;
        if (state != nullptr) changed.enabled = strcmp(state, "enable") == 0;
        wireless.steering[radio] = steering;
    }
    overlay_queued(head, &wireless);
    // The radio-wide switch is being set to this, whatever was queued for it before.
    if (!one_vap) wireless.steering[0] = wireless.steering[1] = steering;
    for (int i = 0; i < RADIOS * VAPS; i++) {
        bool steer = should_steer(wireless, i);
        if (steer != wireless.vaps[i].steered)
            head = append_cfg_item(head, gid_vap[i], "band_steer", steer ? "enable" : "disable");
    }
    return head;
}
