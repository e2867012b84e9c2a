#include "zevctl/table.h"

#include <algorithm>
#include <cstring>
#include <unordered_map>

// The radios

static constexpr ViewColumn RADIO[] = {
    {"MAC address", {"APRFMacAddress"}},
    {"band", {"APRFBand"}},
    {"channel", {"APRFRadioChannelCurrent"}},
    {"configured", {"APRFRadioChannelConfig"}},
    {"width", {"APRFChannelWidth"}},
    {"power", {"APRFTxPowerCurrent"}},
    {"beacon", {"APRFBeaconInterval"}},
    {"band steering", {"APRFBandSteeringEnabled"}},
    {"airtime fairness", {"APRFAirtimeFairnessStatus"}},
    {"stations", {"APRFNumOfStation"}},
    {"received", {"APRFInOctets"}},
    {"sent", {"APRFOutOctets"}},
    {"CCI", {"APRFCCI"}},
    {"ACI", {"APRFACI"}},
    {"WDI", {"APRFWDI"}},
};

// The VAPs

static constexpr ViewColumn VAP[] = {
    {"SSID", {"VAPESSID"}},
    {"state", {"VAPSSIDEnabled"}},
    {"profile", {"VAPProfileName"}},
    {"BSSID", {"VAPBSSID"}},
    {"VLAN", {"VAPVlanId"}, {"VAPVlanIdEnabled", "2"}},
    {"security", {"VAPAuthenMode"}},
    {"hidden", {"VAPSSIDHidden"}},
    {"isolation", {"VAPWirelessStationIsolation"}},
    {"tunnel", {"VAPCAPWAPTunnelInterfaceStatus"}},
    {"stations", {"VAPNumOfStations"}},
    {"received", {"VAPInOctets"}},
    {"sent", {"VAPOutOctets"}},
};

static std::string server(const Values &values) {
    return values[0].empty() || values[1].empty() ? values[0] : values[0] + ":" + values[1];
}

// What belongs to the VAP's mode: 1 static WEP, 2 802.1X with dynamic WEP, 3 WPA with a key, 4 WPA
// enterprise.
static constexpr When WITH_WEP = {"VAPAuthenMode", "1"};
static constexpr When WITH_8021X = {"VAPAuthenMode", "2"};
static constexpr When WITH_WPA_KEY = {"VAPAuthenMode", "3"};
static constexpr When WITH_WPA = {"VAPAuthenMode", "34"};
static constexpr When WITH_RADIUS = {"VAPAuthenMode", "24"};
static constexpr When WITH_11R = {"VAPRoam11rEnabled", "2"};

static constexpr ViewColumn SECURITY[] = {
    {"SSID", {"VAPESSID"}},
    {"mode", {"VAPAuthenMode"}},
    {"cipher", {"VAPPSKCipherSuite"}, WITH_WPA},
    {"PMF", {"VAPWPAProtectMgmtFrame"}, WITH_WPA},
    {"group rekeying", {"VAPWPAGroupKeyUpdatePeriod"}, WITH_WPA},
    {"key format", {"VAPPSKCipherKeyCharType"}, WITH_WPA_KEY},
    {"key", {"VAPPSKCipherKeyValue"}, WITH_WPA_KEY, true},
    {"WEP", {"VAPWEPCipher80211Auth"}, WITH_WEP},
    {"WEP length", {"VAPWEPCipherKeyLength"}, WITH_WEP},
    {"WEP format", {"VAPWEPCipherKeyCharType"}, WITH_WEP},
    {"WEP key", {"VAPWEPCipherSelectedKeyIndex"}, WITH_WEP},
    {"WEP key 1", {"VAPWEPCipherKeyValue1"}, WITH_WEP, true},
    {"WEP key 2", {"VAPWEPCipherKeyValue2"}, WITH_WEP, true},
    {"WEP key 3", {"VAPWEPCipherKeyValue3"}, WITH_WEP, true},
    {"WEP key 4", {"VAPWEPCipherKeyValue4"}, WITH_WEP, true},
    {"dynamic WEP", {"VAPDynamicWEPStatus"}, WITH_8021X},
    {"dynamic WEP length", {"VAPDynamicWEPWEPKeyLength"}, WITH_8021X},
    {"dynamic WEP rekeying", {"VAPDynamicWEPRekeyingPeriod"}, WITH_8021X},
    {"RADIUS", {"VAPRadiusAuthPriIPAddr", "VAPRadiusAuthPriPort"}, WITH_RADIUS, false, server},
    {"RADIUS secret", {"VAPRadiusAuthPriSecretKey"}, WITH_RADIUS, true},
    {"accounting", {"VAPRadiusAccPriEnable"}, WITH_RADIUS},
    {"second RADIUS", {"VAPRadiusAuthSecondIPAddr", "VAPRadiusAuthSecondPort"}, WITH_RADIUS, false, server},
    {"second RADIUS secret", {"VAPRadiusAuthSecondSecretKey"}, WITH_RADIUS, true},
    {"second accounting", {"VAPRadiusAccSecondEnable"}, WITH_RADIUS},
    {"11r", {"VAPRoam11rEnabled"}, WITH_11R},
    {"mobility domain", {"VAPRoam11rMobilityDomain"}, WITH_11R},
    {"11r key", {"VAPRoam11rOwnKey"}, WITH_11R, true},
    {"11r peers", {"VAPRoam11rTargetApMac"}, WITH_11R},
    {"11r peer keys", {"VAPRoam11rTargetApKey"}, WITH_11R, true},
};

