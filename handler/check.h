// Validation of the texts that managers write. Each takes NUL-terminated text and answers whether it is
// acceptable, never why. Bytes of 128 and above are refused by every character test.
#pragma once

// Decimal digits with one optional leading '-', of a value between the bounds (in either order). Leading
// zeros are allowed; '+', a lone '-' and the empty text are not. A value beyond 32 bits is out of range.
bool check_int_range(const char *text, int low, int high);

bool check_printable(const char *text);          // not empty, bytes 32 to 126
bool check_printable_nospace(const char *text);  // not empty, bytes 33 to 126
bool check_hex_string(const char *text);         // hexadecimal digits; the empty text passes
// Letters, digits and  space # ( ) * , - . : ? @ _ |  ; the empty text passes.
bool check_name_chars(const char *text);

// Four decimal parts of 0 to 255 with single dots, the first not 0.
bool check_ipv4_addr(const char *text);
// Groups of up to four hexadecimal digits, at most one double colon; no dotted tail, no zone.
bool check_ipv6_addr(const char *text);
// Labels of letters, digits and inner hyphens, under 254 characters in all; the last label has two characters
// or is one of the generic domains com, edu, gov, mil, net, org, tel.
bool check_domain_name(const char *text);
bool check_nai_realm_list(const char *text);  // one or more domain names separated by ';'

// Six pairs of hexadecimal digits separated all by ':' or all by '-'. A text of the right form is rewritten
// in place: upper case, ':' (also one that mixes the separators, which is refused).
bool check_mac_addr(char *text);

// A band code (0 to 7) on a radio (1 to 3): radio 1 is a 2.4 GHz radio, 2 and 3 are 5 GHz radios, and
// 802.11ac needs the radio's capability.
bool check_band_mode(int radio, int code);

// `length`: "64", "128" or "152" bits; `format`: "ascii" or "hex".
bool check_wep_key(const char *key, const char *length, const char *format);
// Type "psk": 64 hexadecimal digits; any other type: a passphrase of 8 to 63 printable characters.
bool check_psk_key(const char *key, const char *type);

// Side 's' or 'd', dot, radio 1 or 2, dot, VAP 0 to 16 (0: all of the radio). Key out: the store key of the
// rule's interface (rule from 1); name out: "ath%dap%d", or "ath%dap+" for all VAPs.
bool parse_firewall_interface(const char *text, int rule, char (&key)[64], char (&ifname)[64]);

// Days of a month, −1 when year or month is −1. Month 1 to 12.
int days_in_month(int year, int month);
