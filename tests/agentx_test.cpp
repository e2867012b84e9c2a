// The SNMP front end between the real daemon and the real snmpd, asked with the ordinary SNMP tools.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "client/protocol.h"
#include "client/subtree.h"
#include "registry/notifications.h"
#include "tests/device_root.h"
#include "tests/process.h"

static const std::string SUBTREE = std::string(".") + ROOT_OID;

static std::string full(const std::string &relative) {
    return SUBTREE + "." + relative;
}

static const std::string NAME = full("1.1.0");
static const std::string DESCRIPTION = full("1.2.0");
static const std::string PASSWORD = full("1.64.3.0");  // takes any text
static const std::string OTHER_SUBTREE = ".1.3.6.1.2.1.1.1.0";

static int free_udp_port() {
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in address{};
    socklen_t length = sizeof address;
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(fd, reinterpret_cast<sockaddr *>(&address), length);
    getsockname(fd, reinterpret_cast<sockaddr *>(&address), &length);
    close(fd);
    return ntohs(address.sin_port);
}

struct Timed {
    std::string text;
    int ms;
};

class SnmpTest : public testing::Test {
  protected:
    void SetUp() override {
        if (access("/usr/sbin/snmpd", X_OK) != 0 || system("command -v snmpget >/dev/null") != 0)
            GTEST_SKIP() << "snmpd and the SNMP tools are not installed";
        if (access(ZEVSIC_BIN_DIR "/zevsic-agentx", X_OK) != 0) GTEST_SKIP() << "built without zevsic-agentx";
        setenv("MIBS", "", 1);
        port = free_udp_port();
        run_zevcfg({"init", "--demo"});
        run_zevcfg({"set", "--current", "snmp", "sample_time",
                    "100"});  // live values stay as they are for a test's length
    }
    ~SnmpTest() override {
        for (const pid_t process : {daemon, front_end, master, manager}) end(process);
        unsetenv("MIBS");
    }
    void run_zevcfg(std::vector<std::string> words) const {
        words.insert(words.begin(), ZEVSIC_BIN_DIR "/zevcfg");
        ASSERT_EQ(exit_status(start(words, root.path("/tmp/out"))), 0);
    }
    static void end(pid_t process) {
        if (process <= 0) return;
        kill(process, SIGCONT);
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
    }

    void start_daemon() { daemon = start({ZEVSIC_BIN_DIR "/zevsic", "-d", "1"}, root.path("/tmp/trace")); }
    void start_front_end(std::vector<std::string> options = {}) {
        options.insert(options.begin(),
                       {ZEVSIC_BIN_DIR "/zevsic-agentx", "-f", "--master", root.path("/tmp/master")});
        front_end = start(options, root.path("/tmp/front_end"));
    }
    void hides_nothing();
    bool knows_everything() const {
        return eventually(
            [&] { return root.read("/tmp/front_end").find("every object is known") != std::string::npos; });
    }
    void start_master(const std::string &configuration = "") {
        root.write("/etc/snmpd.conf", "agentAddress udp:127.0.0.1:" + std::to_string(port) +
                                          "\nrwcommunity private 127.0.0.1\nmaster agentx\nagentXSocket " +
                                          root.path("/tmp/master") + "\n" + configuration);
        master = start(
            {"/usr/sbin/snmpd", "-f", "-LE", "5", "-C", "-c", root.path("/etc/snmpd.conf"), "-I", "-smux"},
            root.path("/tmp/master.log"));
    }
    void start_all() {
        start_daemon();
        start_master();
        start_front_end();
        ASSERT_TRUE(answers_within(20000));
    }
    // What a tool prints, on whichever stream.
    std::string tool(const std::string &name, const std::string &arguments,
                     const std::string &access = "-v2c -c private") const {
        const std::string command = name + " -On -t 5 -r 0 " + access + " 127.0.0.1:" + std::to_string(port) +
                                    " " + arguments + " 2>&1";
        std::string output;
        FILE *pipe = popen(command.c_str(), "r");
        for (int c; (c = getc(pipe)) != EOF;) output += static_cast<char>(c);
        pclose(pipe);
        return output;
    }
    std::string value(const std::string &oid) const { return tool("snmpget", oid + " -Oqv"); }
    Timed timed_get(const std::string &oid) const {
        const auto begin = Clock::now();
        std::string text = tool("snmpget", oid);
        return {std::move(text), static_cast<int>((Clock::now() - begin) / std::chrono::milliseconds(1))};
    }
    bool answers_within(int ms) const {
        const auto limit = Clock::now() + std::chrono::milliseconds(ms);
        while (Clock::now() < limit)
            if (tool("snmpget", "-t 0.3 " + NAME).find(" = STRING:") != std::string::npos) return true;
        return false;
    }

