// An agent on the fake platform, built anew for each test, and requests to it.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "function/agent.h"
#include "function/node.h"
#include "registry/registry.h"
#include "tests/device_root.h"
#include "tests/requests.h"
#include "tests/unit/fake_platform.h"
#include "zevsic/trace.h"

using Items = std::vector<std::string>;
inline const Items REFUSED = {"refused 34"};

// Tables of cases, one line an object. A text "value>text" says what becomes of the value; without ">" the
// value becomes itself.
struct SetCase {
    std::string oid, item;  // the item up to the text that is queued for an accepted value
    std::vector<std::string> accepted, refused;
};
struct ShownCase {
    std::string group, key, oid;
    std::vector<std::string> stored;
};

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
    static Items queued();
    // SET of a value in the object's type; what it queued, or {"refused 34"} and the like.
    static Items queued_by(const std::string &oid, const std::string &value);
    // The same, items joined by " + ".
    static std::string queued_text(const std::string &oid, const std::string &value);
    // OIDs and values behind an object, in the order of a walk.
    static Items walked(const std::string &object);

    static void expect_sets(const std::vector<SetCase> &cases);
    // The item is a key of the group. Without it "-1" shows and what is accepted has no effect.
    void expect_existing_only(const std::string &group, std::vector<SetCase> cases);
    // With the one stored text beside what the store has.
    void expect_shown(const std::vector<ShownCase> &cases);
    template <typename Action>
    static void expect_trace(const std::string &lines, Action action) {
        const std::string trace = traced(action);
        EXPECT_NE(trace.find("\n" + lines), std::string::npos) << lines << "in\n" << trace;
    }
    // The VAP has an interface in the kernel, number 20 × radio + VAP, from the next build on.
    void make_interface(int radio, int vap, const std::string &name) const;
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
