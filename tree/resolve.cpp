#include "tree/resolve.h"

#include <cstdio>
#include <cstring>
#include <ctime>

#include "platform/device.h"
#include "tree/agent.h"
#include "tree/oid.h"
#include "tree/trace.h"

constexpr size_t INSTANCE_SIZE = 64;  // instance text with terminator

// Where an OID leads: an object and the arcs behind it.
struct Address {
    mib_node *object;
    char instance[INSTANCE_SIZE];
    int first_arc;
    int arc_count;
};

static const char *relative_oid(const char *oid) {
    return strnlen(oid, ROOT_PREFIX_LENGTH) < ROOT_PREFIX_LENGTH ? "" : oid + ROOT_PREFIX_LENGTH;
}

static bool append_arc(Address *address, size_t *length, std::string_view text) {
    const size_t dot = *length ? 1 : 0;
    if (*length + dot + text.size() >= INSTANCE_SIZE) return false;
    if (dot) address->instance[(*length)++] = '.';
    memcpy(address->instance + *length, text.data(), text.size());
    *length += text.size();
    address->instance[*length] = '\0';
    address->arc_count++;
    return true;
}

// Walks to the object and collects the instance text. False when the OID names no instance of an object: it
// ends at a branch or an object, or an arc on the way is absent. One outside 0 to MAX_ARC always is: no SET
// has such an instance, and a GET finds none.
static bool find_address(const char *relative, RequestKind kind, Address *address) {
    mib_node *current = nullptr;
    size_t length = 0;
    address->object = nullptr;
    address->arc_count = 0;
    ArcReader arcs(relative);
    bool first = true;
    bool absent = false;
    for (int arc; arcs.next(&arc); first = false) {
        TRACE(kind == KIND_SET ? "=%d \n" : "now=%d \n", arc);
        absent = absent || arc < 0 || arc > MAX_ARC;
        if (address->object) {
            if (!append_arc(address, &length, arcs.text())) return false;
            continue;
        }
        if (!first && !current) return false;
        if (first) {
            current = find_child(head, arc);
            continue;
        }
        if (kind == KIND_GET) TRACE("node_type=%d \n", current->kind);
        if (current->kind != LEAF) {
            current = find_child(current, arc);
            continue;
        }
        if (kind == KIND_SET) TRACE_LOCATION("function", "SET");
        address->object = current;
        address->first_arc = arc;
        if (!append_arc(address, &length, arcs.text())) return false;
    }
    return address->object != nullptr && !(absent && kind == KIND_SET);
}

// Whether the sample time has passed since the last refresh. What was never refreshed is due, whatever the
// clock says.
static bool has_aged(const mib_node *object) {
    const auto now = static_cast<uint32_t>(time(nullptr));
    const auto age = static_cast<int32_t>(now - static_cast<uint32_t>(object->update_stamp));
    return object->update_stamp == 0 || age >= zevap->sample_time;
}

int need_update(const mib_node *object) {
    if (!has_aged(object)) {
        TRACE("don't need update\n");
        return 0;
    }
    TRACE("need update\n");
    return 1;
}

void update_time(mib_node *object) {
    object->update_stamp = static_cast<int32_t>(time(nullptr));
}

void update_time_and_unset_update_bit(mib_node *object) {
    update_time(object);
    object->update_bit = 0;
}

mib_node *search_to_leaf(mib_node *object, const char *instance, int *last_arc) {
    TRACE_LOCATION("function", __func__);
    ArcReader arcs(instance);
    mib_node *node = object;
    while (arcs.next(last_arc)) {
        if (arcs.at_end()) return node;
        node = find_child(node, *last_arc);
        if (!node) return nullptr;
    }
    return nullptr;
}

snmp_reply *just_output(snmp_reply *reply, mib_node *node, int arc) {
    TRACE_LOCATION("function", __func__);
    const mib_node *child = find_child(node, arc);
    if (!child || !is_value(child->type)) return reply;  // a level of a row index is no value
    TRACE("type=%s data=%s\n", type_to_str(child->type), child->value());
    reply->reply_status = child->type;
    put_text(reply->value, child->value());
    put_text(reply->oid, FullOid(child).view());
    return reply;
}

// Once the tools' time is up, the request that used it up asks none again that is made of what they print: it
// keeps the whole lines that came, or what it showed before.
static bool is_due(const mib_node *object) {
    if (object->update_bit != 1) return false;
    if (object->runs_tools && tools_cut_short() > 0) return false;
    return object->shortage == TOOLS_LACKED || need_update(object) != 0;
}

