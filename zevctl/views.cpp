#include "zevctl/views.h"

#include <algorithm>

#include "client/names.h"

// The radios

static constexpr ViewColumn RADIO[] = {
    {"MAC address", {"APRFMacAddress"_object}},
    {"band", {"APRFBand"_object}},
    {"channel", {"APRFRadioChannelCurrent"_object}},
    {"configured", {"APRFRadioChannelConfig"_object}},
    {"width", {"APRFChannelWidth"_object}},
    {"power", {"APRFTxPowerCurrent"_object}},
    {"beacon", {"APRFBeaconInterval"_object}},
    {"band steering", {"APRFBandSteeringEnabled"_object}},
    {"airtime fairness", {"APRFAirtimeFairnessStatus"_object}},
    {"stations", {"APRFNumOfStation"_object}},
    {"received", {"APRFInOctets"_object}},
    {"sent", {"APRFOutOctets"_object}},
    {"CCI", {"APRFCCI"_object}},
    {"ACI", {"APRFACI"_object}},
    {"WDI", {"APRFWDI"_object}},
};

// The VAPs

static constexpr ViewColumn VAP[] = {
    {"SSID", {"VAPESSID"_object}},
    {"state", {"VAPSSIDEnabled"_object}},
    {"profile", {"VAPProfileName"_object}},
    {"BSSID", {"VAPBSSID"_object}},
    {"VLAN", {"VAPVlanId"_object}, {"VAPVlanIdEnabled"_object, "2"}},
    {"security", {"VAPAuthenMode"_object}},
    {"hidden", {"VAPSSIDHidden"_object}},
    {"isolation", {"VAPWirelessStationIsolation"_object}},
    {"tunnel", {"VAPCAPWAPTunnelInterfaceStatus"_object}},
    {"stations", {"VAPNumOfStations"_object}},
    {"received", {"VAPInOctets"_object}},
    {"sent", {"VAPOutOctets"_object}},
};

static std::string server(const Values &values) {
    return values[0].empty() || values[1].empty() ? values[0] : values[0] + ":" + values[1];
}

// What belongs to the VAP's mode: 1 static WEP, 2 802.1X with dynamic WEP, 3 WPA with a key, 4 WPA
// enterprise.
static constexpr When WITH_WEP = {"VAPAuthenMode"_object, "1"};
static constexpr When WITH_8021X = {"VAPAuthenMode"_object, "2"};
static constexpr When WITH_WPA_KEY = {"VAPAuthenMode"_object, "3"};
static constexpr When WITH_WPA = {"VAPAuthenMode"_object, "34"};
static constexpr When WITH_RADIUS = {"VAPAuthenMode"_object, "24"};
static constexpr When WITH_11R = {"VAPRoam11rEnabled"_object, "2"};

static constexpr ViewColumn SECURITY[] = {
    {"SSID", {"VAPESSID"_object}},
    {"mode", {"VAPAuthenMode"_object}},
    {"cipher", {"VAPPSKCipherSuite"_object}, WITH_WPA},
    {"PMF", {"VAPWPAProtectMgmtFrame"_object}, WITH_WPA},
    {"group rekeying", {"VAPWPAGroupKeyUpdatePeriod"_object}, WITH_WPA},
    {"key format", {"VAPPSKCipherKeyCharType"_object}, WITH_WPA_KEY},
    {"key", {"VAPPSKCipherKeyValue"_object}, WITH_WPA_KEY},
    {"WEP", {"VAPWEPCipher80211Auth"_object}, WITH_WEP},
    {"WEP length", {"VAPWEPCipherKeyLength"_object}, WITH_WEP},
    {"WEP format", {"VAPWEPCipherKeyCharType"_object}, WITH_WEP},
    {"WEP key", {"VAPWEPCipherSelectedKeyIndex"_object}, WITH_WEP},
    {"WEP key 1", {"VAPWEPCipherKeyValue1"_object}, WITH_WEP},
    {"WEP key 2", {"VAPWEPCipherKeyValue2"_object}, WITH_WEP},
    {"WEP key 3", {"VAPWEPCipherKeyValue3"_object}, WITH_WEP},
    {"WEP key 4", {"VAPWEPCipherKeyValue4"_object}, WITH_WEP},
    {"dynamic WEP", {"VAPDynamicWEPStatus"_object}, WITH_8021X},
    {"dynamic WEP length", {"VAPDynamicWEPWEPKeyLength"_object}, WITH_8021X},
    {"dynamic WEP rekeying", {"VAPDynamicWEPRekeyingPeriod"_object}, WITH_8021X},
    {"RADIUS", {"VAPRadiusAuthPriIPAddr"_object, "VAPRadiusAuthPriPort"_object}, WITH_RADIUS, server},
    {"RADIUS secret", {"VAPRadiusAuthPriSecretKey"_object}, WITH_RADIUS},
    {"accounting", {"VAPRadiusAccPriEnable"_object}, WITH_RADIUS},
    {"second RADIUS",
     {"VAPRadiusAuthSecondIPAddr"_object, "VAPRadiusAuthSecondPort"_object},
     WITH_RADIUS,
     server},
    {"second RADIUS secret", {"VAPRadiusAuthSecondSecretKey"_object}, WITH_RADIUS},
    {"second accounting", {"VAPRadiusAccSecondEnable"_object}, WITH_RADIUS},
    {"11r", {"VAPRoam11rEnabled"_object}, WITH_11R},
    {"mobility domain", {"VAPRoam11rMobilityDomain"_object}, WITH_11R},
    {"11r key", {"VAPRoam11rOwnKey"_object}, WITH_11R},
    {"11r peers", {"VAPRoam11rTargetApMac"_object}, WITH_11R},
    {"11r peer keys", {"VAPRoam11rTargetApKey"_object}, WITH_11R},
};

