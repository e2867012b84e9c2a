// The tables of zevctl: the views against the object registry, and what is printed of the values of a server.
#include "client/table.h"

#include <set>
#include <sstream>

#include "tests/client_fixture.h"

namespace {

// Keys and shared secrets, by the names of their objects.
bool is_secret(const std::string &object) {
    for (const char *part : {"KeyValue", "SecretKey", "OwnKey", "ApKey"})
        if (object.find(part) != std::string::npos) return true;
    return false;
}

TEST(Views, AreMadeOfObjects) {
    for (const View &view : views()) {
        EXPECT_EQ(find_object(view.name), nullptr);
        std::set<std::string> headings;
        for (const ViewColumn &column : view.columns) {
            SCOPED_TRACE(std::string(view.name) + ": " + column.heading);
            EXPECT_TRUE(headings.insert(column.heading).second);
            EXPECT_NE(column.objects[0], nullptr);
            for (const char *name : column.objects) {
                if (!name) continue;
                EXPECT_NE(find_object(name), nullptr) << name;
                EXPECT_EQ(is_secret(name), column.secret) << name;
            }
            // What decides about a row is a cell of the row.
            const Object *condition = find_object(column.when.object ? column.when.object : "");
            EXPECT_EQ(condition != nullptr, column.when.object != nullptr);
            if (condition) {
                EXPECT_EQ(arc_count(*condition), view.arcs);
            }
        }
        const Object *first = find_object(view.columns[0].objects[0]);
        EXPECT_EQ(first ? arc_count(*first) : 0, view.arcs) << view.name;
    }
}

struct Tables : Commands {
    TableOptions options;

    // Values by object name and instance.
    void values(const std::vector<std::pair<std::string, std::string>> &list) {
        tree.values.clear();
        for (const auto &[name, value] : list) {
            const size_t dot = name.find('.');
            const Object *object = find_object(name.substr(0, dot));
            ASSERT_NE(object, nullptr) << name;
            tree.values.emplace_back(object->oid + name.substr(dot), value);
        }
    }
    int print(const std::string &name) {
        return run([&] { return table(client, {name}, options); });
    }
};

TEST_F(Tables, ARuleReadsLikeAFirewallsListing) {
    const struct {
        const char *values;  // object name behind "L2FirewallRule" and value
        std::string type, from, to;
    } cases[] = {
        {"EtherTypeList 0 SourceIPv4IPAddressMask 32", "any", "any", "any"},
        {"EtherTypeList 1 InterfaceSelected s.1.16 SourceIPv4IPAddress 10.0.0.0 SourceIPv4IPAddressMask 8 "
         "DestinationIPv4IPAddress 10.1.2.3 DestinationIPv4IPAddressMask 32 ARPOpcode 0",
         "IPv4", "VAP 1.16 10.0.0.0/8", "10.1.2.3"},
        {"EtherTypeList 3 InterfaceSelected d.2.0 VlanID 7 VlanPriority 0 "
         "SourceMACAddress 02:00:00:00:00:01 SourceMACMask FF:FF:FF:FF:FF:FF "
         "DestinationMACAddress 02:00:00:00:00:00 DestinationMACMask FF:FF:00:00:00:00",
         "VLAN ID 7 priority 0", "02:00:00:00:00:01", "radio 2 02:00:00:00:00:00/FF:FF:00:00:00:00"},
        {"EtherTypeList 4 ARPOpcode 2 SourceARPIPAddress 10.0.0.1 SourceARPIPAddressMask 0 "
         "SourceARPMACAddress 02:00:00:00:00:01 DestinationRARPMACAddress 02:00:00:00:00:02",
         "ARP opcode 2", "ARP 10.0.0.1/0 02:00:00:00:00:01", "RARP 02:00:00:00:00:02"},
    };
    options.csv = true;
    for (const auto &c : cases) {
        std::vector<std::pair<std::string, std::string>> list = {{"L2FirewallRuleName.3", "n"}};
        std::istringstream words(c.values);
        for (std::string name, value; words >> name >> value;)
            list.emplace_back("L2FirewallRule" + name + ".3", value);
        values(list);
        EXPECT_EQ(print("rule"), EXIT_DONE) << err;
        EXPECT_EQ(out, "rule,name,state,ether type,from,to,service,action,remark\n3,n,," + c.type + "," +
                           c.from + "," + c.to + ",,,\n");
    }
}

TEST_F(Tables, Layouts) {
    values({{"L2FirewallPrivilegeMAC.1", "a,\"\x1b"},
            {"L2FirewallPrivilegeMAC.12", "\""},
            {"L2FirewallPrivilegeIP.1", ""},
            {"L2FirewallPrivilegeEnabled.1", "2"},
            {"L2FirewallPrivilegeEnabled.12", "7"}});
    EXPECT_EQ(print("privilege"), EXIT_DONE);
    EXPECT_EQ(out,
              "number  MAC address  state\n"
              "     1  a,\"\\x1b      enabled\n"
              "    12  \"            7\n");
    options.csv = true;
    EXPECT_EQ(print("privilege"), EXIT_DONE);
    EXPECT_EQ(out, "number,MAC address,IP address,state\n1,\"a,\"\"\\x1b\",,enabled\n12,\"\"\"\",,7\n");
    client.json = true;
    EXPECT_EQ(print("privilege"), EXIT_DONE);
    EXPECT_EQ(out, R"([
{"number":1,"MAC address":"a,\"\u001b","IP address":null,"state":"enabled"},
{"number":12,"MAC address":"\"","IP address":null,"state":7}
]
)");
    client.json = options.csv = false;
    values({});
    EXPECT_EQ(print("dhcp"), EXIT_DONE);
    EXPECT_EQ(out, "number  MAC address  IP address  remark\n");
    values({{"APSysName.0", "ap"}, {"L2FirewallRuleEnabled.2", "1"}});
    EXPECT_EQ(run([&] {
                  return table(client, {"7.1", "APSysName", "L2FirewallRuleEnabled"}, options);
              }),
              EXIT_DONE);
    EXPECT_EQ(out,
              "instance  L2FirewallRuleEnabled  APSysName\n"
              "2         disabled\n"
              "0                                ap\n");
    EXPECT_EQ(print("nonsense"), EXIT_REFUSED);
    client.socket += "2";
    EXPECT_EQ(print("rule"), EXIT_NO_DAEMON);
    EXPECT_EQ(out, "");
}

