// The SNMP front ends on the real daemon, under the real snmpd and without one, asked with the ordinary SNMP
// tools. @ is the subtree's root.
#include <netinet/in.h>

#include <map>
#include <thread>

#include "client/protocol.h"
#include "registry/notifications.h"
#include "snmp/subtree.h"
#include "tests/device_root.h"

using std::string;

static const string SUBTREE = string(".") + ROOT_OID;
static const string OTHER_SUBTREE = ".1.3.6.1.2.1.1.1.0";

// A value as the tools print it.
static string printed(const Value &value) {
    constexpr const char *TYPES[] = {
        "INTEGER: ", "STRING: ", "", "IpAddress: ", "Gauge32: ", "Counter32: ", "Counter64: "};
    string text = to_text(value);
    if (value.syntax == Syntax::OCTET_STRING) text = "\"" + text + "\"";
    return text == "\"\"" ? text : TYPES[static_cast<int>(value.syntax)] + text;
}

class SnmpTest : public testing::Test {
  protected:
    void SetUp() override {
        if (access("/usr/sbin/snmpd", X_OK) != 0 || system("command -v snmpget snmptrapd >/dev/null") != 0)
            GTEST_SKIP() << "snmpd, snmptrapd and the SNMP tools are not installed";
        if (access(ZEVSIC_BIN_DIR "/zevsic-agentx", X_OK) != 0) GTEST_SKIP() << "built without zevsic-agentx";
        device.write("/var/lib/snmp/snmp.conf",
                     "defVersion 2c\ndefCommunity private\nretries 0\ntimeout 5\ndefaultPort " + port +
                         "\nprintNumericOids yes\nnumericTimeticks yes\n");
        device.said("zevcfg init --demo");
        // The daemon lists them as 1, 5, 3; without the file a processor usage is "Unknown".
        device.said(
            "cd $ZEVSIC_ROOT; for s in '5 40 4294967296' '1 41 7' '3 42 9'; do "
            "echo \"station = ath0ap0 00:ff:00:00:00:0$s 8\"; done >>etc/k480ext.conf; rm proc/stat");
        daemon = device.start_daemon("-d 1");
        sample_every("100");  // live values stay as they are for a test's length
    }
    void sample_every(const string &seconds) {
        EXPECT_EQ(device.said("zevcfg set --current snmp sample_time " + seconds), "");
        kill(daemon, SIGUSR2);
    }
    void start_front_end(const string &options) {
        device.write("/tmp/front_end", "");
        front_end = device.start("zevsic-agentx -f " + options, "/tmp/front_end");
        EXPECT_TRUE(soon(
            "the front end answers", [this] { return answers(); }, [this] { return log(); }));
    }
    void start_master() {
        master = device.start("/usr/sbin/snmpd -f -LE 5 -C -c $ZEVSIC_ROOT/etc/snmpd.conf -I -smux");
    }
    void configure(const string &more) {
        device.write("/etc/snmpd.conf", "rwcommunity private 127.0.0.1\nsysName front\n" + more);
    }
    // A manager that receives notifications; returns the line of the configuration that has them sent to it.
    string start_trap_sink() {
        const string sink = "127.0.0.1:2" + port.substr(1);
        device.write("/etc/snmptrapd.conf", "disableAuthorization yes\n");
        device.start("/usr/sbin/snmptrapd -f -n -On -Lo -C -c $ZEVSIC_ROOT/etc/snmptrapd.conf udp:" + sink,
                     "/tmp/traps");
        return "trap2sink " + sink + " public\n";
    }
    string log() const { return device.read("/tmp/front_end"); }

    // What snmpget, snmpset … print.
    string snmp(const string &tool, string arguments) const {
        for (size_t at; (at = arguments.find('@')) != string::npos;) arguments.replace(at, 1, SUBTREE + ".");
        return device.said("snmp" + tool + " 127.1 " + arguments);
    }
    string within(int ms, const string &tool, const string &arguments) const {
        const auto begin = Clock::now();
        const string text = snmp(tool, arguments);
        return Clock::now() - begin < std::chrono::milliseconds(ms) ? text : "late: " + text;
    }
    string value(const string &oids) const { return snmp("get", "-Oqv " + oids); }
    bool answers() const { return has(snmp("get", "-t 0.3 @1.1.0"), " = STRING:"); }
    bool answers_soon() const {
        return eventually([this] { return answers(); }, 3000);
    }
    bool knows_everything() const {
        return eventually([this] { return has(log(), "every object is known"); });
    }
    void walks_all(const string &branch);
    void takes_and_refuses(const string &before);
    void hides_nothing();

