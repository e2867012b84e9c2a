#include "mib/descriptions.h"

#include <algorithm>
#include <charconv>
#include <sstream>

static std::string_view trim(std::string_view text) {
    const size_t begin = text.find_first_not_of(' ');
    if (begin == std::string_view::npos) return "";
    return text.substr(begin, text.find_last_not_of(' ') - begin + 1);
}

static bool to_int(std::string_view text, int *number) {
    const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), *number);
    return code == std::errc() && end == text.data() + text.size();
}

static bool parse_reads(std::string_view text, Description::Reads *reads) {
    const size_t blank = text.find(' ');
    if (blank != std::string_view::npos) reads->label = trim(text.substr(blank));
    const std::string_view range = text.substr(0, blank);
    const size_t dots = range.find("..");
    if (dots == std::string_view::npos) {
        if (!to_int(range, &reads->range.low)) return false;
        reads->range.high = reads->range.low;
        return true;
    }
    return to_int(range.substr(0, dots), &reads->range.low) &&
           to_int(range.substr(dots + 2), &reads->range.high);
}

static void parse_default(std::string_view text, Description *description) {
    static constexpr std::string_view SECOND = ", radio 2: ";
    const size_t second = text.find(SECOND);
    description->has_default = true;
    description->defaults[0] = text.substr(0, second);
    description->defaults[1] =
        second == std::string_view::npos ? description->defaults[0] : text.substr(second + SECOND.size());
    for (std::string &value : description->defaults)
        if (value == "''") value.clear();
}

Descriptions read_descriptions(std::string_view text, Errors *errors) {
    Descriptions all;
    Description *current = nullptr;
    bool new_paragraph = true;
    std::istringstream lines{std::string(text)};
    for (std::string line; std::getline(lines, line);) {
        const std::string_view words = trim(line);
        if (line.starts_with('#')) continue;
        if (words.empty()) {
            new_paragraph = true;
            continue;
        }
        if (std::any_of(line.begin(), line.end(), [](char c) { return c == '"' || c < ' ' || c > '~'; }))
            errors->push_back("not for a description: " + line);
        if (line[0] != ' ') {
            const auto [entry, is_new] = all.try_emplace(line);
            if (!is_new) errors->push_back("described twice: " + line);
            current = &entry->second;
            new_paragraph = true;
        } else if (!current) {
            errors->push_back("no name above: " + line);
        } else if (words.starts_with("@default ")) {
            parse_default(words.substr(9), current);
        } else if (words.starts_with("@label ")) {
            current->label_prefix = words.substr(7);
        } else if (words.starts_with("@")) {
            Description::Reads reads;
            if (!words.starts_with("@reads ") || !parse_reads(words.substr(7), &reads))
                errors->push_back("not understood: " + line);
            current->reads.push_back(reads);
        } else if (new_paragraph) {
            current->paragraphs.emplace_back(words);
            new_paragraph = false;
        } else {
            current->paragraphs.back().append(" ").append(words);
        }
    }
    return all;
}
