#include "zevctl/table.h"

#include <algorithm>
#include <cstring>
#include <unordered_map>

int find_heading(const std::vector<std::string> &headings, const std::string &text) {
    std::vector<int> found;
    for (size_t i = 0; i < headings.size(); i++) {
        if (same_name(headings[i], text)) return static_cast<int>(i);
        if (!text.empty() && same_name(std::string_view(headings[i]).substr(0, text.size()), text))
            found.push_back(static_cast<int>(i));
    }
    if (found.size() == 1) return found[0];
    std::vector<const char *> names;
    std::string all;
    for (const std::string &heading : headings) {
        names.push_back(heading.c_str());
        all += (all.empty() ? "" : ", ") + heading;
    }
    const std::string near = found.empty() ? suggestion(text, names) : "";
    complain(EXIT_USAGE, (found.empty() ? "no such column: " : "several columns begin so: ") +
                             printable(text) + near + " (columns: " + all + ")");
    return -1;
}

// What was read of the tree, as rows of objects.
struct Sheet {
    struct Cell {
        std::string value;
        std::string words;  // the same for people; the entries of a list together
    };
    int arcs;  // of a row's key; instances with more arcs are entries of a list in the row
    std::vector<const Object *> objects;
    std::vector<std::string> keys;
    std::vector<std::vector<Cell>> rows;  // a row ends with its last value
    std::unordered_map<std::string, size_t> row_of_key;

    size_t object_place(const Object *object);
    void put(const Target &target, const std::string &value);
    Cell at(size_t row, size_t object) const {
        return object < rows[row].size() ? rows[row][object] : Cell{};
    }
};

size_t Sheet::object_place(const Object *object) {
    const auto found = std::find(objects.begin(), objects.end(), object);
    if (found == objects.end()) return objects.push_back(object), objects.size() - 1;
    return static_cast<size_t>(found - objects.begin());
}

static std::string first_arcs(const std::string &instance, int count) {
    size_t end = 0;
    for (; count > 0 && end < instance.size(); count--)
        end = std::min(instance.find('.', end + 1), instance.size());
    return instance.substr(0, end);
}

void Sheet::put(const Target &target, const std::string &value) {
    const std::string key = first_arcs(target.instance, arcs);
    const auto [found, is_new] = row_of_key.try_emplace(key, rows.size());
    if (is_new) {
        keys.push_back(key);
        rows.emplace_back();
    }
    std::vector<Cell> &row = rows[found->second];
    const size_t place = object_place(target.object);
    if (row.size() <= place) row.resize(place + 1);
    const char *word = word_of(target.object, value);
    Cell &cell = row[place];
    cell.value = value;
    if (key == target.instance) cell.words.clear();
    if (!cell.words.empty() && !value.empty()) cell.words += ", ";
    cell.words += word ? word : value;
}

// Reads a column or a branch. Rows that come and go meanwhile may break a walk off; it is then begun again.
// In the end what the last one saw is taken, with a word about it.
static int read_into(const Client &client, const std::string &oid, Sheet *sheet) {
    constexpr int ATTEMPTS = 3;
    std::vector<std::pair<Target, std::string>> seen;
    std::string error;
    int status = EXIT_REFUSED;
    for (int i = 0; i < ATTEMPTS && status == EXIT_REFUSED; i++) {
        seen.clear();
        const auto keep = [&](const Target &target, const snmp_reply &reply) {
            if (target.object) seen.emplace_back(target, reply.value);
        };
        status = walk_values(client, oid, keep, &error);
    }
    if (status != EXIT_DONE) complain(status, error);
    if (status == EXIT_NO_DAEMON) return status;
    for (const auto &[target, value] : seen) sheet->put(target, value);
    return EXIT_DONE;
}

static bool is_number(const Object &object) {
    return object.type == INTEGER || object.type == TIMETICKS || object.type == GAUGE || *object.unit;
}

// On a terminal that is too narrow for the lines, the rows are shown one under the other.
static int print(const Client &client, const Grid &grid, const TableOptions &options) {
    const size_t width = terminal_size().width;
    const bool too_wide = width > 0 && aligned_width(grid) > width;
    if (client.json)
        answer_json(grid_json(grid));
    else
        print_grid(grid, options.csv ? CSV : options.vertical || too_wide ? VERTICAL : ALIGNED);
    return EXIT_DONE;
}

// A view's column and where its objects are in the sheet.
struct PlacedColumn {
    const ViewColumn *column;
    std::vector<size_t> places;
    size_t when_place;
};

// Has an object read unless it was already.
static int read_object(const Client &client, const Object *object, Sheet *sheet, size_t *place) {
    const size_t known = sheet->objects.size();
    *place = sheet->object_place(object);
    if (*place < known) return EXIT_DONE;
    return read_into(client, std::string(ROOT_OID) + "." + object->oid, sheet);
}

static int read_column(const Client &client, const ViewColumn &column, Sheet *sheet, PlacedColumn *placed) {
    *placed = {&column, {}, 0};
    for (const Object *object : column.objects) {
        if (!object) break;
        const int status = read_object(client, object, sheet, &placed->places.emplace_back());
        if (status != EXIT_DONE) return status;
    }
    return column.when.object ? read_object(client, column.when.object, sheet, &placed->when_place)
                              : EXIT_DONE;
}

