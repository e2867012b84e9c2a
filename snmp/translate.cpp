#include "snmp/translate.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <limits>

#include "client/names.h"

Oid parse_oid(std::string_view text) {
    Oid oid;
    if (text.starts_with('.')) text.remove_prefix(1);
    const char *at = text.data();
    const char *end = at + text.size();
    while (at != end) {
        uint32_t arc = 0;
        const auto [rest, code] = std::from_chars(at, end, arc);
        if (code != std::errc() || (rest != end && (*rest != '.' || rest + 1 == end))) return {};
        oid.push_back(arc);
        at = rest == end ? end : rest + 1;
    }
    return oid;
}

std::string oid_text(const Oid &oid) {
    std::string text;
    for (const uint32_t arc : oid) text += (text.empty() ? "" : ".") + std::to_string(arc);
    return text;
}

bool answers(const snmp_reply &reply, const Oid &oid) {
    return is_value(reply.reply_status) && !oid.empty() && parse_oid(reply.oid) == oid;
}

bool is_below(const Oid &oid, const Oid &branch) {
    return oid.size() >= branch.size() && std::equal(branch.begin(), branch.end(), oid.begin());
}

Syntax syntax_of(const Object &object) {
    switch (object.type) {
        case INTEGER:
            return object.smi == GAUGE32     ? Syntax::GAUGE32
                   : object.smi == COUNTER32 ? Syntax::COUNTER32
                   : object.smi == COUNTER64 ? Syntax::COUNTER64
                                             : Syntax::INTEGER32;
        case STRING:
            return Syntax::OCTET_STRING;
        case TIMETICKS:
            return Syntax::TIMETICKS;
        case IPADDRESS:
            return Syntax::IPADDRESS;
        case GAUGE:
            return Syntax::GAUGE32;
        case TYPE_NONE:
            break;
    }
    return Syntax::OTHER;
}

static std::optional<Value> number_value(Syntax syntax, std::string_view text, int64_t low, int64_t high) {
    int64_t number = 0;
    const char *end = text.data() + text.size();
    const auto [rest, code] = std::from_chars(text.data(), end, number);
    if (code != std::errc() || rest != end || number < low || number > high) return std::nullopt;
    return Value{syntax, number, ""};
}

std::optional<Value> to_value(const Object &object, std::string_view text) {
    constexpr int64_t MAX32 = std::numeric_limits<uint32_t>::max();
    constexpr int64_t MAX64 = std::numeric_limits<int64_t>::max();
    const Syntax syntax = syntax_of(object);
    switch (syntax) {
        case Syntax::INTEGER32:
            return number_value(syntax, text, std::numeric_limits<int32_t>::min(),
                                std::numeric_limits<int32_t>::max());
        case Syntax::GAUGE32:
        case Syntax::COUNTER32:
            return number_value(syntax, text, 0, MAX32);
        case Syntax::COUNTER64:
            return number_value(syntax, text, 0, MAX64);
        case Syntax::TIMETICKS: {
            std::optional<Value> ticks = number_value(syntax, text, 0, MAX64);
            if (ticks) ticks->number &= MAX32;  // TimeTicks start again at 0 after 497 days
            return ticks;
        }
        case Syntax::IPADDRESS: {
            in_addr address;
            if (inet_pton(AF_INET, std::string(text).c_str(), &address) != 1) return std::nullopt;
            return Value{syntax, ntohl(address.s_addr), ""};
        }
        case Syntax::OCTET_STRING:
            return Value{syntax, 0, std::string(text)};
        case Syntax::OTHER:
            break;
    }
    return std::nullopt;
}

std::string to_text(const Value &value) {
    if (value.syntax == Syntax::OCTET_STRING) return value.octets;
    if (value.syntax != Syntax::IPADDRESS) return std::to_string(value.number);
    char text[INET_ADDRSTRLEN];
    const in_addr address = {htonl(static_cast<uint32_t>(value.number))};
    return inet_ntop(AF_INET, &address, text, sizeof text);
}

static bool can_be_instance(const Object &object, const Oid &instance) {
    const Table *table = table_of(object);
    if (!table) return instance == Oid{0};
    return std::equal(table->arcs.begin(), table->arcs.begin() + table->levels(), instance.begin(),
                      instance.end(),
                      [](const Arc &arc, int64_t number) { return number >= arc.low && number <= arc.high; });
}

// True for what may be refused for the state of the device. What the others refuse, they always do.
static bool is_conditional(const Object &object) {
    return object.acts || object.condition || object.depends[0].object || object.needs[0].key;
}

SetResult check_set(const Object *object, const Oid &instance, const Value &value) {
    if (!object || object->access != READ_WRITE) return SetResult::NOT_WRITABLE;
    if (value.syntax != syntax_of(*object)) return SetResult::WRONG_TYPE;
    const bool text = value.syntax == Syntax::OCTET_STRING;
    const int64_t measure = text ? static_cast<int64_t>(value.octets.size()) : value.number;
    if (value.syntax != Syntax::IPADDRESS && !object->range.have(measure))
        return text ? SetResult::WRONG_LENGTH : SetResult::WRONG_VALUE;
    std::string error;
    set_text(*object, to_text(value), &error);
    if (!error.empty()) return SetResult::WRONG_VALUE;  // more than a line, or than a record can carry
    return can_be_instance(*object, instance) ? SetResult::DONE : SetResult::NO_CREATION;
}

SetResult set_result(const Object &object, int status, bool existed) {
    switch (status) {
        case STATUS_ACCEPTED:
            return SetResult::DONE;
        case STATUS_READ_ONLY:
            return SetResult::NOT_WRITABLE;
        case STATUS_WRONG_TYPE:
            return SetResult::WRONG_TYPE;
        case STATUS_WRONG_VALUE:
            if (!existed) return SetResult::INCONSISTENT_NAME;
            return is_conditional(object) ? SetResult::INCONSISTENT_VALUE : SetResult::WRONG_VALUE;
        default:
            return SetResult::INCONSISTENT_NAME;
    }
}
