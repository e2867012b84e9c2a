#include "zevctl/output.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <nlohmann/json.hpp>

using Json = nlohmann::ordered_json;

static std::string dump(const Json &json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);  // any byte may stand in a value
}

// A number when the value is one, so that "jq" and the like can compute with it.
static Json number_or_text(const std::string &value) {
    long long number = 0;
    const char *end = value.data() + value.size();
    const auto [rest, code] = std::from_chars(value.data(), end, number);
    if (code == std::errc() && rest == end) return number;
    return value;
}

std::string json_text(const std::string &text) {
    return text.empty() ? "null" : dump(Json(text));
}

std::string json_array(const std::vector<std::string> &documents) {
    std::string text = "[";
    for (const std::string &document : documents) text += (text.size() > 1 ? ",\n" : "\n") + document;
    return text + (documents.empty() ? "]" : "\n]");
}

void print_document(const std::string &answer, const std::vector<std::string> &errors) {
    if (errors.empty()) {
        printf("%s\n", answer.empty() ? "{\"error\":null}" : answer.c_str());
        return;
    }
    std::string joined;
    for (const std::string &error : errors) joined += (joined.empty() ? "" : "\n") + error;
    printf("{\"error\":%s,\"answer\":%s}\n", json_text(joined).c_str(),
           answer.empty() ? "null" : answer.c_str());
}

TerminalSize terminal_size() {
    winsize size{};
    if (!isatty(STDOUT_FILENO) || ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) return {};
    return {size.ws_col, size.ws_row};
}

static bool is_number(int type, const Object *object) {
    return type == INTEGER || type == TIMETICKS || type == GAUGE || (object && *object->unit);
}

static Json number_or_null(const std::string &value) {
    return value.empty() ? Json() : number_or_text(value);
}

std::string value_line(const Target &target, int type, const std::string &value) {
    return format_name(target) + " = " + type_to_str(type) + ": " + format_value(target.object, value);
}

std::string value_json(const Target &target, int type, const std::optional<std::string> &value) {
    const bool number = is_number(type, target.object);
    Json json = {{"name", target.object ? target.object->name : ""},
                 {"instance", format_instance(target.object, target.instance)},
                 {"oid", target.oid},
                 {"type", type_to_str(type)},
                 {"value", !value   ? Json()
                           : number ? number_or_null(*value)
                                    : Json(*value)}};
    if (const char *word = value ? word_of(target.object, *value) : nullptr) json["word"] = word;
    return dump(json);
}

template <typename Test>
static bool all_in_column(const Grid &grid, size_t column, Test test) {
    return std::all_of(grid.rows.begin(), grid.rows.end(),
                       [&](const auto &row) { return test(row[column]); });
}

// How a column shows in the aligned layout.
struct ShownColumn {
    size_t column, width;
    bool to_the_right;
};

static std::vector<ShownColumn> places(const Grid &grid) {
    const auto is_empty = [](const std::string &text) { return text.empty(); };
    const auto is_number = [](const std::string &text) {
        return text.empty() || number_or_text(text).is_number();
    };
    std::vector<ShownColumn> shown;
    for (size_t i = 0; i < grid.columns.size(); i++) {
        if (!grid.rows.empty() && all_in_column(grid, i, is_empty)) continue;
        ShownColumn place{i, grid.columns[i].heading.size(),
                          grid.columns[i].is_number && all_in_column(grid, i, is_number)};
        for (const auto &row : grid.rows) place.width = std::max(place.width, printable(row[i]).size());
        shown.push_back(place);
    }
    return shown;
}

size_t aligned_width(const Grid &grid) {
    size_t width = 0;
    for (const ShownColumn &place : places(grid)) width += place.width + (width > 0 ? 2 : 0);
    return width;
}

static void print_vertical(const Grid &grid) {
    const std::vector<ShownColumn> shown = places(grid);
    size_t width = 0;
    for (const ShownColumn &place : shown) width = std::max(width, grid.columns[place.column].heading.size());
    for (size_t row = 0; row < grid.rows.size(); row++) {
        if (row > 0) puts("");
        for (const ShownColumn &place : shown) {
            const std::string &text = grid.rows[row][place.column];
            const std::string heading = grid.columns[place.column].heading + ":";
            if (!text.empty())
                printf("%-*s %s\n", static_cast<int>(width + 1), heading.c_str(), printable(text).c_str());
        }
    }
}

static void print_aligned(const Grid &grid) {
    const std::vector<ShownColumn> shown = places(grid);
    const auto print_line = [&](const auto &text_of) {
        std::string line;
        for (const ShownColumn &place : shown) {
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

std::string grid_json(const Grid &grid) {
    std::vector<std::string> rows;
    for (const auto &row : grid.rows) {
        Json json = Json::object();
        for (size_t i = 0; i < row.size(); i++)
            json[grid.columns[i].heading] = row[i].empty()              ? Json()
                                            : grid.columns[i].is_number ? number_or_text(row[i])
                                                                        : Json(row[i]);
        rows.push_back(dump(json));
    }
    return json_array(rows);
}

void print_grid(const Grid &grid, Layout layout) {
    if (layout == VERTICAL)
        print_vertical(grid);
    else if (layout == CSV)
        print_csv(grid);
    else
        print_aligned(grid);
}
