// The two records of the request socket and the codes in them. One request record and one reply record per
// connection, both of fixed size; every field is bytes, so byte order does not arise.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

constexpr const char *ROOT_OID = "1.3.6.1.4.1.48019.6";
constexpr size_t ROOT_PREFIX_LENGTH = 20;  // the root OID and the dot behind it
constexpr size_t TEXT_SIZE = 4096;         // a text field with its terminator

enum ValueType : uint8_t { TYPE_NONE = 0, INTEGER = 1, STRING = 2, TIMETICKS = 3, IPADDRESS = 4, GAUGE = 5 };

enum RequestKind : uint8_t { KIND_GET = 10, KIND_GETNEXT = 11, KIND_SET = 12, KIND_DUMP = 14 };

// What `reply_status` holds besides a value's type.
enum ReplyStatus : uint8_t {
    STATUS_NOTHING = 0,       // no such object or instance
    STATUS_ACCEPTED = 30,     // SET queued, or acted on
    STATUS_READ_ONLY = 31,    // SET of a read-only object
    STATUS_WRONG_TYPE = 32,   // the type word of the SET is not the object's type
    STATUS_WRONG_VALUE = 34,  // SET value refused: length, range, format, or the state of the device
};

// True when a reply with that status holds a value: the one place that decides it. A node of the tree holds
// one when its type is such a status.
constexpr bool is_value(int status) {
    return status >= INTEGER && status <= GAUGE;
}

// Texts are NUL-terminated inside their fields; bytes after the terminator are zero.
struct snmp_request {
    uint8_t type;         // RequestKind
    char oid[TEXT_SIZE];  // full OID
    char set[TEXT_SIZE];  // SET: type word, blank, value; empty for the other kinds
};

struct snmp_reply {
    char oid[TEXT_SIZE];  // full OID of the instance answered
    uint8_t reply_status;
    char value[TEXT_SIZE];
};

constexpr size_t RECORD_SIZE = 8193;
static_assert(sizeof(snmp_request) == RECORD_SIZE && offsetof(snmp_request, set) == 4097);
static_assert(sizeof(snmp_reply) == RECORD_SIZE && offsetof(snmp_reply, value) == 4097);

// Puts a text into a field of a record, cut to fit. The field must hold a text followed by zero bytes only
// up to that text's end; whatever of it the new text does not cover is cleared, so the rest stays zero.
void put_text(char (&field)[TEXT_SIZE], std::string_view text);

// Makes a reply all zero again by clearing only what its texts cover.
void clear_reply(snmp_reply *reply);

// Name of a code: value types, request kinds and node kinds share one table. Uses the low 8 bits. The text
// stands in one shared buffer and is valid until the next call.
const char *type_to_str(int code);
