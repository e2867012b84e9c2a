// VAPs: hostapd's lines of a network, and its port of the bridge.
#include <algorithm>
#include <iterator>

#include "linux/answers.h"

static std::string hex_of_mac(std::string mac) {
    std::erase(mac, ':');
    return mac;
}

static const Card &card_of(const Making &making) {
    return making.machine.cards[making.place.r - 1];
}

static std::string bssid_of(const Making &making) {
    return mac_of(card_of(making), making.place.v);
}

// ---- the network and its port ----

// Frames between stations of the VAP go through the bridge, where the firewall sees them: the port sends them
// back where they came from, unless stations are isolated.
static void port_commands(Making &making) {
    const std::string &interface = making.bss->interface;
    const std::string vlan = std::to_string(vlan_of_vap(making.settings, making.place.r, making.place.v));
    const bool isolated = making.is_on("VAPWirelessStationIsolation");
    making.command("bridge vlan add dev " + interface + " vid " + vlan + " pvid untagged");
    making.command("bridge link set dev " + interface +
                   (isolated ? " hairpin off isolated on" : " hairpin on isolated off"));
    making.command("bridge link set dev " + interface + " mcast_router " +
                   (making.is_on("VAPIGMPSnoopingStatus") ? "1" : "2"));
}

void vap_network(Making &making) {
    const std::string ssid = making.get("VAPESSID");
    if (ssid.empty() || ssid.size() > 32 || !is_clean(ssid))
        return making.error("VAPESSID", "no SSID of 1 to 32 characters");
    making.line("bss=" + making.bss->interface);
    making.line(std::string("ctrl_interface=") + HOSTAPD_SOCKETS);
    making.line(std::string("bridge=") + BRIDGE);
    making.line("bssid=" + bssid_of(making));
    making.line("ssid=" + ssid);
    making.line("ap_isolate=1");
    if (making.number("VAPConsecutiveRetriesThreshold") == 0) making.line("disassoc_low_ack=0");
    making.line("ap_max_inactivity=" + std::to_string(making.number("APRFStaIdleTimeout", 300)));
    if (making.settings.value_of("L2FirewallProxyARP") == "enable") making.line("proxy_arp=1");
    // The other radio has seen the station: hostapd knows it by the radio's own interface.
    const bool other_is_on = making.settings.radio_is_on(2) && !making.machine.cards[1].phy.empty();
    const std::string other = radio_interface(2);
    if (making.place.r == 1 && other_is_on) {
        const bool steers = making.is_on("APRFBandSteeringEnabled");
        if (steers) making.line("no_probe_resp_if_seen_on=" + other);
        if (steers && making.is_on("APRFAggrBandSteeringEnabled")) making.line("no_auth_if_seen_on=" + other);
    }
    port_commands(making);
}

void vap_bandwidth(Making &making) {
    const int vlan = making.number("VAPVlanId", 4096);
    if (vlan < 0 || vlan > 4094) return;  // the limits are those of a VLAN
    const std::string &interface = making.bss->interface;
    const int up = making.number("VAPVlanUpBandwidth"), down = making.number("VAPVlanDownBandwidth");
    // What may come at once: 100 ms of the rate, and more than a frame.
    const auto burst = [](int kbit) { return std::to_string(std::max(4, kbit / 80)) + "k"; };
    if (down > 0)
        making.command("tc qdisc replace dev " + interface + " root tbf rate " + std::to_string(down) +
                       "kbit burst " + burst(down) + " latency 100ms");
    if (up > 0) {
        making.command("tc qdisc replace dev " + interface + " clsact");
        making.command("tc filter replace dev " + interface +
                       " ingress pref 1 handle 1 matchall action police rate " + std::to_string(up) +
                       "kbit burst " + burst(up) + " conform-exceed drop");
    }
}

// ---- security ----

static bool is_hex(const std::string &text) {
    return text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
}

std::string psk_line(const std::string &type, const std::string &key, std::string *why) {
    if (type == "psk") {
        if (key.size() == 64 && is_hex(key)) return "wpa_psk=" + key;
        *why = "a raw key has 64 hexadecimal digits";
    } else {
        if (key.size() >= 8 && key.size() <= 63 && is_clean(key)) return "wpa_passphrase=" + key;
        *why = "a passphrase has 8 to 63 characters";
    }
    return "";
}

std::string wep_key(const std::string &length, const std::string &form, const std::string &key,
                    std::string *why) {
    const size_t characters = length == "64" ? 5 : length == "128" ? 13 : 0;
    if (characters == 0)
        *why = "the kernel has WEP keys of 64 and 128 bits only";
    else if (form == "ascii" && key.size() == characters && is_clean(key))
        return '"' + key + '"';
    else if (form != "ascii" && key.size() == 2 * characters && is_hex(key))
        return key;
    else
        *why = "the WEP key has not the length that its form and size ask for";
    return "";
}

