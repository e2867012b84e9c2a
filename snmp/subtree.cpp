// What counts as fresh
//   GET: only what the daemon is asked for it; managers who ask for the same meanwhile share the question.
//   GETNEXT: a column whose reading began after the question had come; one that ended after it, when nothing
//       has changed since it began. A question that goes on with a walk is also given rows that were read
//       before, when nothing has changed since: up to ENTERED old where it comes to a column, up to PASSED
//       inside it. Any other has its column read anew.
// What makes stale what was asked before
//   everything: a SET by whomever, a rebuild, a start of the daemon, the beginning and the end of an apply.
//       Its files tell (snmp/files.h).
//   of a table: a GET that finds a row that was not known, or none where one was.
//   of an object: a SET of ours, also while it is on its way; that is not even kept for a daemon that is
//       silent.
// A daemon that is silent, gone or late is another matter: what is known is served, up to `keep` old.
#include "snmp/subtree.h"

#include <algorithm>
#include <cstring>

#include "client/names.h"
#include "platform/device.h"
#include "snmp/log.h"

using std::chrono::milliseconds;
using std::chrono::seconds;

// A request waits for so long while something is known. Managers ask again after a second.
constexpr milliseconds PATIENCE(700);
// How old the rows may be that a walk is given: where it enters a column, and on its way through it.
constexpr milliseconds ENTERED(2000);
constexpr milliseconds PASSED(30000);
// A manager who asks for nothing more within this has ended his walk.
constexpr milliseconds WALKING(2000);
constexpr size_t MOST_WALKS = 128;
// The handler has done its work when an answer comes within this.
constexpr milliseconds QUICK(20);
// Values read ahead of a walk, at first and at most.
constexpr size_t FIRST_AHEAD = 8;
constexpr size_t MOST_AHEAD = 192;
constexpr seconds WARM_UP_PAUSE(1);

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

static const Object &object_of(size_t index) {
    return *subtree_objects()[index].object;
}

static bool is_scalar(size_t index) {
    return subtree_objects()[index].most_rows == 1;
}

static bool is_slow(size_t index) {
    return object_of(index).slow;
}

// ---- rows and their keys ----

static constexpr RowKey SCALAR = {.arcs = {0}, .size = 1};

// None when no row can have these arcs.
static std::optional<RowKey> key_of(const Oid &oid, size_t index) {
    const size_t above = subtree_objects()[index].oid.size();
    RowKey key;
    if (oid.size() - above > key.arcs.size()) return std::nullopt;
    for (size_t i = above; i < oid.size(); i++) {
        if (oid[i] > 255) return std::nullopt;
        key.arcs[key.size++] = static_cast<uint8_t>(oid[i]);
    }
    return key;
}

static Oid oid_of(size_t index, const RowKey &key) {
    Oid oid = subtree_objects()[index].oid;
    oid.insert(oid.end(), key.begin(), key.end());
    return oid;
}

static std::string text_of(size_t index, const RowKey &key) {
    std::string text = subtree_objects()[index].text;
    for (const int arc : key) text += "." + std::to_string(arc);
    return text;
}

// The first row behind an OID.
static std::vector<KnownRow>::const_iterator row_behind(const std::vector<KnownRow> &rows, size_t index,
                                                        const Oid &oid) {
    const Oid &object = subtree_objects()[index].oid;
    if (!is_below(oid, object)) return oid < object ? rows.begin() : rows.end();
    const auto arcs = oid.begin() + static_cast<std::ptrdiff_t>(object.size());
    return std::partition_point(rows.begin(), rows.end(), [&](const KnownRow &row) {
        const auto [arc, own] = std::mismatch(arcs, oid.end(), row.key.begin(), row.key.end());
        return own == row.key.end() || (arc != oid.end() && *own < *arc);
    });
}

static std::vector<KnownRow>::iterator row_at(std::vector<KnownRow> &rows, const RowKey &key) {
    return std::lower_bound(rows.begin(), rows.end(), key,
                            [](const KnownRow &row, const RowKey &k) { return row.key < k; });
}

static Value value_of(Subtree *subtree, size_t index, const char *text) {
    std::optional<Value> value = to_value(object_of(index), text);
    if (value) return std::move(*value);
    if (subtree->columns[index].unfit++ == 0)
        log_line(LOG_NOTICE, std::string(object_of(index).name) + ": \"" + printable(text) +
                                 "\" is no value of its syntax, so there is no such instance for managers");
    return {};
}

