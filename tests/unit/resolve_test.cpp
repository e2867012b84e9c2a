// GET, SET and GETNEXT, with the system objects and with toy objects whose handlers misbehave.
#include "tree/resolve.h"

#include <ctime>

#include "tests/unit/agent_fixture.h"
#include "tree/rows.h"

// The clock of the machine, or the one that a test has set. The linker leads the agent's calls here.
static time_t clock_time = 0;
extern "C" time_t __real_time(time_t *out);
extern "C" time_t __wrap_time(time_t *out) {
    return clock_time != 0 ? clock_time : __real_time(out);
}

class ResolveTest : public AgentTest {
  protected:
    ResolveTest() {
        fake.item("device", "name", "ap");
        build();
    }
    ~ResolveTest() override { clock_time = 0; }
};

TEST_F(ResolveTest, OidsThatNameNoInstanceAnswerNothing) {
    const auto expect_nothing = [](const std::string &oid) {
        EXPECT_EQ(get(oid), NOTHING) << oid.substr(0, 40);
        EXPECT_EQ(set(oid, "string x"), 0) << oid.substr(0, 40);
    };
    const std::string long_arc(3000, '1');
    std::string many_arcs = "1.1";
    for (int i = 0; i < 2000; i++) many_arcs += ".0";
    for (const char *when : {"fresh", "cached"}) {
        SCOPED_TRACE(when);
        for (const char *oid :
             {"", "1", "1.1", "9.1.1.0", "1.28.0", "1.1.5", "1.1.256", "1.-1.0", "1.1.-1", "1.x.0", "1.1.x",
              "1.1.0.0", "1.1.0.7", "4294967297.1.0", "1.18446744073709551617.0"})
            expect_nothing(oid);
        for (const std::string &oid : {"1." + long_arc, "1.1." + long_arc, many_arcs}) expect_nothing(oid);
        EXPECT_EQ(get("1.1.0"), (Answer{STRING, "1.1.0", "ap"}));
    }
}

TEST_F(ResolveTest, GetnextFollowsRegistration) {
    const std::pair<const char *, const char *> cases[] = {
        {"", "1.1.0"},      {"1", "1.1.0"},       {"1.1", "1.1.0"},  {"1.1.0", "1.2.0"},
        {"1.1.5", "1.1.0"}, {"1.27.0", "1.29.0"}, {"1.28", "1.1.0"}, {"1.300", "1.1.0"},
        {"9", ""},          {"9.1", ""},          {"1.1.5.1", ""},   {"-1", ""},
    };
    get("1.27.0");
    for (const auto &[from, answered] : cases) EXPECT_EQ(next(from).oid, answered) << "from " << from;
}

TEST_F(ResolveTest, LiveObjectsAreAskedAgainWhenDue) {
    fake.system_items["date"] = "first";
    EXPECT_EQ(get("1.14.0").value, "first");
    fake.system_items["date"] = "second";
    EXPECT_EQ(get("1.14.0").value, "first");
    zevap->sample_time = 0;
    EXPECT_EQ(get("1.14.0").value, "second");

    // With the clock set back the stamp lies ahead: not due until the clock has passed it. What was never
    // asked is due under any clock: right after 1970, across the end of 32-bit time and behind it.
    for (const int64_t begin : {int64_t{3}, int64_t{INT32_MAX}, int64_t{INT32_MAX} + 5000, int64_t{5000}}) {
        clock_time = static_cast<time_t>(begin);
        fake.system_items["date"] = "first";
        build();
        EXPECT_EQ(get("1.14.0").value, "first") << begin;
        EXPECT_EQ(get("1.1.0").value, "ap") << begin;
        fake.system_items["date"] = "second";
        const std::pair<int, const char *> later[] = {{-2, "first"}, {99, "first"}, {100, "second"}};
        for (const auto &[seconds, shown] : later) {
            clock_time = static_cast<time_t>(begin + seconds);
            EXPECT_EQ(get("1.14.0").value, shown) << begin << " + " << seconds;
        }
    }
}

static snmp_reply *takes_six_seconds(snmp_reply *reply, mib_node *node, uint8_t, const char *, char *, int) {
    static int calls = 0;
    update_time(node);
    clock_time += 6;
    return update_data(reply, node, std::to_string(++calls).c_str(), 0);
}

TEST_F(ResolveTest, ARefreshLongerThanTheSampleTimeCountsFromItsEnd) {
    clock_time = 1000;
    ALLOC_NODE("1.99", INTEGER, takes_six_seconds);
    const std::tuple<int, int, const char *> steps[] = {
        // sample time, seconds since the last step, shown
        {2, 0, "1"}, {2, 1, "1"}, {2, 1, "2"}, {9, 9, "3"}, {9, 2, "3"}, {9, 1, "4"}};
    for (const auto &[sample_time, seconds, shown] : steps) {
        zevap->sample_time = static_cast<uint8_t>(sample_time);
        clock_time += seconds;
        EXPECT_EQ(get("1.99.0").value, shown);
    }
}

