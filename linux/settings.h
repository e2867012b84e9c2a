// The running configuration, as the renderer reads it.
#pragma once

#include <functional>
#include <string>

// Looks up an item: false when the group has no such key. The group "@env" is the rc environment.
using Lookup = std::function<bool(const std::string &group, const std::string &key, std::string *text)>;

// The running configuration of the store. The handle is opened by the first call of it and closed with the
// last copy.
Lookup running_configuration();

// The numbers of a row, as patterns of the registry have them: %r and %v as they are, %k and %m counted from
// 0.
struct Place {
    int r = 0, v = 0, k = 0, m = 0;  // radio, VAP or link, entry and entry below it, all from 1; 0: none
};
std::string filled(const char *pattern, const Place &place);
std::string row_text(const Place &place);  // "1.2", empty for a scalar

struct Settings {
    Lookup lookup;

    std::string get(const std::string &group, const std::string &key) const;
    bool is(const std::string &group, const std::string &key, const char *text) const {
        return get(group, key) == text;
    }
    bool is_on(const std::string &group, const std::string &key) const { return is(group, key, "enable"); }
    int number(const std::string &group, const std::string &key, int otherwise = 0) const;  // otherwise: none
    bool radio_is_on(int radio) const;
    bool vap_is_on(int radio, int vap) const;
    bool link_is_on(int radio, int link) const;
    int rule_count() const;                                                   // of the firewall
    std::string value_of(const char *object, const Place &place = {}) const;  // as stored
};
