// mib/descriptions.txt: what the registry does not say of an object, for those who read the module.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "registry/object.h"

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
