#include "tree/rows.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tree/agent.h"
#include "tree/trace.h"

mib_node *find_insert_prev(mib_node *parent, int arc) {
    ensure_child_slot(parent, arc);
    for (int slot = child_slot(arc, parent->below->child_map); slot >= 0; slot--)
        if (parent->below->children[slot]) return run_end(parent);
    TRACE("node %s 's prev %s\n", FullOid(parent).text, FullOid(parent).text);
    return parent;
}

// Which creations are traced: scalars and one-arc rows with the name of their type, rows found by interface
// or MAC address as leaves, rows by several arcs not at all.
enum class TraceAs { TYPE, LEAF, SILENT };

static mib_node *find_or_create(mib_node *parent, int arc, uint8_t type, TraceAs trace_as) {
    if (mib_node *child = find_child(parent, arc)) return child;
    // Built by hand: this runs once per published row.
    char oid[RELATIVE_OID_SIZE];
    const size_t length = strlen(parent->oid());
    if (length + 5 > sizeof oid) return nullptr;
    memcpy(oid, parent->oid(), length);
    char *end = oid + length;
    *end++ = '.';
    if (arc >= 100) *end++ = static_cast<char>('0' + arc / 100);
    if (arc >= 10) *end++ = static_cast<char>('0' + arc / 10 % 10);
    *end++ = static_cast<char>('0' + arc % 10);
    *end = '\0';
    if (trace_as == TraceAs::TYPE) TRACE("alloc oid= %s.%s type=%s\n", ROOT_OID, oid, type_to_str(type));
    prev = find_insert_prev(parent, arc);
    mib_node *node = ALLOC_NODE(oid, type, nullptr);
    if (trace_as == TraceAs::LEAF) TRACE("alloc oid= %s.%s type=%s\n", ROOT_OID, oid, type_to_str(LEAF));
    return node;
}

// The cell of a row, made when it is missing, with its value in it. Null when an arc has no cell.
static mib_node *store_cell(mib_node *column, const char *value, const int *arcs, int n, TraceAs trace_as) {
    if (std::any_of(arcs, arcs + n, [](int arc) { return arc < 0 || arc > MAX_ARC; })) return nullptr;
    mib_node *cell = column;
    for (int i = 0; i < n && cell; i++)
        cell =
            find_or_create(cell, arcs[i], i == n - 1 ? column->type : static_cast<uint8_t>(INDEX), trace_as);
    if (!cell) return nullptr;
    set_value(cell, value);
    TRACE("oid=%s value=%s\n", FullOid(cell).text, value);
    TRACE(" value=%s\n", value);
    return cell;
}

// Fills the reply, if there is one, from a cell, if there is one.
static snmp_reply *answer(snmp_reply *reply, const mib_node *cell) {
    if (!reply || !cell) return reply;
    put_text(reply->oid, FullOid(cell).view());
    reply->reply_status = cell->type;
    put_text(reply->value, cell->value());
    return reply;
}

snmp_reply *update_data(snmp_reply *reply, mib_node *column, const char *value, int arc) {
    return answer(reply, store_cell(column, value, &arc, 1, TraceAs::TYPE));
}

snmp_reply *update_data_by_mulindex(snmp_reply *reply, mib_node *column, const char *value, const int *arcs,
                                    int n) {
    TRACE_LOCATION("function", __func__);
    return answer(reply, store_cell(column, value, arcs, n, TraceAs::SILENT));
}

snmp_reply *update_data_by_mac(snmp_reply *reply, mib_node *column, const char *value, const int *mac) {
    TRACE_LOCATION("function", __func__);
    return answer(reply, store_cell(column, value, mac, 6, TraceAs::LEAF));
}

snmp_reply *update_data_by_ifindex(snmp_reply *reply, mib_node *column, const char *value, int ifindex) {
    TRACE_LOCATION("function", __func__);
    int arcs[2] = {0, 0};
    for (int radio = 0; radio < RADIOS; radio++) {
        for (int vap = 0; vap < VAPS; vap++) {
            if (zevap->vap[radio][vap].ifindex != ifindex) continue;
            arcs[0] = radio + 1;
            arcs[1] = vap + 1;
            break;
        }
    }
    if (arcs[0] == 0) return reply;
    return answer(reply, store_cell(column, value, arcs, 2, TraceAs::LEAF));
}

int parse_mulindex(const char *text, int *arcs, int n) {
    int count = 0;
    while (*text == '.') text++;
    while (*text != '\0') {
        if (count == n) return 0;
        arcs[count] = atoi(text);
        TRACE("mulindex[%d]=%d\n", count, arcs[count]);
        count++;
        text += strcspn(text, ".");
        text += strspn(text, ".");
    }
    return count == n;
}
