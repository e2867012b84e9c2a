// ZEVSIC-MIB against the registry it is made from, against the values of a device, and as other readers of
// modules see it.
#include <set>

#include "mib/module.h"
#include "snmp/translate.h"
#include "tests/agent_walk.h"

static const std::string FOLDER = ZEVSIC_SOURCE_DIR "/mib/";

static std::string module_of(const std::string &descriptions, std::string *errors) {
    Errors all;
    std::string module = make_module(read_descriptions(descriptions, &all), &all);
    errors->clear();
    for (const std::string &error : all) *errors += error + "\n";
    return module;
}

TEST(Mib, TheCommittedModuleIsWhatTheRegistryAndTheDescriptionsMake) {
    const std::string good = read_file(FOLDER + "descriptions.txt"),
                      committed = read_file(FOLDER + "ZEVSIC-MIB");
    std::string errors;
    const std::string made = module_of(good, &errors);
    EXPECT_EQ(errors, "");
    const auto differs = std::mismatch(made.begin(), made.end(), committed.begin(), committed.end()).first;
    EXPECT_TRUE(made == committed)
        << "line " << std::count(made.begin(), differs, '\n') + 1
        << " differs; to make the module anew: cmake --build BUILD --target mib-module";
    EXPECT_TRUE(has(made, "Default: mode11ng(6) on radio 1, mode11ac(7) on radio 2."));
    // What cannot be said is an error.
    const struct {
        std::string from, to;
        const char *error;
    } cases[] = {
        {"\nAPSysName\n", "\nAPSysFame\n", "not described: APSysName\n"},
        {"\nAPSysName\n", "\nAPSysFame\n", "describes nothing: APSysFame\n"},
        {"  @label mode\n  The radio's", "  The radio's", "no label for 1: '11a'\n"},
        {"\nVAPWMM\n", "\nVAPWMM\n  @reads 2 enabled\n", "no label for 2: 'enabled'\n"},
        {"\nAPSysName\n", "\nAPSysName\n  A \"quoted\" word.\n", "not for a description: "},
        {"\nAPSysName\n", "\nAPSysName\n  @reads many\n", "not understood: "},
        {"\nAPSysName\n", "\nAPSysName\n  Text.\nAPSysName\n", "described twice: APSysName\n"},
    };
    for (const auto &c : cases) {
        std::string spoilt = good;
        ASSERT_TRUE(has(good, c.from)) << c.error;
        module_of(spoilt.replace(spoilt.find(c.from), c.from.size(), c.to), &errors);
        EXPECT_TRUE(has(errors, c.error));
    }
}

static bool within(const ValueSet &set, int64_t number) {
    const auto is_label = [&](const auto &label) { return label.first == number; };
    const auto is_in = [&](const Range &range) { return number >= range.low && number <= range.high; };
    if (!set.labels.empty()) return std::any_of(set.labels.begin(), set.labels.end(), is_label);
    return set.ranges.empty() || std::any_of(set.ranges.begin(), set.ranges.end(), is_in);
}

TEST(Mib, TheValuesOfADeviceFitTheModule) {
    Errors errors;
    const Descriptions all = read_descriptions(read_file(FOLDER + "descriptions.txt"), &errors);
    std::set<std::string> with_default;
    for (const std::string options : {"--demo", ""}) {
        const AgentOnDevice agent(options);
        ASSERT_GT(agent.cells.size(), 3000U);
        for (const Cell &cell : agent.cells) {
            const Object &object = *object_of(cell.oid);
            const Description &description = all.at(object.name);
            // Where it is no value of the syntax, the description says that there is no instance.
            const std::optional<Value> value = to_value(object, cell.value);
            const int64_t measure = object.type == STRING ? static_cast<int64_t>(cell.value.size())
                                    : value               ? value->number
                                                          : 0;
            EXPECT_TRUE(value ? within(read_values(object, description, &errors), measure)
                              : description.paragraphs[0].find("o instance") != std::string::npos)
                << object.name << " " << cell.oid << " = '" << cell.value << "'";
            if (!description.has_default || !options.empty()) continue;
            // The defaults are those of the factory configuration.
            const Table *table = table_of(object);
            const bool per_radio = table && table->arcs[0].letter == RADIO_ARC.letter;
            const bool radio_2 = per_radio && cell.oid[std::string(object.oid).size() + 1] == '2';
            EXPECT_EQ(cell.value, description.defaults[radio_2]) << object.name << " " << cell.oid;
            with_default.insert(object.name);
        }
    }
    for (const auto &[name, description] : all)
        if (description.has_default) {
            EXPECT_TRUE(with_default.contains(name)) << name << " has no instance";
        }
}

// mib/README.md gives the reason of what smilint finds: the OIDs are the device's.
TEST(Mib, OtherReadersTakeIt) {
    const DeviceRoot device;
    if (!device.said("command -v smilint snmptranslate >/dev/null").empty())
        GTEST_SKIP() << "smilint or snmptranslate is not installed";
    EXPECT_EQ(
        device.said("cd " + FOLDER +
                    "; SMIPATH=base smilint -s -m -l 6 ./ZEVSIC-MIB 2>&1 | "
                    "sed 's/[^{]*\\({[^}]*}\\).*/\\1/' | sort | uniq -c | sed 's/^ *//'"),
        "12 {index-element-accessible}\n7 {parent-table}\n7 {sequence-missing-column}\n3 {sequence-order}\n");
    std::string names, oids;
    for (const Object &object : OBJECTS) {
        if (object.is_branch()) continue;
        names += " ZEVSIC-MIB::" + smi_name(object.name);
        oids += std::string(oids.empty() ? "" : "\n") + "." + ROOT_OID + "." + object.oid + "\n";
    }
    EXPECT_EQ(device.said("snmptranslate -On -m ZEVSIC-MIB -M " + FOLDER + ":" + FOLDER + "base" + names),
              oids);
}
