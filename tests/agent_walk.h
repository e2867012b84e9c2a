// The agent in the test's own process, on the built-in store of a device root, and what a walk of it answers.
#pragma once

#include <map>

#include "handler/groups.h"
#include "platform/device.h"
#include "tests/device_root.h"
#include "tests/requests.h"

using Cell = Answer;

class AgentOnDevice {
  public:
    // `options` are those of `zevcfg init`: "" for the factory configuration, "--demo" for the demo's device.
    // `settings` are further items, each as "group key text".
    explicit AgentOnDevice(const std::string &options, const std::vector<std::string> &settings = {}) {
        debugLevel = 0;
        EXPECT_EQ(system((ZEVSIC_BIN_DIR "/zevcfg init " + options).c_str()), 0);
        for (const std::string &item : settings)
            EXPECT_EQ(system((ZEVSIC_BIN_DIR "/zevcfg set " + item).c_str()), 0);
        // Live objects answer from the tree for the length of a test.
        EXPECT_EQ(system(ZEVSIC_BIN_DIR "/zevcfg set --current snmp sample_time 200"), 0);
        prepare_tools();
        init_norvalis();
        std::string oid;
        const Object *object = nullptr;
        for (Cell cell = execute(KIND_GETNEXT, ""); !cell.oid.empty() && cell.oid != oid;
             cell = execute(KIND_GETNEXT, oid)) {
            oid = cell.oid;
            cells.push_back(cell);
            if (!object || !oid.starts_with(std::string(object->oid) + ".")) object = object_of(oid);
            if (object) rows[object].push_back(oid.substr(strlen(object->oid) + 1));
        }
    }
    ~AgentOnDevice() { end_agent(); }
    AgentOnDevice(const AgentOnDevice &) = delete;
    AgentOnDevice &operator=(const AgentOnDevice &) = delete;

    DeviceRoot root;
    std::vector<Cell> cells;                                  // in the order walked
    std::map<const Object *, std::vector<std::string>> rows;  // instances of each object
};
