// Transfers that really happen: the daemon, a TFTP server, an FTP server and a web server that plays the
// device's pages, all in a network namespace of the test's own, where their ports are free.
#include <crypt.h>
#include <sched.h>

#include <random>

#include "platform/device.h"
#include "tests/device_root.h"

using std::string;

namespace {

// The device's pages: where the device is, and the value of a parameter of the request.
constexpr char PAGE_START[] = R"sh(
printf 'Content-Type: application/octet-stream\r\n\r\n'
printf '%s' "$HTTP_COOKIE" >"$root/cookie"
while [ ! -e "$root/go" ]; do sleep 0.05; done
value() { busybox httpd -d "$(printf '%s' "$QUERY_STRING" | tr '&' '\n' | sed -n "s/^$1=//p")"; }
)sh";
constexpr std::pair<const char *, const char *> PAGES[] = {
    {"backupCfg.egi", R"sh(cat "$root/config")sh"},
    // Fetches the firmware itself.
    {"tftp_firmware_upgrade.egi", R"sh(
if [ "$(value ftp)" = 1 ]; then
    busybox ftpget -u "$(value username)" -p "$(value password)" -P "$(value port)" -- \
        "$(value ipaddr)" "$root/firmware" "$(value filename)"
else
    busybox tftp -g -r "$(value filename)" -l "$root/firmware" "$(value ipaddr)" "$(value port)"
fi >/dev/null 2>&1 && echo '<a href="rebooting.asp">' || echo failed)sh"},
    {"upload.asp", R"sh(
file=$(value filename)
[ "$(value type)" = config ] && [ "$(value filesize)" != 0 ] &&
    [ "$(stat -c %s "$file")" = "$(value filesize)" ] && cp "$file" "$root/restored" &&
    echo '<a href="rebooting.asp">' || echo failed)sh"},
};

const string FTP_USER = "an 'operator'";
const string FTP_PASSWORD = "p'a $w;`d`&%41";
const string HOSTILE_NAME = "-b 'x' $(y) `z`;&%41\".cfg";

class TransferServersTest : public testing::Test {
  protected:
    void SetUp() override {
        const string missing = device.said(
            "cd /usr; ls sbin/in.tftpd bin/busybox bin/wget bin/python3 >/dev/null "
            "&& bin/python3 -c 'import pyftpdlib'");
        if (!missing.empty()) GTEST_SKIP() << "needs servers: " << missing;
        // A network of its own for this thread and all that it starts.
        if (unshare(CLONE_NEWNET) != 0 || !device.said("busybox ifconfig lo up").empty())
            GTEST_SKIP() << "a network namespace cannot be made here";
        for (const char *name : {"http_proxy", "HTTP_PROXY"}) unsetenv(name);
        setenv("HOME", device.path("").c_str(), 1);  // wget's own settings are not the device's
        device.said(
            "zevcfg init; zevcfg set --current snmp sample_time 0; zevcfg set --current admin password "
            "s3cret; mkdir $ZEVSIC_ROOT/srv");
        for (const string tool : {"tftp", "ftpput", "ftpget"})
            device.write_tool("/bin/" + tool, "exec busybox " + tool + " \"$@\"");
        device.write("/httpd.conf", "*.egi:/bin/sh\n*.asp:/bin/sh\n");
        for (const auto &[page, script] : PAGES)
            device.write(string("/www/") + page, "root=" + device.path("\n") + PAGE_START + script + "\n");
        device.write("/go", "");
        device.write("/password", FTP_PASSWORD + "\n");
        device.write("/wrong", "wrong\n");
        device.start("busybox httpd -f -p 127.0.0.1:80 -h $ZEVSIC_ROOT/www -c $ZEVSIC_ROOT/httpd.conf");
        device.start("/usr/sbin/in.tftpd -4 -L -c -s -u root $ZEVSIC_ROOT/srv");
        device.start("/usr/bin/python3 -m pyftpdlib -i 127.0.0.1 -p 21 -w -d $ZEVSIC_ROOT/srv -u " +
                     shell_word(FTP_USER) + " -P " + shell_word(FTP_PASSWORD));
        daemon = device.start_daemon();
        const auto listens = [&] {
            return device.said(
                "cd /proc/thread-self/net; grep -c ':0050 ' tcp && "
                "grep -c ':0015 ' tcp && grep -c ':0045 ' udp");
        };
        ASSERT_TRUE(soon(
            "three servers listen", [&] { return !has(listens(), "exit"); }, listens));
    }
    void TearDown() override {
        if (setns(network, CLONE_NEWNET) != 0 && !IsSkipped()) abort();
        close(network);
    }
    // What zevctl says to an order "OPERATION PROTOCOL"; the FTP server is told the password of a file.
    string order(const string &words, const string &file, const string &password = "/password") const {
        const bool ftp = words.ends_with("ftp") && !words.ends_with("tftp");
        const string user = " --user " + shell_word(FTP_USER) + " --password-file " + device.path(password);
        return device.said("zevctl " + words + (ftp ? user : "") + " -- 127.0.0.1 " + shell_word(file));
    }
    string status_of(const string &protocol) const {
        return device.said("zevctl get " + protocol + "ActionStatus");
    }
    bool has_ended() const {
        return !device.has("/tmp/lock_snmp_web") && !device.has("/tmp/lock_snmp_conf_backup");
    }
    void write_random(const string &absolute, size_t size) const {
        std::mt19937 random(static_cast<unsigned>(size));
        string bytes(size, '\0');
        for (char &byte : bytes) byte = static_cast<char>(random());
        device.write(absolute, bytes);
    }

