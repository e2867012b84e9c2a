// Controller discovery, IPv6, WES, restart and reset: objects 1.33 to 1.55.
#include <cstdlib>

#include "handler/check.h"
#include "handler/commit.h"
#include "handler/toolkit.h"
#include "platform/device.h"

static const Group CAPWAP{"capwap", GID_CAPWAP};
static const Group IPV6{"ipv6", GID_IPV6};
static const Group WES{"wes", GID_WES};

// Preconditions read the store's item, not one that is still queued.
static std::string stored_text(const Group &group, const char *key) {
    return read_item(group.name.c_str(), key).text;
}

// A feature that a device may lack: the file that tells, and what switching it stores without that file.
struct Feature {
    const char *file;
    std::string (*absent)(const char *value);
};

// The on/off object of a feature. Without the feature it is off, whatever is stored or written.
static snmp_reply *feature_switch(const HandlerCall &call, const Group &group, const Feature &feature,
                                  bool any_instance = false) {
    Field field{.key = "state", .codes = &SWITCH_CODES, .any_instance = any_instance};
    if (device_file_exists(feature.file)) return scalar(call, group, field);
    const Row row{any_instance ? call.index : 0};
    if (call.kind == KIND_GET && is_requested(call, row)) {
        feature.absent(nullptr);
        if (row[0] == 0) stamp(call, CACHED);
        publish(call, row, "1");
        return call.reply;
    }
    field.store = feature.absent;
    return scalar(call, group, field);
}

static std::string absent_feature(const char * /*value*/) {
    const char *state = "disable";
    TRACE("ans= %s by file-validation.\n", state);
    return state;
}

static std::string absent_wes(const char * /*value*/) {
    const char *state = "disable";
    TRACE("wes:%s by file-validation.\n", state);
    return state;
}

OBJECT(APSysCAPWAPEnabled) {
    return feature_switch(call, CAPWAP, {"/etc/capwap", absent_feature});
}
OBJECT(APSysCAPWAPCertDateCheck) {
    return scalar(call, CAPWAP, {.key = "check_cert", .codes = &SWITCH_CODES});
}
OBJECT(APSysCAPWAPDNSSRVDiscovery) {
    return scalar(call, CAPWAP, {.key = "discovery.dns_srv", .codes = &SWITCH_CODES});
}

OBJECT(APSysCAPWAPDomainNameSuffix) {
    return scalar(call, CAPWAP,
                  {.key = "discovery.srv_suffix", .condition = [](const Row &, const char *value) {
                       return stored_text(CAPWAP, "discovery.dns_srv") != "disable" &&
                              check_domain_name(value);
                   }});
}

OBJECT(APSysCAPWAPDHCPDiscovery) {
    return scalar(call, CAPWAP, {.key = "discovery.dhcp_opt", .codes = &SWITCH_CODES});
}

// Discovery by a request to everyone is stored as the address that it goes to.
static constexpr Code BROADCAST_LIST[] = {{1, ""}, {2, "255.255.255.255"}};
static constexpr Codes BROADCAST_CODES{BROADCAST_LIST, "1"};
static constexpr Code MULTICAST_LIST[] = {{1, ""}, {2, "224.0.1.140"}};
static constexpr Codes MULTICAST_CODES{MULTICAST_LIST, "1"};

OBJECT(APSysCAPWAPBroadcastDiscovery) {
    return scalar(call, CAPWAP, {.key = "discovery.broadcast", .codes = &BROADCAST_CODES});
}
OBJECT(APSysCAPWAPMulticastDiscovery) {
    return scalar(call, CAPWAP, {.key = "discovery.multicast", .codes = &MULTICAST_CODES});
}
OBJECT(APSysCAPWAPStaticDiscovery) {
    return scalar(call, CAPWAP, {.key = "discovery.unicast", .codes = &SWITCH_CODES});
}

