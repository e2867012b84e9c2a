// The subtree in memory. Every node is reachable in two ways: down the tree, through a compact child array
// indexed by a 256-bit arc map, and along one circular registration list that holds every node. GET and SET
// walk the tree; GETNEXT walks the list, so the list's order is the order that managers see.
//
// Main thread only. The tree owns its nodes; a node owns its texts and its child array.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "registry/wire.h"

struct mib_node;

// The handler of an object. `kind` is KIND_GET or KIND_SET; `instance` the arcs behind the object's OID
// joined by dots; `set_value` the bare value of a SET (a buffer of TEXT_SIZE bytes that may be rewritten),
// null for a GET; `first_arc` the first arc of `instance`. Fills and returns `reply`. `instance` and
// `set_value` belong to the caller; `node` may be freed by the handler itself.
using MibHandler = snmp_reply *(*)(snmp_reply *reply, mib_node *node, uint8_t kind, const char *instance,
                                   char *set_value, int first_arc);

enum NodeKind : uint8_t {
    BRANCH = 0,     // a group, table or entry arc
    LEAF = 21,      // an object: a scalar, or a column of a table
    ROOT = 22,      // the subtree root, anchor of the registration list
    INSTANCE = 23,  // a value
    INDEX = 24,     // a level of a row index made of several arcs; also the type given at its creation
};

// The slots of a node that has, or had, children.
struct mib_children {
    uint32_t child_map[8] = {};              // bit k: there is a slot for arc k
    int32_t child_count = 0;                 // slots in use; the array has room for the next power of two
    std::unique_ptr<mib_node *[]> children;  // slots in ascending arc order; a slot may be null
};

// What the tools of an object's last refresh left undone.
enum Shortage : uint8_t {
    NOTHING_LACKS,
    TOOL_HUNG,     // one took the time of a whole request: it is asked again when the object is due
    TOOLS_LACKED,  // others had used up the time of the request: the next one asks again
};

// Full tables have some 20,000 nodes, nearly all of them values: what a value has no use for stands
// elsewhere, and the text of the OID, without the root's, right behind the node.
struct mib_node {
    uint8_t kind = BRANCH;
    uint8_t update_bit = 1;  // 1: GET consults the handler when the object's refresh is due
    uint8_t type = TYPE_NONE;
    Shortage shortage : 2 = NOTHING_LACKS;
    bool runs_tools : 1 = false;  // the last refresh of an object did
    bool value_is_apart : 1 = false;
    int32_t update_stamp = 0;  // time of the last refresh of an object, seconds since the epoch
    union {                    // the value of an instance: nine of ten are numbers of a few digits
        char value_here[8] = "";
        char *value_apart;  // owned
    };
    MibHandler handler = nullptr;
    std::unique_ptr<mib_children> below;  // null: no slot
    mib_node *list_next = nullptr;
    mib_node *list_prev = nullptr;

    // The run of a node is itself and the list nodes behind it whose OID texts begin with its OID text. Runs
    // nest and are never broken, so each node keeps the innermost run it lies in and the last direct member
    // of its own; the end of a run is found by descending instead of walking it.
    mib_node *run_parent = nullptr;
    mib_node *run_last = nullptr;

    ~mib_node() {
        if (value_is_apart) delete[] value_apart;
    }
    const char *value() const { return value_is_apart ? value_apart : value_here; }

    // The OID relative to the root.
    const char *oid() const { return reinterpret_cast<const char *>(this + 1); }
    static void *operator new(size_t size) = delete;  // none without its OID
    static void *operator new(size_t size, std::string_view oid);
    // NOLINTNEXTLINE(misc-new-delete-overloads): it has one, with the OID
    static void operator delete(void *node) { ::operator delete(node); }  // which is larger than its type
};

constexpr size_t RELATIVE_OID_SIZE = 64;  // of a node, with terminator
constexpr int MAX_ARC = 255;

// The full OID of a node: root, dot and relative OID.
struct FullOid {
    explicit FullOid(const mib_node *node);
    std::string_view view() const { return {text, length}; }

    char text[ROOT_PREFIX_LENGTH + RELATIVE_OID_SIZE];
    size_t length;
};

extern mib_node *head;  // the root; null while there is no tree
extern mib_node *prev;  // list node behind which the next ALLOC_NODE inserts

// Creates a node and puts it into tree and list. `relative` is its dotted arc list below the root, at most
// 63 characters; its parent must exist. `type`: TYPE_NONE for a branch, INDEX, or a value type.
mib_node *ALLOC_NODE(const char *relative, uint8_t type, MibHandler handler);

// Makes the root of an empty tree.
void alloc_root();

// Frees the whole tree and the root; `head` is null afterwards.
void free_tree();

// Frees everything below the node: the rest of its run. The node itself stays.
void clear_child_node(mib_node *node);

// Makes every object that shows cached or written values due again and drops what it shows. Objects that are
// live by themselves keep their rows.
void forget_values();

// Slot index of the arc: the number of set bits at positions 0 to arc, minus 1.
int child_slot(int arc, const uint32_t (&map)[8]);
// Makes the slot of the arc exist, empty when new. Arc 0 to MAX_ARC.
void ensure_child_slot(mib_node *node, int arc);
// The child of an arc, or null; leaves an empty slot behind for an absent arc. Any other number than 0 to
// MAX_ARC has no child and no slot.
mib_node *find_child(mib_node *node, int arc);

// Last node of the node's run (the node itself when nothing follows).
mib_node *run_end(mib_node *node);

// The text is copied; it may be the node's own.
void set_value(mib_node *node, const char *text);

// Debug prints on the trace stream: the tree with slot numbers, and the registration list.
void dump_node(const mib_node *node);
void print_root(const mib_node *root);
