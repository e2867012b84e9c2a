// Device status: objects 1.56 to 1.61. All are read-only scalars.
#include <cstdio>

#include "handler/engine.h"
#include "handler/rules.h"
#include "handler/sampling.h"
#include "platform/device.h"

// `read(&value)` is asked for a GET only; when it fails nothing is published.
template <typename Read>
static snmp_reply *status_scalar(const HandlerCall &call, Read read) {
    if (!is_instance_0(call)) return call.reply;
    if (call.kind == KIND_SET) return set_read_only(call);
    std::string value;
    if (!read(&value)) return call.reply;
    stamp(call);
    publish(call, {0}, value);
    return call.reply;
}

snmp_reply *uptime(const HandlerCall &call) {
    return status_scalar(call, [](std::string *value) {
        std::string text;
        long long seconds = 0;
        int hundredths = 0;
        if (!read_device_file("/proc/uptime", 256, &text)) return false;
        if (sscanf(text.c_str(), "%lld.%d", &seconds, &hundredths) < 1) return false;
        *value = format("%lld%02d", seconds, hundredths);
        return true;
    });
}

snmp_reply *device_mac(const HandlerCall &call) {
    return status_scalar(call, [](std::string *value) {
        *value = zevap->wan_mac;
        return true;
    });
}

snmp_reply *hardware_version(const HandlerCall &call) {
    return status_scalar(call, [](std::string *value) {
        *value = "1.00.00";
        return true;
    });
}

snmp_reply *software_version(const HandlerCall &call) {
    return status_scalar(call,
                         [](std::string *value) { return read_device_file("/etc/version", 1023, value); });
}

// Whole percents of a ratio; sampling that failed gives a ratio below 0.
static std::string percents(double sampled) {
    const auto ratio = static_cast<float>(sampled);
    return ratio < 0 ? "Unknown" : std::to_string(static_cast<int>(ratio * 100.0F));
}

snmp_reply *cpu_usage_percents(const HandlerCall &call) {
    return status_scalar(call, [](std::string *value) {
        *value = percents(sample_cpu_busy_ratio());
        TRACE("CPU usage %s\n", value->c_str());
        return true;
    });
}

snmp_reply *memory_usage_percents(const HandlerCall &call) {
    return status_scalar(call, [](std::string *value) {
        *value = percents(sample_mem_used_ratio());
        TRACE("MEM usage %s\n", value->c_str());
        return true;
    });
}