    DeviceRoot device;
    // Below those that the kernel gives away.
    const string port = std::to_string(10000 + getpid() % 10000);
    pid_t daemon = 0, front_end = 0, master = 0;
};

// Every value that the daemon has below a branch and that fits its syntax, in strictly increasing order.
void SnmpTest::walks_all(const string &branch) {
    const string root = SUBTREE + branch;
    device.write("/tmp/trace", "");
    const string walk = snmp("bulkwalk", root);
    device.said("cp $ZEVSIC_ROOT/tmp/trace $ZEVSIC_ROOT/tmp/asked");
    std::map<Oid, string> rows;
    for (string last = root.substr(1);;) {
        const Answer answer = exchange(default_socket(), KIND_GETNEXT, last, "", 5000);
        last = answer.reply.oid;
        const Oid oid = parse_oid(last);
        if (!answer.error.empty() || !is_below(oid, parse_oid(root))) break;
        bool belongs = false;
        const std::optional<Value> value =
            to_value(*subtree_objects()[object_at(oid, &belongs)].object, answer.reply.value);
        if (value) rows.emplace(oid, "." + last + " = " + printed(*value) + "\n");
    }
    string expected;
    for (const auto &[oid, line] : rows) expected += line;
    const auto first =
        std::mismatch(walk.begin(), walk.end(), expected.begin(), expected.end()).first - walk.begin();
    EXPECT_TRUE(walk == expected) << walk.substr(first, 200) << "\n and not \n"
                                  << expected.substr(first, 200);
    EXPECT_GT(rows.size(), 40U);
}

// What is refused leaves what stands before it in the same SET undone.
void SnmpTest::takes_and_refuses(const string &before) {
    const std::pair<const char *, const char *> taken[] = {
        {"@1.1.0 s lobby", "STRING: \"lobby\""},
        {"@1.2.0 s 'west side'", "STRING: \"west side\""},
        {"@1.64.3.0 s 'say \"x\" \\ y'", "STRING: \"say \\\"x\\\" \\\\ y\""},
        {"@1.15.0 a 10.0.0.7", "IpAddress: 10.0.0.7"},
    };
    for (const auto &[set, answer] : taken) EXPECT_TRUE(has(snmp("set", set), answer));
    const std::pair<const char *, const char *> refused[] = {
        {"@1.1.0 s no/name", "wrongValue"},     // in range, and none all the same
        {"@1.47.0 i 1", "inconsistentValue"},   // IPv6 is off
        {"@1.10.0 i 31", "inconsistentValue"},  // of no month
        {"@1.4.0 i 69", "wrongValue"},         {"@1.1.0 s 012345678901234567890123456789012", "wrongLength"},
        {"@1.1.0 i 1", "wrongType"},           {"@1.18.0 a 10.0.0.1", "notWritable"},
        {"@1.99.0 i 1", "notWritable"},        {"@1.15.0 a 0.1.2.3", "wrongValue"},  // no range is known
        {"@1.1.0 x 6c0a", "wrongValue"},
    };
    for (const auto &[set, error] : refused) {
        EXPECT_TRUE(has(snmp("set", before + set), error)) << set;
        EXPECT_EQ(value("@1.1.0 @1.2.0"), "\"lobby\"\n\"west side\"\n") << set;
    }
}