// ---- what is kept, and for how long ----

bool is_silent(const Subtree &subtree) {
    return silence(subtree.asker) >= PATIENCE;
}

Clock::time_point silent_at(const Subtree &subtree) {
    const Clock::duration owed = silence(subtree.asker);
    return owed > Clock::duration::zero() || !subtree.asker.sent.empty()
               ? subtree.asker.now + (PATIENCE - owed)
               : Clock::time_point::max();
}

static bool is_known(const Subtree &subtree, Clock::time_point since) {
    return since != Clock::time_point() && subtree.asker.now - since < subtree.keep;
}

// A SET by whomever, a rebuild, a daemon that was started; and an apply, which is as much as its files say.
static void look_for_changes(Subtree *subtree) {
    take_changes(subtree->files, [subtree](const std::string &path, FileChange change) {
        if (change == FileChange::UNKNOWN || path == subtree->asker.socket ||
            path == device_path(APPLY_LOCK_FILE) || path == device_path(SAVED_CHANGES_FILE))
            subtree->changed = Clock::now();
    });
}

void drop_known(Subtree *subtree, size_t index) {
    KnownColumn &column = subtree->columns[index];
    subtree->changed = column.dropped = subtree->asker.now;
    column.rows.clear();
    column.started = column.read = {};
    column.reading.active = false;
}

static bool is_fresh(const Subtree &subtree, size_t index, bool inside, const ManagerRequest &request) {
    const KnownColumn &column = subtree.columns[index];
    const Clock::time_point rows_differ = subtree.columns[subtree_objects()[index].table].rows_differ;
    if (column.read == Clock::time_point()) return false;
    if (column.started >= request.seen) return true;
    if (column.started < std::max(subtree.changed, rows_differ)) return false;
    if (column.read >= request.arrived) return true;
    return request.walk && subtree.asker.now - column.read < (inside ? PASSED : ENTERED);
}

// ---- walks ----

// Of several at one place the one that has waited longest. It is the request's own until that is answered.
static std::optional<Walk> take_walk(Subtree *subtree, const Oid &at) {
    std::vector<Walk> &walks = subtree->walks;
    const Clock::time_point now = subtree->asker.now;
    std::erase_if(walks, [now](const Walk &walk) { return now - walk.asked >= WALKING; });
    const auto found = std::find_if(walks.begin(), walks.end(), [&](const Walk &w) { return w.at == at; });
    if (found == walks.end()) return std::nullopt;
    Walk walk = std::move(*found);
    walks.erase(found);
    return walk;
}

