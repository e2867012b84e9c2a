// The walk: every registered object on the built-in store with the demo's
// device. A new object is tested by being registered.
#include <algorithm>
#include <array>
#include <set>

#include "handler/engine.h"
#include "platform/builtin/store.h"
#include "platform/k480ext.h"
#include "tests/agent_walk.h"

// In the thread that runs the tests; others have their own.
static thread_local std::set<std::string> missing;  // the items that the objects looked for in vain
static thread_local std::map<std::string, std::string> queued;  // "group key" and the last text queued for it
static thread_local std::vector<std::string> reads;  // items of the store and the system, in that order
static thread_local std::string pretended_item;  // reads as this text in place of its own; null: is missing
static thread_local const char *pretended_text;

// Notes that an item is read, which `read` does unless it is the pretended one.
template <typename Read>
static int note_read(const std::string &item, char *out, Read read) {
    reads.push_back(item);
    if (item != pretended_item) return read();
    if (!pretended_text) return STORE_NO_SUCH_ITEM;
    strcpy(out, pretended_text);
    return 0;
}

extern "C" {
int __real_get_sys_item(const char *name, char *out);
int __wrap_get_sys_item(const char *name, char *out) {
    return note_read(name, out, [&] { return __real_get_sys_item(name, out); });
}
cfg_item *__real_append_cfg_item(cfg_item *list, unsigned group_id, const char *key, const char *value);
cfg_item *__wrap_append_cfg_item(cfg_item *list, unsigned group_id, const char *key, const char *value) {
    if (const char *group = group_name(group_id)) queued[std::string(group) + " " + key] = value;
    return __real_append_cfg_item(list, group_id, key, value);
}
int __real_get_cfg_item_by_str(zevcfg_handle *handle, const char *group, const char *key, char *out);
int __wrap_get_cfg_item_by_str(zevcfg_handle *handle, const char *group, const char *key, char *out) {
    return note_read(std::string(group) + " " + key, out, [&] {
        const int result = __real_get_cfg_item_by_str(handle, group, key, out);
        if (result != 0) missing.insert(reads.back());
        return result;
    });
}
int __real_get_cfg_item(zevcfg_handle *handle, unsigned group_id, const char *key, char *out);
int __wrap_get_cfg_item(zevcfg_handle *handle, unsigned group_id, const char *key, char *out) {
    const char *group = group_name(group_id);
    return group ? __wrap_get_cfg_item_by_str(handle, group, key, out)
                 : __real_get_cfg_item(handle, group_id, key, out);
}
}

// What operators and other programs of the device rely on stands in files beside this one, a fact a line, in
// the order of the registry. A failure prints the lines that differ. With ZEVSIC_RENEW set, this program
// makes the file anew (git diff then shows what became of it): so is a new object pinned.
class Facts {
  public:
    // Begins with the object of which the facts are.
    void of(const Object &object) { name_ = object.name; }
    // Text that repeats a letter is told in short: x{62}.
    void add(const std::string &what, const std::string &text) {
        lines_ += name_ + " " + what;
        for (size_t i = 0, next = 0; i < text.size(); i = next) {
            next = std::min(text.find_first_not_of(text[i], i), text.size());
            const bool is_long = next - i > 12;
            lines_ += is_long ? text[i] + ("{" + std::to_string(next - i) + "}") : text.substr(i, next - i);
        }
        lines_ += "\n";
    }
    void add(const std::string &what, const std::vector<std::string> &texts) {
        for (const std::string &text : texts) add(what, text);
    }
    void expect_in(const DeviceRoot &root, const std::string &file) const {
        expect_file(root, ZEVSIC_SOURCE_DIR "/tests/" + file, lines_);
    }

  private:
    std::string name_, lines_;
};

// At most three texts whole, else the first and the last and how many there are.
static std::vector<std::string> in_short(const std::vector<std::string> &texts) {
    if (texts.size() <= 3) return texts;
    return {texts.front(), ".. " + std::to_string(texts.size()) + " ..", texts.back()};
}

