// The client: names and values between people and the wire, the exchange of records with servers of every
// manner, and the subcommands against a small server in this process.
#include <atomic>

#include "client/protocol.h"
#include "tests/client_fixture.h"
#include "zevctl/commands.h"
#include "zevctl/output.h"

namespace {

using std::string;

TEST(ClientNames, TextsOfObjects) {
    for (const Object &object : OBJECTS) {
        if (object.is_branch()) continue;
        string lower = object.name;
        std::transform(lower.begin(), lower.end(), lower.begin(), ::tolower);
        for (const string &text : {string(object.name), lower, string(object.oid)})
            EXPECT_EQ(parse_target(text).object, &object) << text;
        EXPECT_EQ(format_name(locate(ROOT + "." + object.oid + ".1.2")), object.name + string(".1.2"));
        EXPECT_EQ(has(parse_instance(object.name).error, "needs an instance"), table_of(object) != nullptr);
    }
    const struct {
        const char *text, *oid, *instance, *error;  // a null OID: no object, with the error in the message
    } cases[] = {
        {"APSysName.0", "1.1", "0", ""},
        {"1.10.0", "1.10", "0", ""},  // not an instance of 1.1
        {"1.3.6.1.4.1.48019.6.1.62.0", "1.62", "0", ""},
        {".1.3.6.1.4.1.48019.6.1.62.0", "1.62", "0", ""},
        {".1.3.6.1.2.1.1.1.0", nullptr, "", "outside"},
        {"3.1", nullptr, "", ""},
        {"1.62000.0", nullptr, "", ""},  // not 1.62
        {"apsysn", nullptr, "", "similar: APSysName, APSysNTPServer1"},
        {"nonsense", nullptr, "", "unknown object nonsense"},
        {"APSysName.", nullptr, "", "not an instance"},
        {"1..1", nullptr, "", "unknown"},
        {"1.1.", nullptr, "", "unknown"},
        {"", nullptr, "", "not an object"},
    };
    for (const auto &c : cases) {
        const Target target = parse_target(c.text);
        EXPECT_TRUE(has(target.error, c.error)) << c.text;
        EXPECT_EQ(target.error.empty(), *c.error == '\0') << c.text;
        EXPECT_STREQ(target.object ? target.object->oid : nullptr, c.oid) << c.text;
        EXPECT_EQ(target.instance, c.instance) << c.text;
    }
    EXPECT_EQ(parse_target("3.1").oid, ROOT + ".3.1");
    EXPECT_EQ(parse_instance("apSysName").oid, ROOT + ".1.1.0");
    EXPECT_EQ(format_name(locate(ROOT + "5.1")), ROOT + "5.1");
}

TEST(ClientNames, ValuesBothWays) {
    const string longest(TEXT_SIZE - 1 - strlen("string \"\""), 'x');
    const struct {
        const char *object;
        string value, expected;
    } cases[] = {
        {"APRFBeaconInterval", "100", "integer 100"},
        {"APSysApplyConfig", "Applying", "integer 1"},
        {"APSysApplyConfig", "other", "integer other"},  // the daemon refuses it
        {"APSysName", "", "string \"\""},
        {"APSysName", " a \"b\"", "string \" a \"b\"\""},
        {"APSysName", longest, "string \"" + longest + "\""},
        {"APSysName", longest + "x", ""},
        {"APSysName", "a\nb", ""},
        {"APSysName", string("a\0b", 3), ""},
        {"APSysIPAddress", "10.0.0.1", "ipaddress 10.0.0.1"},
    };
    for (const auto &c : cases) {
        const Object &object = *find_object(c.object);
        string error;
        EXPECT_EQ(set_text(object, wire_value(object, c.value), &error), c.expected);
        EXPECT_EQ(error.empty(), !c.expected.empty()) << c.value << ": " << error;
    }
    const Object number{.type = INTEGER, .range = exactly(-1) | between(2, 7)};
    EXPECT_EQ(accepted_values(number), "-1 or 2..7");
    const std::pair<const char *, const char *> accepted[] = {
        {"APSysL2STPEnabled", "1 (disabled), 2 (enabled)"},
        {"APSysName", "1..32 characters: letters, digits, blanks and #()*,-.:?@_|"},
        {"APSysIPAddress", "an IPv4 address"},
        {"VAPRadiusAuthSecondPort", "1..65535, or empty"},
        {"L2FirewallRuleSourceMACAddress", "0 or 17 characters: a MAC address with : or - throughout"},
    };
    for (const auto &[name, values] : accepted) EXPECT_EQ(accepted_values(*find_object(name)), values);

    const Target apply = parse_target("APSysApplyConfig.0"), name = parse_target("APSysName.0");
    EXPECT_EQ(value_line(apply, INTEGER, "-1"), "APSysApplyConfig.0 = integer: -1 (rebootNeeded)");
    EXPECT_EQ(value_line(apply, INTEGER, "7"), "APSysApplyConfig.0 = integer: 7");
    EXPECT_EQ(value_line(name, STRING, "\x1b[2J\n\t\\\x9b"), "APSysName.0 = string: \\x1b[2J\\n\\t\\\\\\x9b");
    EXPECT_EQ(value_json(name, STRING, "a\"\xff\n"), R"({"name":"APSysName","instance":"0","oid":")" + ROOT +
                                                         R"(.1.1.0","type":"string","value":"a\")" +
                                                         "\xef\xbf\xbd" + R"(\n"})");
    EXPECT_TRUE(has(value_json(apply, INTEGER, "1"), R"("value":1,"word":"applying"})"));
}

