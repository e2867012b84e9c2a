// The built-in configuration store, in a device root of its own for each test.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <thread>

#include "platform/builtin/store.h"
#include "platform/device.h"
#include "platform/zevcfg.h"
#include "tests/device_root.h"
#include "tests/process.h"

using std::string;

static string zevcfg(const string &arguments) {
    return ZEVSIC_BIN_DIR "/zevcfg " + arguments;
}

struct QueuedTriple {
    unsigned group;
    string key, value;
};

static cfg_item *queue(const std::vector<QueuedTriple> &items) {
    cfg_item *head = nullptr;
    for (const auto &[group, key, value] : items)
        head = append_cfg_item(head, group, key.c_str(), value.c_str());
    return head;
}

class Store : public testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(run_command(zevcfg("init")), 0); }
    void TearDown() override {
        close_zevcfg(working);
        close_zevcfg(running);
    }
    void open() {
        working = init_zevcfg_f(&config_ram);
        running = init_zevcfg_f(&current_config);
        ASSERT_TRUE(working != nullptr && running != nullptr);
    }
    string get(zevcfg_handle *handle, const string &group, const string &key) {
        char text[STORE_TEXT_SIZE] = "untouched";
        int result = get_cfg_item_by_str(handle, group.c_str(), key.c_str(), text);
        return result == 0 ? text : std::to_string(result) + " " + text;
    }
    int save(const std::vector<QueuedTriple> &items) {
        cfg_item *head = queue(items);
        int result = set_cfg_items_snmp(working, head);
        free_item_list(head);
        return result;
    }
    DeviceRoot root;
    zevcfg_handle *working = nullptr;
    zevcfg_handle *running = nullptr;
};

TEST_F(Store, ReadsItemsOrLeavesTheBufferAlone) {
    open();
    EXPECT_EQ(get(working, "snmp", "sample_time"), "100");
    EXPECT_EQ(get(working, "device", "location"), "");
    EXPECT_EQ(get(working, "device", "no such key"), "-4 untouched");
    EXPECT_EQ(get(nullptr, "snmp", "sample_time"), "-4 untouched");
    char text[STORE_TEXT_SIZE] = "untouched";
    EXPECT_EQ(get_cfg_item(working, 12345, "ssid", text), STORE_NO_SUCH_ITEM);
    EXPECT_EQ(get_sys_item("rf1_ch", text), STORE_NO_SUCH_ITEM);
    EXPECT_NE(get_rc_env("MAX_BFW_RULES", text, 64), 0);
    EXPECT_STREQ(text, "untouched");
    EXPECT_EQ(get_sys_item("date", text), 0);
}

TEST_F(Store, CutsLongValuesToTheBuffer) {
    open();
    ASSERT_EQ(save({{GID_DEVICE, "desc", string(5000, 'x')}}), 0);
    EXPECT_EQ(get(working, "device", "desc"), string(STORE_TEXT_SIZE - 1, 'x'));
    ASSERT_EQ(run_command(zevcfg("env set LONG 0123456789")), 0);
    char small[5] = "";
    EXPECT_EQ(get_rc_env("LONG", small, sizeof small), 0);
    EXPECT_STREQ(small, "0123");
}

TEST_F(Store, GroupIdsNameDistinctGroups) {
    open();
    std::map<unsigned, string> expected = {
        {GID_DEVICE, "device"}, {GID_CAPWAP, "capwap"}, {GID_BFW_DAI, "bfw_dai"}};
    for (unsigned r = 1; r <= 2; r++) {
        string rf = "rf" + std::to_string(r);
        expected[gid_rf[r - 1]] = rf;
        auto add = [&](const unsigned *ids, const string &kind, unsigned count, const string &end) {
            for (unsigned i = 1; i <= count; i++)
                expected[ids[(r - 1) * count + i - 1]] = rf + kind + std::to_string(i) + end;
        };
        add(gid_vap, "_vap", 16, "");
        add(gid_vap_sec, "_vap", 16, "_sec");
        add(gid_vap_hs20, "_vap", 16, "_hs20");
        add(gid_wme, "_wme", 4, "");
        add(gid_wds_link, "_wds", 8, "");
    }
    EXPECT_EQ(expected.size(), 3U + 2 + 3 * 32 + 8 + 16);
    for (const auto &[id, group] : expected) {
        ASSERT_EQ(save({{id, "mark", group}}), 0) << group;
        EXPECT_EQ(get(working, group, "mark"), group);
    }
}

