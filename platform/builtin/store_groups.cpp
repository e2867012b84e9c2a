// Numeric group ids and the group texts they stand for.
#include <string>
#include <unordered_map>

#include "platform/builtin/store.h"
#include "platform/zevcfg.h"

// The families of groups have a number range each, far from the fixed ids.
static constexpr unsigned RF = 0x20000000;
static constexpr unsigned WME = 0x20100000;
static constexpr unsigned WDS = 0x20200000;
static constexpr unsigned VAP = 0x20300000;
static constexpr unsigned VAP_SEC = 0x20400000;
static constexpr unsigned VAP_HS20 = 0x20500000;

#define FOUR(base, i) (base) + (i), (base) + (i) + 1, (base) + (i) + 2, (base) + (i) + 3
#define SIXTEEN(base, i) FOUR(base, i), FOUR(base, (i) + 4), FOUR(base, (i) + 8), FOUR(base, (i) + 12)

extern "C" {
const unsigned gid_rf[2] = {RF, RF + 1};
const unsigned gid_vap[32] = {SIXTEEN(VAP, 0), SIXTEEN(VAP, 16)};
const unsigned gid_vap_sec[32] = {SIXTEEN(VAP_SEC, 0), SIXTEEN(VAP_SEC, 16)};
const unsigned gid_vap_hs20[32] = {SIXTEEN(VAP_HS20, 0), SIXTEEN(VAP_HS20, 16)};
const unsigned gid_wme[8] = {FOUR(WME, 0), FOUR(WME, 4)};
const unsigned gid_wds_link[16] = {SIXTEEN(WDS, 0)};
}

using GroupTable = std::unordered_map<unsigned, std::string>;

// Groups "rf1" + kind + "1" + end, "rf1" + kind + "2" + end ...
template <size_t N>
static void add_family(GroupTable *table, const unsigned (&ids)[N], const char *kind, const char *end) {
    for (size_t i = 0; i < N; i++) {
        std::string text = "rf" + std::to_string(i / (N / 2) + 1);
        text.append(kind).append(std::to_string(i % (N / 2) + 1)).append(end);
        (*table)[ids[i]] = text;
    }
}

static GroupTable make_table() {
    GroupTable table = {
        {GID_DEVICE, "device"},
        {GID_SYSTIME, "systime"},
        {GID_WAN_IP, "wan_ip"},
        {GID_NETWORK_L2, "network_L2"},
        {GID_BFIREWALL, "bfirewall"},
        {GID_BFW_SERVICE, "bfw_service"},
        {GID_BFW_DAI, "bfw_dai"},
        {GID_IPV6, "ipv6"},
        {GID_SYSLOG, "syslog"},
        {GID_SNMP, "snmp"},
        {GID_REMOTE_MANAGE, "remote_manage"},
        {GID_WES, "wes"},
        {GID_CAPWAP, "capwap"},
        {gid_rf[0], "rf1"},
        {gid_rf[1], "rf2"},
    };
    add_family(&table, gid_vap, "_vap", "");
    add_family(&table, gid_vap_sec, "_vap", "_sec");
    add_family(&table, gid_vap_hs20, "_vap", "_hs20");
    add_family(&table, gid_wme, "_wme", "");
    add_family(&table, gid_wds_link, "_wds", "");
    return table;
}

const char *group_name(unsigned group_id) {
    static const GroupTable table = make_table();
    auto found = table.find(group_id);
    return found == table.end() ? nullptr : found->second.c_str();
}
