#include "tree/dispatch.h"

#include <cstring>

#include "platform/device.h"
#include "tree/node.h"
#include "tree/resolve.h"
#include "tree/trace.h"

static snmp_reply *execute(snmp_reply *reply, snmp_request *request) {
    switch (request->type) {
        case KIND_GET:
            TRACE("GET %s\n", request->oid);
            return GET(reply, request->oid);
        case KIND_GETNEXT:
            return GET_NEXT(reply, request->oid);
        case KIND_SET:
            TRACE("SET %s\n", request->oid);
            TRACE("request->set:%s; strlen(set):%d\n", request->set, static_cast<int>(strlen(request->set)));
            return SET(reply, request->oid, request->set);
        case KIND_DUMP:
            dump_node(head);
            TRACE_LOCATION("zevsic", "snmp_exec");
            print_root(head);
            return reply;
        default:
            TRACE("Can't accept: %s\n", type_to_str(request->type));
            return reply;
    }
}

snmp_reply *snmp_exec(snmp_reply *reply, snmp_request *request) {
    begin_tools();
    snmp_reply *answer = execute(reply, request);
    end_tools();
    return answer;
}
