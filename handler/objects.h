// The handlers of all objects: one function each, named after its object, declared from the registration
// lists.
#pragma once

#include "tree/node.h"

#define BRANCH(oid)
#define TABLE(oid, ...)
#define OBJECT(oid, name, ...)                                                                               \
    snmp_reply *name(snmp_reply *reply, mib_node *node, uint8_t kind, const char *instance, char *set_value, \
                     int first_arc);
#define SPECIAL(rule, ...) OBJECT(__VA_ARGS__)
#include "registry/groups/all.def"
#undef BRANCH
#undef TABLE
#undef OBJECT
#undef SPECIAL
