// How a VAP behaves on the air, and its 802.11r fast roaming: objects 3.1.1.52 to 3.1.1.68.
#include "handler/check.h"
#include "handler/vap.h"

static snmp_reply *number(const HandlerCall &call, const char *key, const char *trace = nullptr) {
    return column(call, VAP, {.key = key, .show = as_number, .trace = trace});
}

static snmp_reply *on_off(const HandlerCall &call, const char *key, const char *trace) {
    return column(call, VAP, {.key = key, .codes = &SWITCH_CODES, .trace = trace});
}

OBJECT(VAPRTSThreshold) {
    return number(call, "rts_threshold");
}
OBJECT(VAPFragmentThreshold) {
    return column(call, VAP, {.key = "frag_threshold", .show = as_number, .radios = PLAIN_RADIOS});
}
OBJECT(VAPDTIMperiod) {
    return number(call, "dtim_period");
}
OBJECT(VAPConsecutiveRetriesThreshold) {
    return number(call, "xretries_threshold", "rf%r,vap%v xretries_threshold %s from ZEVCFG ret=%e.\n");
}
OBJECT(VAPSSIDHidden) {
    return on_off(call, "hidessid", "rf%r,vap%v hidessid %s from ZEVCFG ret=%e.\n");
}
OBJECT(VAPWirelessStationIsolation) {
    return on_off(call, "sta_isolate", "rf%r,vap%v sta_isolate %s from ZEVCFG ret=%e.\n");
}
OBJECT(VAPWMM) {
    return on_off(call, "wmm", "rf%r,vap%v wmm %s from ZEVCFG ret=%e.\n");
}
OBJECT(VAPIAPP) {
    return on_off(call, "iapp", "rf%r,vap%v iapp %s from ZEVCFG ret=%e.\n");
}
OBJECT(VAPIGMPSnoopingStatus) {
    return on_off(call, "igmp_snooping", "rf%r,vap%v igmp_snooping %s from ZEVCFG ret=%e.\n");
}

// Rates are written by their place in a table: the same twelve rates, in two units.
using Rates = int[12];
static constexpr Rates MULTICAST_KBIT = {6000,  9000,  1000,  2000,  5500,  11000,
                                         12000, 18000, 24000, 36000, 48000, 54000};
static constexpr Rates MANAGEMENT_500_KBIT = {12, 18, 2, 4, 11, 22, 24, 36, 48, 72, 96, 108};

static std::string rate_code(const Rates &rates, const std::string &stored) {
    const int rate = atoi(stored.c_str());
    for (int i = 0; i < std::ssize(rates); i++)
        if (rates[i] == rate) return std::to_string(i);
    return "-1";
}

static snmp_reply *rate(const HandlerCall &call, const Field &field) {
    if (call.kind == KIND_GET) return column_get(call, VAP, field);
    Row row{};
    if (!accept_row(call, VAP, field, &row)) return call.reply;
    queue_item(vap_group(row).id, field.key, stored(field, call.value));
    publish_written(call, row, plain_number(call.value));
    return set_accepted(call);
}

OBJECT(VAPMulticastBroadcastRate) {
    return rate(call, {.key = "mcast_rate",
                       .show = [](const std::string &stored) { return rate_code(MULTICAST_KBIT, stored); },
                       .store =
                           [](const char *value) {
                               const int code = atoi(value);
                               TRACE("mcast_rate[%d]:%d\n", code, MULTICAST_KBIT[code]);
                               return std::to_string(MULTICAST_KBIT[code]);
                           },
                       .trace = "rf%r,vap%v mcast_rate%s from ZEVCFG ret=%e.\n"});
}
OBJECT(VAPManagementFrameRate) {
    return rate(call,
                {.key = "mgmt_rate",
                 .show = [](const std::string &stored) { return rate_code(MANAGEMENT_500_KBIT, stored); },
                 .store = [](const char *value) { return std::to_string(MANAGEMENT_500_KBIT[atoi(value)]); },
                 .trace = "rf%r,vap%v mgmt_rae%s from ZEVCFG ret=%e.\n"});
}

