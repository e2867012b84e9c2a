// System identity, time and addressing: objects 1.1 to 1.32.
#include "handler/system.h"

#include <cstdlib>
#include <cstring>

#include "function/resolve.h"
#include "handler/check.h"
#include "handler/timezone.h"
#include "platform/device.h"

static bool ipv4(char *value) {
    return check_ipv4_addr(value);
}
static bool name_chars(char *value) {
    return check_name_chars(value);
}
static bool empty_or_ipv4(char *value) {
    return *value == '\0' || check_ipv4_addr(value);
}

// Preconditions read the store's item, not one that is still queued.
static bool store_says(const Group &group, const char *key, const char *text) {
    return read_item(group.name.c_str(), key).text == text;
}

static bool is_host(const char *value) {
    return check_ipv4_addr(value) || check_domain_name(value);
}

OBJECT(APSysName) {
    return scalar(call, DEVICE, {.key = "name", .check = name_chars});
}
OBJECT(APSysDescription) {
    return scalar(call, DEVICE, {.key = "desc", .check = name_chars});
}
OBJECT(APSysLocation) {
    return scalar(call, DEVICE, {.key = "location", .check = name_chars});
}

static std::string zone_name(const char *value) {
    int number = atoi(value);
    std::string name;
    timezone_lookup(&number, &name);
    return name;
}

static std::string zone_number(const std::string &stored) {
    int number = 0;
    std::string name = stored;
    timezone_lookup(&number, &name);
    return std::to_string(number);
}

OBJECT(APSysTimezone) {
    if (call.kind == KIND_GET && is_requested(call, {0})) {
        const Reading reading = read_item("systime", "timezone");
        // A zone of no number is no value, however often it is asked for: the leaf stays due.
        if (zone_number(reading.text) == "0") {
            TRACE("ans= %s from ZEVCFG ret=%d.\n", reading.text.c_str(), reading.result);
            return set_refused(call);
        }
    }
    return scalar(call, SYSTIME, {.key = "timezone", .show = zone_number, .store = zone_name});
}

static constexpr Code TIME_SOURCE_LIST[] = {{1, "ntp"}, {2, "manual"}};
static constexpr Codes TIME_SOURCES{TIME_SOURCE_LIST, "2"};

OBJECT(APSysTimeSource) {
    return scalar(call, SYSTIME, {.key = "type", .codes = &TIME_SOURCES});
}

OBJECT(APSysNTPServer1) {
    return scalar(call, SYSTIME, {.key = "ntp_server1", .condition = [](const Row &, const char *value) {
                                      return !store_says(SYSTIME, "type", "ntp") || is_host(value);
                                  }});
}

OBJECT(APSysNTPServer2) {
    return scalar(call, SYSTIME, {.key = "ntp_server2", .condition = [](const Row &, const char *value) {
                                      return !store_says(SYSTIME, "type", "ntp") || *value == '\0' ||
                                             is_host(value);
                                  }});
}

// The manual clock: six fields of the state record that a manager composes and then applies at once.
static snmp_reply *clock_field(const HandlerCall &call, int32_t agent_state::*field,
                               bool (*allowed)(int value) = nullptr) {
    if (!is_instance_0(call)) return call.reply;
    if (call.kind == KIND_GET) {
        stamp(call, CACHED);
        publish(call, {0}, std::to_string(zevap->*field));
        return call.reply;
    }
    TRACE("SET str=%s\n", call.value);
    if (!within_bounds(call.object, call.value)) return set_refused(call);
    const int value = atoi(call.value);
    if (allowed && value != CLOCK_UNSET && !allowed(value)) return set_refused(call);
    zevap->*field = value;
    publish_written(call, {0}, call.value);
    return set_accepted(call);
}

// A day without its year and month means nothing: unsetting either unsets the day.
static snmp_reply *year_or_month(const HandlerCall &call, int32_t agent_state::*field) {
    snmp_reply *reply = clock_field(call, field);
    if (reply->reply_status == STATUS_ACCEPTED && zevap->*field == CLOCK_UNSET) zevap->set_day = CLOCK_UNSET;
    return reply;
}

OBJECT(APSysSetDateYear) {
    return year_or_month(call, &agent_state::set_year);
}
OBJECT(APSysSetDateMonth) {
    return year_or_month(call, &agent_state::set_month);
}

// Refused while the year or the month is unset: such a month has −1 days.
static bool day_exists(int day) {
    return day <= days_in_month(zevap->set_year, zevap->set_month);
}

OBJECT(APSysSetDateDay) {
    return clock_field(call, &agent_state::set_day, day_exists);
}

