// Publishing values: the only way in which instance nodes come into being. Each operation creates the cell
// (and the levels above it) when it is missing, stores the value text in it and fills the reply as a GET
// reply for that cell. Without a reply (null) the cell alone is stored. All return the reply they were given.
// An arc outside 0 to MAX_ARC has no cell: nothing happens.
#pragma once

#include "registry/wire.h"
#include "tree/node.h"

// A row of one arc; a scalar is arc 0.
snmp_reply *update_data(snmp_reply *reply, mib_node *column, const char *value, int arc);
// A row of n arcs.
snmp_reply *update_data_by_mulindex(snmp_reply *reply, mib_node *column, const char *value, const int *arcs,
                                    int n);
// The row radio.VAP of the VAP whose kernel interface index is given; nothing when no VAP has it.
snmp_reply *update_data_by_ifindex(snmp_reply *reply, mib_node *column, const char *value, int ifindex);
// A row of the six bytes of a MAC address.
snmp_reply *update_data_by_mac(snmp_reply *reply, mib_node *column, const char *value, const int *mac);

// Reads the arcs of an instance text: 1 when it holds exactly n, else 0. A piece that is no number reads as
// 0.
int parse_mulindex(const char *text, int *arcs, int n);

// The list node behind which a new child of that arc goes: directly behind the parent when it is below every
// existing sibling, else behind everything that the parent's run holds.
mib_node *find_insert_prev(mib_node *parent, int arc);