// The address of a static controller, entry 0 to 4. Writing it also ranks the entry: by its place in the
// list, or last when it is left with neither address nor name.
static snmp_reply *controller_address(const HandlerCall &call, int entry) {
    const std::string prefix = format("aclist.ac_entry:%d.", entry);
    const std::string key = prefix + "ip";
    if (call.kind == KIND_GET) return scalar(call, CAPWAP, {.key = key.c_str()});
    if (!is_instance_0(call)) return call.reply;
    TRACE("SET str=%s\n", call.value);
    if (!within_bounds(call.object, call.value)) return set_refused(call);
    if (stored_text(CAPWAP, "discovery.unicast") == "disable") return set_refused(call);
    const bool cleared = *call.value == '\0';
    if (!cleared && !check_ipv4_addr(call.value)) return set_refused(call);
    const bool unused = stored_text(CAPWAP, (prefix + "name").c_str()).empty() && cleared;
    queue_item(CAPWAP.id, (prefix + "priority").c_str(), unused ? "999" : std::to_string(entry * 10));
    queue_item(CAPWAP.id, key.c_str(), call.value);
    publish_written(call, {0}, call.value);
    return set_accepted(call);
}

OBJECT(APSysCAPWAPACAddress1) {
    return controller_address(call, 0);
}
OBJECT(APSysCAPWAPACAddress2) {
    return controller_address(call, 1);
}
OBJECT(APSysCAPWAPACAddress3) {
    return controller_address(call, 2);
}
OBJECT(APSysCAPWAPACAddress4) {
    return controller_address(call, 3);
}
OBJECT(APSysCAPWAPACAddress5) {
    return controller_address(call, 4);
}

static constexpr Code IPV6_MODE_LIST[] = {{1, "static"}, {2, "dhcp"}};
static constexpr Codes IPV6_MODES{IPV6_MODE_LIST, "2"};

static bool ipv6_is_not_off(const Row &, const char *) {
    return stored_text(IPV6, "state") != "disable";
}
static bool ipv6_is_static(const Row &, const char *) {
    return stored_text(IPV6, "state") == "enable" && stored_text(IPV6, "mode") == "static";
}
static bool ipv6(char *value) {
    return check_ipv6_addr(value);
}

OBJECT(APSysIPv6Enabled) {
    return feature_switch(call, IPV6, {"/proc/sys/net/ipv6", absent_feature});
}
OBJECT(APSysIPv6Mode) {
    return scalar(call, IPV6, {.key = "mode", .condition = ipv6_is_not_off, .codes = &IPV6_MODES});
}
OBJECT(APSysIPv6IPAddress) {
    return scalar(call, IPV6, {.key = "addr", .check = ipv6, .condition = ipv6_is_static});
}
OBJECT(APSysIPv6PrefixLen) {
    return scalar(call, IPV6, {.key = "prefix", .condition = ipv6_is_static});
}
OBJECT(APSysIPv6GWAddr) {
    return scalar(call, IPV6, {.key = "gateway", .check = ipv6, .condition = ipv6_is_static});
}
OBJECT(APSysIPv6FirstDNSAddr) {
    return scalar(call, IPV6, {.key = "dns1", .check = ipv6, .condition = ipv6_is_static});
}
OBJECT(APSysIPv6SecondDNSAddr) {
    return scalar(call, IPV6, {.key = "dns2", .check = ipv6, .condition = ipv6_is_static});
}

OBJECT(APSysWESStatus) {
    return feature_switch(call, WES, {"/sbin/zevwes", absent_wes}, true);
}

static bool restart(Restart how) {
    if (start_reboot_worker(how)) return true;
    TRACE("Create pthread error!\n");
    return false;
}

OBJECT(APSysRestart) {
    snmp_reply *reply = action_scalar(call, [] { return restart(Restart::AS_IT_IS); });
    if (reply->reply_status == STATUS_ACCEPTED) publish_written(call, {0}, call.value);
    return reply;
}
OBJECT(APSysReset) {
    return action_scalar(call, [] { return restart(Restart::WITH_FACTORY_SETTINGS); });
}
