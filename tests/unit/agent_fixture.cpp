#include "tests/unit/agent_fixture.h"

#include "handler/toolkit.h"

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

Answer AgentTest::get(const std::string &oid) {
    return execute(KIND_GET, oid);
}
Answer AgentTest::next(const std::string &oid) {
    return execute(KIND_GETNEXT, oid);
}
int AgentTest::set(const std::string &oid, const std::string &text) {
    return execute(KIND_SET, oid, text).status;
}

Items AgentTest::queued() {
    return list_texts(pending_items);
}

Items AgentTest::queued_by(const std::string &oid, const std::string &value) {
    forget_pending();
    const Object *object = object_of(oid);
    if (!object) return {"no object"};
    const int status = set(oid, in_type(*object, value));
    if (status == STATUS_ACCEPTED) return queued();
    EXPECT_EQ(queued(), Items()) << oid << ": a refused SET queues nothing";
    return {"refused " + std::to_string(status)};
}

std::string AgentTest::queued_text(const std::string &oid, const std::string &value) {
    std::string text;
    for (const std::string &item : queued_by(oid, value)) text += (text.empty() ? "" : " + ") + item;
    return text;
}

Items AgentTest::walked(const std::string &object) {
    Items items;
    for (Answer at = next(object); at.oid.starts_with(object + "."); at = next(at.oid))
        items.push_back(at.oid + "=" + at.value);
    return items;
}

static std::pair<std::string, std::string> split(const std::string &text) {
    const size_t place = text.find('>');
    if (place == std::string::npos) return {text, text};
    return {text.substr(0, place), text.substr(place + 1)};
}

void AgentTest::expect_sets(const std::vector<SetCase> &cases) {
    for (const SetCase &c : cases) {
        for (const std::string &value : c.accepted) {
            const auto &[written, stored] = split(value);
            EXPECT_EQ(queued_text(c.oid, written), c.item + stored) << c.oid << " = " << written;
        }
        for (const std::string &value : c.refused)
            EXPECT_EQ(queued_by(c.oid, value), REFUSED) << c.oid << " = " << value;
    }
}

void AgentTest::expect_existing_only(const std::string &group, std::vector<SetCase> cases) {
    for (SetCase &c : cases) {
        build();
        EXPECT_EQ(get(c.oid).value, "-1") << c.oid;
        for (const std::string &value : c.accepted)
            EXPECT_EQ(queued_text(c.oid, split(value).first), "") << c.oid << " = " << value;
        fake.item(group, c.item, "");
        c.item = group + " " + c.item + "=";
    }
    expect_sets(cases);
}

void AgentTest::expect_shown(const std::vector<ShownCase> &cases) {
    const FakePlatform::Items working = fake.working;
    for (const ShownCase &c : cases) {
        for (const std::string &text : c.stored) {
            const auto &[stored, shown] = split(text);
            fake.working = working;
            fake.working[{c.group, c.key}] = stored;
            build();
            const Answer answer = get(c.oid);
            EXPECT_EQ(answer.value, shown) << c.oid << " with " << c.key << " " << stored;
            EXPECT_EQ(answer.oid, c.oid) << "an empty text is an answer too";
        }
    }
    fake.working = working;
}

void AgentTest::make_interface(int radio, int vap, const std::string &name) const {
    fake.ifnames[{radio - 1, vap - 1}] = name;
    root.write("/sys/class/net/" + name + "/ifindex", std::to_string(20 * radio + vap) + "\n");
}