TEST_F(Store, AListIsWrittenInOrderAndWholeOrNotAtAll) {
    open();
    ASSERT_EQ(save({}), 0);
    EXPECT_FALSE(device_file_exists("/tmp/sync_config"));
    EXPECT_NE(save({{GID_DEVICE, "name", "first"}, {0x77, "name", "x"}}), 0);
    EXPECT_EQ(get(working, "device", "name"), "zevsic-ap");
    EXPECT_FALSE(device_file_exists("/tmp/sync_config"));
    ASSERT_EQ(
        save({{GID_DEVICE, "name", "first"}, {gid_vap[17], "ssid", "a'b"}, {GID_DEVICE, "name", "last"}}), 0);
    EXPECT_EQ(get(working, "device", "name"), "last");
    EXPECT_EQ(get(working, "rf2_vap2", "ssid"), "a'b");
    EXPECT_EQ(get(running, "device", "name"), "zevsic-ap");
}

TEST_F(Store, MarksSavedChangesAndKeepsTheNeedForAReboot) {
    open();
    ASSERT_EQ(run_command(zevcfg("env set REBOOT_GROUPS 'wan_ip device'")), 0);
    struct {
        unsigned group;
        const char *value, *marker;
    } const steps[] = {{GID_SYSLOG, "1", "0\n"},          // no group that needs a reboot
                       {GID_DEVICE, "zevsic-ap", "0\n"},  // no change
                       {GID_DEVICE, "other", "1\n"},
                       {GID_SYSLOG, "2", "1\n"}};
    for (const auto &step : steps) {
        ASSERT_EQ(save({{step.group, "name", step.value}}), 0);
        EXPECT_EQ(root.read("/tmp/sync_config"), step.marker) << step.value;
        EXPECT_EQ(check_apply_need_reboot(), step.marker[0] == '1');
    }
}

TEST_F(Store, TheMarkerIsNotWrittenThroughALink) {
    open();
    root.write("/tmp/victim", "precious");
    ASSERT_EQ(symlink(root.path("/tmp/victim").c_str(), root.path("/tmp/sync_config").c_str()), 0);
    EXPECT_EQ(check_apply_need_reboot(), 0);
    ASSERT_EQ(save({{GID_DEVICE, "name", "x"}}), 0);
    EXPECT_EQ(root.read("/tmp/victim"), "precious");
    EXPECT_EQ(root.read("/tmp/sync_config"), "0\n");
}

TEST_F(Store, SeesWhatOtherProcessesCommit) {
    open();
    EXPECT_EQ(get(working, "device", "name"), "zevsic-ap");
    ASSERT_EQ(run_command(zevcfg("set device name theirs")), 0);
    EXPECT_EQ(get(working, "device", "name"), "theirs");
    ASSERT_EQ(save({{GID_DEVICE, "name", "ours"}}), 0);
    EXPECT_EQ(read_command(zevcfg("get device name")).text, "ours\n");
    ASSERT_EQ(run_command(zevcfg("unset device name")), 0);
    EXPECT_EQ(get(working, "device", "name"), "-4 untouched");
    ASSERT_EQ(run_command(zevcfg("reset")), 0);
    EXPECT_EQ(get(working, "device", "name"), "zevsic-ap");
}

// What a task says on standard error.
static string told(const std::function<void()> &task) {
    testing::internal::CaptureStderr();
    task();
    return testing::internal::GetCapturedStderr();
}

