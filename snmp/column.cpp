#include "snmp/column.h"

#include <algorithm>

#include "client/names.h"
#include "snmp/log.h"
#include "snmp/subtree.h"

// The handler has done its work when an answer comes within this.
constexpr std::chrono::milliseconds QUICK(20);

// ---- rows and their values ----

std::vector<KnownRow>::const_iterator row_behind(const std::vector<KnownRow> &rows, size_t index,
                                                 const Oid &oid) {
    const Oid &object = subtree_objects()[index].oid;
    if (!is_below(oid, object)) return oid < object ? rows.begin() : rows.end();
    const auto arcs = oid.begin() + static_cast<std::ptrdiff_t>(object.size());
    return std::partition_point(rows.begin(), rows.end(), [&](const KnownRow &row) {
        const auto [arc, own] = std::mismatch(arcs, oid.end(), row.key.begin(), row.key.end());
        return own == row.key.end() || (arc != oid.end() && *own < *arc);
    });
}

std::vector<KnownRow>::iterator row_at(std::vector<KnownRow> &rows, const RowKey &key) {
    return std::lower_bound(rows.begin(), rows.end(), key,
                            [](const KnownRow &row, const RowKey &k) { return row.key < k; });
}

Value value_of(Subtree *subtree, size_t index, const char *text) {
    std::optional<Value> value = to_value(object_of(index), text);
    if (value) return std::move(*value);
    if (subtree->columns[index].unfit++ == 0)
        log_line(LOG_NOTICE, std::string(object_of(index).name) + ": \"" + printable(text) +
                                 "\" is no value of its syntax, so there is no such instance for managers");
    return {};
}

void log_unfit(const Subtree &subtree) {
    for (size_t i = 0; i < subtree.columns.size(); i++)
        if (const unsigned count = subtree.columns[i].unfit)
            log_line(LOG_INFO, std::string(object_of(i).name) + ": " + std::to_string(count) +
                                   " values were none of its syntax");
}

// ---- reading a column ----

static std::vector<RowLink>::iterator link_at(std::vector<RowLink> &links, const RowKey &key) {
    return std::lower_bound(links.begin(), links.end(), key,
                            [](const RowLink &link, const RowKey &k) { return link.key < k; });
}

static void follow(Subtree *subtree, size_t index);

static void end_reading(Subtree *subtree, size_t index, bool failed) {
    KnownColumn &column = subtree->columns[index];
    ColumnReading &reading = column.reading;
    reading.active = false;
    if (failed) {
        column.failed = subtree->asker.now;
    } else {
        std::sort(reading.rows.begin(), reading.rows.end(),
                  [](const KnownRow &a, const KnownRow &b) { return a.key < b.key; });
        column.rows = std::move(reading.rows);
        column.rows.shrink_to_fit();
        column.started = reading.started;
        column.read = subtree->asker.now;
        subtree->columns[subtree_objects()[index].table].latest = index;
    }
    reading.rows = std::vector<KnownRow>();  // unlike an empty list in braces, this frees their memory
    reading.links = std::vector<RowLink>();
}

// GETNEXT passed these, so they have no rows.
static void note_empty(Subtree *subtree, size_t index, size_t end) {
    const Clock::time_point started = subtree->columns[index].reading.started;
    for (size_t i = index + 1; i < end; i++) {
        KnownColumn &column = subtree->columns[i];
        if (column.reading.active || column.dropped > started) continue;
        column.rows.clear();
        column.started = started;
        column.read = subtree->asker.now;
    }
}

static void take_link(Subtree *subtree, size_t index, const RowKey &key, const snmp_reply &reply) {
    ColumnReading &reading = subtree->columns[index].reading;
    RowLink &link = *link_at(reading.links, key);
    const Oid oid = parse_oid(reply.oid);
    bool belongs = false;
    const size_t at = object_at(oid, &belongs);
    const std::optional<RowKey> next = belongs && at == index ? key_of(oid, index) : std::nullopt;
    link.answered = true;
    link.ended = !next;
    if (next) {
        link.next = *next;
        link.value = value_of(subtree, index, reply.value);
    } else if (belongs && at > index) {
        note_empty(subtree, index, at);
    }
}

static void take_scalar(Subtree *subtree, size_t index, const snmp_reply &reply) {
    if (answers(reply, oid_of(index, SCALAR)))
        subtree->columns[index].reading.rows.push_back(
            {SCALAR, value_of(subtree, index, reply.value), subtree->asker.now});
    end_reading(subtree, index, false);
}

