// The built-in configuration store, in a device root of its own for each test.
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/syscall.h>

#include <atomic>
#include <functional>
#include <set>
#include <thread>

#include "platform/builtin/store.h"
#include "platform/device.h"
#include "platform/zevcfg.h"
#include "tests/device_root.h"

using std::string;

// In place of libc's, also for SQLite.
static std::atomic<int> syncs;
extern "C" int fdatasync(int fd) {
    return ++syncs, static_cast<int>(syscall(SYS_fdatasync, fd));
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

// What a task says on standard error.
static string told(const std::function<void()> &task) {
    testing::internal::CaptureStderr();
    task();
    return testing::internal::GetCapturedStderr();
}

class Store : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(zevcfg("init"), "");
        open();
    }
    void TearDown() override { close(); }
    void open() {
        working = init_zevcfg_f(&config_ram);
        running = init_zevcfg_f(&current_config);
        ASSERT_TRUE(working != nullptr && running != nullptr);
    }
    void close() {
        close_zevcfg(working);
        close_zevcfg(running);
    }
    string zevcfg(const string &arguments) const { return device.said("zevcfg " + arguments); }
    static string get(zevcfg_handle *handle, const string &group, const string &key) {
        char text[STORE_TEXT_SIZE] = "untouched";
        const int result = get_cfg_item_by_str(handle, group.c_str(), key.c_str(), text);
        return result == 0 ? text : std::to_string(result) + " " + text;
    }
    int save(const std::vector<QueuedTriple> &items) {
        cfg_item *head = queue(items);
        const int result = set_cfg_items_snmp(working, head);
        free_item_list(head);
        return result;
    }
    void script(const string &text) const {
        device.write_tool("/etc/zevcfg/apply", "PATH=" ZEVSIC_BIN_DIR ":$PATH; " + text);
    }

    DeviceRoot device;
    zevcfg_handle *working = nullptr;
    zevcfg_handle *running = nullptr;
};

TEST_F(Store, ReadsItemsOrLeavesTheBufferAlone) {
    EXPECT_EQ(get(working, "device", "location"), "");
    EXPECT_EQ(get(working, "device", "no such key"), "-4 untouched");
    EXPECT_EQ(get(nullptr, "snmp", "sample_time"), "-4 untouched");
    char text[STORE_TEXT_SIZE] = "untouched";
    EXPECT_EQ(get_cfg_item(working, 12345, "ssid", text), STORE_NO_SUCH_ITEM);
    EXPECT_EQ(get_sys_item("rf1_ch", text), STORE_NO_SUCH_ITEM);
    EXPECT_NE(get_rc_env("MAX_BFW_RULES", text, 64), 0);
    EXPECT_STREQ(text, "untouched");
    EXPECT_EQ(get_sys_item("date", text), 0);
    ASSERT_EQ(save({{GID_DEVICE, "desc", string(5000, 'x')}}), 0);
    EXPECT_EQ(get(working, "device", "desc"), string(STORE_TEXT_SIZE - 1, 'x'));
    // What other processes commit is seen at once, here and there.
    EXPECT_EQ(zevcfg("set device name theirs"), "");
    EXPECT_EQ(get(working, "device", "name"), "theirs");
    ASSERT_EQ(save({{GID_DEVICE, "name", "ours"}}), 0);
    EXPECT_EQ(zevcfg("get device name; zevcfg unset device name"), "ours\n");
    EXPECT_EQ(get(working, "device", "name"), "-4 untouched");
    EXPECT_EQ(zevcfg("reset"), "");
    EXPECT_EQ(get(working, "device", "name"), "zevsic-ap");
    EXPECT_EQ(zevcfg("env set LONG 0123456789"), "");
    EXPECT_EQ(get_rc_env("LONG", text, 5), 0);
    EXPECT_STREQ(text, "0123");
    // The default route with the lowest metric.
    device.write("/proc/net/route",
                 "Iface Destination Gateway Flags RefCnt Use Metric Mask\n"
                 "a 00000000 0100000A 0003 0 0 9 00000000\nb 00000000 0200000A 0003 0 0 5 00000000\n"
                 "c 00000000 0300000A 0002 0 0 1 00000000\nd 0000000A 00000000 0001 0 0 0 00FFFFFF\n");
    device.write("/sys/class/net/b/address", "02:00:00:00:00:0b\n");
    EXPECT_EQ(zevcfg("sys get default_gw"), "10.0.0.2\n");
    EXPECT_EQ(zevcfg("sys get wan_mac"), "02:00:00:00:00:0b\n");
    EXPECT_EQ(zevcfg("sys set wan_mac mine; zevcfg sys get wan_mac"), "mine\n");
    EXPECT_EQ(zevcfg("sys unset wan_mac; zevcfg sys unset wan_mac"), "zevcfg: no such item\nexit 4\n");
}