// What an object's handler writes to the trace, without the lines of the tree and places in the source.
template <typename Action>
static std::vector<std::string> trace_of(const Object &object, Action action) {
    std::istringstream trace(traced(action));
    const std::string begin = std::string("handler ") + object.name + ":";
    const auto is_of = [](const std::string &line, std::initializer_list<const char *> beginnings) {
        return std::any_of(beginnings.begin(), beginnings.end(),
                           [&](const char *text) { return line.starts_with(text); });
    };
    std::vector<std::string> lines;
    bool in_handler = false;
    for (std::string line; std::getline(trace, line);) {
        if (in_handler && !is_of(line, {"handler ", "function ", "alloc ", "Free ", "node",
                                        "pch:", "dot:", "oid=", " value="}))
            lines.push_back(line.substr(0, line.find(" cmp=")));  // its number is the C library's
        in_handler = in_handler || line.starts_with(begin);
    }
    return in_short(lines);
}

class WalkTest : public testing::Test {
  protected:
    AgentOnDevice agent{"--demo"};
};

TEST_F(WalkTest, VisitsTheObjectsInRegistrationOrderAndSeesWhatAGetAnswers) {
    ASSERT_FALSE(agent.cells.empty());
    const Object *last = OBJECTS;
    for (const Cell &cell : agent.cells) {
        const Object *object = object_of(cell.oid);
        ASSERT_TRUE(object) << cell.oid;
        EXPECT_GE(object, last) << cell.oid;
        last = object;
        EXPECT_EQ(cell.status, object->type) << object->name;
        EXPECT_EQ(execute(KIND_GET, cell.oid), cell);
    }
    for (const Object &object : OBJECTS) {
        if (object.is_branch()) continue;
        const std::vector<std::string> &rows = agent.rows[&object];
        EXPECT_FALSE(rows.empty()) << object.name << " has no instance on the demo's device";
        const Table *table = table_of(object);  // what is heard comes in the order of the radios
        const auto is_before = [](const std::string &row, const std::string &other) {
            return std::ranges::lexicographical_compare(requested_row(row.c_str()).arcs,
                                                        requested_row(other.c_str()).arcs);
        };
        if (!table || !table->is_by_mac()) {
            EXPECT_TRUE(std::is_sorted(rows.begin(), rows.end(), is_before)) << object.name;
        }
    }
}

// What a GET of each object answers, reads and traces.
TEST_F(WalkTest, AnswersAreThoseOfTheDemosDevice) {
    // The tools follow the clock of the device, which stands still, in place of the machine's.
    agent.root.write("/proc/uptime", "98765.25 1.00\n");
    for (const std::string tool : {"athstats", "ifconfig", "iwlist", "wlanconfig"}) {
        const std::string script = agent.root.read("/sbin/" + tool);
        const size_t clock = script.find("</proc/uptime") + 1;
        agent.root.write("/sbin/" + tool, std::string(script).insert(clock, agent.root.path("")));
    }
    static const std::set<std::string_view> UNSTEADY = {
        "APSysApplyTime",  // the machine's clock
        "mem_usage",       // and its memory
    };
    Facts facts;
    for (const Object &object : OBJECTS) {
        if (object.is_branch()) continue;
        const std::vector<std::string> &rows = agent.rows.at(&object);
        const bool is_steady = !UNSTEADY.contains(object.name);
        const auto value = [&](const std::string &row) {
            return execute(KIND_GET, std::string(object.oid) + "." + row).value;
        };
        const auto add_row = [&](const std::string &row, const std::string &text) {
            facts.add(row + " = ", is_steady ? text.substr(0, text.find('\n')) : "?");
        };
        facts.of(object);
        facts.add("is of type ", type_to_str(object.type));
        reads.clear();
        forget_values();
        zevap->sample_time = 0;
        std::string last;
        const std::vector<std::string> trace = trace_of(object, [&] { last = value(rows.back()); });
        zevap->sample_time = 200;
        const std::vector<std::string> items = in_short(reads);
        const Table *table = table_of(object);
        const int shown = table && table->predefined ? table->predefined : rows.size() > 1;
        for (int i = 0; i < shown; i++) add_row(rows[i], value(rows[i]));
        add_row(rows.back(), last);
        facts.add("reads ", items);
        if (is_steady) facts.add("traces ", trace);
        // What other texts in the last item show, where it is not the text itself.
        std::vector<const char *> texts = {nullptr, "",     "?",     "0",    "-1",      "007",    "255",
                                           "4094",  "4095", "70000", "00ff", "disable", " 17 dBm"};
        for (const Word &word : object.words)
            if (word.also) texts.push_back(word.also);
        if (reads.empty())
            texts.clear();
        else
            pretended_item = reads.back();
        for (const char *text : texts) {
            pretended_text = text;
            forget_values();
            zevap->sample_time = 0;
            const std::string shows = value(rows.back());
            zevap->sample_time = 200;
            if (shows != (text ? text : ""))
                facts.add("shows ",
                          (text ? "'" + std::string(text) + "'" : "no item") + " as '" + shows + "'");
        }
        pretended_item.clear();
    }
    facts.expect_in(agent.root, "answers.txt");
}

