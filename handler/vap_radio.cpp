// How fast a VAP sends to all: objects 3.1.1.61 and 3.1.1.62.
#include <cstdlib>

#include "handler/engine.h"
#include "handler/rules.h"

// The row shows the number in its shortest form.
static snmp_reply *set_rate(const HandlerCall &call, const char *trace) {
    Row row{};
    if (!accept_row(call, &row)) return call.reply;
    const int code = atoi(call.value);
    const std::string rate = stored(call.object, call.value);
    if (trace) TRACE("%s[%d]:%s\n", trace, code, rate.c_str());
    queue_row(call, row, rate);
    store_cell(call, row, std::to_string(code));
    return set_accepted(call);
}

snmp_reply *multicast_rate(const HandlerCall &call) {
    return call.kind == KIND_GET ? ordinary(call) : set_rate(call, "mcast_rate");
}

snmp_reply *management_rate(const HandlerCall &call) {
    return call.kind == KIND_GET ? ordinary(call) : set_rate(call, nullptr);
}
