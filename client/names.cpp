#include "client/names.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <cstring>

static const std::string ROOT = ROOT_OID;

static bool same_letter(char a, char b) {
    return tolower(static_cast<unsigned char>(a)) == tolower(static_cast<unsigned char>(b));
}

bool same_name(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), same_letter);
}

// True when `oid` is `branch` or lies below it.
static bool is_within(std::string_view oid, std::string_view branch) {
    return oid.starts_with(branch) && (oid.size() == branch.size() || oid[branch.size()] == '.');
}

// Numbers with single dots between them.
static bool are_arcs(std::string_view text) {
    bool digit_before = false;
    for (const char c : text) {
        const bool digit = c >= '0' && c <= '9';
        if (!digit && !(c == '.' && digit_before)) return false;
        digit_before = digit;
    }
    return digit_before;
}

// The arcs of a MAC address with colons or hyphens; any other text as it is.
static std::string mac_arcs(const std::string &text) {
    std::string arcs;
    if (text.size() != 17) return text;
    for (size_t at = 0; at < text.size(); at += 3) {
        unsigned byte = 0;
        const auto [end, code] = std::from_chars(&text[at], &text[at] + 2, byte, 16);
        if (code != std::errc() || end != &text[at] + 2) return text;
        if (at > 0 && text[at - 1] != ':' && text[at - 1] != '-') return text;
        arcs += (at > 0 ? "." : "") + std::to_string(byte);
    }
    return arcs;
}

static Target failed(std::string error) {
    Target target;
    target.error = std::move(error);
    return target;
}

// How many letters to change, add, drop or swap with their neighbour make one text the other; case apart.
// From `most` on it is not counted further.
static size_t distance(std::string_view a, std::string_view b, size_t most) {
    std::vector<size_t> before, last(b.size() + 1), row(b.size() + 1);
    size_t fewest = 0;
    for (size_t j = 0; j <= b.size(); j++) last[j] = j;
    for (size_t i = 1; i <= a.size(); i++) {
        row[0] = i;
        for (size_t j = 1; j <= b.size(); j++) {
            const size_t changed = last[j - 1] + (same_letter(a[i - 1], b[j - 1]) ? 0 : 1);
            row[j] = std::min(changed, std::min(last[j], row[j - 1]) + 1);
            if (i > 1 && j > 1 && same_letter(a[i - 1], b[j - 2]) && same_letter(a[i - 2], b[j - 1]))
                row[j] = std::min(row[j], before[j - 2] + 1);
        }
        before.swap(last);
        last = row;
        const size_t fewest_before = fewest;
        fewest = *std::min_element(row.begin(), row.end());
        if (fewest >= most && fewest_before >= most) return most;  // it does not become less
    }
    return last[b.size()];
}

std::string suggestion(std::string_view wrong, std::span<const char *const> names) {
    const char *nearest = nullptr;
    size_t least = std::max<size_t>(2, wrong.size() / 3) + 1;
    for (const char *name : names) {
        const size_t length = strlen(name);
        if (std::max(length, wrong.size()) - std::min(length, wrong.size()) >= least) continue;
        const size_t far = distance(wrong, name, least);
        if (far >= least || far >= length) continue;
        least = far;
        nearest = name;
    }
    return nearest ? std::string("; did you mean ") + nearest + "?" : "";
}

std::vector<const char *> object_names() {
    std::vector<const char *> names;
    for (const Object &object : OBJECTS)
        if (!object.is_branch()) names.push_back(object.name);
    return names;
}

static std::string unknown_name(std::string_view name) {
    std::string similar;
    int count = 0;
    for (const char *other : object_names()) {
        const std::string_view text = other;
        if (std::search(text.begin(), text.end(), name.begin(), name.end(), same_letter) == text.end())
            continue;
        if (++count > 8) {
            similar += ", ...";
            break;
        }
        similar += (similar.empty() ? "; similar: " : ", ") + std::string(other);
    }
    if (similar.empty()) similar = suggestion(name, object_names());
    return "unknown object " + printable(name) + similar;
}

