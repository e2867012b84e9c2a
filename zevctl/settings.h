// The configuration as text, one setting a line: NAME.INSTANCE = VALUE. What is a setting comes from the
// object registry: what can be written, is no action, and is kept in the configuration.
#pragma once

#include <istream>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "client/names.h"
#include "zevctl/commands.h"

bool is_setting(const Object &object);

// Where a setting is: its object's place in OBJECTS, and its arcs. In the order of the registration.
struct Place {
    int object;
    std::vector<int> arcs;

    auto operator<=>(const Place &) const = default;
};
Place place_of(const Target &target);
std::string place_name(const Place &place);  // NAME.INSTANCE
std::string place_oid(const Place &place);   // full OID
inline const Object &object_of(const Place &place) {
    return OBJECTS[place.object];
}

// Values as a SET takes them.
using Settings = std::map<Place, std::string>;

// What a value that the daemon shows is in a SET: of VLANs, 4096 is none there and 0 here.
std::string settable(const Object &object, std::string_view shown);
// True when a SET of either makes the same of it: some objects keep letters in one case, and colons for
// hyphens.
bool same_setting(const Object &object, const std::string &a, const std::string &b);

// What is wrong with a value, empty when a SET may take it; with what is accepted.
std::string value_mistake(const Object &object, const std::string &value);
// The same of the arcs of an instance.
std::string instance_mistake(const Object &object, const std::vector<int> &arcs);

// Without blanks at either end.
std::string_view trimmed(std::string_view text);

// A value in a file: a word, a number, or a text in quotes where it needs them.
std::string file_value(const Object &object, const std::string &value);
// The value at the beginning of a text, up to the end or a comment. What is wrong goes to `error`.
std::string read_file_value(const Object &object, std::string_view text, std::string *error);

// A settings file, read whole.
struct SettingsFile {
    std::string name;
    Settings settings;
    std::map<Place, int> lines;
    std::vector<std::string> mistakes;  // with name and line
};
SettingsFile read_settings(std::istream &in, const std::string &name);
SettingsFile read_settings_file(const std::string &path);  // "-" is standard input

// Reads what the daemon shows of these objects (places in OBJECTS). EXIT_DONE, or a status after a complaint.
int read_settings(const Client &client, const std::vector<int> &objects, Settings *settings);

// Writes the settings of the objects and groups named, all when there are none, to standard output.
int export_settings(const Client &client, const std::vector<std::string> &names, bool secrets);
std::vector<const char *> setting_groups();  // what may be named beside objects

struct LoadOptions {
    std::string file;
    bool dry_run = false;  // print old and new values only
    bool secrets = false;  // with those of keys and passwords
    bool save = false;
    bool open = false;   // have on for a moment what lines depend on and the file leaves off; no security
    bool apply = false;  // save, then apply
    bool wait = false;   // for the end of the apply; then what the device shows is compared again
};
// Sets what the file has otherwise. EXIT_USAGE when the file is wrong, with nothing set.
int load_settings(const Client &client, const LoadOptions &options);

// Prints where the device differs from the file. With `exit_code` EXIT_REFUSED when it does.
int diff_settings(const Client &client, const std::string &file, bool secrets, bool exit_code);
