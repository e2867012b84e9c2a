#include "zevctl/watch.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <thread>
#include <unordered_map>

#include "client/names.h"

using Cells = std::vector<std::string>;

// ---- one round as lines ----

// Lines of texts as columns of equal width; unlike a printed table's, they stay in place when they are empty.
static std::vector<std::string> aligned(const std::vector<Cells> &lines) {
    std::vector<size_t> widths(lines[0].size());
    for (const Cells &line : lines)
        for (size_t i = 0; i < line.size(); i++) widths[i] = std::max(widths[i], line[i].size());
    std::vector<std::string> texts;
    for (const Cells &line : lines) {
        std::string text;
        for (size_t i = 0; i < line.size(); i++)
            text += line[i] + std::string(i + 1 < line.size() ? widths[i] + 2 - line[i].size() : 0, ' ');
        texts.push_back(text);
    }
    return texts;
}

// What a counter of 32 bits moved by. One that fell has either wrapped or begun anew.
static uint64_t moved(const std::string &before, const std::string &now) {
    const uint64_t from = strtoull(before.c_str(), nullptr, 10);
    const uint64_t to = strtoull(now.c_str(), nullptr, 10);
    if (to >= from) return to - from;
    const uint64_t wrapped = to + (1ULL << 32) - from;
    return wrapped < (1ULL << 31) ? wrapped : to;
}

struct ShownRow {
    const char *mark;
    const Cells *before;  // null when it is new or gone
    const Cells *cells;
};

static std::string shown_cell(const Grid::Column &column, size_t i, const ShownRow &row) {
    const std::string &value = (*row.cells)[i];
    if (value.empty()) return "-";
    if (!column.is_counter || !row.before || (*row.before)[i].empty() || (*row.before)[i] == value)
        return printable(value);
    return printable(value) + " +" + std::to_string(moved((*row.before)[i], value));
}

using RowsByKey = std::unordered_map<std::string, const Cells *>;

static RowsByKey by_key(const Grid *grid) {
    RowsByKey rows;
    for (size_t i = 0; grid && i < grid->rows.size(); i++) rows[grid->keys[i]] = &grid->rows[i];
    return rows;
}

static std::vector<ShownRow> compare(const Grid *before, const Grid &now) {
    const RowsByKey old_rows = by_key(before), new_rows = by_key(&now);
    std::vector<ShownRow> rows;
    for (size_t i = 0; i < now.rows.size(); i++) {
        const auto known = old_rows.find(now.keys[i]);
        const bool is_known = known != old_rows.end();
        rows.push_back({before && !is_known ? "new" : "", is_known ? known->second : nullptr, &now.rows[i]});
    }
    for (size_t i = 0; before && i < before->rows.size(); i++)
        if (!new_rows.contains(before->keys[i])) rows.push_back({"gone", nullptr, &before->rows[i]});
    return rows;
}

// A number, with letters behind it or none: "-55", "130M".
static bool read_number(const std::string &text, double *number) {
    const size_t first = text.starts_with('-') ? 1 : 0;
    if (first >= text.size() || !isdigit(static_cast<unsigned char>(text[first]))) return false;
    char *end = nullptr;
    *number = strtod(text.c_str(), &end);
    return std::all_of(text.begin() + (end - text.c_str()), text.end(),
                       [](unsigned char c) { return isalpha(c) != 0; });
}

// Numbers largest first, other texts in their order, absent values last.
static void sort_rows(std::vector<ShownRow> *rows, size_t column) {
    struct Key {
        double number;
        ShownRow row;
    };
    const auto text = [&](const ShownRow &row) -> const std::string & { return (*row.cells)[column]; };
    std::vector<Key> keys;
    bool numbers = true;
    for (const ShownRow &row : *rows) {
        double number = -std::numeric_limits<double>::infinity();
        if (!text(row).empty() && !read_number(text(row), &number)) numbers = false;
        keys.push_back({number, row});
    }
    std::stable_sort(keys.begin(), keys.end(), [&](const Key &a, const Key &b) {
        if (numbers) return a.number > b.number;
        if (text(a.row).empty() != text(b.row).empty()) return text(b.row).empty();
        return text(a.row) < text(b.row);
    });
    std::transform(keys.begin(), keys.end(), rows->begin(), [](const Key &key) { return key.row; });
}

