// The real daemon in a device root: exact bytes in and out, half records, peers that leave, signals, applies.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "registry/wire.h"
#include "tests/device_root.h"
#include "tests/process.h"

class DaemonTest : public testing::Test {
  protected:
    DaemonTest() { run({"/zevcfg", "init", "--demo"}); }
    ~DaemonTest() override { stop(); }

    int run(std::vector<std::string> words) const {
        words[0] = ZEVSIC_BIN_DIR + words[0];
        return exit_status(::start(words, root.path("/tmp/out")));
    }
    // Starts the daemon and waits until it answers.
    void start_daemon(std::vector<std::string> options = {}) {
        options.insert(options.begin(), ZEVSIC_BIN_DIR "/zevsic");
        unlink(root.path("/tmp/zevsic_sock").c_str());
        daemon = ::start(options, root.path("/tmp/trace"));
        ASSERT_TRUE(eventually([&] {
            const int client = connect_client();
            if (client >= 0) close(client);
            return client >= 0;
        }));
    }
    int stop() {
        if (daemon <= 0) return 0;
        kill(daemon, SIGTERM);
        const int status = exit_status(daemon);
        daemon = 0;
        return status;
    }
    int connect_client() const {
        const int client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        strcpy(address.sun_path, root.path("/tmp/zevsic_sock").c_str());
        if (connect(client, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0) return client;
        close(client);
        return -1;
    }
    static std::string record(int kind, const std::string &oid, const std::string &set = "") {
        std::string bytes(RECORD_SIZE, '\0');
        bytes[0] = static_cast<char>(kind);
        oid.copy(&bytes[1], TEXT_SIZE - 1);
        set.copy(&bytes[4097], TEXT_SIZE - 1);
        return bytes;
    }
    static std::string read_reply(int client) {
        std::string reply(RECORD_SIZE + 1, '\0');
        size_t length = 0;
        for (ssize_t n; (n = read(client, &reply[length], reply.size() - length)) > 0;) length += n;
        reply.resize(length);
        return reply;
    }
    std::string exchange(const std::string &request) const {
        const int client = connect_client();
        EXPECT_GE(client, 0);
        EXPECT_EQ(write(client, request.data(), request.size()), static_cast<ssize_t>(request.size()));
        const std::string reply = read_reply(client);
        close(client);
        return reply;
    }
    static std::string reply_bytes(const std::string &oid, int status, const std::string &value) {
        std::string bytes(RECORD_SIZE, '\0');
        oid.copy(&bytes[0], TEXT_SIZE);
        bytes[4096] = static_cast<char>(status);
        value.copy(&bytes[4097], TEXT_SIZE);
        return bytes;
    }
    std::string value_of(const std::string &oid) const {
        return exchange(record(KIND_GET, FULL + oid)).substr(4097).c_str();
    }
    std::string trace() const { return root.read("/tmp/trace"); }
    // How often a line stands in the trace.
    int traced(const std::string &line) const {
        const std::string text = trace();
        int count = 0;
        for (size_t at = 0; (at = text.find(line, at)) != std::string::npos; at += line.size()) count++;
        return count;
    }

    const std::string FULL = std::string(ROOT_OID) + ".";
    const std::string NAME = FULL + "1.1.0";
    DeviceRoot root;
    pid_t daemon = 0;
};

TEST_F(DaemonTest, Options) {
    struct {
        std::vector<std::string> words;
        int status;
        const char *output;
    } cases[] = {
        {{"-x"}, 1, "Usage: \n zevsic [-d Debug ]\n"},
        {{"-d"}, 1, "Usage: \n zevsic [-d Debug ]\n"},
        {{"-d", "0", "-x"}, 1, "zevsic: debug mode 0\n"},
        {{"-d", "1", "-d", "0", "-x"}, 1, "zevsic: debug mode 1\nzevsic: debug mode 0\n"},
        {{"-d", "abc", "-x"}, 1, "zevsic: debug mode 0\n"},
        {{"-d", "2", "-x"}, 1, "zevsic: debug mode 2\n"},  // the usage text goes to the log
    };
    for (const auto &c : cases) {
        unlink(root.path("/tmp/out").c_str());
        std::vector<std::string> words = {"/zevsic"};
        words.insert(words.end(), c.words.begin(), c.words.end());
        EXPECT_EQ(run(words), c.status);
        EXPECT_EQ(root.read("/tmp/out"), c.output);
    }
    EXPECT_EQ(root.read("/tmp/zevsic_log.txt"), "Usage: \n zevsic [-d Debug ]\n");
    struct stat log;
    stat(root.path("/tmp/zevsic_log.txt").c_str(), &log);
    EXPECT_EQ(log.st_mode & 0777, 0600U) << "it holds what managers write";
}

TEST_F(DaemonTest, FailuresOfTheStart) {
    // A log that is none: a link, a second name of a file, a pipe with and without a reader.
    root.write("/etc/precious", "untouched");
    const std::string precious = root.path("/etc/precious"), log = root.path("/tmp/zevsic_log.txt");
    int reader = -1;
    const std::function<int()> in_the_way[] = {[&] { return symlink(precious.c_str(), log.c_str()); },
                                               [&] { return link(precious.c_str(), log.c_str()); },
                                               [&] { return mkfifo(log.c_str(), 0666); },
                                               [&] {
                                                   mkfifo(log.c_str(), 0666);
                                                   reader = open(log.c_str(), O_RDONLY | O_NONBLOCK);
                                                   return reader < 0 ? -1 : 0;
                                               }};
    for (const auto &put : in_the_way) {
        ASSERT_EQ(put(), 0);
        unlink(root.path("/tmp/out").c_str());
        EXPECT_EQ(run({"/zevsic", "-d", "1"}), 1);
        EXPECT_NE(root.read("/tmp/out").find("dup stderr to file fail\n: "), std::string::npos);
        EXPECT_EQ(root.read("/etc/precious"), "untouched");
        unlink(log.c_str());
    }
    close(reader);

    // A socket that cannot be bound: after the agent was built, with status 0.
    root.write("/tmp/zevsic_sock/in the way", "");
    EXPECT_EQ(run({"/zevsic"}), 0);
    EXPECT_NE(root.read("/tmp/out").find("binding socket: "), std::string::npos);

    std::filesystem::remove_all(root.path("/var/run"));
    std::filesystem::remove_all(root.path("/tmp/zevsic_sock"));
    EXPECT_EQ(run({"/zevsic"}), 1);
    EXPECT_NE(root.read("/tmp/out").find("opening pid file.\n: "), std::string::npos);
    EXPECT_FALSE(root.has("/tmp/zevsic_sock"));
}

TEST_F(DaemonTest, RecordsToTheByte) {
    run({"/zevcfg", "set", "device", "name", "ap"});
    start_daemon();
    EXPECT_EQ(root.read("/var/run/zevsic.pid"), std::to_string(daemon));
    struct stat status;
    stat(root.path("/tmp/zevsic_sock").c_str(), &status);
    EXPECT_EQ(status.st_mode & 0777, 0660U);

    const std::string nothing = reply_bytes("", 0, "");
    EXPECT_EQ(exchange(record(KIND_GET, NAME)), reply_bytes(NAME, STRING, "ap"));
    EXPECT_EQ(exchange(record(KIND_GETNEXT, ROOT_OID)), reply_bytes(NAME, STRING, "ap"));
    EXPECT_EQ(exchange(record(KIND_SET, NAME, "string \"new\"")), reply_bytes("", STATUS_ACCEPTED, ""));
    EXPECT_EQ(exchange(record(KIND_GET, NAME)), reply_bytes(NAME, STRING, "new"));
    EXPECT_EQ(exchange(record(KIND_SET, NAME, "integer 1")), reply_bytes("", STATUS_WRONG_TYPE, ""));
    for (const int kind : {0, 13, 15, 200, static_cast<int>(KIND_DUMP)})
        EXPECT_EQ(exchange(record(kind, NAME)), nothing) << kind;
    EXPECT_NE(trace().find("Can't accept: update\n"), std::string::npos);
    EXPECT_NE(trace().find("Can't accept: UNKNOW type: 200\n"), std::string::npos);
    EXPECT_NE(trace().find("recv oid=" + NAME + " type = get\n"), std::string::npos);
    EXPECT_NE(trace().find(" oid=" + NAME + " value=new\n"), std::string::npos);

    // What arrives short is executed with the rest zero; what has no terminator ends with its field.
    EXPECT_EQ(exchange(record(KIND_SET, NAME).substr(0, 100)), reply_bytes("", STATUS_WRONG_TYPE, ""));
    EXPECT_EQ(exchange(std::string("\x0a") + NAME), reply_bytes(NAME, STRING, "new"));
    EXPECT_EQ(exchange(std::string(RECORD_SIZE, '\x0a')), nothing);
    EXPECT_EQ(exchange(std::string(RECORD_SIZE, '\xff')), nothing);
    std::string unterminated(RECORD_SIZE, '1');
    unterminated[0] = KIND_SET;
    EXPECT_EQ(exchange(unterminated), nothing);
    EXPECT_EQ(exchange(record(KIND_GET, NAME)), reply_bytes(NAME, STRING, "new"));
}

TEST_F(DaemonTest, PeersThatWaitLeaveOrSendTooMuch) {
    start_daemon();
    // More silent peers than may wait: the oldest are dropped, the others and everybody else are served.
    std::vector<int> silent;
    for (int i = 0; i < 70; i++) {
        silent.push_back(connect_client());
        if (i % 10 == 0) {
            EXPECT_EQ(exchange(record(KIND_GET, NAME)).size(), RECORD_SIZE);
        }
    }
    EXPECT_EQ(exchange(record(KIND_GET, NAME)).size(), RECORD_SIZE);
    for (int i = 0; i < 6; i++) EXPECT_EQ(read_reply(silent[i]), "") << "dropped";
    const std::string request = record(KIND_GET, NAME);
    for (const int i : {6, 40, 69}) {
        EXPECT_EQ(write(silent[i], request.data(), request.size()), static_cast<ssize_t>(request.size()));
        EXPECT_EQ(read_reply(silent[i]).size(), RECORD_SIZE) << "peer " << i;
    }
    for (const int client : silent) close(client);

    // One that waits, then leaves: an empty record, and no reply that anyone reads.
    int client = connect_client();
    usleep(20000);
    close(client);
    // One that does not wait for its reply.
    client = connect_client();
    EXPECT_EQ(write(client, request.data(), request.size()), static_cast<ssize_t>(request.size()));
    close(client);
    EXPECT_TRUE(eventually([&] { return trace().find("write fail\n") != std::string::npos; }));
    // Bytes beyond a record are never read.
    EXPECT_EQ(exchange(request + request).substr(0, 4096), exchange(request).substr(0, 4096));
}

TEST_F(DaemonTest, ASecondDaemonTakesTheSocketOver) {
    start_daemon();
    const pid_t first = daemon;
    start_daemon();
    EXPECT_EQ(exchange(record(KIND_GET, NAME)).size(), RECORD_SIZE);
    EXPECT_EQ(root.read("/var/run/zevsic.pid"), std::to_string(daemon));
    kill(first, SIGTERM);
    EXPECT_EQ(exit_status(first), 128 + SIGTERM);
}

TEST_F(DaemonTest, AReloadReadsEverythingAnew) {
    start_daemon({"-d", "0"});
    EXPECT_EQ(value_of("1.1.0"), "zevsic-demo");
    run({"/zevcfg", "set", "device", "name", "other"});
    EXPECT_EQ(value_of("1.1.0"), "zevsic-demo");
    kill(daemon, SIGUSR2);
    EXPECT_TRUE(eventually([&] { return value_of("1.1.0") == "other"; }));
}

// Signals that come while a request is served are one rebuild, and it comes before the connection that waits.
TEST_F(DaemonTest, AReloadComesBeforeTheNextConnection) {
    root.write_tool("/sbin/iwlist", ": >$ZEVSIC_ROOT/started; : <$ZEVSIC_ROOT/go");
    for (const char *pipe : {"/started", "/go"}) mkfifo(root.path(pipe).c_str(), 0600);
    start_daemon();
    EXPECT_EQ(value_of("1.1.0"), "zevsic-demo");
    run({"/zevcfg", "set", "device", "name", "other"});
    const auto send = [&](const std::string &oid) {
        const std::string request = record(KIND_GET, oid);
        const int client = connect_client();
        EXPECT_EQ(write(client, request.data(), request.size()), static_cast<ssize_t>(request.size()));
        return client;
    };
    for (int round = 1; round <= 5; round++) {
        const int served = send(FULL + "6.1.1.1.0");
        close(open(root.path("/started").c_str(), O_RDONLY));  // from here on it waits for its tool
        const int waiting = send(NAME);
        for (int i = 0; i < 200; i++) kill(daemon, SIGUSR2);
        close(open(root.path("/go").c_str(), O_WRONLY));
        close(open(root.path("/started").c_str(), O_RDONLY));  // the other radio's
        close(open(root.path("/go").c_str(), O_WRONLY));
        EXPECT_EQ(read_reply(served).size(), RECORD_SIZE);
        EXPECT_STREQ(read_reply(waiting).substr(4097).c_str(), "other");
        EXPECT_EQ(traced("Start sic_zevcfg\n"), 1 + round);
        close(served);
        close(waiting);
    }
}

TEST_F(DaemonTest, WaitingPeersLeaveDescriptorsToOthers) {
    start_daemon();
    const auto limit = [&](rlim_t most) {
        rlimit now{};
        prlimit(daemon, RLIMIT_NOFILE, nullptr, &now);
        now.rlim_cur = most;
        ASSERT_EQ(prlimit(daemon, RLIMIT_NOFILE, &now, nullptr), 0);
    };
    const auto failures = [&] { return traced("accept clisock error, code = -1\n"); };
    // Fewer than the peers that may wait: each that finds no room takes the place of the oldest.
    limit(40);
    std::vector<int> silent;
    for (int i = 0; i < 60; i++) silent.push_back(connect_client());
    EXPECT_EQ(exchange(record(KIND_GET, NAME)).size(), RECORD_SIZE);
    EXPECT_EQ(read_reply(silent[0]), "") << "dropped";
    EXPECT_GT(failures(), 0);
    EXPECT_LE(failures(), 61);
    for (const int client : silent) close(client);
    EXPECT_EQ(exchange(record(KIND_GET, NAME)).size(), RECORD_SIZE);

    // None at all and nobody to drop: the connection waits, which is said once.
    const int before = failures();
    limit(3);
    const int client = connect_client();
    const std::string request = record(KIND_GET, NAME);
    EXPECT_EQ(write(client, request.data(), request.size()), static_cast<ssize_t>(request.size()));
    EXPECT_TRUE(eventually([&] { return failures() > before; }));
    limit(1024);
    EXPECT_EQ(read_reply(client).size(), RECORD_SIZE);
    EXPECT_EQ(failures(), before + 1);
    close(client);
}

TEST_F(DaemonTest, AReloadAtAnyMomentOfTheStart) {
    for (int round = 0; round < 5; round++) {
        const pid_t pid = ::start({ZEVSIC_BIN_DIR "/zevsic", "-d", "0"}, root.path("/tmp/out"));
        // From its first sign of life on.
        EXPECT_TRUE(eventually([&] { return root.read("/var/run/zevsic.pid") == std::to_string(pid); }));
        for (int i = 0; i < 50; i++) {
            kill(pid, SIGUSR2);
            usleep(200 * round);
        }
        daemon = pid;
        EXPECT_TRUE(eventually([&] { return connect_client() >= 0 && value_of("1.1.0") == "zevsic-demo"; }));
        EXPECT_EQ(stop(), 128 + SIGTERM);
    }
}

// A SET, the store's apply, the rebuild it asks for: through all parts.
TEST_F(DaemonTest, ApplyThreads) {
    root.write_tool("/etc/zevcfg/apply", "sleep 0.3");
    start_daemon({"-d", "0"});
    for (int round = 0; round < 3; round++) {
        const std::string name = "round " + std::to_string(round);
        exchange(record(KIND_SET, NAME, "string \"" + name + "\""));
        EXPECT_EQ(exchange(record(KIND_SET, FULL + "1.62.0", "integer 1"))[4096], STATUS_ACCEPTED);
        // Rebuilds close and reopen the handles that the worker is inside of.
        for (int i = 0; i < 20; i++) {
            kill(daemon, SIGUSR2);
            value_of("1.62.0");
            usleep(10000);
        }
        EXPECT_TRUE(eventually([&] { return !root.has("/tmp/lock_snmp_apply_file"); }));
        EXPECT_TRUE(eventually([&] { return value_of("1.1.0") == name && value_of("1.62.0") == "0"; }));
        unlink(root.path("/tmp/out").c_str());
        run({"/zevcfg", "get", "--current", "device", "name"});
        EXPECT_EQ(root.read("/tmp/out"), name + "\n");
    }
    EXPECT_EQ(stop(), 128 + SIGTERM);
}

// A silent daemon: what must be known of it goes to the system's log, and nothing that a manager wrote.
TEST_F(DaemonTest, TellsTheSystemsLog) {
    std::filesystem::create_directories(root.path("/dev"));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strcpy(address.sun_path, root.path("/dev/log").c_str());
    const int log = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(log, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    const timeval patience = {20, 0};
    setsockopt(log, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    const auto next = [&] {
        char line[256] = "";
        EXPECT_GT(recv(log, line, sizeof line - 1, 0), 0);
        return std::string(line);
    };
    start_daemon({"-d", "0"});
    const std::string tag = "zevsic[" + std::to_string(daemon) + "]: ";
    EXPECT_EQ(next(), "<30>" + tag + "started, version " ZEVSIC_VERSION);
    exchange(record(KIND_SET, FULL + "1.1.0", "string \"told nobody\""));
    exchange(record(KIND_SET, FULL + "1.62.0", "integer 1"));
    for (const char *line : {"apply begun", "apply ended", "rebuilt from the store"})
        EXPECT_EQ(next(), "<30>" + tag + line);
    root.write_tool("/sbin/wget", "exit 1");
    exchange(record(KIND_SET, FULL + "1.63.1.0", "ipaddress 192.0.2.1"));
    exchange(record(KIND_SET, FULL + "1.63.2.0", "string \"a\""));
    exchange(record(KIND_SET, FULL + "1.63.3.0", "integer 2"));
    exchange(record(KIND_SET, FULL + "1.63.4.0", "integer 2"));
    EXPECT_EQ(next(), "<30>" + tag + "backup over TFTP begun");
    EXPECT_EQ(next(), "<27>" + tag + "backup over TFTP ended, a tool failed");
    exchange(record(KIND_SET, FULL + "1.55.0", "integer 1"));
    EXPECT_EQ(next(), "<30>" + tag + "reboot with factory settings");
    close(log);
}

TEST_F(DaemonTest, AFailedApplyEndsTheDaemonThreads) {
    root.write_tool("/etc/zevcfg/apply", "exit 3");
    start_daemon({"-d", "0"});
    exchange(record(KIND_SET, NAME, "string \"new\""));
    EXPECT_EQ(exchange(record(KIND_SET, FULL + "1.62.0", "integer 1"))[4096], STATUS_ACCEPTED);
    EXPECT_EQ(exit_status(daemon), 1);
    daemon = 0;
    EXPECT_TRUE(root.has("/tmp/lock_snmp_apply_file"));
    // Restarted, it reports an apply and refuses new ones until the file is removed.
    start_daemon({"-d", "0"});
    EXPECT_EQ(value_of("1.62.0"), "1");
    EXPECT_EQ(exchange(record(KIND_SET, FULL + "1.62.0", "integer 1"))[4096], STATUS_WRONG_VALUE);
}
