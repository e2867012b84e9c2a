#include "client/agentx_handler.h"

#include <arpa/inet.h>

#include <cstring>

#include "client/log.h"
#include "client/netsnmp.h"

static Subtree *served;
static std::vector<Change> changes;  // of the SET that is going on; the master sends one at a time

static Oid oid_of(const netsnmp_variable_list *variable) {
    return {variable->name, variable->name + variable->name_length};
}

static u_char asn_type(Syntax syntax) {
    switch (syntax) {
        case Syntax::INTEGER32:
            return ASN_INTEGER;
        case Syntax::OCTET_STRING:
            return ASN_OCTET_STR;
        case Syntax::TIMETICKS:
            return ASN_TIMETICKS;
        case Syntax::IPADDRESS:
            return ASN_IPADDRESS;
        case Syntax::GAUGE32:
            return ASN_GAUGE;
        case Syntax::COUNTER32:
            return ASN_COUNTER;
        case Syntax::COUNTER64:
            return ASN_COUNTER64;
        case Syntax::OTHER:
            break;
    }
    return ASN_NULL;
}

static void put_value(netsnmp_variable_list *variable, const Value &value) {
    const u_char type = asn_type(value.syntax);
    if (value.syntax == Syntax::OCTET_STRING) {
        snmp_set_var_typed_value(variable, type, value.octets.data(), value.octets.size());
    } else if (value.syntax == Syntax::IPADDRESS) {
        const in_addr_t address = htonl(static_cast<uint32_t>(value.number));
        snmp_set_var_typed_value(variable, type, &address, sizeof address);
    } else if (value.syntax == Syntax::COUNTER64) {
        const auto number = static_cast<uint64_t>(value.number);
        const counter64 halves = {static_cast<u_long>(number >> 32),
                                  static_cast<u_long>(number & 0xffffffff)};
        snmp_set_var_typed_value(variable, type, &halves, sizeof halves);
    } else {
        const long number = value.number;
        snmp_set_var_typed_value(variable, type, &number, sizeof number);
    }
}

static Value take_value(const netsnmp_variable_list *variable) {
    const netsnmp_vardata &from = variable->val;
    switch (variable->type) {
        case ASN_INTEGER:
            return {Syntax::INTEGER32, static_cast<int32_t>(*from.integer), ""};
        case ASN_GAUGE:
            return {Syntax::GAUGE32, static_cast<uint32_t>(*from.integer), ""};
        case ASN_TIMETICKS:
            return {Syntax::TIMETICKS, static_cast<uint32_t>(*from.integer), ""};
        case ASN_OCTET_STR:
            return {
                Syntax::OCTET_STRING, 0, {reinterpret_cast<const char *>(from.string), variable->val_len}};
        case ASN_IPADDRESS: {
            in_addr_t address = 0;
            if (variable->val_len != sizeof address) break;
            memcpy(&address, from.string, sizeof address);
            return {Syntax::IPADDRESS, ntohl(address), ""};
        }
        default:
            break;
    }
    return {};
}

static int error_status(SetResult result) {
    switch (result) {
        case SetResult::DONE:
            return SNMP_ERR_NOERROR;
        case SetResult::NOT_WRITABLE:
            return SNMP_ERR_NOTWRITABLE;
        case SetResult::WRONG_TYPE:
            return SNMP_ERR_WRONGTYPE;
        case SetResult::WRONG_LENGTH:
            return SNMP_ERR_WRONGLENGTH;
        case SetResult::WRONG_VALUE:
            return SNMP_ERR_WRONGVALUE;
        case SetResult::NO_CREATION:
            return SNMP_ERR_NOCREATION;
        case SetResult::INCONSISTENT_NAME:
            return SNMP_ERR_INCONSISTENTNAME;
        case SetResult::INCONSISTENT_VALUE:
            return SNMP_ERR_INCONSISTENTVALUE;
        case SetResult::NO_ANSWER:
            break;
    }
    return SNMP_ERR_GENERR;
}

