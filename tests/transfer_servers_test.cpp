// Transfers that really happen: the daemon, a TFTP server, an FTP server and a web server that plays the
// device's pages, all in a network namespace of the test's own, where their ports are free.
#include <crypt.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <random>
#include <vector>

#include "platform/device.h"
#include "tests/device_root.h"

namespace {

// Takes the calling thread, and with it all processes it starts, into a network of its own.
class OwnNetwork {
  public:
    OwnNetwork() : before_(open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC)) {
        made_ = before_ >= 0 && unshare(CLONE_NEWNET) == 0;
        if (!made_) return;
        const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        ifreq loopback{};
        strcpy(loopback.ifr_name, "lo");
        loopback.ifr_flags = IFF_UP;
        made_ = ioctl(fd, SIOCSIFFLAGS, &loopback) == 0;
        close(fd);
    }
    ~OwnNetwork() {
        if (setns(before_, CLONE_NEWNET) != 0 && made_) abort();
        close(before_);
    }
    OwnNetwork(const OwnNetwork &) = delete;
    OwnNetwork &operator=(const OwnNetwork &) = delete;
    bool made() const { return made_; }

  private:
    int before_;
    bool made_;
};

template <typename Condition>
bool comes_true(Condition condition) {
    for (int i = 0; i < 1500; i++) {
        if (condition()) return true;
        usleep(20000);
    }
    return false;
}

// What the pages share: where the device is, and the value of a parameter of the request.
const char *const PAGE_START =
    "root=%ROOT%\n"
    "printf 'Content-Type: application/octet-stream\\r\\n\\r\\n'\n"
    "printf '%s' \"$HTTP_COOKIE\" > \"$root/cookie\"\n"
    "while [ ! -e \"$root/go\" ]; do sleep 0.05; done\n"
    "value() { busybox httpd -d \"$(printf '%s' \"$QUERY_STRING\" | tr '&' '\\n' | sed -n \"s/^$1=//p\")\"; "
    "}\n";

const char *const BACKUP_PAGE = "cat \"$root/config\"";

// Fetches the firmware itself, as the device's page does.
const char *const UPGRADE_PAGE =
    "if [ \"$(value ftp)\" = 1 ]; then\n"
    "    busybox ftpget -u \"$(value username)\" -p \"$(value password)\" -P \"$(value port)\" -- \\\n"
    "        \"$(value ipaddr)\" \"$root/firmware\" \"$(value filename)\"\n"
    "else\n"
    "    busybox tftp -g -r \"$(value filename)\" -l \"$root/firmware\" \"$(value ipaddr)\" \"$(value "
    "port)\"\n"
    "fi >/dev/null 2>&1 && echo '<a href=\"rebooting.asp\">' || echo failed";

const char *const UPLOAD_PAGE =
    "file=$(value filename)\n"
    "[ \"$(value type)\" = config ] && [ \"$(value filesize)\" != 0 ] &&\n"
    "    [ \"$(stat -c %s \"$file\")\" = \"$(value filesize)\" ] && cp \"$file\" \"$root/restored\" &&\n"
    "    echo '<a href=\"rebooting.asp\">' || echo failed";

const std::string FTP_USER = "an 'operator'";
const std::string FTP_PASSWORD = "p'a $w;`d`&%41";
const std::string HOSTILE_NAME = "-b 'x' $(y) `z`;&%41\".cfg";

class TransferServersTest : public testing::Test {
  protected:
    void SetUp() override {
        for (const char *tool :
             {"/usr/sbin/in.tftpd", "/usr/bin/busybox", "/usr/bin/wget", "/usr/bin/python3"})
            if (access(tool, X_OK) != 0) GTEST_SKIP() << "needs " << tool;
        if (run_command("/usr/bin/python3 -c 'import pyftpdlib' 2>/dev/null") != 0)
            GTEST_SKIP() << "needs the FTP server pyftpdlib";
        if (!network.made()) GTEST_SKIP() << "a network namespace cannot be made here";
        for (const char *name : {"http_proxy", "HTTP_PROXY"}) unsetenv(name);
        setenv("HOME", root.path("").c_str(), 1);  // wget's own settings are not the device's
        make_device();
        start("busybox httpd -f -p 127.0.0.1:80 -h " + root.path("/www") + " -c " + root.path("/httpd.conf"));
        start("/usr/sbin/in.tftpd -4 -L -c -s -u root " + root.path("/srv"));
        start("/usr/bin/python3 -m pyftpdlib -i 127.0.0.1 -p 21 -w -d " + root.path("/srv") + " -u " +
              shell_word(FTP_USER) + " -P " + shell_word(FTP_PASSWORD));
        daemon = start(std::string(ZEVSIC_BIN_DIR) + "/zevsic -d 0");
        ASSERT_TRUE(comes_true([&] {
            return network_has("tcp", ":0050 ") && network_has("tcp", ":0015 ") &&
                   network_has("udp", ":0045 ") && root.has("/tmp/zevsic_sock");
        }));
    }
    void TearDown() override {
        while (!started.empty()) end(started.back());
    }

