// The walk: every registered object on the built-in store with the demo's device. A new object is tested by
// being registered.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/builtin/store.h"
#include "tests/agent_walk.h"

// The items that the objects looked for in vain.
static std::set<std::string> missing;

extern "C" {
int __real_get_cfg_item_by_str(zevcfg_handle *handle, const char *group, const char *key, char *out);
int __wrap_get_cfg_item_by_str(zevcfg_handle *handle, const char *group, const char *key, char *out) {
    const int result = __real_get_cfg_item_by_str(handle, group, key, out);
    if (result != 0) missing.insert(std::string(group) + " " + key);
    return result;
}
int __real_get_cfg_item(zevcfg_handle *handle, unsigned group_id, const char *key, char *out);
int __wrap_get_cfg_item(zevcfg_handle *handle, unsigned group_id, const char *key, char *out) {
    const int result = __real_get_cfg_item(handle, group_id, key, out);
    const char *group = group_name(group_id);
    if (result != 0) missing.insert(std::string(group ? group : "unknown group") + " " + key);
    return result;
}
}

class WalkTest : public testing::Test {
  protected:
    WalkTest() {
        for (const Cell &cell : cells)
            if (const Object *object = object_of(cell.oid)) first.emplace(object, cell);
    }

    AgentOnDevice agent{"--demo"};
    const std::vector<Cell> &cells = agent.cells;
    std::map<const Object *, Cell> first;  // first instance of each object
};

TEST(Registry, HasTheWholeSubtree) {
    int registrations[8] = {};
    for (const Object &object : OBJECTS) registrations[object.oid[0] - '0']++;
    const int expected[8] = {0, 88, 55, 113, 14, 13, 7, 67};
    for (int group = 1; group <= 7; group++) EXPECT_EQ(registrations[group], expected[group]) << group;
}

TEST_F(WalkTest, VisitsTheObjectsInRegistrationOrder) {
    ASSERT_GT(cells.size(), 30U);
    const Object *last = OBJECTS;
    for (const Cell &cell : cells) {
        const Object *object = object_of(cell.oid);
        ASSERT_TRUE(object) << cell.oid;
        EXPECT_GE(object, last) << cell.oid;
        last = object;
        EXPECT_EQ(cell.status, object->type) << object->name;
    }
    for (const Object &object : OBJECTS)
        if (!object.is_branch()) {
            EXPECT_TRUE(first.contains(&object)) << object.name << " has no instance on the demo's device";
        }
}

TEST_F(WalkTest, AGetAnswersWhatTheWalkSaw) {
    for (const Cell &cell : cells) {
        const Cell answer = execute(KIND_GET, cell.oid);
        EXPECT_EQ(answer.oid, cell.oid);
        EXPECT_EQ(answer.value, cell.value) << cell.oid;
    }
}

TEST_F(WalkTest, ReadOnlyObjectsRefuseAndOthersWantTheirType) {
    for (const auto &[object, cell] : first) {
        const char *other = object->type == INTEGER ? "string \"1\"" : "integer 1";
        EXPECT_EQ(execute(KIND_SET, cell.oid, other).status, STATUS_WRONG_TYPE) << object->name;
        if (object->access == READ_ONLY) {
            EXPECT_EQ(execute(KIND_SET, cell.oid, in_type(*object, cell.value)).status, STATUS_READ_ONLY)
                << object->name;
        }
    }
    EXPECT_EQ(pending_items, nullptr);
}

TEST_F(WalkTest, ValuesOutOfBoundsAreRefused) {
    for (const auto &[object, cell] : first) {
        if (object->access != READ_WRITE || !object->has_range()) continue;
        std::vector<std::string> values;
        for (const Range &range : object->range) {
            if (range.low > range.high) continue;
            if (object->type == INTEGER) {
                if (!object->in_range(range.low - 1L)) values.push_back(std::to_string(range.low - 1L));
                if (!object->in_range(range.high + 1L)) values.push_back(std::to_string(range.high + 1L));
            } else if (range.high + 1 < static_cast<int>(TEXT_SIZE) - 20 &&
                       !object->in_range(range.high + 1)) {
                values.emplace_back(range.high + 1, '1');
            }
        }
        for (const std::string &value : values)
            EXPECT_EQ(execute(KIND_SET, cell.oid, in_type(*object, value)).status, STATUS_WRONG_VALUE)
                << object->name << " = " << value.substr(0, 40);
    }
    EXPECT_EQ(pending_items, nullptr) << "a refused SET queues nothing";
}

TEST_F(WalkTest, WhatWasReadCanBeWrittenOrIsRefusedForAReason) {
    int accepted = 0;
    for (const auto &[object, cell] : first) {
        if (object->access != READ_WRITE) continue;
        const int status = execute(KIND_SET, cell.oid, in_type(*object, cell.value)).status;
        EXPECT_TRUE(status == STATUS_ACCEPTED || status == STATUS_WRONG_VALUE)
            << object->name << " " << status;
        if (status == STATUS_ACCEPTED) accepted++;
        EXPECT_EQ(execute(KIND_GET, cell.oid).value, cell.value) << object->name;
    }
    EXPECT_GT(accepted, 20);
}

TEST(Walk, TheStoreHasEveryItemThatIsRead) {
    missing.clear();
    const AgentOnDevice agent{"--demo"};
    EXPECT_EQ(missing, std::set<std::string>());
}
