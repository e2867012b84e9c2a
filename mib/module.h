// The SMIv2 module of the subtree, made from the registry and mib/descriptions.txt.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "registry/registry.h"

// An entry of descriptions.txt; its head says what the lines mean.
struct Description {
    struct Reads {
        Range range;
        std::string label;
    };
    std::vector<std::string> paragraphs;
    bool has_default = false;
    std::string defaults[2];  // on radio 1 or everywhere, on radio 2
    std::vector<Reads> reads;
    std::string label_prefix;
};

using Descriptions = std::map<std::string, Description, std::less<>>;
using Errors = std::vector<std::string>;

Descriptions read_descriptions(std::string_view text, Errors *errors);

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
