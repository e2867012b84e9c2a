#include "client/names.h"

#include <algorithm>
#include <cctype>
#include <charconv>

static const std::string ROOT = ROOT_OID;

static bool same_letter(char a, char b) {
    return tolower(static_cast<unsigned char>(a)) == tolower(static_cast<unsigned char>(b));
}

static bool same_name(std::string_view a, std::string_view b) {
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

static Target failed(std::string error) {
    Target target;
    target.error = std::move(error);
    return target;
}

static std::string unknown_name(std::string_view name) {
    std::string similar;
    int count = 0;
    for (const Object &object : OBJECTS) {
        const std::string_view other = object.name;
        if (std::search(other.begin(), other.end(), name.begin(), name.end(), same_letter) == other.end())
            continue;
        if (++count > 8) {
            similar += ", ...";
            break;
        }
        similar += (similar.empty() ? "; similar: " : ", ") + std::string(other);
    }
    return "unknown object " + printable(name) + similar;
}

Target locate(std::string_view oid) {
    Target target;
    target.oid = oid;
    if (!oid.starts_with(ROOT) || oid.size() <= ROOT_PREFIX_LENGTH) return target;
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
    if (dot != std::string_view::npos && !are_arcs(text.substr(dot + 1)))
        return failed("not an instance: " + printable(text));
    for (const Object &object : OBJECTS) {
        if (!same_name(object.name, name)) continue;
        std::string found = ROOT + "." + object.oid;
        if (dot != std::string_view::npos) found += text.substr(dot);
        return locate(found);
    }
    return failed(unknown_name(name));
}

static const char *row_arcs(Rows rows) {
    switch (rows) {
        case SCALAR:
            return "0";
        case ENTRY_ROWS:
            return "ENTRY";
        case RADIO_ROWS:
            return "RADIO";
        case VAP_ROWS:
            return "RADIO.VAP";
        case VAP_ENTRY_ROWS:
            return "RADIO.VAP.ENTRY";
        case VAP_METHOD_ROWS:
            return "RADIO.VAP.REALM.METHOD";
        case LINK_ROWS:
            return "RADIO.LINK";
        case MAC_ROWS:
            return "six bytes of a MAC address in decimal";
    }
    return "";
}

Target parse_instance(std::string_view text) {
    Target target = parse_target(text);
    if (!target.error.empty() || !target.object || !target.instance.empty()) return target;
    if (target.object->rows() != SCALAR)
        return failed(std::string(target.object->name) +
                      " needs an instance: " + row_arcs(target.object->rows()));
    return locate(target.oid + ".0");
}

std::string format_name(const Target &target) {
    if (!target.object) return printable(target.oid);
    std::string name = target.object->name;
    if (!target.instance.empty()) name.append(".").append(printable(target.instance));
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

std::string format_value(const Object *object, std::string_view value) {
    std::string out = printable(value);
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

std::string accepted_values(const Object &object) {
    constexpr int MANY = 20;
    std::string out;
    if (object.words) {
        const Word &last = object.words.end()[-1];
        for (const Word &word : object.words) {
            if (!object.in_range(word.value)) continue;
            if (object.words.size() > MANY && word.value != object.words.begin()->value &&
                word.value != last.value)
                continue;
            out += (out.empty() ? "" : ", ") + std::to_string(word.value) + " (" + word.text + ")";
        }
        return out;
    }
    for (const Range &range : object.range) {
        if (range.low > range.high) continue;
        out += (out.empty() ? "" : " or ") + std::to_string(range.low);
        if (range.low != range.high) out += ".." + std::to_string(range.high);
    }
    if (!out.empty() && object.type == STRING) out += " characters";
    return out;
}