OBJECT(VAPReceivingRSSIThreshold) {
    return number(call, "recv_rssi_threshold", "rf%r,vap%v recv_rssi_threshold %s from ZEVCFG ret=%e.\n");
}

// 802.11r fast roaming: items of the security group, which only the store itself makes.
static constexpr Table ROAM_TARGET{
    "rvk", {2, 16, 5}, vap_security_group, "SET str=%s,i:%I,j:%J,k:%K\n", Table::VALUE_ROW_TRACE};

OBJECT(VAPRoam11rEnabled) {
    return existing_item(call, VAP_SECURITY,
                         {.key = "roam_11r.enabled",
                          .codes = &SWITCH_CODES,
                          .trace = " Get rf%r_vap%v roam_11r.enabled: %s from ZEVCFG. ret=%e\n"});
}

// The mobility domain is stored as four hexadecimal digits.
static constexpr const Object &MOBILITY_DOMAIN = *find_object("VAPRoam11rMobilityDomain");

static std::string mobility_domain(const std::string &stored) {
    const long domain = strtol(stored.c_str(), nullptr, 16);
    return MOBILITY_DOMAIN.in_range(domain) ? std::to_string(domain) : "";
}

OBJECT(VAPRoam11rMobilityDomain) {
    return existing_item(call, VAP_SECURITY,
                         {.key = "roam_11r.mobility_domain",
                          .show = mobility_domain,
                          .store = [](const char *value) { return format("%04x", atoi(value)); },
                          .trace = " Get rf%r_vap%v roam_11r.mobility_domain: %s from ZEVCFG. ret=%e\n"});
}

// Roaming keys are stored as two hexadecimal digits a character.
static std::string decoded_key(const std::string &stored) {
    constexpr size_t DIGITS = 32;
    std::string key;
    if (stored.size() < DIGITS) return key;
    for (size_t i = 0; i < DIGITS; i += 2)
        key += static_cast<char>(strtol(stored.substr(i, 2).c_str(), nullptr, 16));
    return key;
}

static std::string encoded_key(const char *value) {
    std::string digits;
    for (; *value != '\0'; value++) digits += format("%02x", static_cast<unsigned char>(*value));
    return digits;
}

static snmp_reply *roaming_key(const HandlerCall &call, const Table &table, const char *key,
                               const char *trace) {
    return existing_item(call, table,
                         {.key = key,
                          .check = [](char *value) { return check_printable_nospace(value); },
                          .show = decoded_key,
                          .store = encoded_key,
                          .trace = trace});
}

OBJECT(VAPRoam11rOwnKey) {
    return roaming_key(call, VAP_SECURITY, "roam_11r.roam_own_key",
                       "Get rf:%r,vap:%v roam_11r.roam_own_key: %s from ZEVCFG ret=%e.\n");
}
OBJECT(VAPRoam11rOverDs) {
    return existing_item(call, VAP_SECURITY,
                         {.key = "roam_11r.roam_overds",
                          .codes = &SWITCH_CODES,
                          .trace = " Get rf%r_vap%v roam_11r.roam_overds: %s from ZEVCFG. ret=%e\n"});
}
OBJECT(VAPRoam11rTargetApMac) {
    return existing_item(
        call, ROAM_TARGET,
        {.key = "roam_11r.remote_ap:%k.roam_mac",
         .check = check_mac_addr,
         .trace = "Get rf:%r,vap:%v roam_11r.remote_ap:%k.roam_mac %s from ZEVCFG ret=%e. index = %i\n"});
}
OBJECT(VAPRoam11rTargetApKey) {
    return roaming_key(call, ROAM_TARGET, "roam_11r.remote_ap:%k.roam_key",
                       "Get rf:%r,vap:%v roam_11r.remote_ap:%k.roam_key %s from ZEVCFG ret=%e. index = %i\n");
}
