// Controller discovery, IPv6, WES, restart and reset: what is special among the objects 1.33 to 1.55.
#include <cstdlib>

#include "handler/check.h"
#include "handler/commit.h"
#include "handler/engine.h"
#include "handler/rules.h"
#include "platform/device.h"

// The on/off object of a feature that a device may lack, which a file tells. Without the feature it is off,
// whatever is stored or written; `absent` says so and gives what is stored.
static snmp_reply *feature_switch(const HandlerCall &call, const char *file,
                                  std::string (*absent)(const char *)) {
    if (device_file_exists(file)) return ordinary(call);
    const Row row{call.object.any_instance ? call.index : 0};
    if (call.kind == KIND_SET || !is_requested(call, row)) return ordinary(call, {.store = absent});
    absent(nullptr);
    if (row[0] == 0) stamp(call);
    publish(call, row, "1");
    return call.reply;
}

static std::string absent_feature(const char * /*value*/) {
    TRACE("ans= %s by file-validation.\n", "disable");
    return "disable";
}

static std::string absent_wes(const char * /*value*/) {
    TRACE("wes:%s by file-validation.\n", "disable");
    return "disable";
}

snmp_reply *capwap_switch(const HandlerCall &call) {
    return feature_switch(call, "/etc/capwap", absent_feature);
}
snmp_reply *ipv6_switch(const HandlerCall &call) {
    return feature_switch(call, "/proc/sys/net/ipv6", absent_feature);
}
snmp_reply *wes_switch(const HandlerCall &call) {
    return feature_switch(call, "/sbin/zevwes", absent_wes);
}

// The address of a static controller. Writing it also ranks the entry: by its place in the list, or last when
// it is left with neither address nor name.
snmp_reply *controller_address(const HandlerCall &call) {
    if (call.kind == KIND_GET) return ordinary(call);
    if (!is_instance_0(call)) return call.reply;
    TRACE("SET str=%s\n", call.value);
    const Row row{0};
    if (!are_needs_met(call, row) || !is_acceptable(call.object, call.value)) return set_refused(call);
    const std::string key = call.object.key;
    const std::string entry = key.substr(0, key.rfind('.') + 1);
    const int place = atoi(key.c_str() + key.find(':') + 1);
    const bool unused = *call.value == '\0' && read_row(call, row, (entry + "name").c_str()).empty();
    queue_row(call, row, (entry + "priority").c_str(), unused ? "999" : std::to_string(place * 10));
    queue_row(call, row, call.value);
    store_cell(call, row, call.value);
    return set_accepted(call);
}

static bool start_restart(Restart how) {
    if (start_reboot_worker(how)) return true;
    TRACE("Create pthread error!\n");
    return false;
}

snmp_reply *restart(const HandlerCall &call) {
    snmp_reply *reply = action_scalar(call, [] { return start_restart(Restart::AS_IT_IS); });
    if (reply->reply_status == STATUS_ACCEPTED) store_cell(call, {0}, call.value);
    return reply;
}
snmp_reply *factory_reset(const HandlerCall &call) {
    return action_scalar(call, [] { return start_restart(Restart::WITH_FACTORY_SETTINGS); });
}
