#include "client/output.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <nlohmann/json.hpp>

using Json = nlohmann::ordered_json;

static std::string dump(const Json &json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);  // any byte may stand in a value
}

// A number when the value is one, so that "jq" and the like can compute with it.
static Json typed_value(int type, const std::string &value) {
    long long number = 0;
    const char *end = value.data() + value.size();
    const auto [rest, code] = std::from_chars(value.data(), end, number);
    if ((type == INTEGER || type == TIMETICKS || type == GAUGE) && code == std::errc() && rest == end)
        return number;
    return value;
}

std::string value_line(const Target &target, int type, const std::string &value) {
    return format_name(target) + " = " + type_to_str(type) + ": " + format_value(target.object, value);
}

std::string value_json(const Target &target, int type, const std::string &value) {
    Json json = {{"name", target.object ? target.object->name : ""},
                 {"instance", target.instance},
                 {"oid", target.oid},
                 {"type", type_to_str(type)},
                 {"value", typed_value(type, value)}};
    if (const char *word = word_of(target.object, value)) json["word"] = word;
    return dump(json);
}

std::vector<std::string> aligned(const std::vector<std::vector<std::string>> &lines) {
    std::vector<size_t> widths(lines.empty() ? 0 : lines[0].size());
    for (const auto &line : lines)
        for (size_t i = 0; i < line.size(); i++) widths[i] = std::max(widths[i], line[i].size());
    std::vector<std::string> texts;
    for (const auto &line : lines) {
        std::string text;
        for (size_t i = 0; i < line.size(); i++)
            text += line[i] + std::string(i + 1 < line.size() ? widths[i] + 2 - line[i].size() : 0, ' ');
        texts.push_back(text);
    }
    return texts;
}

void Table::put(const Target &target, const std::string &value) {
    const auto column = std::find(columns.begin(), columns.end(), target.object) - columns.begin();
    const auto row = std::find(instances.begin(), instances.end(), target.instance) - instances.begin();
    if (column == std::ssize(columns)) columns.push_back(target.object);
    if (row == std::ssize(instances)) {
        instances.push_back(target.instance);
        cells.emplace_back();
    }
    auto &cell = cells[static_cast<size_t>(row)];
    if (std::ssize(cell) <= column) cell.resize(static_cast<size_t>(column) + 1);
    cell[static_cast<size_t>(column)] = value;
}

static void print_json(const Table &table) {
    Json rows = Json::array();
    for (size_t row = 0; row < table.instances.size(); row++) {
        Json json = {{"instance", table.instances[row]}};
        for (size_t column = 0; column < table.cells[row].size(); column++)
            if (const Object *object = table.columns[column])
                json[object->name] = typed_value(object->type, table.cells[row][column]);
        rows.push_back(json);
    }
    printf("%s\n", dump(rows).c_str());
}

void Table::print(bool json) const {
    if (json) {
        print_json(*this);
        return;
    }
    std::vector<std::vector<std::string>> lines(1, {"INSTANCE"});
    for (const Object *object : columns) lines[0].emplace_back(object ? object->name : "?");
    for (size_t row = 0; row < instances.size(); row++) {
        lines.push_back({printable(instances[row])});
        for (size_t column = 0; column < cells[row].size(); column++)
            lines.back().push_back(format_value(columns[column], cells[row][column]));
    }
    for (const std::string &line : aligned(lines)) printf("%s\n", line.c_str());
}