static snmp_reply *refresh(snmp_reply *reply, mib_node *object, const Address &address) {
    const int asked_for_before = tools_asked_for();
    const int cut_short_before = tools_cut_short();
    const bool had_time = most_tool_time_left();
    const int32_t stamp_before = object->update_stamp;
    snmp_reply *answer =
        object->handler(reply, object, KIND_GET, address.instance, nullptr, address.first_arc);
    object->runs_tools = tools_asked_for() != asked_for_before;
    const bool cut_short = tools_cut_short() != cut_short_before;
    object->shortage = !cut_short ? NOTHING_LACKS : had_time ? TOOL_HUNG : TOOLS_LACKED;
    // One that takes longer than the sample time would be due again when it is done, and the tools never
    // rest.
    if (object->update_stamp != stamp_before && has_aged(object)) update_time(object);
    return answer;
}

snmp_reply *GET(snmp_reply *reply, const char *oid) {
    TRACE("GET (%s)\n", oid);
    Address address;
    if (!find_address(relative_oid(oid), KIND_GET, &address)) return reply;
    mib_node *object = address.object;
    if (is_due(object)) return refresh(reply, object, address);

    if (address.arc_count == 1) return just_output(reply, object, address.first_arc);
    int last_arc = 0;
    mib_node *node = search_to_leaf(object, address.instance, &last_arc);
    if (!node) return reply;
    TRACE("node index=%d node mib=%s\n", last_arc, FullOid(node).text);
    return just_output(reply, node, last_arc);
}

int check_set_type(uint8_t type, char *set) {
    char word[64] = "";
    char value[TEXT_SIZE] = "";
    sscanf(set, "%63s %4095[^\n]", word, value);
    const char *type_name = type_to_str(type);
    TRACE("set type = %s, node type = %s, set = %s, input value = %s\n", word, type_name, set, value);
    if (strncmp(word, type_name, strlen(type_name)) != 0) {
        TRACE_LOCATION("function", __func__);
        return 0;
    }
    TRACE_LOCATION("function", __func__);
    std::string_view bare = value;
    if (bare.find('"') != std::string_view::npos)
        bare = bare.substr(1, bare.size() > 2 ? bare.size() - 2 : 0);
    memset(set, 0, TEXT_SIZE);
    bare.copy(set, TEXT_SIZE - 1);
    return 1;
}

snmp_reply *SET(snmp_reply *reply, const char *oid, char *set) {
    const char *relative = relative_oid(oid);
    TRACE("SET (%s)\n", oid);
    TRACE("str:(%s)\n", relative);
    Address address;
    if (!find_address(relative, KIND_SET, &address)) return reply;
    mib_node *object = address.object;
    TRACE("roid=%s, NODE_INDEX=%d \n", address.instance, address.first_arc);
    if (!check_set_type(object->type, set)) {
        reply->reply_status = STATUS_WRONG_TYPE;
        return reply;
    }
    return object->handler(reply, object, KIND_SET, address.instance, set, address.first_arc);
}

// The list node from which GETNEXT scans: the node named, or the parent of an absent last arc, or the root.
static mib_node *start_node(const char *relative) {
    ArcReader arcs(relative);
    mib_node *parent = nullptr;
    mib_node *node = head;
    for (int arc; arcs.next(&arc);) {
        TRACE("=%d \n", arc);
        if (!node) return nullptr;
        parent = node;
        node = find_child(parent, arc);
    }
    if (node) return node;
    return parent == head ? nullptr : parent;
}

snmp_reply *GET_NEXT(snmp_reply *reply, const char *oid) {
    const char *relative = relative_oid(oid);
    TRACE("ori_oid:%s,str:%s,input:%s\n", oid, relative, oid);
    mib_node *node = start_node(relative);
    if (!node) return reply;

    // The walk refreshes the objects it passes: their rows appear right behind them. A handler may drop the
    // rows behind its object, never the object; texts are copied because it frees the nodes that own them.
    do {
        if (node->kind == LEAF) {
            snmp_reply scratch;
            scratch.oid[0] = scratch.value[0] = '\0';
            GET(&scratch, (std::string(FullOid(node).view()) + ".0").c_str());
        }
        node = node->list_next;
    } while (node->kind != INSTANCE && node != head);
    if (node == head) return reply;
    return GET(reply, FullOid(node).text);
}