static constexpr When WITH_HOTSPOT = {"VAPHS20Status", "2"};

static constexpr ViewColumn HOTSPOT[] = {
    {"SSID", {"VAPESSID"}},
    {"state", {"VAPHS20Status"}},
    {"internet", {"VAPHS20InternetAccess"}, WITH_HOTSPOT},
    {"network", {"VAPHS20AccessNetworkType"}, WITH_HOTSPOT},
    {"venue group", {"VAPHS20VenueGroup"}, WITH_HOTSPOT},
    {"venue type", {"VAPHS20VenueType"}, WITH_HOTSPOT},
    {"venues", {"VAPHS20VenueName"}, WITH_HOTSPOT},
    {"authentication", {"VAPHS20NetworkAuthType"}, WITH_HOTSPOT},
    {"redirection", {"VAPHS20RedirectURL"}, WITH_HOTSPOT},
    {"IPv4", {"VAPHS20IPv4Type"}, WITH_HOTSPOT},
    {"IPv6", {"VAPHS20IPv6Type"}, WITH_HOTSPOT},
    {"OUIs", {"VAPHS20OUI"}, WITH_HOTSPOT},
    {"realms", {"VAPHS20NAIrealm"}, WITH_HOTSPOT},
    {"domains", {"VAPHS20DomainName"}, WITH_HOTSPOT},
    {"cellular", {"VAPHS20Cellular"}, WITH_HOTSPOT},
};

static constexpr When WDS_WITH_WEP = {"APWDSLinkSecurityType", "1"};
static constexpr When WDS_WITH_WPA = {"APWDSLinkSecurityType", "2"};

static constexpr ViewColumn WDS[] = {
    {"state", {"APWDSLinkEnabled"}},
    {"peer", {"APWDSLinkMacAddr"}},
    {"security", {"APWDSLinkSecurityType"}},
    {"cipher", {"APWDSLinkPSKCipherSuite"}, WDS_WITH_WPA},
    {"key type", {"APWDSLinkPSKKeyType"}, WDS_WITH_WPA},
    {"key", {"APWDSLinkPSKKeyValue"}, WDS_WITH_WPA, true},
    {"WEP length", {"APWDSLinkWEPKeyLength"}, WDS_WITH_WEP},
    {"WEP format", {"APWDSLinkWEPKeyFormat"}, WDS_WITH_WEP},
    {"WEP key", {"APWDSLinkWEPKeyValue"}, WDS_WITH_WEP, true},
    {"tunnel", {"APWDSLinkCAPWAPTunnelInterfaceStatus"}},
};

// Stations and neighbours

static std::string no_vlan_is_empty(const Values &values) {
    return values[0] == "4096" ? "" : values[0];
}

