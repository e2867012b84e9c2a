// Transfers over TFTP and FTP: the commands to the byte, hostile texts in them, and the objects with tools
// that record how they were called. Real servers are met in transfer_servers_test.cpp.
#include <crypt.h>

#include <algorithm>
#include <cerrno>
#include <random>

#include "handler/transfer_commands.h"
#include "tests/unit/agent_fixture.h"

using enum Operation;
using enum Protocol;

TEST(TransferCommands, OrdinaryTextsStandAsTheyAre) {
    const auto commands = [](Operation operation, Protocol protocol) {
        const TransferCommands c = transfer_commands(
            operation, protocol, {"10.0.0.9", "ap-1_backup.cfg", "operator", "S3cret:+@%,", "07abc./XYZ12"});
        return c.first + " THEN " + c.second;
    };
    const std::string wget = "wget -c -O ";
    const std::string cookie = " --header 'Cookie: username=admin;password=07abc./XYZ12' 'http://127.0.0.1/";
    EXPECT_EQ(commands(UPGRADE, TFTP),
              wget + "/tmp/up_tftp_status.txt" + cookie +
                  "tftp_firmware_upgrade.egi?ipaddr=10.0.0.9&port=69&filename=ap-1_backup.cfg' THEN ");
    EXPECT_EQ(commands(RESTORE, TFTP),
              "tftp -g -r ap-1_backup.cfg -l /tmp/tftp_backup.cfg 10.0.0.9 >/dev/null 2>&1 THEN " + wget +
                  "/tmp/up_tftp_status.txt" + cookie +
                  "upload.asp?type=config&filename=/tmp/tftp_backup.cfg&filesize=");
    EXPECT_EQ(commands(BACKUP, FTP),
              wget + "/tmp/ftp_backup.cfg" + cookie +
                  "backupCfg.egi' THEN ftpput -u operator -p S3cret:+@%, 10.0.0.9 ap-1_backup.cfg "
                  "/tmp/ftp_backup.cfg >/dev/null 2>&1 && rm /tmp/ftp_backup.cfg");
}

// ---- hostile texts against a real shell ----

// Writes its name and its arguments, each with a NUL behind it.
static const char *const RECORD = "{ printf '%s\\0' \"${0##*/}\" \"$@\"; } >> \"$ZEVSIC_ROOT/calls\"";

static Texts split(const std::string &text, char separator) {
    Texts pieces;
    for (size_t from = 0, to = 0; from < text.size(); from = to + 1) {
        to = std::min(text.find(separator, from), text.size());
        pieces.push_back(text.substr(from, to - from));
    }
    return pieces;
}

static std::string percent_decoded(std::string text) {
    for (size_t at = 0; (at = text.find('%', at)) != std::string::npos; at++)
        text.replace(at, 3, 1, static_cast<char>(std::stoi(text.substr(at + 1, 2), nullptr, 16)));
    return text;
}

// Shell metacharacters, commands that would leave a file behind, and any byte but NUL.
static std::string hostile_text(std::mt19937 &random) {
    static const Texts pieces = split(
        "'Z\"Z ZZ\nZ;Z$(touch smuggled)Z`touch smuggled`Z\\Z&Z%Z-Z#Z; touch smuggled #Z${x}Z*Z~Z=Z-rfZ"
        "' touch smuggled 'Z| touch smuggledZ> smuggledZ\tZaZ9Z&& touch smuggled",
        'Z');
    std::string text;
    for (auto count = random() % 7; count > 0; count--)
        text += random() % 4 ? pieces[random() % pieces.size()] : std::string(1, 1 + random() % 255);
    return text;
}