    DeviceRoot root;
    pid_t daemon = 0, front_end = 0, master = 0, manager = 0;
    int port = 0;
};

// A value as the tools print it.
static std::string printed(const Value &value) {
    switch (value.syntax) {
        case Syntax::GAUGE32:
            return "Gauge32: " + to_text(value);
        case Syntax::COUNTER32:
            return "Counter32: " + to_text(value);
        case Syntax::INTEGER32:
            return "INTEGER: " + to_text(value);
        case Syntax::COUNTER64:
            return "Counter64: " + to_text(value);
        case Syntax::IPADDRESS:
            return "IpAddress: " + to_text(value);
        case Syntax::TIMETICKS:
            return "Timeticks: (" + to_text(value) + ")";
        default:
            return value.octets.empty() ? "\"\"" : "STRING: \"" + value.octets + "\"";
    }
}

struct WalkedRow {
    Oid oid;
    std::string text;
};

// Lines "OID = VALUE"; a value may go over several lines.
static std::vector<WalkedRow> parse_walk(const std::string &output) {
    std::vector<WalkedRow> rows;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        const size_t equals = line.find(" = ");
        if (line.starts_with(full("")) && equals != std::string::npos)
            rows.push_back({parse_oid(line.substr(0, equals)), line.substr(equals + 3)});
        else if (!rows.empty())
            rows.back().text += "\n" + line;
    }
    for (WalkedRow &row : rows)
        if (row.text.starts_with("Timeticks")) row.text.resize(row.text.find(')') + 1);
    return rows;
}

// What the socket gives, in the daemon's order, as the tools print it; without what has no syntax.
static std::vector<WalkedRow> walk_socket(size_t *unfit) {
    std::vector<WalkedRow> rows;
    for (std::string last = ROOT_OID;;) {
        const Answer answer = exchange(default_socket(), KIND_GETNEXT, last, "", 5000);
        if (!answer.error.empty() || answer.reply.reply_status == STATUS_NOTHING) return rows;
        last = answer.reply.oid;
        const Oid oid = parse_oid(last);
        for (const SubtreeObject &object : subtree_objects()) {
            if (!is_below(oid, object.oid)) continue;
            const std::optional<Value> value = to_value(*object.object, answer.reply.value);
            if (value)
                rows.push_back({oid, printed(*value)});
            else
                ++*unfit;
        }
    }
}

static bool in_order(const WalkedRow &a, const WalkedRow &b) {
    return a.oid < b.oid;
}

// The walk has every value of the socket and nothing else, in strictly increasing order.
static void expect_whole(const std::vector<WalkedRow> &walk, std::vector<WalkedRow> rows) {
    EXPECT_EQ(std::adjacent_find(walk.begin(), walk.end(),
                                 [](const WalkedRow &a, const WalkedRow &b) { return !(a.oid < b.oid); }),
              walk.end());
    std::sort(rows.begin(), rows.end(), in_order);
    ASSERT_EQ(walk.size(), rows.size());
    for (size_t i = 0; i < rows.size(); i++) {
        EXPECT_EQ(oid_text(walk[i].oid), oid_text(rows[i].oid));
        EXPECT_EQ(walk[i].text, rows[i].text) << oid_text(rows[i].oid);
    }
}

