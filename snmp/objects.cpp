#include "snmp/objects.h"

#include <algorithm>

#include "client/names.h"

static size_t most_rows(const Object &object) {
    const Table *table = table_of(object);
    size_t rows = 1;
    for (int level = 0; table && level < table->levels(); level++)
        rows *= static_cast<size_t>(table->arcs[level].high - table->arcs[level].low + 1);
    return rows;
}

const std::vector<SubtreeObject> &subtree_objects() {
    static const std::vector<SubtreeObject> objects = [] {
        std::vector<SubtreeObject> list;
        for (const Object &object : OBJECTS) {
            if (object.is_branch()) continue;
            const std::string text = std::string(ROOT_OID) + "." + object.oid;
            list.push_back({parse_oid(text), &object, text, 0, most_rows(object)});
        }
        std::sort(list.begin(), list.end(), [](const auto &a, const auto &b) { return a.oid < b.oid; });
        for (size_t i = 0; i < list.size(); i++) {
            const auto same = [&](const SubtreeObject &other) {
                return other.object->entry_oid() == list[i].object->entry_oid();
            };
            const bool row = list[i].most_rows > 1;
            list[i].table =
                row ? static_cast<size_t>(std::find_if(list.begin(), list.end(), same) - list.begin()) : i;
        }
        return list;
    }();
    return objects;
}

size_t object_at(const Oid &oid, bool *belongs) {
    const auto &objects = subtree_objects();
    static size_t last = 0;  // most questions are about the object of the question before
    if (is_below(oid, objects[last].oid)) {
        *belongs = true;
        return last;
    }
    const auto after =
        std::upper_bound(objects.begin(), objects.end(), oid,
                         [](const Oid &o, const SubtreeObject &object) { return o < object.oid; });
    const auto index = static_cast<size_t>(after - objects.begin());
    *belongs = index > 0 && is_below(oid, objects[index - 1].oid);
    if (*belongs) last = index - 1;
    return *belongs ? index - 1 : index;
}

const Object &object_of(size_t index) {
    return *subtree_objects()[index].object;
}

bool is_scalar(size_t index) {
    return subtree_objects()[index].most_rows == 1;
}

bool is_slow(size_t index) {
    return object_of(index).slow;
}

std::optional<RowKey> key_of(const Oid &oid, size_t index) {
    const size_t above = subtree_objects()[index].oid.size();
    RowKey key;
    if (oid.size() - above > key.arcs.size()) return std::nullopt;
    for (size_t i = above; i < oid.size(); i++) {
        if (oid[i] > 255) return std::nullopt;
        key.arcs[key.size++] = static_cast<uint8_t>(oid[i]);
    }
    return key;
}

Oid oid_of(size_t index, const RowKey &key) {
    Oid oid = subtree_objects()[index].oid;
    oid.insert(oid.end(), key.begin(), key.end());
    return oid;
}

std::string text_of(size_t index, const RowKey &key) {
    std::string text = subtree_objects()[index].text;
    for (const int arc : key) text += "." + std::to_string(arc);
    return text;
}