// While the daemon is busy with a tool, and while it is stopped.
void SnmpTest::hides_nothing() {
    const string name = value("@1.1.0");
    const auto walked = [this] { return std::stoi(snmp("bulkwalk", SUBTREE + " | grep -c ' = '")); };
    const int values = walked();
    sample_every("0");
    device.said("rm -f $ZEVSIC_ROOT/tmp/gate; mkfifo $ZEVSIC_ROOT/tmp/gate");  // the test lets the scan go on
    device.write_tool("/sbin/iwlist", ": >$ZEVSIC_ROOT/tmp/scan; read -r word <$ZEVSIC_ROOT/tmp/gate");
    // Asked past the front end, which does not ask again for rows that it has just read.
    const pid_t other_client = device.start("zevctl walk NeighborhoodAPSSIDName");
    EXPECT_TRUE(soon("the scan begins", [this] { return device.has("/tmp/scan"); }));
    for (const int signal : {0, SIGSTOP}) {
        kill(daemon, signal);
        string ours;
        std::thread waiting([&] { ours = within(1000, "get", "@1.1.0 @1.2.0 @1.59.0"); });
        EXPECT_GE(walked() + 4, values) << "neighbours come and go";
        EXPECT_TRUE(has(within(1000, "get", "@1.1.0"), SUBTREE + ".1.1.0 = STRING: " + name));
        EXPECT_TRUE(has(within(300, "get", OTHER_SUBTREE), OTHER_SUBTREE + " = STRING: "));
        waiting.join();
        EXPECT_TRUE(has(ours, "\n" + SUBTREE + ".1.59.0 = "));
        EXPECT_TRUE(has(snmp("set", "@1.1.0 s late"), "genError"));
        EXPECT_EQ(value("@1.1.0"), name);
    }
    sample_every("100");
    device.write_tool("/sbin/iwlist", "exit 0");
    close(open(device.path("/tmp/gate").c_str(), O_WRONLY | O_NONBLOCK));  // nobody may wait there
    device.end(other_client);
    kill(daemon, SIGCONT);
    EXPECT_TRUE(soon("a SET is taken", [&] { return has(snmp("set", "@1.1.0 s soon"), "soon"); }));
    EXPECT_EQ(value("@1.1.0"), "\"soon\"\n") << "a SET that failed is not executed later";
    EXPECT_EQ(log().find("connected"), log().rfind("connected")) << "the session was lost: " << log();
}

TEST_F(SnmpTest, UnderAMaster) {
    const string agentx = device.path("/tmp/master");
    configure("agentAddress udp:127.0.0.1:" + port + "\nmaster agentx\nagentXSocket " + agentx + "\n" +
              start_trap_sink());
    start_master();
    start_front_end("--master " + agentx);
    ASSERT_TRUE(knows_everything());

    // Each value is asked for once, and what comes behind the last row of a column.
    walks_all("");
    EXPECT_LT(std::stoi(device.said("grep -c '^recv oid=' $ZEVSIC_ROOT/tmp/asked")), 7400);
    kill(front_end, SIGHUP);  // it has no configuration
    EXPECT_TRUE(has(log(), "<5>cpu_usage: \"Unknown\" is no value"));
    EXPECT_EQ(log().find("<5>cpu_usage"), log().rfind("<5>cpu_usage"));

    EXPECT_TRUE(has(device.said("timeout 5 zevsic-agentx -f --master " + agentx), "another sub-agent"));
    device.said("zevcfg set device desc $(printf %0600d 7)");
    kill(daemon, SIGUSR2);
    EXPECT_TRUE(soon("the new value", [this] { return has(value("@1.2.0"), "007"); }));
    string names;  // as many as snmpget takes; the answer is above what AgentX carries
    for (int i = 0; i < 128; i++) names += " @1.2.0";
    EXPECT_TRUE(has(within(1000, "get", "-Cf" + names), "tooBig"));

    takes_and_refuses("@1.2.0 s other ");
    const std::pair<const char *, const char *> reads[] = {{"@1.60.0", "No Such Instance"},
                                                           {"@1.99.0", "No Such Object"},
                                                           {"@5.1.1.1.0.255.0.0.0.9", "No Such Instance"},
                                                           {"@5.1.1.1.0.255.0.0.0.5.1", "No Such Instance"}};
    for (const auto &[oid, answer] : reads) EXPECT_TRUE(has(snmp("get", oid), answer)) << oid;
    EXPECT_TRUE(has(snmp("getnext", "@1.1"), "lobby"));
    const std::pair<const char *, const char *> sets[] = {
        {"@1.1.1 s x", "noCreation"},
        {"@2.1.1.15.3 i 1", "noCreation"},
        {"@1.66.1.3.200 i 1", "inconsistentName"},
        {"@1.68.0 i 1 @1.1.0 s no/name", "undoFailed"}};  // what is saved is saved
    for (const auto &[set, error] : sets) EXPECT_TRUE(has(snmp("set", set), error)) << set;
    snmp("set", "@1.1.0 s hall");  // after it was read ahead
    EXPECT_TRUE(has(snmp("getnext", "@1.1"), "hall"));
    hides_nothing();

    // All notifications so far, each with its values.
    string expected;
    const auto arrives = [&](const string &lines) {
        string all;
        expected += lines;
        EXPECT_TRUE(eventually([&] {
            all = device.said("sed -n 's/.*OID: " + SUBTREE +
                              ".0.//p' $ZEVSIC_ROOT/tmp/traps | "
                              "sed 's/\\t[^\\t]*INTEGER: / /g'");
            return all == expected;
        })) << all
            << log();
    };
    const auto is_applied = [&] { return eventually([&] { return value("@1.62.0") == "0\n"; }); };
    snmp("set", "@1.1.0 s name @1.62.0 i 1");  // traps are not enabled yet
    ASSERT_TRUE(is_applied());
    snmp("set", "@1.26.0 i 2 @1.62.0 i 1");
    arrives("1 1\n");
    ASSERT_TRUE(is_applied());
    device.write_tool("/sbin/wget", "exit 0");  // the configuration comes, and reaches no server
    device.write_tool("/sbin/tftp", "exit 1");
    snmp("set", "@1.63.1.0 a 127.0.0.1 @1.63.2.0 s file @1.63.3.0 i 2");
    snmp("set", "@1.63.4.0 i 2");
    arrives("3 1 2 5\n");
    device.write_tool("/etc/zevcfg/apply", "exit 3");
    snmp("set", "@1.1.0 s other @1.62.0 i 1");  // which is the end of the daemon
    arrives("4\n1 2\n");

    EXPECT_TRUE(has(within(1000, "get", "@1.2.0"), " = STRING: "));
    EXPECT_TRUE(has(snmp("set", "@1.1.0 s late"), "genError"));
    EXPECT_TRUE(has(within(300, "get", OTHER_SUBTREE), " = STRING:"));
    device.said(
        "rm $ZEVSIC_ROOT/etc/zevcfg/apply $ZEVSIC_ROOT/tmp/lock*; zevcfg env set REBOOT_GROUPS syslog");
    daemon = device.start_daemon();
    arrives("5\n");
    EXPECT_TRUE(answers_soon());
    snmp("set", "@1.29.0 i 2 @1.62.0 i 1");
    arrives("2\n");

    device.end(front_end);
    EXPECT_TRUE(has(snmp("get", "@1.1.0"), "No Such Object"));
    EXPECT_TRUE(has(within(300, "get", OTHER_SUBTREE), " = STRING:"));
    start_front_end("--keep 0 --master " + agentx);
    device.end(master);
    start_master();
    EXPECT_TRUE(answers_soon());
    // What was never known, or too long ago, costs its request, and no session.
    device.write("/tmp/front_end", "");
    kill(daemon, SIGSTOP);
    EXPECT_TRUE(has(within(1000, "get", "@1.1.0"), "genError"));
    kill(daemon, SIGCONT);
    EXPECT_TRUE(answers_soon());
    EXPECT_FALSE(has(log(), "connected"));
    EXPECT_EQ(device.end(front_end, SIGTERM), 0) << log();
}