static void answer_get(netsnmp_agent_request_info *info, netsnmp_request_info *request) {
    const SubtreeReading reading = read_instance(served, oid_of(request->requestvb));
    if (reading.outcome == Outcome::VALUE)
        put_value(request->requestvb, reading.value);
    else
        netsnmp_set_request_error(info, request,
                                  reading.outcome == Outcome::NO_OBJECT     ? SNMP_NOSUCHOBJECT
                                  : reading.outcome == Outcome::NO_INSTANCE ? SNMP_NOSUCHINSTANCE
                                                                            : SNMP_ERR_GENERR);
}

// A variable left as it is tells the master to go on behind the subtree.
static void answer_next(netsnmp_agent_request_info *info, netsnmp_request_info *request) {
    const SubtreeReading reading = read_next(served, oid_of(request->requestvb));
    if (reading.outcome == Outcome::NO_ANSWER) netsnmp_set_request_error(info, request, SNMP_ERR_GENERR);
    if (reading.outcome != Outcome::VALUE) return;
    const std::vector<oid> name(reading.oid.begin(), reading.oid.end());
    snmp_set_var_objid(request->requestvb, name.data(), name.size());
    put_value(request->requestvb, reading.value);
}

static void check_changes(netsnmp_agent_request_info *info, netsnmp_request_info *requests) {
    for (netsnmp_request_info *request = requests; request; request = request->next) {
        const SetResult result = check_change(oid_of(request->requestvb), take_value(request->requestvb));
        if (result == SetResult::DONE) continue;
        netsnmp_set_request_error(info, request, error_status(result));
        return;
    }
}

static void make_changes(netsnmp_agent_request_info *info, netsnmp_request_info *requests) {
    changes.clear();
    for (netsnmp_request_info *request = requests; request; request = request->next) {
        Change &change = changes.emplace_back();
        const SetResult result =
            make_change(served, oid_of(request->requestvb), take_value(request->requestvb), &change);
        if (result == SetResult::DONE) continue;
        netsnmp_set_request_error(info, request, error_status(result));
        return;
    }
}

static void undo_changes(netsnmp_agent_request_info *info, netsnmp_request_info *requests) {
    bool undone = true;
    for (auto change = changes.rbegin(); change != changes.rend(); ++change) {
        if (undo_change(served, *change)) continue;
        undone = false;
        log_line(LOG_WARNING, oid_text(change->oid) +
                                  ": a SET of several objects was refused, and this one, "
                                  "already done, cannot be undone");
    }
    changes.clear();
    if (!undone) netsnmp_set_request_error(info, requests, SNMP_ERR_UNDOFAILED);
}

static int answer_request(netsnmp_mib_handler *, netsnmp_handler_registration *,
                          netsnmp_agent_request_info *info, netsnmp_request_info *requests) {
    switch (info->mode) {
        case MODE_GET:
            for (auto *request = requests; request; request = request->next) answer_get(info, request);
            break;
        case MODE_GETNEXT:
            for (auto *request = requests; request; request = request->next) answer_next(info, request);
            break;
        case MODE_SET_RESERVE1:
            check_changes(info, requests);
            break;
        case MODE_SET_ACTION:
            make_changes(info, requests);
            break;
        case MODE_SET_UNDO:
            undo_changes(info, requests);
            break;
        case MODE_SET_COMMIT:
        case MODE_SET_FREE:
            changes.clear();
            break;
        default:
            break;
    }
    return SNMP_ERR_NOERROR;
}

bool register_subtree(Subtree *subtree) {
    served = subtree;
    const Oid root = parse_oid(ROOT_OID);
    const std::vector<oid> name(root.begin(), root.end());
    netsnmp_handler_registration *registration = netsnmp_create_handler_registration(
        "zevsic", answer_request, name.data(), name.size(), HANDLER_CAN_RWRITE);
    return registration && netsnmp_register_handler(registration) == MIB_REGISTERED_OK;
}