OBJECT(APSysSetTimeHour) {
    return clock_field(call, &agent_state::set_hour);
}
OBJECT(APSysSetTimeMinute) {
    return clock_field(call, &agent_state::set_minute);
}
OBJECT(APSysSetTimeSecond) {
    return clock_field(call, &agent_state::set_second);
}

OBJECT(APSysApplyTime) {
    if (!is_instance_0(call)) return call.reply;
    if (call.kind == KIND_GET) {
        const Reading reading = read_system_item("date");
        TRACE("ans= %s from ZEVCFG ret=%d.\n", reading.text.c_str(), reading.result);
        stamp(call, LIVE);
        publish(call, {0}, reading.text);
        return call.reply;
    }
    TRACE("SET str=%s\n", call.value);
    if (!check_int_range(call.value, 0, 1)) return set_refused(call);
    stamp(call, LIVE);
    int32_t *const fields[] = {&zevap->set_month,  &zevap->set_day,  &zevap->set_hour,
                               &zevap->set_minute, &zevap->set_year, &zevap->set_second};
    for (const int32_t *field : fields)
        if (*field == CLOCK_UNSET) return set_refused(call);
    run_command(format("date %02d%02d%02d%02d%4d.%02d", zevap->set_month, zevap->set_day, zevap->set_hour,
                       zevap->set_minute, zevap->set_year, zevap->set_second));
    for (int32_t *field : fields) *field = CLOCK_UNSET;
    return set_accepted(call);
}

OBJECT(APSysIPAddress) {
    return scalar(call, WAN_IP, {.key = "addr", .check = ipv4});
}
OBJECT(APSysNetMask) {
    return scalar(call, WAN_IP, {.key = "netmask", .check = ipv4});
}
OBJECT(APSysGWAddr) {
    return scalar(call, WAN_IP, {.key = "gateway", .check = ipv4});
}

static snmp_reply *current_address(const HandlerCall &call, const char *item) {
    if (!is_instance_0(call)) return call.reply;
    if (call.kind == KIND_SET) return set_read_only(call);
    const Reading reading = read_system_item(item);
    TRACE("ans= %s from ZEVCFG ret=%d.\n", reading.text.c_str(), reading.result);
    return read_only_scalar(call, CACHED, reading.text);
}

OBJECT(APSysIPAddressCurrent) {
    return current_address(call, "wan_ip");
}
OBJECT(APSysNetMaskCurrent) {
    return current_address(call, "wan_mask");
}
OBJECT(APSysGWAddrCurrent) {
    return current_address(call, "default_gw");
}

OBJECT(APSysDNSServer1) {
    return scalar(call, WAN_IP, {.key = "dns1", .check = ipv4});
}
OBJECT(APSysDNSServer2) {
    return scalar(call, WAN_IP, {.key = "dns2", .check = empty_or_ipv4});
}

OBJECT(APSysL2STPEnabled) {
    return scalar(call, NETWORK_L2, {.key = "stp", .codes = &SWITCH_CODES});
}

// "mgmt_vid" is a VLAN id when it is 1 to 4094; "4096" stands for no management VLAN.
static std::string vlan_in_use(const std::string &text) {
    const int id = atoi(text.c_str());
    return id >= 1 && id <= 4094 ? "2" : "1";
}

static std::string vlan_id_or_none(const char *value) {
    return atoi(value) == 0 ? "4096" : value;
}

OBJECT(APSysMgmtVlanEnabled) {
    return scalar(call, WAN_IP,
                  {.key = "mgmt_vid", .show = vlan_in_use, .any_instance = true, .refresh = LIVE});
}

OBJECT(APSysMgmtVlanId) {
    return scalar(call, WAN_IP, {.key = "mgmt_vid", .store = vlan_id_or_none, .any_instance = true});
}

OBJECT(APSysSNMPTrapEnabled) {
    return scalar(call, SNMP, {.key = "trap", .codes = &SWITCH_CODES});
}

OBJECT(APSysSNMPTrapServerIPAddress) {
    return scalar(call, SNMP, {.key = "trap_server", .condition = [](const Row &, const char *value) {
                                   return !store_says(SNMP, "trap", "enable") || check_ipv4_addr(value);
                               }});
}

OBJECT(APSysSystemLogEnabled) {
    return scalar(call, SYSLOG, {.key = "state", .codes = &SWITCH_CODES});
}

OBJECT(APSysSystemLogServerIPAddress) {
    return scalar(call, SYSLOG, {.key = "server_ip", .condition = [](const Row &, const char *value) {
                                     return !store_says(SYSLOG, "state", "enable") || check_ipv4_addr(value);
                                 }});
}

OBJECT(APSysSystemLogServerPort) {
    return scalar(call, SYSLOG, {.key = "server_port"});
}
OBJECT(APSysSystemLogLevel) {
    return scalar(call, SYSLOG, {.key = "level"});
}
