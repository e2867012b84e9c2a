#include "mib/module.h"

#include <algorithm>
#include <cctype>
#include <functional>
#include <set>
#include <sstream>

#include "registry/notifications.h"

// The branches that the registry knows by number only.

struct Branch {
    const char *oid;
    const char *name;
};
static constexpr Branch GROUPS[] = {
    {"1", "aPDeviceList"}, {"1.63", "aPSysTFTP"},       {"1.64", "aPSysFTP"},
    {"2", "aPRFInfo"},     {"3", "aPVAPInfo"},          {"4", "aPWDSInfo"},
    {"5", "aPStaInfo"},    {"6", "neighborhoodAPInfo"}, {"7", "l2FirewallInfo"},
};

// Index objects that no list has are auxiliary: the daemon has no column for them, or one that holds the
// number as a text. They stand at the last arc that the daemon could serve, which it never registers.
static constexpr int AUXILIARY_ARC = 255;

static constexpr const char *HEAD = R"(ZEVSIC-MIB DEFINITIONS ::= BEGIN

-- Made by mib/generate from the daemon's registry and mib/descriptions.txt: change those, not this file.

IMPORTS
    MODULE-IDENTITY, OBJECT-TYPE, NOTIFICATION-TYPE, Integer32, Gauge32, IpAddress, TimeTicks, Counter32,
    Counter64, enterprises
        FROM SNMPv2-SMI
    TEXTUAL-CONVENTION, MacAddress
        FROM SNMPv2-TC
    MODULE-COMPLIANCE, OBJECT-GROUP, NOTIFICATION-GROUP
        FROM SNMPv2-CONF;

zevsicMIB MODULE-IDENTITY
    LAST-UPDATED "202611240000Z"
    ORGANIZATION "zevsic"
    CONTACT-INFO "zevsic"
    DESCRIPTION
        "@"
    REVISION "202611240000Z"
    DESCRIPTION "The first version."
    ::= { zevsic 6 }

zevsic OBJECT IDENTIFIER ::= { enterprises 48019 }

-- Not DisplayString, which ends at 255 characters: the device has longer texts. What a SET takes is ASCII; names of
-- foreign networks and texts that others have stored may be UTF-8.
ZevsicText ::= TEXTUAL-CONVENTION
    DISPLAY-HINT "4095t"
    STATUS current
    DESCRIPTION "A text of the device, without control characters."
    SYNTAX OCTET STRING (SIZE (0..4095))
)";

static constexpr const char *NESTED_NOTE =
    R"(-- This table stands below a row of another, which SMIv2 has no form for: the arcs are the device's and cannot be
-- moved. As a table of its own, with all indexes of the outer row in front of its own, its instances are what they
-- would be elsewhere, and tools that read this module know them.
)";

static constexpr const char *AUXILIARY_NOTE =
    "-- Not of the device: it has no column with this number. The arc is one that it will never serve.\n";

// ---- names ----

std::string smi_name(std::string_view name) {
    std::string out;
    bool capital = false;
    for (const char c : name) {
        if (c == '_') {
            capital = true;
            continue;
        }
        out += capital ? static_cast<char>(toupper(c)) : c;
        capital = false;
    }
    out[0] = static_cast<char>(tolower(out[0]));
    return out;
}

std::string smi_label(std::string_view word, std::string_view prefix) {
    std::string out;
    size_t first_word = 0;
    bool capital = false;
    for (size_t i = 0; i < word.size(); i++) {
        const char c = word[i];
        if (isalnum(static_cast<unsigned char>(c))) {
            out += capital ? static_cast<char>(toupper(c)) : c;
            capital = false;
        } else if (c == '.' && i + 1 < word.size() && isdigit(static_cast<unsigned char>(word[i + 1]))) {
            out += "dot";
        } else {
            if (first_word == 0) first_word = out.size();
            capital = !out.empty();
        }
    }
    if (first_word == 0) first_word = out.size();
    if (!out.empty() && isdigit(static_cast<unsigned char>(out[0]))) return std::string(prefix) + out;
    // WEP and IPv4 become wep and ipv4, WPA-PSK becomes wpaPSK.
    for (size_t i = 0; i < first_word && isupper(static_cast<unsigned char>(out[i])); i++)
        out[i] = static_cast<char>(tolower(out[i]));
    return out;
}

static const Branch *group_of(std::string_view oid) {
    for (const Branch &group : GROUPS)
        if (oid == group.oid) return &group;
    return nullptr;
}

