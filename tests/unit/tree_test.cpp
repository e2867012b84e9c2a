// The tree and its registration list.
#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "function/rows.h"
#include "tests/unit/agent_fixture.h"

static std::vector<std::string> list_order() {
    std::vector<std::string> order;
    for (const mib_node *node = head->list_next; node != head; node = node->list_next)
        order.emplace_back(node->oid.get() + ROOT_PREFIX_LENGTH);
    return order;
}

static snmp_reply *no_handler(snmp_reply *reply, mib_node *, uint8_t, const char *, char *, int) {
    return reply;
}

// An empty tree to register toy objects in.
class TreeTest : public AgentTest {
  protected:
    TreeTest() {
        clear_child_node(head);
        prev = head;
    }
    snmp_reply scratch{};
};

TEST_F(TreeTest, SlotsFollowArcsAndTheListFollowsCreation) {
    for (const char *oid : {"1", "1.1", "1.3", "1.2"}) ALLOC_NODE(oid, TYPE_NONE, nullptr);
    mib_node *parent = find_child(head, 1);
    ASSERT_EQ(parent->child_count, 3);
    for (int slot = 0; slot < 3; slot++)
        EXPECT_EQ(std::string(parent->children[slot]->oid.get()),
                  std::string(ROOT_OID) + ".1." + std::to_string(slot + 1));
    EXPECT_EQ(list_order(), (std::vector<std::string>{"1", "1.1", "1.3", "1.2"}));

    EXPECT_EQ(find_child(parent, 9), nullptr);
    EXPECT_EQ(parent->child_count, 4) << "a lookup leaves an empty slot";
    for (const int arc : {-1, 256, 1 << 20}) EXPECT_EQ(find_child(parent, arc), nullptr);
    EXPECT_EQ(parent->child_count, 4) << "no slot for what is no arc";
}

TEST_F(TreeTest, SlotsStayInOrderOverAllArcs) {
    mib_node *parent = ALLOC_NODE("1", TYPE_NONE, nullptr);
    std::vector<int> arcs(256);
    for (int i = 0; i < 256; i++) arcs[i] = i;
    std::shuffle(arcs.begin(), arcs.end(), std::mt19937(7));
    for (const int arc : arcs) ALLOC_NODE(("1." + std::to_string(arc)).c_str(), TYPE_NONE, nullptr);
    for (int arc = 0; arc < 256; arc++) {
        EXPECT_EQ(child_slot(arc, parent->child_map), arc);
        EXPECT_EQ(find_child(parent, arc)->oid.get(), std::string(ROOT_OID) + ".1." + std::to_string(arc));
    }
}

TEST_F(TreeTest, NewRowsGoFirstOrLast) {
    struct {
        std::vector<std::vector<int>> published;
        std::vector<std::string> listed;
    } cases[] = {
        {{{1}, {2}}, {"1.1", "1.1.1", "1.1.2", "1.2"}},
        {{{2}, {1}}, {"1.1", "1.1.1", "1.1.2", "1.2"}},
        {{{1, 1}, {1, 3}, {1, 2}}, {"1.1", "1.1.1", "1.1.1.1", "1.1.1.3", "1.1.1.2", "1.2"}},
        // The run of index 1 goes on over index 10, whose text begins with its own.
        {{{1, 1}, {10, 1}, {1, 2}}, {"1.1", "1.1.1", "1.1.1.1", "1.1.10", "1.1.10.1", "1.1.1.2", "1.2"}},
    };
    for (const auto &c : cases) {
        clear_child_node(head);
        prev = head;
        ALLOC_NODE("1", TYPE_NONE, nullptr);
        mib_node *column = ALLOC_NODE("1.1", STRING, no_handler);
        ALLOC_NODE("1.2", STRING, no_handler);
        for (const auto &arcs : c.published)
            update_data_by_mulindex(&scratch, column, "x", arcs.data(), static_cast<int>(arcs.size()));
        auto order = list_order();
        order.erase(order.begin());
        EXPECT_EQ(order, c.listed);
    }
}

// Where the plain walk puts a new child: behind the last node of the unbroken run of list nodes whose OID
// texts begin with the parent's.
static mib_node *position_by_walk(mib_node *parent, int arc) {
    bool sibling_below = false;
    for (int lower = arc; lower >= 0 && !sibling_below; lower--)
        sibling_below = find_child(parent, lower) != nullptr;
    if (!sibling_below) return parent;
    const std::string text = parent->oid.get();
    mib_node *last = parent;
    while (last->list_next != head && std::string_view(last->list_next->oid.get()).starts_with(text))
        last = last->list_next;
    return last;
}