TEST_F(SnmpTest, WalksEverythingInOrderAndAsksForNoRowTwice) {
    // The daemon lists them as 1, 5, 3.
    root.write("/etc/k480ext.conf", root.read("/etc/k480ext.conf") +
                                        "\nstation = ath0ap0 00:ff:00:00:00:05 40 4294967296 6\n"
                                        "station = ath0ap0 00:ff:00:00:00:01 41 7 8\n"
                                        "station = ath0ap0 00:ff:00:00:00:03 42 9 10\n");
    std::filesystem::remove(root.path("/proc/stat"));  // a processor usage of "Unknown"
    start_all();
    ASSERT_TRUE(knows_everything());
    const std::string traced_before = root.read("/tmp/trace");
    const std::vector<WalkedRow> walk = parse_walk(tool("snmpbulkwalk", SUBTREE));
    std::vector<std::string> asked;
    std::istringstream trace(root.read("/tmp/trace").substr(traced_before.size()));
    for (std::string line; std::getline(trace, line);)
        if (line.starts_with("recv oid=") && line.find(".6.1.26.0") == std::string::npos &&
            line.find(".6.1.62.0") == std::string::npos)  // those the notifications ask for too
            asked.push_back(line);

    size_t unfit = 0;
    const std::vector<WalkedRow> rows = walk_socket(&unfit);
    EXPECT_FALSE(std::is_sorted(rows.begin(), rows.end(), in_order)) << "the daemon's own order is no test";
    EXPECT_GE(unfit, 1U);
    EXPECT_GT(walk.size(), 300U);
    expect_whole(walk, rows);

    // Each value once, and what comes behind the last row of a column.
    EXPECT_LT(asked.size(), rows.size() + unfit + subtree_objects().size()) << rows.size() << " values";
    std::sort(asked.begin(), asked.end());
    EXPECT_EQ(std::adjacent_find(asked.begin(), asked.end()), asked.end());

    EXPECT_NE(value(full("1.60.0")).find("No Such Instance"), std::string::npos);
    const std::string log = root.read("/tmp/front_end");
    const size_t complaint = log.find("<5>cpu_usage: \"Unknown\" is no value");
    EXPECT_NE(complaint, std::string::npos) << log;
    EXPECT_EQ(log.find("<5>cpu_usage", complaint + 1), std::string::npos);
    EXPECT_NE(value(full("1.99.0")).find("No Such Object"), std::string::npos);
    EXPECT_NE(value(full("5.1.1.1.0.255.0.0.0.9")).find("No Such Instance"), std::string::npos);
}

TEST_F(SnmpTest, SetsAllOrNothing) {
    start_all();
    EXPECT_NE(tool("snmpset", NAME + " s lobby " + DESCRIPTION + " s 'west side'").find("lobby"),
              std::string::npos);
    const struct {
        std::string set;
        const char *error;
    } cases[] = {
        {DESCRIPTION + " s other " + NAME + " s no/name", "wrongValue"},  // in range, and none all the same
        {DESCRIPTION + " s other " + full("1.47.0") + " i 1", "inconsistentValue"},  // IPv6 is off
        {DESCRIPTION + " s other " + full("1.4.0") + " i 69", "wrongValue"},
        {DESCRIPTION + " s other " + NAME + " s " + std::string(33, 'x'), "wrongLength"},
        {DESCRIPTION + " s other " + NAME + " i 1", "wrongType"},
        {DESCRIPTION + " s other " + full("1.18.0") + " a 10.0.0.1", "notWritable"},
        {DESCRIPTION + " s other " + full("1.99.0") + " i 1", "notWritable"},
        {DESCRIPTION + " s other " + full("1.1.1") + " s x", "noCreation"},
        {DESCRIPTION + " s other " + full("2.1.1.15.3") + " i 1", "noCreation"},
        {DESCRIPTION + " s other " + full("1.66.1.3.200") + " i 1", "inconsistentName"},
        {DESCRIPTION + " s other " + full("1.15.0") + " a 0.1.2.3", "wrongValue"},  // no range is known
        {DESCRIPTION + " s 'two\nlines'", "wrongValue"},
        {full("1.68.0") + " i 1 " + NAME + " s no/name", "undoFailed"},  // what is saved is saved
    };
    for (const auto &c : cases) {
        EXPECT_NE(tool("snmpset", c.set).find(c.error), std::string::npos)
            << c.set << ": " << tool("snmpset", c.set);
        EXPECT_EQ(value(NAME), "\"lobby\"\n") << c.set;
        EXPECT_EQ(value(DESCRIPTION), "\"west side\"\n") << c.set;
    }
    EXPECT_NE(tool("snmpset", PASSWORD + " s 'say \"x\" \\ y'").find("STRING: \"say \\\"x\\\" \\\\ y\""),
              std::string::npos);
    // A walk has what was set, however shortly before it was read.
    EXPECT_NE(tool("snmpgetnext", full("1.1")).find("lobby"), std::string::npos);
    tool("snmpset", NAME + " s hall");
    EXPECT_NE(tool("snmpgetnext", full("1.1")).find("hall"), std::string::npos);
}

TEST_F(SnmpTest, ALateDaemonHidesNothing) {
    run_zevcfg({"set", "--current", "snmp", "sample_time", "0"});
    start_all();
    hides_nothing();
}