static constexpr ViewColumn STATION[] = {
    {"MAC address", {"APStaMACAddress"}},
    {"SSID", {"APStaSSIDName"}},
    {"VLAN", {"APStaVlanId"}, {}, false, no_vlan_is_empty},
    {"band", {"APStaBandCheck"}},
    {"signal", {"APReceivedStaSignalStrength"}},
    {"SNR", {"APStaSNR"}},
    {"rate", {"APStaTransmitRate"}},
    {"connected", {"APStaConnectionTime"}},
    {"sent", {"APStaTxBytes"}},
    {"received", {"APStaRxBytes"}},
};

static constexpr ViewColumn NEIGHBOUR[] = {
    {"SSID", {"NeighborhoodAPSSIDName"}},
    {"MAC address", {"NeighborhoodAPMacAddress"}},
    {"channel", {"NeighborhoodAPChannel"}},
    {"signal", {"NeighborhoodAPReceivedSignalStrength"}},
};

// The layer-2 firewall

// Appends a word or phrase to a list of them.
static void add(std::string *text, const std::string &phrase) {
    if (!phrase.empty()) *text += (text->empty() ? "" : " ") + phrase;
}

// An address with its prefix length or mask, which is left out when it covers the whole address.
static std::string masked(const std::string &address, const std::string &mask) {
    const bool whole = mask.empty() || mask == "32" || mask == "FF:FF:FF:FF:FF:FF";
    return address.empty() || whole ? address : address + "/" + mask;
}

// "s.1.3" is VAP 3 of radio 1, "s.1.0" all of the radio.
static std::string interface_words(const std::string &selected) {
    const std::string place = selected.substr(2);
    return place.ends_with(".0") ? "radio " + place.substr(0, place.size() - 2) : "VAP " + place;
}

// One end of a rule, of the thirteen objects that say what it matches there.
static std::string rule_end(char side, const Values &values) {
    std::string text;
    if (values[0].size() > 2 && values[0][0] == side) add(&text, interface_words(values[0]));
    add(&text, masked(values[1], values[2]));
    add(&text, masked(values[3], values[4]));
    for (const size_t i : {5, 9}) {
        std::string inside = masked(values[i], values[i + 1]);
        add(&inside, masked(values[i + 2], values[i + 3]));
        if (!inside.empty()) add(&text, (i == 5 ? "ARP " : "RARP ") + inside);
    }
    return text.empty() ? "any" : text;
}
static std::string rule_from(const Values &values) {
    return rule_end('s', values);
}
static std::string rule_to(const Values &values) {
    return rule_end('d', values);
}

static std::string rule_type(const Values &values) {
    const char *const labels[] = {"SAP ", "type ", "ID ", "priority ", "type ", "opcode ", "opcode "};
    constexpr size_t FIRST_OPCODE = 5;  // of which 0 is none
    std::string text = values[0];
    for (size_t i = 0; i < std::size(labels); i++) {
        const std::string &value = values[i + 1];
        if (!value.empty() && (i < FIRST_OPCODE || value != "0")) add(&text, labels[i] + value);
    }
    return text;
}

#define RULE_END(side)                                                                         \
    {                                                                                          \
        "L2FirewallRuleInterfaceSelected", "L2FirewallRule" side "MACAddress",                 \
            "L2FirewallRule" side "MACMask", "L2FirewallRule" side "IPv4IPAddress",            \
            "L2FirewallRule" side "IPv4IPAddressMask", "L2FirewallRule" side "ARPIPAddress",   \
            "L2FirewallRule" side "ARPIPAddressMask", "L2FirewallRule" side "ARPMACAddress",   \
            "L2FirewallRule" side "ARPMACMask", "L2FirewallRule" side "RARPIPAddress",         \
            "L2FirewallRule" side "RARPIPAddressMask", "L2FirewallRule" side "RARPMACAddress", \
            "L2FirewallRule" side "RARPMACMask"                                                \
    }