TEST_F(WalkTest, ReadOnlyObjectsRefuseAndOthersWantTheirType) {
    for (const auto &[object, rows] : agent.rows) {
        const std::string oid = std::string(object->oid) + "." + rows.front();
        const auto status = [&](const std::string &set) { return execute(KIND_SET, oid, set).status; };
        EXPECT_EQ(status(object->type == INTEGER ? "string \"1\"" : "integer 1"), STATUS_WRONG_TYPE) << oid;
        if (object->access == READ_WRITE) continue;
        EXPECT_EQ(status(in_type(*object, execute(KIND_GET, oid).value)), STATUS_READ_ONLY) << oid;
    }
    EXPECT_EQ(pending_items, nullptr);
}

// Texts of every form, and those at the object's bounds and beyond.
static std::vector<std::string> texts_for(const Object &object) {
    const std::string x62(62, 'x'), name = x62.substr(1) + "." + x62 + "." + x62 + "." + x62;
    std::vector<std::string> texts = {"",        "x y",     " x", "5 ", "a\tb", " #()*,-.:?@_|aZ09",
                                      "x" + x62, "xx" + x62};
    for (const std::string &start : {"x" + x62, "xx" + x62, name, name + "x"})
        texts.push_back(start + ".de");  // labels of 63 and 64, names of 253 and 254 characters
    std::istringstream words(
        "\u00e9 x/y x\"y x'y x;y x\\y \x7f ~ a_b.org -a.org a-.org a.info a.ORG a..com com a-b.tel "
        "www.a.de . a.org;b.de ;a.org a.org;b ; 0 2 007 -0 -1 - 1x +1 0x1 1.0 -95 -96 99 256 2147483648 "
        "4294967297 18446744073709551617 0.0.0.0 00.1.2.3 001.2.3.4 1.2.3.255 1.2.3.256 1.2.3 1..2.3 "
        ".1.2.3 1.2.3. 1.2.3.4.5 1.2.3.a 1.2.3.-4 0000000001.2.3.4 :: : fe80::1 ABCD:ef::0 "
        "2001:db8:0:0:0:0:0:1 1:: 1:2:3:4:5:6::8 :1::2 1:2:3:4:5:6:7:8:9 12345::1 1::2::3 ::: "
        "1:2:3:4:5:6:7: 1:2:3 g::1 ::ffff:1.2.3.4 fe80::1%eth0 aF09 g0 09afAF 12345678g "
        "0a-1b-2c-3d-4e-5f 0a:1B:2c:3d:4e:5F 0a:1b-2c-3d-4e-5f 0a.1b.2c.3d.4e.5f 0a:1b:2c:3d:4e:5g "
        "0a1b2c3d4e5f 0a:1b:2c:3d:4e:5f: http:// https://x HTTP://x ftp://x 31f026 310F26 31a026 31026 "
        "11011 tcp icmp OSPF s.2.0");
    for (std::string word; words >> word;) texts.push_back(word);
    const auto add_bounds = [&](const Range &range, bool of_length) {
        for (const long bound : {range.low - 1L, range.low + 0L, range.high + 0L, range.high + 1L})
            if (range.is_set())
                texts.push_back(of_length ? std::string(std::clamp(bound, 0L, 300L), '1')
                                          : std::to_string(bound));
    };
    for (const Range &range : object.range) add_bounds(range, object.type != INTEGER);
    for (const Range &range : object.numbers) add_bounds(range, false);
    for (const Word &word : object.words) texts.push_back(std::to_string(word.value));
    return texts;
}

