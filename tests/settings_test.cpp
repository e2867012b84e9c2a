// Settings files: from one real device to another, and what is refused of them.
#include "zevctl/settings.h"

#include "platform/load_note.h"
#include "tests/device_root.h"

namespace {

// A device with its daemon. Several live side by side.
struct Device : DeviceRoot {
    explicit Device(const std::string &kind) {
        said("zevcfg init " + kind);
        // Both are of the simulated device's hardware.
        write("/etc/k480ext.conf", "radio2.offload = 1\nradio2.capability = 0x20\nradio2.chain_mask = 3\n");
        write("/proc/sys/net/ipv6/there", "");
    }
    // What zevctl says to a settings file.
    std::string load(const std::string &text, const std::string &options) const {
        write("/tmp/file", text);
        return said("cd $ZEVSIC_ROOT/tmp; zevctl load file " + options);
    }
    std::string settings() const { return said("zevctl export --secrets"); }
};

// What the simulated device does not have: texts that need quotes, a radio whose band takes other settings
// along, WEP for a whole radio, and values behind settings that are off.
constexpr char MORE[] =
    "device\tname\tAP #1 (lobby)\n"
    "rf1_vap4\tssid\ta \"b\\\\c\" # d\n"
    "rf2\tmode\t11a\nrf2\tch_width\t40\nrf2\trate\tmcs7\nrf2\tpuren\tenable\n"
    "capwap\tdiscovery.dns_srv\tdisable\ncapwap\tdiscovery.srv_suffix\texample.org\n"
    "capwap\tdiscovery.unicast\tdisable\ncapwap\taclist.ac_entry:1.ip\t10.1.1.1\n"
    "ipv6\taddr\t2001:db8::1\nipv6\tgateway\tfe80::1\n"
    "rf1_wds1\twep.enabled\tenable\nrf1_wds1\twep.keylen\t128\nrf1_wds1\twep.key0\tabcdefghijklm\n"
    "rf1_vap3_sec\tmode\tshared\nrf1_vap3_sec\twep.enabled\tenable\nrf1_vap5_sec\tmode\t8021x\n";

TEST(Settings, TheRoundTripIsEqualForEveryObject) {
    Device demo("--demo"), plain("");
    demo.write("/tmp/more", MORE);
    demo.said(
        "cd $ZEVSIC_ROOT/tmp; for key in keylen:128 method:hex key2:0123456789abcdef0123456789; do "
        "for vap in $(seq 16); do echo rf1_vap${vap}_sec:wep.$key; done; done | tr : '\\t' >>more");
    ASSERT_EQ(demo.said("zevcfg import $ZEVSIC_ROOT/tmp/more"), "");
    demo.start_daemon();
    plain.start_daemon();
    const std::string wanted = demo.settings();
    for (const Object &object : OBJECTS) {
        const std::string name = std::string(object.name) + ".";
        const bool is_there =
            wanted.find("\n" + name) != std::string::npos || wanted.find("\n# " + name) != std::string::npos;
        EXPECT_EQ(is_there, is_setting(object)) << name;
    }
    EXPECT_TRUE(has(plain.load(wanted, "--dry-run"), "VAPPSKCipherKeyValue.1.1: (secret) -> (secret)\n"));
    EXPECT_TRUE(has(plain.said("zevctl get APSysName"), "zevsic-ap\n")) << "a dry run sets nothing";

    EXPECT_TRUE(
        has(plain.load(wanted, "--save"),
            "APSysIPv6IPAddress.0: not set: belongs to APSysIPv6Enabled.0 = enabled, it is disabled\n"))
        << "nothing is opened unasked";
    const std::string said = plain.load(wanted, "--apply --wait --open");
    EXPECT_FALSE(has(said, "exit "));
    printf("round trip: %s", said.c_str());
    EXPECT_EQ(plain.said("zevctl export --secrets | diff $ZEVSIC_ROOT/tmp/file -"), "")
        << "read anew from the store after the apply";
    EXPECT_TRUE(has(plain.load(wanted, ""), " 0 set, 0 refused"));
    EXPECT_TRUE(has(plain.said("zevctl export VAPPSKCipherKeyValue.1.1"),
                    "\n# VAP 1.1\n# VAPPSKCipherKeyValue.1.1 is secret"));
    EXPECT_EQ(plain.said("zevcfg get capwap discovery.dns_srv"), "disable\n")
        << "what was opened for a moment is closed again";
}

TEST(Settings, WhatIsRefusedAndWhatIsWrong) {
    Device device("");
    EXPECT_TRUE(has(device.load("APSysName = x\n", ""), "exit 3\n"));
    device.start_daemon();
    std::string answer =
        device.load("APSysLocation = here\nAPSysName = \"a/b\"\n\nAPWDSLinkWEPKeyValue.1.1 = abcde\n", "");
    answer += device.load(
        "APSysPortVlanId.9 = 5\nVAPWEPCipher80211Auth.1.1 = shared\nAPRFBandSteeringEnabled.1 = enabled\n"
        "APRFBandSteeringEnabled.2 = disabled\n",
        "--save");
    for (const char *text :
         {"file:2: APSysName.0: value refused (accepted: 1..32 characters: letters, digits, blanks and ",
          "file:4: APWDSLinkWEPKeyValue.1.1: not set: belongs to APWDSLinkSecurityType.1.1 = WEP, it is "
          "none\n",
          "zevctl: nothing was saved", "exit 1\n", "file:1: APSysPortVlanId.9: not on this device\n",
          "file:2: VAPWEPCipher80211Auth.1.1: not set: belongs to VAPAuthenMode = WEP",
          "file:4: APRFBandSteeringEnabled.2: accepted, but the device has enabled"})
        EXPECT_TRUE(has(answer, text));
    EXPECT_EQ(
        device.load("APSysLocation = there\nAPSysNam = x\n", "--save --json"),
        "zevctl: file:2: unknown object APSysNam; similar: APSysName\n"
        "{\"error\":\"file:2: unknown object APSysNam; similar: APSysName\",\"answer\":null}\nexit 2\n");
    EXPECT_TRUE(has(device.settings(), "\nAPSysLocation.0 = here\n"))
        << "nothing is set of a file that is wrong";
}

// A link goes from WPA to WEP, whose key is accepted only once its type is saved.
constexpr char WPA_LINK[] =
    "APWDSLinkSecurityType.1.1 = WPA-PSK\nAPWDSLinkPSKKeyValue.1.1 = old-passphrase\n"
    "APSysCAPWAPStaticDiscovery = disabled\n";
constexpr char WEP_LINK[] =
    "APWDSLinkSecurityType.1.1 = WEP\nAPWDSLinkWEPKeyLength.1.1 = 128bit\n"
    "APWDSLinkWEPKeyValue.1.1 = abcdefghijklm\n";

TEST(Settings, ASecurityTypeComesWithItsKeyOrNotAtAll) {
    Device device("");
    device.start_daemon();
    EXPECT_FALSE(has(device.load(WPA_LINK, "--apply --wait"), "exit "));
    const std::string before = device.said("zevcfg export rf1_wds1");
    const std::string refused = "file:1: APWDSLinkSecurityType.1.1: taken back: APWDSLinkWEPKey";
    EXPECT_TRUE(has(device.load(WEP_LINK, ""), refused)) << "what is queued only lets no key in";
    EXPECT_EQ(device.said("zevctl save; zevcfg export rf1_wds1"), before);
    EXPECT_TRUE(has(
        device.load("APWDSLinkSecurityType.1.1 = WEP\nAPWDSLinkWEPKeyValue.1.1 = abc\n", "--save"), refused));
    EXPECT_TRUE(
        has(device.load("APWDSLinkWEPKeyValue.1.1 = abcde\n", "--save --open"), "not set: belongs to"));
    EXPECT_EQ(device.said("zevcfg export rf1_wds1"), before);
    EXPECT_EQ(device.load(WEP_LINK, "--apply --wait"),
              "3 settings: 3 set, 0 refused; 2 were refused at first and set after a save\n");
    EXPECT_EQ(device.read("/var/lib/zevcfg/load"), "");
    EXPECT_TRUE(has(device.load("APSysWESStatus = enabled\n", "--apply --wait"),
                    "APSysWESStatus.0: accepted, but the device has disabled\n"))
        << "it is looked at again after the apply";
    // A link at the note's place is not followed, and nothing is done by halves without a note.
    unlink(device.path("/var/lib/zevcfg/load").c_str());
    symlink(device.path("/tmp/file").c_str(), device.path("/var/lib/zevcfg/load").c_str());
    EXPECT_TRUE(has(device.load(WPA_LINK, "--save"), "what it was cannot be noted"));
}

// As a load leaves a device that is killed when it has saved the type and not yet the key.
TEST(Settings, ALoadThatDiesIsTakenBack) {
    for (const char *way : {"zevcfg boot", "zevctl set APSysLocation x; zevctl save", "zevcfg apply",
                            "zevctl load $ZEVSIC_ROOT/tmp/file"}) {
        Device device("");
        const pid_t daemon = device.start_daemon();
        device.load(WPA_LINK, "--apply --wait");
        const std::string before = device.said("zevcfg export");
        {
            LoadNote note;
            ASSERT_TRUE(note.open(true) && note.lock() &&
                        note.write("# a load\nAPWDSLinkSecurityType.1.1 = WPA-PSK\n"));
            device.said("zevctl set APWDSLinkSecurityType.1.1 WEP; zevctl save; zevcfg apply");
            EXPECT_EQ(device.said("zevcfg get rf1_wds1 wep.enabled"), "enable\n");
            EXPECT_EQ(device.said("zevcfg get --current rf1_wds1 wep.enabled"), "disable\n")
                << "an apply meanwhile takes what was saved before";
            EXPECT_EQ(device.said("zevctl --timeout 0.1 load $ZEVSIC_ROOT/tmp/file"),
                      "zevctl: another load is under way: a load\nexit 1\n");
        }
        device.write("/tmp/file", "APSysName = zevsic-ap\n");
        if (way == std::string("zevcfg boot")) device.end(daemon);
        device.said(way);
        EXPECT_EQ(device.said("zevcfg export"), before) << way;
        EXPECT_EQ(device.said("zevcfg export --current"), before) << way;
        EXPECT_EQ(device.read("/var/lib/zevcfg/load"), "") << way;
    }
}

TEST(Settings, LinesOfAFile) {
    const struct {
        const char *line, *value;  // what is set, or what is wrong, with a '!' in front
    } cases[] = {
        {"  apsysname.0 = lobby west  # comment", "lobby west"},
        {"APSysName = a#1", "a#1"},
        {"APSysName = \"a # \\\"b\\\" \\\\ \\x41\"# comment", "a # \"b\" \\ A"},
        {"1.5 = Manual", "2"},
        {"VAPVlanId.2.16 = 0", "0"},
        {"L2FirewallServiceName.29 = x", "x"},
        {"APSysDescription = \"\"", ""},
        {"APSysName", "!not NAME.INSTANCE = VALUE"},
        {"APSysName =", "!no value"},
        {"APSysName = \"a", "!a quote is missing"},
        {"APSysName = \"a\" b", "!something follows"},
        {"APSysName = \"a\\qb\"", "!a backslash begins"},
        {"APSysName = a\"b", "!stands in quotes"},
        {"APSysName = \"\"", "!wrong length of 0 (accepted: 1..32"},
        {"APSysTimeSource = manuel",
         "!no such word: manuel; did you mean manual? (accepted: 1 (ntp), 2 (manual))"},
        {"APSysMgmtVlanId = 4095", "!value refused (accepted: 0..4094)"},
        {"APSysIPAddress = 10.0.0", "!no address"},
        {"APSysNmae = x", "!unknown object APSysNmae; did you mean APSysName?"},
        {"VAPESSID = x", "!needs an instance: RADIO.VAP"},
        {"VAPESSID.1.17 = x", "!no such instance of VAPESSID (there are: 1..2.1..16)"},
        {"L2FirewallServiceName.28 = x", "!there are: 29..255"},
        {"APSysRestart = 1", "!is an action"},
        {"APSysSetDateYear = 2024", "!not kept in the configuration"},
        {"APSysUpTime = 1", "!cannot be written"},
    };
    const DeviceRoot root;
    for (const auto &c : cases) {
        root.write("/file", std::string("# first\n\n") + c.line + "\r\n");
        const SettingsFile file = read_settings_file(root.path("/file"));
        if (*c.value == '!') {
            ASSERT_EQ(file.mistakes.size(), 1U) << c.line;
            EXPECT_NE(file.mistakes[0].find("/file:3: "), std::string::npos) << file.mistakes[0];
            EXPECT_NE(file.mistakes[0].find(c.value + 1), std::string::npos) << file.mistakes[0];
            EXPECT_TRUE(file.settings.empty()) << c.line;
            continue;
        }
        EXPECT_EQ(file.mistakes.size(), 0U) << c.line;
        ASSERT_EQ(file.settings.size(), 1U) << c.line;
        EXPECT_EQ(file.settings.begin()->second, c.value) << c.line;
    }
    root.write("/file", "APSysName = a\nAPSysName.0 = b\n");
    EXPECT_NE(read_settings_file(root.path("/file")).mistakes.at(0).find("stands in line 1 already"),
              std::string::npos);
    EXPECT_NE(read_settings_file(root.path("/none")).mistakes.at(0).find("cannot be read"),
              std::string::npos);
}

}  // namespace