static std::string_view parent_of(std::string_view oid) {
    const size_t dot = oid.rfind('.');
    return dot == std::string_view::npos ? std::string_view() : oid.substr(0, dot);
}

static const Table *table_of_entry(std::string_view oid) {
    for (const Table &table : TABLES)
        if (oid == table.oid) return &table;
    return nullptr;
}

// A table's object stands above its entry.
static const Table *table_at(std::string_view oid) {
    for (const Table &table : TABLES)
        if (oid == parent_of(table.oid)) return &table;
    return nullptr;
}

// The arc that an index object shows, or null.
static const Arc *arc_shown_by(std::string_view name) {
    for (const Table &table : TABLES)
        for (const Arc &arc : table.arcs)
            if (arc.index && name == arc.index) return &arc;
    return nullptr;
}

// The last arc of a table when its index object is auxiliary, else null.
static const Arc *auxiliary_of(const Table &table) {
    if (table.is_by_mac()) return &table.arcs[0];
    const Arc &last = table.arcs[table.levels() - 1];
    return find_object(last.index) ? nullptr : &last;
}

// The table before with the same rows, or null.
static const Table *augmented_by(const Table &table) {
    for (const Table &other : TABLES) {
        if (&other == &table) return nullptr;
        if (std::equal(table.arcs.begin(), table.arcs.end(), other.arcs.begin(),
                       [](const Arc &a, const Arc &b) {
                           return std::string_view(a.index ? a.index : "") == (b.index ? b.index : "");
                       }))
            return &other;
    }
    return nullptr;
}

static std::string index_clause(const Table &table) {
    if (const Table *other = augmented_by(table)) return "AUGMENTS { " + smi_name(other->name) + "Entry }";
    std::string names;
    for (const Arc &arc : table.arcs)
        if (arc.index) names += (names.empty() ? "" : ", ") + smi_name(arc.index);
    return "INDEX { " + names + " }";
}

static std::string name_of(std::string_view oid, Errors *errors) {
    if (oid.empty()) return "zevsicMIB";
    if (const Branch *group = group_of(oid)) return group->name;
    if (const Table *table = table_at(oid)) return smi_name(table->name) + "Table";
    if (const Table *table = table_of_entry(oid)) return smi_name(table->name) + "Entry";
    for (const Object &object : OBJECTS)
        if (!object.is_branch() && oid == object.oid) return smi_name(object.name);
    errors->push_back("no name for " + std::string(oid));
    return "unnamed";
}

// "{ parent arc }"
static std::string place(std::string_view oid, Errors *errors) {
    const std::string_view parent = parent_of(oid);
    const std::string_view arc = parent.empty() ? oid : oid.substr(parent.size() + 1);
    return "::= { " + name_of(parent, errors) + " " + std::string(arc) + " }\n";
}

// ---- syntax ----

static std::vector<Range> merged(std::vector<Range> ranges) {
    std::sort(ranges.begin(), ranges.end(), [](const Range &a, const Range &b) { return a.low < b.low; });
    std::vector<Range> out;
    for (const Range &range : ranges) {
        if (!out.empty() && range.low <= out.back().high + 1L)
            out.back().high = std::max(out.back().high, range.high);
        else
            out.push_back(range);
    }
    return out;
}

static void add_label(ValueSet *syntax, const Object &object, int value, const std::string &label,
                      Errors *errors) {
    const bool legal = !label.empty() && islower(static_cast<unsigned char>(label[0]));
    const bool taken = std::any_of(syntax->labels.begin(), syntax->labels.end(), [&](const auto &other) {
        return other.first == value || other.second == label;
    });
    if (!legal || taken)
        errors->push_back(std::string(object.name) + ": no label for " + std::to_string(value) + ": '" +
                          label + "'");
    syntax->labels.emplace_back(value, label);
}

ValueSet write_values(const Object &object, const Description &description, Errors *errors) {
    ValueSet syntax;
    if (object.type == INTEGER && object.words) {
        for (const Word &word : object.words)
            if (object.range.have(word.value))
                add_label(&syntax, object, word.value, smi_label(word.text, description.label_prefix),
                          errors);
    } else {
        for (const Range &range : object.range)
            if (range.low <= range.high) syntax.ranges.push_back(range);
        // A longer text has no place in a record.
        if (object.type == STRING)
            for (Range &range : syntax.ranges) range.high = std::min(range.high, 4095);
    }
    syntax.ranges = merged(syntax.ranges);
    return syntax;
}

