// Validators.
#include "handler/check.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "handler/timezone.h"
#include "tests/unit/fake_platform.h"
#include "zevsic/trace.h"

template <typename Check>
static void expect(Check check, const std::vector<std::string> &accepted,
                   const std::vector<std::string> &refused) {
    for (std::string text : accepted) EXPECT_TRUE(check(text.data())) << "'" << text << "'";
    for (std::string text : refused) EXPECT_FALSE(check(text.data())) << "'" << text << "'";
}

TEST(Checks, Integers) {
    struct {
        const char *text;
        int low, high;
        bool accepted;
    } cases[] = {
        {"0", 0, 1, true},
        {"-", 0, 1, false},
        {"", 0, 1, false},
        {"007", 0, 10, true},
        {"5", 10, 1, true},
        {"+5", 0, 9, false},
        {"5 ", 0, 9, false},
        {"-95", -95, 0, true},
        {"-96", -95, 0, false},
        {"-0", 0, 0, true},
        {"2147483648", 0, 2147483647, false},
        {"18446744073709551617", 0, 10, false},
        {"4294967297", 0, 10, false},
        {"0x1", 0, 10, false},
        {"1.0", 0, 10, false},
    };
    for (const auto &c : cases) EXPECT_EQ(check_int_range(c.text, c.low, c.high), c.accepted) << c.text;
}

TEST(Checks, Characters) {
    expect(check_printable, {"a b~", " "}, {"", "a\tb", "\x7f", "caf\xc3\xa9"});
    expect(check_printable_nospace, {"a~!"}, {"", "a b", "\x80"});
    expect(check_hex_string, {"", "09afAF"}, {"g", "0x1", " "});
    expect(check_name_chars, {"", "aZ09 #()*,-.:?@_|"}, {"a/b", "a\"b", "a'b", "a;b", "a\\", "\xff", "a\n"});
}

TEST(Checks, Addresses) {
    expect(check_ipv4_addr, {"10.0.0.1", "1.2.3.255", "001.2.3.4", "255.255.255.0"},
           {"", "0.0.0.0", "00.1.2.3", "1.2.3", "1.2.3.256", "1..2.3", ".1.2.3", "1.2.3.", "1.2.3.4.5",
            "1.2.3.a", "1.2.3.-4", "1.2.3. 4", "0000000001.2.3.4"});
    expect(check_ipv6_addr,
           {"::", "fe80::1", "2001:db8:0:0:0:0:0:1", "::1", "1::", "1:2:3:4:5:6:7:8", "ABCD:ef::0",
            "1:2:3:4:5:6::8"},
           {"", ":", "1", ":1::2", "1:2:3:4:5:6:7:8:9", "12345::1", "1::2::3",
            ":::", "1:2:3:4:5:6:7:", "1:2:3", "g::1", "::ffff:1.2.3.4", "fe80::1%eth0", "1:"});
    expect(check_domain_name,
           {"example.org", "www.example.de", "com", "de", "a-b.tel", std::string(63, 'a') + ".net", "a..com"},
           {"", "example.info", "-a.org", "a-.org", std::string(64, 'a') + ".org", "a_b.org", "example.ORG",
            "a.b c.de", ".", std::string(126, 'a') + std::string(128, '.') + "de"});
    expect(check_nai_realm_list, {"a.org", "a.org;b.de", ";a.org"}, {"", ";", "a.org;b", "a.org b.de"});
}

TEST(Checks, MacAddressesAreNormalised) {
    struct {
        const char *text;
        bool accepted;
        const char *left;
    } cases[] = {
        {"00-1a-2b-3c-4d-5e", true, "00:1A:2B:3C:4D:5E"},
        {"00:1A:2b:3C:4D:5e", true, "00:1A:2B:3C:4D:5E"},
        {"00:1a-2b:3c:4d:5e", false, "00:1A:2B:3C:4D:5E"},
        {"00:1a:2b:3c:4d:5g", false, "00:1a:2b:3c:4d:5g"},
        {"001a2b3c4d5e", false, "001a2b3c4d5e"},
        {"00:1a:2b:3c:4d:5e:", false, "00:1a:2b:3c:4d:5e:"},
        {"00.1a.2b.3c.4d.5e", false, "00.1a.2b.3c.4d.5e"},
        {"", false, ""},
    };
    for (const auto &c : cases) {
        std::string text = c.text;
        EXPECT_EQ(check_mac_addr(text.data()), c.accepted) << c.text;
        EXPECT_EQ(text, c.left);
    }
}