static std::string summary(const std::vector<ShownRow> &rows, const Grid &now) {
    const auto marked = [&](std::string_view mark) {
        return std::to_string(
            std::count_if(rows.begin(), rows.end(), [&](const ShownRow &row) { return mark == row.mark; }));
    };
    std::string text =
        std::to_string(now.rows.size()) + " rows, " + marked("new") + " new, " + marked("gone") + " gone";
    for (size_t i = 0; i < now.columns.size(); i++) {
        if (!now.columns[i].is_counter) continue;
        uint64_t sum = 0;
        for (const ShownRow &row : rows)
            if (row.before && !(*row.before)[i].empty() && !(*row.cells)[i].empty())
                sum += moved((*row.before)[i], (*row.cells)[i]);
        text += ", " + now.columns[i].heading + " +" + std::to_string(sum);
    }
    return text;
}

std::vector<std::string> round_lines(const Grid *before, const Grid &now, int sort) {
    std::vector<ShownRow> rows = compare(before, now);
    if (sort >= 0) sort_rows(&rows, static_cast<size_t>(sort));
    std::vector<Cells> table(1, {"    "});  // as wide as the widest mark, so that the columns stay in place
    for (const Grid::Column &column : now.columns) table[0].push_back(column.heading);
    for (const ShownRow &row : rows) {
        table.push_back({row.mark});
        for (size_t i = 0; i < now.columns.size(); i++)
            table.back().push_back(shown_cell(now.columns[i], i, row));
    }
    std::vector<std::string> lines = aligned(table);
    lines.insert(lines.begin(), summary(rows, now));
    return lines;
}

// ---- round after round ----

static std::string time_of_day() {
    const time_t now = time(nullptr);
    tm parts{};
    localtime_r(&now, &parts);
    char text[16];
    strftime(text, sizeof text, "%H:%M:%S", &parts);
    return text;
}

// Over the round before on a terminal, cut to its size, which the first line says; one behind the other
// elsewhere.
static void print_round(std::vector<std::string> lines) {
    static bool first = true;
    const bool terminal = isatty(STDOUT_FILENO) != 0;
    if (terminal)
        fputs("\033[H\033[J", stdout);
    else if (!first)
        puts("");
    first = false;
    TerminalSize size = terminal_size();
    if (size.height < 4) size = {};
    const size_t width = size.width ? size.width : std::numeric_limits<int>::max();
    const size_t most = size.height ? size.height - 2 : lines.size();
    if (std::any_of(lines.begin(), lines.end(), [&](const std::string &line) { return line.size() > width; }))
        lines[0] = "(lines are cut) " + lines[0];
    for (size_t i = 0; i < std::min(most, lines.size()); i++)
        printf("%.*s\n", static_cast<int>(width), lines[i].c_str());
    if (lines.size() > most) printf("and %zu more\n", lines.size() - most);
    fflush(stdout);
}

// The terminal is left as it is, and every round was printed whole.
static void end_watch(int) {
    _exit(EXIT_DONE);
}

static int find_sort_column(const Grid &grid, const std::string &sort) {
    std::vector<std::string> headings;
    for (const Grid::Column &column : grid.columns) headings.push_back(column.heading);
    return find_heading(headings, sort);
}

int watch(const Client &client, const View &view, const WatchOptions &options) {
    if (client.json) return complain(EXIT_USAGE, "watch prints no JSON");
    signal(SIGINT, end_watch);
    const auto interval = std::chrono::duration<double>(options.interval_s);
    Grid before;
    int sort = -1;
    for (int round = 1;; round++) {
        const auto begin = std::chrono::steady_clock::now();
        Grid now;
        const int status = read_view(client, view, {.columns = options.columns}, false, &now);
        if (status != EXIT_DONE) return status;
        if (round == 1 && !options.sort.empty() && (sort = find_sort_column(now, options.sort)) < 0)
            return EXIT_USAGE;
        std::vector<std::string> lines = round_lines(round > 1 ? &before : nullptr, now, sort);
        lines[0] = time_of_day() + "  " + lines[0];
        print_round(lines);
        before = std::move(now);
        if (round == options.count || ferror(stdout)) return EXIT_DONE;
        std::this_thread::sleep_until(begin + interval);
    }
}
