// Time, clock and servers: what is special among the system objects 1.1 to 1.32.
#include <cstdlib>

#include "handler/check.h"
#include "handler/engine.h"
#include "handler/rules.h"
#include "handler/timezone.h"
#include "platform/device.h"

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

snmp_reply *time_zone(const HandlerCall &call) {
    if (call.kind == KIND_GET && is_requested(call, {0})) {
        const Reading reading = read_item(call.object.group, call.object.key);
        // A zone of no number is no value, however often it is asked for: the leaf stays due.
        if (zone_number(reading.text) == "0") {
            TRACE("ans= %s from ZEVCFG ret=%d.\n", reading.text.c_str(), reading.result);
            return set_refused(call);
        }
    }
    return ordinary(call, {.show = zone_number, .store = zone_name});
}

// Servers are checked while what uses them is on, as the store has it, not a SET that is still queued.
snmp_reply *ntp_server(const HandlerCall &call) {
    return ordinary(call, {.condition = [](const HandlerCall &c, const Row &row) {
                        if (read_row(c, row, "type") != "ntp" || (c.object.or_empty && *c.value == '\0'))
                            return true;
                        return check_ipv4_addr(c.value) || check_domain_name(c.value);
                    }});
}
snmp_reply *trap_server(const HandlerCall &call) {
    return ordinary(call, {.condition = [](const HandlerCall &c, const Row &row) {
                        return read_row(c, row, "trap") != "enable" || check_ipv4_addr(c.value);
                    }});
}
snmp_reply *log_server(const HandlerCall &call) {
    return ordinary(call, {.condition = [](const HandlerCall &c, const Row &row) {
                        return read_row(c, row, "state") != "enable" || check_ipv4_addr(c.value);
                    }});
}

// The manual clock: six fields of the state record, objects 1.8 to 1.13, that a manager composes and then
// applies at once. A day without its year and month means nothing: unsetting either unsets the day, and a day
// is refused while one of them is unset (such a month has −1 days).
snmp_reply *clock_field(const HandlerCall &call) {
    static constexpr int32_t agent_state::*FIELDS[] = {&agent_state::set_year,   &agent_state::set_month,
                                                       &agent_state::set_day,    &agent_state::set_hour,
                                                       &agent_state::set_minute, &agent_state::set_second};
    const auto field = FIELDS[call.object.last_arc() - "APSysSetDateYear"_object->last_arc()];
    if (!is_instance_0(call)) return call.reply;
    if (call.kind == KIND_GET) {
        stamp(call);
        publish(call, {0}, std::to_string(zevap->*field));
        return call.reply;
    }
    TRACE("SET str=%s\n", call.value);
    if (!within_range(call.object, call.value)) return set_refused(call);
    const int value = atoi(call.value);
    const bool is_unset = value == CLOCK_UNSET;
    if (field == &agent_state::set_day && !is_unset &&
        value > days_in_month(zevap->set_year, zevap->set_month))
        return set_refused(call);
    zevap->*field = value;
    if (is_unset && (field == &agent_state::set_year || field == &agent_state::set_month))
        zevap->set_day = CLOCK_UNSET;
    store_cell(call, {0}, call.value);
    return set_accepted(call);
}

snmp_reply *clock_apply(const HandlerCall &call) {
    if (!is_instance_0(call)) return call.reply;
    if (call.kind == KIND_GET) {
        const Reading reading = read_system_item("date");
        TRACE("ans= %s from ZEVCFG ret=%d.\n", reading.text.c_str(), reading.result);
        stamp(call);
        publish(call, {0}, reading.text);
        return call.reply;
    }
    TRACE("SET str=%s\n", call.value);
    if (!check_int_range(call.value, 0, 1)) return set_refused(call);
    int32_t *const fields[] = {&zevap->set_month,  &zevap->set_day,  &zevap->set_hour,
                               &zevap->set_minute, &zevap->set_year, &zevap->set_second};
    for (const int32_t *field : fields)
        if (*field == CLOCK_UNSET) return set_refused(call);
    stamp(call);
    run_command(format("date %02d%02d%02d%02d%4d.%02d", zevap->set_month, zevap->set_day, zevap->set_hour,
                       zevap->set_minute, zevap->set_year, zevap->set_second));
    for (int32_t *field : fields) *field = CLOCK_UNSET;
    return set_accepted(call);
}
