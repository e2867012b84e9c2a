// The client: names and values between people and the wire, the exchange of records with servers of every
// manner, and the subcommands against a small server in this process.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>

#include "client/commands.h"
#include "client/names.h"
#include "client/output.h"
#include "client/protocol.h"
#include "tests/client_fixture.h"

namespace {

TEST(ClientNames, EveryObjectIsFoundByItsNameInAnyCaseAndByItsOid) {
    for (const Object &object : OBJECTS) {
        if (object.is_branch()) continue;
        std::string lower = object.name;
        std::transform(lower.begin(), lower.end(), lower.begin(), ::tolower);
        for (const std::string &text : {std::string(object.name), lower, std::string(object.oid)})
            EXPECT_EQ(parse_target(text).object, &object) << text;
        EXPECT_EQ(format_name(locate(ROOT + "." + object.oid + ".1.2")), object.name + std::string(".1.2"));
    }
}

TEST(ClientNames, TextsOfObjects) {
    const struct {
        const char *text, *oid, *instance, *error;  // a null OID: refused, with the error in the message
    } cases[] = {
        {"APSysName.0", "1.1", "0", ""},
        {"apSysName", "1.1", "", ""},
        {"1.1.0", "1.1", "0", ""},
        {"1.10.0", "1.10", "0", ""},  // not an instance of 1.1
        {"1.3.6.1.4.1.48019.6.1.62.0", "1.62", "0", ""},
        {".1.3.6.1.4.1.48019.6.1.62.0", "1.62", "0", ""},
        {".1.3.6.1.2.1.1.1.0", nullptr, "", "outside"},
        {"apsysn", nullptr, "", "similar: APSysName, APSysNTPServer1"},
        {"nonsense", nullptr, "", "unknown object nonsense"},
        {"APSysName.", nullptr, "", "not an instance"},
        {"APSysName.x", nullptr, "", "not an instance"},
        {"1..1", nullptr, "", ""},
        {"1.1.", nullptr, "", ""},
        {"", nullptr, "", "not an object"},
    };
    for (const auto &c : cases) {
        const Target target = parse_target(c.text);
        EXPECT_EQ(target.error.empty(), c.oid != nullptr) << c.text;
        EXPECT_NE(target.error.find(c.error), std::string::npos) << c.text << ": " << target.error;
        if (!c.oid || !target.object) {
            EXPECT_EQ(target.object, nullptr) << c.text;
            continue;
        }
        EXPECT_STREQ(target.object->oid, c.oid);
        EXPECT_EQ(target.instance, c.instance);
    }
    EXPECT_EQ(parse_target(ROOT).oid, ROOT);
    EXPECT_EQ(parse_target("3.1").oid, ROOT + ".3.1");
    EXPECT_EQ(parse_target("1.62000.0").object, nullptr);  // not 1.62
    EXPECT_EQ(parse_instance("apSysName").oid, ROOT + ".1.1.0");
    EXPECT_EQ(format_name(locate(ROOT + "5.1")), ROOT + "5.1");
    for (const Object &object : OBJECTS) {
        if (object.is_branch() || !table_of(object)) continue;
        EXPECT_NE(parse_instance(object.name).error.find("needs an instance"), std::string::npos);
    }
}

TEST(ClientNames, SetTextsAndWords) {
    const Object number{.oid = "9.1", .name = "Level", .type = INTEGER, .range = {{{-1, -1}, {2, 7}}}};
    const Object state{
        .oid = "9.2", .name = "State", .type = INTEGER, .range = {{{0, 1}}}, .words = APPLY_WORDS};
    const Object text{.oid = "9.3", .name = "Text", .type = STRING, .range = {{{0, 64}}}};
    const Object address{.oid = "9.4", .name = "Address", .type = IPADDRESS};
    const std::string longest(TEXT_SIZE - 1 - strlen("string \"\""), 'x');
    const struct {
        const Object &object;
        std::string value, expected;
    } cases[] = {
        {number, "6", "integer 6"},
        {state, "Applying", "integer 1"},
        {state, "1", "integer 1"},
        {state, "other", "integer other"},  // the daemon refuses it
        {text, "", "string \"\""},
        {text, " a \"b\"", "string \" a \"b\"\""},
        {text, longest, "string \"" + longest + "\""},
        {text, longest + "x", ""},
        {text, "a\nb", ""},
        {text, std::string("a\0b", 3), ""},
        {address, "10.0.0.1", "ipaddress 10.0.0.1"},
    };
    for (const auto &c : cases) {
        std::string error;
        EXPECT_EQ(set_text(c.object, wire_value(c.object, c.value), &error), c.expected);
        EXPECT_EQ(error.empty(), !c.expected.empty()) << c.value << ": " << error;
    }
    EXPECT_EQ(accepted_values(number), "-1 or 2..7");
    EXPECT_EQ(accepted_values(state), "0 (idle), 1 (applying)");
    EXPECT_EQ(accepted_values(text), "0..64 characters");
    EXPECT_EQ(accepted_values(address), "");
    EXPECT_EQ(accepted_values(*find_object("VAPRadiusAuthSecondPort")), "1..65535, or empty");
    EXPECT_EQ(accepted_values(*find_object("L2FirewallRuleSourceMACAddress")),
              "0 or 17 characters: a MAC address with : or - throughout");
}

TEST(ClientNames, ValuesForPeople) {
    const Target state = parse_target("APSysApplyConfig.0");
    const Target name = parse_target("APSysName.0");
    EXPECT_EQ(value_line(state, INTEGER, "-1"), "APSysApplyConfig.0 = integer: -1 (rebootNeeded)");
    EXPECT_EQ(value_line(state, INTEGER, "7"), "APSysApplyConfig.0 = integer: 7");
    EXPECT_EQ(value_line(name, STRING, "\x1b[2J\n\t\\\x9b"), "APSysName.0 = string: \\x1b[2J\\n\\t\\\\\\x9b");
    EXPECT_EQ(value_json(name, STRING, "a\"\xff\n"), R"({"name":"APSysName","instance":"0","oid":")" + ROOT +
                                                         R"(.1.1.0","type":"string","value":"a\")" +
                                                         "\xef\xbf\xbd" + R"(\n"})");
    EXPECT_NE(value_json(state, INTEGER, "1").find(R"("value":1,"word":"applying"})"), std::string::npos);
}