TEST(ClientExchange, PeersOfEveryManner) {
    const DeviceRoot device;
    const string oid = ROOT + ".1.1.0", path = default_socket();
    snmp_request seen{};
    std::atomic<int> bytes{RECORD_SIZE};
    const Server server(path, [&](const snmp_request &request, snmp_reply *reply) {
        seen = request;
        memset(reply, 'x', sizeof *reply);  // texts without an end
        return bytes.load();
    });
    const Answer answer = exchange(path, KIND_SET, oid, "integer 6", 5000);
    EXPECT_EQ(answer.error, "");
    EXPECT_EQ(strlen(answer.reply.value), TEXT_SIZE - 1);
    EXPECT_EQ(seen.type, KIND_SET);
    EXPECT_EQ(seen.oid, oid);
    EXPECT_STREQ(seen.set, "integer 6");

    const auto error = [&](const string &socket) { return exchange(socket, KIND_GET, oid, "", 50).error; };
    for (const int count : {8000, 0}) {
        bytes = count;
        EXPECT_EQ(exchange(path, KIND_GET, oid, "", 5000).error, "connection closed early");
    }
    bytes = -1;
    EXPECT_EQ(error(path), "no answer within 0.05 s");
    EXPECT_NE(exchange(path, KIND_SET, oid, string(TEXT_SIZE, 'x'), 50).error, "");
    EXPECT_EQ(error(path + "2"), "cannot connect to " + path + "2: No such file or directory");
    EXPECT_NE(error(string(200, 'x')), "");
    chmod(path.c_str(), 0);
    as_nobody([&] { EXPECT_EQ(error(path), "cannot connect to " + path + ": Permission denied"); });

    // A backlog that is full must not hold the caller up for longer than its limit.
    const string full = device.path("/tmp/full");
    const sockaddr_un address = address_of(full);
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 0), 0);
    error(full);
    error(full);
    EXPECT_EQ(error(full), "cannot connect to " + full + ": no answer within 0.05 s");
    close(listener);
}

// Whoever may write below /tmp may put a socket there.
TEST(ClientExchange, AServerOfAnotherUserIsNotAsked) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can be two users";
    const DeviceRoot device;
    const Server server(
        default_socket(), [](const auto &, auto *) { return static_cast<int>(RECORD_SIZE); }, 65534);
    EXPECT_TRUE(has(device.said("zevctl get APSysName"), "user 65534"));
}

TEST_F(Commands, TakeOnlyTheAnswerToWhatTheyAsked) {
    const std::pair<uint8_t, const char *> others[] = {
        {STRING, "1.2.0"}, {STRING, "1.1.0.0"}, {24, "1.1.0"}, {STATUS_WRONG_VALUE, "1.1.0"}};
    for (const auto &[status, oid] : others) {
        tree.get_status = status;
        tree.answered_as = oid;
        EXPECT_EQ(zevctl("get APSysName"), "zevctl: APSysName.0: no such object or instance\nexit 1\n")
            << oid;
    }
}

TEST_F(Commands, StatusTellsWhatIsNotWell) {
    const string well = zevctl("status");
    EXPECT_TRUE(
        has(well, "\nstore                       answers\nsaved changes               all applied\n"));
    EXPECT_FALSE(has(well, "exit"));
    device.write("/tmp/sync_config", "1\n");
    device.write("/tmp/lock_snmp_web", "1\n");
    const string bad = zevctl("status");
    EXPECT_TRUE(has(bad, "not applied: a reboot is needed\n"));
    EXPECT_TRUE(has(bad, "NOT WELL: upgrade or restore since "));
    EXPECT_TRUE(has(bad, "exit 1\n"));
    // A stranger's do not count.
    for (const char *file : {"/tmp/sync_config", "/tmp/lock_snmp_web"}) {
        std::filesystem::remove(device.path(file));
        device.put_strangers_file(file, 0);
    }
    const string strangers = zevctl("status");
    EXPECT_TRUE(has(strangers, "\nsaved changes               all applied\n"));
    EXPECT_TRUE(has(strangers, "NOT WELL: made by a stranger: does not count\n"));
}

TEST_F(Commands, WalksEnd) {
    tree.values.push_back(tree.values[0]);  // leads back to the start for ever
    EXPECT_TRUE(has(zevctl("walk >/dev/null"), "not complete\nexit 1\n"));
    tree.values.pop_back();
    int requests = 0;  // the row that the walk stands on goes away
    tree.before = [&] {
        if (++requests == 5) tree.values.pop_back();
        if (requests == 6) tree.values.clear();
    };
    EXPECT_TRUE(has(zevctl("walk >/dev/null"), "not complete\nexit 1\n"));
}

TEST_F(Commands, ApplyWaitsForTheWholeTree) {
    const auto whole = tree.values;
    int requests = 0;
    tree.before = [&] {
        if (++requests == 2) tree.values = {{"1.62.0", "1"}};
        if (requests == 4) tree.values = {{"1.62.0", "0"}};  // idle again, but the rest is not back yet
        if (requests == 6) tree.values = whole;
    };
    EXPECT_EQ(zevctl("apply --wait"), "");
    EXPECT_EQ(requests, 7);
    EXPECT_EQ(tree.last_set, ROOT + ".1.62.0 integer 1");
    tree.before = [] {};
    tree.values = {{"1.62.0", "1"}};
    testing::internal::CaptureStderr();
    EXPECT_EQ(apply({.socket = path}, true, 150), EXIT_REFUSED);
    EXPECT_TRUE(has(testing::internal::GetCapturedStderr(), "not ended yet"));
}

}  // namespace