// Of the texts that an object takes: all numbers of an integer, else the shortest, the longest and the last.
static std::vector<std::string> values_of(const Object &object, const std::vector<std::string> &taken) {
    std::set<std::string> values;
    const auto is_shorter = [](const std::string &a, const std::string &b) { return a.size() < b.size(); };
    for (const std::string &text : taken)
        if (object.type == INTEGER ? text == std::to_string(atoi(text.c_str())) : &text == &taken.back())
            values.insert(text);
    if (object.type != INTEGER) {
        values.insert(*std::min_element(taken.begin(), taken.end(), is_shorter));
        values.insert(*std::max_element(taken.begin(), taken.end(), is_shorter));
    }
    return {values.begin(), values.end()};
}

// Adds of what is accepted and what is refused the one that is less.
static void add_shorter(Facts *facts, const std::string &of, const std::vector<std::string> &accepted,
                        const std::vector<std::string> &refused) {
    const bool not_these = refused.size() < accepted.size();
    facts->add(of + (not_these ? "refuses " : "takes only "), not_these ? refused : accepted);
}

// Counted lists have 110 rows and more, so that row 100 is one of them.
class WriteWalk : public testing::Test {
  protected:
    AgentOnDevice agent{"--demo",
                        {"bfirewall table_size 120", "bfw_service table_size 120", "bfw_dai dtbl_size 120",
                         "bfw_dai ptbl_size 110"}};

    WriteWalk() { agent.root.write("/sbin/zevwes", ""); }  // a feature that the demo's device lacks

    // First and last row, and row 100.
    std::vector<std::string> rows(const Object &object) const {
        const std::vector<std::string> &all = agent.rows.at(&object);
        std::vector<std::string> some;
        for (const std::string &row : all)
            if (&row == &all[table_of(object) ? table_of(object)->predefined : 0] || &row == &all.back() ||
                row == "100")
                some.push_back(row);
        return some;
    }
    static bool accepts(const Object &object, const std::string &instance, const std::string &value) {
        const std::string oid = std::string(object.oid) + "." + instance;
        const bool accepted = execute(KIND_SET, oid, in_type(object, value)).status == STATUS_ACCEPTED;
        drop_queue();
        return accepted;
    }
    // What a SET traces.
    static std::vector<std::string> set_trace(const Object &object, const std::string &instance,
                                              const std::string &value) {
        return trace_of(object, [&] { accepts(object, instance, value); });
    }
    // The items that a SET reads, and the texts in them with which it is refused, or accepted.
    static void add_conditions(Facts *facts, const Object &object, const std::string &instance,
                               const std::string &value) {
        reads.clear();
        accepts(object, instance, value);
        for (const std::string &item : std::set<std::string>(reads.begin(), reads.end())) {
            std::vector<std::string> accepted, refused;
            pretended_item = item;
            for (const char *text : {"none", "disable", "enable", "static", "dhcp", "auto", "ntp", "64",
                                     "128", "152", "ascii", "hex", "passphrase", "psk"}) {
                pretended_text = text;
                (accepts(object, instance, value) ? accepted : refused).emplace_back(text);
            }
            pretended_item.clear();
            facts->add("looks at ", item);
            if (!refused.empty()) add_shorter(facts, "with " + item + " ", accepted, refused);
        }
    }
    static void write(const char *group, const Row &row, const char *key, const std::string &text) {
        cfg_item *item = append_cfg_item(nullptr, group_id(group, row), key, text.c_str());
        EXPECT_EQ(set_cfg_items_snmp(sic_zevcfg, item), 0);
        free_item_list(item);
    }
};

