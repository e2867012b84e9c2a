#include "registry/wire.h"

#include <cstdio>
#include <cstring>

void put_text(char (&field)[TEXT_SIZE], std::string_view text) {
    if (text.size() >= TEXT_SIZE) text = text.substr(0, TEXT_SIZE - 1);
    const size_t old_length = strlen(field);
    memcpy(field, text.data(), text.size());
    if (old_length > text.size()) memset(field + text.size(), 0, old_length - text.size());
    field[text.size()] = '\0';
}

void clear_reply(snmp_reply *reply) {
    put_text(reply->oid, "");
    put_text(reply->value, "");
    reply->reply_status = STATUS_NOTHING;
}

static char type_str[64];

const char *type_to_str(int code) {
    static constexpr struct {
        uint8_t code;
        const char *name;
    } names[] = {
        {0, "SNMP_NONE"},  {1, "integer"}, {2, "string"},   {3, "timeticks"}, {4, "ipaddress"},
        {5, "gauge"},      {10, "get"},    {11, "getnext"}, {12, "set"},      {13, "update"},
        {14, "SNMP_DUMP"}, {15, "DONE"},   {20, "NODE"},    {21, "LEAF"},
    };
    const auto byte = static_cast<uint8_t>(code);
    for (const auto &entry : names) {
        if (entry.code == byte) {
            snprintf(type_str, sizeof type_str, "%s", entry.name);
            return type_str;
        }
    }
    snprintf(type_str, sizeof type_str, "UNKNOW type: %d", byte);
    return type_str;
}