TEST_F(SnmpTest, WithoutAMasterItIsTheSame) {
    run_zevcfg({"set", "--current", "snmp", "sample_time", "0"});
    start_daemon();
    root.write("/etc/snmpd.conf", "rwcommunity private 127.0.0.1\nsysName listener\n");
    start_front_end(
        {"--listen", "udp:127.0.0.1:" + std::to_string(port), "--config", root.path("/etc/snmpd.conf")});
    ASSERT_TRUE(answers_within(20000));
    EXPECT_EQ(value(".1.3.6.1.2.1.1.5.0"), "\"listener\"\n");
    hides_nothing();
}

// While the daemon is busy with a tool, and while it is stopped.
void SnmpTest::hides_nothing() {
    ASSERT_TRUE(knows_everything());
    const size_t values = parse_walk(tool("snmpbulkwalk", SUBTREE)).size();
    mkfifo(root.path("/tmp/gate").c_str(), 0600);  // the scan goes on when the test opens it
    root.write_tool("/sbin/iwlist",
                    "touch " + root.path("/tmp/scan") + "; read -r word <" + root.path("/tmp/gate"));
    // Asked past the front end, which does not ask again for rows that it has just read.
    const pid_t other_client =
        start({ZEVSIC_BIN_DIR "/zevctl", "walk", "NeighborhoodAPSSIDName"}, root.path("/tmp/out"));
    EXPECT_TRUE(eventually([this] { return root.has("/tmp/scan"); }));
    for (const bool stopped : {false, true}) {
        if (stopped) kill(daemon, SIGSTOP);
        Timed ours;
        std::thread waiting([&] { ours = timed_get(NAME + " " + DESCRIPTION + " " + full("1.59.0")); });
        const size_t walked = parse_walk(tool("snmpbulkwalk", SUBTREE)).size();
        const Timed stored = timed_get(NAME), other = timed_get(OTHER_SUBTREE);
        waiting.join();
        EXPECT_GE(walked + 4, values) << "neighbours come and go";
        EXPECT_EQ(value(NAME), "\"zevsic-demo\"\n");
        EXPECT_NE(ours.text.find(full("1.59.0") + " = STRING:"), std::string::npos) << ours.text;
        EXPECT_NE(other.text.find(" = STRING:"), std::string::npos);
        for (const int ms : {ours.ms, stored.ms}) EXPECT_LT(ms, 1000);
        EXPECT_LT(other.ms, 300);
        EXPECT_NE(tool("snmpset", NAME + " s late").find("genError"), std::string::npos);
        EXPECT_NE(tool("snmpget", NAME).find("zevsic-demo"), std::string::npos);
    }
    root.write_tool("/sbin/iwlist", "exit 0");
    close(open(root.path("/tmp/gate").c_str(), O_WRONLY | O_NONBLOCK));  // nobody may wait there
    end(other_client);
    kill(daemon, SIGCONT);
    EXPECT_TRUE(
        eventually([&] { return tool("snmpset", NAME + " s soon").find("soon") != std::string::npos; }));
    EXPECT_EQ(value(NAME), "\"soon\"\n") << "a SET that failed is not executed later";
    const std::string log = root.read("/tmp/front_end");
    EXPECT_EQ(log.find("connected"), log.rfind("connected")) << log;
}

// What was never known, or too long ago, costs its request, and no session.
TEST_F(SnmpTest, AnUnknownValueIsAnErrorAndTheSessionStays) {
    start_daemon();
    start_master();
    start_front_end({"--keep", "0"});
    ASSERT_TRUE(answers_within(20000));
    kill(daemon, SIGSTOP);
    const Timed ours = timed_get(NAME);
    EXPECT_NE(ours.text.find("genError"), std::string::npos) << ours.text;
    EXPECT_LT(ours.ms, 1000);
    kill(daemon, SIGCONT);
    EXPECT_TRUE(answers_within(3000));
    const std::string log = root.read("/tmp/front_end");
    EXPECT_EQ(log.find("connected"), log.rfind("connected")) << log;
}

TEST(Packaging, UnitAndMasterHaveTheSameTimeout) {
    const auto number_behind = [](const char *file, const std::string &word) {
        std::ifstream in(std::string(ZEVSIC_SOURCE_DIR "/packaging/") + file);
        std::string line;
        while (std::getline(in, line))
            if (const size_t at = line.find(word); line[0] != '#' && at != std::string::npos)
                return atoi(line.c_str() + at + word.size());
        return 0;
    };
    const int master = number_behind("snmpd.conf", "agentXTimeout ");
    EXPECT_GT(master, 0);
    EXPECT_EQ(number_behind("zevsic-agentx.service", "--timeout "), master);
}

