// What must hold of the lists of objects and tables, checked while they are compiled. A message names the
// first object that it is not so of, by OID and name.
#include <algorithm>

#include "registry/registry.h"

namespace {

struct Offender {
    char text[96] = "";

    consteval void append(std::string_view more) {
        char *end = text;
        while (*end != '\0') end++;
        for (const char c : more) *end++ = c;
    }
};

// A structure, so that the compiler says of which it is: Nobody<Offender{"7.1.1.2 L2FirewallRuleEnabled"}>.
template <Offender offender>
struct Nobody {
    static_assert(offender.text[0] == '\0',
                  "a slip in the lists of objects: see the entry that is named here");
    static constexpr bool offends = false;
};

// Which entries the engine serves by itself, without a rule.
#define BRANCH(oid) false,
#define TABLE(oid, ...) false,
#define OBJECT(oid, ...) true,
#define SPECIAL(rule, ...) false,
constexpr bool ARE_ORDINARY[] = {
#include "registry/groups/all.def"
};
#undef BRANCH
#undef TABLE
#undef OBJECT
#undef SPECIAL

// An entry with what is looked up once: compilers bound the steps of a check.
struct Entry {
    const Object *object = nullptr;
    const Table *table = nullptr;
    std::string_view oid, parent, name, group;
    bool is_ordinary = false;
};
constexpr auto ENTRIES = [] {
    std::array<Entry, std::size(OBJECTS)> entries;
    for (size_t i = 0; i < entries.size(); i++) {
        const Object &object = OBJECTS[i];
        const Table *table = table_of(object);
        const char *group = object.group ? object.group : table ? table->group : "";
        entries[i] = {.object = &object, .table = table, .oid = object.oid, .parent = object.entry_oid()};
        entries[i].name = object.name;
        entries[i].group = group;
        entries[i].is_ordinary = ARE_ORDINARY[i];
    }
    return entries;
}();

template <typename Check>
consteval Offender first_that_fails(Check holds) {
    Offender offender;
    for (const Entry &entry : ENTRIES) {
        if (holds(entry, *entry.object, entry.table)) continue;
        offender.append(entry.oid);
        offender.append(" ");
        offender.append(entry.name);
        break;
    }
    return offender;
}
#define EVERY_OBJECT(what, ...)                                                                          \
    static_assert(                                                                                       \
        !Nobody<first_that_fails([]([[maybe_unused]] const Entry &entry, const Object &object,           \
                                    [[maybe_unused]] const Table *table) -> bool __VA_ARGS__)>::offends, \
        what)

// ---- places ----

consteval bool are_names_different() {
    std::array<std::string_view, std::size(OBJECTS)> names;
    size_t n = 0;
    for (const Entry &entry : ENTRIES)
        if (!entry.name.empty()) names[n++] = entry.name;
    std::sort(names.begin(), names.begin() + n);
    return std::adjacent_find(names.begin(), names.begin() + n) == names.begin() + n;
}
static_assert(are_names_different(), "a name stands twice");

// The arc that stands at the begin of a text.
constexpr int first_arc(std::string_view text) {
    int arc = 0;
    for (; !text.empty() && text[0] != '.'; text.remove_prefix(1)) arc = 10 * arc + (text[0] - '0');
    return arc;
}

EVERY_OBJECT("entries stand behind their parents, in the order of their arcs", {
    if (object.last_arc() > 255) return false;
    if (&object == OBJECTS) return entry.parent.empty();
    // The one before is the parent, or lies below an elder brother.
    const std::string_view before = (&entry)[-1].oid;
    if (before == entry.parent) return true;
    const size_t start = entry.parent.empty() ? 0 : entry.parent.size() + 1;
    return before.size() > start && before.starts_with(entry.parent) &&
           (start == 0 || before[start - 1] == '.') && first_arc(before.substr(start)) < object.last_arc();
});

consteval bool are_levels_whole(const Table &table) {
    for (int i = 0; i < static_cast<int>(table.arcs.size()); i++) {
        const Arc &arc = table.arcs[i];
        if ((arc.letter != '\0') != (i < table.levels()) || arc.low > arc.high) return false;
    }
    return table.levels() > 0;
}
static_assert(std::all_of(std::begin(TABLES), std::end(TABLES), are_levels_whole),
              "an arc has a name, a letter and its lowest number first, and the levels have no gap");

// ---- where the value is ----

EVERY_OBJECT("an ordinary object has an item or shows its arc, and one of these at most", {
    const int sources = (object.key != nullptr) + (object.system != nullptr) + object.shows_arc;
    return object.is_branch() || (entry.is_ordinary ? sources == 1 : sources <= 1);
});

EVERY_OBJECT("a key has a group", { return !object.key || !entry.group.empty(); });

// True when the pattern names only numbers that the object's rows have, and letters of `others`.
constexpr bool is_pattern_of(const Table *table, const char *pattern, std::string_view others = "") {
    for (; pattern && *pattern != '\0'; pattern++) {
        if (*pattern != '%') continue;
        const char letter = *++pattern;
        bool known = others.find(letter) != std::string_view::npos;
        for (int i = 0; table && i < table->levels(); i++)
            if (letter == table->arcs[i].letter || letter == '1' + i) known = true;
        if (!known || letter == '\0') return false;
    }
    return true;
}

EVERY_OBJECT("the letters of a pattern are those of the table's arcs", {
    constexpr std::string_view READ = "sKeiqoc", SET = "si";
    return is_pattern_of(table, object.group ? object.group
                                : table      ? table->group
                                             : "") &&
           is_pattern_of(table, object.key) && is_pattern_of(table, object.system) &&
           is_pattern_of(table, object.trace, READ) && is_pattern_of(table, object.set_trace, SET) &&
           (!table ||
            (is_pattern_of(table, table->trace, READ) && is_pattern_of(table, table->set_trace, SET)));
});

// ---- what a SET accepts ----

EVERY_OBJECT("there is a word for every number that a SET takes", {
    if (!object.words || object.access != READ_WRITE || object.type != INTEGER) return true;
    if (!object.range.are_set()) return false;
    for (const Range &range : object.range)
        for (int number = range.low; number <= range.high; number++)
            if (!object.words.of_value(number)) return false;
    return true;
});

EVERY_OBJECT("words are of integers; a form and numbers of texts", {
    const bool of_text = (object.form != ANY_TEXT && object.form != SHORT_NUMBER) || object.numbers.are_set();
    return (!object.words || object.type == INTEGER) &&
           (!of_text || object.type == STRING || object.type == IPADDRESS);
});

EVERY_OBJECT("a need names an item of another object of the group", {
    // Links keep which security is on in switches that no object shows by itself.
    constexpr std::string_view OF_NO_OBJECT[] = {"wep.enabled", "wpa.enabled"};
    for (const Need &need : object.needs) {
        bool exists = !need.key;
        for (const std::string_view key : OF_NO_OBJECT)
            if (need.key && key == need.key) exists = true;
        for (const Entry &other : ENTRIES)
            if (need.key && other.object != &object && other.object->key && other.group == entry.group &&
                std::string_view(other.object->key) == need.key)
                exists = true;
        if (!exists) return false;
    }
    return true;
});

EVERY_OBJECT("only what may be written has bounds, needs, effects and conditions", {
    const bool of_a_set = object.range.are_set() || object.numbers.are_set() || object.form != ANY_TEXT ||
                          object.or_empty || object.optional || object.needs[0].key || object.set_trace ||
                          object.instance_first || object.acts || object.condition || object.limit ||
                          object.depends[0].object || object.changes[0] || object.transient;
    return object.access == READ_WRITE || !of_a_set;
});

EVERY_OBJECT("what is refused beyond the needs, a rule refuses", {
    return (!object.condition && !object.limit && !object.depends[0].object) || !entry.is_ordinary;
});

// True when an object of that name stands in the same table, or in the table of the row's radio.
constexpr const Entry *entry_of(std::string_view name) {
    for (const Entry &entry : ENTRIES)
        if (entry.name == name) return &entry;
    return ENTRIES.data();  // a branch
}
constexpr bool is_beside(const Entry &entry, const char *name) {
    const Entry &other = *entry_of(name);
    const bool is_of_radio = entry.table && other.table && other.table->levels() == 1 &&
                             entry.table->arcs[0].letter == 'r' && other.table->arcs[0].letter == 'r';
    return !other.name.empty() && (other.parent == entry.parent || is_of_radio);
}

EVERY_OBJECT("what it depends on, changes along and is a part of are objects of the row or its radio", {
    for (const Dependency &dependency : object.depends)
        if (dependency.object && !is_beside(entry, dependency.object)) return false;
    for (const char *name : object.changes)
        if (name && !is_beside(entry, name)) return false;
    if (!object.part_of.type) return true;
    if (!is_beside(entry, object.part_of.type)) return false;
    for (const char *value = object.part_of.values; *value; value++)
        if (!entry_of(object.part_of.type)->object->words.of_value(*value - '0')) return false;
    return *object.part_of.values != '\0';
});

// ---- members that not every object heeds ----

EVERY_OBJECT("what only rows heed stands in rows only", {
    const bool of_rows = object.missing || object.optional || object.radios != ALL_RADIOS ||
                         object.set_trace || object.instance_first || object.shows_arc || object.in_kernel;
    return table || !of_rows;
});

EVERY_OBJECT("what only scalars heed stands in scalars only", { return !table || !object.any_instance; });

EVERY_OBJECT("rows of radios of a kind are counted by radio first", {
    return (object.radios == ALL_RADIOS && !object.in_kernel) || !table || table->arcs[0].letter == 'r';
});

EVERY_OBJECT("a branch says nothing but its OID", {
    return !object.is_branch() || (*object.name == '\0' && object.access == NO_ACCESS && !object.key);
});

EVERY_OBJECT("a value is asked anew when answering takes long", { return !object.slow || object.live; });

}  // namespace
