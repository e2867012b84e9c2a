// zevctl export: the settings in an order that a reader likes. Scalars by theme, tables row by row.
#include <cstdio>
#include <set>

#include "zevctl/output.h"
#include "zevctl/settings.h"

// Names for parts of the subtree.
static constexpr struct {
    const char *name, *oid;
} GROUPS[] = {{"system", "1"}, {"port", "1.66"},   {"management", "1.67"}, {"radio", "2"},
              {"vap", "3"},    {"hotspot", "3.2"}, {"wds", "4"},           {"firewall", "7"},
              {"rule", "7.1"}, {"service", "7.2"}, {"dhcp", "7.4"},        {"privilege", "7.10"}};

std::vector<const char *> setting_groups() {
    std::vector<const char *> names;
    for (const auto &group : GROUPS) names.push_back(group.name);
    return names;
}

// The themes of the scalars, by the object that each begins with.
static constexpr struct {
    const Object *object;
    const char *title;
} THEMES[] = {{"APSysName"_object, "Identity"},
              {"APSysTimezone"_object, "Time"},
              {"APSysIPAddress"_object, "Addresses"},
              {"APSysL2STPEnabled"_object, "Spanning tree, management VLAN"},
              {"APSysSNMPTrapEnabled"_object, "SNMP traps"},
              {"APSysSystemLogEnabled"_object, "System log"},
              {"APSysCAPWAPEnabled"_object, "Wireless controller"},
              {"APSysIPv6Enabled"_object, "IPv6"},
              {"APSysWESStatus"_object, "WES"},
              {"APSysPortSwitchMode"_object, "LAN ports"},
              {"L2FirewallDHCPSnoopingEnabled"_object, "Layer-2 firewall: protection of addresses"}};

// The tables: whose objects, how many arcs tell their rows apart, and the object that names a row.
struct RowTable {
    const char *oid;
    size_t arcs;
    const char *title, *row;
    const Object *label;  // null: none
};
static constexpr RowTable ROW_TABLES[] = {
    {"1.66.1", 1, "LAN ports", "LAN port", nullptr},
    {"1.67.1", 1, "Hosts that may manage the device", "", nullptr},
    {"2.1.1", 1, "Radios", "radio", nullptr},
    {"3", 2, "VAPs", "VAP", "VAPESSID"_object},
    {"4.1.1", 2, "WDS links", "WDS link", nullptr},
    {"7.1.1", 1, "Layer-2 firewall: rules", "rule", "L2FirewallRuleName"_object},
    {"7.2.1", 1, "Layer-2 firewall: services", "service", "L2FirewallServiceName"_object},
    {"7.4.1", 1, "Layer-2 firewall: trusted DHCP servers", "server", nullptr},
    {"7.10.1", 1, "Layer-2 firewall: privileged clients", "client", nullptr}};

static bool is_below(std::string_view oid, std::string_view branch) {
    return oid.starts_with(branch) && (oid.size() == branch.size() || oid[branch.size()] == '.');
}

// ---- text ----

static void print_setting(const Place &place, const std::string &value, bool secrets) {
    const Object &object = object_of(place);
    const std::string name = place_name(place);
    const std::string mistake = value_mistake(object, value);
    if (object.secret && !secrets)
        printf("# %s is secret: see --secrets\n", name.c_str());
    else if (value.empty() && !mistake.empty())
        printf("# %s is not set\n", name.c_str());
    else if (!mistake.empty())
        printf("# %s = %s  %s\n", name.c_str(), file_value(object, value).c_str(),
               value == "-1" ? "(not on this device)" : "(cannot be set)");
    else
        printf("%s = %s\n", name.c_str(), file_value(object, value).c_str());
}

static void print_scalars(const Settings &settings, bool secrets) {
    int shown = -1;
    for (const auto &[place, value] : settings) {
        if (table_of(object_of(place))) continue;
        int theme = -1;
        for (const auto &candidate : THEMES) theme += &object_of(place) >= candidate.object;
        if (theme != shown) printf("\n# ---- %s ----\n", THEMES[theme].title);
        shown = theme;
        print_setting(place, value, secrets);
    }
}

// The rows of a table: each with its places in the order of the registration.
using TableRows = std::map<std::vector<int>, std::vector<Place>>;

