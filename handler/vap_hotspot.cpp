// Hotspot 2.0: objects 3.2.1.1 to 3.2.1.14. The store makes the items of a VAP's Hotspot 2.0 group and these
// objects change them.
#include <cctype>
#include <string_view>

#include "handler/check.h"
#include "handler/vap.h"

static constexpr Table HOTSPOT{
    "rv", {2, 16}, vap_hotspot_group, "SET str=%s,i:%I,j:%J\n", Table::VALUE_ROW_TRACE};
// Venues, consortium OUIs, realms, domain names and cellular networks: five entries each.
static constexpr Table ENTRIES{
    "rvk", {2, 16, 5}, vap_hotspot_group, "SET str=%s,i:%I,j:%J,k:%K\n", Table::VALUE_ROW_TRACE};
// EAP methods: four for each realm.
static constexpr Table METHODS{
    "rvkm", {2, 16, 5, 4}, vap_hotspot_group, "SET str=%s,i:%I,j:%J,k:%K,m:%M\n", Table::VALUE_ROW_TRACE};

OBJECT(VAPHS20Status) {
    return existing_item(call, HOTSPOT,
                         {.key = "hs20_status",
                          .codes = &SWITCH_CODES,
                          .trace = " Get rf%r_vap%v hs20_status: %s from ZEVCFG. ret=%e\n"});
}
OBJECT(VAPHS20InternetAccess) {
    return existing_item(call, HOTSPOT,
                         {.key = "internet_access.status",
                          .codes = &SWITCH_CODES,
                          .trace = " Get rf%r_vap%v internet_access.status: %s from ZEVCFG.\n"});
}
OBJECT(VAPHS20AccessNetworkType) {
    return existing_item(call, HOTSPOT,
                         {.key = "internet_access.network_type",
                          .trace = " Get rf%r_vap%v internet_access.network_type: %s from ZEVCFG.\n"});
}
OBJECT(VAPHS20VenueGroup) {
    return existing_item(
        call, HOTSPOT,
        {.key = "venue_type.group", .trace = " Get rf%r_vap%v venue_type.group: %s from ZEVCFG.\n"});
}
OBJECT(VAPHS20VenueType) {
    return existing_item(
        call, HOTSPOT,
        {.key = "venue_type.type", .trace = " Get rf%r_vap%v venue_type.type: %s from ZEVCFG.\n"});
}

static constexpr Code LANGUAGE_LIST[] = {{0, "eng"}};
static constexpr Codes LANGUAGES{LANGUAGE_LIST, "-1"};

OBJECT(VAPHS20VenueIndex) {
    return index_column(call, ENTRIES);
}
OBJECT(VAPHS20VenueLanguage) {
    return existing_item(call, ENTRIES,
                         {.key = "venue:%k.language",
                          .codes = &LANGUAGES,
                          .trace = "Get rf:%r,vap:%v venue:%k.language %s from ZEVCFG ret=%e. index = %i\n"});
}
OBJECT(VAPHS20VenueName) {
    return existing_item(call, ENTRIES,
                         {.key = "venue:%k.name",
                          .check = [](char *value) { return check_name_chars(value); },
                          .trace = "Get rf:%r,vap:%v venue:%k.name %s from ZEVCFG ret=%e. index = %i\n"});
}

static bool web_url(char *value) {
    const std::string_view url = value;
    return url.starts_with("http://") || url.starts_with("https://");
}

OBJECT(VAPHS20NetworkAuthType) {
    return existing_item(
        call, HOTSPOT, {.key = "net_auth.type", .trace = " Get rf%r_vap%v net_auth.type: %s from ZEVCFG.\n"});
}
OBJECT(VAPHS20RedirectURL) {
    return existing_item(call, HOTSPOT,
                         {.key = "net_auth.addr",
                          .check = web_url,
                          .trace = "Get rf:%r,vap:%v net_auth.addr: %s from ZEVCFG ret=%e.\n"});
}

static bool to_lower_hex(char *value) {
    if (!check_hex_string(value)) return false;
    for (; *value != '\0'; value++) *value = static_cast<char>(tolower(*value));
    return true;
}

OBJECT(VAPHS20OUIIndex) {
    return index_column(call, ENTRIES);
}
OBJECT(VAPHS20OUI) {
    return existing_item(call, ENTRIES,
                         {.key = "oui:%k.value",
                          .check = to_lower_hex,
                          .trace = "Get rf:%r,vap:%v oui:%k.value %s from ZEVCFG ret=%e. index = %i\n"});
}

OBJECT(VAPHS20IPv4Type) {
    return existing_item(call, HOTSPOT,
                         {.key = "ip_type.ipv4", .trace = " Get rf%r_vap%v ip_type.ipv4: %s from ZEVCFG.\n"});
}
OBJECT(VAPHS20IPv6Type) {
    return existing_item(call, HOTSPOT, {.key = "ip_type.ipv6"});
}

OBJECT(VAPHS20NAIrealmIndex) {
    return index_column(call, ENTRIES);
}
OBJECT(VAPHS20NAIrealm) {
    if (call.kind == KIND_SET) TRACE("SET str=%s\n", call.value);
    return existing_item(call, ENTRIES,
                         {.key = "realm:%k.value",
                          .check = [](char *value) { return check_nai_realm_list(value); },
                          .trace = "Get rf:%r,vap:%v realm:%k.value %s from ZEVCFG ret=%e. index = %i\n"});
}
OBJECT(VAPHS20EAPTypeIndex) {
    return index_column(call, METHODS);
}
OBJECT(VAPHS20EAPType) {
    return existing_item(
        call, METHODS,
        {.key = "EAP.rule:%k.index:%m.type",
         .trace = "Get rf:%r,vap:%v EAP.rule:%k.index:%m.type %s from ZEVCFG ret=%e. index = %i\n"});
}

OBJECT(VAPHS20DomainNameIndex) {
    return index_column(call, ENTRIES);
}
OBJECT(VAPHS20DomainName) {
    return existing_item(call, ENTRIES,
                         {.key = "domain:%k.value",
                          .check = [](char *value) { return check_domain_name(value); },
                          .trace = "Get rf:%r,vap:%v domain:%k.value %s from ZEVCFG ret=%e. index = %i\n"});
}

// Country code and network code of a cellular network: six digits, with "f" in place of the fourth for a
// network code of two digits.
static bool cellular_network(char *value) {
    constexpr int FILLER = 3;
    if (value[FILLER] == 'F') value[FILLER] = 'f';
    for (int i = 0; value[i] != '\0'; i++) {
        const bool is_digit = value[i] >= '0' && value[i] <= '9';
        if (!is_digit && !(i == FILLER && value[i] == 'f')) return false;
    }
    return true;
}

OBJECT(VAPHS20CellularIndex) {
    return index_column(call, ENTRIES);
}
OBJECT(VAPHS20Cellular) {
    return existing_item(call, ENTRIES,
                         {.key = "cellular:%k.value",
                          .check = cellular_network,
                          .trace = "Get rf:%r,vap:%v cellular:%k.value %s from ZEVCFG ret=%e. index = %i\n"});
}