TEST_F(Store, AMissingOrBrokenStoreIsSaidOnceAndANewOneFound) {
    const string none = "zevcfg: no configuration store (zevcfg init makes one)\n";
    const string file = "/var/lib/zevcfg/zevcfg.db";
    const auto remove = [&] { std::filesystem::remove_all(root.path("/var/lib/zevcfg")); };
    open();
    EXPECT_EQ(get(working, "device", "name"), "zevsic-ap");
    remove();
    EXPECT_EQ(told([&] {
                  EXPECT_NE(save({{GID_DEVICE, "name", "lost"}}), 0);
                  EXPECT_NE(save({{GID_DEVICE, "name", "lost"}}), 0);
                  EXPECT_EQ(get(working, "device", "name"), "zevsic-ap") << "what was read is served";
              }),
              none);
    ASSERT_EQ(run_command(zevcfg("init && ") + zevcfg("set device desc anew")), 0);
    EXPECT_EQ(save({{GID_DEVICE, "name", "new"}}), 0) << "noticed by the save";
    EXPECT_EQ(read_command(zevcfg("get device name")).text, "new\n");
    EXPECT_EQ(get(working, "device", "desc"), "anew");

    remove();
    EXPECT_EQ(told([&] {
                  for (int i = 0; i < 3; i++) EXPECT_EQ(init_zevcfg_f(&config_ram), nullptr);
              }),
              none)
        << "another episode";
    EXPECT_EQ(lock_zevcfg(6, 6), 0) << "nobody holds what is not there";
    EXPECT_NE(told([&] { EXPECT_NE(reset_zevcfg(), 0); }), "");
    char text[STORE_TEXT_SIZE];
    EXPECT_EQ(get_sys_item("wan_ip", text), STORE_NO_SUCH_ITEM);
    EXPECT_EQ(run_command(zevcfg("get device name 2>/dev/null")), 1);

    // What is no store is kept, and said; an empty file, and a draft, are what a killed init leaves.
    root.write(file, "precious");
    EXPECT_EQ(told([&] { EXPECT_EQ(init_zevcfg_f(&config_ram), nullptr); }),
              "zevcfg: " + root.path(file) + ": file is not a database\n");
    EXPECT_EQ(run_command(zevcfg("init 2>/dev/null")), 1);
    EXPECT_EQ(root.read(file), "precious");
    root.write(file, "");
    root.write("/sbin/date.draft", "cut o");
    std::filesystem::remove(root.path("/sbin/date"));
    EXPECT_EQ(run_command(zevcfg("init")), 0);
    EXPECT_FALSE(root.has("/sbin/date.draft"));
    EXPECT_EQ(access(root.path("/sbin/date").c_str(), X_OK), 0);
    open();
    EXPECT_EQ(get(working, "device", "name"), "zevsic-ap");
}

// A child that saves 1, 2, 3 … and tells of each through the pipe once it is acknowledged.
static pid_t start_writer(int acknowledged) {
    pid_t pid = fork();
    if (pid != 0) return pid;
    zevcfg_handle *handle = init_zevcfg_f(&config_ram);
    for (int i = 1;; i++) {
        cfg_item *head = queue({{GID_DEVICE, "a", std::to_string(i)}, {GID_DEVICE, "b", std::to_string(i)}});
        if (set_cfg_items_snmp(handle, head) != 0 || write(acknowledged, &i, sizeof i) != sizeof i) _exit(1);
        free_item_list(head);
    }
}

TEST_F(Store, AKilledWriterLosesNothingAcknowledged) {
    for (int round = 0; round < 12; round++) {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        pid_t writer = start_writer(ends[1]);
        ::close(ends[1]);
        int last = 0;
        ASSERT_EQ(read(ends[0], &last, sizeof last), static_cast<ssize_t>(sizeof last));
        std::this_thread::sleep_for(std::chrono::microseconds(round * 1731));
        kill(writer, SIGKILL);
        waitpid(writer, nullptr, 0);
        while (read(ends[0], &last, sizeof last) > 0) {
        }
        ::close(ends[0]);
        open();
        int a = atoi(get(working, "device", "a").c_str());
        EXPECT_TRUE(a == last || a == last + 1) << a << " after " << last;
        EXPECT_EQ(get(working, "device", "b"), std::to_string(a));
        close_zevcfg(working);
        close_zevcfg(running);
        working = running = nullptr;
    }
}

TEST_F(Store, TheLockIsOneForTheMachineAndDiesWithItsHolder) {
    int lock = lock_zevcfg(6, 6);
    ASSERT_GT(lock, 0);
    EXPECT_LT(lock_zevcfg(6, 6), 0);
    EXPECT_EQ(run_command(zevcfg("lock true 2>/dev/null")), 1);
    unlock_zevcfg(lock + 1);
    EXPECT_LT(lock_zevcfg(6, 6), 0) << "another id freed it";
    unlock_zevcfg(lock);
    EXPECT_EQ(run_command(zevcfg("lock sh -c 'exit 7'")), 7);

    // The holder is killed; the command it ran lives on, and holds nothing.
    root.write("/tmp/holder", "echo $PPID >\"$ZEVSIC_ROOT/tmp/pid\"\nexec sleep 5\n");
    std::thread holder([&] { run_command("exec " + zevcfg("lock sh \"$ZEVSIC_ROOT/tmp/holder\"")); });
    while (root.read("/tmp/pid").find('\n') == string::npos)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_LT(lock_zevcfg(6, 6), 0);
    kill(atoi(root.read("/tmp/pid").c_str()), SIGKILL);
    holder.join();
    lock = lock_zevcfg(6, 6);
    EXPECT_GT(lock, 0);
    unlock_zevcfg(lock);
}