static TableRows rows_of(const Settings &settings, const RowTable &table) {
    TableRows rows;
    for (const auto &[place, value] : settings) {
        if (!table_of(object_of(place)) || !is_below(object_of(place).oid, table.oid)) continue;
        if (place.arcs.size() < table.arcs || !instance_mistake(object_of(place), place.arcs).empty())
            continue;
        rows[{place.arcs.begin(), place.arcs.begin() + static_cast<long>(table.arcs)}].push_back(place);
    }
    return rows;
}

static void print_table(const Settings &settings, const RowTable &table, bool secrets) {
    const TableRows rows = rows_of(settings, table);
    if (!rows.empty()) printf("\n# ---- %s ----\n", table.title);
    for (const auto &[arcs, places] : rows) {
        std::string heading = table.row;
        for (size_t i = 0; i < arcs.size(); i++) heading += (i ? "." : " ") + std::to_string(arcs[i]);
        const auto label =
            table.label ? settings.find({object_index(table.label->name), arcs}) : settings.end();
        if (label != settings.end() && !label->second.empty()) heading += ": " + printable(label->second);
        if (*table.row) printf("\n# %s\n", heading.c_str());
        for (const Place &place : places) print_setting(place, settings.at(place), secrets);
    }
}

// ---- JSON ----

static std::string setting_json(const Place &place, const std::string &value, bool secrets) {
    const Object &object = object_of(place);
    const Target target = locate(place_oid(place));
    return value_json(target, object.type, object.secret && !secrets ? std::nullopt : std::optional(value));
}

// ---- what is asked for ----

// Takes the objects at or below a place; `arcs` narrows them to an instance.
struct Selection {
    std::string oid;
    std::vector<int> arcs;
};

static int select(const std::string &name, std::vector<Selection> *selected) {
    for (const auto &group : GROUPS) {
        if (!same_name(group.name, name)) continue;
        selected->push_back({group.oid, {}});
        return EXIT_DONE;
    }
    const Target target = parse_target(name);
    if (!target.error.empty()) {
        const std::string near = suggestion(name, setting_groups());
        return complain(EXIT_USAGE, near.empty() ? target.error : "no such group: " + printable(name) + near);
    }
    if (target.object && !is_setting(*target.object))
        return complain(EXIT_USAGE, std::string(target.object->name) + " is no setting");
    if (target.object)
        selected->push_back({target.object->oid, place_of(target).arcs});
    else
        selected->push_back(
            {target.oid.size() > ROOT_PREFIX_LENGTH ? target.oid.substr(ROOT_PREFIX_LENGTH) : "", {}});
    return EXIT_DONE;
}

static bool is_selected(const std::vector<Selection> &selected, const Object &object, const Place *place) {
    if (selected.empty()) return true;
    for (const Selection &selection : selected) {
        if (!selection.oid.empty() && !is_below(object.oid, selection.oid)) continue;
        if (!place || selection.arcs.empty() || selection.arcs == place->arcs) return true;
    }
    return false;
}

int export_settings(const Client &client, const std::vector<std::string> &names, bool secrets) {
    std::vector<Selection> selected;
    std::vector<int> objects;
    Settings read, settings;
    for (const std::string &name : names)
        if (const int status = select(name, &selected); status != EXIT_DONE) return status;
    for (int i = 0; i < static_cast<int>(std::size(OBJECTS)); i++)
        if (is_setting(OBJECTS[i]) && is_selected(selected, OBJECTS[i], nullptr)) objects.push_back(i);
    if (const int status = read_settings(client, objects, &read); status != EXIT_DONE) return status;
    for (const auto &[place, value] : read)
        if (is_selected(selected, object_of(place), &place) &&
            instance_mistake(object_of(place), place.arcs).empty())
            settings.emplace(place, value);
    if (client.json) {
        std::vector<std::string> documents;
        for (const auto &[place, value] : settings) documents.push_back(setting_json(place, value, secrets));
        answer_json(json_array(documents));
        return EXIT_DONE;
    }
    puts("# Settings of an access point, written by zevctl " ZEVSIC_VERSION "; \"zevctl load\" sets them.");
    print_scalars(settings, secrets);
    for (const RowTable &table : ROW_TABLES) print_table(settings, table, secrets);
    return EXIT_DONE;
}