static constexpr ViewColumn RULE[] = {
    {"name", {"L2FirewallRuleName"}},
    {"state", {"L2FirewallRuleEnabled"}},
    {"ether type",
     {"L2FirewallRuleEtherTypeList", "L2FirewallRuleIEEE8023DSAPSSAP",
      "L2FirewallRuleIEEE8023EtherTypeNumbering", "L2FirewallRuleVlanID", "L2FirewallRuleVlanPriority",
      "L2FirewallRuleVlanEncapsulatedType", "L2FirewallRuleARPOpcode", "L2FirewallRuleRARPOpcode"},
     {},
     false,
     rule_type},
    {"from", RULE_END("Source"), {}, false, rule_from},
    {"to", RULE_END("Destination"), {}, false, rule_to},
    {"service", {"L2FirewallRuleIpv4ServiceSelected"}},
    {"action", {"L2FirewallRuleAction"}},
    {"remark", {"L2FirewallRuleRemark"}},
};
#undef RULE_END

static constexpr ViewColumn SERVICE[] = {
    {"name", {"L2FirewallServiceName"}},
    {"protocol", {"L2FirewallServiceProtocolType"}},
    {"source ports", {"L2FirewallServiceSourcePort"}},
    {"destination ports", {"L2FirewallServiceDestinationPort"}},
};

static constexpr ViewColumn DHCP[] = {
    {"MAC address", {"L2FirewallTrustDHCPServerMAC"}},
    {"IP address", {"L2FirewallTrustDHCPServerIP"}},
    {"remark", {"L2FirewallTrustDHCPRemark"}},
};

static constexpr ViewColumn PRIVILEGE[] = {
    {"MAC address", {"L2FirewallPrivilegeMAC"}},
    {"IP address", {"L2FirewallPrivilegeIP"}},
    {"state", {"L2FirewallPrivilegeEnabled"}},
};

static constexpr View VIEWS[] = {
    {"radio", "radio", 1, RADIO},
    {"vap", "VAP", 2, VAP},
    {"security", "VAP", 2, SECURITY},
    {"hotspot", "VAP", 2, HOTSPOT},
    {"wds", "link", 2, WDS},
    {"station", nullptr, 6, STATION},
    {"neighbour", nullptr, 6, NEIGHBOUR},
    {"rule", "rule", 1, RULE},
    {"service", "number", 1, SERVICE},
    {"dhcp", "number", 1, DHCP},
    {"privilege", "number", 1, PRIVILEGE},
};

std::span<const View> views() {
    return VIEWS;
}

std::vector<const char *> view_names() {
    std::vector<const char *> names;
    for (const View &view : VIEWS) names.push_back(view.name);
    return names;
}

const View *find_view(std::string_view name) {
    for (const View &view : VIEWS)
        if (same_name(view.name, name)) return &view;
    return nullptr;
}

int find_heading(const std::vector<std::string> &headings, const std::string &text) {
    std::vector<int> found;
    for (size_t i = 0; i < headings.size(); i++) {
        if (same_name(headings[i], text)) return static_cast<int>(i);
        if (!text.empty() && same_name(std::string_view(headings[i]).substr(0, text.size()), text))
            found.push_back(static_cast<int>(i));
    }
    if (found.size() == 1) return found[0];
    std::vector<const char *> names;
    std::string all;
    for (const std::string &heading : headings) {
        names.push_back(heading.c_str());
        all += (all.empty() ? "" : ", ") + heading;
    }
    const std::string near = found.empty() ? suggestion(text, names) : "";
    complain(EXIT_USAGE, (found.empty() ? "no such column: " : "several columns begin so: ") +
                             printable(text) + near + " (columns: " + all + ")");
    return -1;
}

// What was read of the tree, as rows of objects.
struct Sheet {
    struct Cell {
        std::string value;
        std::string words;  // the same for people; the entries of a list together
    };
    int arcs;  // of a row's key; instances with more arcs are entries of a list in the row
    std::vector<const Object *> objects;
    std::vector<std::string> keys;
    std::vector<std::vector<Cell>> rows;  // a row ends with its last value
    std::unordered_map<std::string, size_t> row_of_key;

    size_t object_place(const Object *object);
    void put(const Target &target, const std::string &value);
    Cell at(size_t row, size_t object) const {
        return object < rows[row].size() ? rows[row][object] : Cell{};
    }
};

size_t Sheet::object_place(const Object *object) {
    const auto found = std::find(objects.begin(), objects.end(), object);
    if (found == objects.end()) return objects.push_back(object), objects.size() - 1;
    return static_cast<size_t>(found - objects.begin());
}

