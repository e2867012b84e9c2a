// What is in force and what shall be, both as the texts of a plan, and the way from one to the other.
#pragma once

#include <map>
#include <string>
#include <vector>

struct Texts {
    std::map<std::string, std::string> files;  // as texts_of has them
    std::string folder;                        // of the device, where the files are
    bool is_sure = true;                       // false: it is not known how much of it is in force

    std::string file(const std::string &name) const;
    std::vector<std::string> radios() const;                           // names of their files without ".conf"
    std::vector<std::string> callers(const std::string &radio) const;  // WDS links that call
    std::string radio_text(const std::string &radio) const;            // in front of its networks
    std::map<std::string, std::string> networks(const std::string &radio) const;  // lines by interface
    std::vector<std::string> commands(const std::string &section) const;
};

// Goes from one to the other with the least disturbance. False when a part does not come up within 10 s:
// `why` says which. What the cards and the system refuse beside that is added to `refused`.
bool put_in_force(const Texts &to, const Texts &from, std::string *why, std::vector<std::string> *refused);

// Networks that hostapd has made anew get their ports again.
void restore_ports(const Texts &texts);

// Makes the radios' own interfaces, which hostapd needs.
void make_radio_interfaces(const Texts &texts);

// The commands that make an interface a trunk, for one that hostapd makes by itself.
void make_trunk(const Texts &texts, const std::string &interface);
