#include "tests/unit/agent_fixture.h"

#include <cstring>
#include <memory>

#include "handler/toolkit.h"
#include "zevsic/dispatch.h"

std::ostream &operator<<(std::ostream &out, const Answer &answer) {
    return out << "{" << answer.status << ", \"" << answer.oid << "\", \"" << answer.value << "\"}";
}

static void forget_pending() {
    free_item_list(pending_items);
    pending_items = nullptr;
}

AgentTest::AgentTest() {
    debugLevel = 0;
    fake = {};
    fake.item("snmp", "sample_time", "100");
    build();
}

AgentTest::~AgentTest() {
    free_agent();
    close_zevcfg(sic_zevcfg);
    close_zevcfg(current_sic_zevcfg);
    sic_zevcfg = current_sic_zevcfg = nullptr;
    forget_pending();
    debugLevel = 0;
}

void AgentTest::build() {
    if (zevap) free_agent();
    init_norvalis();
}

static Answer execute(RequestKind kind, const std::string &oid, const std::string &set) {
    auto request = std::make_unique<snmp_request>();
    auto reply = std::make_unique<snmp_reply>();
    request->type = kind;
    put_text(request->oid, std::string(ROOT_OID) + "." + oid);
    put_text(request->set, set);
    snmp_exec(reply.get(), request.get());
    EXPECT_EQ(std::string(reply->oid + strlen(reply->oid), reply->oid + TEXT_SIZE).find_first_not_of('\0'),
              std::string::npos);
    EXPECT_EQ(
        std::string(reply->value + strlen(reply->value), reply->value + TEXT_SIZE).find_first_not_of('\0'),
        std::string::npos);
    const std::string answered = reply->oid;
    return {reply->reply_status, answered.empty() ? "" : answered.substr(ROOT_PREFIX_LENGTH), reply->value};
}

Answer AgentTest::get(const std::string &oid) {
    return execute(KIND_GET, oid, "");
}
Answer AgentTest::next(const std::string &oid) {
    return execute(KIND_GETNEXT, oid, "");
}
int AgentTest::set(const std::string &oid, const std::string &text) {
    return execute(KIND_SET, oid, text).status;
}

std::vector<std::string> AgentTest::queued() {
    return list_texts(pending_items);
}

// The object whose OID begins the instance's.
static const Object *object_of(std::string_view oid) {
    for (const Object &object : OBJECTS)
        if (!object.is_branch() && oid.starts_with(object.oid) &&
            oid[std::string_view(object.oid).size()] == '.')
            return &object;
    return nullptr;
}

std::vector<std::string> AgentTest::queued_by(const std::string &oid, const std::string &value) {
    forget_pending();
    const Object *object = object_of(oid);
    if (!object) return {"no object"};
    const std::string word = type_to_str(object->type);
    const int status = set(oid, object->type == STRING ? word + " \"" + value + "\"" : word + " " + value);
    if (status == STATUS_ACCEPTED) return queued();
    EXPECT_EQ(queued(), std::vector<std::string>()) << oid << ": a refused SET queues nothing";
    return {"refused " + std::to_string(status)};
}
