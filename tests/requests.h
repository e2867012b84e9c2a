// Requests to the agent of this process by relative OID.
#pragma once

#include <cstring>
#include <ostream>
#include <string>
#include <string_view>
#include <unordered_map>

#include "handler/toolkit.h"
#include "registry/registry.h"
#include "registry/wire.h"
#include "tree/agent.h"
#include "tree/dispatch.h"

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

constexpr int DIRTY = -1;  // the status of a reply that holds more than its texts

inline Answer execute(RequestKind kind, const std::string &oid, const std::string &set = "") {
    static snmp_request request;
    static snmp_reply reply;  // all zero between requests
    request.type = kind;
    put_text(request.oid, std::string(ROOT_OID) + "." + oid);
    memset(request.set, 0, TEXT_SIZE);  // a SET's may have been rewritten
    put_text(request.set, set);
    snmp_exec(&reply, &request);
    Answer answer = {reply.reply_status, reply.oid, reply.value};
    clear_reply(&reply);
    constexpr snmp_reply CLEAR{};
    if (memcmp(&reply, &CLEAR, sizeof reply) != 0) answer.status = DIRTY;
    reply = CLEAR;
    answer.oid.erase(0, ROOT_PREFIX_LENGTH);
    return answer;
}

inline void drop_queue() {
    free_item_list(pending_items);
    pending_items = nullptr;
}

inline void end_agent() {
    free_agent();
    close_zevcfg(sic_zevcfg);
    close_zevcfg(current_sic_zevcfg);
    sic_zevcfg = ram_sic_zevcfg = current_sic_zevcfg = nullptr;
    drop_queue();
}

// The object whose OID begins the instance's.
inline const Object *object_of(std::string_view oid) {
    static const auto objects = [] {
        std::unordered_map<std::string_view, const Object *> by_oid;
        for (const Object &object : OBJECTS)
            if (!object.is_branch()) by_oid[object.oid] = &object;
        return by_oid;
    }();
    for (size_t end; (end = oid.rfind('.')) != oid.npos;) {
        oid = oid.substr(0, end);
        if (const auto found = objects.find(oid); found != objects.end()) return found->second;
    }
    return nullptr;
}

// The text of a SET in the object's type.
inline std::string in_type(const Object &object, const std::string &value) {
    const std::string word = type_to_str(object.type);
    return object.type == STRING ? word + " \"" + value + "\"" : word + " " + value;
}

}  // namespace requests

using namespace requests;
