#include "zevctl/dependencies.h"

#include <algorithm>
#include <unordered_map>

#include "client/names.h"

static bool is_same_text(const char *a, const char *b) {
    return std::string_view(a ? a : "") == (b ? b : "");
}

static bool have_same_item(const Object &a, const Object &b) {
    return a.entry_oid() == b.entry_oid() && is_same_text(a.group, b.group) && is_same_text(a.key, b.key);
}

// The requirement on the object that shows the item as the need wants it. Switches that no object shows by
// itself are those of the security types.
static Requirement requirement(const Object &object, const Need &need) {
    Object item = object;
    item.key = need.key;
    for (const Object &other : OBJECTS) {
        if (!other.key || !have_same_item(item, other)) continue;
        for (const Word &word : other.words)
            if (word.stored && is_same_text(word.stored, need.text) == need.is)
                return {&other, std::to_string(word.value)};
    }
    return {type_of(object), object.part_of.values};
}

static std::vector<Requirement> all_of(const Object &object) {
    std::vector<Requirement> all;
    for (const auto &[other, value, is, only_for] : object.depends)
        if (other) all.push_back({find_object(other), value, is, only_for});
    for (const Need &need : object.needs)
        if (need.key) all.push_back(requirement(object, need));
    return all;
}

const std::vector<Requirement> &requirements_of(const Object &object) {
    static std::unordered_map<const Object *, std::vector<Requirement>> known;
    const auto [found, is_new] = known.try_emplace(&object);
    if (is_new) found->second = all_of(object);
    return found->second;
}

std::vector<const Object *> changed_by(const Object &object) {
    std::vector<const Object *> changed;
    for (const char *name : object.changes)
        if (name) changed.push_back(find_object(name));
    return changed;
}

bool is_security_type(const Object &object) {
    return std::any_of(std::begin(OBJECTS), std::end(OBJECTS), [&](const Object &other) {
        return other.part_of.type && is_same_text(other.part_of.type, object.name);
    });
}

const Object *type_of(const Object &part) {
    return part.part_of.type ? find_object(part.part_of.type) : nullptr;
}

bool counts_with(const Object &part, const std::string &type) {
    return type.size() == 1 && std::string_view(part.part_of.values).find(type) != std::string_view::npos;
}

bool is_in_item_of_type(const Object &part) {
    const Object *type = type_of(part);
    return type && type->key && have_same_item(part, *type);
}

std::string dependency_hint(const Object &object) {
    std::string hint;
    for (const Requirement &need : requirements_of(object)) {
        const char *word = word_of(need.other, need.value);
        hint += (hint.empty() ? "needs " : " and ") + std::string(need.other->name) +
                (need.is ? " = " : " other than ") + (word ? word : need.value);
    }
    return hint.empty() ? "" : hint + " to be saved first";
}

std::string refusal_hint(const Object &object) {
    const char *hint = object.condition ? object.condition : object.limit;
    return hint ? hint : "";
}
