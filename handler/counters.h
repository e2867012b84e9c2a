// Byte counters of network interfaces. They are 64 bits wide and handed on as decimal text.
#pragma once

#include <string>

// The counter behind a marker ("RX bytes", "TX bytes") in what the interface tool prints: it begins after the
// marker and one separator, and ends before " (". False when there is no such counter.
bool parse_octets(const std::string &output, const char *marker, std::string *digits);

// Bytes received or sent by an interface: what the interface tool prints, else the kernel's own counter, else
// "0".
std::string interface_octets(const char *ifname, bool received);