// Off the air rather than on it with less than what was set.
static void leave_out(Making &making, const char *object, const std::string &why) {
    making.leave_out = true;
    making.not_done(object, why + ": the VAP is off the air");
}

static void static_wep(Making &making, const std::string &mode) {
    making.line(std::string("auth_algs=") + (mode == "shared" ? "2" : mode == "auto" ? "3" : "1"));
    const int chosen = making.number("VAPWEPCipherSelectedKeyIndex", 1);
    making.line("wep_default_key=" + std::to_string(chosen - 1));
    static constexpr const char *KEYS[] = {"VAPWEPCipherKeyValue1", "VAPWEPCipherKeyValue2",
                                           "VAPWEPCipherKeyValue3", "VAPWEPCipherKeyValue4"};
    for (int i = 0; i < 4; i++) {
        const std::string stored = making.get(KEYS[i]);
        if (stored.empty() && i + 1 != chosen) continue;
        std::string why;
        const std::string key =
            wep_key(making.get("VAPWEPCipherKeyLength"), making.get("VAPWEPCipherKeyCharType"), stored, &why);
        if (key.empty()) return leave_out(making, KEYS[i], why);
        making.line("wep_key" + std::to_string(i) + "=" + key);
    }
}

static void radius_servers(Making &making) {
    const std::string group = filled("rf%r_vap%v_sec", making.place);
    int interim = 0;
    std::string accounting;
    int servers = 0;
    for (int i = 0; i < 2; i++) {
        const std::string server = "radius.server:" + std::to_string(i) + ".";
        const auto item = [&](const char *key) { return making.settings.get(group, server + key); };
        const std::string ip = item("ip"), secret = item("secret");
        if (ip.empty()) continue;
        if (secret.empty() || !is_clean(secret) || !is_clean(ip))
            return making.error(i == 0 ? "VAPRadiusAuthPriSecretKey" : "VAPRadiusAuthSecondSecretKey",
                                "a RADIUS server without a secret");
        servers++;
        making.line("auth_server_addr=" + ip);
        making.line("auth_server_port=" +
                    std::to_string(making.settings.number(group, server + "port", 1812)));
        making.line("auth_server_shared_secret=" + secret);
        if (item("acctenabled") != "enable") continue;
        const int port = making.settings.number(group, server + "acctport", 1813);
        accounting.append("acct_server_addr=").append(ip);
        accounting.append("\nacct_server_port=").append(std::to_string(port));
        accounting.append("\nacct_server_shared_secret=").append(secret).append("\n");
        if (interim == 0) interim = making.settings.number(group, server + "interimIntr");
    }
    if (servers == 0) return making.error("VAPRadiusAuthPriIPAddr", "802.1X without a RADIUS server");
    making.bss->text += accounting;
    if (interim > 0) making.line("radius_acct_interim_interval=" + std::to_string(interim));
    const std::string own = making.settings.value_of("APSysIPAddress");
    if (is_clean(own) && !own.empty()) making.line("own_ip_addr=" + own);
}

static void dynamic_wep(Making &making) {
    making.line("auth_algs=1");
    making.line("ieee8021x=1");
    if (making.is_on("VAPDynamicWEPStatus")) {
        const char *bytes = making.get("VAPDynamicWEPWEPKeyLength") == "64" ? "5" : "13";
        making.line(std::string("wep_key_len_broadcast=") + bytes);
        making.line(std::string("wep_key_len_unicast=") + bytes);
        making.line("wep_rekey_period=" + std::to_string(making.number("VAPDynamicWEPRekeyingPeriod", 300)));
    }
    radius_servers(making);
}

