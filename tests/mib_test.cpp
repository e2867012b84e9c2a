// ZEVSIC-MIB against the registry it is made from, against the values of a device, and as other readers of
// modules see it.
#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <set>

#include "mib/module.h"
#include "tests/agent_walk.h"

static const std::string FOLDER = ZEVSIC_SOURCE_DIR "/mib/";

static std::string read_text(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

static Descriptions descriptions() {
    Errors errors;
    Descriptions all = read_descriptions(read_text(FOLDER + "descriptions.txt"), &errors);
    for (const std::string &error : errors) ADD_FAILURE() << error;
    return all;
}

static std::string output_of(const std::string &command) {
    std::string text;
    FILE *pipe = popen(command.c_str(), "r");
    for (int c = fgetc(pipe); c != EOF; c = fgetc(pipe)) text += static_cast<char>(c);
    pclose(pipe);
    return text;
}

static bool has_tool(const std::string &name) {
    return system(("command -v " + name + " >/dev/null").c_str()) == 0;
}

TEST(Mib, TheCommittedModuleIsWhatTheRegistryAndTheDescriptionsMake) {
    Errors errors;
    const std::string made = make_module(descriptions(), &errors);
    for (const std::string &error : errors) ADD_FAILURE() << error;
    const std::string committed = read_text(FOLDER + "ZEVSIC-MIB");
    if (made == committed) return;
    const auto [a, b] = std::mismatch(made.begin(), made.end(), committed.begin(), committed.end());
    ADD_FAILURE() << "line " << std::count(made.begin(), a, '\n') + 1
                  << " differs; to make the module anew: cmake --build BUILD --target mib-module";
}

TEST(Mib, WhatCannotBeSaidIsAnError) {
    const Descriptions good = descriptions();
    struct {
        const char *why;
        void (*spoil)(Descriptions *all);
    } const cases[] = {
        {"not described: APSysName", [](Descriptions *all) { all->erase("APSysName"); }},
        {"not described: aPStaIndex", [](Descriptions *all) { all->erase("aPStaIndex"); }},
        {"describes nothing: APSysFame",
         [](Descriptions *all) { (*all)["APSysFame"].paragraphs = {"Text."}; }},
        {"no label for 1: '11a'", [](Descriptions *all) { all->at("APRFBand").label_prefix.clear(); }},
        {"no label for 2: 'enabled'",
         [](Descriptions *all) {
             all->at("VAPWMM").reads.push_back({{2, 2}, "enabled"});
         }},
    };
    for (const auto &c : cases) {
        Descriptions all = good;
        c.spoil(&all);
        Errors errors;
        make_module(all, &errors);
        EXPECT_TRUE(std::any_of(errors.begin(), errors.end(), [&](const std::string &error) {
            return error.ends_with(c.why);
        })) << c.why;
    }
    for (const char *text :
         {"Name\n  A \"quoted\" word.\n", "Name\n  Caf\xc3\xa9.\n", "Name\n  @reads many\n",
          "  Text of nothing.\n", "Name\n  One.\nName\n  Two.\n"}) {
        Errors errors;
        read_descriptions(text, &errors);
        EXPECT_EQ(errors.size(), 1U) << text;
    }
}

TEST(Mib, WordsBecomeLabels) {
    const struct {
        const char *word, *prefix, *label;
    } cases[] = {
        {"rebootNeeded", "", "rebootNeeded"},
        {"best effort", "", "bestEffort"},
        {"WEP", "", "wep"},
        {"IPv4", "", "ipv4"},
        {"WPA-PSK", "", "wpaPSK"},
        {"802.1X", "ieee", "ieee802dot1X"},
        {"IEEE 802.3", "", "ieee802dot3"},
        {"5.5 Mbit/s", "rate", "rate5dot5MbitS"},
    };
    for (const auto &c : cases) EXPECT_EQ(smi_label(c.word, c.prefix), c.label);
    EXPECT_EQ(smi_name("cpu_usage"), "cpuUsage");
    EXPECT_EQ(smi_name("APSysName"), "aPSysName");
}

// ---- the values of a device ----

static bool within(const ValueSet &set, long number) {
    for (const auto &label : set.labels)
        if (label.first == number) return true;
    if (!set.labels.empty()) return false;
    for (const Range &range : set.ranges)
        if (number >= range.low && number <= range.high) return true;
    return set.ranges.empty();
}

// True when a manager can have the value in the object's syntax. `instance` is false when it is no value of
// the type at all.
static bool fits(const Object &object, const ValueSet &set, const std::string &value, bool *instance) {
    *instance = true;
    if (object.type == STRING) return within(set, static_cast<long>(value.size()));
    if (object.type == IPADDRESS) {
        in_addr address;
        *instance = inet_pton(AF_INET, value.c_str(), &address) == 1;
        return *instance;
    }
    long number = 0;
    const auto [end, code] = std::from_chars(value.data(), value.data() + value.size(), number);
    *instance = code == std::errc() && end == value.data() + value.size();
    return *instance && within(set, number);
}

TEST(Mib, TheValuesOfADeviceFitTheModule) {
    const Descriptions all = descriptions();
    for (const char *options : {"--demo", ""}) {
        const AgentOnDevice agent(options);
        ASSERT_GT(agent.cells.size(), 3000U);
        for (const Cell &cell : agent.cells) {
            const Object &object = *object_of(cell.oid);
            const Description &description = all.at(object.name);
            Errors errors;
            bool instance = true;
            if (fits(object, read_values(object, description, &errors), cell.value, &instance)) continue;
            const std::string &text = description.paragraphs[0];
            const bool said = text.find("No instance") != std::string::npos ||
                              text.find("no instance") != std::string::npos;
            EXPECT_TRUE(!instance && said) << object.name << " " << cell.oid << " = '" << cell.value << "'";
        }
    }
}

TEST(Mib, DefaultsAreThoseOfTheFactoryConfiguration) {
    const Descriptions all = descriptions();
    const AgentOnDevice agent("");
    std::set<std::string> seen;
    for (const Cell &cell : agent.cells) {
        const Object &object = *object_of(cell.oid);
        const Description &description = all.at(object.name);
        if (!description.has_default) continue;
        const Table *table = table_of(object);
        const bool per_radio = table && table->arcs[0].letter == RADIO_ARC.letter;
        const bool radio_2 = per_radio && cell.oid[std::string(object.oid).size() + 1] == '2';
        EXPECT_EQ(cell.value, description.defaults[radio_2]) << object.name << " " << cell.oid;
        seen.insert(object.name);
    }
    for (const auto &[name, description] : all)
        EXPECT_TRUE(!description.has_default || seen.contains(name))
            << name << " has a default and no instance";
}

// ---- other readers of modules ----

// mib/README.md gives the reason of each: the OIDs are the device's.
TEST(Mib, LintFindsOnlyWhatTheOidsFix) {
    if (!has_tool("smilint")) GTEST_SKIP() << "smilint is not installed";
    const std::string found =
        output_of("SMIPATH=" + FOLDER + "base smilint -s -m -l 6 " + FOLDER + "ZEVSIC-MIB 2>&1");
    std::map<std::string, int> count;
    std::istringstream lines(found);
    for (std::string line; std::getline(lines, line);) {
        const size_t open = line.find('{');
        count[open == std::string::npos ? line : line.substr(open, line.find('}') + 1 - open)]++;
    }
    const std::map<std::string, int> fixed = {{"{parent-table}", 7},
                                              {"{sequence-missing-column}", 7},
                                              {"{sequence-order}", 3},
                                              {"{index-element-accessible}", 12}};
    EXPECT_EQ(count, fixed) << found;
}

TEST(Mib, EveryObjectIsTranslatedBothWays) {
    if (!has_tool("snmptranslate")) GTEST_SKIP() << "snmptranslate is not installed";
    const DeviceRoot root;
    const std::string program = "snmptranslate -M " + FOLDER + ":" + FOLDER + "base -m ZEVSIC-MIB ";
    std::string names;
    std::string oids;
    std::string expected_names;
    std::string expected_oids;
    for (const Object &object : OBJECTS) {
        if (object.is_branch()) continue;
        const std::string name = "ZEVSIC-MIB::" + smi_name(object.name);
        const std::string oid = std::string(".") + ROOT_OID + "." + object.oid;
        names += " " + name;
        oids += " " + oid;
        expected_names += (expected_names.empty() ? "" : "\n") + name + "\n";
        expected_oids += (expected_oids.empty() ? "" : "\n") + oid + "\n";
    }
    EXPECT_EQ(output_of(program + "-On" + names + " 2>&1"), expected_oids);
    EXPECT_EQ(output_of(program + oids + " 2>&1"), expected_names);
}
