// What counts as fresh, on a daemon that gives each answer when it is told to.
#include <map>
#include <semaphore>

#include "snmp/subtree.h"
#include "tests/client_fixture.h"

using std::string;

// What managers are told, in the order in which they asked, by a script of
//   get:OID next:OID  a manager asks and waits; GET: and NEXT: one who is told at once what is known
//   OID=VALUE         the daemon has that value from now on; without a value: no such instance
//   set:OID           a SET of ours is on its way
//   mark              somebody else's has been done
//   a, all            the daemon gives its oldest answer; every one that it owes
// - is no instance, none no answer, ? one who still waits.
static string told(const string &script) {
    const DeviceRoot device;
    std::map<string, string> values = {{"1.1.0", "1"}};
    Tree tree;
    std::counting_semaphore<> answers(0);
    tree.before = [&] { answers.acquire(); };
    const string path = device.path("/tmp/zevsic_sock");
    Server server(path, [&](const auto &request, auto *reply) { return tree.serve(request, reply); });
    server.takes_short_records = true;
    Subtree subtree(path);
    std::vector<std::pair<ManagerRequest, SubtreeReading>> managers;
    const auto go_on = [&] {
        step(&subtree);
        for (auto &[request, reading] : managers)
            if (reading.outcome == Outcome::PENDING) reading = answer(&subtree, &request);
        step(&subtree);
    };
    const auto take_one = [&] {
        const Clock::time_point before = subtree.asker.answered;
        answers.release();
        return eventually([&] { return go_on(), subtree.asker.answered != before; });
    };
    std::istringstream words(script);
    for (string word; words >> word;) {
        const size_t mark = std::min(word.find_first_of(":="), word.size());
        const string before = word.substr(0, mark), behind = word.substr(std::min(mark + 1, word.size()));
        const Oid oid = parse_oid(ROOT + "." + behind);
        const bool next = before == "next" || before == "NEXT";
        bool belongs = false;
        if (word.find('=') != word.npos) values[before] = behind;
        if (behind.empty()) values.erase(before);
        tree.values.assign(values.begin(), values.end());
        if (next || before == "get" || before == "GET") {
            const Clock::time_point now = Clock::now();
            const auto patience = std::chrono::seconds(before[0] >= 'a' ? 60 : 0);
            managers.push_back({{oid, next, now, now + patience}, {Outcome::PENDING, {}, {}}});
        }
        if (before == "set") drop_known(&subtree, object_at(oid, &belongs));
        EXPECT_TRUE(before != "mark" || utimensat(AT_FDCWD, path.c_str(), nullptr, 0) == 0);
        EXPECT_TRUE(before != "a" || take_one()) << script;
        go_on();
        while (before == "all" && !subtree.asker.sent.empty() && take_one()) go_on();
    }
    answers.release(100);  // to whoever is still waited for
    string text;
    for (const auto &[request, reading] : managers)
        text += (text.empty() ? "" : " ") + (reading.outcome == Outcome::VALUE       ? to_text(reading.value)
                                             : reading.outcome == Outcome::NO_ANSWER ? "none"
                                             : reading.outcome == Outcome::NO_INSTANCE ? "-"
                                                                                       : string("?"));
    return text;
}

TEST(Subtree, ServesNothingStale) {
    const string walks =
        "5.1.1.1.0.0.0.0.0.1=a 5.1.1.1.0.0.0.0.0.3=c 5.1.1.1.0.0.0.0.0.4=d next:5.1.1.1 all "
        "5.1.1.2.0.0.0.0.0.1=A 5.1.1.2.0.0.0.0.0.3=C 5.1.1.2.0.0.0.0.0.4=D next:5.1.1.2 all ";
    const struct {
        const char *what;
        string script, told;
    } cases[] = {
        {"what is known serves who cannot wait", "next:1.1 a GET:1.1.0 NEXT:1.1", "1 1 1"},
        {"no value is kept after a SET", "next:1.1 a set:1.1 GET:1.1.0 NEXT:1.1", "1 none none"},
        {"nor one that comes late: of a GET", "get:1.1.0 set:1.1 a GET:1.1.0", "1 none"},
        {"of a column", "next:1.1 set:1.1 a NEXT:1.1", "? none"},
        {"of a column that was passed over",
         "5.1.1.1.0.0.0.0.0.1=a 5.1.1.3.0.0.0.0.0.1=7 next:5.1.1.1 a set:5.1.1.2 a GET:5.1.1.2.0.0.0.0.0.1",
         "a none"},
        {"a reading takes no answer of the one before", "next:1.1 set:1.1 next:1.1 a 1.1.0=2 a", "2 2"},
        {"a SET by another, in the middle of a reading", "next:1.1 mark next:1.1 a 1.1.0=2 a", "1 2"},
        {"in the middle of a GET", "get:1.1.0 mark get:1.1.0 a 1.1.0=2 a", "1 2"},
        {"a walk goes on", walks + "next:5.1.1.2.0.0.0.0.0.1", "a A C"},
        {"without a station that GET finds gone",
         walks + "5.1.1.1.0.0.0.0.0.3= 5.1.1.2.0.0.0.0.0.3= get:5.1.1.1.0.0.0.0.0.3 a "
                 "next:5.1.1.2.0.0.0.0.0.1 all",
         "a A - D"},
        {"and with one that it finds",
         walks + "5.1.1.1.0.0.0.0.0.2=b 5.1.1.2.0.0.0.0.0.2=B get:5.1.1.1.0.0.0.0.0.2 a "
                 "next:5.1.1.2.0.0.0.0.0.1 all",
         "a A b B"},
    };
    for (const auto &c : cases) EXPECT_EQ(told(c.script), c.told) << c.what;
}
