#include "zevctl/settings.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

#include "client/protocol.h"

bool is_setting(const Object &object) {
    return object.access == READ_WRITE && !object.transient && !object.acts;
}

// ---- places ----

static std::vector<int> read_arcs(std::string_view instance) {
    std::vector<int> arcs;
    while (!instance.empty()) {
        int arc = 256;  // stays when the number is too large
        const size_t end = std::min(instance.find('.'), instance.size());
        std::from_chars(instance.data(), instance.data() + end, arc);
        arcs.push_back(arc);
        instance.remove_prefix(std::min(end + 1, instance.size()));
    }
    return arcs;
}

Place place_of(const Target &target) {
    return {static_cast<int>(target.object - OBJECTS), read_arcs(target.instance)};
}

static std::string dotted(const std::vector<int> &arcs) {
    std::string text;
    for (const int arc : arcs) text += "." + std::to_string(arc);
    return text;
}

std::string place_name(const Place &place) {
    return object_of(place).name + dotted(place.arcs);
}

std::string place_oid(const Place &place) {
    return std::string(ROOT_OID) + "." + object_of(place).oid + dotted(place.arcs);
}

std::string instance_mistake(const Object &object, const std::vector<int> &arcs) {
    const Table *table = table_of(object);
    const size_t count = table ? table->levels() : 1;
    bool good = arcs.size() == count;
    std::string wanted;
    for (size_t i = 0; i < count; i++) {
        // A scalar has instance 0; no SET changes a predefined row.
        const Range bounds =
            table ? Range{table->arcs[i].low + table->predefined, table->arcs[i].high} : Range{0, 0};
        good = good && bounds.has(arcs[i]);
        wanted += (i ? "." : "") + std::to_string(bounds.low);
        if (bounds.low != bounds.high) wanted += ".." + std::to_string(bounds.high);
    }
    return good ? "" : std::string("no such instance of ") + object.name + " (there are: " + wanted + ")";
}

// ---- values ----

std::string settable(const Object &object, std::string_view shown) {
    return object.vlan && shown == NO_VLAN ? "0" : std::string(shown);
}

bool same_setting(const Object &object, const std::string &a, const std::string &b) {
    if (a == b) return true;
    if (!is_rewritten(object.form)) return false;
    std::string other = b;
    std::replace(other.begin(), other.end(), '-', ':');
    std::string one = a;
    std::replace(one.begin(), one.end(), '-', ':');
    return same_name(one, other);
}

static bool is_number(std::string_view text, long *number) {
    const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), *number);
    return code == std::errc() && end == text.data() + text.size();
}

static bool is_address(std::string_view text) {
    const std::vector<int> parts = read_arcs(text);
    return parts.size() == 4 && !text.ends_with('.') && text.find_first_not_of("0123456789.") == text.npos &&
           std::all_of(parts.begin(), parts.end(), [](int part) { return part <= 255; });
}

std::string value_mistake(const Object &object, const std::string &value) {
    const std::string accepted = accepted_values(object);
    const std::string hint = accepted.empty() ? "" : " (accepted: " + accepted + ")";
    std::string error;
    long number = 0;
    set_text(object, value, &error);
    if (!error.empty()) return error;
    if (object.secret && value.empty() && !object.range.are_set()) return "cannot be empty";
    if (object.type == STRING && !object.range.have(static_cast<long>(value.size())))
        return "wrong length of " + std::to_string(value.size()) + hint;
    if (object.type == IPADDRESS && !is_address(value)) return "no address" + hint;
    if (object.type != INTEGER) return "";
    if (!is_number(value, &number)) {
        std::vector<const char *> words;
        for (const Word &word : object.words) words.push_back(word.text);
        return (words.empty() ? "no number: " : "no such word: ") + printable(value) +
               suggestion(value, words) + hint;
    }
    return object.range.have(number) ? "" : "value refused" + hint;
}

// ---- values in a file ----

std::string file_value(const Object &object, const std::string &value) {
    const char *word = word_of(&object, value);
    std::string text = word ? word : value;
    const bool bare = !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) {
        return isalnum(c) || strchr("._-:/@%+,;", c);
    });
    if (bare) return text;
    std::string quoted = "\"";
    for (const char c : printable(text)) quoted += c == '"' ? "\\\"" : std::string(1, c);
    return quoted + "\"";
}

std::string_view trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(" \t\r");
    if (first == text.npos) return "";
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

// Reads a text in quotes and leaves what follows it.
static std::string read_quoted(std::string_view *text, std::string *error) {
    std::string value;
    size_t i = 1;
    for (; i < text->size() && (*text)[i] != '"'; i++) {
        char c = (*text)[i];
        if (c == '\\' && i + 1 < text->size()) {
            c = (*text)[++i];
            unsigned code = 0;
            if (c == 'x' && i + 2 < text->size() &&
                std::from_chars(&(*text)[i + 1], &(*text)[i + 3], code, 16).ptr == &(*text)[i + 3]) {
                c = static_cast<char>(code);
                i += 2;
            } else if (c == 'n' || c == 't') {
                c = c == 'n' ? '\n' : '\t';
            } else if (c != '\\' && c != '"') {
                *error = "in a text in quotes, a backslash begins \\\\, \\\", \\n, \\t or \\x and two digits";
            }
        }
        value += c;
    }
    if (i >= text->size()) *error = "a quote is missing at the end";
    text->remove_prefix(std::min(i + 1, text->size()));
    return value;
}

std::string read_file_value(const Object &object, std::string_view text, std::string *error) {
    std::string value;
    text = trimmed(text);
    if (text.starts_with('"')) {
        value = read_quoted(&text, error);
        text = trimmed(text);
        if (error->empty() && !text.empty() && text[0] != '#')
            *error = "something follows the text in quotes";
    } else {
        size_t end = 0;
        while (end < text.size() && !(text[end] == '#' && (end == 0 || text[end - 1] == ' '))) end++;
        value = trimmed(text.substr(0, end));
        if (value.empty())
            *error = "no value; \"\" is the empty text";
        else if (value.find_first_of("\"\\") != value.npos)
            *error = "a text with quotes or backslashes stands in quotes";
    }
    return wire_value(object, value);
}

// ---- what the daemon shows ----

int read_settings(const Client &client, const std::vector<int> &objects, Settings *settings) {
    constexpr int ATTEMPTS = 3;
    // While an apply runs there is nothing but its object.
    const Answer first = exchange(client.socket, KIND_GETNEXT, ROOT_OID, "", client.timeout_ms);
    if (!first.error.empty()) return complain(EXIT_NO_DAEMON, first.error);
    if (locate(first.reply.oid).object != find_object("APSysName"))
        return complain(EXIT_REFUSED, "the daemon shows no settings now: an apply is running");
    for (const int object : objects) {
        std::string error;
        int status = EXIT_REFUSED;
        const auto keep = [&](const Target &target, const snmp_reply &reply) {
            if (target.object == &OBJECTS[object])
                (*settings)[place_of(target)] = settable(*target.object, reply.value);
        };
        for (int i = 0; i < ATTEMPTS && status == EXIT_REFUSED; i++)
            status = walk_values(client, std::string(ROOT_OID) + "." + OBJECTS[object].oid, keep, &error);
        if (status != EXIT_DONE) return complain(status, error);
    }
    return EXIT_DONE;
}
