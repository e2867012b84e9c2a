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

template <typename Test>
static bool all_in_column(const Grid &grid, size_t column, Test test) {
    return std::all_of(grid.rows.begin(), grid.rows.end(),
                       [&](const auto &row) { return test(row[column]); });
}

// How a column shows in the aligned layout.
struct Place {
    size_t column, width;
    bool to_the_right;
};

static std::vector<Place> places(const Grid &grid) {
    const auto is_empty = [](const std::string &text) { return text.empty(); };
    const auto is_number = [](const std::string &text) {
        return text.empty() || typed_value(INTEGER, text).is_number();
    };
    std::vector<Place> shown;
    for (size_t i = 0; i < grid.columns.size(); i++) {
        if (!grid.rows.empty() && all_in_column(grid, i, is_empty)) continue;
        Place place{i, grid.columns[i].heading.size(),
                    grid.columns[i].is_number && all_in_column(grid, i, is_number)};
        for (const auto &row : grid.rows) place.width = std::max(place.width, printable(row[i]).size());
        shown.push_back(place);
    }
    return shown;
}

static void print_aligned(const Grid &grid) {
    const std::vector<Place> shown = places(grid);
    const auto print_line = [&](const auto &text_of) {
        std::string line;
        for (const Place &place : shown) {
            const std::string text = text_of(place.column);
            const std::string fill(place.width - text.size(), ' ');
            line += (place.to_the_right ? fill + text : text + fill) + "  ";
        }
        line.erase(line.find_last_not_of(' ') + 1);
        printf("%s\n", line.c_str());
    };
    print_line([&](size_t i) { return grid.columns[i].heading; });
    for (const auto &row : grid.rows) print_line([&](size_t i) { return printable(row[i]); });
}

static std::string csv_field(const std::string &value) {
    std::string text = printable(value);
    if (text.find_first_of(",\"") == std::string::npos) return text;
    std::string quoted = "\"";
    for (const char c : text) quoted += c == '"' ? "\"\"" : std::string(1, c);
    return quoted + "\"";
}

static void print_csv(const Grid &grid) {
    for (size_t i = 0; i < grid.columns.size(); i++)
        printf("%s%s", i ? "," : "", csv_field(grid.columns[i].heading).c_str());
    printf("\n");
    for (const auto &row : grid.rows) {
        for (size_t i = 0; i < row.size(); i++) printf("%s%s", i ? "," : "", csv_field(row[i]).c_str());
        printf("\n");
    }
}

static void print_json(const Grid &grid) {
    Json rows = Json::array();
    for (const auto &row : grid.rows) {
        Json json = Json::object();
        for (size_t i = 0; i < row.size(); i++)
            json[grid.columns[i].heading] = typed_value(grid.columns[i].is_number ? INTEGER : STRING, row[i]);
        rows.push_back(json);
    }
    printf("%s\n", dump(rows).c_str());
}

void print_grid(const Grid &grid, Layout layout) {
    if (layout == JSON_ROWS)
        print_json(grid);
    else if (layout == CSV)
        print_csv(grid);
    else
        print_aligned(grid);
}
