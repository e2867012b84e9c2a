// Uptime, versions, load and memory of the device.
#include "tests/unit/agent_fixture.h"

class StatusTest : public AgentTest {};

TEST_F(StatusTest, Uptime) {
    EXPECT_EQ(get("1.56.0"), (Answer{0, "", ""}));
    EXPECT_EQ(set("1.56.1", "timeticks 1"), 0);
    const struct {
        const char *file, *shown;
    } cases[] = {{"3600.25 7000.00\n", "360025"}, {"12345.67", "1234567"}, {"9.05 1.00\n", "905"}};
    zevap->sample_time = 0;
    for (const auto &c : cases) {
        root.write("/proc/uptime", c.file);
        EXPECT_EQ(get("1.56.0"), (Answer{TIMETICKS, "1.56.0", c.shown}));
    }
}

TEST_F(StatusTest, AddressAndVersions) {
    fake.system_items["wan_mac"] = "02:00:00:00:00:01";
    build();
    zevap->sample_time = 0;
    EXPECT_EQ(get("1.57.0").value, "02:00:00:00:00:01");
    EXPECT_EQ(get("1.58.0").value, "1.00.00");
    EXPECT_EQ(get("1.59.0"), (Answer{0, "", ""}));
    root.write("/etc/version", std::string(1022, 'v') + "\nrest");
    EXPECT_EQ(get("1.59.0").value, std::string(1022, 'v') + "\n");
    root.write("/etc/version", "2\n");
    EXPECT_EQ(get("1.59.0").value.size(), 1023U) << "read once";
}

TEST_F(StatusTest, LoadIsAWholePercentOrUnknown) {
    EXPECT_EQ(get("1.60.0"), (Answer{INTEGER, "1.60.0", "Unknown"}));
    root.write("/proc/stat", "cpu  1 2 3 4 5 6 7\n");
    zevap->sample_time = 0;
    EXPECT_EQ(get("1.60.0").value, "0") << "two equal samples";
    const Answer memory = get("1.61.0");
    EXPECT_TRUE(memory.value.size() < 4 && atoi(memory.value.c_str()) > 0 &&
                atoi(memory.value.c_str()) <= 100)
        << memory;
}
