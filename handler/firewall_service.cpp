// The services that rules name: objects 7.2.1.1 to 7.2.1.5. The predefined ones come first and are fixed,
// the user-defined ones behind them are a list of the store.
#include <cstring>
#include <iterator>

#include "handler/engine.h"
#include "handler/firewall.h"
#include "handler/rules.h"
#include "registry/services.h"

constexpr int PREDEFINED_COUNT = static_cast<int>(std::size(PREDEFINED_SERVICES));
static_assert(table_of(*"L2FirewallServiceName"_object)->predefined == PREDEFINED_COUNT);

constexpr int FIRST_COLUMN = "L2FirewallServiceName"_object->last_arc();
static const Table &SERVICES = *table_of(*"L2FirewallServiceName"_object);

bool is_service_name(const char *text) {
    for (const auto &[name, protocol, source_ports, destination_ports] : PREDEFINED_SERVICES)
        if (strcmp(text, name) == 0) return true;
    const int count = last_row(SERVICES) - PREDEFINED_COUNT;
    for (int i = 0; i < count; i++)
        if (read_item(SERVICES.group, format("uds_entry:%d.name", i).c_str()).text == text) return true;
    return false;
}

// Rows above the predefined ones are in the list of the store, counted on from there.
snmp_reply *service(const HandlerCall &call) {
    if (call.kind == KIND_GET)
        return get_rows(call, [&](const Row &row) -> std::string {
            if (row[0] <= PREDEFINED_COUNT)
                return PREDEFINED_SERVICES[row[0] - 1][call.object.last_arc() - FIRST_COLUMN];
            return read_row(call, {row[0] - PREDEFINED_COUNT}).text;
        });
    Row row{};
    if (!accept_row(call, &row)) return call.reply;
    if (row[0] <= PREDEFINED_COUNT) return set_refused(call);
    queue_row(call, {row[0] - PREDEFINED_COUNT}, call.value);
    store_cell(call, row, call.value);
    return set_accepted(call);
}
