// Requests to the agent of this process by relative OID.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>

#include "registry/registry.h"
#include "registry/wire.h"
#include "zevsic/dispatch.h"

namespace requests {

struct Answer {
    int status;
    std::string oid;  // relative to the subtree root
    std::string value;
    bool operator==(const Answer &) const = default;
};
inline std::ostream &operator<<(std::ostream &out, const Answer &answer) {
    return out << "{" << answer.status << ", \"" << answer.oid << "\", \"" << answer.value << "\"}";
}

inline Answer execute(RequestKind kind, const std::string &oid, const std::string &set = "") {
    auto request = std::make_unique<snmp_request>();
    auto reply = std::make_unique<snmp_reply>();
    request->type = kind;
    put_text(request->oid, std::string(ROOT_OID) + "." + oid);
    put_text(request->set, set);
    snmp_exec(reply.get(), request.get());
    for (const char *text : {reply->oid, reply->value})
        EXPECT_EQ(std::string_view(text, TEXT_SIZE).find_first_not_of('\0', strlen(text)), std::string::npos);
    const std::string answered = reply->oid;
    return {reply->reply_status, answered.empty() ? "" : answered.substr(ROOT_PREFIX_LENGTH), reply->value};
}

// The object whose OID begins the instance's.
inline const Object *object_of(const std::string &oid) {
    for (const Object &object : OBJECTS)
        if (!object.is_branch() && oid.starts_with(std::string(object.oid) + ".")) return &object;
    return nullptr;
}

// The text of a SET in the object's type.
inline std::string in_type(const Object &object, const std::string &value) {
    const std::string word = type_to_str(object.type);
    return object.type == STRING ? word + " \"" + value + "\"" : word + " " + value;
}

}  // namespace requests

using namespace requests;