TEST_F(Store, SavesListsAndMarksThem) {
    for (size_t way = 0; device.put_strangers_file("/tmp/sync_config", way); way++) {
        EXPECT_EQ(check_apply_need_reboot(), 0) << way;
        EXPECT_EQ(save({{GID_DEVICE, "name", "zevsic-ap"}}), 0) << way;
        EXPECT_EQ(device.said("cat $ZEVSIC_ROOT/tmp/sync_config"), "0\n") << way;
        unlink(device.path("/tmp/sync_config").c_str());
    }
    device.put_strangers_file("/tmp/sync_config", 2);
    ASSERT_EQ(save({}), 0);
    EXPECT_NE(save({{GID_DEVICE, "name", "first"}, {0x77, "name", "x"}}), 0);
    EXPECT_EQ(get(working, "device", "name"), "zevsic-ap");
    EXPECT_EQ(device.read("/tmp/sync_config"), "precious\n");
    EXPECT_EQ(zevcfg("env set REBOOT_GROUPS 'wan_ip device'"), "");
    const struct {
        std::vector<QueuedTriple> items;
        const char *marker;
    } steps[] = {{{{gid_vap[17], "ssid", "a'b"}}, "0\n"},       // no group that needs a reboot
                 {{{GID_DEVICE, "name", "zevsic-ap"}}, "0\n"},  // no change
                 {{{GID_DEVICE, "name", "first"}, {GID_DEVICE, "name", "last"}}, "1\n"},
                 {{{GID_SYSLOG, "name", "2"}}, "1\n"}};
    const mode_t mask = umask(077);
    for (const auto &step : steps) {
        const int before = syncs;
        ASSERT_EQ(save(step.items), 0);
        EXPECT_GT(syncs, before) << "what is acknowledged is on the disk";
        EXPECT_EQ(device.said("cd $ZEVSIC_ROOT/tmp; cat sync_config; stat -c %a sync_config"),
                  step.marker + string("644\n"));
        EXPECT_EQ(check_apply_need_reboot(), step.marker[0] == '1');
    }
    umask(mask);
    EXPECT_EQ(device.read("/tmp/victim"), "precious\n");
    EXPECT_EQ(get(working, "device", "name"), "last");
    EXPECT_EQ(get(working, "rf2_vap2", "ssid"), "a'b");
    EXPECT_EQ(get(running, "device", "name"), "zevsic-ap");
}

