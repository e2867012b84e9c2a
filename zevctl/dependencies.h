// What settings depend on beside their own value, from the registry: the daemon refuses a SET for the state
// of the device without saying why.
#pragma once

#include <string>
#include <vector>

#include "registry/registry.h"

// A SET is refused unless another object, of the same row or the row's radio, is stored with this value;
// where not `is`, with any other one.
struct Requirement {
    const Object *other;
    std::string value;
    bool is = true;
    const char *only_for = nullptr;  // the value whose SET needs it; null: every one
};
const std::vector<Requirement> &requirements_of(const Object &object);

// The objects of the row that a SET changes along, without showing it.
std::vector<const Object *> changed_by(const Object &object);

// Of security: the object that chooses it, of which others are parts, and whether a part counts with its
// value.
bool is_security_type(const Object &object);
const Object *type_of(const Object &part);  // null: no part
bool counts_with(const Object &part, const std::string &type);
// Whether the part is in its type's own item of the store: a SET while it does not count would change the
// type.
bool is_in_item_of_type(const Object &part);

// What an object depends on, in words, and what else a refusal of a value within its bounds may mean; empty
// when nothing is known.
std::string dependency_hint(const Object &object);
std::string refusal_hint(const Object &object);
