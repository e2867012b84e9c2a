// What all object handlers share. A rule (a function of handler/ that an entry SPECIAL names) and the engine
// of ordinary objects get their arguments as `call` and return one of the outcomes below. What is data about
// the object is in `call.object`, its entry in its registration list.
//
// A SET never writes the store: it queues items, which the save and apply objects commit.
#pragma once

#include <initializer_list>
#include <string>

#include "platform/zevcfg.h"
#include "registry/registry.h"
#include "registry/wire.h"
#include "tree/agent.h"
#include "tree/node.h"
#include "tree/trace.h"

// The arcs of a row: {0} for a scalar, {radio}, {radio, vap}, {radio, vap, entry} …, the six bytes of a MAC
// address.
struct Row {
    int arcs[6] = {};
    int count = 0;

    Row(std::initializer_list<int> list) {
        for (const int arc : list) arcs[count++] = arc;
    }
    int operator[](int i) const { return arcs[i]; }
};

struct HandlerCall {
    const Object &object;
    const Table *table;  // null for a scalar
    snmp_reply *reply;
    mib_node *node;        // the object's leaf
    uint8_t kind;          // KIND_GET or KIND_SET
    const char *instance;  // the arcs behind the object's OID
    char *value;           // SET: the bare value, a buffer of TEXT_SIZE bytes; GET: null
    int index;             // first arc of the instance
    Row requested;         // the row that the instance names, with no arc when it names none
};

// The row that an instance text names: one arc by its number, several only in the form in which the tree
// prints them.
Row requested_row(const char *instance);

// Outcomes. A GET that has published needs none: it returns call.reply.
snmp_reply *set_accepted(const HandlerCall &call);
snmp_reply *set_refused(const HandlerCall &call);
snmp_reply *set_read_only(const HandlerCall &call);

// True when the call is for that row.
bool is_requested(const HandlerCall &call, const Row &row);
// Stores a row's cell in the tree, and answers the call with it when the row is the one requested.
void publish(const HandlerCall &call, const Row &row, const std::string &value);
// Stores a row's cell in the tree and leaves the reply alone.
void store_cell(const HandlerCall &call, const Row &row, const std::string &value);
// Marks the object as refreshed: a live one is asked again when the sample time has passed, any other is
// answered from the tree until the next rebuild.
void stamp(const HandlerCall &call);

// Store reads, from the working configuration. A failed read is an empty text.
struct Reading {
    int result;  // 0, or STORE_NO_SUCH_ITEM or another failure
    std::string text;
};
Reading read_item(const char *group, const char *key);
Reading read_item(unsigned group_id, const char *key);
Reading read_system_item(const char *name);

// Items queued by SETs and not yet committed. Only the commit frees it.
extern cfg_item *pending_items;
void queue_item(unsigned group_id, const char *key, const std::string &value);

// A lock, a marker or a status file is there and counts. What a stranger has put at its place is removed, and
// the system's log says so.
bool file_counts(const char *file);

[[gnu::format(printf, 1, 2)]] std::string format(const char *format, ...);

// The first word of a text; empty when it has none.
std::string first_word(const std::string &text);