TEST_F(Store, AMissingOrBrokenStoreIsSaidOnceAndANewOneFound) {
    const string none = "zevcfg: no configuration store (zevcfg init makes one)\n";
    const string file = device.path("/var/lib/zevcfg/zevcfg.db");
    const auto remove = [&] { device.said("rm -r $ZEVSIC_ROOT/var/lib/zevcfg"); };
    EXPECT_EQ(get(working, "device", "name"), "zevsic-ap");
    remove();
    EXPECT_EQ(told([&] {
                  EXPECT_NE(save({{GID_DEVICE, "name", "lost"}}), 0);
                  EXPECT_NE(save({{GID_DEVICE, "name", "lost"}}), 0);
                  EXPECT_EQ(get(working, "device", "name"), "zevsic-ap") << "what was read is served";
              }),
              none);
    ASSERT_EQ(zevcfg("init; zevcfg set device desc anew"), "");
    EXPECT_EQ(save({{GID_DEVICE, "name", "new"}}), 0) << "noticed by the save";
    EXPECT_EQ(zevcfg("get device name"), "new\n");
    EXPECT_EQ(get(working, "device", "desc"), "anew");

    remove();
    EXPECT_EQ(told([&] { EXPECT_EQ(init_zevcfg_f(&config_ram), nullptr); }), none) << "another episode";
    EXPECT_EQ(lock_zevcfg(6, 6), 0) << "nobody holds what is not there";
    EXPECT_EQ(zevcfg("get device name; zevcfg reset"),
              none + "zevcfg: not reset: " + none.substr(8) + "exit 1\n");

    // What is no store is kept, and said; an empty file, and a draft, are what a killed init leaves.
    device.write("/var/lib/zevcfg/zevcfg.db", "precious");
    const string broken = "zevcfg: " + file + ": file is not a database\n";
    EXPECT_EQ(told([&] { EXPECT_EQ(init_zevcfg_f(&config_ram), nullptr); }), broken);
    EXPECT_TRUE(has(zevcfg("init"), "exit 1\n"));
    EXPECT_EQ(device.said("cat " + file), "precious");
    device.said("cd $ZEVSIC_ROOT; : >" + file + "; mv sbin/date sbin/date.draft");
    EXPECT_EQ(zevcfg("init"), "");
    EXPECT_EQ(device.said("cd $ZEVSIC_ROOT; ls sbin/date*; test -x sbin/date"), "sbin/date\n");
    open();
    EXPECT_EQ(get(working, "device", "name"), "zevsic-ap");

    EXPECT_EQ(zevcfg("set device name mine; zevcfg init; zevcfg get device name"), "mine\n") << "it is kept";
    EXPECT_EQ(device.said("stat -c %a " + file), "600\n");
    EXPECT_TRUE(has(device.said("ZEVSIC_ROOT= zevcfg init --demo"), "exit 1\n")) << "on the machine itself";
    EXPECT_EQ(zevcfg("get device nothing"), "zevcfg: no such item\nexit 4\n");
    EXPECT_TRUE(has(zevcfg("get device"), "exit 2\n"));
}

// Another process writes and does not end, a disk is full, a file is somebody else's: said as it is, and
// soon.
TEST_F(Store, AStoreThatIsHeldOrForbidden) {
    const string folder = device.path("/var/lib/zevcfg"), file = folder + "/zevcfg.db";
    string why;
    {
        const Database other = open_store(&why);
        const Transaction writing(other.get());
        const auto begun = std::chrono::steady_clock::now();
        EXPECT_EQ(told([&] {
                      EXPECT_NE(save({{GID_DEVICE, "name", "late"}}), 0);
                  }),
                  "zevcfg: nothing was saved: " + file + ": database is locked\n");
        EXPECT_EQ(get(working, "device", "name"), "zevsic-ap");
        EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(3));
    }
    EXPECT_EQ(save({{GID_DEVICE, "name", "new"}}), 0);
    device.said("rm $ZEVSIC_ROOT/tmp/sync_config");
    rlimit size{};
    getrlimit(RLIMIT_FSIZE, &size);
    const rlimit full{4000, size.rlim_max};
    signal(SIGXFSZ, SIG_IGN);
    EXPECT_EQ(told([&] {
                  setrlimit(RLIMIT_FSIZE, &full);
                  EXPECT_NE(save({{GID_DEVICE, "name", "late"}}), 0);
              }),
              "zevcfg: nothing was saved: " + file + ": disk I/O error\n");
    setrlimit(RLIMIT_FSIZE, &size);
    EXPECT_FALSE(device.has("/tmp/sync_config")) << "there is nothing to apply";
    EXPECT_EQ(get(working, "device", "name"), "new");
    chmod(folder.c_str(), 0);
    as_nobody([&] { EXPECT_FALSE(open_store(&why)); });
    EXPECT_EQ(why, file + ": Permission denied");
    chmod(folder.c_str(), 0700);
}