static void wpa(Making &making, bool with_eap) {
    const std::string group = filled("rf%r_vap%v_sec", making.place);
    const std::string version = making.settings.get(group, "wpa.version"),
                      cipher = making.settings.get(group, "wpa.enc");
    const int wpa = version == "1" ? 1 : version == "2" ? 2 : version == "1:2" ? 3 : 0;
    const std::string ciphers = cipher == "rc4-tkip"   ? "TKIP"
                                : cipher == "aes-ccmp" ? "CCMP"
                                : cipher == "mixed"    ? "TKIP CCMP"
                                                       : "";
    if (wpa == 0 || ciphers.empty())
        return making.error("VAPPSKCipherSuite", "there is no such WPA version or cipher");
    making.line("auth_algs=1");
    making.line("wpa=" + std::to_string(wpa));
    if (wpa & 1) making.line("wpa_pairwise=" + ciphers);
    if (wpa & 2) making.line("rsn_pairwise=" + ciphers);
    making.line("wpa_group_rekey=" + std::to_string(making.number("VAPWPAGroupKeyUpdatePeriod", 600)));
    int protection = making.number("VAPWPAProtectMgmtFrame");
    if (protection > 0 && (wpa != 2 || ciphers == "TKIP")) {
        making.not_done("VAPWPAProtectMgmtFrame",
                        "frames of management are protected with WPA2 and AES-CCMP only");
        protection = 0;
    }
    const std::string kind = with_eap ? "EAP" : "PSK";
    std::string management = "WPA-" + kind;
    if (protection > 0) management += " WPA-" + kind + "-SHA256";
    const bool fast = making.is_on("VAPRoam11rEnabled");
    if (fast && !(wpa & 2)) making.not_done("VAPRoam11rEnabled", "fast transition needs WPA2");
    if (fast && (wpa & 2)) management += " FT-" + kind;
    making.line("wpa_key_mgmt=" + management);
    making.line("ieee80211w=" + std::to_string(protection));
    if (with_eap) {
        making.line("ieee8021x=1");
        return radius_servers(making);
    }
    std::string why;
    const std::string key =
        psk_line(making.get("VAPPSKCipherKeyCharType"), making.get("VAPPSKCipherKeyValue"), &why);
    if (key.empty()) return making.error("VAPPSKCipherKeyValue", why);
    making.line(key);
}

void vap_security(Making &making) {
    const std::string group = filled("rf%r_vap%v_sec", making.place), mode = making.get("VAPAuthenMode");
    const std::string wep = making.settings.get(group, "wep.enabled");
    if (mode == "open" && wep == "disable") return making.line("auth_algs=1");
    if ((mode == "open" || mode == "shared" || mode == "auto") && wep == "enable")
        return static_wep(making, mode);
    if (mode == "8021x") return dynamic_wep(making);
    if (mode == "wpa") return wpa(making, making.settings.get(group, "wpa.eap") != "psk");
    making.error("VAPAuthenMode", "the stored items are of no authentication mode");
}

// ---- fast transition: each access point has a key, with which the others ask it and it tells the others
// ----

static std::string key_of(const std::string &stored) {
    return stored.size() == 32 && is_hex(stored) ? stored : "";
}

static void holders(Making &making, const std::string &mac, const std::string &its_key,
                    const std::string &own_key) {
    making.line("r0kh=" + mac + " " + hex_of_mac(mac) + " " + its_key);
    making.line("r1kh=" + mac + " " + mac + " " + own_key);
}

void vap_roaming(Making &making) {
    const std::string group = filled("rf%r_vap%v_sec", making.place);
    const std::string own_mac = bssid_of(making), own_key = key_of(making.get("VAPRoam11rOwnKey"));
    const bool is_wpa2 =
        making.get("VAPAuthenMode") == "wpa" && making.settings.get(group, "wpa.version") != "1";
    if (!making.is_on("VAPRoam11rEnabled") || !is_wpa2) {
        if (is_wpa2 || making.get("VAPAuthenMode") == "8021x") {
            const std::string name = making.settings.value_of("APSysName");
            if (!name.empty() && is_clean(name)) making.line("nas_identifier=" + name);
        }
        return;
    }
    const std::string domain = making.get("VAPRoam11rMobilityDomain");
    if (domain.size() != 4 || !is_hex(domain))
        return making.error("VAPRoam11rMobilityDomain", "no mobility domain of four hexadecimal digits");
    making.line("mobility_domain=" + domain);
    making.line("nas_identifier=" + hex_of_mac(own_mac));
    making.line("r1_key_holder=" + hex_of_mac(own_mac));
    making.line("ft_over_ds=" + std::string(making.is_on("VAPRoam11rOverDs") ? "1" : "0"));
    if (making.settings.get(group, "wpa.eap") == "psk") making.line("ft_psk_generate_local=1");
    if (own_key.empty()) return;
    making.line("pmk_r1_push=1");
    // The other VAPs of this device in the same domain, and the targets.
    for (const Place &vap : vaps_on_air(making.settings, making.machine)) {
        if (vap.r == making.place.r && vap.v == making.place.v) continue;
        const auto other = [&](const char *object) { return making.settings.value_of(object, vap); };
        const std::string key = key_of(other("VAPRoam11rOwnKey"));
        if (other("VAPRoam11rEnabled") == "enable" && other("VAPRoam11rMobilityDomain") == domain &&
            !key.empty())
            holders(making, mac_of(making.machine.cards[vap.r - 1], vap.v), key, own_key);
    }
    for (int k = 1; k <= 5; k++) {
        const Place target{making.place.r, making.place.v, k};
        std::string mac = making.settings.value_of("VAPRoam11rTargetApMac", target);
        const std::string key = key_of(making.settings.value_of("VAPRoam11rTargetApKey", target));
        if (mac.empty() || key.empty() || !is_clean(mac)) continue;
        std::transform(mac.begin(), mac.end(), mac.begin(), [](unsigned char c) { return tolower(c); });
        holders(making, mac, key, own_key);
    }
}

