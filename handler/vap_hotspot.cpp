// Hotspot 2.0: what is special among the objects 3.2.1.1 to 3.2.1.14.
#include "handler/engine.h"
#include "handler/rules.h"

snmp_reply *hotspot_realm(const HandlerCall &call) {
    if (call.kind == KIND_SET) TRACE("SET str=%s\n", call.value);
    return ordinary(call);
}