TEST(TransferCommands, HostileTextsReachTheirToolAndNothingElse) {
    DeviceRoot root;
    for (const char *tool : {"wget", "tftp", "ftpput", "ftpget"})
        root.write_tool(std::string("/bin/") + tool, RECORD);
    const std::string old_folder = std::filesystem::current_path();
    prepare_tools();
    std::filesystem::create_directory(root.path("/folder"));
    std::filesystem::current_path(root.path("/folder"));
    const std::string files[] = {root.path("/tmp/tftp_backup.cfg"), root.path("/tmp/ftp_backup.cfg")};

    // Of the one command that has the texts.
    const auto calls_of = [&](Operation operation, Protocol protocol, const TransferSettings &settings) {
        const TransferCommands commands = transfer_commands(operation, protocol, settings);
        root.write("/calls", "");
        EXPECT_EQ(run_command(operation == BACKUP ? commands.second : commands.first), 0);
        return split(root.read("/calls"), '\0');
    };
    const auto with_operands = [](Texts words, const Texts &operands) {
        const auto is_option = [](const std::string &operand) { return operand.starts_with('-'); };
        if (std::any_of(operands.begin(), operands.end(), is_option)) words.emplace_back("--");
        words.insert(words.end(), operands.begin(), operands.end());
        return words;
    };
    std::mt19937 random(20240229);
    for (int round = 0; round < 60; round++) {
        const auto text = [&] { return hostile_text(random); };
        const TransferSettings s{text(), text(), text(), text(), text()};
        root.write("/tmp/tftp_backup.cfg", "");
        root.write("/tmp/ftp_backup.cfg", "");
        EXPECT_EQ(calls_of(BACKUP, TFTP, s),
                  with_operands({"tftp", "-p", "-r", s.file, "-l", files[0]}, {s.server}));
        EXPECT_EQ(calls_of(BACKUP, FTP, s),
                  with_operands({"ftpput", "-u", s.user, "-p", s.password}, {s.server, s.file, files[1]}));
        EXPECT_EQ(calls_of(RESTORE, TFTP, s),
                  with_operands({"tftp", "-g", "-r", s.file, "-l", files[0]}, {s.server}));
        EXPECT_EQ(calls_of(RESTORE, FTP, s),
                  with_operands({"ftpget", "-u", s.user, "-p", s.password}, {s.server, files[1], s.file}));
        const Texts call = calls_of(UPGRADE, FTP, s);
        ASSERT_EQ(call.size(), 7U);
        EXPECT_EQ(call[5], "Cookie: username=admin;password=" + s.web_password);
        Texts parameters = split(call[6], '&');
        ASSERT_EQ(parameters.size(), 6U) << call[6];
        for (std::string &parameter : parameters) parameter = percent_decoded(parameter);
        EXPECT_EQ(parameters,
                  (Texts{"http://127.0.0.1/tftp_firmware_upgrade.egi?ipaddr=" + s.server, "port=21",
                         "filename=" + s.file, "username=" + s.user, "password=" + s.password, "ftp=1"}));
        ASSERT_TRUE(std::filesystem::is_empty(root.path("/folder"))) << "something smuggled in has run";
    }
    std::filesystem::current_path(old_folder);
}

// ---- the objects ----

// Has a tool wait until the test has looked.
static const std::string HOLD = "while [ ! -e \"$ZEVSIC_ROOT/go\" ]; do sleep 0.01; done\n";

class TransferTest : public AgentTest {
  protected:
    TransferTest() {
        fake.item("admin", "password", "secret");
        fake.item("snmp", "sample_time", "0");
        build();
        for (const char *tool : {"wget", "tftp", "ftpput", "ftpget"}) write_tool(tool, "");
        prepare_tools();
    }
    // A tool that records its call, then does what `script` says.
    void write_tool(const std::string &name, const std::string &script) const {
        root.write_tool("/bin/" + name, std::string(RECORD) + "\n" + script);
    }
    static void choose_tftp(int direction) {
        EXPECT_EQ(set("1.63.1.0", "ipaddress 10.0.0.9"), STATUS_ACCEPTED);
        EXPECT_EQ(set("1.63.2.0", "string \"a.cfg\""), STATUS_ACCEPTED);
        EXPECT_EQ(set("1.63.3.0", "integer " + std::to_string(direction)), STATUS_ACCEPTED);
    }
    static int start_tftp(int command) { return set("1.63.4.0", "integer " + std::to_string(command)); }
    static std::string status() { return get("1.63.5.0").value; }
    bool ends() const {
        return eventually(
            [&] { return !root.has("/tmp/lock_snmp_web") && !root.has("/tmp/lock_snmp_conf_backup"); });
    }
};

