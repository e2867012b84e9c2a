// A fake of the two device libraries: plain data that a test sets and looks at.
#pragma once

#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/k480ext.h"
#include "platform/zevcfg.h"

struct FakeStation {
    std::string mac;
    int rssi = 0;
    uint64_t tx_bytes = 0, rx_bytes = 0;
};

struct FakePlatform {
    using Items = std::unordered_map<std::string, std::string>;
    Items working, running, system_items, environment;   // those of the two configurations by "group key"
    std::map<std::pair<int, int>, std::string> ifnames;  // radio, VAP from 0
    std::map<std::string, std::vector<FakeStation>> stations;
    std::map<int, std::string> enabled_vaps;  // radio from 1
    bool offload[2] = {false, false};
    unsigned capability[2] = {0, 0};
    int txpower_levels[2] = {8, 8};
    int chain_mask[2] = {3, 3};
    bool locked = false;
    bool saving_fails = false;
    int apply_result = 0;
    bool need_reboot = false;
    int resets = 0;  // to the factory configuration
    int items_read = 0, items_queued = 0;
    std::vector<std::string> steering_calls;  // "band_steering radio vap ssid state" of each consistency call
    int open_handles = 0;

    // Adds or replaces an item of both configurations.
    void item(const std::string &group, const std::string &key, const std::string &value) {
        working[group + " " + key] = running[group + " " + key] = value;
    }
};

extern FakePlatform fake;

// The list as "group key=value", in order.
std::vector<std::string> list_texts(const cfg_item *head);
