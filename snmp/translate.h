// Values and OIDs as SNMP has them, made from the texts of the request socket and back. Both front ends, the
// AgentX sub-agent and pass-persist, use it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "registry/registry.h"

using Oid = std::vector<uint32_t>;  // compares as SNMP orders OIDs

// Reads a full OID, with or without its leading dot; empty when the text is none.
Oid parse_oid(std::string_view text);
std::string oid_text(const Oid &oid);

// True when the reply holds a value, and that of the instance asked for.
bool answers(const snmp_reply &reply, const Oid &oid);

// Below or at `branch`.
bool is_below(const Oid &oid, const Oid &branch);

enum class Syntax { INTEGER32, OCTET_STRING, TIMETICKS, IPADDRESS, GAUGE32, COUNTER32, COUNTER64, OTHER };

struct Value {
    Syntax syntax = Syntax::OTHER;
    int64_t number = 0;  // not used by OCTET_STRING; an IpAddress as 32 bits, first byte highest
    std::string octets;
};

Syntax syntax_of(const Object &object);

// The value of a text that the daemon answered. None when the object's syntax cannot hold it: the daemon
// publishes "Unknown" for a usage that it could not measure, and unset addresses as empty texts.
std::optional<Value> to_value(const Object &object, std::string_view text);

// The text of a value, as a SET carries it.
std::string to_text(const Value &value);

// What a SET comes to. Only the daemon knows all about values; what needs no question to it is judged first.
enum class SetResult {
    DONE,
    NOT_WRITABLE,
    WRONG_TYPE,
    WRONG_LENGTH,
    WRONG_VALUE,
    NO_CREATION,         // an instance that can never be
    INCONSISTENT_NAME,   // an instance that is not there now
    INCONSISTENT_VALUE,  // refused for the state of the device: another moment might take it
    NO_ANSWER,
};

// What can be said about a SET without the daemon. `object` may be null.
SetResult check_set(const Object *object, const Oid &instance, const Value &value);

// What the daemon's answer to a SET means. `existed`: it answered a GET of the instance before.
SetResult set_result(const Object &object, int status, bool existed);
