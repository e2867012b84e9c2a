#include "zevctl/dependencies.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <vector>

#include "client/names.h"

// Items that are no object's own: which value of which object turns them on.
static constexpr struct {
    const char *key, *object, *value;
} SHARED_ITEMS[] = {
    {"wep.enabled", "APWDSLinkSecurityType", "1"},
    {"wpa.enabled", "APWDSLinkSecurityType", "2"},
};

static constexpr Effect EFFECTS[] = {
    {"APRFBand", "APRFPure11NEnabled"},         {"APRFBand", "APRFChannelWidth"},
    {"APRFBand", "APRFRadioChannelConfig"},     {"APRFBand", "APRFMaxTransmitRate"},
    {"VAPAuthenMode", "VAPWEPCipher80211Auth"},
};

static constexpr SecurityPart SECURITY_PARTS[] = {
    {"APWDSLinkWEP", "APWDSLinkSecurityType", "1"},
    {"APWDSLinkPSK", "APWDSLinkSecurityType", "2"},
    {"VAPWEPCipher", "VAPAuthenMode", "1"},
    {"VAPPSKCipher", "VAPAuthenMode", "3"},
    {"VAPRadius", "VAPAuthenMode", "2"},
    {"VAPRadius", "VAPAuthenMode", "4"},
};

static constexpr struct {
    const char *object, *hint;  // of all objects whose names begin so
} HINTS[] = {
    {"APSysNTPServer1", "an address or a domain name while APSysTimeSource is ntp"},
    {"APSysNTPServer2", "an address or a domain name while APSysTimeSource is ntp"},
    {"APSysSNMPTrapServerIPAddress", "an address while APSysSNMPTrapEnabled is enabled"},
    {"APSysSystemLogServerIPAddress", "an address while APSysSystemLogEnabled is enabled"},
    {"APRFBand", "the radio has another band"},
    {"APRFRadioChannelConfig", "auto needs every APWDSLinkEnabled of the radio disabled"},
    {"APRFMaxTransmitRate", "the radio has fewer transmit chains"},
    {"APRFChannelWidth", "the radio has no such width"},
    {"VAPAuthenMode", "the radio has no 802.1X"},
    {"VAPWEPCipherKeyValue", "it must be as long as VAPWEPCipherKeyLength and VAPWEPCipherKeyCharType say"},
    {"APWDSLinkMacAddr", "each link of a radio has an address of its own"},
    {"APWDSLinkWEPKeyValue", "it must be as APWDSLinkWEPKeyLength and APWDSLinkWEPKeyFormat say"},
    {"APWDSLinkPSKKeyValue", "it must be as APWDSLinkPSKKeyType says"},
    {"L2FirewallRuleIpv4ServiceSelected", "no service has this name"},
    {"L2FirewallRuleInterfaceSelected", "s or d, radio, and VAP or 0 for all of the radio: s.1.3"},
};

static bool is_beside(const Object &a, const Object &b) {
    return a.entry_oid() == b.entry_oid() &&
           std::string_view(a.group ? a.group : "") == (b.group ? b.group : "");
}

// Which object shows that the item is as the object needs it, and by which value; none may.
static std::optional<Dependency> dependency(const Object &object, const Need &need) {
    for (const auto &item : SHARED_ITEMS)
        if (std::string_view(item.key) == need.key) return Dependency{object.name, item.object, item.value};
    for (const Object &other : OBJECTS) {
        if (!other.key || std::string_view(other.key) != need.key || !is_beside(object, other)) continue;
        for (const Word &word : other.words)
            if (word.stored && (std::string_view(need.text) == word.stored) == need.is)
                return Dependency{object.name, other.name, std::to_string(word.value)};
    }
    return std::nullopt;
}

std::span<const Dependency> dependencies() {
    static const std::vector<Dependency> all = [] {
        // These are rules of their own in the daemon.
        std::vector<Dependency> list = {
            {"APSysCAPWAPACAddress1", "APSysCAPWAPStaticDiscovery", "2"},
            {"APSysCAPWAPACAddress2", "APSysCAPWAPStaticDiscovery", "2"},
            {"APSysCAPWAPACAddress3", "APSysCAPWAPStaticDiscovery", "2"},
            {"APSysCAPWAPACAddress4", "APSysCAPWAPStaticDiscovery", "2"},
            {"APSysCAPWAPACAddress5", "APSysCAPWAPStaticDiscovery", "2"},
            {"APRFMaxTransmitRate", "APRFBand", "0", false},
            {"APWDSLinkEnabled", "APRFMaxTransmitRate", "0"},
            {"APWDSLinkEnabled", "APRFRadioChannelConfig", "auto", false, "2"},
        };
        for (const Object &object : OBJECTS)
            for (const Need &need : object.needs)
                if (need.key)
                    if (auto found = dependency(object, need)) list.push_back(std::move(*found));
        return list;
    }();
    return all;
}

std::span<const Effect> effects() {
    return EFFECTS;
}

std::span<const SecurityPart> security_parts() {
    return SECURITY_PARTS;
}

bool is_security_type(std::string_view object) {
    return std::any_of(std::begin(SECURITY_PARTS), std::end(SECURITY_PARTS),
                       [&](const SecurityPart &part) { return object == part.type; });
}

std::string dependency_hint(const Object &object) {
    std::string hint;
    for (const Dependency &need : dependencies()) {
        if (std::string_view(object.name) != need.object) continue;
        const char *word = word_of(find_object(need.other), need.value);
        hint += (hint.empty() ? "needs " : " and ") + std::string(need.other) +
                (need.is ? " = " : " other than ") + (word ? word : need.value);
    }
    return hint.empty() ? "" : hint + " to be saved first";
}

std::string refusal_hint(const Object &object) {
    for (const auto &other : HINTS)
        if (std::string_view(object.name).starts_with(other.object)) return other.hint;
    return "";
}
