// Checks of values, words of commands, and what is read from tools' output: a value's rules for the first
// line, the tool's for the rest.
#include <arpa/inet.h>

#include <algorithm>
#include <cstring>

#include "fuzz/fuzz.h"
#include "handler/check.h"
#include "handler/counters.h"
#include "handler/live_table.h"
#include "platform/device.h"

// What a shell makes of one word: quoted parts, and ' as \'. False when it is anything more.
static bool read_word(std::string_view text, std::string *word) {
    for (bool quoted = false; !text.empty(); text.remove_prefix(1)) {
        if (text[0] == '\'')
            quoted = !quoted;
        else if (quoted || isalnum(static_cast<unsigned char>(text[0])) || strchr("._-/:@%+,", text[0]))
            *word += text[0];
        else if (text.starts_with("\\'"))
            *word += '\'', text.remove_prefix(1);
        else
            return false;
        if (text.size() == 1) return !quoted;
    }
    return false;
}

static void check_words(const std::string &text) {
    const std::string bare = text.c_str();
    std::string word, inside;
    expect(read_word(shell_word(text), &word) && word == bare, "a shell reads the word", text);
    expect(read_word("'" + inside_single_quotes(text) + "'", &inside) && inside == bare, "in quotes", text);
    std::string url = "http://x/" + url_text(text);
    std::replace(url.begin(), url.end(), '~', '-');  // plain inside a word
    expect(read_word(url, &word), "a URL needs no quotes", text);
}

static Reach in_range("a number in range"), ipv6("an IPv6 address"), ipv4("an IPv4 address"),
    domain("a domain"), address("a MAC address"), wep("a WEP key"), psk("a PSK"), interface("an interface"),
    counter("a counter"), tool_line("a line of a tool");

static void check_values(const std::string &text) {
    const char *c = text.c_str();
    char binary[16];
    if (check_int_range(c, -100, 1000)) {
        in_range.times++;
        const long number = strtol(c, nullptr, 10);
        expect(number >= -100 && number <= 1000, "in range", text);
    }
    if (check_ipv6_addr(c))
        ipv6.times++, expect(inet_pton(AF_INET6, c, binary) == 1, "an IPv6 address", text);
    unsigned b[4];
    if (check_ipv4_addr(c))
        ipv4.times++, expect(sscanf(c, "%u.%u.%u.%u", &b[0], &b[1], &b[2], &b[3]) == 4 && b[0] > 0 &&
                                 *std::max_element(b, b + 4) < 256,
                             "an IPv4 address", text);
    if (check_domain_name(c))
        domain.times++, expect(check_nai_realm_list(c) && strlen(c) < 254, "a domain", text);
    std::string mac = c;
    if (check_mac_addr(mac.data())) {
        address.times++;
        std::string again = mac;
        expect(check_mac_addr(again.data()) && again == mac && strlen(c) == 17, "a MAC address", text);
    }
    if (check_printable_nospace(c)) expect(check_printable(c), "printable", text);
    for (const char *length : {"64", "128", "152"})
        for (const char *format : {"ascii", "hex"})
            if (check_wep_key(c, length, format)) wep.times++, expect(check_printable(c), "a WEP key", text);
    if (check_psk_key(c, "psk")) psk.times++, expect(check_hex_string(c) && strlen(c) == 64, "a PSK", text);
    char key[64], name[64];
    if (parse_firewall_interface(c, 3, key, name))
        interface.times++, expect(strncmp(name, "ath", 3) == 0, "interface", text);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::string_view input(reinterpret_cast<const char *>(data), size);
    const std::string value = take(&input, '\n');
    check_words(value);
    check_values(value);
    tool_output = input;
    std::string digits;
    if (parse_octets(tool_output, "RX bytes", &digits))
        counter.times++, expect(digits.find_first_not_of("0123456789") == digits.npos, "a counter", digits);
    int rows = 0;
    visit_tool_lines("tool", 2, &rows, [](const ToolLine &line) {
        tool_line.times++;
        expect(line.field_count >= 2 && line.field_count <= line.fields.size(), "fields of a line");
        for (const int arc : line.row.arcs) expect(arc >= 0 && arc < 256, "a byte of an address");
        for (size_t i = 1; i <= line.field_count; i++)
            expect(line.field(i).find_first_of(" \n") == std::string::npos, "a field without blanks",
                   line.field(i));
    });
    return 0;
}
