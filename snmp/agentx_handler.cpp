#include "snmp/agentx_handler.h"

#include <arpa/inet.h>

#include <cstring>
#include <list>

#include "snmp/changes.h"
#include "snmp/netsnmp.h"

// A request that waits for the daemon.
struct Waiting {
    netsnmp_delegated_cache *cache;
    ManagerRequest request;
};

static Subtree *served;
static Clock::duration share;          // of the manager's time that a request may take
static Clock::time_point set_arrived;  // the one that is going on
static Clock::time_point idle;  // the last moment at which there was nothing to do: requests came later
static std::list<Waiting> waiting;
static std::shared_ptr<Changes> changes;  // of the SET that is going on; the master sends one at a time

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

static void put_reading(netsnmp_agent_request_info *info, netsnmp_request_info *request, bool next,
                        const SubtreeReading &reading) {
    switch (reading.outcome) {
        case Outcome::VALUE: {
            oid name[MAX_OID_LEN];
            std::copy(reading.oid.begin(), reading.oid.end(), name);
            if (next) snmp_set_var_objid(request->requestvb, name, reading.oid.size());
            put_value(request->requestvb, reading.value);
            break;
        }
        case Outcome::NO_OBJECT:
        case Outcome::NO_INSTANCE:
            // The next one left as it is tells the library to go on behind the subtree.
            if (!next)
                netsnmp_set_request_error(
                    info, request,
                    reading.outcome == Outcome::NO_OBJECT ? SNMP_NOSUCHOBJECT : SNMP_NOSUCHINSTANCE);
            break;
        case Outcome::NO_ANSWER:
        case Outcome::PENDING:
            netsnmp_set_request_error(info, request, SNMP_ERR_GENERR);
            break;
    }
}

// Answers what can be answered now; the others wait for the daemon.
static void read_requests(netsnmp_mib_handler *handler, netsnmp_handler_registration *registration,
                          netsnmp_agent_request_info *info, netsnmp_request_info *requests) {
    const bool next = info->mode == MODE_GETNEXT;
    for (auto *request = requests; request; request = request->next) {
        ManagerRequest wanted = {oid_of(request->requestvb), next, idle, idle + share};
        const SubtreeReading reading = answer(served, &wanted);
        if (reading.outcome != Outcome::PENDING) {
            put_reading(info, request, next, reading);
            continue;
        }
        request->delegated = 1;
        waiting.push_back(
            {netsnmp_create_delegated_cache(handler, registration, info, request, nullptr), wanted});
    }
}

// True when the request is still the library's: a master that goes away takes its requests along.
static bool is_there(netsnmp_delegated_cache *cache) {
    return netsnmp_handler_check_cache(cache) != nullptr;
}

static void try_waiting() {
    for (auto at = waiting.begin(); at != waiting.end();) {
        const bool there = is_there(at->cache);
        const SubtreeReading reading = there ? answer(served, &at->request) : SubtreeReading{};
        if (reading.outcome == Outcome::PENDING) {
            ++at;
            continue;
        }
        if (there) {
            at->cache->requests->delegated = 0;
            put_reading(at->cache->reqinfo, at->cache->requests, at->request.next, reading);
            // The library's helper that makes GETNEXTs of a GETBULK has returned: on to the next repetition.
            if (at->cache->reqinfo->mode == MODE_GETBULK)
                netsnmp_bulk_to_next_fix_requests(at->cache->requests);
        }
        netsnmp_free_delegated_cache(at->cache);
        at = waiting.erase(at);
    }
}

static void check_changes(netsnmp_agent_request_info *info, netsnmp_request_info *requests) {
    set_arrived = idle;
    for (netsnmp_request_info *request = requests; request; request = request->next) {
        const SetResult result = check_change(oid_of(request->requestvb), take_value(request->requestvb));
        if (result == SetResult::DONE) continue;
        netsnmp_set_request_error(info, request, error_status(result));
        return;
    }
}

