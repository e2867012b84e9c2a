// The device root, quoting, running tools, and the radios' facts.
#include "platform/device.h"

#include <algorithm>

#include "platform/k480ext.h"
#include "tests/device_root.h"

using std::string;

class Device : public testing::Test {
  protected:
    DeviceRoot root;
};

TEST_F(Device, WordsOfCommands) {
    const std::pair<string, string> words[] = {
        {shell_word("a._-/:@%+,Z9"), "a._-/:@%+,Z9"},
        {shell_word(""), "''"},
        {shell_word("~"), "'~'"},
        {inside_single_quotes("a'b"), "a'\\''b"},
        {url_text("a b&c/~%"), "a%20b%26c/~%25"},
        {url_text("\xc3'"), "%C3%27"},
        {shell_word(string("a'\0; echo out", 13)), shell_word("a'")},
    };
    for (const auto &[word, expected] : words) EXPECT_EQ(word, expected);
    EXPECT_EQ(run_command(string("true\0", 5)), -1);
}

TEST_F(Device, CommandsGiveTheirStatusAndInheritNothing) {
    for (const int number : {SIGUSR2, SIGPIPE}) signal(number, SIG_IGN);
    sigset_t blocked, before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR2);
    sigprocmask(SIG_BLOCK, &blocked, &before);
    ASSERT_EQ(dup2(STDERR_FILENO, 57), 57);
    EXPECT_EQ(run_command("exit 7"), 7);
    EXPECT_EQ(run_command("kill -USR2 $$"), 128 + SIGUSR2);
    EXPECT_EQ(run_command("[ -e /proc/$$/fd/57 ]"), 1);
    EXPECT_EQ(run_command("kill -PIPE $$"), 128 + SIGPIPE);
    EXPECT_EQ(read_command("echo a; exit 3").text, "a\n");
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child was left";
    close(57);
    sigprocmask(SIG_SETMASK, &before, nullptr);
    for (const int number : {SIGUSR2, SIGPIPE}) signal(number, SIG_DFL);
}

// The tools of one request, none of which does what it should.
TEST_F(Device, ToolsThatDoNotEnd) {
    const int whole_limit = tool_time_limit;
    const string child = " & echo $! >>\"$ZEVSIC_ROOT/tmp/children\"; ";
    const struct {
        string command, text;
        int cut_short;
    } cases[] = {
        {"sleep 60" + child + "wait", "", 1},
        {"while :; do printf x; sleep 0.02; done", "", 1},
        {"echo one; printf two; sleep 60" + child + "wait", "one\n", 1},
        {"echo one; exec >&- 2>&-; sleep 60" + child + "wait", "one\n", 1},
        {"printf one; sleep 60" + child, "one", 0},  // the child holds the output
        {"echo one; sleep 60 >/dev/null 2>&1" + child, "one\n", 0},
        {"while :; do echo one; done >&2", "", 0},  // ends when nobody reads it any more
    };
    for (const bool busybox : {false, true}) {
        if (busybox && access("/bin/busybox", X_OK) != 0) continue;
        for (const auto &c : cases) {
            const auto descriptors = std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
            const auto start = std::chrono::steady_clock::now();
            tool_time_limit = c.cut_short ? 300 : whole_limit;
            begin_tools();
            const string command = busybox ? "exec busybox sh -c " + shell_word(c.command) : c.command;
            const CommandOutput output = read_command(command);
            EXPECT_TRUE(output.started);
            EXPECT_EQ(output.text, c.text) << command;
            EXPECT_EQ(tools_cut_short(), c.cut_short) << command;
            // The time is the request's: nothing is left for the tools behind, and the next one has its own.
            EXPECT_EQ(read_command("echo next").text, c.cut_short ? "" : "next\n");
            EXPECT_EQ(run_command("exit 3"), c.cut_short ? -1 : 3);
            EXPECT_EQ(tools_cut_short(), 3 * c.cut_short);
            EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20)) << command;
            end_tools();
            EXPECT_EQ(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}), descriptors);
            EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << command;
        }
    }
    tool_time_limit = 300;
    begin_tools();
    EXPECT_EQ(run_command("sleep 60" + child + "wait"), -1);
    end_tools();
    const string alive =
        "grep -L 'State:.Z' $(sed 's#.*#/proc/&/status#' $ZEVSIC_ROOT/tmp/children) 2>/dev/null";
    EXPECT_TRUE(soon(
        "no child is left", [&] { return !has(root.said(alive), "/proc"); },
        [&] { return root.said(alive); }));
    tool_time_limit = whole_limit;
}

