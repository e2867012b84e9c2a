// The SMIv2 module of the subtree, made from the registry and mib/descriptions.txt.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "mib/descriptions.h"
#include "registry/registry.h"

// What an object's value can be: labels of an enumeration, or ranges of the number or of the length.
struct ValueSet {
    std::vector<std::pair<int, std::string>> labels;
    std::vector<Range> ranges;  // ascending; none: no bounds
};
ValueSet read_values(const Object &object, const Description &description, Errors *errors);
ValueSet write_values(const Object &object, const Description &description, Errors *errors);

// Names in the module: the first letter is a small one; the underscore, which SMI does not know, goes.
std::string smi_name(std::string_view name);

// The label of a word: letters and digits, a small letter first.
std::string smi_label(std::string_view word, std::string_view prefix);

// The whole module. Objects without a description, descriptions without an object and what else cannot be
// said in SMIv2 are errors.
std::string make_module(const Descriptions &descriptions, Errors *errors);