Target locate(std::string_view oid) {
    Target target;
    target.oid = oid;
    if (!is_within(oid, ROOT) || oid.size() <= ROOT_PREFIX_LENGTH || !are_arcs(oid)) return target;
    const std::string_view relative = oid.substr(ROOT_PREFIX_LENGTH);
    for (const Object &object : OBJECTS) {
        const std::string_view own = object.oid;
        if (object.is_branch() || !is_within(relative, own)) continue;
        target.object = &object;
        if (relative.size() > own.size()) target.instance = relative.substr(own.size() + 1);
        break;
    }
    return target;
}

Target parse_target(std::string_view text) {
    const bool full = text.starts_with('.');
    const std::string_view oid = full ? text.substr(1) : text;
    if (are_arcs(oid)) {
        if (is_within(oid, ROOT)) return locate(oid);
        if (full) return failed(std::string(text) + " is outside of the subtree " + ROOT);
        return locate(ROOT + "." + std::string(oid));
    }
    const size_t dot = text.find('.');
    const std::string_view name = text.substr(0, dot);
    if (name.empty()) return failed("not an object: " + printable(text));
    for (const Object &object : OBJECTS) {
        if (object.is_branch() || !same_name(object.name, name)) continue;
        std::string found = ROOT + "." + object.oid;
        if (dot == std::string_view::npos) return locate(found);
        std::string instance(text.substr(dot + 1));
        if (const Table *table = table_of(object); table && table->is_by_mac()) instance = mac_arcs(instance);
        if (!are_arcs(instance)) return failed("not an instance: " + printable(text));
        return locate(found.append(".").append(instance));
    }
    return failed(unknown_name(name));
}

Target instance_0(const Object *object) {
    return {.error = "", .oid = ROOT + "." + object->oid + ".0", .object = object, .instance = "0"};
}

// "RADIO.VAP" and the like.
static std::string row_arcs(const Table &table) {
    if (table.is_by_mac()) return "six bytes of a MAC address in decimal";
    std::string text;
    for (int i = 0; i < table.levels(); i++) text.append(i ? "." : "").append(table.arcs[i].name);
    return text;
}

Target parse_instance(std::string_view text) {
    Target target = parse_target(text);
    if (!target.error.empty() || !target.object || !target.instance.empty()) return target;
    if (const Table *table = table_of(*target.object))
        return failed(std::string(target.object->name) + " needs an instance: " + row_arcs(*table));
    return locate(target.oid + ".0");
}

std::string format_instance(const Object *object, const std::string &instance) {
    unsigned bytes[6];
    char text[32] = "";
    const Table *table = object ? table_of(*object) : nullptr;
    if (table && table->is_by_mac() &&
        sscanf(instance.c_str(), "%3u.%3u.%3u.%3u.%3u.%3u", &bytes[0], &bytes[1], &bytes[2], &bytes[3],
               &bytes[4], &bytes[5]) == 6)
        snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", bytes[0], bytes[1], bytes[2], bytes[3],
                 bytes[4], bytes[5]);
    return *text != '\0' && mac_arcs(text) == instance ? text : printable(instance);
}

std::string format_name(const Target &target) {
    if (!target.object) return printable(target.oid);
    std::string name = target.object->name;
    if (!target.instance.empty()) name.append(".").append(format_instance(target.object, target.instance));
    return name;
}

const char *word_of(const Object *object, std::string_view value) {
    int number = 0;
    const auto [end, code] = std::from_chars(value.data(), value.data() + value.size(), number);
    if (!object || !object->words || code != std::errc() || end != value.data() + value.size())
        return nullptr;
    for (const Word &word : object->words)
        if (word.value == number) return word.text;
    return nullptr;
}

