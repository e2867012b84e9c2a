// The tree and its registration list.
#include <algorithm>
#include <random>

#include "tests/unit/agent_fixture.h"
#include "tree/rows.h"

static Texts list_order() {
    Texts order;
    for (const mib_node *node = head->list_next; node != head; node = node->list_next)
        order.emplace_back(node->oid());
    return order;
}

static snmp_reply *no_handler(snmp_reply *reply, mib_node *, uint8_t, const char *, char *, int) {
    return reply;
}

// A tree of two toy columns.
class TreeTest : public AgentTest {
  protected:
    TreeTest() {
        clear_child_node(head);
        prev = head;
        ALLOC_NODE("1", TYPE_NONE, nullptr);
        first = ALLOC_NODE("1.1", STRING, no_handler);
        second = ALLOC_NODE("1.2", STRING, no_handler);
    }
    mib_node *first, *second;
    snmp_reply scratch{};
};

TEST_F(TreeTest, SlotsFollowArcsAndTheListFollowsCreation) {
    ALLOC_NODE("1.0", TYPE_NONE, nullptr);
    mib_node *parent = find_child(head, 1);
    EXPECT_EQ(list_order(), (Texts{"1", "1.1", "1.2", "1.0"}));
    for (const int arc : {9, -1, 256, 1 << 20}) EXPECT_EQ(find_child(parent, arc), nullptr);
    EXPECT_EQ(parent->below->child_count, 4) << "a lookup leaves an empty slot, none for what is no arc";

    Texts oids;
    for (int arc = 3; arc < 256; arc++) oids.push_back("1." + std::to_string(arc));
    std::shuffle(oids.begin(), oids.end(), std::mt19937(7));
    for (const std::string &oid : oids) ALLOC_NODE(oid.c_str(), TYPE_NONE, nullptr);
    for (int arc = 0; arc < 256; arc++) {
        EXPECT_EQ(child_slot(arc, parent->below->child_map), arc);
        EXPECT_EQ(find_child(parent, arc)->oid(), "1." + std::to_string(arc));
        update_data(&scratch, first, "x", arc);
        EXPECT_EQ(scratch.oid, std::string(ROOT_OID) + ".1.1." + std::to_string(arc));
    }
}

// Where the plain walk puts a new child: behind the last node of the unbroken run of list nodes whose OID
// texts begin with the parent's: the run of 1.1.2 goes on over 1.1.20, too.
static mib_node *position_by_walk(mib_node *parent, int arc) {
    bool sibling_below = false;
    for (int lower = arc; lower >= 0 && !sibling_below; lower--)
        sibling_below = find_child(parent, lower) != nullptr;
    if (!sibling_below) return parent;
    const std::string text = parent->oid();
    mib_node *last = parent;
    while (last->list_next != head && std::string_view(last->list_next->oid()).starts_with(text))
        last = last->list_next;
    return last;
}

TEST_F(TreeTest, InsertPositionIsThatOfThePlainWalk) {
    std::mt19937 random(20);
    mib_node *const columns[] = {first, second, ALLOC_NODE("1.10", STRING, no_handler),
                                 ALLOC_NODE("1.11", STRING, no_handler)};
    // Few different arcs, of which many begin with others: 1, 10, 100 …
    const int pool[] = {0, 1, 2, 10, 11, 12, 100, 101, 110, 25, 255};
    const auto any = [&](int n) { return static_cast<int>(random() % n); };
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
                parent = find_child(parent, arcs[i]);
            }
        }
        update_data_by_mulindex(&scratch, column, "x", arcs, count);
    }
}

TEST_F(TreeTest, ClearingAColumnLeavesTheNextOne) {
    for (int row = 1; row <= 3; row++) {
        update_data(&scratch, first, "a", row);
        update_data(&scratch, second, "b", row);
    }
    clear_child_node(first);
    EXPECT_EQ(list_order(), (Texts{"1", "1.1", "1.2", "1.2.1", "1.2.2", "1.2.3"}));
    EXPECT_FALSE(first->below);
    update_data(&scratch, first, "c", 5);
    EXPECT_STREQ(first->list_next->oid(), "1.1.5");
}

TEST_F(TreeTest, RepublishingReplacesTheValueOnly) {
    update_data(&scratch, first, "a longer text", 0);
    update_data(&scratch, first, "b", 0);
    EXPECT_STREQ(scratch.value, "b");
    EXPECT_EQ(scratch.reply_status, STRING);
    update_data(&scratch, first, "c", 256);
    EXPECT_EQ(list_order(), (Texts{"1", "1.1", "1.1.0", "1.2"})) << "an arc above 255 has no cell";
}

TEST_F(TreeTest, DumpShowsSlotsAndOrder) {
    update_data(&scratch, first, "text", 0);
    EXPECT_EQ(traced([] { dump_node(head); }),
              " [0]  [0]  [0]  oid=1.3.6.1.4.1.48019.6.1.1.0 value=text\n\n\n [1] \n\n");
    EXPECT_EQ(traced([] { print_root(head); }),
              " oid=1.3.6.1.4.1.48019.6 \n oid=1.3.6.1.4.1.48019.6.1\n oid=1.3.6.1.4.1.48019.6.1.1\n"
              " oid=1.3.6.1.4.1.48019.6.1.1.0 value=text\n oid=1.3.6.1.4.1.48019.6.1.2\nEND\n");
    clear_child_node(head);
    EXPECT_EQ(traced([] { print_root(head); }), " oid=1.3.6.1.4.1.48019.6 \nEND\n");
    EXPECT_EQ(traced([] { dump_node(nullptr); }), "NULL\n");
}

TEST_F(TreeTest, CreationIsTraced) {
    EXPECT_EQ(traced([] { ALLOC_NODE("1.7", TYPE_NONE, nullptr); }),
              "node 1.3.6.1.4.1.48019.6.1.2  ->  1.3.6.1.4.1.48019.6.1.7,str:1.7\n"
              "pch:1,str:1.7,subtree:1\nnode_num:1\ndot:0\nnode_num:7\ndot:2\n");
}

TEST(Instances, ParseMulindex) {
    const std::tuple<const char *, int, int, int> cases[] = {{"1.5", 1, 1, 5},   {"1..5", 1, 1, 5},
                                                             {"1.5.2", 0, 1, 5}, {"1", 0, 1, 0},
                                                             {"1.x", 1, 1, 0},   {"", 0, 0, 0}};
    for (const auto &[text, result, first, second] : cases) {
        int arcs[2] = {0, 0};
        EXPECT_EQ(parse_mulindex(text, arcs, 2), result) << text;
        EXPECT_EQ(std::pair(arcs[0], arcs[1]), std::pair(first, second)) << text;
    }
}