TEST(Checks, Keys) {
    struct {
        const char *key, *length, *format;
        bool accepted;
    } wep[] = {
        {"abcde", "64", "ascii", true},
        {"0123456789", "64", "hex", true},
        {"abcdefghijklm", "128", "ascii", true},
        {"0123456789abc", "128", "hex", false},
        {"abcd ", "64", "ascii", false},
        {"012345678g", "64", "hex", false},
        {"0123456789abcdef", "152", "ascii", true},
        {"abcde", "256", "ascii", false},
        {"abcde", "64", "", false},
    };
    for (const auto &c : wep) EXPECT_EQ(check_wep_key(c.key, c.length, c.format), c.accepted) << c.key;
    EXPECT_TRUE(check_psk_key(std::string(63, 'x').c_str(), "passphrase"));
    EXPECT_FALSE(check_psk_key(std::string(64, 'x').c_str(), "passphrase"));
    EXPECT_FALSE(check_psk_key("1234567", "passphrase"));
    EXPECT_TRUE(check_psk_key(std::string(64, 'a').c_str(), "psk"));
    EXPECT_FALSE(check_psk_key(std::string(63, 'a').c_str(), "psk"));
    EXPECT_FALSE(check_psk_key(std::string(64, 'x').c_str(), "psk"));
}

TEST(Checks, BandModes) {
    debugLevel = 0;
    fake = {};
    fake.capability[1] = CAPABILITY_11AC;
    const auto allowed = [](int radio) {
        std::string codes;
        for (int code = -1; code <= 8; code++)
            if (code >= 0 && code <= 7 && check_band_mode(radio, code)) codes += std::to_string(code);
        return codes;
    };
    EXPECT_EQ(allowed(1), "02346");
    EXPECT_EQ(allowed(2), "0157");
    fake.capability[1] = 0xffff & ~CAPABILITY_11AC;
    EXPECT_EQ(allowed(2), "015");
}

TEST(Checks, FirewallInterfaces) {
    struct {
        const char *text, *key, *name;
    } accepted[] = {{"s.1.3", "bfw_entry:4.sInterface", "ath0ap2"},
                    {"d.2.0", "bfw_entry:4.dInterface", "ath1ap+"},
                    {"d.1.16", "bfw_entry:4.dInterface", "ath0ap15"}};
    char key[64], name[64];
    for (const auto &c : accepted) {
        ASSERT_TRUE(parse_firewall_interface(c.text, 5, key, name)) << c.text;
        EXPECT_STREQ(key, c.key);
        EXPECT_STREQ(name, c.name);
    }
    for (const char *text :
         {"", "s", "s.1", "s.3.1", "s.0.1", "s.1.17", "x.1.1", "s.1.1x", "s.-1.1", "s1.1", "s.1."})
        EXPECT_FALSE(parse_firewall_interface(text, 5, key, name)) << text;
}

TEST(Checks, DaysAndZones) {
    struct {
        int year, month, days;
    } cases[] = {{1900, 2, 28}, {2000, 2, 29},  {2024, 2, 29}, {2023, 2, 28},
                 {2023, 4, 30}, {2023, 12, 31}, {-1, 2, -1},   {2000, -1, -1}};
    for (const auto &c : cases) EXPECT_EQ(days_in_month(c.year, c.month), c.days);

    int number = 16;
    std::string name;
    EXPECT_TRUE(timezone_lookup(&number, &name));
    EXPECT_EQ(name, "Asia/Taipei");
    number = 0;
    EXPECT_TRUE(timezone_lookup(&number, &name));
    EXPECT_EQ(number, 16);
    EXPECT_FALSE(timezone_lookup(&number, &name)) << "both given";
    for (int wrong : {0, 69, -1}) {
        name.clear();
        EXPECT_FALSE(timezone_lookup(&wrong, &name));
    }
    number = 0;
    name = "asia/taipei";
    EXPECT_FALSE(timezone_lookup(&number, &name));
}