static void begin_changes(netsnmp_request_info *requests) {
    changes = std::make_shared<Changes>();
    for (auto *each = requests; each; each = each->next)
        changes->list.push_back({oid_of(each->requestvb), take_value(each->requestvb)});
}

// What came of a SET, and who waits for it: null while the library's call goes on.
struct EndOfSet {
    bool undoing;
    bool ended = false;
    SetResult result = SetResult::DONE;
    size_t failed = 0;
    netsnmp_delegated_cache *waiting = nullptr;
};

static void put_end_of_set(netsnmp_agent_request_info *info, netsnmp_request_info *request,
                           const EndOfSet &end) {
    for (auto *each = request; each; each = each->next) each->delegated = 0;
    for (size_t i = 0; i < end.failed && request->next; i++) request = request->next;
    if (end.result != SetResult::DONE)
        netsnmp_set_request_error(info, request,
                                  end.undoing ? SNMP_ERR_UNDOFAILED : error_status(end.result));
}

// The SET waits as a whole.
static void carry_out(void (*act)(Subtree *, const std::shared_ptr<Changes> &), netsnmp_mib_handler *handler,
                      netsnmp_handler_registration *registration, netsnmp_agent_request_info *info,
                      netsnmp_request_info *requests) {
    const auto end = std::make_shared<EndOfSet>();
    end->undoing = info->mode == MODE_SET_UNDO;
    changes->deadline = (end->undoing ? idle : set_arrived) + share;
    changes->done = [end](SetResult result, size_t failed) {
        end->ended = true;
        end->result = result;
        end->failed = failed;
        if (end->waiting && is_there(end->waiting))
            put_end_of_set(end->waiting->reqinfo, end->waiting->requests, *end);
        netsnmp_free_delegated_cache(end->waiting);
    };
    act(served, changes);
    if (end->ended) return put_end_of_set(info, requests, *end);
    for (auto *each = requests; each; each = each->next) each->delegated = 1;
    end->waiting = netsnmp_create_delegated_cache(handler, registration, info, requests, nullptr);
}

static int answer_request(netsnmp_mib_handler *handler, netsnmp_handler_registration *registration,
                          netsnmp_agent_request_info *info, netsnmp_request_info *requests) {
    switch (info->mode) {
        case MODE_GET:
        case MODE_GETNEXT:
            read_requests(handler, registration, info, requests);
            break;
        case MODE_SET_RESERVE1:
            check_changes(info, requests);
            break;
        case MODE_SET_ACTION:
            begin_changes(requests);
            carry_out(make_changes, handler, registration, info, requests);
            break;
        case MODE_SET_UNDO:
            if (changes) carry_out(undo_changes, handler, registration, info, requests);
            break;
        case MODE_SET_COMMIT:
        case MODE_SET_FREE:
            changes = nullptr;
            break;
        default:
            break;
    }
    return SNMP_ERR_NOERROR;
}

bool register_subtree(Subtree *subtree, std::chrono::seconds timeout) {
    served = subtree;
    // A quarter is for the way to the master and back, and for a machine that is busy.
    share = std::chrono::milliseconds(timeout) * 3 / 4;
    const Oid root = parse_oid(ROOT_OID);
    const std::vector<oid> name(root.begin(), root.end());
    netsnmp_handler_registration *registration = netsnmp_create_handler_registration(
        "zevsic", answer_request, name.data(), name.size(), HANDLER_CAN_RWRITE);
    return registration && netsnmp_register_handler(registration) == MIB_REGISTERED_OK;
}

void begin_round(bool was_idle) {
    served->asker.now = Clock::now();
    if (was_idle) idle = served->asker.now;
}

void go_on_with_requests() {
    step(served, !waiting.empty());
    try_waiting();
    if (changes && changes->done) end_late_changes(*served, changes);
    warm_up(served);
}

Clock::time_point next_go() {
    Clock::time_point next = std::min(next_step(served->asker), next_warm_up(*served));
    for (const Waiting &each : waiting) next = std::min(next, next_try(*served, each.request));
    if (changes && changes->done) next = std::min(next, latest_end(*served, *changes));
    return next;
}