TEST_F(SnmpTest, WithoutAMaster) {
    const string options =
        "--listen udp:127.0.0.1:" + port + ",tcp:127.0.0.1:" + port + " --config $ZEVSIC_ROOT/etc/snmpd.conf";
    const string sink = start_trap_sink();
    configure("rwuser keeper priv\n" + sink);
    device.write("/var/lib/snmp/snmpd.conf", "createUser keeper SHA authentic-phrase AES private-phrase\n");
    const string access = " -v3 -l authPriv -u keeper -a SHA -A authentic-phrase -x AES -X ";
    string engines;
    for (const int signal : {SIGTERM, SIGKILL, 0}) {  // the keys of users outlive both
        start_front_end(options);
        const string set = snmp("set" + access + "private-phrase", "@1.1.0 s lobby");
        EXPECT_TRUE(has(set, "lobby")) << signal;
        engines += value(".1.3.6.1.6.3.10.2.1.1.0 .1.3.6.1.6.3.10.2.1.2.0");
        if (signal) device.end(front_end, signal);
    }
    const string engine = engines.substr(0, engines.find("\"\n") + 2);
    EXPECT_EQ(engines, engine + "1\n" + engine + "2\n" + engine + "3\n");
    snmp("set" + access + "another-phrase -t 0.5", "@1.1.0 s wrong");
    EXPECT_EQ(value("@1.1.0 .1.3.6.1.2.1.1.5.0"), "\"lobby\"\n\"front\"\n");
    EXPECT_TRUE(has(device.said("zevsic-agentx --listen ''"), "exit 2\n"));

    std::vector<int> peers;  // silent ones, of whom the oldest have to go
    const auto is_dropped = [&](size_t peer) {
        char byte;
        return recv(peers[peer], &byte, 1, MSG_DONTWAIT) == 0;
    };
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(std::stoi(port)));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    for (int i = 0; i < 65; i++) {
        peers.push_back(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        EXPECT_EQ(connect(peers.back(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    }
    EXPECT_TRUE(soon("the first peer is dropped", [&] { return is_dropped(0); }));
    EXPECT_FALSE(is_dropped(1));
    EXPECT_TRUE(has(device.said("snmpget tcp:127.1 .1.3.6.1.2.1.1.5.0"), "front"));
    for (const int peer : peers) close(peer);

    configure("rocommunity other\n" + sink);
    kill(front_end, SIGHUP);
    EXPECT_TRUE(
        soon("the new community", [&] { return has(snmp("get -t 0.3 -c other", "@1.1.0"), "lobby"); }));
    device.said("rm $ZEVSIC_ROOT/etc/snmpd.conf");
    kill(front_end, SIGHUP);
    EXPECT_TRUE(soon("the lost file is said", [&] { return has(log(), "No such file"); }));
    EXPECT_EQ(value("@1.1.0"), "\"lobby\"\n");
    ASSERT_TRUE(knows_everything());
    hides_nothing();
    device.end(daemon);
    EXPECT_EQ(value("@1.1.0 @1.2.0"), "\"soon\"\n\"Wireless Access Point\"\n");
    device.said("zevcfg set device desc elsewhere; sleep 0.8");  // longer than a request waits
    daemon = device.start_daemon();
    EXPECT_TRUE(answers_soon());
    EXPECT_EQ(value("@1.1.0 @1.2.0"), "\"zevsic-demo\"\n\"elsewhere\"\n") << "the daemon is there again";
    const auto applied = [&] {
        return eventually([&] { return has(device.read("/tmp/traps"), "OID: " + SUBTREE + ".0.1\t"); });
    };
    snmp("set", "@1.26.0 i 2 @1.62.0 i 1");
    EXPECT_TRUE(applied());
    device.write("/tmp/traps", "");
    kill(front_end, SIGSTOP);
    device.said("zevctl set APSysName short; zevctl apply --wait");  // it is over when the front end looks
    kill(front_end, SIGCONT);
    EXPECT_TRUE(applied());
}

TEST_F(SnmpTest, PassPersist) {
    configure("agentAddress udp:127.0.0.1:" + port + "\npass_persist " + SUBTREE +
              " " ZEVSIC_BIN_DIR "/zevctl pass-persist\n");
    start_master();
    ASSERT_TRUE(soon(
        "snmpd answers", [this] { return answers(); }, [this] { return log(); }));
    walks_all(".1");
    walks_all(".5");
    takes_and_refuses("");
    kill(daemon, SIGSTOP);
    EXPECT_TRUE(has(within(1000, "get", "@1.1.0"), "lobby"));
}

TEST(Packaging, UnitAndMasterHaveTheSameTimeout) {
    EXPECT_EQ(DeviceRoot().said("cd " ZEVSIC_SOURCE_DIR "/packaging; cat snmpd.conf zevsic-agentx.service | "
                                "sed -n '/^#/d; s/.*\\(agentXTimeout\\|--timeout\\) \\([0-9]*\\).*/\\2/p'"),
              "3\n3\n");
}

TEST(Translate, TextsAndTheirSyntaxes) {
    const struct {
        const char *object, *text, *printed;  // null: no value
    } cases[] = {
        {"APSysTimezone", "-2147483648", "INTEGER: -2147483648"},
        {"APSysTimezone", "2147483648", nullptr},
        {"APSysTimezone", "", nullptr},
        {"APSysTimezone", "7 ", nullptr},
        {"APRFInOctets", "2147483648", "Counter64: 2147483648"},
        {"APRFInOctets", "-1", nullptr},
        {"APStaTxBytes", "4294967295", "Counter32: 4294967295"},
        {"APStaTxBytes", "4294967296", nullptr},
        {"cpu_usage", "98", "Gauge32: 98"},
        {"cpu_usage", "-1", nullptr},
        {"APSysUpTime", "4294967297", "1"},
        {"APSysIPAddress", "255.0.0.1", "IpAddress: 255.0.0.1"},
        {"APSysIPAddress", "1.2.3", nullptr},
        {"APSysIPAddress", "", nullptr},
    };
    for (const auto &c : cases) {
        const std::optional<Value> value = to_value(*find_object(c.object), c.text);
        EXPECT_EQ(value ? printed(*value) : "none", c.printed ? c.printed : "none") << c.text;
    }
    for (const char *text : {"", ".", "1..2", "1.", "1.x", "1.4294967296", "-1"})
        EXPECT_EQ(parse_oid(text), Oid());
}