ValueSet read_values(const Object &object, const Description &description, Errors *errors) {
    ValueSet syntax;
    if (object.type == INTEGER && object.words) {
        for (const Word &word : object.words)
            add_label(&syntax, object, word.value, smi_label(word.text, description.label_prefix), errors);
        for (const Description::Reads &reads : description.reads)
            add_label(&syntax, object, reads.range.low, reads.label, errors);
        std::sort(syntax.labels.begin(), syntax.labels.end());
        return syntax;
    }
    syntax = write_values(object, description, errors);
    if (syntax.ranges.empty()) {
        if (!description.reads.empty()) errors->push_back(std::string(object.name) + " has no bounds");
        if (const Arc *arc = arc_shown_by(object.name)) syntax.ranges.push_back({arc->low, arc->high});
        return syntax;
    }
    for (const Description::Reads &reads : description.reads) syntax.ranges.push_back(reads.range);
    // A text that is not set is empty, whatever a SET takes.
    if (object.type == STRING) syntax.ranges.push_back({0, syntax.ranges.back().high});
    syntax.ranges = merged(syntax.ranges);
    return syntax;
}

static std::string type_of(const Object &object) {
    switch (object.type) {
        case INTEGER:
            return object.smi == COUNTER64   ? "Counter64"
                   : object.smi == COUNTER32 ? "Counter32"
                   : object.smi == GAUGE32   ? "Gauge32"
                   : object.words            ? "INTEGER"
                                             : "Integer32";
        case STRING:
            return "ZevsicText";
        case TIMETICKS:
            return "TimeTicks";
        case IPADDRESS:
            return "IpAddress";
        default:
            return "";
    }
}

static std::string format(const Object &object, const ValueSet &syntax) {
    std::string out = type_of(object);
    std::string inner;
    if (!syntax.labels.empty()) {
        for (const auto &[value, label] : syntax.labels)
            inner += (inner.empty() ? "" : ",") + ("\n        " + label + "(" + std::to_string(value) + ")");
        return out + " {" + inner + "\n    }";
    }
    for (const Range &range : syntax.ranges) {
        inner += (inner.empty() ? "" : " | ") + std::to_string(range.low);
        if (range.low != range.high) inner += ".." + std::to_string(range.high);
    }
    if (inner.empty()) return out;
    return out + (object.type == STRING ? " (SIZE (" + inner + "))" : " (" + inner + ")");
}

// ---- text ----

static std::string wrap(const std::vector<std::string> &paragraphs) {
    static constexpr size_t WIDTH = 72;
    std::string out;
    for (const std::string &paragraph : paragraphs) {
        if (!out.empty()) out += "\n\n        ";
        size_t column = 0;
        std::istringstream words{paragraph};
        for (std::string word; words >> word;) {
            if (column > 0 && column + 1 + word.size() > WIDTH) {
                out += "\n        ";
                column = 0;
            } else if (column > 0) {
                out += ' ';
                column++;
            }
            out += word;
            column += word.size();
        }
    }
    return out;
}

static std::string described(const std::vector<std::string> &paragraphs) {
    return "    DESCRIPTION\n        \"" + wrap(paragraphs) + "\"\n";
}

static std::string format_default(const Object &object, const ValueSet &syntax, const std::string &value) {
    if (value.empty()) return "the empty text";
    for (const auto &[number, label] : syntax.labels)
        if (std::to_string(number) == value) return std::string(label).append("(").append(value).append(")");
    return object.type == STRING ? "'" + value + "'" : value;
}

// ---- the module ----

static std::vector<std::string> object_text(const Object &object, const Description &description,
                                            const ValueSet &syntax) {
    std::vector<std::string> text = description.paragraphs;
    if (!description.has_default) return text;
    const auto &[first, second] = description.defaults;
    std::string line = "Default: " + format_default(object, syntax, first);
    if (first != second) line += " on radio 1, " + format_default(object, syntax, second) + " on radio 2";
    text.push_back(line + ".");
    return text;
}

static std::string object_definition(const Object &object, const Description &description, Errors *errors) {
    const ValueSet syntax = read_values(object, description, errors);
    std::string out =
        "\n" + smi_name(object.name) + " OBJECT-TYPE\n    SYNTAX " + format(object, syntax) + "\n";
    if (*object.unit) out += "    UNITS \"" + std::string(object.unit) + "\"\n";
    out += "    MAX-ACCESS " + std::string(object.access == READ_ONLY ? "read-only" : "read-write") + "\n";
    out += "    STATUS current\n" + described(object_text(object, description, syntax));
    return out + "    " + place(object.oid, errors);
}