TEST_F(TreeTest, InsertPositionIsThatOfThePlainWalk) {
    std::mt19937 random(20);
    ALLOC_NODE("1", TYPE_NONE, nullptr);
    std::vector<mib_node *> columns;
    for (const char *oid : {"1.1", "1.2", "1.10", "1.11"})
        columns.push_back(ALLOC_NODE(oid, STRING, no_handler));
    // Few different arcs, of which many begin with others: 1, 10, 100 …
    const int pool[] = {0, 1, 2, 10, 11, 12, 100, 101, 110, 25, 255};
    const auto any = [&](int n) { return static_cast<int>(random() % n); };
    int insertions = 0;
    for (int round = 0; round < 6000; round++) {
        mib_node *column = columns[any(4)];
        if (any(200) == 0) {
            clear_child_node(column);
            continue;
        }
        int arcs[6];
        const int count = column == columns[3] ? 6 : 1 + any(3);
        mib_node *parent = column;
        for (int i = 0; i < count; i++) {
            arcs[i] = pool[any(std::size(pool))];
            if (parent) {
                EXPECT_EQ(find_insert_prev(parent, arcs[i]), position_by_walk(parent, arcs[i]));
                insertions++;
                parent = find_child(parent, arcs[i]);
            }
        }
        update_data_by_mulindex(&scratch, column, "x", arcs, count);
    }
    EXPECT_GT(insertions, 6000);
}

TEST_F(TreeTest, ClearingAColumnLeavesTheNextOne) {
    ALLOC_NODE("1", TYPE_NONE, nullptr);
    mib_node *first = ALLOC_NODE("1.1", STRING, no_handler);
    mib_node *second = ALLOC_NODE("1.2", STRING, no_handler);
    for (int row = 1; row <= 3; row++) {
        update_data(&scratch, first, "a", row);
        update_data(&scratch, second, "b", row);
    }
    clear_child_node(first);
    EXPECT_EQ(list_order(), (std::vector<std::string>{"1", "1.1", "1.2", "1.2.1", "1.2.2", "1.2.3"}));
    EXPECT_EQ(first->child_count, 0);
    update_data(&scratch, first, "c", 5);
    EXPECT_STREQ(first->list_next->oid.get() + ROOT_PREFIX_LENGTH, "1.1.5");
}

TEST_F(TreeTest, RepublishingReplacesTheValueOnly) {
    ALLOC_NODE("1", TYPE_NONE, nullptr);
    mib_node *object = ALLOC_NODE("1.1", STRING, no_handler);
    update_data(&scratch, object, "a longer text", 0);
    const auto order = list_order();
    update_data(&scratch, object, "b", 0);
    EXPECT_EQ(list_order(), order);
    EXPECT_STREQ(scratch.value, "b");
    EXPECT_EQ(scratch.reply_status, STRING);
    update_data(&scratch, object, "c", 256);
    EXPECT_EQ(list_order(), order) << "an arc above 255 has no cell";
}

TEST_F(TreeTest, DumpShowsSlotsAndOrder) {
    ALLOC_NODE("1", TYPE_NONE, nullptr);
    mib_node *object = ALLOC_NODE("1.1", STRING, no_handler);
    update_data(&scratch, object, "text", 0);
    EXPECT_EQ(traced([] { dump_node(head); }),
              " [0]  [0]  [0]  oid=1.3.6.1.4.1.48019.6.1.1.0 value=text\n\n\n\n");
    EXPECT_EQ(traced([] { print_root(head); }),
              " oid=1.3.6.1.4.1.48019.6 \n oid=1.3.6.1.4.1.48019.6.1\n oid=1.3.6.1.4.1.48019.6.1.1\n"
              " oid=1.3.6.1.4.1.48019.6.1.1.0 value=text\nEND\n");
    clear_child_node(head);
    EXPECT_EQ(traced([] { print_root(head); }), " oid=1.3.6.1.4.1.48019.6 \nEND\n");
    EXPECT_EQ(traced([] { dump_node(nullptr); }), "NULL\n");
}

TEST_F(TreeTest, CreationIsTraced) {
    ALLOC_NODE("1", TYPE_NONE, nullptr);
    EXPECT_EQ(traced([] { ALLOC_NODE("1.7", TYPE_NONE, nullptr); }),
              "node 1.3.6.1.4.1.48019.6.1  ->  1.3.6.1.4.1.48019.6.1.7,str:1.7\n"
              "pch:1,str:1.7,subtree:1\nnode_num:1\ndot:0\nnode_num:7\ndot:0\n");
}

TEST_F(TreeTest, RowsByInterfaceIndex) {
    ALLOC_NODE("1", TYPE_NONE, nullptr);
    mib_node *column = ALLOC_NODE("1.1", STRING, no_handler);
    zevap->vap[0][2].ifindex = 12;
    zevap->vap[1][4].ifindex = 12;
    update_data_by_ifindex(&scratch, column, "x", 99);
    EXPECT_EQ(column->child_count, 0);
    update_data_by_ifindex(&scratch, column, "x", 12);
    EXPECT_STREQ(scratch.oid + ROOT_PREFIX_LENGTH, "1.1.2.5") << "radio 2 counts over radio 1";
}

TEST(Instances, ParseMulindex) {
    struct {
        const char *text;
        int result;
        int arcs[2];
    } cases[] = {{"1.5", 1, {1, 5}}, {"1..5", 1, {1, 5}}, {"1.5.2", 0, {1, 5}},
                 {"1", 0, {1, 0}},   {"1.x", 1, {1, 0}},  {"", 0, {0, 0}}};
    for (const auto &c : cases) {
        int arcs[2] = {0, 0};
        EXPECT_EQ(parse_mulindex(c.text, arcs, 2), c.result) << c.text;
        EXPECT_EQ(arcs[0], c.arcs[0]) << c.text;
        EXPECT_EQ(arcs[1], c.arcs[1]) << c.text;
    }
}