TEST_F(TransferTest, IsRefusedUntilAllIsSetAndWhileAnotherRuns) {
    zevap->sample_time = 100;
    EXPECT_EQ(get("1.63.4.0").value, "0");
    EXPECT_EQ(start_tftp(1), STATUS_WRONG_VALUE) << "nothing is set";
    EXPECT_EQ(get("1.63.4.0").value, "1") << "the last written code, refused or not";
    choose_tftp(2);
    EXPECT_EQ(start_tftp(1), STATUS_WRONG_VALUE) << "the wrong direction";
    root.write("/tmp/lock_snmp_conf_backup", "1\n");
    EXPECT_EQ(start_tftp(2), STATUS_WRONG_VALUE) << "one is running";
    std::filesystem::remove(root.path("/tmp/lock_snmp_conf_backup"));

    set("1.64.1.0", "ipaddress 10.0.0.9");
    set("1.64.4.0", "string \"f\"");
    set("1.64.5.0", "integer 2");
    set("1.64.2.0", "string \"me\"");
    EXPECT_EQ(set("1.64.6.0", "integer 2"), STATUS_WRONG_VALUE) << "no password";
    EXPECT_EQ(set("1.63.4.0", "integer 1x"), STATUS_WRONG_VALUE);
    EXPECT_FALSE(root.has("/calls"));
    build();
    EXPECT_EQ(get("1.64.2.0").value, "none") << "a rebuild forgets";
}

// Nor do they stay, and a tool that removes its file lets none in.
TEST_F(TransferTest, AStrangersFilesDoNotCount) {
    const char *const files[] = {"/tmp/lock_snmp_web", "/tmp/lock_snmp_conf_backup", "/tmp/tftp_backup.cfg",
                                 "/tmp/up_tftp_status.txt"};
    choose_tftp(2);
    zevap->tftp_update_command = 2;
    for (size_t way = 0; root.put_strangers_file(files[0], way); way++) {
        for (const char *file : files) root.put_strangers_file(file, way);
        EXPECT_EQ(status(), "0") << way;
        for (const char *file : files) EXPECT_EQ(file_owner(file), FileOwner::NOBODY) << file << " " << way;
        for (const char *file : files) root.put_strangers_file(file, way);
        EXPECT_EQ(start_tftp(2), STATUS_ACCEPTED) << way;
        EXPECT_TRUE(soon(
            "the backup ends well", [] { return status() == "0"; }, status))
            << way;
        EXPECT_EQ(root.read("/tmp/victim"), "precious\n");
    }
    choose_tftp(1);
    write_tool("tftp", "rm \"$5\"; ln -s victim \"$5\"");
    EXPECT_EQ(start_tftp(3), STATUS_ACCEPTED);
    EXPECT_TRUE(ends());
    EXPECT_FALSE(has(root.read("/calls"), "upload.asp"));
}

TEST_F(TransferTest, BackupStates) {
    choose_tftp(2);
    // The page comes into a file that is new, private and empty; a link put there is not followed.
    root.write("/tmp/victim", "unharmed");
    std::filesystem::create_symlink(root.path("/tmp/victim"), root.path("/tmp/tftp_backup.cfg"));
    write_tool("wget", HOLD +
                           "stat -c %a,%s,%F \"$3\" > \"$ZEVSIC_ROOT/facts\"; umask >> "
                           "\"$ZEVSIC_ROOT/facts\"; echo config > \"$3\"");
    write_tool("tftp", "exit 1");
    zevap->sample_time = 100;
    EXPECT_EQ(status() + get("1.64.7.0").value, "00");
    const std::string trace = traced([] { EXPECT_EQ(start_tftp(2), STATUS_ACCEPTED); });
    EXPECT_EQ(status(), "2") << "at once: what was shown for the transfer before is forgotten";
    EXPECT_EQ(get("1.64.7.0").value, "2") << "both protocols share the lock";
    zevap->sample_time = 0;
    root.write("/go", "");
    ASSERT_TRUE(ends());
    EXPECT_EQ(status(), "5") << "the upload failed";
    EXPECT_EQ(get("1.64.7.0").value, "0");
    EXPECT_EQ(root.read("/facts"), "600,0,regular empty file\n0077\n");
    EXPECT_EQ(root.read("/tmp/victim"), "unharmed");
    const std::string hash = split(root.read("/calls"), '\0')[5].substr(32);
    EXPECT_EQ(hash, crypt("secret", hash.substr(0, 2).c_str()))
        << "behind \"Cookie: username=admin;password=\"";
    EXPECT_EQ(hash.substr(0, 2).find_first_not_of("0123456789"), std::string::npos);
    EXPECT_NE(trace.find("action:2,server ip:10.0.0.9,remotefile:a.cfg\n"), std::string::npos);
    EXPECT_NE(trace.find("cmd:wget -c -O " + root.path("/tmp/tftp_backup.cfg")), std::string::npos);
    EXPECT_NE(trace.find("',next_cmd:tftp -p -r a.cfg"), std::string::npos);

    EXPECT_EQ(start_tftp(0), STATUS_ACCEPTED);
    EXPECT_EQ(status(), "0");
    EXPECT_FALSE(root.has("/tmp/tftp_backup.cfg"));
}