static constexpr When WITH_HOTSPOT = {"VAPHS20Status"_object, "2"};

static constexpr ViewColumn HOTSPOT[] = {
    {"SSID", {"VAPESSID"_object}},
    {"state", {"VAPHS20Status"_object}},
    {"internet", {"VAPHS20InternetAccess"_object}, WITH_HOTSPOT},
    {"network", {"VAPHS20AccessNetworkType"_object}, WITH_HOTSPOT},
    {"venue group", {"VAPHS20VenueGroup"_object}, WITH_HOTSPOT},
    {"venue type", {"VAPHS20VenueType"_object}, WITH_HOTSPOT},
    {"venues", {"VAPHS20VenueName"_object}, WITH_HOTSPOT},
    {"authentication", {"VAPHS20NetworkAuthType"_object}, WITH_HOTSPOT},
    {"redirection", {"VAPHS20RedirectURL"_object}, WITH_HOTSPOT},
    {"IPv4", {"VAPHS20IPv4Type"_object}, WITH_HOTSPOT},
    {"IPv6", {"VAPHS20IPv6Type"_object}, WITH_HOTSPOT},
    {"OUIs", {"VAPHS20OUI"_object}, WITH_HOTSPOT},
    {"realms", {"VAPHS20NAIrealm"_object}, WITH_HOTSPOT},
    {"domains", {"VAPHS20DomainName"_object}, WITH_HOTSPOT},
    {"cellular", {"VAPHS20Cellular"_object}, WITH_HOTSPOT},
};

static constexpr When WDS_WITH_WEP = {"APWDSLinkSecurityType"_object, "1"};
static constexpr When WDS_WITH_WPA = {"APWDSLinkSecurityType"_object, "2"};

static constexpr ViewColumn WDS[] = {
    {"state", {"APWDSLinkEnabled"_object}},
    {"peer", {"APWDSLinkMacAddr"_object}},
    {"security", {"APWDSLinkSecurityType"_object}},
    {"cipher", {"APWDSLinkPSKCipherSuite"_object}, WDS_WITH_WPA},
    {"key type", {"APWDSLinkPSKKeyType"_object}, WDS_WITH_WPA},
    {"key", {"APWDSLinkPSKKeyValue"_object}, WDS_WITH_WPA},
    {"WEP length", {"APWDSLinkWEPKeyLength"_object}, WDS_WITH_WEP},
    {"WEP format", {"APWDSLinkWEPKeyFormat"_object}, WDS_WITH_WEP},
    {"WEP key", {"APWDSLinkWEPKeyValue"_object}, WDS_WITH_WEP},
    {"tunnel", {"APWDSLinkCAPWAPTunnelInterfaceStatus"_object}},
};

// Stations and neighbours

static std::string no_vlan_is_empty(const Values &values) {
    return values[0] == NO_VLAN ? "" : values[0];
}

