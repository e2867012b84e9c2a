// The real daemon in a device root: exact bytes in and out, half records, peers that leave, signals, applies.
#include <sys/resource.h>
#include <sys/syscall.h>

#include <thread>

#include "registry/wire.h"
#include "tests/device_root.h"

using std::string;

static const string FULL = string(ROOT_OID) + ".";
static const string NAME = FULL + "1.1.0";

static string padded(string text) {
    text.resize(TEXT_SIZE);
    return text;
}
static string record(int kind, const string &oid, const string &set = "") {
    return static_cast<char>(kind) + padded(oid) + padded(set);
}
static string reply(const string &oid, int status, const string &value = "") {
    return padded(oid) + static_cast<char>(status) + padded(value);
}

class DaemonTest : public testing::Test {
  protected:
    DaemonTest() { device.said("zevcfg init --demo"); }

    static string read_reply(int client) {
        string bytes(RECORD_SIZE + 1, '\0');
        bytes.resize(
            static_cast<size_t>(std::max<ssize_t>(recv(client, bytes.data(), bytes.size(), MSG_WAITALL), 0)));
        return bytes;
    }
    // Sends on a connection, or on a new one.
    int send(const string &request, int client = -1) const {
        if (client < 0) client = device.connect_client();
        EXPECT_EQ(::send(client, request.data(), request.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(request.size()));
        return client;
    }
    string exchange(const string &request) const {
        const int client = send(request);
        string bytes = read_reply(client);
        close(client);
        return bytes;
    }
    string value_of(const string &oid) const {
        return exchange(record(KIND_GET, FULL + oid)).substr(4097).c_str();
    }
    int set(const string &oid, const string &value) const {
        return exchange(record(KIND_SET, FULL + oid, value))[4096];
    }
    bool answers() const { return exchange(record(KIND_GET, NAME)).size() == RECORD_SIZE; }
    // How often a line stands in the trace.
    int traced(const string &line) const {
        return atoi(device.said("grep -cF \"" + line + "\" $ZEVSIC_ROOT/tmp/trace").c_str());
    }

    DeviceRoot device;
};

TEST_F(DaemonTest, Starts) {
    const string usage = "Usage: \n zevsic [-d Debug ]\n", fails = "exit 1\n";
    const std::pair<const char *, string> options[] = {
        {"-x", usage},
        {"-d", usage},
        {"-d 0 -x", "zevsic: debug mode 0\n"},
        {"-d 1 -d 0 -x", "zevsic: debug mode 1\nzevsic: debug mode 0\n"},
        {"-d 2 -x", "zevsic: debug mode 2\n"},  // the usage text goes to the log
    };
    for (const auto &[option, output] : options)
        EXPECT_EQ(device.said(string("zevsic ") + option), output + fails);
    EXPECT_EQ(
        device.said("cd $ZEVSIC_ROOT/tmp; cat zevsic_log.txt; stat -c %a zevsic_log.txt; rm zevsic_log.txt"),
        usage + "600\n");

    // A log that is none: a link, a second name of a file, a pipe without and with a reader.
    for (const char *put : {"ln -s precious log", "ln precious log", "mkfifo log", "mkfifo log; exec 3<>log"})
        EXPECT_EQ(device.said(string("cd $ZEVSIC_ROOT/tmp; echo untouched >precious; ") + put +
                              "; mv log zevsic_log.txt; timeout 20 zevsic -d 1 2>said; echo $?; head -n 1 "
                              "said; cat precious; rm *"),
                  "zevsic: debug mode 1\n1\ndup stderr to file fail\nuntouched\n");
    // A socket that cannot be bound: after the agent was built, with status 0.
    EXPECT_TRUE(has(device.said("mkdir $ZEVSIC_ROOT/tmp/zevsic_sock; zevsic; echo status $?"),
                    "\nbinding socket: Is a directory\nstatus 0\n"));
    EXPECT_TRUE(has(device.said("rm -r $ZEVSIC_ROOT/var/run $ZEVSIC_ROOT/tmp/zevsic_sock; zevsic"),
                    "opening pid file.\n: No such file or directory\n" + fails));
    EXPECT_FALSE(device.has("/tmp/zevsic_sock"));
}

TEST_F(DaemonTest, RecordsToTheByte) {
    device.said("zevcfg set device name ap");
    const pid_t daemon = device.start_daemon("");
    EXPECT_EQ(device.read("/var/run/zevsic.pid"), std::to_string(daemon));
    EXPECT_EQ(device.said("stat -c %a $ZEVSIC_ROOT/tmp/zevsic_sock"), "660\n");
    const string nothing = reply("", 0);
    string unterminated(RECORD_SIZE, '1');
    unterminated[0] = KIND_SET;
    const std::pair<string, string> records[] = {
        {record(KIND_GET, NAME), reply(NAME, STRING, "ap")},
        {record(KIND_GETNEXT, ROOT_OID), reply(NAME, STRING, "ap")},
        {record(KIND_SET, NAME, "string \"new\""), reply("", STATUS_ACCEPTED)},
        // What arrives short is executed with the rest zero.
        {record(KIND_SET, NAME).substr(0, 100), reply("", STATUS_WRONG_TYPE)},
        {record(KIND_SET, NAME, "integer 1"), reply("", STATUS_WRONG_TYPE)},
        {record(0, NAME), nothing},
        {record(13, NAME), nothing},
        {record(200, NAME), nothing},
        {record(KIND_DUMP, NAME), nothing},
        // What has no terminator ends with its field.
        {string("\x0a") + NAME, reply(NAME, STRING, "new")},
        {string(RECORD_SIZE, '\x0a'), nothing},
        {string(RECORD_SIZE, '\xff'), nothing},
        {unterminated, nothing},
        {record(KIND_GET, NAME), reply(NAME, STRING, "new")},
    };
    for (const auto &[request, answer] : records) EXPECT_EQ(exchange(request), answer) << request.c_str();
    for (const string &line :
         {string("Can't accept: update"), string("Can't accept: UNKNOW type: 200"),
          string("zevsic snmp_exec:"), "recv oid=" + NAME + " type = get", " oid=" + NAME + " value=new"})
        EXPECT_GT(traced(line), 0) << line;
    // Bytes beyond a record are never read.
    EXPECT_EQ(exchange(record(KIND_GET, NAME) + "x").substr(0, 4096),
              reply(NAME, STRING, "new").substr(0, 4096));
}

TEST_F(DaemonTest, PeersThatWaitOrLeave) {
    const pid_t daemon = device.start_daemon("");
    // More silent peers than may wait: the oldest are dropped, the others and everybody else are served.
    std::vector<int> silent;
    const auto wait_silently = [&](size_t count) {
        for (const int client : silent) close(client);
        silent.clear();
        while (silent.size() < count) silent.push_back(device.connect_client());
    };
    wait_silently(70);
    EXPECT_TRUE(answers());
    for (int i = 0; i < 6; i++) EXPECT_EQ(read_reply(silent[i]), "") << "dropped";
    for (const int i : {6, 40, 69})
        EXPECT_EQ(read_reply(send(record(KIND_GET, NAME), silent[i])).size(), RECORD_SIZE) << "peer " << i;
    // One that does not wait for its reply.
    close(send(record(KIND_GET, NAME)));
    EXPECT_TRUE(soon("the failed reply is traced", [&] { return traced("write fail") > 0; }));

    const auto limit = [&](rlim_t most) {
        rlimit now{};
        ASSERT_EQ(prlimit(daemon, RLIMIT_NOFILE, nullptr, &now), 0);
        now.rlim_cur = std::min(most, now.rlim_max);
        ASSERT_EQ(prlimit(daemon, RLIMIT_NOFILE, &now, nullptr), 0);
    };
    const auto failures = [&] { return traced("accept clisock error, code = -1"); };
    // Fewer than the peers that may wait: each that finds no room takes the place of the oldest.
    wait_silently(0);
    limit(40);
    wait_silently(60);
    EXPECT_TRUE(answers());
    EXPECT_EQ(read_reply(silent[0]), "") << "dropped";
    const int before = failures();
    EXPECT_GT(before, 0);
    EXPECT_LE(before, 61);
    wait_silently(0);
    EXPECT_TRUE(answers());
    // None at all and nobody to drop: the connection waits, which is said once.
    limit(3);
    const int client = send(record(KIND_GET, NAME));
    EXPECT_TRUE(soon("the failure is said", [&] { return failures() > before; }));
    limit(1024);
    EXPECT_EQ(read_reply(client).size(), RECORD_SIZE);
    EXPECT_EQ(failures(), before + 1);
    close(client);
}

// Signals that come while a request is served are one rebuild, and it comes before the connection that waits.
TEST_F(DaemonTest, AReloadComesBeforeTheNextConnection) {
    device.write_tool("/sbin/iwlist", ": >$ZEVSIC_ROOT/started; : <$ZEVSIC_ROOT/go");
    device.said("cd $ZEVSIC_ROOT; mkfifo started go");
    const pid_t daemon = device.start_daemon("");
    const int silent = device.connect_client();
    const auto connected = std::chrono::steady_clock::now();
    EXPECT_EQ(value_of("1.1.0"), "zevsic-demo");
    device.said("zevcfg set device name other");
    const auto is_built = [&](int times) { return traced("Start sic_zevcfg") == times; };
    for (int round = 1; round <= 3; round++) {
        const int served = send(record(KIND_GET, FULL + "6.1.1.1.0"));
        device.said(": <$ZEVSIC_ROOT/started");  // from here on it waits for its tool
        const int waiting = send(record(KIND_GET, NAME));
        for (int i = 0; i < 200; i++) kill(daemon, SIGUSR2);
        device.said("cd $ZEVSIC_ROOT; : >go; : <started; : >go");  // the second for the other radio's
        EXPECT_EQ(read_reply(served).size(), RECORD_SIZE);
        EXPECT_STREQ(read_reply(waiting).substr(4097).c_str(), "other");
        EXPECT_TRUE(is_built(1 + round));
        close(served);
        close(waiting);
    }
    kill(daemon, SIGUSR2);
    EXPECT_TRUE(soon("a rebuild, though nobody asks", [&] { return is_built(5); }));

    // Another daemon takes the socket over.
    const pid_t second = device.start_daemon("");
    EXPECT_TRUE(answers());
    EXPECT_EQ(device.read("/var/run/zevsic.pid"), std::to_string(second));
    // A peer that sends nothing is dropped after 5 s.
    EXPECT_EQ(read_reply(silent), "");
    const auto waited = std::chrono::steady_clock::now() - connected;
    EXPECT_TRUE(waited > std::chrono::seconds(4) && waited < std::chrono::seconds(12));
    EXPECT_EQ(device.end(daemon, SIGTERM), 128 + SIGTERM);
}

TEST_F(DaemonTest, AReloadAtAnyMomentOfTheStart) {
    for (int round = 0; round < 3; round++) {
        const pid_t pid = device.start("zevsic -d 0");
        // From its first sign of life on.
        const auto told = [&] { return device.read("/var/run/zevsic.pid"); };
        EXPECT_TRUE(soon(
            std::to_string(pid), [&] { return told() == std::to_string(pid); }, told));
        for (int i = 0; i < 50; i++) {
            kill(pid, SIGUSR2);
            usleep(200 * round);
        }
        EXPECT_TRUE(soon("a client is taken", [&] { return close(device.connect_client()) == 0; }));
        EXPECT_EQ(value_of("1.1.0"), "zevsic-demo");
        EXPECT_EQ(device.end(pid, SIGTERM), 128 + SIGTERM);
    }
}

// A SET, the store's apply, the rebuild it asks for: through all parts.
TEST_F(DaemonTest, ApplyThreads) {
    device.write_tool("/etc/zevcfg/apply", "sleep 0.3");
    const pid_t daemon = device.start_daemon();
    for (const string name : {"round 1", "round 2"}) {
        EXPECT_EQ(set("1.1.0", "string \"" + name + "\""), STATUS_ACCEPTED);
        EXPECT_EQ(set("1.62.0", "integer 1"), STATUS_ACCEPTED);
        // Rebuilds close and reopen the handles that the worker is inside of.
        for (int i = 0; i < 10; i++) {
            kill(daemon, SIGUSR2);
            value_of("1.62.0");
            usleep(10000);
        }
        EXPECT_TRUE(soon("the apply ends", [&] { return !device.has("/tmp/lock_snmp_apply_file"); }));
        const auto shown = [&] { return value_of("1.1.0") + " " + value_of("1.62.0"); };
        EXPECT_TRUE(soon(
            name + " 0", [&] { return shown() == name + " 0"; }, shown));
        EXPECT_EQ(device.said("zevcfg get --current device name"), name + "\n");
    }
    EXPECT_EQ(device.end(daemon, SIGTERM), 128 + SIGTERM);
}

TEST_F(DaemonTest, AFailedApplyEndsTheDaemonThreads) {
    device.write_tool("/etc/zevcfg/apply", "exit 3");
    const pid_t daemon = device.start_daemon();
    set("1.1.0", "string \"new\"");
    EXPECT_EQ(set("1.62.0", "integer 1"), STATUS_ACCEPTED);
    EXPECT_EQ(device.end(daemon, 0), 1);
    EXPECT_TRUE(device.has("/tmp/lock_snmp_apply_file"));
    // Restarted, it reports an apply and refuses new ones until the file is removed.
    device.start_daemon();
    EXPECT_EQ(value_of("1.62.0"), "1");
    EXPECT_EQ(set("1.62.0", "integer 1"), STATUS_WRONG_VALUE);
}

// A silent daemon: what must be known of it goes to the system's log, and nothing that a manager wrote.
TEST_F(DaemonTest, TellsTheSystemsLog) {
    const pid_t first = device.start_daemon();
    device.said("mkdir $ZEVSIC_ROOT/dev");
    const sockaddr_un address = address_of(device.path("/dev/log"));
    const int log = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(log, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    const timeval patience = {20, 0};
    setsockopt(log, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    setenv("NOTIFY_SOCKET", address.sun_path, 1);
    const pid_t daemon = device.start("zevsic -d 0");
    unsetenv("NOTIFY_SOCKET");
    const auto comes = [&](const string &text) {
        char line[256] = "";
        EXPECT_GT(recv(log, line, sizeof line - 1, 0), 0);
        const string severity = text.ends_with("failed") ? "<27>" : "<30>";
        EXPECT_EQ(line,
                  text == "READY=1" ? text : severity + "zevsic[" + std::to_string(daemon) + "]: " + text);
    };
    comes("request socket taken over from process " + std::to_string(first));
    comes("started, version " ZEVSIC_VERSION);
    comes("READY=1");
    set("1.1.0", "string \"told nobody\"");
    set("1.62.0", "integer 1");
    comes("apply begun");
    comes("apply ended");
    comes("rebuilt from the store");
    device.write_tool("/sbin/wget", "exit 1");
    set("1.63.1.0", "ipaddress 192.0.2.1");
    set("1.63.2.0", "string \"a\"");
    set("1.63.3.0", "integer 2");
    set("1.63.4.0", "integer 2");
    comes("backup over TFTP begun");
    comes("backup over TFTP ended, a tool failed");
    set("1.55.0", "integer 1");
    comes("reboot with factory settings");
    close(log);
}

// Only members of the operators' group may SET, only members of it or of the readers' group reach the socket.
// may SET.
TEST_F(DaemonTest, AsksWhoSets) {
    if (geteuid() != 0) GTEST_SKIP() << "takes root, who can be others";
    const string NAMED = "zevsic-demo";
    constexpr gid_t OPERATORS = 64001, READERS = 64002, OTHERS = 64003;
    chmod(device.path("").c_str(), 0755);
    // What a peer of these groups is answered to a SET and a GET.
    const auto answers_to = [&](gid_t first, std::vector<gid_t> more) -> std::pair<int, string> {
        std::pair<int, string> answers = {-1, ""};
        std::thread([&] {  // the calls themselves change one thread; those of libc change all
            EXPECT_EQ(syscall(SYS_setgroups, more.size(), more.data()), 0);
            EXPECT_EQ(syscall(SYS_setresgid, first, first, first), 0);
            EXPECT_EQ(syscall(SYS_setresuid, 65534, 65534, 65534), 0);
            const int client = device.connect_client();
            if (client < 0) return;
            answers.first = read_reply(send(record(KIND_SET, NAME, "string \"new\""), client))[4096];
            close(client);
            answers.second = value_of("1.1.0");
        })
            .join();
        return answers;
    };
    const struct {
        string groups;  // of the device
        gid_t first;
        std::vector<gid_t> more;
        std::pair<int, string> answers;
    } peers[] = {
        {"zevsic:x:64001:\nzevsic-read:x:64002:\n", OTHERS, {OTHERS, OPERATORS}, {STATUS_ACCEPTED, NAMED}},
        {"", OPERATORS, {}, {STATUS_ACCEPTED, NAMED}},
        {"", READERS, {}, {STATUS_READ_ONLY, NAMED}},
        {"", OTHERS, {READERS}, {STATUS_READ_ONLY, NAMED}},
        {"", READERS, {OPERATORS}, {STATUS_ACCEPTED, NAMED}},
        {"", OTHERS, {OTHERS}, {-1, ""}},
        // Without the first group the daemon's own has its place; without the second nobody only reads.
        {"zevsic-read:x:64002:\n", READERS, {OTHERS}, {STATUS_READ_ONLY, NAMED}},
        {"", OTHERS, {0}, {STATUS_ACCEPTED, NAMED}},
        {"zevsic:x:64001:\n", READERS, {OTHERS}, {-1, ""}},
        {"", OPERATORS, {OTHERS}, {STATUS_ACCEPTED, NAMED}},
    };
    pid_t daemon = 0;
    for (const auto &peer : peers) {
        if (!peer.groups.empty()) device.write("/etc/group", "root:x:0:\n" + peer.groups);
        daemon = device.start_daemon();
        EXPECT_EQ(device.said("stat -c %a $ZEVSIC_ROOT/tmp/zevsic_sock"), "660\n");
        EXPECT_EQ(answers_to(peer.first, peer.more), peer.answers) << peer.first << " " << &peer - peers;
        device.end(daemon);
    }
}