TEST_F(Device, WhatToolsSayIsBoundedAndSaidOnce) {
    string output;
    const auto said = [&](const string &command) {
        testing::internal::CaptureStderr();
        output = read_command(command).text;
        return testing::internal::GetCapturedStderr();
    };
    const auto lines = [](const string &text) { return std::count(text.begin(), text.end(), '\n'); };
    forget_reports();
    EXPECT_TRUE(has(said("/no-such-tool; echo b >&2; echo b >&2"), "not found\nzevsic: b\n"));
    EXPECT_EQ(said("/no-such-tool | cat; echo b >&2"), "");
    EXPECT_EQ(lines(said("for i in $(seq 200); do echo $i >&2; done")), 99) << "with one line that says so";
    forget_reports();
    EXPECT_NE(said("/no-such-tool"), "");
    EXPECT_EQ(lines(said("head -c 5000000 /dev/zero")), 1);
    EXPECT_EQ(output, "");
    EXPECT_EQ(lines(said("yes 123456")), 1) << "which would go on for ever";
    EXPECT_EQ(output.size(), COMMAND_OUTPUT_LIMIT / 7 * 7);
    EXPECT_EQ(said("printf %0100000d 0"), "");
    EXPECT_EQ(output.size(), 100'000U);
    forget_reports();
}

TEST_F(Device, ToolsAreTheRootsOwn) {
    // Of these the machine's are never run, whatever PATH says. They would do no harm.
    for (const char *command : {"date +%Y", " reboot --help", "/sbin/reboot --help", "date;true"}) {
        EXPECT_EQ(run_command(command), -1) << command;
        EXPECT_FALSE(read_command(command).started) << command;
    }
    root.write_tool("/sbin/date", "echo \"own $*\"");
    EXPECT_EQ(read_command("date 0101 x").text, "own 0101 x\n");
    EXPECT_EQ(run_command("reboot --help"), -1);
    EXPECT_EQ(run_command("true date"), 0);

    const char *path = getenv("PATH");
    const string before = path ? path : "";
    root.write_tool("/sbin/ifconfig", "echo $LC_ALL $LANGUAGE");
    setenv("LANGUAGE", "de", 1);
    prepare_tools();
    prepare_tools();
    EXPECT_EQ(getenv("PATH"), root.path("/sbin:") + root.path("/bin:") + root.path("/usr/bin:") + before);
    EXPECT_EQ(read_command("ifconfig").text, "C.UTF-8\n");
    setenv("PATH", before.c_str(), 1);
}

TEST_F(Device, FilesBelowTmpAreNeitherFollowedNorWaitedFor) {
    root.write("/etc/secret", "secret");
    string text;
    root.said("cd $ZEVSIC_ROOT/tmp; ln -s ../etc/secret link; mkfifo pipe");
    EXPECT_FALSE(read_device_file("/tmp/link", 100, &text));
    EXPECT_FALSE(read_device_file("/tmp/pipe", 100, &text));
    EXPECT_FALSE(create_lock_file("/tmp/link"));
    EXPECT_EQ(open_device_file("/tmp/link", O_RDONLY), -1);
    EXPECT_TRUE(read_device_file("/etc/secret", 3, &text));
    EXPECT_EQ(text, "sec");
    // A lock file is made once and holds the time.
    const long before = time(nullptr);
    EXPECT_TRUE(create_lock_file("/tmp/lock"));
    EXPECT_FALSE(create_lock_file("/tmp/lock"));
    const long made = atol(root.read("/tmp/lock").c_str());
    EXPECT_EQ(root.read("/tmp/lock"), std::to_string(made) + "\n");
    EXPECT_TRUE(made >= before && made <= time(nullptr)) << made;
    remove_device_file("/tmp/lock");
    EXPECT_FALSE(device_file_exists("/tmp/lock"));
}

// A line for each of three radios (offload, chains, VAP 16, capabilities, power levels, enabled VAP), of
// which the last is none, and for each station of that VAP.
static string radio_facts() {
    std::ostringstream out;
    for (int radio = 0; radio < 3; radio++) {
        char vap[IFNAME_SIZE] = "-", enabled[IFNAME_SIZE] = "-";
        unsigned capability = 0;
        out << rf_is_offload(radio) << " " << get_txchainmask(radio) << " ";
        out << get_ifname_by_idx(IFNAME_VAP, radio, 15, vap) << " " << vap << " ";
        out << get_rf_capable_mode(radio + 1, &capability) << " " << capability << " ";
        out << get_max_txpwr_level(radio + 1) << " " << find_enabled_vap(radio + 1, enabled) << " " << enabled
            << "\n";
    }
    sta_entry *list = get_sta_list("ath0ap15");
    for (const sta_entry *entry = list; entry; entry = entry->next)
        out << entry->mac << " " << entry->rssi << " " << entry->tx_bytes << " " << entry->rx_bytes << "\n";
    free_sta_list(list);
    return out.str();
}

TEST_F(Device, FactsAreReadAgainWhenTheyChangeAndBadLinesAreSkipped) {
    const string none = "0 0 0 - 0 0 0 0 -\n", no_radio = "0 0 0 - -1 0 0 0 -\n";
    EXPECT_EQ(radio_facts(), none + none + no_radio);
    root.write(
        "/etc/k480ext.conf",
        "# radios\n"
        "radio2.offload = 1\nradio1.capability = 0x20\nradio1.txpower_levels=8\nradio2.chain_mask = 7\r\n"
        "vap1.16.ifname = ath0ap15\nradio1.enabled_vap = ath0ap15\n"
        "station = ath0ap15 00:1a:2b:3c:4d:5e 0x28 4294967301 05678\n"
        "station = ath0ap15 02:00:00:00:00:01 -5 0 18446744073709551615\n"
        "nonsense\nradio3.offload = 1\nradio1.offload = many\nvap1.17.ifname = x\nvap1.1.name = x\nvap1.1 = "
        "x\n"
        "station = ath0ap15 00:1a:2b:3c:4d 40 1 2\nstation = ath0ap15 00:1a:2b:3c:4d:5e 40\n"
        "station = ath0ap15 00:1a:2b:3c:4d:-1 40 1 2\nstation = ath0ap15 0x:1a:2b:3c:4d:5e 40 1 2\n"
        "station = ath0ap15 00:1a:2b:3c:4d:5e 2147483648 1 2\nstation = ath0ap15 00:1a:2b:3c:4d:5e 40 -1 2\n"
        "station = ath0ap15 00:1a:2b:3c:4d:5e +4 1 2\nstation = ath0ap15 00:1a:2b:3c:4d:5e 40 1 2 3\n"
        "station = ath0ap15 00:1a:2b:3c:4d:5e 40 1 18446744073709551616\n"
        "station = ath0/ 00:1a:2b:3c:4d:5e 4 1 2\n"
        "radio1.chain_mask = 0x\nradio1.chain_mask = +3\nradio+1.offload = 1\nvap1.-1.ifname = x\n"
        "vap1.2.ifname = " +
            string(64, 'x') + "\nradio1.chain_mask =\n");
    testing::internal::CaptureStderr();
    const string facts = radio_facts();
    const string reports = testing::internal::GetCapturedStderr();
    EXPECT_EQ(facts,
              "0 0 1 ath0ap15 0 32 8 1 ath0ap15\n1 7 0 - 0 0 0 0 -\n" + no_radio +
                  "00:1a:2b:3c:4d:5e 40 4294967301 5678\n02:00:00:00:00:01 -5 0 18446744073709551615\n");
    EXPECT_EQ(std::count(reports.begin(), reports.end(), '\n'), 22) << reports;
    root.write("/etc/k480ext.conf", "radio2.offload = 1\nvap1.1.ifname = ath0ap0\nvap1.2.ifname = ath0ap1\n");
    const string rest = "1 0 0 - 0 0 0 0 -\n" + no_radio;
    EXPECT_EQ(radio_facts(), none + rest);
    // Without a line of its own the enabled VAP is the store's first with an interface.
    EXPECT_EQ(root.said("zevcfg init; zevcfg set rf1_vap1 state disable; zevcfg set rf1_vap2 state enable"),
              "");
    EXPECT_EQ(radio_facts(), "0 0 0 - 0 0 0 1 ath0ap1\n" + rest);
}