TEST(ClientExchange, PeersOfEveryManner) {
    const std::string oid = ROOT + ".1.1.0";
    snmp_request seen{};
    std::atomic<int> bytes{RECORD_SIZE};
    Server server([&](const snmp_request &request, snmp_reply *reply) {
        seen = request;
        memset(reply, 'x', sizeof *reply);  // texts without an end
        return bytes.load();
    });
    Answer answer = exchange(server.path, KIND_SET, oid, "integer 6", 5000);
    EXPECT_EQ(answer.error, "");
    EXPECT_EQ(strlen(answer.reply.value), TEXT_SIZE - 1);
    EXPECT_EQ(seen.type, KIND_SET);
    EXPECT_EQ(seen.oid, oid);
    EXPECT_STREQ(seen.set, "integer 6");

    bytes = 8000;
    EXPECT_EQ(exchange(server.path, KIND_GET, oid, "", 5000).error, "connection closed early");
    bytes = 0;
    EXPECT_EQ(exchange(server.path, KIND_GET, oid, "", 5000).error, "connection closed early");
    bytes = -1;
    EXPECT_EQ(exchange(server.path, KIND_GET, oid, "", 50).error, "no answer within 0.05 s");
    EXPECT_NE(exchange(server.path, KIND_SET, oid, std::string(TEXT_SIZE, 'x'), 50).error, "");
    EXPECT_EQ(exchange(server.path + "2", KIND_GET, oid, "", 50).error,
              "cannot connect to " + server.path + "2: No such file or directory");
    EXPECT_NE(exchange(std::string(200, 'x'), KIND_GET, oid, "", 50).error, "");
}

// A backlog that is full must not hold the caller up for longer than its limit.
TEST(ClientExchange, NobodyAccepts) {
    const DeviceRoot root;
    const std::string path = default_socket();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path.data(), path.size());
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 0), 0);
    std::string error;
    for (int i = 0; i < 3; i++) error = exchange(path, KIND_GET, ROOT, "", 50).error;
    EXPECT_EQ(error, "cannot connect to " + path + ": no answer within 0.05 s");
    close(listener);
}

// Whoever may write below /tmp may put a socket there.
TEST(ClientExchange, AServerOfAnotherUserIsNotAsked) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can be two users";
    Server server([](const snmp_request &, snmp_reply *) { return static_cast<int>(RECORD_SIZE); }, 65534);
    EXPECT_NE(exchange(server.path, KIND_GET, ROOT, "", 5000).error.find("user 65534"), std::string::npos);
}

TEST_F(Commands, WalkStaysInItsSubtreeAndEnds) {
    EXPECT_EQ(run([&] { return walk(client, ""); }), EXIT_DONE);
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 4);
    EXPECT_EQ(run([&] { return walk(client, "1"); }), EXIT_DONE);
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 3);
    EXPECT_EQ(run([&] { return walk(client, "APSysName.0"); }), EXIT_DONE);
    EXPECT_EQ(out, "APSysName.0 = string: ap\n");
    client.json = true;
    EXPECT_EQ(run([&] { return walk(client, "7"); }), EXIT_DONE);
    EXPECT_EQ(out, "[]\n");
    client.json = false;

    tree.values.push_back(tree.values[0]);  // leads back to the start for ever
    EXPECT_EQ(run([&] { return walk(client, ""); }), EXIT_REFUSED);
    EXPECT_NE(err.find("not complete"), std::string::npos);
    tree.values.pop_back();

    int requests = 0;  // the row that the walk stands on goes away
    tree.before = [&] {
        if (++requests == 5) tree.values.pop_back();
        if (requests == 6) tree.values.clear();
    };
    EXPECT_EQ(run([&] { return walk(client, ""); }), EXIT_REFUSED);
}