std::string printable(std::string_view text) {
    std::string out;
    for (const char c : text) {
        if (c == '\n') {
            out += "\\n";
        } else if (c == '\t') {
            out += "\\t";
        } else if (c == '\\') {
            out += "\\\\";
        } else if (c >= ' ' && c <= '~') {
            out += c;
        } else {
            char escaped[8];
            snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned char>(c));
            out += escaped;
        }
    }
    return out;
}

// Hundredths of seconds: "3 days 22:51:34".
static std::string time_text(uint64_t ticks) {
    const uint64_t seconds = ticks / 100, days = seconds / 86400;
    char text[64];
    snprintf(text, sizeof text, "%02u:%02u:%02u", static_cast<unsigned>(seconds / 3600 % 24),
             static_cast<unsigned>(seconds / 60 % 60), static_cast<unsigned>(seconds % 60));
    return (days == 0 ? "" : days == 1 ? "1 day " : std::to_string(days) + " days ") + text;
}

std::string people_value(const Object *object, std::string_view value) {
    uint64_t ticks = 0;
    const auto [end, code] = std::from_chars(value.data(), value.data() + value.size(), ticks);
    if (object && object->type == TIMETICKS && code == std::errc() && end == value.data() + value.size())
        return time_text(ticks);
    const char *word = word_of(object, value);
    return word ? word : std::string(value);
}

std::string format_value(const Object *object, std::string_view value) {
    std::string out = printable(value);
    if (object && object->type == TIMETICKS)
        if (const std::string time = people_value(object, value); time != value)
            return out + " (" + time + ")";
    if (const char *word = word_of(object, value))
        out += std::string(" (") + word + ")";
    else if (object && *object->unit && !value.empty())
        out += std::string(" ") + object->unit;
    return out;
}

std::string wire_value(const Object &object, std::string_view value) {
    for (const Word &word : object.words)
        if (same_name(word.text, value)) return std::to_string(word.value);
    return std::string(value);
}

std::string set_text(const Object &object, std::string_view value, std::string *error) {
    // Strings always go in quotes: the daemon takes the first and the last character off any value with a
    // double quote in it, and blanks at the start would be lost without.
    const char *quote = object.type == STRING ? "\"" : "";
    std::string text = std::string(type_to_str(object.type)) + " " + quote + std::string(value) + quote;
    if (value.find_first_of(std::string_view("\n\0", 2)) != std::string_view::npos)
        *error = "a value cannot have more than one line";
    else if (text.size() >= TEXT_SIZE)
        *error = "the value is longer than " + std::to_string(TEXT_SIZE - 1 - (text.size() - value.size())) +
                 " characters";
    else
        return text;
    return "";
}

// "0 or 2..50"
static std::string alternatives(std::span<const Range> ranges) {
    std::string out;
    for (const Range &range : ranges) {
        if (!range.is_set()) continue;
        out += (out.empty() ? "" : " or ") + std::to_string(range.low);
        if (range.low != range.high) out += ".." + std::to_string(range.high);
    }
    return out;
}

std::string accepted_values(const Object &object) {
    constexpr int MANY = 20;
    std::string out;
    if (object.words) {
        const Word &last = object.words.end()[-1];
        const std::string separator = object.words.size() > MANY ? " to " : ", ";
        for (const Word &word : object.words) {
            if (!object.range.have(word.value)) continue;
            if (object.words.size() > MANY && word.value != object.words.begin()->value &&
                word.value != last.value)
                continue;
            out += (out.empty() ? "" : separator) + std::to_string(word.value) + " (" + word.text + ")";
        }
        return out;
    }
    const std::string length = alternatives(object.range);
    if (object.type != STRING) return length.empty() ? text_of(object.form) : length;
    if (!length.empty()) out = length + " characters";
    std::string form = text_of(object.form);
    if (object.numbers.are_set()) form = alternatives(object.numbers);
    if (!form.empty()) out += (out.empty() ? "" : ": ") + form;
    const bool may_be_empty = object.or_empty && !(object.range.are_set() && object.range.have(0));
    return out.empty() || !may_be_empty ? out : out + ", or empty";
}