// What this program's store has more is added; nothing that was set is changed.
TEST_F(Store, AnOlderStoreGrowsAndANewerOneIsSaid) {
    const auto change = [](const std::vector<string> &statements) {
        string why;
        const Database db = open_store(&why);
        for (const string &sql : statements)
            EXPECT_TRUE(run(prepare(db.get(), sql.c_str()).get(), LAYER_FACTORY, {})) << sql << why;
    };
    const string look =
        "check; zevcfg get device desc; zevcfg get --current device desc; zevcfg get device name";
    for (const string task : {"init", "boot"}) {
        EXPECT_EQ(zevcfg("set device name mine"), "");
        change({"DELETE FROM items WHERE layer = 8 OR key = 'desc'", "PRAGMA user_version = 1",
                "PRAGMA application_id = 0"});
        EXPECT_EQ(zevcfg("check; zevcfg get device desc"), "zevcfg: no such item\nexit 4\n") << "readable";
        EXPECT_EQ(zevcfg(task), "");
        EXPECT_EQ(zevcfg(look), "Wireless Access Point\nWireless Access Point\nmine\n") << task;
        EXPECT_TRUE(has(device.said("file " + device.path("/var/lib/zevcfg/zevcfg.db")),
                        "application id 1515602758, user version 2"));
    }
    change({"PRAGMA user_version = 3"});
    const string file = device.path("/var/lib/zevcfg/zevcfg.db");
    const string newer = file + " was written by a newer version, in layout 3; this one knows those up to 2";
    for (const char *task : {"get device name", "init", "boot", "check"})
        EXPECT_TRUE(has(zevcfg(task), "zevcfg: " + newer + "\n")) << task;
    EXPECT_FALSE(device.has("/var/lib/zevcfg/zevcfg.db.damaged")) << "the newer program finds it";
    EXPECT_EQ(zevcfg("reset; zevcfg get device name"),
              "zevcfg: " + newer + "; kept as " + file +
                  ".damaged, in its place is the copy of the last apply that went well\nzevsic-ap\n");
}