static std::string row_type(const Table &table) {
    std::string name = smi_name(table.name) + "Entry";
    name[0] = static_cast<char>(toupper(name[0]));
    return name;
}

static std::string table_definition(const Table &table, const Description &description, Errors *errors) {
    const std::string oid(parent_of(table.oid));
    std::string out = "\n";
    if (table_of_entry(parent_of(oid))) out += NESTED_NOTE;
    out += smi_name(table.name) + "Table OBJECT-TYPE\n    SYNTAX SEQUENCE OF " + row_type(table) + "\n";
    out += "    MAX-ACCESS not-accessible\n    STATUS current\n" + described(description.paragraphs);
    return out + "    " + place(oid, errors);
}

static std::string entry_definition(const Table &table, Errors *errors) {
    const std::string type = row_type(table);
    std::string out = "\n" + smi_name(table.name) + "Entry OBJECT-TYPE\n    SYNTAX " + type + "\n";
    out += "    MAX-ACCESS not-accessible\n    STATUS current\n";
    out += "    DESCRIPTION \"A row of " + smi_name(table.name) + "Table.\"\n";
    out += "    " + index_clause(table) + "\n";
    out += "    " + place(table.oid, errors) + "\n" + type + " ::= SEQUENCE {";
    const char *separator = "";
    for (const Object &object : OBJECTS) {
        if (object.is_branch() || object.entry_oid() != table.oid) continue;
        out += separator + ("\n    " + smi_name(object.name) + " " + type_of(object));
        separator = ",";
    }
    if (const Arc *index = auxiliary_of(table))
        out += ",\n    " + smi_name(index->index) + (table.is_by_mac() ? " MacAddress" : " Integer32");
    return out + "\n}\n";
}

static std::string auxiliary_definition(const Table &table, const Arc &index, const Description &description,
                                        Errors *errors) {
    std::string syntax = "MacAddress";
    if (!table.is_by_mac())
        syntax = "Integer32 (" + std::to_string(index.low) + ".." + std::to_string(index.high) + ")";
    const std::string oid = std::string(table.oid) + "." + std::to_string(AUXILIARY_ARC);
    for (const Object &object : OBJECTS)
        if (oid == object.oid) errors->push_back(oid + " is not free for " + index.index);
    return "\n" + std::string(AUXILIARY_NOTE) + smi_name(index.index) + " OBJECT-TYPE\n    SYNTAX " + syntax +
           "\n    MAX-ACCESS not-accessible\n    STATUS current\n" + described(description.paragraphs) +
           "    " + place(oid, errors);
}

using Describe = std::function<const Description &(const std::string &name)>;

static std::string notifications(const Describe &description_of) {
    const std::string arc = std::to_string(NOTIFICATION_ARC);
    const std::string object_arc = std::to_string(NOTIFICATION_OBJECT_ARC);
    std::string out = "\n-- Notifications: arcs that the device never answers.\n\n";
    out += "zevsicNotifications OBJECT IDENTIFIER ::= { zevsicMIB " + arc + " }\n";
    out += "zevsicNotificationObjects OBJECT IDENTIFIER ::= { zevsicMIB " + object_arc + " }\n";
    for (const NotificationObject &object : NOTIFICATION_OBJECTS) {
        ValueSet values;
        for (const Word &word : object.words)
            values.labels.emplace_back(word.value, smi_label(word.text, ""));
        out += std::string("\n") + object.name + " OBJECT-TYPE\n    SYNTAX " +
               format({.type = INTEGER, .words = object.words}, values) + "\n";
        out += "    MAX-ACCESS accessible-for-notify\n    STATUS current\n" +
               described(description_of(object.name).paragraphs);
        out += "    ::= { zevsicNotificationObjects " + std::to_string(object.arc) + " }\n";
    }
    for (const Notification &notification : NOTIFICATIONS) {
        std::string objects;
        for (const int number : notification.objects)
            if (number > 0)
                objects += (objects.empty() ? "" : ", ") + std::string(NOTIFICATION_OBJECTS[number - 1].name);
        out += std::string("\n") + notification.name + " NOTIFICATION-TYPE\n";
        if (!objects.empty()) out += "    OBJECTS { " + objects + " }\n";
        out += "    STATUS current\n" + described(description_of(notification.name).paragraphs);
        out += "    ::= { zevsicNotifications " + std::to_string(notification.kind) + " }\n";
    }
    return out;
}

// What is in `list`, for the braces of a group.
template <typename List>
static std::string members_of(const List &list) {
    std::string out;
    for (const auto &item : list)
        out += (out.empty() ? "\n        " : ",\n        ") + std::string(item.name);
    return out;
}