TEST_F(Store, ApplyMakesTheWorkingConfigurationRun) {
    open();
    ASSERT_EQ(save({{GID_DEVICE, "name", "new"}}), 0);
    root.write_tool("/etc/zevcfg/apply", zevcfg("get --current device name") + " >$ZEVSIC_ROOT/tmp/seen\n" +
                                             zevcfg("lock true") + " 2>/dev/null && exit 1\nexit 0\n");
    const auto log_size = [&] {
        return std::filesystem::file_size(root.path("/var/lib/zevcfg/zevcfg.db-wal"));
    };
    const auto before = log_size();
    EXPECT_EQ(apply_cfg(working), 0);
    EXPECT_LT(log_size() - before, 64U << 10) << "only what differs is written";
    EXPECT_EQ(root.read("/tmp/seen"), "new\n");
    EXPECT_EQ(get(running, "device", "name"), "new");
    EXPECT_FALSE(device_file_exists("/tmp/sync_config"));
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child was left";
    // What is saved while the script runs has still to be applied.
    root.write_tool("/etc/zevcfg/apply", zevcfg("set device name newer"));
    ASSERT_EQ(save({{GID_DEVICE, "desc", "x"}}), 0);
    EXPECT_EQ(apply_cfg(working), 0);
    EXPECT_EQ(root.read("/tmp/sync_config"), "0\n");
    EXPECT_EQ(read_command(zevcfg("diff")).text, "device name: new -> newer\n");
}

