#include "client/dependencies.h"

#include "client/names.h"

static constexpr Dependency DEPENDENCIES[] = {
    {"APSysCAPWAPDomainNameSuffix", "APSysCAPWAPDNSSRVDiscovery", "2"},
    {"APSysCAPWAPACAddress1", "APSysCAPWAPStaticDiscovery", "2"},
    {"APSysCAPWAPACAddress2", "APSysCAPWAPStaticDiscovery", "2"},
    {"APSysCAPWAPACAddress3", "APSysCAPWAPStaticDiscovery", "2"},
    {"APSysCAPWAPACAddress4", "APSysCAPWAPStaticDiscovery", "2"},
    {"APSysCAPWAPACAddress5", "APSysCAPWAPStaticDiscovery", "2"},
    {"APSysIPv6Mode", "APSysIPv6Enabled", "2"},
    {"APSysIPv6IPAddress", "APSysIPv6Enabled", "2"},
    {"APSysIPv6IPAddress", "APSysIPv6Mode", "1"},
    {"APSysIPv6PrefixLen", "APSysIPv6Enabled", "2"},
    {"APSysIPv6PrefixLen", "APSysIPv6Mode", "1"},
    {"APSysIPv6GWAddr", "APSysIPv6Enabled", "2"},
    {"APSysIPv6GWAddr", "APSysIPv6Mode", "1"},
    {"APSysIPv6FirstDNSAddr", "APSysIPv6Enabled", "2"},
    {"APSysIPv6FirstDNSAddr", "APSysIPv6Mode", "1"},
    {"APSysIPv6SecondDNSAddr", "APSysIPv6Enabled", "2"},
    {"APSysIPv6SecondDNSAddr", "APSysIPv6Mode", "1"},
    {"APRFMaxTransmitRate", "APRFBand", "!0"},
    {"APWDSLinkEnabled", "APRFMaxTransmitRate", "0"},
    {"APWDSLinkEnabled", "APRFRadioChannelConfig", "!auto", "2"},
    {"APWDSLinkWEPKeyLength", "APWDSLinkSecurityType", "1"},
    {"APWDSLinkWEPKeyFormat", "APWDSLinkSecurityType", "1"},
    {"APWDSLinkWEPKeyValue", "APWDSLinkSecurityType", "1"},
    {"APWDSLinkPSKCipherSuite", "APWDSLinkSecurityType", "2"},
    {"APWDSLinkPSKKeyType", "APWDSLinkSecurityType", "2"},
    {"APWDSLinkPSKKeyValue", "APWDSLinkSecurityType", "2"},
};

static constexpr Effect EFFECTS[] = {
    {"APRFBand", "APRFPure11NEnabled"},         {"APRFBand", "APRFChannelWidth"},
    {"APRFBand", "APRFRadioChannelConfig"},     {"APRFBand", "APRFMaxTransmitRate"},
    {"VAPAuthenMode", "VAPWEPCipher80211Auth"},
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

std::span<const Dependency> dependencies() {
    return DEPENDENCIES;
}

std::span<const Effect> effects() {
    return EFFECTS;
}

std::string dependency_hint(const Object &object) {
    std::string hint;
    for (const Dependency &need : DEPENDENCIES) {
        if (std::string_view(object.name) != need.object) continue;
        const bool negated = *need.value == '!';
        const char *value = need.value + negated;
        const char *word = word_of(find_object(need.other), value);
        hint += (hint.empty() ? "needs " : " and ") + std::string(need.other) +
                (negated ? " other than " : " = ") + (word ? word : value);
    }
    return hint.empty() ? "" : hint + " to be saved first";
}

std::string refusal_hint(const Object &object) {
    for (const auto &other : HINTS)
        if (std::string_view(object.name).starts_with(other.object)) return other.hint;
    return "";
}