static std::string notification_groups() {
    return "\nzevsicNotificationObjectGroup OBJECT-GROUP\n    OBJECTS {" + members_of(NOTIFICATION_OBJECTS) +
           "\n    }\n    STATUS current\n    DESCRIPTION \"What comes with notifications.\"\n"
           "    ::= { zevsicConformance " +
           std::to_string(NOTIFICATION_OBJECT_ARC) +
           " }\n"
           "\nzevsicNotificationGroup NOTIFICATION-GROUP\n    NOTIFICATIONS {" +
           members_of(NOTIFICATIONS) +
           "\n    }\n    STATUS current\n    DESCRIPTION \"The notifications.\"\n"
           "    ::= { zevsicConformance 253 }\n";
}

static std::string conformance(const Descriptions &descriptions, Errors *errors) {
    std::string out = "\n-- Conformance: arcs that the device never answers.\n\n";
    out += "zevsicConformance OBJECT IDENTIFIER ::= { zevsicMIB 255 }\n";
    std::string mandatory;
    for (const Branch &group : GROUPS) {
        if (std::string_view(group.oid).size() != 1) continue;  // a part of a group
        const std::string prefix = std::string(group.oid) + ".";
        std::string members;
        for (const Object &object : OBJECTS)
            if (!object.is_branch() && std::string_view(object.oid).starts_with(prefix))
                members += (members.empty() ? "\n        " : ",\n        ") + smi_name(object.name);
        const std::string name = std::string(group.name) + "Group";
        out.append("\n").append(name).append(" OBJECT-GROUP\n    OBJECTS {").append(members);
        out.append("\n    }\n    STATUS current\n    DESCRIPTION \"The objects of ").append(group.name);
        out.append(".\"\n    ::= { zevsicConformance ").append(group.oid).append(" }\n");
        mandatory += (mandatory.empty() ? "\n        " : ",\n        ") + name;
    }
    out += notification_groups();
    mandatory += ",\n        zevsicNotificationObjectGroup,\n        zevsicNotificationGroup";
    out +=
        "\nzevsicCompliance MODULE-COMPLIANCE\n    STATUS current\n" +
        described(
            {"What the access point serves: all objects. The refinements are what a SET takes of an object "
             "that can have other values when it is read."}) +
        "    MODULE\n    MANDATORY-GROUPS {" + mandatory + "\n    }\n";
    for (const Object &object : OBJECTS) {
        const auto found = descriptions.find(object.name);
        if (object.access != READ_WRITE || found == descriptions.end()) continue;
        const std::string written = format(object, write_values(object, found->second, errors));
        if (written == format(object, read_values(object, found->second, errors))) continue;
        out += "\n    OBJECT " + smi_name(object.name) + "\n    WRITE-SYNTAX " + written +
               "\n    DESCRIPTION \"What a SET takes.\"\n";
    }
    return out + "\n    ::= { zevsicConformance 255 }\n";
}

std::string make_module(const Descriptions &descriptions, Errors *errors) {
    std::set<std::string, std::less<>> used;
    const auto description_of = [&](const std::string &name) -> const Description & {
        static const Description NONE;
        const auto found = descriptions.find(name);
        if (found == descriptions.end() || found->second.paragraphs.empty()) {
            errors->push_back("not described: " + name);
            return NONE;
        }
        used.insert(name);
        return found->second;
    };

    std::string out = HEAD;
    out.replace(out.find('@'), 1, wrap(description_of("ZEVSIC-MIB").paragraphs));
    for (const Object &object : OBJECTS) {
        if (!object.is_branch()) {
            out += object_definition(object, description_of(object.name), errors);
        } else if (const Branch *group = group_of(object.oid)) {
            out += "\n" + std::string(group->name) + " OBJECT IDENTIFIER " + place(object.oid, errors);
        } else if (const Table *table = table_at(object.oid)) {
            out += table_definition(*table, description_of(smi_name(table->name) + "Table"), errors);
        } else if (const Table *rows = table_of_entry(object.oid)) {
            out += entry_definition(*rows, errors);
            if (const Arc *index = auxiliary_of(*rows))
                out += auxiliary_definition(*rows, *index, description_of(smi_name(index->index)), errors);
        } else {
            errors->push_back("no name for " + std::string(object.oid));
        }
    }
    out += notifications(description_of);
    out += conformance(descriptions, errors);
    for (const auto &[name, description] : descriptions)
        if (!used.contains(name)) errors->push_back("describes nothing: " + name);
    return out + "\nEND\n";
}
