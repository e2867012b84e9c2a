// Operations of the device's configuration store library, as the daemon uses them. The library is linked
// (built in, or the device's own); nothing here says how the store works.
//
// Threads: any operation may be called from any thread. A handle may be closed while another thread is
// inside a call with it. Buffers for texts hold STORE_TEXT_SIZE bytes unless a size is passed; a longer
// value is cut. On any result but 0 the buffer is left untouched.
#pragma once

#include <cstddef>

#include "platform/files.h"

extern "C" {

constexpr size_t STORE_TEXT_SIZE = 4096;
constexpr int STORE_NO_SUCH_ITEM = -4;

struct zevcfg_object;  // a configuration that handles are opened on
struct zevcfg_handle;
struct cfg_item;  // one queued item; a list is its head, the empty list null

extern zevcfg_object config_ram;      // the working configuration
extern zevcfg_object current_config;  // the running configuration

zevcfg_handle *init_zevcfg_f(zevcfg_object *object);  // null when the store cannot be opened
void close_zevcfg(zevcfg_handle *handle);             // accepts null

// 0 and the item's text; STORE_NO_SUCH_ITEM when the group has no such key. A null handle has no items.
int get_cfg_item_by_str(zevcfg_handle *handle, const char *group, const char *key, char *out);
int get_cfg_item(zevcfg_handle *handle, unsigned group_id, const char *key, char *out);

// Appends a copy of the item and returns the new head.
cfg_item *append_cfg_item(cfg_item *head, unsigned group_id, const char *key, const char *value);
void free_item_list(cfg_item *head);
// Writes the list into the working configuration, all of it or nothing: 0, or non-zero on failure.
int set_cfg_items_snmp(zevcfg_handle *handle, const cfg_item *head);

// A lock id of 0 or more, or a negative value while another party holds the store. The two arguments are
// the library's own; the daemon passes 6 and 6.
int lock_zevcfg(int first, int second);
void unlock_zevcfg(int lock_id);
// Makes the working configuration the running one and applies it to the system: 0 when done. Takes the lock.
int apply_cfg(zevcfg_handle *handle);
int reset_zevcfg();             // factory configuration into the working one
int check_apply_need_reboot();  // 1 when saved changes need a reboot to take effect

int get_sys_item(const char *name, char *out);             // as get_cfg_item_by_str
int get_rc_env(const char *name, char *out, size_t size);  // 0 and the variable's text; else non-zero

// Returns the list extended by the items that keep the VAPs' band steering consistent. Radio-wide: radio and
// vap −1, ssid and state null. One VAP: its indices from 0, its SSID and its state.
cfg_item *check_vap_band_steering(zevcfg_handle *handle, const char *band_steering, cfg_item *head, int radio,
                                  int vap, const char *ssid, const char *state);

// Numeric group ids. Index: radio − 1; (radio − 1) × 16 + VAP − 1 for the VAP groups; (radio − 1) × 4 +
// access category − 1; (radio − 1) × 8 + link − 1.
extern const unsigned gid_rf[2];
extern const unsigned gid_vap[32];
extern const unsigned gid_vap_sec[32];
extern const unsigned gid_vap_hs20[32];
extern const unsigned gid_wme[8];
extern const unsigned gid_wds_link[16];

constexpr unsigned GID_DEVICE = 0x8080000;
constexpr unsigned GID_SYSTIME = 0x8100000;
constexpr unsigned GID_WAN_IP = 0x10080000;
constexpr unsigned GID_NETWORK_L2 = 0x10100000;
constexpr unsigned GID_BFIREWALL = 0x10500000;
constexpr unsigned GID_BFW_SERVICE = 0x10580000;
constexpr unsigned GID_BFW_DAI = 0x10600000;
constexpr unsigned GID_IPV6 = 0x10780000;
constexpr unsigned GID_SYSLOG = 0x18100000;
constexpr unsigned GID_SNMP = 0x18180400;
constexpr unsigned GID_REMOTE_MANAGE = 0x18580000;
constexpr unsigned GID_WES = 0x18600000;
constexpr unsigned GID_CAPWAP = 0x18680000;
}
