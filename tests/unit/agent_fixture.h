// An agent on the fake platform, built anew for each test, and requests to it.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "function/agent.h"
#include "function/node.h"
#include "function/registry.h"
#include "tests/device_root.h"
#include "tests/unit/fake_platform.h"
#include "zevsic/trace.h"

struct Answer {
    int status;
    std::string oid;  // relative to the subtree root
    std::string value;
    bool operator==(const Answer &) const = default;
};
std::ostream &operator<<(std::ostream &out, const Answer &answer);

class AgentTest : public testing::Test {
  protected:
    AgentTest();
    ~AgentTest() override;

    // Builds the agent from what the fake holds now; again, as a reload does, when there is one.
    void build();

    // Requests by relative OID. A SET text is type word, blank and value.
    static Answer get(const std::string &oid);
    static Answer next(const std::string &oid);
    static int set(const std::string &oid, const std::string &text);
    // The pending items as "group key=value".
    static std::vector<std::string> queued();
    // SET of a value in the object's type; what it queued, or {"refused 34"} and the like.
    static std::vector<std::string> queued_by(const std::string &oid, const std::string &value);
    // What `action` writes to the trace at level 1.
    template <typename Action>
    static std::string traced(Action action) {
        testing::internal::CaptureStdout();
        debugLevel = 1;
        action();
        debugLevel = 0;
        fflush(stdout);
        return testing::internal::GetCapturedStdout();
    }

    DeviceRoot root;
};