TEST_F(Store, TheLogIsCutAndNoMemoryIsSaid) {
    const auto log_size = [&] { return device.read("/var/lib/zevcfg/zevcfg.db-wal").size(); };
    string lines;
    for (int i = 0; i < 1200; i++) lines += "t\tk" + std::to_string(i) + "\t" + string(4000, 'x') + "\n";
    device.write("/tmp/many", lines);
    EXPECT_EQ(get(working, "device", "name"), "zevsic-ap") << "a reader keeps the log";
    EXPECT_EQ(zevcfg("import $ZEVSIC_ROOT/tmp/many"), "");
    EXPECT_GT(log_size(), 1U << 20);
    EXPECT_EQ(zevcfg("set device name a; zevcfg set device name b"), "");
    EXPECT_LE(log_size(), 64U << 10);

    string why;
    StoreFault fault{};
    for (const long limit : {1L, 30'000L, 60'000L, 80'000L, 120'000L}) {
        close();
        sqlite3_hard_heap_limit64(limit);
        const bool opened = open_store(&why, PATIENCE_MS, &fault) != nullptr;
        EXPECT_TRUE(opened ? limit > 30'000 : fault == StoreFault::MOMENT) << limit;
        EXPECT_TRUE(check_store(&why) || !has(why, "damaged")) << limit << why;
        sqlite3_hard_heap_limit64(0);
        open();
        EXPECT_FALSE(device.has(DAMAGE_FILE)) << "it is no damage";
    }
    EXPECT_EQ(get(working, "device", "name"), "b");
}

TEST_F(Store, TheLockIsOneForTheMachineAndDiesWithItsHolder) {
    int lock = lock_zevcfg(6, 6);
    ASSERT_GT(lock, 0);
    EXPECT_LT(lock_zevcfg(6, 6), 0);
    EXPECT_EQ(zevcfg("lock true"), "zevcfg: the store is locked\nexit 1\n");
    unlock_zevcfg(lock + 1);
    EXPECT_LT(lock_zevcfg(6, 6), 0) << "another id freed it";
    unlock_zevcfg(lock);
    EXPECT_EQ(zevcfg("lock sh -c 'exit 7'"), "exit 7\n");

    // The holder is killed; the command it ran lives on, and holds nothing.
    const pid_t holder = device.start("zevcfg lock sh -c 'setsid sleep 5 & : >$ZEVSIC_ROOT/tmp/runs; wait'");
    EXPECT_TRUE(soon("the command runs", [&] { return device.has("/tmp/runs"); }));
    EXPECT_LT(lock_zevcfg(6, 6), 0);
    device.end(holder);
    lock = lock_zevcfg(6, 6);
    EXPECT_GT(lock, 0);
    unlock_zevcfg(lock);
}

TEST_F(Store, AppliesAndBootsWholeOrNotAtAll) {
    EXPECT_EQ(zevcfg("env set REBOOT_GROUPS device"), "");
    device.said("cd $ZEVSIC_ROOT/tmp; touch lock_snmp_apply_file lock_snmp_conf_backup; mkdir lock_snmp_web");
    const string see = "zevcfg get --current device name >>$ZEVSIC_ROOT/tmp/seen; ";
    const struct {
        const char *name;  // saved before
        string script;
        const char *task, *said, *running, *marker;
    } steps[] = {
        {"one", see + "! zevcfg lock true 2>/dev/null", "apply", "", "one", ""},
        {"two", "zevcfg set device name newer", "apply", "", "two", "1\n"},  // still to be applied
        {"three", "kill -9 $(cut -d' ' -f4 /proc/$PPID/stat)", "apply", "exit 137\n", "three", "1\n"},
        // What was in force before the one that was killed is back.
        {"four", "exit 3", "unset device location; zevcfg set --current device desc by-hand; zevcfg apply",
         "/etc/zevcfg/apply failed with status 3\nexit 1\n", "two", "1\n"},
        {"four", "exit 0", "diff device; zevcfg apply; zevcfg diff --exit-code",
         "device desc: by-hand -> Wireless Access Point\ndevice location:  -> (not set)\n"
         "device name: two -> four\n",
         "four", ""},
        // Not with the new name: the device starts with the old one.
        {"five", see + "tail -n1 $ZEVSIC_ROOT/tmp/seen | grep -q four", "boot", "exit 1\n", "four", "1\n"},
        {"six", "exit 0", "boot", "", "six", ""},
    };
    for (const auto &step : steps) {
        ASSERT_EQ(save({{GID_DEVICE, "name", step.name}}), 0);
        script(step.script);
        const string said = zevcfg(step.task);
        EXPECT_TRUE(has(said, step.said)) << step.name;
        EXPECT_EQ(has(said, "exit"), has(step.said, "exit")) << step.name;
        EXPECT_EQ(get(running, "device", "name"), step.running);
        EXPECT_EQ(device.read("/tmp/sync_config"), step.marker) << step.name;
    }
    EXPECT_EQ(device.read("/tmp/seen"), "one\nfive\nfour\n");
    EXPECT_EQ(device.said("ls $ZEVSIC_ROOT/tmp"), "seen\n");
    const auto log_size = [&] { return device.read("/var/lib/zevcfg/zevcfg.db-wal").size(); };
    ASSERT_EQ(save({{GID_DEVICE, "name", "seven"}}), 0);
    const auto before = log_size();
    EXPECT_EQ(apply_cfg(working), 0);
    EXPECT_LT(log_size() - before, 64U << 10) << "only what differs is written";
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child was left";
}

TEST_F(Store, TheDaemonIsToldOnceItsApplyLockIsGone) {
    device.write_tool("/zevsic",
                      "trap ': >$ZEVSIC_ROOT/told' USR2; : >$ZEVSIC_ROOT/runs\n"
                      "while [ ! -e $ZEVSIC_ROOT/told ]; do sleep 0.02; done");
    const pid_t daemon = device.start("$ZEVSIC_ROOT/zevsic");
    ASSERT_TRUE(soon("the daemon runs", [&] { return device.has("/runs"); }));
    // Nobody else has that name, and nobody else is told.
    device.write_tool("/zevsic-other", ": >$ZEVSIC_ROOT/other; while :; do sleep 0.02; done");
    const pid_t other = device.start("$ZEVSIC_ROOT/zevsic-other");
    ASSERT_TRUE(soon("the other runs", [&] { return device.has("/other"); }));
    for (const string &pid : {string(""), string("1"), string("x"), std::to_string(other)}) {
        device.write("/var/run/zevsic.pid", pid);
        EXPECT_FALSE(daemon_runs()) << pid;
    }
    device.write("/var/run/zevsic.pid", std::to_string(daemon) + "\n");
    EXPECT_TRUE(has(zevcfg("boot"), "exit 1\n")) << "while a daemon runs";
    device.write("/tmp/lock_snmp_apply_file", "");
    // What waits for the lock to go does not keep a pipe of the one who applied open.
    EXPECT_EQ(zevcfg("apply && echo applied"), "applied\n");
    usleep(100'000);
    EXPECT_FALSE(device.has("/told"));
    remove_device_file("/tmp/lock_snmp_apply_file");
    EXPECT_EQ(device.end(daemon, 0), 0);
}

// Run under the thread sanitizer too.
TEST_F(Store, ReadersGoOnWhileAnApplyRunsAndHandlesAreReopened) {
    ASSERT_EQ(save({{GID_DEVICE, "name", "new"}}), 0);
    script(
        "i=0; while [ ! -e $ZEVSIC_ROOT/tmp/go ]; do i=$((i + 1)); [ $i -lt 5000 ] || exit 1\n"
        "sleep 0.02; done");
    std::atomic<bool> done{false};
    std::atomic<int> result{-1};
    std::jthread apply([&] { result = apply_cfg(working); });
    zevcfg_handle *stale = working;
    std::jthread reader([&] {
        while (!done) EXPECT_EQ(get(stale, "device", "name"), "new");
    });
    while (get(running, "device", "name") != "new") std::this_thread::yield();  // the script runs
    for (int i = 0; i < 20; i++) {
        close();
        open();
        EXPECT_EQ(get(running, "device", "name"), "new");
    }
    device.write("/tmp/go", "");
    apply.join();
    done = true;
    reader.join();
    EXPECT_EQ(result, 0);
}

TEST_F(Store, BandSteeringFollowsRadiosAndTwinsOfTheOtherRadio) {
    ASSERT_EQ(save({{gid_vap[0], "ssid", "same"}, {gid_vap[16], "ssid", "same"}}), 0);
    const std::vector<QueuedTriple> pair = {
        {gid_rf[0], "band_steering", "enable"}, {gid_vap[0], "ssid", "b"}, {gid_vap[17], "state", "enable"}};
    const struct {
        std::vector<QueuedTriple> queued;
        const char *steering;
        int place;         // radio and VAP that are set, from 0; −1: the radios' switch
        const char *ssid;  // of the VAP, which is on
        std::set<unsigned> steered;
    } steps[] = {
        {{}, "enable", -1, nullptr, {gid_vap[0], gid_vap[16]}},
        {{}, "disable", -1, nullptr, {}},
        {{{gid_vap[16], "state", "disable"}}, "enable", -1, nullptr, {}},
        {{{gid_vap[16], "state", "enable"}}, "enable", -1, nullptr, {gid_vap[0], gid_vap[16]}},
        {{{gid_rf[1], "band_steering", "enable"}}, "enable", 0, "other", {}},  // a twin renamed
        {pair, "enable", 1, "b", {gid_vap[0], gid_vap[17]}},
    };
    for (const auto &step : steps) {
        const auto check = [&](cfg_item *head) {
            return check_vap_band_steering(working, step.steering, head, step.place, step.place, step.ssid,
                                           step.ssid ? "enable" : nullptr);
        };
        cfg_item *head = check(queue(step.queued));
        ASSERT_EQ(set_cfg_items_snmp(working, head), 0);
        free_item_list(head);
        std::set<unsigned> steered;
        for (const unsigned id : gid_vap) {
            char text[STORE_TEXT_SIZE] = "";
            get_cfg_item(working, id, "band_steer", text);
            if (string(text) == "enable") steered.insert(id);
        }
        EXPECT_EQ(steered, step.steered) << "step " << &step - steps;
        EXPECT_EQ(check(nullptr), nullptr) << "nothing is left to do";
    }
}

TEST_F(Store, ExportAndImportRoundTripAnyValue) {
    int count = 0;
    for (const char *value :
         {"", " a b ", "tab\tnew\nline\\n", "-95", "--current", "\"q\" 'q'", "\xff\x01\r"}) {
        const string item = " t k" + std::to_string(count++);
        EXPECT_EQ(zevcfg("set" + item + " '" + inside_single_quotes(value) + "'; zevcfg get" + item),
                  string(value) + "\n");
    }
    const string before = zevcfg("export");
    device.write("/tmp/all", before);
    EXPECT_EQ(zevcfg("reset; zevcfg set device name x; zevcfg import $ZEVSIC_ROOT/tmp/all; zevcfg export"),
              before);
    EXPECT_EQ(zevcfg("export --current t"), "");
    for (const char *bad : {"t\tk0\tnew\nt\tk1\n", "t\tk0\tnew\nt\tk\ta\\x\n", "t\tk0\tnew\n\tk\tv\n"}) {
        device.write("/tmp/bad", bad);
        EXPECT_EQ(zevcfg("import <$ZEVSIC_ROOT/tmp/bad"),
                  "zevcfg: line 2 is not GROUP<TAB>KEY<TAB>VALUE\nexit 1\n");
    }
    EXPECT_EQ(zevcfg("export"), before);
}