static constexpr ViewColumn STATION[] = {
    {"MAC address", {"APStaMACAddress"_object}},
    {"SSID", {"APStaSSIDName"_object}},
    {"VLAN", {"APStaVlanId"_object}, {}, no_vlan_is_empty},
    {"band", {"APStaBandCheck"_object}},
    {"signal", {"APReceivedStaSignalStrength"_object}},
    {"SNR", {"APStaSNR"_object}},
    {"rate", {"APStaTransmitRate"_object}},
    {"connected", {"APStaConnectionTime"_object}},
    {"sent", {"APStaTxBytes"_object}},
    {"received", {"APStaRxBytes"_object}},
};

static constexpr ViewColumn NEIGHBOUR[] = {
    {"SSID", {"NeighborhoodAPSSIDName"_object}},
    {"MAC address", {"NeighborhoodAPMacAddress"_object}},
    {"channel", {"NeighborhoodAPChannel"_object}},
    {"signal", {"NeighborhoodAPReceivedSignalStrength"_object}},
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

#define RULE_END(side)                                                                                       \
    {                                                                                                        \
        "L2FirewallRuleInterfaceSelected"_object, "L2FirewallRule" side "MACAddress"_object,                 \
            "L2FirewallRule" side "MACMask"_object, "L2FirewallRule" side "IPv4IPAddress"_object,            \
            "L2FirewallRule" side "IPv4IPAddressMask"_object, "L2FirewallRule" side "ARPIPAddress"_object,   \
            "L2FirewallRule" side "ARPIPAddressMask"_object, "L2FirewallRule" side "ARPMACAddress"_object,   \
            "L2FirewallRule" side "ARPMACMask"_object, "L2FirewallRule" side "RARPIPAddress"_object,         \
            "L2FirewallRule" side "RARPIPAddressMask"_object, "L2FirewallRule" side "RARPMACAddress"_object, \
            "L2FirewallRule" side "RARPMACMask"_object                                                       \
    }

static constexpr ViewColumn RULE[] = {
    {"name", {"L2FirewallRuleName"_object}},
    {"state", {"L2FirewallRuleEnabled"_object}},
    {"ether type",
     {"L2FirewallRuleEtherTypeList"_object, "L2FirewallRuleIEEE8023DSAPSSAP"_object,
      "L2FirewallRuleIEEE8023EtherTypeNumbering"_object, "L2FirewallRuleVlanID"_object,
      "L2FirewallRuleVlanPriority"_object, "L2FirewallRuleVlanEncapsulatedType"_object,
      "L2FirewallRuleARPOpcode"_object, "L2FirewallRuleRARPOpcode"_object},
     {},
     rule_type},
    {"from", RULE_END("Source"), {}, rule_from},
    {"to", RULE_END("Destination"), {}, rule_to},
    {"service", {"L2FirewallRuleIpv4ServiceSelected"_object}},
    {"action", {"L2FirewallRuleAction"_object}},
    {"remark", {"L2FirewallRuleRemark"_object}},
};
#undef RULE_END

static constexpr ViewColumn SERVICE[] = {
    {"name", {"L2FirewallServiceName"_object}},
    {"protocol", {"L2FirewallServiceProtocolType"_object}},
    {"source ports", {"L2FirewallServiceSourcePort"_object}},
    {"destination ports", {"L2FirewallServiceDestinationPort"_object}},
};

static constexpr ViewColumn DHCP[] = {
    {"MAC address", {"L2FirewallTrustDHCPServerMAC"_object}},
    {"IP address", {"L2FirewallTrustDHCPServerIP"_object}},
    {"remark", {"L2FirewallTrustDHCPRemark"_object}},
};

static constexpr ViewColumn PRIVILEGE[] = {
    {"MAC address", {"L2FirewallPrivilegeMAC"_object}},
    {"IP address", {"L2FirewallPrivilegeIP"_object}},
    {"state", {"L2FirewallPrivilegeEnabled"_object}},
};

static constexpr View VIEWS[] = {
    {"radio", "radio", RADIO},
    {"vap", "VAP", VAP},
    {"security", "VAP", SECURITY},
    {"hotspot", "VAP", HOTSPOT},
    {"wds", "link", WDS},
    {"station", nullptr, STATION},
    {"neighbour", nullptr, NEIGHBOUR},
    {"rule", "rule", RULE},
    {"service", "number", SERVICE},
    {"dhcp", "number", DHCP},
    {"privilege", "number", PRIVILEGE},
};

// What decides about a row is a cell of the row.
static_assert(std::all_of(std::begin(VIEWS), std::end(VIEWS), [](const View &view) {
    return std::all_of(view.columns.begin(), view.columns.end(), [&](const ViewColumn &column) {
        return *column.when.values == '\0' || arc_count(*column.when.object) == view.arcs();
    });
}));

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