// The rows were made anew in the middle of the reading: once more, from the beginning.
static void read_again(Subtree *subtree, size_t index) {
    ColumnReading &reading = subtree->columns[index].reading;
    if (reading.again) return end_reading(subtree, index, false);
    reading.again = true;
    reading.number++;
    reading.rows.clear();
    reading.links.clear();
    follow(subtree, index);
}

static void ask_column(Subtree *subtree, size_t index, RequestKind kind, const RowKey &key,
                       std::function<void(const snmp_reply &)> take) {
    ColumnReading &reading = subtree->columns[index].reading;
    const Clock::time_point asked = subtree->asker.now;
    ask(&subtree->asker, {.kind = kind,
                          .oid = text_of(index, key),
                          .set = {},
                          .turn = is_slow(index) && !reading.quick ? Turn::SLOW
                                  : reading.ahead                  ? Turn::AHEAD
                                                                   : Turn::AWAITED,
                          .send_before = Clock::time_point::max(),
                          .done = [subtree, index, asked, number = reading.number,
                                   take = std::move(take)](const snmp_reply *reply) {
                              ColumnReading &now = subtree->columns[index].reading;
                              if (!now.active || now.number != number) return;
                              if (!reply) return end_reading(subtree, index, true);
                              now.quick = now.quick || subtree->asker.now - asked < QUICK;
                              take(*reply);
                          }});
}

static void ask_next(Subtree *subtree, size_t index, const RowKey &key) {
    std::vector<RowLink> &links = subtree->columns[index].reading.links;
    const auto at = link_at(links, key);
    if (at != links.end() && at->key == key) return;
    links.insert(at, RowLink{key});
    ask_column(subtree, index, KIND_GETNEXT, key, [subtree, index, key](const snmp_reply &reply) {
        if (is_value(reply.reply_status)) {
            take_link(subtree, index, key, reply);
            return follow(subtree, index);
        }
        // The end of the tree, or the row is gone and the walk cannot go on from it.
        ask_column(subtree, index, KIND_GET, key, [subtree, index, key](const snmp_reply &there) {
            RowLink &link = *link_at(subtree->columns[index].reading.links, key);
            link.answered = link.ended = true;
            const std::vector<KnownRow> &rows = subtree->columns[index].reading.rows;
            const bool chained = !rows.empty() && rows.back().key == key;
            if (chained && !answers(there, oid_of(index, key))) return read_again(subtree, index);
            follow(subtree, index);
        });
    });
}

const std::vector<KnownRow> &likely_rows(const Subtree &subtree, size_t index) {
    const size_t latest = subtree.columns[subtree_objects()[index].table].latest;
    const bool own = subtree.columns[index].read >= subtree.columns[latest].read;
    return subtree.columns[own ? index : latest].rows;
}

// Goes along the rows as far as the answers reach and asks for what is missing.
static void follow(Subtree *subtree, size_t index) {
    ColumnReading &reading = subtree->columns[index].reading;
    RowKey key = reading.rows.empty() ? RowKey() : reading.rows.back().key;
    for (;;) {
        const auto link = link_at(reading.links, key);
        if (link == reading.links.end() || link->key != key) return ask_next(subtree, index, key);
        if (!link->answered) return;
        if (link->ended) return end_reading(subtree, index, false);
        const bool first = reading.rows.empty();
        link->passed = true;
        const auto next = link_at(reading.links, link->next);
        if (next != reading.links.end() && next->key == link->next && next->passed)
            return read_again(subtree, index);
        reading.rows.push_back({link->next, std::move(link->value), subtree->asker.now});
        key = link->next;
        if (reading.rows.size() == subtree_objects()[index].most_rows)
            return end_reading(subtree, index, false);
        // The first answer had the daemon refresh the column: the others can be asked at once.
        if (!first) continue;
        for (const KnownRow &row : likely_rows(*subtree, index)) ask_next(subtree, index, row.key);
    }
}

void start_reading(Subtree *subtree, size_t index, bool ahead) {
    ColumnReading &reading = subtree->columns[index].reading;
    reading.active = true;
    reading.ahead = ahead;
    reading.number++;
    reading.started = subtree->asker.now;
    reading.again = reading.quick = false;
    if (is_scalar(index))
        ask_column(subtree, index, KIND_GET, SCALAR,
                   [subtree, index](const snmp_reply &reply) { take_scalar(subtree, index, reply); });
    else
        follow(subtree, index);
}