static void note_walk(Subtree *subtree, ManagerRequest *request, const Oid &at) {
    std::vector<Walk> &walks = subtree->walks;
    if (walks.size() == MOST_WALKS) walks.erase(walks.begin());
    walks.push_back({at, subtree->asker.now, request->walk ? request->walk->ahead : 0});
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

// The rows that a column probably has: those of the column of its table that was read last.
static const std::vector<KnownRow> &likely_rows(const Subtree &subtree, size_t index) {
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

static void start_reading(Subtree *subtree, size_t index, bool ahead) {
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

// A walk that has gone through one object comes to the next: it is read ahead of, the further the longer it
// goes on. What takes long is read when it is asked for, and so is a column whose rows can only be found one
// after the other.
static void read_ahead(Subtree *subtree, size_t index, ManagerRequest *request) {
    if (!request->walk || request->entered >= index) return;
    request->entered = index;
    const size_t ahead = request->walk->ahead;
    request->walk->ahead = std::clamp(2 * ahead, FIRST_AHEAD, MOST_AHEAD);
    size_t values = 0;
    for (size_t i = index + 1; i < subtree->columns.size() && values < ahead; i++) {
        const size_t rows = is_scalar(i) ? 1 : likely_rows(*subtree, i).size();
        if (is_slow(i) || rows == 0) continue;
        values += rows;
        if (!subtree->columns[i].reading.active && !is_fresh(*subtree, i, false, *request))
            start_reading(subtree, i, true);
    }
}

// ---- the requests ----

static Clock::time_point patience_ends(const ManagerRequest &request) {
    return std::min(request.deadline, request.arrived + PATIENCE);
}

Clock::time_point next_try(const Subtree &subtree, const ManagerRequest &request) {
    return subtree.asker.now < patience_ends(request) ? patience_ends(request) : request.deadline;
}

static SubtreeReading answer_late(Subtree *subtree, SubtreeReading reading) {
    if (!subtree->late) {
        const bool refused = subtree->asker.refused != Clock::time_point();
        log_line(LOG_WARNING, "the daemon does not answer" +
                                  (refused ? ": " + subtree->asker.error : std::string(" in time")) +
                                  "; what is known is served");
    }
    subtree->late = true;
    return reading;
}

// Without the daemon: what is known once its time is over, else PENDING until the deadline.
static bool wants_known(const Subtree &subtree, const ManagerRequest &request, bool failed) {
    return failed || is_silent(subtree) || subtree.asker.now >= patience_ends(request);
}

// What a GET of one instance answered is known from then on, whether or not somebody still waits for it.
static void note_answer(Subtree *subtree, size_t index, const RowKey &key, Clock::time_point asked,
                        const std::optional<Value> &value) {
    KnownColumn &column = subtree->columns[index];
    if (asked < column.dropped) return;
    const auto row = row_at(column.rows, key);
    const bool known = row != column.rows.end() && row->key == key;
    if (value.has_value() != known) subtree->columns[subtree_objects()[index].table].rows_differ = asked;
    if (known && value)
        *row = {key, *value, subtree->asker.now};
    else if (known)
        column.rows.erase(row);
    else if (value)
        column.rows.insert(row, {key, *value, subtree->asker.now});
}

static std::shared_ptr<PendingGet> look_up(Subtree *subtree, size_t index, const Oid &oid,
                                           const RowKey &key) {
    std::shared_ptr<PendingGet> lookup = subtree->lookups[oid].lock();
    if (lookup && lookup->asked >= subtree->changed) return lookup;
    lookup = std::make_shared<PendingGet>();
    lookup->asked = subtree->asker.now;
    const std::weak_ptr<PendingGet> awaited = subtree->lookups[oid] = lookup;
    ask(&subtree->asker,
        {.kind = KIND_GET,
         .oid = oid_text(oid),
         .set = {},
         .turn = is_slow(index) ? Turn::SLOW : Turn::AWAITED,
         .send_before = Clock::time_point::max(),
         .use = awaited,
         .done = [subtree, index, oid, key, awaited, asked = lookup->asked](const snmp_reply *reply) {
             const std::shared_ptr<PendingGet> get = awaited.lock();
             const auto at = subtree->lookups.find(oid);
             if (at != subtree->lookups.end() && (at->second.expired() || at->second.lock() == get))
                 subtree->lookups.erase(at);
             if (!reply && get) get->outcome = Outcome::NO_ANSWER;
             if (!reply) return;
             std::optional<Value> value;
             if (answers(*reply, oid)) value = value_of(subtree, index, reply->value);
             note_answer(subtree, index, key, asked, value);
             if (!get) return;
             if (value) get->value = std::move(*value);
             get->outcome = get->value.syntax == Syntax::OTHER ? Outcome::NO_INSTANCE : Outcome::VALUE;
         }});
    return lookup;
}

static SubtreeReading answer_get(Subtree *subtree, ManagerRequest *request) {
    bool belongs = false;
    const size_t index = object_at(request->oid, &belongs);
    if (!belongs) return {Outcome::NO_OBJECT, request->oid, {}};
    const std::optional<RowKey> key = key_of(request->oid, index);
    if (!key) return {Outcome::NO_INSTANCE, request->oid, {}};
    KnownColumn &column = subtree->columns[index];
    const auto row = row_at(column.rows, *key);
    const bool there = row != column.rows.end() && row->key == *key;
    const bool known = is_known(*subtree, there ? row->answered : column.read);
    if (!request->lookup && !(known && is_silent(*subtree)))
        request->lookup = look_up(subtree, index, request->oid, *key);
    const Outcome outcome = request->lookup ? request->lookup->outcome : Outcome::PENDING;
    if (outcome == Outcome::VALUE || outcome == Outcome::NO_INSTANCE)
        return {outcome, request->oid, request->lookup->value};
    const bool failed = outcome == Outcome::NO_ANSWER;
    if (known && wants_known(*subtree, *request, failed)) {
        const Value value = there ? row->value : Value{};
        const bool fits = value.syntax != Syntax::OTHER;
        return answer_late(subtree, {fits ? Outcome::VALUE : Outcome::NO_INSTANCE, request->oid, value});
    }
    if (failed || subtree->asker.now >= request->deadline) return answer_late(subtree, {});
    return {Outcome::PENDING, {}, {}};
}

static SubtreeReading answer_next(Subtree *subtree, ManagerRequest *request) {
    const auto &objects = subtree_objects();
    const Oid &oid = request->oid;
    bool belongs = false;
    const size_t from = object_at(oid, &belongs);
    for (size_t i = from; i < objects.size(); i++) {
        const bool inside = i == from && belongs && oid.size() > objects[i].oid.size();
        if (inside && is_scalar(i)) continue;
        KnownColumn &column = subtree->columns[i];
        const bool fresh = is_fresh(*subtree, i, inside, *request);
        bool late = false;
        if (!fresh) {
            const bool known = is_known(*subtree, column.read);
            const bool failed = column.failed >= request->arrived;
            if (!column.reading.active && !failed && !(known && is_silent(*subtree)))
                start_reading(subtree, i, false);
            column.reading.ahead = false;
            if (!known && (failed || subtree->asker.now >= request->deadline))
                return answer_late(subtree, {});
            late = known && wants_known(*subtree, *request, failed);
        }
        if (belongs && i > from && !late) read_ahead(subtree, i, request);
        if (!fresh && !late) return {Outcome::PENDING, {}, {}};
        auto row = row_behind(column.rows, i, oid);
        while (row != column.rows.end() && row->value.syntax == Syntax::OTHER) ++row;
        if (row == column.rows.end()) continue;
        const SubtreeReading reading = {Outcome::VALUE, oid_of(i, row->key), row->value};
        return late ? answer_late(subtree, reading) : reading;
    }
    return {Outcome::NO_INSTANCE, oid, {}};
}

SubtreeReading answer(Subtree *subtree, ManagerRequest *request) {
    if (request->seen == Clock::time_point()) {
        look_for_changes(subtree);
        request->seen = subtree->asker.now;
        if (request->next) request->walk = take_walk(subtree, request->oid);
    }
    if (!request->next) return answer_get(subtree, request);
    SubtreeReading reading = answer_next(subtree, request);
    if (reading.outcome == Outcome::VALUE) note_walk(subtree, request, reading.oid);
    if (reading.outcome == Outcome::NO_ANSWER) note_walk(subtree, request, request->oid);
    return reading;
}

void step(Subtree *subtree, bool waits) {
    const Clock::time_point answered = subtree->asker.answered;
    step(&subtree->asker, waits);
    if (subtree->late && subtree->asker.answered > answered && !is_silent(*subtree)) {
        log_line(LOG_NOTICE, "the daemon answers again");
        subtree->late = false;
    }
}

// What does not take long first.
static const std::vector<size_t> &warm_up_order() {
    static const std::vector<size_t> order = [] {
        std::vector<size_t> list;
        for (const bool slow : {false, true})
            for (size_t i = 0; i < subtree_objects().size(); i++)
                if (is_slow(i) == slow) list.push_back(i);
        return list;
    }();
    return order;
}

Clock::time_point next_warm_up(const Subtree &subtree) {
    return subtree.warmed < warm_up_order().size() ? subtree.asker.now + WARM_UP_PAUSE
                                                   : Clock::time_point::max();
}

void warm_up(Subtree *subtree) {
    const std::vector<size_t> &order = warm_up_order();
    const Asker &asker = subtree->asker;
    while (subtree->warmed < order.size()) {
        KnownColumn &column = subtree->columns[order[subtree->warmed]];
        if (column.read != Clock::time_point()) {
            if (++subtree->warmed == order.size()) log_line(LOG_INFO, "every object is known");
            continue;
        }
        const bool idle = asker.sent.empty() && all_sent(asker);
        if (column.reading.active || !idle || subtree->asker.now < subtree->warm_next) return;
        if (column.failed != Clock::time_point()) {
            subtree->warm_next = subtree->asker.now + WARM_UP_PAUSE;
            column.failed = {};
            if (asker.refused == Clock::time_point())
                subtree->warmed++;  // it ran and did not answer this one
            return;
        }
        start_reading(subtree, order[subtree->warmed], true);
    }
}

void log_unfit(const Subtree &subtree) {
    for (size_t i = 0; i < subtree.columns.size(); i++)
        if (const unsigned count = subtree.columns[i].unfit)
            log_line(LOG_INFO, std::string(object_of(i).name) + ": " + std::to_string(count) +
                                   " values were none of its syntax");
}
