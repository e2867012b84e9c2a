#include "client/watch.h"

#include <strings.h>
#include <sys/ioctl.h>
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

#include "client/output.h"

static constexpr char STATION_ENTRY[] = "5.1.1";

using Cells = std::vector<std::string>;

const std::vector<const Object *> &station_columns() {
    static const std::vector<const Object *> columns = [] {
        std::vector<const Object *> found;
        for (const Object &object : OBJECTS)
            if (!object.is_branch() && object.entry_oid() == STATION_ENTRY) found.push_back(&object);
        return found;
    }();
    return columns;
}

std::string heading(const Object &column) {
    const std::string name = column.name;
    const size_t common = name.find("Sta");
    return common == std::string::npos ? name : name.substr(common + 3);
}

const Object *find_station_column(const std::string &text) {
    const Object *found = nullptr;
    for (const Object *column : station_columns()) {
        if (strcasecmp(column->name, text.c_str()) == 0) return column;
        if (strncasecmp(heading(*column).c_str(), text.c_str(), text.size()) != 0) continue;
        if (found) return nullptr;
        found = column;
    }
    return found;
}

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

static bool is_counter(const Object &column) {
    return column.smi == COUNTER32;
}

struct ShownRow {
    const char *mark;
    const Cells *before;  // null when it is new or gone
    const Cells *cells;
};

static std::string shown_cell(size_t i, const ShownRow &row) {
    const Object &column = *station_columns()[i];
    const std::string &value = (*row.cells)[i];
    if (value.empty()) return "-";
    if (const char *word = word_of(&column, value)) return word;
    if (!is_counter(column) || !row.before || (*row.before)[i].empty() || (*row.before)[i] == value)
        return printable(value);
    return printable(value) + " +" + std::to_string(moved((*row.before)[i], value));
}

static std::vector<ShownRow> compare(const Stations *before, const Stations &now) {
    std::vector<ShownRow> rows;
    for (const auto &[instance, cells] : now) {
        const bool known = before && before->contains(instance);
        rows.push_back({before && !known ? "new" : "", known ? &before->at(instance) : nullptr, &cells});
    }
    if (!before) return rows;
    for (const auto &[instance, cells] : *before)
        if (!now.contains(instance)) rows.push_back({"gone", nullptr, &cells});
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

static std::string summary(const std::vector<ShownRow> &rows, size_t stations) {
    const auto marked = [&](std::string_view mark) {
        return std::to_string(
            std::count_if(rows.begin(), rows.end(), [&](const ShownRow &row) { return mark == row.mark; }));
    };
    std::string text =
        std::to_string(stations) + " stations, " + marked("new") + " new, " + marked("gone") + " gone";
    for (size_t i = 0; i < station_columns().size(); i++) {
        if (!is_counter(*station_columns()[i])) continue;
        uint64_t sum = 0;
        for (const ShownRow &row : rows)
            if (row.before && !(*row.before)[i].empty() && !(*row.cells)[i].empty())
                sum += moved((*row.before)[i], (*row.cells)[i]);
        text += ", " + heading(*station_columns()[i]) + " +" + std::to_string(sum);
    }
    return text;
}

std::vector<std::string> round_lines(const Stations *before, const Stations &now, const Object *sort) {
    const auto &columns = station_columns();
    const auto place = sort ? std::find(columns.begin(), columns.end(), sort) : columns.begin();
    std::vector<ShownRow> rows = compare(before, now);
    sort_rows(&rows, static_cast<size_t>(place - columns.begin()));
    std::vector<Cells> table(1, {"    "});  // as wide as the widest mark, so that the columns stay in place
    for (const Object *column : columns) table[0].push_back(heading(*column));
    for (const ShownRow &row : rows) {
        table.push_back({row.mark});
        for (size_t i = 0; i < columns.size(); i++) table.back().push_back(shown_cell(i, row));
    }
    std::vector<std::string> lines = aligned(table);
    lines.insert(lines.begin(), summary(rows, now.size()));
    return lines;
}

// ---- round after round ----

static int read_stations(const Client &client, Stations *stations) {
    const auto &columns = station_columns();
    const std::string entry = std::string(ROOT_OID) + "." + STATION_ENTRY;
    std::string error;
    const auto take = [&](const Target &at, const snmp_reply &reply) {
        const auto column = std::find(columns.begin(), columns.end(), at.object);
        if (column == columns.end()) return;
        Cells &cells = (*stations)[at.instance];
        cells.resize(columns.size());
        cells[static_cast<size_t>(column - columns.begin())] = reply.value;
    };
    const int status = walk_values(client, entry, take, &error);
    return status == EXIT_DONE ? status : complain(status, error);
}

static std::string time_of_day() {
    const time_t now = time(nullptr);
    tm parts{};
    localtime_r(&now, &parts);
    char text[16];
    strftime(text, sizeof text, "%H:%M:%S", &parts);
    return text;
}

// Over the round before on a terminal, cut to its size; one behind the other elsewhere.
static void print_round(const std::vector<std::string> &lines) {
    static bool first = true;
    winsize size{};
    const bool terminal = isatty(STDOUT_FILENO) != 0;
    if (terminal)
        fputs("\033[H\033[J", stdout);
    else if (!first)
        puts("");
    first = false;
    if (!terminal || ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row < 4)
        size = {};
    const size_t most = size.ws_row ? size.ws_row - 2U : lines.size();
    const int width = size.ws_col ? size.ws_col : std::numeric_limits<int>::max();
    for (size_t i = 0; i < std::min(most, lines.size()); i++) printf("%.*s\n", width, lines[i].c_str());
    if (lines.size() > most) printf("and %zu more\n", lines.size() - most);
    fflush(stdout);
}

// The terminal is left as it is, and every round was printed whole.
static void end_watch(int) {
    _exit(EXIT_DONE);
}

int watch_stations(const Client &client, const WatchOptions &options) {
    const Object *sort = nullptr;
    if (client.json) {
        fputs("zevctl: watch prints no JSON\n", stderr);
        return EXIT_USAGE;
    }
    if (!options.sort.empty() && !(sort = find_station_column(options.sort))) {
        fprintf(stderr, "zevctl: %s names no column, or several:", printable(options.sort).c_str());
        for (const Object *column : station_columns()) fprintf(stderr, " %s", heading(*column).c_str());
        fputs("\n", stderr);
        return EXIT_USAGE;
    }
    signal(SIGINT, end_watch);
    const auto interval = std::chrono::duration<double>(options.interval_s);
    Stations before;
    bool have_before = false;
    for (int round = 1;; round++) {
        const auto begin = std::chrono::steady_clock::now();
        Stations now;
        const int status = read_stations(client, &now);
        if (status == EXIT_NO_DAEMON) return status;
        if (status == EXIT_DONE) {
            std::vector<std::string> lines = round_lines(have_before ? &before : nullptr, now, sort);
            lines[0] = time_of_day() + "  " + lines[0];
            print_round(lines);
            before = std::move(now);
            have_before = true;
        }
        if (round == options.count) return status;
        std::this_thread::sleep_until(begin + interval);
    }
}