static std::string cell_text(const Sheet &sheet, size_t row, const PlacedColumn &placed) {
    const ViewColumn &column = *placed.column;
    if (column.when.object) {
        const std::string condition = sheet.at(row, placed.when_place).value;
        if (condition.size() != 1 || !strchr(column.when.values, condition[0])) return "";
    }
    Values values;
    for (const size_t place : placed.places) values.push_back(sheet.at(row, place).words);
    return column.compose ? column.compose(values) : values[0];
}

// The columns of a view that are asked for, in that order.
static int select_columns(const View &view, const TableOptions &options,
                          std::vector<const ViewColumn *> *selected) {
    std::vector<std::string> headings;
    for (const ViewColumn &column : view.columns) {
        if (column.is_secret() && !options.secrets) continue;
        headings.emplace_back(column.heading);
        selected->push_back(&column);
    }
    if (options.columns.empty()) return EXIT_DONE;
    const std::vector<const ViewColumn *> all = *selected;
    selected->clear();
    for (const std::string &name : options.columns) {
        const int place = find_heading(headings, name);
        if (place < 0) return EXIT_USAGE;
        selected->push_back(all[static_cast<size_t>(place)]);
    }
    return EXIT_DONE;
}

int read_view(const Client &client, const View &view, const TableOptions &options, bool with_units,
              Grid *grid) {
    Sheet sheet{.arcs = view.arcs()};
    std::vector<const ViewColumn *> selected;
    std::vector<PlacedColumn> columns;
    if (const int status = select_columns(view, options, &selected); status != EXIT_DONE) return status;
    if (view.key) grid->columns.push_back({view.key, view.arcs() == 1});
    for (const ViewColumn *column : selected) {
        const int status = read_column(client, *column, &sheet, &columns.emplace_back());
        if (status != EXIT_DONE) return status;
        const std::vector<size_t> &places = columns.back().places;
        const Object &first = *sheet.objects[places[0]];
        const std::string unit = with_units && *first.unit ? std::string(" [") + first.unit + "]" : "";
        grid->columns.push_back(
            {column->heading + unit, places.size() == 1 && is_number(first), first.smi == COUNTER32});
    }
    grid->keys = sheet.keys;
    for (size_t row = 0; row < sheet.rows.size(); row++) {
        auto &texts = grid->rows.emplace_back();
        if (view.key) texts.push_back(sheet.keys[row]);
        for (const PlacedColumn &placed : columns) texts.push_back(cell_text(sheet, row, placed));
    }
    return EXIT_DONE;
}

int print_view(const Client &client, const View &view, const TableOptions &options) {
    Grid grid;
    const int status = read_view(client, view, options, !client.json && !options.csv, &grid);
    return status == EXIT_DONE ? print(client, grid, options) : status;
}

// Objects and branches as columns, by the names of the objects.
static int print_columns(const Client &client, const std::vector<std::string> &names,
                         const TableOptions &options) {
    constexpr int ALL_ARCS = 128;
    Sheet sheet{.arcs = ALL_ARCS};
    for (const std::string &name : names) {
        const Target target = parse_target(name);
        if (!target.error.empty()) {
            const std::string view = names.size() == 1 ? suggestion(name, view_names()) : "";
            return complain(EXIT_REFUSED,
                            view.empty() ? target.error : "no such table: " + printable(name) + view);
        }
        if (const int status = read_into(client, target.oid, &sheet); status != EXIT_DONE) return status;
    }
    std::vector<std::string> headings;
    std::vector<size_t> shown;
    for (const Object *object : sheet.objects) headings.emplace_back(object->name);
    for (size_t i = 0; i < headings.size() && options.columns.empty(); i++) shown.push_back(i);
    for (const std::string &name : options.columns) {
        const int place = find_heading(headings, name);
        if (place < 0) return EXIT_USAGE;
        shown.push_back(static_cast<size_t>(place));
    }
    const bool for_people = !client.json && !options.csv;
    Grid grid{.columns = {{"instance"}}, .keys = sheet.keys};
    for (const size_t i : shown) grid.columns.push_back({headings[i], is_number(*sheet.objects[i])});
    for (size_t row = 0; row < sheet.rows.size(); row++) {
        const Object *first = sheet.objects.empty() ? nullptr : sheet.objects[0];
        auto &texts = grid.rows.emplace_back(1, format_instance(first, sheet.keys[row]));
        for (const size_t i : shown) {
            const Sheet::Cell cell = sheet.at(row, i);
            const bool is_time = sheet.objects[i]->type == TIMETICKS && for_people;
            texts.push_back(is_time ? people_value(sheet.objects[i], cell.value) : cell.words);
        }
    }
    return print(client, grid, options);
}

int table(const Client &client, const std::vector<std::string> &names, const TableOptions &options) {
    const View *view = names.size() == 1 ? find_view(names[0]) : nullptr;
    return view ? print_view(client, *view, options) : print_columns(client, names, options);
}