    void make_device() const {
        const std::string zevcfg = std::string(ZEVSIC_BIN_DIR) + "/zevcfg ";
        ASSERT_EQ(run_command(zevcfg + "init >/dev/null"), 0);
        ASSERT_EQ(run_command(zevcfg + "set --current snmp sample_time 0"), 0);
        ASSERT_EQ(run_command(zevcfg + "set --current admin password 's3cret'"), 0);
        for (const std::string tool : {"tftp", "ftpput", "ftpget"})
            root.write_tool("/bin/" + tool, "exec busybox " + tool + " \"$@\"");
        root.write("/httpd.conf", "*.egi:/bin/sh\n*.asp:/bin/sh\n");
        write_page("backupCfg.egi", BACKUP_PAGE);
        write_page("tftp_firmware_upgrade.egi", UPGRADE_PAGE);
        write_page("upload.asp", UPLOAD_PAGE);
        root.write("/go", "");
        std::filesystem::create_directories(root.path("/srv"));
        root.write("/password", FTP_PASSWORD + "\n");
        root.write("/wrong", "wrong\n");
    }
    void write_page(const std::string &name, const char *script) const {
        std::string start = PAGE_START;
        start.replace(start.find("%ROOT%"), 6, root.path(""));
        root.write("/www/" + name, start + script + "\n");
    }

    // A process of the test, the leader of a group of its own.
    pid_t start(const std::string &command) {
        const pid_t pid = fork();
        if (pid == 0) {
            setpgid(0, 0);
            const int null = open("/dev/null", O_RDWR);
            dup2(null, 1);
            dup2(null, 2);
            execl("/bin/sh", "sh", "-c", ("exec " + command).c_str(), nullptr);
            _exit(127);
        }
        setpgid(pid, pid);
        started.push_back(pid);
        return pid;
    }
    void end(pid_t pid) {
        kill(-pid, SIGKILL);
        waitpid(pid, nullptr, 0);
        std::erase(started, pid);
    }
    static bool network_has(const std::string &kind, const char *port) {
        std::ifstream table("/proc/thread-self/net/" + kind);
        std::ostringstream text;
        text << table.rdbuf();
        return text.str().find(port) != std::string::npos;
    }

    // The exit status of zevctl; what it prints is kept in `printed`.
    int zevctl(const std::string &arguments) {
        const int status = run_command(std::string(ZEVSIC_BIN_DIR) + "/zevctl " + arguments + " >" +
                                       root.path("/printed") + " 2>&1");
        printed = root.read("/printed");
        return status;
    }
    int zevctl_ftp(const std::string &task, const std::string &file,
                   const std::string &password = "/password") {
        return zevctl(task + " --ftp --user " + shell_word(FTP_USER) + " --password-file " +
                      root.path(password) + " --wait -- 127.0.0.1 " + shell_word(file));
    }
    std::string status_of(const std::string &protocol) {
        zevctl("get " + protocol + "ActionStatus");
        const size_t value = printed.find("integer: ");
        return value == std::string::npos ? printed : printed.substr(value + 9);
    }
    // True when both files are the same; says what was carried.
    bool carried(const char *how, const std::string &from, const std::string &to) const {
        printf("%s: %zu bytes, sha256 %s", how, root.read(to).size(),
               read_command("sha256sum < " + shell_word(root.path(to))).text.c_str());
        return root.read(from) == root.read(to);
    }
    void write_random(const std::string &absolute, size_t size) const {
        std::mt19937 random(static_cast<unsigned>(size));
        std::string bytes(size, '\0');
        for (char &byte : bytes) byte = static_cast<char>(random());
        root.write(absolute, bytes);
    }

    OwnNetwork network;
    DeviceRoot root;
    std::vector<pid_t> started;
    pid_t daemon = 0;
    std::string printed;
};

