// Values and the texts that the store has for them: what an object's entry says of them, carried out.
#pragma once

#include <string>

#include "registry/object.h"

// The declared range, numbers and form of the object. May rewrite the value into the form in which it is
// stored.
bool is_acceptable(const Object &object, char *value);
// The declared range alone.
bool within_range(const Object &object, const char *value);

// What the object shows for a stored text, by its codec and its words.
std::string shown(const Object &object, const std::string &stored);
// What the store gets for an acceptable value.
std::string stored(const Object &object, const char *value);
