#include "tree/node.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tree/oid.h"
#include "tree/trace.h"

mib_node *head = nullptr;
mib_node *prev = nullptr;

void set_value(mib_node *node, const char *text) {
    const char *old = node->value_is_apart ? node->value_apart : nullptr;
    const size_t size = strlen(text) + 1;
    node->value_is_apart = size > sizeof node->value_here;
    if (node->value_is_apart) {
        auto *copy = new char[size];
        memcpy(copy, text, size);
        node->value_apart = copy;
    } else {
        memmove(node->value_here, text, size);
    }
    delete[] old;
}

static bool has_slot(const mib_node *node, int arc) {
    return node->below && ((node->below->child_map[arc / 32] >> (arc % 32)) & 1);
}

int child_slot(int arc, const uint32_t (&map)[8]) {
    int bits = 0;
    for (int word = 0; word < arc / 32; word++) bits += std::popcount(map[word]);
    return bits + std::popcount(map[arc / 32] << (31 - arc % 32)) - 1;
}

void ensure_child_slot(mib_node *node, int arc) {
    if (has_slot(node, arc)) return;
    if (!node->below) node->below = std::make_unique<mib_children>();
    mib_children &below = *node->below;
    const int count = below.child_count;
    below.child_map[arc / 32] |= 1U << (arc % 32);
    const int position = child_slot(arc, below.child_map);
    // Room grows by doubling: a column of n rows costs O(n) copies, not O(n²).
    if (std::has_single_bit(static_cast<unsigned>(count)) || count == 0) {
        auto grown = std::make_unique_for_overwrite<mib_node *[]>(count == 0 ? 1 : 2 * count);
        std::copy_n(below.children.get(), count, grown.get());
        below.children = std::move(grown);
    }
    mib_node **slots = below.children.get();
    std::move_backward(slots + position, slots + count, slots + count + 1);
    slots[position] = nullptr;
    below.child_count = count + 1;
}

mib_node *find_child(mib_node *node, int arc) {
    if (arc < 0 || arc > MAX_ARC) return nullptr;
    ensure_child_slot(node, arc);
    return node->below->children[child_slot(arc, node->below->child_map)];
}

mib_node *run_end(mib_node *node) {
    while (node->run_last) node = node->run_last;
    return node;
}

// Enters a node that has just been linked into the list into the nest of runs.
static void join_run(mib_node *node) {
    const std::string_view oid = node->oid();
    mib_node *below = nullptr;  // the run inside `outer` that ends where the node begins
    mib_node *outer = node->list_prev;
    while (!oid.starts_with(outer->oid())) {
        below = outer;
        outer = outer->run_parent;
    }
    node->run_parent = outer;
    if (outer->run_last == below) outer->run_last = node;
    // A node put in front of its siblings takes those behind it into its run whose texts begin with its own:
    // arc 1 in front of 10 and 100.
    mib_node *next = node->list_next;
    while (next != head && std::string_view(next->oid()).starts_with(oid)) {
        if (outer->run_last == next) outer->run_last = node;
        next->run_parent = node;
        node->run_last = next;
        next = run_end(next)->list_next;
    }
}

FullOid::FullOid(const mib_node *node) {
    memcpy(text, ROOT_OID, ROOT_PREFIX_LENGTH);
    length = ROOT_PREFIX_LENGTH - 1;
    if (node == head) return;
    text[length++] = '.';
    const size_t own = strlen(node->oid());
    memcpy(text + length, node->oid(), own + 1);
    length += own;
}

void *mib_node::operator new(size_t size, std::string_view oid) {
    void *node = ::operator new(size + oid.size() + 1);
    char *text = static_cast<char *>(node) + size;
    text[oid.copy(text, oid.size())] = '\0';
    return node;
}

void alloc_root() {
    head = new ("") mib_node;
    head->kind = ROOT;
    head->list_next = head->list_prev = head;
    prev = head;
}

mib_node *ALLOC_NODE(const char *relative, uint8_t type, MibHandler handler) {
    char path[RELATIVE_OID_SIZE];
    snprintf(path, sizeof path, "%s", relative);

    auto *node = new (path) mib_node;
    if (type == TYPE_NONE || type == LEAF || type == INDEX)
        node->kind = type;
    else
        node->kind = handler ? LEAF : INSTANCE;
    node->type = type;
    node->handler = handler;

    TRACE("node %s  ->  %s,str:%s\n", FullOid(prev).text, FullOid(node).text, relative);
    node->list_prev = prev;
    node->list_next = prev->list_next;
    prev->list_next->list_prev = node;
    prev->list_next = node;
    prev = node;
    join_run(node);

    ArcReader arcs(path);
    mib_node *parent = nullptr;
    mib_node *current = head;
    for (int arc; arcs.next(&arc) && arc >= 0;) {
        if (!parent)
            TRACE("pch:%.*s,str:%s,subtree:%d\n", static_cast<int>(arcs.text().size()), arcs.text().data(),
                  relative, arc);
        TRACE("node_num:%d\n", arc);
        parent = current;
        ensure_child_slot(parent, arc);
        const int slot = child_slot(arc, parent->below->child_map);
        TRACE("dot:%d\n", slot);
        mib_node *&child = parent->below->children[slot];
        current = child;
        if (arcs.at_end()) child = node;
    }
    return node;
}

void clear_child_node(mib_node *node) {
    TRACE_LOCATION("function", __func__);
    node->below.reset();
    node->run_last = nullptr;
    const std::string_view oid = node->oid();
    mib_node *next = node->list_next;
    while (next != head && std::string_view(next->oid()).starts_with(oid)) {
        mib_node *gone = next;
        next = next->list_next;
        TRACE("Free oid=%s\n", FullOid(gone).text);
        delete gone;
    }
    node->list_next = next;
    next->list_prev = node;
}

void forget_values() {
    for (mib_node *node = head->list_next; node != head; node = node->list_next) {
        const bool live = node->update_bit == 1 && node->update_stamp != 0;
        if (node->kind != LEAF || live) continue;
        clear_child_node(node);
        node->update_bit = 1;
        node->update_stamp = 0;
    }
}

void free_tree() {
    if (!head) return;
    clear_child_node(head);
    delete head;
    head = prev = nullptr;
}

void dump_node(const mib_node *node) {
    if (!node) {
        TRACE("NULL\n");
        return;
    }
    if (node->kind == INSTANCE) TRACE(" oid=%s value=%s\n", FullOid(node).text, node->value());
    for (int slot = 0; node->below && slot < node->below->child_count; slot++) {
        const mib_node *child = node->below->children[slot];
        if (!child) continue;
        TRACE(" [%d] ", slot);
        dump_node(child);
        TRACE("\n");
    }
}

void print_root(const mib_node *root) {
    if (!root) {
        TRACE("NULL\n");
        return;
    }
    TRACE(" oid=%s \n", FullOid(root).text);
    for (const mib_node *node = root->list_next;; node = node->list_next) {
        if (!node) {
            TRACE("NULL\n");
            return;
        }
        if (node == root) {
            TRACE("END\n");
            return;
        }
        if (node->kind == INSTANCE)
            TRACE(" oid=%s value=%s\n", FullOid(node).text, node->value());
        else
            TRACE(" oid=%s\n", FullOid(node).text);
    }
}