TEST_F(TransferServersTest, BackupsGoUpByteForByte) {
    write_random("/config", 100'001);
    EXPECT_EQ(status_of("TFTP"), "0 (idle)\n");
    EXPECT_EQ(zevctl("backup --tftp --wait -- 127.0.0.1 " + shell_word(HOSTILE_NAME)), 0) << printed;
    EXPECT_TRUE(carried("TFTP backup", "/config", "/srv/" + HOSTILE_NAME));
    EXPECT_EQ(status_of("TFTP"), "0 (idle)\n");

    const std::string cookie = root.read("/cookie");
    ASSERT_TRUE(cookie.starts_with("username=admin;password="));
    const std::string hash = cookie.substr(24);
    EXPECT_EQ(hash, crypt("s3cret", hash.substr(0, 2).c_str()));

    write_random("/config", 54'321);
    EXPECT_EQ(zevctl_ftp("backup", HOSTILE_NAME), 0) << printed;
    EXPECT_TRUE(carried("FTP backup", "/config", "/srv/" + HOSTILE_NAME));
    EXPECT_EQ(zevctl_ftp("backup", "other", "/wrong"), 1);
    EXPECT_NE(printed.find("5 (backupFailed)"), std::string::npos) << printed;
    EXPECT_EQ(root.read("/tmp/ftp_backup.cfg"), root.read("/config")) << "kept until the next command";

    std::filesystem::remove(root.path("/www/backupCfg.egi"));
    EXPECT_EQ(zevctl_ftp("backup", HOSTILE_NAME), 1) << printed;
    EXPECT_NE(printed.find("5 (backupFailed)"), std::string::npos) << printed;
    EXPECT_TRUE(carried("FTP backup after a failed one", "/config", "/srv/" + HOSTILE_NAME));
}

TEST_F(TransferServersTest, RestoresComeDown) {
    write_random("/srv/site 1.cfg", 200'000);
    EXPECT_EQ(zevctl("restore --tftp --wait 127.0.0.1 'site 1.cfg'"), 0) << printed;
    EXPECT_NE(printed.find("3 (restarting)"), std::string::npos) << printed;
    EXPECT_TRUE(carried("TFTP restore", "/srv/site 1.cfg", "/restored"));
    write_random("/srv/site 1.cfg", 77'777);
    EXPECT_EQ(zevctl_ftp("restore", "site 1.cfg"), 0) << printed;
    EXPECT_TRUE(carried("FTP restore", "/srv/site 1.cfg", "/restored"));
    EXPECT_EQ(zevctl_ftp("restore", "missing.cfg"), 1);
    EXPECT_NE(printed.find("6 (restoreFailed)"), std::string::npos) << printed;
}

TEST_F(TransferServersTest, UpgradesAreFetchedByTheDevicesOwnPage) {
    write_random("/srv/" + HOSTILE_NAME, 1'000'000);
    EXPECT_EQ(zevctl("upgrade --tftp --wait -- 127.0.0.1 " + shell_word(HOSTILE_NAME)), 0) << printed;
    EXPECT_TRUE(carried("TFTP upgrade", "/srv/" + HOSTILE_NAME, "/firmware"));
    write_random("/srv/" + HOSTILE_NAME, 999'999);
    EXPECT_EQ(zevctl_ftp("upgrade", HOSTILE_NAME), 0) << printed;
    EXPECT_TRUE(carried("FTP upgrade", "/srv/" + HOSTILE_NAME, "/firmware"));
    EXPECT_EQ(zevctl("upgrade --tftp --wait 127.0.0.1 missing"), 1);
    EXPECT_NE(printed.find("4 (upgradeFailed)"), std::string::npos) << printed;
}

TEST_F(TransferServersTest, TransfersGoOnWithoutTheDaemon) {
    write_random("/config", 5'000);
    std::filesystem::remove(root.path("/go"));
    EXPECT_EQ(zevctl("upgrade --tftp 127.0.0.1 firmware"), 0) << printed;
    EXPECT_EQ(status_of("FTP"), "1 (updating)\n");
    EXPECT_EQ(zevctl("backup --tftp 127.0.0.1 a.cfg"), 0) << "beside the upgrade: " << printed;
    EXPECT_EQ(status_of("FTP"), "2 (backingUp)\n");
    EXPECT_EQ(zevctl("backup --tftp 127.0.0.1 b.cfg"), 1) << "one at a time";
    EXPECT_NE(printed.find("is running"), std::string::npos) << printed;
    end(daemon);
    EXPECT_EQ(zevctl("backup --tftp 127.0.0.1 a.cfg"), 3);
    root.write("/go", "");
    EXPECT_TRUE(comes_true(
        [&] { return !root.has("/tmp/lock_snmp_web") && !root.has("/tmp/lock_snmp_conf_backup"); }));
    EXPECT_TRUE(carried("TFTP backup after the daemon's end", "/config", "/srv/a.cfg"));
}

}  // namespace