constexpr ViewColumn COLUMNS[] = {
    {"name", {"L2FirewallRuleName"}},
    {"list", {"L2FirewallServiceName"}, {"L2FirewallRuleEnabled", "2"}},
    {"key", {"L2FirewallRuleRemark"}, {}, true},
};

TEST_F(Tables, ListsConditionsAndSecrets) {
    const View view{"test", "row", 2, COLUMNS};
    values({{"L2FirewallRuleName.1.1", "one"},
            {"L2FirewallRuleName.1.2", "two"},
            {"L2FirewallServiceName.1.1.1", "a"},
            {"L2FirewallServiceName.1.1.2", ""},
            {"L2FirewallServiceName.1.1.3", "b"},
            {"L2FirewallServiceName.1.2.1", "c"},
            {"L2FirewallRuleEnabled.1.1", "2"},
            {"L2FirewallRuleEnabled.1.2", "1"},
            {"L2FirewallRuleRemark.1.1", "secret"}});
    EXPECT_EQ(run([&] { return print_view(client, view, options); }), EXIT_DONE);
    EXPECT_EQ(out, "row  name  list\n1.1  one   a, b\n1.2  two\n");
    options.secrets = true;
    EXPECT_EQ(run([&] { return print_view(client, view, options); }), EXIT_DONE);
    EXPECT_NE(out.find("secret"), std::string::npos);
}

TEST_F(Tables, RowsMayComeAndGo) {
    values({{"L2FirewallTrustDHCPServerMAC.1", "a"},
            {"L2FirewallTrustDHCPServerMAC.2", "b"},
            {"L2FirewallTrustDHCPServerMAC.3", "c"},
            {"L2FirewallTrustDHCPServerIP.3", "address c"},
            {"L2FirewallTrustDHCPServerIP.4", "address d"}});
    int requests = 0;
    tree.before = [&] {  // the row that the walk stands on goes away, and it cannot go on
        if (++requests == 4) tree.values.erase(tree.values.begin() + 1);
    };
    EXPECT_EQ(print("dhcp"), EXIT_DONE);
    EXPECT_EQ(out,
              "number  MAC address  IP address\n"
              "     1  a\n"
              "     3  c            address c\n"
              "     4               address d\n");
}

}  // namespace
