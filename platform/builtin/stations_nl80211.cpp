#include "platform/builtin/stations_nl80211.h"

#include <linux/nl80211.h>
#include <net/if.h>
#include <netlink/genl/ctrl.h>
#include <netlink/genl/genl.h>
#include <netlink/netlink.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cstdio>
#include <cstdlib>

static constexpr int RSSI_OF_0_DBM = 95;

// Some drivers count in 32 bits only.
static uint64_t read_counter(nlattr *wide, nlattr *narrow) {
    if (wide) return nla_get_u64(wide);
    return narrow ? nla_get_u32(narrow) : 0;
}

bool read_station_message(nlmsghdr *message, sta_entry *station) {
    // Lengths that are not checked here may be shorter than what is read: the kernel's, but cheap to check.
    static nla_policy info_policy[NL80211_STA_INFO_MAX + 1] = {};
    info_policy[NL80211_STA_INFO_SIGNAL].type = NLA_U8;
    info_policy[NL80211_STA_INFO_TX_BYTES].type = info_policy[NL80211_STA_INFO_RX_BYTES].type = NLA_U32;
    info_policy[NL80211_STA_INFO_TX_BYTES64].type = info_policy[NL80211_STA_INFO_RX_BYTES64].type = NLA_U64;
    nlattr *attributes[NL80211_ATTR_MAX + 1];
    nlattr *info[NL80211_STA_INFO_MAX + 1] = {};
    if (!genlmsg_valid_hdr(message, 0) ||
        genlmsg_parse(message, 0, attributes, NL80211_ATTR_MAX, nullptr) < 0)
        return false;
    const nlattr *mac = attributes[NL80211_ATTR_MAC];
    if (!mac || nla_len(mac) < 6) return false;
    nlattr *nested = attributes[NL80211_ATTR_STA_INFO];
    if (nested && nla_parse_nested(info, NL80211_STA_INFO_MAX, nested, info_policy) < 0) return false;

    *station = {};
    const auto *byte = static_cast<const uint8_t *>(nla_data(mac));
    snprintf(station->mac, sizeof station->mac, "%02x:%02x:%02x:%02x:%02x:%02x", byte[0], byte[1], byte[2],
             byte[3], byte[4], byte[5]);
    if (nlattr *signal = info[NL80211_STA_INFO_SIGNAL])
        station->rssi = static_cast<int8_t>(nla_get_u8(signal)) + RSSI_OF_0_DBM;
    station->tx_bytes = read_counter(info[NL80211_STA_INFO_TX_BYTES64], info[NL80211_STA_INFO_TX_BYTES]);
    station->rx_bytes = read_counter(info[NL80211_STA_INFO_RX_BYTES64], info[NL80211_STA_INFO_RX_BYTES]);
    return true;
}

namespace {

struct Answer {
    sta_entry *head = nullptr;
    sta_entry **end = &head;
    bool complete = false;
};

}  // namespace

static int take_station(nl_msg *message, void *argument) {
    auto *answer = static_cast<Answer *>(argument);
    sta_entry station;
    if (!read_station_message(nlmsg_hdr(message), &station)) return NL_OK;
    auto *entry = static_cast<sta_entry *>(malloc(sizeof(sta_entry)));
    if (!entry) return NL_STOP;
    *entry = station;
    *answer->end = entry;
    answer->end = &entry->next;
    return NL_OK;
}

static int take_end(nl_msg *, void *argument) {
    static_cast<Answer *>(argument)->complete = true;
    return NL_STOP;
}

static bool send_question(nl_sock *socket, int family, unsigned interface) {
    nl_msg *message = nlmsg_alloc();
    if (!message) return false;
    const bool sent =
        genlmsg_put(message, NL_AUTO_PORT, NL_AUTO_SEQ, family, 0, NLM_F_DUMP, NL80211_CMD_GET_STATION, 0) &&
        nla_put_u32(message, NL80211_ATTR_IFINDEX, interface) == 0 && nl_send_auto(socket, message) >= 0;
    nlmsg_free(message);
    return sent;
}

// Until the end of the list or a failure, an answer that does not come among them.
static void ask(nl_sock *socket, unsigned interface, Answer *answer) {
    const timeval limit = {1, 0};
    const int family = genl_ctrl_resolve(socket, "nl80211");
    if (family < 0) return;
    setsockopt(nl_socket_get_fd(socket), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    nl_socket_modify_cb(socket, NL_CB_VALID, NL_CB_CUSTOM, take_station, answer);
    nl_socket_modify_cb(socket, NL_CB_FINISH, NL_CB_CUSTOM, take_end, answer);
    if (!send_question(socket, family, interface)) return;
    while (!answer->complete && nl_recvmsgs_default(socket) >= 0) continue;
}

sta_entry *get_sta_list_nl80211(const char *ifname) {
    Answer answer;
    const unsigned interface = if_nametoindex(ifname);
    nl_sock *socket = interface ? nl_socket_alloc() : nullptr;
    if (!socket) return nullptr;
    if (genl_connect(socket) == 0) ask(socket, interface, &answer);
    nl_socket_free(socket);
    return answer.head;
}