    const int network = open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
    DeviceRoot device;
    pid_t daemon = 0;
};

TEST_F(TransferServersTest, CarryFilesByteForByte) {
    EXPECT_TRUE(has(status_of("TFTP"), "0 (idle)\n"));
    const string restarting = ": 3 (restarting)\n";
    const struct {
        const char *order;
        string file;
        size_t size;  // 0: a file that is not there
        string from, to, says;
        const char *password = "/password";
    } cases[] = {
        {"backup --wait --tftp", HOSTILE_NAME, 100'001, "/config", "/srv/" + HOSTILE_NAME, "0 (idle)\n"},
        {"backup --ftp", HOSTILE_NAME, 54'321, "/config", "/srv/" + HOSTILE_NAME, "0 (idle)\n"},
        {"restore --tftp", "site 1.cfg", 200'000, "/srv/site 1.cfg", "/restored", restarting},
        {"restore --ftp", "site 1.cfg", 77'777, "/srv/site 1.cfg", "/restored", restarting},
        {"upgrade --wait --tftp", HOSTILE_NAME, 1'000'000, "/srv/" + HOSTILE_NAME, "/firmware", restarting},
        {"upgrade --ftp", HOSTILE_NAME, 999'999, "/srv/" + HOSTILE_NAME, "/firmware", restarting},
        {"restore --ftp", "missing.cfg", 0, "", "", "6 (restoreFailed)"},
        {"upgrade --tftp", "missing", 0, "", "", "4 (upgradeFailed)"},
        {"backup --wait --ftp", "other", 54'322, "/config", "/tmp/ftp_backup.cfg", "5 (backupFailed)",
         "/wrong"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(string(c.order) + " " + c.file);
        if (c.size > 0) write_random(c.from, c.size);
        string said = order(c.order, c.file, c.password);
        const bool waited = has(c.order, "--wait");
        EXPECT_TRUE(soon(
            "the transfer ends", [this] { return has_ended(); }, [&] { return said; }));
        said += status_of(has(c.order, "--tftp") ? "TFTP" : "FTP");
        EXPECT_TRUE(has(said, c.says));
        EXPECT_EQ(has(said, "exit 1\n"), waited && c.says.ends_with("ailed)")) << said;
        if (c.size == 0) continue;
        EXPECT_TRUE(device.read(c.from) == device.read(c.to)) << device.read(c.to).size() << " bytes";
    }
    // What stays on the device until the next command is for nobody else.
    EXPECT_EQ(device.said("stat -c %a $ZEVSIC_ROOT/tmp/ftp_backup.cfg"), "600\n");
    const string cookie = device.read("/cookie"), hash = cookie.substr(24);
    EXPECT_EQ(cookie.substr(0, 24), "username=admin;password=");
    EXPECT_EQ(hash, crypt("s3cret", hash.substr(0, 2).c_str()));
    device.said("rm $ZEVSIC_ROOT/www/backupCfg.egi");
    EXPECT_TRUE(has(order("backup --wait --ftp", "never"), "5 (backupFailed)"));
    EXPECT_FALSE(device.has("/srv/never"));
}

TEST_F(TransferServersTest, TransfersGoOnWithoutTheDaemon) {
    write_random("/config", 5'000);
    device.said("rm $ZEVSIC_ROOT/go");
    EXPECT_EQ(order("upgrade --tftp", "firmware"), "");
    EXPECT_TRUE(has(status_of("FTP"), "1 (updating)\n"));
    EXPECT_EQ(order("backup --tftp", "a.cfg"), "") << "beside the upgrade";
    EXPECT_TRUE(has(status_of("FTP"), "2 (backingUp)\n"));
    EXPECT_TRUE(has(order("backup --tftp", "b.cfg"), "is running")) << "one at a time";
    device.end(daemon);
    EXPECT_TRUE(has(order("backup --tftp", "a.cfg"), "exit 3\n"));
    device.write("/go", "");
    EXPECT_TRUE(soon("the transfer ends without its daemon", [this] { return has_ended(); }));
    EXPECT_TRUE(device.read("/config") == device.read("/srv/a.cfg"));
}

}  // namespace