// ---- Hotspot 2.0 ----

// "310f26" is country 310, network 26; "310041" is network 410: the fourth digit is the network's third.
static std::string cellular_network(const std::string &text) {
    const std::string last = text[3] == 'f' ? "" : text.substr(3, 1);
    return text.substr(0, 3) + "," + text.substr(4, 2) + last;
}

static void realms(Making &making) {
    for (int k = 1; k <= 5; k++) {
        const Place realm{making.place.r, making.place.v, k};
        const std::string names = making.settings.value_of("VAPHS20NAIrealm", realm);
        if (names.empty() || !is_clean(names)) continue;
        std::string line = "nai_realm=0," + names;
        for (int m = 1; m <= 4; m++) {
            const std::string method = making.settings.value_of("VAPHS20EAPType", {realm.r, realm.v, k, m});
            if (method == "21" || method == "25") line += "," + method;
        }
        making.line(line);
    }
}

void hotspot(Making &making) {
    if (!making.is_on("VAPHS20Status")) return;
    const std::string group = filled("rf%r_vap%v_sec", making.place);
    const bool is_enterprise = making.get("VAPAuthenMode") == "wpa" &&
                               making.settings.get(group, "wpa.eap") != "psk" &&
                               making.settings.get(group, "wpa.version") == "2" &&
                               making.settings.get(group, "wpa.enc") == "aes-ccmp";
    making.line("interworking=1");
    if (is_enterprise)
        making.line("hs20=1");
    else
        making.not_done(
            "VAPHS20Status",
            "hostapd says Hotspot 2.0 of WPA2-Enterprise with AES-CCMP only; what ANQP tells is told");
    making.line("access_network_type=" + std::to_string(making.number("VAPHS20AccessNetworkType")));
    making.line("internet=" + std::string(making.is_on("VAPHS20InternetAccess") ? "1" : "0"));
    making.line("venue_group=" + std::to_string(making.number("VAPHS20VenueGroup")));
    making.line("venue_type=" + std::to_string(making.number("VAPHS20VenueType")));
    std::string domains, cells;
    for (int k = 1; k <= 5; k++) {
        const Place entry{making.place.r, making.place.v, k};
        const auto item = [&](const char *object) {
            const std::string text = making.settings.value_of(object, entry);
            return is_clean(text) ? text : "";
        };
        const std::string venue = item("VAPHS20VenueName"), language = item("VAPHS20VenueLanguage"),
                          oui = item("VAPHS20OUI");
        if (!venue.empty()) making.line("venue_name=" + (language.empty() ? "eng" : language) + ":" + venue);
        if (!oui.empty() && oui.size() % 2 == 0) making.line("roaming_consortium=" + oui);
        if (oui.size() % 2 != 0) making.not_done("VAPHS20OUI", "an OUI on the air has whole octets");
        if (const std::string domain = item("VAPHS20DomainName"); !domain.empty())
            domains += (domains.empty() ? "" : ",") + domain;
        if (const std::string cell = item("VAPHS20Cellular"); cell.size() == 6)
            cells += (cells.empty() ? "" : ";") + cellular_network(cell);
    }
    if (!domains.empty()) making.line("domain_name=" + domains);
    if (!cells.empty()) making.line("anqp_3gpp_cell_net=" + cells);
    // IEEE 802.11, 9.4.5.9: two bits for IPv6, six for IPv4.
    const int addresses =
        (making.number("VAPHS20IPv4Type") & 63) << 2 | (making.number("VAPHS20IPv6Type") & 3);
    static constexpr char DIGITS[] = "0123456789abcdef";
    making.line(std::string("ipaddr_type_availability=") + DIGITS[addresses >> 4 & 15] +
                DIGITS[addresses & 15]);
    const int authentication = making.number("VAPHS20NetworkAuthType", -1);
    const std::string url = making.get("VAPHS20RedirectURL");
    if (authentication >= 0 && is_clean(url))
        making.line("network_auth_type=0" + std::to_string(authentication) +
                    (authentication == 0 || authentication == 2 ? url : ""));
    realms(making);
}