// The items that a SET of a special object needs: group, key, text.
using Needed = std::vector<std::array<const char *, 3>>;
static const Needed VAP_WEP = {{VAP_SECURITY, "wep.keylen", "64"}, {VAP_SECURITY, "wep.method", "ascii"}};
static const std::map<std::string_view, Needed> NEEDED = {
    {"APSysNTPServer1", {{"systime", "type", "manual"}}},
    {"APSysNTPServer2", {{"systime", "type", "manual"}}},
    {"APSysSNMPTrapServerIPAddress", {{"snmp", "trap", "disable"}}},
    {"APSysSystemLogServerIPAddress", {{"syslog", "state", "disable"}}},
    {"APRFMaxTransmitRate", {{"rf%r", "state", "enable"}}},
    {"VAPAuthenMode", {{VAP_SECURITY, "mode", "open"}}},
    {"VAPWEPCipherKeyValue1", VAP_WEP},
    {"VAPWEPCipherKeyValue2", VAP_WEP},
    {"VAPWEPCipherKeyValue3", VAP_WEP},
    {"VAPWEPCipherKeyValue4", VAP_WEP},
    {"APWDSLinkEnabled", {{"rf%r", "rate", "auto"}, {"rf%r", "channel", "36"}}},
    {"APWDSLinkMacAddr", {{"rf%r_wds%v", "state", "disable"}}},
    {"APWDSLinkWEPKeyValue", {{"rf%r_wds%v", "wep.keylen", "64"}, {"rf%r_wds%v", "wep.method", "ascii"}}},
    {"APWDSLinkPSKKeyValue", {{"rf%r_wds%v", "wpa.type", "passphrase"}}},
};
// Stored is what the radio can do.
static const std::set<std::string_view> CLAMPED = {"APRFTxPowerConfig", "APRFBeaconInterval"};

// What a written value shows as once it is stored.
static std::string normal(const Object &object, std::string value) {
    for (char &c : value) {
        if (object.form == MAC_ADDRESS && c == '-') c = ':';
        if (object.form == MAC_ADDRESS || object.form == PROTOCOL) c = static_cast<char>(toupper(c));
        if (object.form == LOWER_HEX || object.form == CELLULAR) c = static_cast<char>(tolower(c));
    }
    return object.vlan && value == "0" ? NO_VLAN : value;
}

TEST_F(WriteWalk, WhatIsWrittenIsStoredInAnItemOfItsOwnAndShows) {
    // Of the last row of each object: the items that each value is stored as; what a SET traces that is
    // accepted, of a bad text, of no row; which texts are accepted; whether it takes the item to be there.
    Facts facts;
    std::map<std::string, const Object *> owners;
    int written = 0;
    for (const Object &object : OBJECTS) {
        if (object.is_branch() || object.access != READ_WRITE || object.acts) continue;
        const auto needed = NEEDED.find(object.name);
        const Table *table = table_of(object);
        const char *group = object.group ? object.group : table ? table->group : "";
        const auto is_absent = [&](const std::string &row) {
            return object.radios != ALL_RADIOS && (rf_is_offload(requested_row(row.c_str())[0] - 1) == 1) !=
                                                      (object.radios == OFFLOAD_RADIOS);
        };
        const std::vector<std::string> tried = rows(object);
        const auto last = std::find_if_not(tried.rbegin(), tried.rend(), is_absent);
        for (const std::string &text : tried) {
            const Row row = requested_row(text.c_str());
            const std::string oid = std::string(object.oid) + "." + text;
            const bool absent = is_absent(text);
            std::vector<std::string> stored_as, trace;
            for (const auto &[item_group, key, item] : needed == NEEDED.end() ? Needed{} : needed->second)
                write(item_group, row, key, item);
            for (const Need &need : object.needs)
                if (need.key) write(group, row, need.key, need.is ? need.text : "other");
            execute(KIND_GET, oid);
            std::vector<std::string> taken;
            std::vector<std::string> accepted, refused;
            for (const std::string &value : texts_for(object)) {
                const bool is_taken = accepts(object, text, value);
                if (is_taken) taken.push_back(value);
                (is_taken ? accepted : refused).push_back("'" + value + "'");
            }
            ASSERT_FALSE(taken.empty()) << oid;
            const auto values = values_of(object, taken);
            for (const std::string &value : values) {
                const std::string what = std::string(object.name) + "." + text + " = '" + value + "'";
                queued.clear();
                trace = trace_of(object, [&] {
                    EXPECT_EQ(execute(KIND_SET, oid, in_type(object, value)).status, STATUS_ACCEPTED) << what;
                });
                EXPECT_EQ(queued.empty(), absent || object.transient) << what;
                const std::string at_once = execute(KIND_GET, oid).value;
                std::string shown = absent ? "-1" : normal(object, value);
                std::string pair = "'" + value + "'";
                if (at_once != shown) pair += ", at first shown as '" + at_once + "',";
                const char *sign = " as ";
                for (const auto &[item, stored] : queued) {
                    pair += sign + item + "=" + stored;
                    sign = " + ";
                }
                if (queued.size() == 1) {
                    const auto &[owner, made] = owners.emplace(queued.begin()->first, &object);
                    if (!owner->first.ends_with("_sec mode")) {
                        EXPECT_EQ(owner->second, &object)
                            << what << " writes an item of " << owner->second->name;
                    }
                }
                EXPECT_EQ(execute(KIND_SET, "1.68.0", "integer 1").status, STATUS_ACCEPTED) << what;
                forget_values();
                const Answer answer = execute(KIND_GET, oid);
                if (CLAMPED.contains(object.name)) pair += ", shows " + (shown = answer.value);
                stored_as.push_back(pair);
                EXPECT_EQ(answer, (Answer{object.type, oid, shown})) << what;
                written++;
            }
            if (text != *last) continue;
            facts.of(object);
            facts.add(text + " stores ", stored_as);
            facts.add("traces ", trace);
            facts.add("traces of a bad text ", set_trace(object, text, "\u00e9"));
            if (table)
                facts.add("traces of no row ",
                          set_trace(object, std::string("0.0.0.0").substr(0, 2 * table->levels() - 1), "0"));
            add_shorter(&facts, "", accepted, refused);
            add_conditions(&facts, object, text, values.back());
            if (queued.size() == 1) pretended_item = queued.begin()->first;
            queued.clear();
            accepts(object, text, values.back());
            pretended_item.clear();
            if (queued.empty() && !object.transient) facts.add("stores nothing without an item", "");
        }
    }
    EXPECT_GT(written, 1000);
    facts.expect_in(agent.root, "stored_items.txt");
}

