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
    const auto within = [](int low, int high) {
        return [=](const char *text) { return check_int_range(text, low, high); };
    };
    expect(within(0, 10), {"0", "007", "10"},
           {"-", "", "+5", "5 ", "11", "0x1", "1.0", "4294967297", "18446744073709551617"});
    expect(within(10, 1), {"5"}, {});
    expect(within(-95, 0), {"-95", "-0"}, {"-96"});
    expect(within(0, 2147483647), {"2147483647"}, {"2147483648"});
}

TEST(Checks, Characters) {
    expect(check_printable, {"a b~", " "}, {"", "a\tb", "\x7f", "caf\xc3\xa9"});
    expect(check_printable_nospace, {"a~!"}, {"", "a b", "\x80"});
    expect(check_hex_string, {"", "09afAF"}, {"g", "0x1", " "});
    expect(check_name_chars, {"", "aZ09 #()*,-.:?@_|"}, {"a/b", "a\"b", "a'b", "a;b", "a\\", "\xff", "a\n"});
}

// A domain name of so many characters, in labels of up to 49.
static std::string name_of(size_t characters) {
    std::string name(characters - 4, 'a');
    for (size_t i = 49; i < name.size(); i += 50) name[i] = '.';
    return name + ".com";
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
           {"example.org", "www.example.de", "com", "de", "a-b.tel", std::string(63, 'a') + ".net", "a..com",
            name_of(253)},
           {"", "example.info", "-a.org", "a-.org", std::string(64, 'a') + ".org", "a_b.org", "example.ORG",
            "a.b c.de", ".", name_of(254), std::string(126, 'a') + std::string(128, '.') + "de"});
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
    const auto wep = [](const char *length, const char *format) {
        return [=](const char *key) { return check_wep_key(key, length, format); };
    };
    const auto psk = [](const char *type) {
        return [=](const char *key) { return check_psk_key(key, type); };
    };
    const std::string x63(63, 'x'), a63(63, 'a');
    expect(wep("64", "ascii"), {"abcde"}, {"abcd "});
    expect(wep("64", "hex"), {"0123456789"}, {"012345678g"});
    expect(psk("passphrase"), {x63}, {x63 + "x", "1234567"});
    expect(psk("psk"), {a63 + "a"}, {a63, x63 + "x"});
}

TEST(Checks, FirewallInterfaces) {
    char key[64], name[64];
    const auto parsed = [&](const char *text) { return parse_firewall_interface(text, 7, key, name); };
    expect(parsed, {"d.1.16", "s.0000000002.00"},
           {"s", "s.1", "s.1.", "s..1", "s.1.4294967297", "s.18446744073709551617.1", "s.1.-0", " s.1.1"});
    EXPECT_TRUE(parsed("s.0000000002.00"));
    EXPECT_STREQ(key, "bfw_entry:6.sInterface");
    EXPECT_STREQ(name, "ath1ap+");
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
