// Hotspot 2.0: settings and lists of a VAP.
#include "handler/toolkit.h"
#include "tests/unit/agent_fixture.h"

static const std::string GROUP = "rf1_vap1_hs20";

class VapHotspotTest : public AgentTest {};

TEST_F(VapHotspotTest, SettingsChangeOnlyItemsThatExist) {
    expect_existing_only(
        GROUP, {{"3.2.1.1.1.1", "hs20_status", {"2>enable"}, {"3"}},
                {"3.2.1.8.1.1", "net_auth.addr", {"http://", "https://x"}, {"", "ftp://x", "HTTP://x"}},
                {"3.2.1.9.1.2.1.1.2", "oui:1.value", {"506F9A>506f9a"}, {"506F9", "506F9G", "0123456789"}},
                {"3.2.1.12.1.2.1.1.3", "realm:2.value", {"a.org;b.de"}, {"", ";"}},
                {"3.2.1.12.1.3.1.2.1.1.5.4", "EAP.rule:4.index:3.type", {"0", "21", "25"}, {"13", "none"}},
                {"3.2.1.14.1.2.1.1.1",
                 "cellular:0.value",
                 {"310f26", "310F26>310f26", "310260"},
                 {"31a026", "31f026", "31026"}}});
    for (const char *no_row : {"3.2.1.7.3.1", "3.2.1.12.1.3.1.2.1.1.5.5", "3.2.1.12.1.3.1.2.1.1.5"})
        EXPECT_EQ(queued_by(no_row, "0"), REFUSED) << no_row;
}

// All 640 rows, last arc fastest, each with its own item and each item read once.
TEST_F(VapHotspotTest, TheLongestColumnIsWalkedInNestingOrder) {
    std::vector<Answer> indexes, types;
    for (int i = 0; i < 640; i++) {
        const int radio = i / 320 + 1, vap = i / 20 % 16 + 1, realm = i / 4 % 5 + 1, method = i % 4 + 1;
        const std::string row = format("%d.%d.%d.%d", radio, vap, realm, method);
        fake.item(format("rf%d_vap%d_hs20", radio, vap),
                  format("EAP.rule:%d.index:%d.type", realm - 1, method - 1), row);
        indexes.push_back({INTEGER, "3.2.1.12.1.3.1.1." + row, std::to_string(method)});
        types.push_back({INTEGER, "3.2.1.12.1.3.1.2." + row, row});
    }
    fake.items_read = 0;
    std::string oid = "3.2.1.12.1.3.1.1";
    for (const auto &column : {indexes, types}) {
        for (const Answer &row : column) {
            const Answer answer = next(oid);
            ASSERT_EQ(answer, row);
            oid = answer.oid;
        }
    }
    EXPECT_EQ(fake.items_read, 640);
}
