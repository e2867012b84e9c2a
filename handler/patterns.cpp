#include "handler/patterns.h"

#include <cstring>
#include <string_view>

// The arc of that letter, as it is or, as the store counts entries, from the arc's low number.
enum class From { ITSELF, LOW };
static int arc_named(const Table *table, const Row &row, char letter, From from) {
    for (int i = 0; table && i < row.count; i++)
        if (table->arcs[i].letter == letter) return row[i] - (from == From::LOW ? table->arcs[i].low : 0);
    return 0;
}

static void append_number(std::string *out, int number) {
    char digits[12];
    out->append(digits, snprintf(digits, sizeof digits, "%d", number));
}

// Appends what stands for %`letter`; false when it is no number of the row.
static bool append_arc(std::string *out, char letter, const Table *table, const Row &row) {
    if (letter == 'r' || letter == 'v') {
        append_number(out, arc_named(table, row, letter, From::ITSELF));
    } else if (letter == 'k' || letter == 'm') {
        append_number(out, arc_named(table, row, letter, From::LOW));
    } else if (letter >= '1' && letter <= '4') {
        append_number(out, row[letter - '1'] - 1);
    } else {
        return false;
    }
    return true;
}

void expand(std::string *out, const char *pattern, const Table *table, const Row &row) {
    out->clear();
    for (; *pattern != '\0'; pattern++) {
        if (*pattern != '%' || pattern[1] == '\0')
            *out += *pattern;
        else if (!append_arc(out, *++pattern, table, row))
            *out += *pattern;
    }
}

static std::string row_text(const Row &row) {
    std::string text;
    for (int i = 0; i < row.count; i++) text += (i ? "." : "") + std::to_string(row[i]);
    return text;
}

void trace_row(const HandlerCall &call, const char *pattern, const Row &row, const std::string &text,
               const std::string &key, int result) {
    if (!pattern || !trace_on()) return;
    std::string out;
    for (; *pattern != '\0'; pattern++) {
        if (*pattern != '%' || pattern[1] == '\0') {
            out += *pattern;
            continue;
        }
        const char letter = *++pattern;
        if (letter == 's')
            out += text;
        else if (letter == 'e')
            out += std::to_string(result);
        else if (letter == 'K')
            out += key;
        else if (letter == 'i')
            out += std::to_string(call.index);
        else if (letter == 'q')
            out += call.instance;
        else if (letter == 'o')
            out += row_text(row);
        else if (letter == 'c')
            out += std::to_string(strcmp(call.instance, row_text(row).c_str()));
        else if (!append_arc(&out, letter, call.table, row))
            out += letter;
    }
    TRACE("%s", out.c_str());
}

// ---- groups ----

// Groups that a radio has several of, or one.
static constexpr struct Family {
    const char *pattern;
    const unsigned *ids;
    int per_radio;   // groups of a radio
    int first = -1;  // which one of them it is; below 0: the second arc counts them
} FAMILIES[] = {
    {"rf%r", gid_rf, 1, 0},
    {"rf%r_vap%v", gid_vap, VAPS},
    {VAP_SECURITY, gid_vap_sec, VAPS},
    {VAP_HOTSPOT, gid_vap_hs20, VAPS},
    {"rf%r_wds%v", gid_wds_link, WDS_LINKS},
    {"rf%r_wme1", gid_wme, 4, 0},
    {"rf%r_wme2", gid_wme, 4, 1},
    {"rf%r_wme3", gid_wme, 4, 2},
    {"rf%r_wme4", gid_wme, 4, 3},
};
static constexpr struct {
    std::string_view name;
    unsigned id;
} GROUPS[] = {
    {"device", GID_DEVICE},
    {"systime", GID_SYSTIME},
    {"wan_ip", GID_WAN_IP},
    {"network_L2", GID_NETWORK_L2},
    {"syslog", GID_SYSLOG},
    {"snmp", GID_SNMP},
    {"capwap", GID_CAPWAP},
    {"ipv6", GID_IPV6},
    {"wes", GID_WES},
    {"bfirewall", GID_BFIREWALL},
    {"bfw_service", GID_BFW_SERVICE},
    {"bfw_dai", GID_BFW_DAI},
    {"remote_manage", GID_REMOTE_MANAGE},
};

// A save that meets an item of no group discards everything that was queued.
static constexpr bool has_id(std::string_view pattern) {
    for (const Family &family : FAMILIES)
        if (pattern == family.pattern) return true;
    for (const auto &group : GROUPS)
        if (pattern == group.name) return true;
    return false;
}
static constexpr bool have_all_groups_ids() {
    for (const Object &object : OBJECTS)
        if (object.group && !has_id(object.group)) return false;
    for (const Table &table : TABLES)
        if (*table.group != '\0' && !has_id(table.group)) return false;
    return true;
}
static_assert(have_all_groups_ids());

unsigned group_id(const char *pattern, const Row &row) {
    for (const Family &family : FAMILIES)
        if (strcmp(pattern, family.pattern) == 0)
            return family
                .ids[(row[0] - 1) * family.per_radio + (family.first < 0 ? row[1] - 1 : family.first)];
    for (const auto &group : GROUPS)
        if (pattern == group.name) return group.id;
    return 0;
}