static std::string first_arcs(const std::string &instance, int count) {
    size_t end = 0;
    for (; count > 0 && end < instance.size(); count--)
        end = std::min(instance.find('.', end + 1), instance.size());
    return instance.substr(0, end);
}

void Sheet::put(const Target &target, const std::string &value) {
    const std::string key = first_arcs(target.instance, arcs);
    const auto [found, is_new] = row_of_key.try_emplace(key, rows.size());
    if (is_new) {
        keys.push_back(key);
        rows.emplace_back();
    }
    std::vector<Cell> &row = rows[found->second];
    const size_t place = object_place(target.object);
    if (row.size() <= place) row.resize(place + 1);
    const char *word = word_of(target.object, value);
    Cell &cell = row[place];
    cell.value = value;
    if (key == target.instance) cell.words.clear();
    if (!cell.words.empty() && !value.empty()) cell.words += ", ";
    cell.words += word ? word : value;
}

// Reads a column or a branch. Rows that come and go meanwhile may break a walk off; it is then begun again.
// In the end what the last one saw is taken, with a word about it.
static int read_into(const Client &client, const std::string &oid, Sheet *sheet) {
    constexpr int ATTEMPTS = 3;
    std::vector<std::pair<Target, std::string>> seen;
    std::string error;
    int status = EXIT_REFUSED;
    for (int i = 0; i < ATTEMPTS && status == EXIT_REFUSED; i++) {
        seen.clear();
        const auto keep = [&](const Target &target, const snmp_reply &reply) {
            if (target.object) seen.emplace_back(target, reply.value);
        };
        status = walk_values(client, oid, keep, &error);
    }
    if (status != EXIT_DONE) complain(status, error);
    if (status == EXIT_NO_DAEMON) return status;
    for (const auto &[target, value] : seen) sheet->put(target, value);
    return EXIT_DONE;
}

static bool is_number(const Object &object) {
    return object.type == INTEGER || object.type == TIMETICKS || object.type == GAUGE || *object.unit;
}

// On a terminal that is too narrow for the lines, the rows are shown one under the other.
static int print(const Client &client, const Grid &grid, const TableOptions &options) {
    const size_t width = terminal_size().width;
    const bool too_wide = width > 0 && aligned_width(grid) > width;
    if (client.json)
        answer_json(grid_json(grid));
    else
        print_grid(grid, options.csv ? CSV : options.vertical || too_wide ? VERTICAL : ALIGNED);
    return EXIT_DONE;
}

// A view's column and where its objects are in the sheet.
struct PlacedColumn {
    const ViewColumn *column;
    std::vector<size_t> places;
    size_t when_place;
};

// Has an object read unless it was already.
static int read_object(const Client &client, const char *name, Sheet *sheet, size_t *place) {
    const Object *object = find_object(name);
    if (!object) return complain(EXIT_REFUSED, std::string("no such object: ") + name);
    const size_t known = sheet->objects.size();
    *place = sheet->object_place(object);
    if (*place < known) return EXIT_DONE;
    return read_into(client, std::string(ROOT_OID) + "." + object->oid, sheet);
}

static int read_column(const Client &client, const ViewColumn &column, Sheet *sheet, PlacedColumn *placed) {
    *placed = {&column, {}, 0};
    for (const char *name : column.objects) {
        if (!name) break;
        const int status = read_object(client, name, sheet, &placed->places.emplace_back());
        if (status != EXIT_DONE) return status;
    }
    return column.when.object ? read_object(client, column.when.object, sheet, &placed->when_place)
                              : EXIT_DONE;
}

static std::string cell_text(const Sheet &sheet, size_t row, const PlacedColumn &placed) {
    const ViewColumn &column = *placed.column;
    if (column.when.object) {
        const std::string condition = sheet.at(row, placed.when_place).value;
        if (condition.size() != 1 || !strchr(column.when.values, condition[0])) return "";
    }
    Values values;
    for (const size_t place : placed.places) values.push_back(sheet.at(row, place).words);
    return column.compose ? column.compose(values) : values[0];
}