// The registry's numbers of rows, and an instance that is none.
TEST_F(WalkTest, NoRowIsNothingAndConfigurationIsReadOnce) {
    for (const Object &object : OBJECTS) {
        if (object.is_branch()) continue;
        const std::string oid = object.oid, name = object.name;
        const std::vector<std::string> &rows = agent.rows.at(&object);
        const Table *table = table_of(object);
        std::vector<std::string> none = {"", "." + rows.front() + ".1", "." + rows.front() + ".256"};
        if (!object.any_instance && !(table && table->arcs[0].low == 0)) none.push_back(table ? ".0" : ".1");
        if (table && !table->is_by_mac()) {
            const size_t dot = rows.back().rfind('.') + 1;  // 0 without one
            none.push_back("." + rows.back().substr(0, dot) +
                           std::to_string(std::stoi(rows.back().substr(dot)) + 1));
            if (dot > 0) none.push_back("." + rows.back().substr(0, dot - 1));
        }
        for (const bool fresh : {true, false}) {
            if (fresh) forget_values();
            for (const std::string &instance : none) {
                EXPECT_EQ(execute(KIND_GET, oid + instance), (Answer{0, "", ""}))
                    << name << instance << fresh;
                const bool may_grow = table && table->is_counted() && instance == none.back();
                const bool whole_device = name.ends_with("BandSteeringEnabled");  // whatever row is written
                if (object.access != READ_WRITE || may_grow || whole_device) continue;
                const std::string value = object.type == STRING ? "12:34:56:78:9a:bc" : "1";
                EXPECT_NE(execute(KIND_SET, oid + instance, in_type(object, value)).status, STATUS_ACCEPTED)
                    << name << instance;
            }
            execute(KIND_GET, oid + "." + rows.back());
        }
        reads.clear();
        EXPECT_EQ(execute(KIND_GET, oid + "." + rows.back()).oid, oid + "." + rows.back()) << name;
        EXPECT_TRUE(reads.empty()) << name;
    }
}

TEST(Walk, TheStoreHasEveryItemThatIsRead) {
    missing.clear();
    const AgentOnDevice agent{"--demo"};
    EXPECT_EQ(missing, std::set<std::string>());
}