TEST_F(ResolveTest, InstancesAreWholeAndNumbers) {
    for (int round = 0; round < 2; round++) {
        const char *const when = round == 0 ? "fresh" : "cached";
        EXPECT_EQ(get("3.1.1.3.1.1").oid, "3.1.1.3.1.1") << when;
        EXPECT_EQ(get("1.1.00").oid, "1.1.0") << when;
        EXPECT_EQ(get("2.1.1.1.01").oid, "2.1.1.1.1") << when;
    }
    EXPECT_EQ(set("1.1.00", "string \"new\""), STATUS_ACCEPTED);
    EXPECT_EQ(get("1.1.0").value, "new");
    EXPECT_EQ(get("3.1.1.4.1.01"), NOTHING) << "rows of two arcs compare their text";
}

TEST_F(ResolveTest, AnOddInstanceHidesNothing) {
    fake.item("wan_ip", "mgmt_vid", "7");
    fake.item("wes", "state", "enable");
    for (const char *tool : {"", "/sbin/zevwes"}) {
        if (*tool) root.write(tool, "");
        for (const std::string object : {"1.24", "1.25", "1.53"}) {
            build();
            EXPECT_EQ(get(object + ".9").oid, object + ".9");
            EXPECT_EQ(walked(object).size(), 2U) << object;
            EXPECT_EQ(get(object + ".0").oid, object + ".0");
        }
    }
}

TEST_F(ResolveTest, SetTexts) {
    const std::tuple<uint8_t, const char *, int, const char *> cases[] = {
        {INTEGER, "integer 6", 1, "6"},
        {INTEGER, "  integer   6", 1, "6"},
        {INTEGER, "integer", 1, ""},
        {INTEGER, "integers 6", 1, "6"},  // a word that begins with the type's name
        {INTEGER, "int 6", 0, "int 6"},
        {INTEGER, "string 6", 0, "string 6"},
        {INTEGER, "", 0, ""},
        {STRING, "string \"two words\"", 1, "two words"},
        {STRING, "string plain text", 1, "plain text"},
        {STRING, "string a\"b", 1, "\""},
        {STRING, "string \"", 1, ""},
        {STRING, "string \"\"", 1, ""},
        {STRING, "string \"one\nline\"", 1, "on"},
    };
    for (const auto &[type, given, accepted, value] : cases) {
        char text[TEXT_SIZE] = {};
        snprintf(text, sizeof text, "%s", given);
        EXPECT_EQ(check_set_type(type, text), accepted) << given;
        EXPECT_STREQ(text, value) << given;
    }
}

TEST_F(ResolveTest, RequestsAreTracedToTheByte) {
    EXPECT_TRUE(
        traced([] { get("1.18.0"); })
            .starts_with("GET 1.3.6.1.4.1.48019.6.1.18.0\nGET (1.3.6.1.4.1.48019.6.1.18.0)\nnow=1 \nnow=18 \n"
                         "node_type=0 \nnow=0 \nnode_type=21 \nneed update\n"));
    const std::string cached = traced([] { get("1.18.0"); });
    EXPECT_NE(cached.find("function just_output:"), std::string::npos);
    EXPECT_NE(cached.find("type=ipaddress data=\n"), std::string::npos);
    EXPECT_TRUE(traced([] { set("1.1.0", "string x"); })
                    .starts_with("SET 1.3.6.1.4.1.48019.6.1.1.0\nrequest->set:string x; strlen(set):8\n"
                                 "SET (1.3.6.1.4.1.48019.6.1.1.0)\nstr:(1.1.0)\n=1 \n=1 \n=0 \n"));
    const auto count = [](const std::string &text, const std::string &line) {
        int n = 0;
        for (size_t at = 0; (at = text.find(line, at)) != text.npos; at++) n++;
        return n;
    };
    for (const char *oid : {"2.1.1.15.1.1", "2.1.1.15.1", "2.1.1.13.1.1"}) {
        const std::string text = traced([&] { set(oid, "integer 9"); });
        EXPECT_EQ(count(text, "SET str=9,index:1"), 1) << oid;
        EXPECT_EQ(count(text, "mulindex"), 0) << oid;
    }
    EXPECT_EQ(count(traced([] { get("1.65.1"); }), "The node is not exist: 1\n"), 1);
    get("3.1.1.3.1.1");
    // An arc that cannot be is as absent as one that only is not there.
    const auto absent = [](const std::string &arc) {
        std::string text = traced([&] {
            for (const std::string &oid : {arc + ".1.0", "1." + arc + ".0", "1." + arc})
                get(oid), set(oid, "");
            get("2.1.1.3." + arc), get("3.1.1.3.1." + arc);
        });
        for (size_t at = 0; (at = text.find(arc, at)) != text.npos;) text.replace(at, arc.size(), "ARC");
        return text;
    };
    EXPECT_EQ(absent("300"), absent("200"));
}