// The columns of a view that are asked for, in that order.
static int select_columns(const View &view, const TableOptions &options,
                          std::vector<const ViewColumn *> *selected) {
    std::vector<std::string> headings;
    for (const ViewColumn &column : view.columns) {
        if (column.secret && !options.secrets) continue;
        headings.emplace_back(column.heading);
        selected->push_back(&column);
    }
    if (options.columns.empty()) return EXIT_DONE;
    const std::vector<const ViewColumn *> all = *selected;
    selected->clear();
    for (const std::string &name : options.columns) {
        const int place = find_heading(headings, name);
        if (place < 0) return EXIT_USAGE;
        selected->push_back(all[static_cast<size_t>(place)]);
    }
    return EXIT_DONE;
}

int read_view(const Client &client, const View &view, const TableOptions &options, bool with_units,
              Grid *grid) {
    Sheet sheet{.arcs = view.arcs};
    std::vector<const ViewColumn *> selected;
    std::vector<PlacedColumn> columns;
    if (const int status = select_columns(view, options, &selected); status != EXIT_DONE) return status;
    if (view.key) grid->columns.push_back({view.key, view.arcs == 1});
    for (const ViewColumn *column : selected) {
        const int status = read_column(client, *column, &sheet, &columns.emplace_back());
        if (status != EXIT_DONE) return status;
        const std::vector<size_t> &places = columns.back().places;
        const Object &first = *sheet.objects[places[0]];
        const std::string unit = with_units && *first.unit ? std::string(" [") + first.unit + "]" : "";
        grid->columns.push_back(
            {column->heading + unit, places.size() == 1 && is_number(first), first.smi == COUNTER32});
    }
    grid->keys = sheet.keys;
    for (size_t row = 0; row < sheet.rows.size(); row++) {
        auto &texts = grid->rows.emplace_back();
        if (view.key) texts.push_back(sheet.keys[row]);
        for (const PlacedColumn &placed : columns) texts.push_back(cell_text(sheet, row, placed));
    }
    return EXIT_DONE;
}

int print_view(const Client &client, const View &view, const TableOptions &options) {
    Grid grid;
    const int status = read_view(client, view, options, !client.json && !options.csv, &grid);
    return status == EXIT_DONE ? print(client, grid, options) : status;
}

// Objects and branches as columns, by the names of the objects.
static int print_columns(const Client &client, const std::vector<std::string> &names,
                         const TableOptions &options) {
    constexpr int ALL_ARCS = 128;
    Sheet sheet{.arcs = ALL_ARCS};
    for (const std::string &name : names) {
        const Target target = parse_target(name);
        if (!target.error.empty()) {
            const std::string view = names.size() == 1 ? suggestion(name, view_names()) : "";
            return complain(EXIT_REFUSED,
                            view.empty() ? target.error : "no such table: " + printable(name) + view);
        }
        if (const int status = read_into(client, target.oid, &sheet); status != EXIT_DONE) return status;
    }
    std::vector<std::string> headings;
    std::vector<size_t> shown;
    for (const Object *object : sheet.objects) headings.emplace_back(object->name);
    for (size_t i = 0; i < headings.size() && options.columns.empty(); i++) shown.push_back(i);
    for (const std::string &name : options.columns) {
        const int place = find_heading(headings, name);
        if (place < 0) return EXIT_USAGE;
        shown.push_back(static_cast<size_t>(place));
    }
    const bool for_people = !client.json && !options.csv;
    Grid grid{.columns = {{"instance"}}, .keys = sheet.keys};
    for (const size_t i : shown) grid.columns.push_back({headings[i], is_number(*sheet.objects[i])});
    for (size_t row = 0; row < sheet.rows.size(); row++) {
        const Object *first = sheet.objects.empty() ? nullptr : sheet.objects[0];
        auto &texts = grid.rows.emplace_back(1, format_instance(first, sheet.keys[row]));
        for (const size_t i : shown) {
            const Sheet::Cell cell = sheet.at(row, i);
            const bool is_time = sheet.objects[i]->type == TIMETICKS && for_people;
            texts.push_back(is_time ? people_value(sheet.objects[i], cell.value) : cell.words);
        }
    }
    return print(client, grid, options);
}

int table(const Client &client, const std::vector<std::string> &names, const TableOptions &options) {
    const View *view = names.size() == 1 ? find_view(names[0]) : nullptr;
    return view ? print_view(client, *view, options) : print_columns(client, names, options);
}