TEST_F(SnmpTest, NotifiesAManagerWhileTrapsAreEnabled) {
    if (access("/usr/sbin/snmptrapd", X_OK) != 0) GTEST_SKIP() << "snmptrapd is not installed";
    const std::string sink = "127.0.0.1:" + std::to_string(free_udp_port());
    root.write("/etc/snmptrapd.conf", "disableAuthorization yes\n");
    manager = start({"/usr/sbin/snmptrapd", "-f", "-n", "-On", "-Lo", "-C", "-c",
                     root.path("/etc/snmptrapd.conf"), "udp:" + sink},
                    root.path("/tmp/traps"));
    run_zevcfg({"env", "set", "REBOOT_GROUPS", "syslog"});
    root.write_tool("/sbin/wget", "exit 0");  // the configuration comes, and reaches no server
    root.write_tool("/sbin/tftp", "exit 1");
    start_daemon();
    start_master("trap2sink " + sink + " public\n");
    start_front_end();
    ASSERT_TRUE(answers_within(20000) && knows_everything());
    // The values that have come with a notification, in the order of their arrival.
    const auto received = [this](NotificationKind kind) {
        std::vector<std::string> all;
        std::istringstream lines(root.read("/tmp/traps"));
        const std::string name = "OID: " + full("0." + std::to_string(kind));
        for (std::string line; std::getline(lines, line);) {
            const size_t at = line.find(name);
            if (at == std::string::npos) continue;
            std::string &values = all.emplace_back();
            for (size_t value = at; (value = line.find("INTEGER: ", value)) != std::string::npos;)
                values += line.substr(value += 9, 1);
        }
        return all;
    };
    const auto arrives = [&](NotificationKind kind, std::vector<std::string> values) {
        EXPECT_TRUE(eventually([&] { return received(kind) == values; }))
            << kind << "\n"
            << root.read("/tmp/traps") << root.read("/tmp/front_end");
    };

    tool("snmpset", NAME + " s lobby " + full("1.62.0") + " i 1");  // traps are not enabled yet
    ASSERT_TRUE(eventually([this] { return value(full("1.62.0")) == "0\n"; }));
    tool("snmpset", full("1.26.0") + " i 2 " + full("1.62.0") + " i 1");
    arrives(APPLY_ENDED, {"1"});
    ASSERT_TRUE(answers_within(20000));

    tool("snmpset",
         full("1.63.1.0") + " a 127.0.0.1 " + full("1.63.2.0") + " s file " + full("1.63.3.0") + " i 2");
    tool("snmpset", full("1.63.4.0") + " i 2");
    arrives(TRANSFER_ENDED, {"125"});

    tool("snmpset", full("1.29.0") + " i 2 " + full("1.62.0") + " i 1");
    arrives(REBOOT_NEEDED, {""});

    end(daemon);
    arrives(DAEMON_SILENT, {""});
    start_daemon();
    arrives(DAEMON_ANSWERS, {""});
    EXPECT_EQ(received(APPLY_ENDED).size(), 1U) << root.read("/tmp/traps");
}

TEST_F(SnmpTest, IsBackSoonAfterARestart) {
    start_all();
    ASSERT_TRUE(knows_everything());
    end(daemon);
    EXPECT_NE(timed_get(NAME).text.find("zevsic-demo"), std::string::npos);
    EXPECT_NE(tool("snmpset", NAME + " s late").find("genError"), std::string::npos);
    EXPECT_NE(tool("snmpget", NAME).find("zevsic-demo"), std::string::npos);
    EXPECT_LT(timed_get(OTHER_SUBTREE).ms, 300);
    start_daemon();
    EXPECT_TRUE(answers_within(3000));

    end(front_end);
    EXPECT_NE(tool("snmpget", NAME).find("No Such Object"), std::string::npos);
    EXPECT_LT(timed_get(OTHER_SUBTREE).ms, 300);
    start_front_end();
    EXPECT_TRUE(answers_within(3000));

    end(master);
    start_master();
    EXPECT_TRUE(answers_within(3000));

    kill(front_end, SIGTERM);
    EXPECT_EQ(exit_status(front_end), 0) << root.read("/tmp/front_end");
    front_end = 0;
}

