// GET, SET and GETNEXT: from an OID text to an object, its handler or its cached instances.
// Failures of resolution are empty replies. Main thread only.
#pragma once

#include "registry/wire.h"
#include "tree/node.h"

// The reply must be all zero; all three return it. `oid` is a full OID; its first ROOT_PREFIX_LENGTH
// characters are skipped, not compared.
snmp_reply *GET(snmp_reply *reply, const char *oid);
snmp_reply *GET_NEXT(snmp_reply *reply, const char *oid);
// `set` is the request's field of TEXT_SIZE bytes and is rewritten to the bare value.
snmp_reply *SET(snmp_reply *reply, const char *oid, char *set);

// Splits a SET text into type word and value. 1: the word names the type, and `set` now holds the bare value
// (without the first and last character when it contains a double quote); 0: it does not.
int check_set_type(uint8_t type, char *set);

// The node that holds the last level of an instance of several arcs and that level's arc, or null.
mib_node *search_to_leaf(mib_node *object, const char *instance, int *last_arc);

int need_update(const mib_node *object);                  // 1 when a refresh is due
void update_time(mib_node *object);                       // refreshed now, and asked again when due
void update_time_and_unset_update_bit(mib_node *object);  // answered from its cache until the next rebuild

// Fills the reply from the node's child of that arc, if there is one.
snmp_reply *just_output(snmp_reply *reply, mib_node *node, int arc);
