// Between what people write (object names, words) and what the socket carries (OIDs, type words, numbers).
// Everything comes from the object registry.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "registry/registry.h"

// A place in the subtree.
struct Target {
    std::string error;               // not empty: the text names nothing, and why
    std::string oid;                 // full OID
    const Object *object = nullptr;  // null: the OID is a branch or not below a known object
    std::string instance;            // arcs behind the object's OID, empty when there are none
};

// Reads NAME, NAME.INSTANCE, an OID below the root, or a full OID with or without its leading dot.
// Letters of names may be written in either case. The instance of a row of MAC addresses is the address, or
// its six bytes in decimal.
Target parse_target(std::string_view text);

// The same for a request that needs an instance: a scalar's 0 may be left out, a column needs its arcs.
Target parse_instance(std::string_view text);

// A scalar, as a request names it.
Target instance_0(const Object *object);

// The known object that a full OID belongs to, with the instance.
Target locate(std::string_view oid);

// "NAME.INSTANCE" of a full OID, the OID itself below no known object; the instance of a row of MAC addresses
// as such an address.
std::string format_name(const Target &target);
std::string format_instance(const Object *object, const std::string &instance);

// True when the texts differ in the case of their letters at most.
bool same_name(std::string_view a, std::string_view b);

// "; did you mean ...?" with the name that is nearest to a wrong one by the letters to change, add, drop or
// swap, case apart. Empty when none is near.
std::string suggestion(std::string_view wrong, std::span<const char *const> names);
std::vector<const char *> object_names();

// The word of an enumerated value, or null.
const char *word_of(const Object *object, std::string_view value);

// A value for people: a number with its word or unit, hundredths of seconds as days and time of day too;
// control bytes and bytes above ASCII as \n, \t, \xNN.
std::string format_value(const Object *object, std::string_view value);
// The same for a cell of a table: the word or the time in the place of the number, no unit; not made
// printable.
std::string people_value(const Object *object, std::string_view value);
std::string printable(std::string_view text);

// The value as the wire takes it: the number of a word, everything else as it is.
std::string wire_value(const Object &object, std::string_view value);

// The text of a SET of that wire value. Empty when the wire cannot carry it, and `error` says why.
std::string set_text(const Object &object, std::string_view value, std::string *error);

// What a SET accepts ("1..68", "1 (disabled), 2 (enabled)", "0..64 characters: letters, ..."); empty when it
// is not known.
std::string accepted_values(const Object &object);