TEST_F(Store, AKilledApplyCanBeRepeated) {
    open();
    ASSERT_EQ(save({{GID_DEVICE, "name", "new"}, {GID_DEVICE, "added", "x"}}), 0);
    ASSERT_EQ(run_command(zevcfg("unset device location && ") + zevcfg("set --current device desc by-hand")),
              0);
    root.write_tool("/etc/zevcfg/apply", "kill -9 $(cat $ZEVSIC_ROOT/tmp/applier)");
    pid_t applier = fork();
    if (applier == 0) {
        root.write("/tmp/applier", std::to_string(getpid()));
        _exit(apply_cfg(init_zevcfg_f(&config_ram)));
    }
    int status = 0;
    waitpid(applier, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(root.read("/tmp/sync_config"), "0\n");
    // When the next one fails, what was in force before both is back.
    root.write_tool("/etc/zevcfg/apply", "exit 3");
    EXPECT_NE(told([&] { EXPECT_NE(apply_cfg(working), 0); }).find("failed with status 3"), string::npos);
    EXPECT_EQ(read_command(zevcfg("diff device")).text,
              "device added: (not set) -> x\ndevice desc: by-hand -> Wireless Access Point\ndevice location: "
              " -> (not set)\n"
              "device name: zevsic-ap -> new\n");
    EXPECT_EQ(run_command(zevcfg("diff --exit-code device >/dev/null")), 1);
    EXPECT_EQ(run_command(zevcfg("lock true")), 0);
    std::filesystem::remove(root.path("/etc/zevcfg/apply"));
    EXPECT_EQ(apply_cfg(working), 0);
    EXPECT_EQ(run_command(zevcfg("diff --exit-code")), 0);
    EXPECT_FALSE(device_file_exists("/tmp/sync_config"));
}

TEST_F(Store, ABootAppliesAndRemovesWhatTheLastRunLeft) {
    open();
    ASSERT_EQ(run_command(zevcfg("env set REBOOT_GROUPS device")), 0);
    ASSERT_EQ(save({{GID_DEVICE, "name", "new"}}), 0);
    const string locks[] = {"/tmp/lock_snmp_apply_file", "/tmp/lock_snmp_web", "/tmp/lock_snmp_conf_backup"};
    for (const string &lock : locks) root.write(lock, "1\n");
    // Not with the new name: the device starts with the old one.
    root.write_tool("/etc/zevcfg/apply", zevcfg("get --current device name") + " >>$ZEVSIC_ROOT/tmp/seen\n" +
                                             "tail -n1 $ZEVSIC_ROOT/tmp/seen | grep -q zevsic-ap");
    EXPECT_EQ(run_command(zevcfg("boot 2>/dev/null")), 1);
    EXPECT_EQ(root.read("/tmp/seen"), "new\nzevsic-ap\n");
    EXPECT_EQ(root.read("/tmp/sync_config"), "1\n");
    for (const string &lock : locks) EXPECT_FALSE(root.has(lock)) << lock;

    root.write_tool("/etc/zevcfg/apply", "exit 0");
    EXPECT_EQ(run_command(zevcfg("boot")), 0);
    EXPECT_EQ(get(running, "device", "name"), "new");
    EXPECT_EQ(check_apply_need_reboot(), 0);
    EXPECT_FALSE(root.has("/tmp/sync_config"));
}

TEST_F(Store, TheDaemonIsToldOnceItsApplyLockIsGone) {
    open();
    sigset_t usr2;
    sigemptyset(&usr2);
    sigaddset(&usr2, SIGUSR2);
    sigprocmask(SIG_BLOCK, &usr2, nullptr);
    pid_t daemon = fork();
    if (daemon == 0) {
        prctl(PR_SET_NAME, "zevsic");
        root.write("/tmp/named", "");
        timespec limit = {10, 0};
        _exit(sigtimedwait(&usr2, nullptr, &limit) == SIGUSR2 ? 0 : 1);
    }
    sigprocmask(SIG_UNBLOCK, &usr2, nullptr);
    ASSERT_TRUE(eventually([&] { return root.has("/tmp/named"); }));
    // Nobody else has that name, and nobody else is told.
    for (const string &pid :
         {string(""), string("1"), string("x"), std::to_string(getpid()), string("99999999")}) {
        root.write("/var/run/zevsic.pid", pid);
        EXPECT_FALSE(daemon_runs()) << pid;
    }
    root.write("/var/run/zevsic.pid", std::to_string(daemon) + "\n");
    EXPECT_TRUE(daemon_runs());
    EXPECT_EQ(run_command(zevcfg("boot 2>/dev/null")), 1) << "while a daemon runs";
    ASSERT_TRUE(create_lock_file("/tmp/lock_snmp_apply_file"));
    // What waits for the lock to go does not keep a pipe of the one who applied open.
    EXPECT_EQ(read_command(zevcfg("apply && echo applied")).text, "applied\n");
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(waitpid(daemon, nullptr, WNOHANG), 0) << "told too early";
    remove_device_file("/tmp/lock_snmp_apply_file");
    int status = 1;
    EXPECT_EQ(waitpid(daemon, &status, 0), daemon);
    EXPECT_EQ(status, 0);
}

// Run under the thread sanitizer too.
TEST_F(Store, ReadersGoOnWhileAnApplyRunsAndHandlesAreReopened) {
    open();
    ASSERT_EQ(save({{GID_DEVICE, "name", "new"}}), 0);
    root.write_tool("/etc/zevcfg/apply",
                    "i=0\nwhile [ ! -e $ZEVSIC_ROOT/tmp/go ]; do i=$((i + 1)); [ $i -lt 5000 ] || exit 1\n"
                    "sleep 0.02; done\n");
    std::atomic<bool> done{false};
    std::atomic<int> result{-1};
    std::thread apply([&] { result = apply_cfg(working); });
    zevcfg_handle *stale = working;
    std::thread reader([&] {
        while (!done) EXPECT_EQ(get(stale, "device", "name"), "new");
    });
    while (get(running, "device", "name") != "new") std::this_thread::yield();  // the script runs
    for (int i = 0; i < 20; i++) {
        close_zevcfg(working);
        close_zevcfg(running);
        open();
        EXPECT_EQ(get(running, "device", "name"), "new");
    }
    root.write("/tmp/go", "");
    apply.join();
    done = true;
    reader.join();
    EXPECT_EQ(result, 0);
}

TEST_F(Store, BandSteeringFollowsRadiosAndTwinsOfTheOtherRadio) {
    open();
    ASSERT_EQ(save({{gid_vap[0], "ssid", "same"}, {gid_vap[16], "ssid", "same"}}), 0);
    struct {
        const char *name;
        std::vector<QueuedTriple> queued;
        const char *steering;
        int radio, vap;
        const char *ssid, *state;
        std::set<unsigned> steered;
    } const cases[] = {
        {"both twins", {}, "enable", -1, -1, nullptr, nullptr, {gid_vap[0], gid_vap[16]}},
        {"radios off", {}, "disable", -1, -1, nullptr, nullptr, {}},
        {"a twin off", {{gid_vap[16], "state", "disable"}}, "enable", -1, -1, nullptr, nullptr, {}},
        {"a twin renamed", {{gid_rf[1], "band_steering", "enable"}}, "enable", 0, 0, "other", "enable", {}},
        {"a new pair, queued together",
         {{gid_rf[0], "band_steering", "enable"},
          {gid_vap[0], "ssid", "b"},
          {gid_vap[17], "ssid", "b"},
          {gid_vap[17], "state", "enable"}},
         "enable",
         1,
         1,
         "b",
         "enable",
         {gid_vap[0], gid_vap[17]}},
    };
    for (const auto &c : cases) {
        cfg_item *head = queue(c.queued);
        head = check_vap_band_steering(working, c.steering, head, c.radio, c.vap, c.ssid, c.state);
        ASSERT_EQ(set_cfg_items_snmp(working, head), 0);
        free_item_list(head);
        for (unsigned i = 0; i < 32; i++) {
            char text[STORE_TEXT_SIZE] = "";
            get_cfg_item(working, gid_vap[i], "band_steer", text);
            EXPECT_EQ(string(text) == "enable", c.steered.count(gid_vap[i]) == 1) << c.name << ", VAP " << i;
        }
        // Nothing is left to do.
        EXPECT_EQ(check_vap_band_steering(working, c.steering, nullptr, c.radio, c.vap, c.ssid, c.state),
                  nullptr);
        ASSERT_EQ(run_command(zevcfg("reset && ") + zevcfg("set rf1_vap1 ssid same && ") +
                              zevcfg("set rf2_vap1 ssid same")),
                  0);
    }
}

TEST_F(Store, ExportAndImportRoundTripAnyValue) {
    const char *values[] = {"",          " a b ", "tab\tnew\nline\\n", "-95",
                            "--current", "[x]",   "\"q\" 'q'",         "\xff\x01\r"};
    string names;
    for (const char *value : values) {
        string key = "k" + std::to_string(names.size());
        names += key;
        string word = "'" + inside_single_quotes(value) + "'";
        ASSERT_EQ(run_command(zevcfg("set t " + key + " " + word)), 0) << value;
        EXPECT_EQ(read_command(zevcfg("get t " + key)).text, string(value) + "\n");
    }
    string before = read_command(zevcfg("export")).text;
    root.write("/tmp/all", before);
    ASSERT_EQ(run_command(zevcfg("reset; ") + zevcfg("set device name x; ") +
                          zevcfg("import \"$ZEVSIC_ROOT/tmp/all\"")),
              0);
    EXPECT_EQ(read_command(zevcfg("export")).text, before);
    EXPECT_EQ(read_command(zevcfg("export --current t")).text, "");
    for (const char *bad : {"t\tk0\tnew\nt\tk1\n", "t\tk0\tnew\nt\tk\ta\\x\n", "t\tk0\tnew\n\tk\tv\n"}) {
        root.write("/tmp/bad", bad);
        EXPECT_EQ(run_command(zevcfg("import <\"$ZEVSIC_ROOT/tmp/bad\" 2>/dev/null")), 1) << bad;
        EXPECT_EQ(read_command(zevcfg("export")).text, before);
    }
}

TEST_F(Store, TheCommandKeepsAnExistingStoreAndGuardsTheMachine) {
    ASSERT_EQ(run_command(zevcfg("set device name mine; ") + zevcfg("init")), 0);
    EXPECT_EQ(read_command(zevcfg("get device name")).text, "mine\n");
    struct stat facts = {};
    ASSERT_EQ(stat(root.path("/var/lib/zevcfg/zevcfg.db").c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 0777U, 0600U);
    EXPECT_EQ(run_command("ZEVSIC_ROOT= " + zevcfg("init --demo 2>/dev/null")), 1);
    EXPECT_EQ(run_command(zevcfg("get device nothing 2>/dev/null")), 4);
    EXPECT_EQ(run_command(zevcfg("get device 2>/dev/null")), 2);
    EXPECT_EQ(run_command(zevcfg("sys set wan_ip 10.1.1.1; ") + zevcfg("sys unset wan_ip; ") +
                          zevcfg("sys get wan_ip 2>/dev/null")),
              4);
}
