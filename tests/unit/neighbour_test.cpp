// The access points that the radios hear.
#include "tests/unit/agent_fixture.h"

static const std::string ROW = ".10.11.12.13.14.15";
static const std::string ADDRESS = "0a:0b:0c:0d:0e:0f";

class NeighbourTest : public AgentTest {
  protected:
    NeighbourTest() {
        fake.enabled_vaps = {{1, "ath0ap0"}, {2, "ath1ap4"}};
        root.write_tool("/sbin/iwlist", "[ \"$2\" = ap ] && cat \"$ZEVSIC_ROOT/$1.txt\"");
        root.write("/ath0ap0.txt", "");
        root.write("/ath1ap4.txt", "");
        zevap->sample_time = 0;
    }
    void hears(const std::string &ifname, const std::string &lines) const {
        root.write("/" + ifname + ".txt", "HEADER\n" + lines);
    }
    // The four columns of the row; empty texts when it is not there.
    static Texts columns() {
        Texts values;
        for (const char *column : {"6.1.1.1", "6.1.1.2", "6.1.1.3", "6.1.1.4"})
            values.push_back(get(column + ROW).value);
        return values;
    }
};

TEST_F(NeighbourTest, LinesOfTheTool) {
    const std::string long_name(32, 's');
    const std::pair<std::string, Texts> cases[] = {

        {" 1 2 3 level=-67 5 6 7 8 Channel=11 cafe\n", {"cafe", "0A:0B:0C:0D:0E:0F", "-67", "11"}},
        {" 1 2 3 level=-67 5 6 7 8 Channel=11\n", {"N/A", "0A:0B:0C:0D:0E:0F", "-67", "11"}},
        {" 1 2 3 quality=40 5 6 7 8 channel=11 two words", {"two", "0A:0B:0C:0D:0E:0F", "N/A", "N/A"}},
        {" 1 2 3 level= 5 6 7 8 Channel= " + long_name, {long_name, "0A:0B:0C:0D:0E:0F", "N/A", "N/A"}},
        {" 1 2 3 level=-67 5 6 7 8\n", Texts(4)},
        {"\n", Texts(4)},
    };
    for (const auto &[line, shown] : cases) {
        hears("ath0ap0", ADDRESS + line);
        EXPECT_EQ(columns(), shown) << line;
    }
    hears("ath0ap0", "Cell 01 " + ADDRESS + " 1 2 3 4 5 6 7 8 9 10\n");
    EXPECT_EQ(columns()[0], "");
}

TEST_F(NeighbourTest, RadioTwoHasTheLastWord) {
    hears("ath0ap0", ADDRESS + " 1 2 3 level=-67 5 6 7 8 Channel=11 one\n");
    hears("ath1ap4", ADDRESS + " 1 2 3 level=-40 5 6 7 8 Channel=36 two\n");
    EXPECT_EQ(columns(), (Texts{"two", "0A:0B:0C:0D:0E:0F", "-40", "36"}));
    fake.enabled_vaps.erase(2);
    EXPECT_EQ(columns()[0], "one");
    fake.enabled_vaps.clear();
    EXPECT_EQ(columns()[0], "");
}