// The first command failed, or did not, and left something or nothing: only failed and nothing ends it.
TEST_F(TransferTest, NothingIsPassedOnWhenNothingCame) {
    const std::string EMPTY = ": > \"$file\"; ", NONE = "rm \"$file\"; ", SOME = "echo x > \"$file\"; ";
    const struct {
        int command;
        std::string first;
        bool second_runs;
        const char *status;
        bool file_stays;
    } cases[] = {
        {2, "exit 8", false, "5", true},         {2, NONE + "exit 1", false, "5", true},
        {2, "kill -9 $$", false, "5", true},     {2, EMPTY + "exit 0", true, "5", true},
        {2, SOME + "exit 1", true, "5", true},   {3, "exit 1", false, "6", false},
        {3, NONE + "exit 1", false, "6", false}, {3, EMPTY, true, "6", true},
        {3, SOME + "exit 1", true, "6", true},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(std::to_string(c.command) + " " + c.first);
        const bool backup = c.command == 2;
        choose_tftp(backup ? 2 : 1);
        write_tool(backup ? "wget" : "tftp", (backup ? "file=$3; " : "file=$5; ") + c.first);
        write_tool(backup ? "tftp" : "wget", "touch \"$ZEVSIC_ROOT/second\"; exit 1");
        EXPECT_EQ(start_tftp(c.command), STATUS_ACCEPTED);
        ASSERT_TRUE(ends());
        EXPECT_EQ(std::filesystem::remove(root.path("/second")), c.second_runs);
        EXPECT_EQ(status(), c.status);
        EXPECT_EQ(root.has("/tmp/tftp_backup.cfg"), c.file_stays);
    }
}

TEST_F(TransferTest, TheProcessIsOnItsOwn) {
    choose_tftp(2);
    // Descriptors (the last is the listing's own), signals and session as tools get them, then an end by
    // force.
    write_tool("wget",
               "ls /proc/self/fd > \"$ZEVSIC_ROOT/fds\"\n"
               "grep -E '^Sig(Blk|Ign)' /proc/self/status | cut -f2 | sort -u > \"$ZEVSIC_ROOT/signals\"\n"
               "cut -d' ' -f6 /proc/self/stat > \"$ZEVSIC_ROOT/session\"\n"
               "echo config > \"$3\"; kill -9 $$");
    write_tool("tftp", "kill -9 $$");
    void (*const old)(int) = signal(SIGPIPE, SIG_IGN);
    const int inherited = dup(0);  // not close-on-exec
    EXPECT_EQ(start_tftp(2), STATUS_ACCEPTED);
    close(inherited);
    signal(SIGPIPE, old);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "no child is left to wait for";
    EXPECT_EQ(errno, ECHILD);
    ASSERT_TRUE(ends()) << "the lock goes whatever became of the commands";
    EXPECT_EQ(split(root.read("/calls"), '\0').size(), 7U + 7U) << "the second command ran all the same";
    EXPECT_EQ(root.read("/fds"), "0\n1\n2\n3\n");
    EXPECT_EQ(root.read("/signals"), "0000000000000000\n");
    EXPECT_NE(std::stoi(root.read("/session")), getsid(0));
}
