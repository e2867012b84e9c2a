// The handlers of all objects, made from the registration lists: the engine serves an ordinary object, its
// rule one that has a rule.
#include "handler/objects.h"

#include "handler/engine.h"
#include "handler/rules.h"

#define BRANCH(oid)
#define TABLE(oid, ...)
#define OBJECT(oid, ...) SPECIAL(ordinary, oid, __VA_ARGS__)
#define SPECIAL(rule, oid, name, ...)                                                                        \
    snmp_reply *name(snmp_reply *reply, mib_node *node, uint8_t kind, const char *instance, char *set_value, \
                     int first_arc) {                                                                        \
        static constexpr const Object *object = find_object(#name);                                          \
        static constexpr const Table *table = table_of(*object);                                             \
        TRACE_LOCATION("handler", #name);                                                                    \
        return rule(                                                                                         \
            {*object, table, reply, node, kind, instance, set_value, first_arc, requested_row(instance)});   \
    }
#include "registry/groups/all.def"
