// WDS links. Of two ends the one with the lower address has a hidden network, in which the other is a station
// with frames of four addresses. An end's address is that of its interface (mac_of), and what the other end's
// configuration names.
#include <algorithm>
#include <iterator>

#include "linux/answers.h"

static std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return tolower(c); });
    return text;
}

static std::string network_name(std::string mac) {
    std::erase(mac, ':');
    return "wds-" + mac;
}

// hostapd's or wpa_supplicant's lines of the link's key; false when there is none that can be used.
static bool secure(Making &making, bool waits, std::string *lines) {
    const std::string group = filled("rf%r_wds%v", making.place);
    const auto item = [&](const char *key) { return making.settings.get(group, key); };
    std::string why;
    if (item("wep.enabled") == "enable") {
        const std::string key = wep_key(item("wep.keylen"), item("wep.method"), item("wep.key0"), &why);
        if (key.empty()) {
            making.not_done("APWDSLinkWEPKeyValue", why + ": the link is off the air");
            return false;
        }
        *lines = waits ? "auth_algs=1\nwep_default_key=0\nwep_key0=" + key + "\n"
                       : "\tkey_mgmt=NONE\n\twep_tx_keyidx=0\n\twep_key0=" + key + "\n";
        return true;
    }
    if (item("wpa.enabled") != "enable") {
        *lines = waits ? "auth_algs=1\n" : "\tkey_mgmt=NONE\n";
        return true;
    }
    const std::string line = psk_line(item("wpa.type"), item("wpa.passphrase"), &why);
    const std::string cipher = item("wpa.enc") == "rc4-tkip" ? "TKIP" : "CCMP";
    if (line.empty()) {
        making.not_done("APWDSLinkPSKKeyValue", why + ": the link is off the air");
        return false;
    }
    const std::string key = line.substr(line.find('=') + 1);
    *lines = waits ? "auth_algs=1\nwpa=2\nwpa_key_mgmt=WPA-PSK\nrsn_pairwise=" + cipher + "\n" + line + "\n"
                   : "\tkey_mgmt=WPA-PSK\n\tproto=RSN\n\tpairwise=" + cipher +
                         "\n\tpsk=" + (line.starts_with("wpa_psk") ? key : '"' + key + '"') + "\n";
    return true;
}

static void wait_for(Making &making, const std::string &own, const std::string &peer,
                     const std::string &lines) {
    Bss bss{link_interface(making.place.r, making.place.v)};
    // The interface of its station, which hostapd makes, goes into the bridge; it itself has no frames.
    bss.text = "bss=" + bss.interface + "\nctrl_interface=" + HOSTAPD_SOCKETS + "\nwds_bridge=" + BRIDGE +
               "\nbssid=" + own + "\nssid=" + network_name(own) +
               "\nignore_broadcast_ssid=1\nwds_sta=1\nmacaddr_acl=1\nwmm_enabled=1\n" + lines;
    const std::string hostapd = std::string("hostapd_cli -p ") + HOSTAPD_SOCKETS + " -i " + bss.interface;
    bss.commands = {hostapd + " accept_acl ADD_MAC " + peer,
                    hostapd + " -B -a /usr/lib/zevsic-linux/link-up"};
    making.radio->networks.push_back(bss);
}

static void call(Making &making, const std::string &own, const std::string &peer, const std::string &lines) {
    Caller caller{link_interface(making.place.r, making.place.v), own};
    caller.text = "network={\n\tssid=\"" + network_name(peer) + "\"\n\tscan_ssid=1\n\tbssid=" + peer + "\n" +
                  lines + "}\n";
    caller.commands = {"ip link set dev " + caller.interface + " master " + BRIDGE};
    for (const std::string &command : trunk_commands(making.settings, caller.interface))
        caller.commands.push_back(command);
    making.radio->callers.push_back(caller);
}

void wds_link(Making &making) {
    const std::string own = mac_of(making.machine.cards[making.place.r - 1], LINK_NUMBER + making.place.v);
    const std::string peer = lower(making.get("APWDSLinkMacAddr"));
    if (peer.size() != own.size() || peer.find_first_not_of("0123456789abcdef:") != std::string::npos)
        return making.not_done("APWDSLinkMacAddr", "no address of the other end: the link is off the air");
    std::string lines;
    const bool waits = own < peer;
    if (!secure(making, waits, &lines)) return;
    waits ? wait_for(making, own, peer, lines) : call(making, own, peer, lines);
}
