// The rules of the layer-2 firewall: what is special among the objects 7.1.1.1 to 7.1.1.39.
#include "handler/firewall.h"

#include <cstdio>
#include <cstdlib>

#include "handler/check.h"
#include "handler/engine.h"
#include "handler/rules.h"

// A rule is bound to a source or a destination interface, each an item of its own. What follows the numbers
// in a stored name does not count ("ath1ap3.20" is a VLAN of a VAP); a radio's number without a VAP's is the
// whole radio, and a name of neither shows as the first VAP.
static std::string interface_shown(char side, const char *stored) {
    int radio = 0, vap = 0;
    switch (sscanf(stored, "ath%9dap%9d", &radio, &vap)) {
        case 2:
            return format("%c.%d.%d", side, radio + 1, vap + 1);
        case 1:
            return format("%c.%d.0", side, radio + 1);
        default:
            return format("%c.1.1", side);
    }
}

snmp_reply *rule_interface(const HandlerCall &call) {
    if (call.kind == KIND_GET)
        return get_rows(call, [&](const Row &row) {
            const std::string from = read_row_traced(call, row, "bfw_entry:%k.sInterface").text;
            if (!from.empty()) return interface_shown('s', from.c_str());
            return interface_shown('d', read_row_traced(call, row, "bfw_entry:%k.dInterface").text.c_str());
        });
    Row row{};
    char key[64], ifname[64];
    if (!accept_row(call, &row)) return call.reply;
    if (!parse_firewall_interface(call.value, row[0], key, ifname)) return set_refused(call);
    queue_row(call, row, key, ifname);
    store_cell(call, row, call.value);
    return set_accepted(call);
}

snmp_reply *rule_service(const HandlerCall &call) {
    return ordinary(call, {.condition = [](const HandlerCall &c, const Row &) {
                        return *c.value == '\0' || is_service_name(c.value);
                    }});
}