TEST_F(Commands, GetAndSetSayWhatTheDaemonAnswered) {
    EXPECT_EQ(run([&] { return get(client, {"APSysName", "1.9.0", "APSysDescription"}); }), EXIT_REFUSED);
    EXPECT_EQ(out, "APSysName.0 = string: ap\nAPSysDescription.0 = string: lab\n");
    EXPECT_EQ(err, "zevctl: APSysSetDateMonth.0: no such object or instance\n");
    EXPECT_EQ(run([&] { return set(client, "APSysL2STPEnabled", "enabled"); }), EXIT_DONE);
    EXPECT_EQ(tree.last_set, ROOT + ".1.23.0 integer 2");
    EXPECT_EQ(out, "APSysL2STPEnabled.0 = integer: 2 (enabled)\n");
    const std::pair<uint8_t, const char *> refusals[] = {
        {STATUS_NOTHING, "no such object or instance"},
        {STATUS_READ_ONLY, "not writable"},
        {STATUS_WRONG_TYPE, "wrong type"},
        {STATUS_WRONG_VALUE, "value refused (accepted: 1 (disabled), 2 (enabled))"}};
    for (const auto &[status, words] : refusals) {
        tree.set_status = status;
        EXPECT_EQ(run([&] { return set(client, "APSysL2STPEnabled", "3"); }), EXIT_REFUSED);
        EXPECT_EQ(err, std::string("zevctl: APSysL2STPEnabled.0: ") + words + "\n");
    }
    EXPECT_EQ(run([&] { return save(client); }), EXIT_REFUSED);
    EXPECT_EQ(err, "zevctl: not saved: the queued values were discarded: set them again\n");

    // Only a value of the instance asked for is an answer, whatever comes.
    const std::pair<uint8_t, const char *> others[] = {
        {STRING, "1.2.0"}, {STRING, "1.1.0.0"}, {24, "1.1.0"}, {STATUS_WRONG_VALUE, "1.1.0"}};
    for (const auto &[status, oid] : others) {
        tree.get_status = status;
        tree.answered_as = oid;
        EXPECT_EQ(run([&] { return get(client, {"APSysName"}); }), EXIT_REFUSED) << oid;
        EXPECT_EQ(out, "");
        EXPECT_EQ(err, "zevctl: APSysName.0: no such object or instance\n");
    }
    client.socket += "2";
    EXPECT_EQ(run([&] { return get(client, {"APSysName"}); }), EXIT_NO_DAEMON);
}

TEST(ClientOutput, AFullDiskIsAFailure) {
    EXPECT_EQ(system(ZEVSIC_BIN_DIR "/zevctl --help >/dev/null 2>&1"), 0);
    EXPECT_EQ(WEXITSTATUS(system(ZEVSIC_BIN_DIR "/zevctl --help >/dev/full 2>/dev/null")), EXIT_REFUSED);
}

TEST_F(Commands, ApplyWaitsForTheWholeTree) {
    const auto whole = tree.values;
    int requests = 0;
    tree.before = [&] {
        if (++requests == 2) tree.values = {{"1.62.0", "1"}};
        if (requests == 4) tree.values = {{"1.62.0", "0"}};  // idle again, but the rest is not back yet
        if (requests == 6) tree.values = whole;
    };
    EXPECT_EQ(run([&] { return apply(client, true); }), EXIT_DONE);
    EXPECT_EQ(requests, 7);
    EXPECT_EQ(tree.last_set, ROOT + ".1.62.0 integer 1");

    tree.before = [&] { tree.values = {{"1.62.0", "1"}}; };
    EXPECT_EQ(run([&] { return apply(client, true, 150); }), EXIT_REFUSED);
    EXPECT_NE(err.find("not ended yet"), std::string::npos);

    tree.set_status = STATUS_WRONG_VALUE;
    EXPECT_EQ(run([&] { return apply(client, false); }), EXIT_REFUSED);
    EXPECT_NE(err.find("already running"), std::string::npos);
    tree.before = [&] { tree.values = {{"1.62.0", "-1"}}; };
    EXPECT_EQ(run([&] { return apply(client, false); }), EXIT_REFUSED);
    EXPECT_NE(err.find("reboot"), std::string::npos);
}

}  // namespace