TEST_F(SnmpTest, ServesVersion3WithPrivacy) {
    start_daemon();
    start_master("createUser keeper SHA \"authentic-phrase\" AES \"private-phrase\"\nrwuser keeper priv\n");
    start_front_end();
    ASSERT_TRUE(answers_within(20000));
    const std::string access = "-v3 -l authPriv -u keeper -a SHA -A authentic-phrase -x AES -X ";
    EXPECT_NE(tool("snmpset", NAME + " s lobby", access + "private-phrase").find("\"lobby\""),
              std::string::npos);
    tool("snmpset", NAME + " s wrong", access + "another-phrase -t 0.5");
    EXPECT_EQ(value(NAME), "\"lobby\"\n");
}

TEST_F(SnmpTest, PassPersistGivesTheSame) {
    start_daemon();
    start_master("pass_persist " + SUBTREE + " " ZEVSIC_BIN_DIR "/zevctl pass-persist\n");
    ASSERT_TRUE(answers_within(20000));
    const std::vector<WalkedRow> walk = parse_walk(tool("snmpbulkwalk", SUBTREE));
    size_t unfit = 0;
    expect_whole(walk, walk_socket(&unfit));
    const struct {
        std::string set;
        const char *answer;
    } cases[] = {
        {NAME + " s 'a b'", "STRING: \"a b\""},
        {PASSWORD + " s 'say \"x\" \\ y'", "STRING: \"say \\\"x\\\" \\\\ y\""},
        {DESCRIPTION + " s ''", "\"\""},
        {DESCRIPTION + " x 0a", "wrongValue"},
        {full("1.15.0") + " a 10.0.0.7", "IpAddress: 10.0.0.7"},
        {NAME + " i 1", "wrongType"},
        {NAME + " s no/name", "wrongValue"},
        {full("1.18.0") + " a 10.0.0.1", "notWritable"},
    };
    for (const auto &c : cases) {
        const std::string output = tool("snmpset", c.set);
        EXPECT_NE(output.find(c.answer), std::string::npos) << c.set << ": " << output;
    }
    EXPECT_EQ(value(NAME), "\"a b\"\n");
    kill(daemon, SIGSTOP);
    const Timed ours = timed_get(NAME);
    EXPECT_NE(ours.text.find("a b"), std::string::npos) << ours.text;
    EXPECT_LT(ours.ms, 1000);
}

TEST(Translate, TextsAndTheirSyntaxes) {
    constexpr Object NUMBER{.type = INTEGER};
    constexpr Object BYTES{.type = INTEGER, .smi = COUNTER64};
    constexpr Object WRAPPING_BYTES{.type = INTEGER, .smi = COUNTER32};
    constexpr Object LEVEL{.type = INTEGER, .smi = ::GAUGE32};
    constexpr Object TICKS{.type = ::TIMETICKS};
    constexpr Object ADDRESS{.type = ::IPADDRESS};
    const struct {
        const Object *object;
        const char *text;
        const char *printed;  // null: no value
    } cases[] = {
        {&NUMBER, "-2147483648", "INTEGER: -2147483648"},
        {&NUMBER, "2147483648", nullptr},
        {&NUMBER, "", nullptr},
        {&NUMBER, "7 ", nullptr},
        {&NUMBER, "Unknown", nullptr},
        {&BYTES, "2147483648", "Counter64: 2147483648"},
        {&BYTES, "-1", nullptr},
        {&WRAPPING_BYTES, "4294967295", "Counter32: 4294967295"},
        {&WRAPPING_BYTES, "4294967296", nullptr},
        {&LEVEL, "98", "Gauge32: 98"},
        {&LEVEL, "-1", nullptr},
        {&TICKS, "4294967297", "Timeticks: (1)"},
        {&ADDRESS, "255.0.0.1", "IpAddress: 255.0.0.1"},
        {&ADDRESS, "1.2.3", nullptr},
        {&ADDRESS, "", nullptr},
    };
    for (const auto &c : cases) {
        const std::optional<Value> value = to_value(*c.object, c.text);
        EXPECT_EQ(value ? printed(*value) : "none", c.printed ? c.printed : "none") << c.text;
    }
    for (const char *text : {"", ".", "1..2", "1.", "1.x", "1.4294967296", "-1"})
        EXPECT_EQ(parse_oid(text), Oid());
}
