// What settings depend on beside their own value: the daemon refuses a SET for the state of the device
// without saying why.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "registry/registry.h"

// A SET of the object is refused unless another one, of the same row or the row's radio, is stored with this
// value; where not `is`, with any other one.
struct Dependency {
    const char *object, *other;
    std::string value;
    bool is = true;
    const char *only_for = nullptr;  // the value whose SET needs it; null: every one
};
std::span<const Dependency> dependencies();

// Setting the first has the device change the other too, without showing it.
struct Effect {
    const char *object, *changes;
};
std::span<const Effect> effects();

// Settings, by how their names begin, that count while an object of their row, the security type, has a
// value.
struct SecurityPart {
    const char *object, *type, *value;
};
std::span<const SecurityPart> security_parts();
bool is_security_type(std::string_view object);

// The item of the authentication mode holds this object as well: a SET outside of WEP would change the mode.
inline constexpr const char *WEP_PART = "VAPWEPCipher80211Auth", *WEP_MODE = "VAPAuthenMode", *WEP = "1";

// What an object depends on, in words, and what else a refusal of a value within its bounds may mean; empty
// when nothing is known.
std::string dependency_hint(const Object &object);
std::string refusal_hint(const Object &object);
