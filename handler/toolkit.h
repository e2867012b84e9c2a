// What all object handlers share. A handler's body is written with OBJECT(name) and gets its arguments as
// `call`; it returns one of the outcomes below. Most bodies are one expression: a field given to the engine
// of the object's family. Bounds and access come from the object's line in its registration list.
//
// A SET never writes the store: it queues items, which the save and apply objects commit.
#pragma once

#include <initializer_list>
#include <string>

#include "function/agent.h"
#include "function/node.h"
#include "platform/zevcfg.h"
#include "registry/registry.h"
#include "registry/wire.h"
#include "zevsic/trace.h"

struct HandlerCall {
    const Object &object;
    snmp_reply *reply;
    mib_node *node;        // the object's leaf
    uint8_t kind;          // KIND_GET or KIND_SET
    const char *instance;  // the arcs behind the object's OID
    char *value;           // SET: the bare value, a buffer of TEXT_SIZE bytes; GET: null
    int index;             // first arc of the instance
};

// Opens the body of an object's handler.
#define OBJECT(name)                                                                                         \
    static snmp_reply *name##_body(const HandlerCall &call);                                                 \
    snmp_reply *name(snmp_reply *reply, mib_node *node, uint8_t kind, const char *instance, char *set_value, \
                     int first_arc) {                                                                        \
        static_assert(object_index(#name) >= 0, "no line in a registration list");                           \
        constexpr int place = object_index(#name);                                                           \
        TRACE_LOCATION("handler", #name);                                                                    \
        return name##_body({OBJECTS[place], reply, node, kind, instance, set_value, first_arc});             \
    }                                                                                                        \
    static snmp_reply *name##_body([[maybe_unused]] const HandlerCall &call)

// Outcomes. A GET that has published needs none: it returns call.reply.
snmp_reply *set_accepted(const HandlerCall &call);
snmp_reply *set_refused(const HandlerCall &call);
snmp_reply *set_read_only(const HandlerCall &call);

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

// True when the call is for the row: a row of one arc by the number of the arc, others by the text that their
// arcs have without zeros in front.
bool is_requested(const HandlerCall &call, const Row &row);
// Publishes a row of the object: into the call's reply when the row is the one requested, else only into the
// tree.
void publish(const HandlerCall &call, const Row &row, const std::string &value);
// Shows a written value in its row before it is committed. Leaves the call's reply alone.
void publish_written(const HandlerCall &call, const Row &row, const std::string &value);

enum Refresh {
    CACHED,  // configuration: answered from the tree until the next rebuild
    LIVE,    // asked again when the sample time has passed
};
void stamp(const HandlerCall &call, Refresh refresh);

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

// A configuration group: its name for reading, its id for queuing.
struct Group {
    std::string name;
    unsigned id;
};

[[gnu::format(printf, 1, 2)]] std::string format(const char *format, ...);

// An object's numbers and the store's texts for them.
struct Code {
    int value;
    const char *text;
};
struct Codes {
    const Code *list;
    int count;
    const char *otherwise;  // what a stored text of none of them shows

    template <int N>
    constexpr Codes(const Code (&codes)[N], const char *other) : list(codes), count(N), otherwise(other) {}
    std::string shown(const std::string &stored) const;
    const char *stored(int value) const;  // null when there is none
};
constexpr Code SWITCH_CODE_LIST[] = {{1, "disable"}, {2, "enable"}};
constexpr Codes SWITCH_CODES{SWITCH_CODE_LIST, "1"};

enum Radios { ALL_RADIOS, PLAIN_RADIOS, OFFLOAD_RADIOS };  // which kind of radio has a setting

// How one stored item shows as an object's value, and what a SET of it accepts. Members that stay null do
// nothing; a SET applies them in this order.
struct Field {
    const char *key;
    bool (*check)(char *value) = nullptr;  // beyond the declared bounds; may rewrite the value in place
    bool (*condition)(const Row &row, const char *value) = nullptr;  // the state of the device allows it
    const Codes *codes = nullptr;
    std::string (*show)(const std::string &stored) = nullptr;  // in place of codes
    std::string (*store)(const char *value) = nullptr;         // in place of codes
    bool any_instance = false;  // scalars: answers whatever arc is asked for, due until it is 0
    Refresh refresh = CACHED;
    // Columns (handler/column.h) only:
    const char *trace = nullptr;    // of each item read
    const char *missing = nullptr;  // shown when the group has no such key, in place of the empty text
    bool optional = false;          // a SET is accepted without effect when the group has no such key
    Radios radios = ALL_RADIOS;     // on the others "-1" is shown and a SET is accepted without effect
};

// The declared bounds of the object, then the field's check.
bool is_acceptable(const HandlerCall &call, const Field &field);
bool within_bounds(const Object &object, const char *value);
std::string shown(const Field &field, const std::string &stored);
std::string stored(const Field &field, const char *value);

// The engine of scalars kept in the store.
snmp_reply *scalar(const HandlerCall &call, const Group &group, const Field &field);
// True when the call is for instance 0; traces and leaves the reply empty when not.
bool is_instance_0(const HandlerCall &call);
// A read-only scalar of a value from elsewhere: publishes it for a GET, refuses a SET.
snmp_reply *read_only_scalar(const HandlerCall &call, Refresh refresh, const std::string &value);
// A scalar that always reads 0 and acts when 1 is written. `act` answers whether it could.
snmp_reply *action_scalar(const HandlerCall &call, bool (*act)());
