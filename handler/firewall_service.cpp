// The services that rules name: objects 7.2.1.1 to 7.2.1.5. The predefined ones come first and are fixed,
// the user-defined ones behind them are a list of the store.
#include <algorithm>
#include <cstring>
#include <iterator>

#include "handler/check.h"
#include "handler/firewall.h"

// Ports: one, a range with ':' or a list with blanks; empty is any.
struct Service {
    const char *name, *protocol, *source_ports, *destination_ports;
};

static constexpr Service PREDEFINED[] = {
    {"ALL", "", "", ""},
    {"ALL TCP", "TCP", "0:65535", "0:65535"},
    {"ALL UDP", "UDP", "0:65535", "0:65535"},
    {"ALL ICMP", "ICMP", "", ""},
    {"FTP", "TCP UDP", "", "20:21"},
    {"HTTP", "TCP UDP", "", "80"},
    {"HTTPS", "TCP UDP", "", "443"},
    {"POP3", "TCP", "", "110"},
    {"SMTP", "TCP", "", "25"},
    {"DHCP", "UDP", "", "67:68"},
    {"DNS", "TCP UDP", "", "53"},
    {"GOPHER", "TCP", "", "70"},
    {"SNMP", "TCP UDP", "", "161:162"},
    {"NFS", "TCP UDP", "", "111 2049"},
    {"TELNET", "TCP", "", "23"},
    {"FINGER", "TCP", "", "79"},
    {"IKE", "UDP", "", "500 4500"},
    {"IMAP", "TCP", "", "143"},
    {"IRC", "TCP", "", "6660:6670"},
    {"LDAP", "TCP", "", "389"},
    {"Net-Meeting", "TCP", "", "1720"},
    {"NTP", "TCP UDP", "", "123"},
    {"RLOGIN", "TCP", "", "513"},
    {"SSH", "TCP", "", "22"},
    {"TFTP", "UDP", "", "69"},
    {"RIP", "UDP", "", "520"},
    {"HSRP", "UDP", "", "1985"},
    {"OSPF", "89", "", ""},
};
constexpr int PREDEFINED_COUNT = static_cast<int>(std::size(PREDEFINED));

static Group service_group(const Row &) {
    return {"bfw_service", GID_BFW_SERVICE};
}
// As many as the table can show, whatever the store says.
static int user_defined_count() {
    return std::clamp(read_size(service_group({}), "table_size"), 0, MAX_ARC - PREDEFINED_COUNT);
}
static int service_count() {
    return PREDEFINED_COUNT + user_defined_count();
}

static constexpr FirewallList SERVICES{service_group, service_count};

// Where a row above the predefined ones is in the list of the store.
static Row user_defined(const Row &row) {
    return {row[0] - PREDEFINED_COUNT};
}

static snmp_reply *service_get(const HandlerCall &call, const Field &field, const char *Service::*member) {
    const Table table = firewall_table(SERVICES, service_count());
    stamp(call, CACHED);
    for_each_row(table, [&](const Row &row) {
        publish(call, row,
                row[0] <= PREDEFINED_COUNT ? PREDEFINED[row[0] - 1].*member
                                           : read_field(call, table, field, user_defined(row)).text);
    });
    return call.reply;
}

static snmp_reply *service(const HandlerCall &call, Field field, const char *Service::*member) {
    field.trace = FIREWALL_READ_TRACE;
    if (call.kind == KIND_GET) return service_get(call, field, member);
    const Table table = firewall_table(SERVICES, 0);
    Row row{};
    if (!accept_row(call, table, field, &row)) return call.reply;
    if (row[0] <= PREDEFINED_COUNT) return set_refused(call);
    queue_item(GID_BFW_SERVICE, expand(field.key, table, user_defined(row)).c_str(), call.value);
    publish_written(call, row, call.value);
    return set_accepted(call);
}

bool is_service_name(const char *text) {
    for (const Service &predefined : PREDEFINED)
        if (strcmp(text, predefined.name) == 0) return true;
    const int count = user_defined_count();
    for (int i = 0; i < count; i++)
        if (read_item("bfw_service", format("uds_entry:%d.name", i).c_str()).text == text) return true;
    return false;
}

// A protocol is a name in upper case, as the value is rewritten, or a number.
static bool protocol(char *value) {
    for (char *c = value; *c != '\0'; c++)
        if (*c >= 'a' && *c <= 'z') *c = static_cast<char>(*c - 'a' + 'A');
    if (strcmp(value, "TCP") == 0 || strcmp(value, "UDP") == 0) return true;
    return *value != '-' && check_int_range(value, 0, 255);
}
static bool port(const char *value) {
    return check_int_range(value, 1, 65535);
}

OBJECT(L2FirewallServiceIndex) {
    return firewall_index(call, SERVICES);
}
OBJECT(L2FirewallServiceName) {
    return service(call, {.key = "uds_entry:%k.name", .check = empty_or<check_printable>}, &Service::name);
}
OBJECT(L2FirewallServiceProtocolType) {
    return service(call, {.key = "uds_entry:%k.protocol", .check = empty_or<protocol>}, &Service::protocol);
}
OBJECT(L2FirewallServiceSourcePort) {
    return service(call, {.key = "uds_entry:%k.sport", .check = empty_or<port>}, &Service::source_ports);
}
OBJECT(L2FirewallServiceDestinationPort) {
    return service(call, {.key = "uds_entry:%k.dport", .check = empty_or<port>}, &Service::destination_ports);
}
