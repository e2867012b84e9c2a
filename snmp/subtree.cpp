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
// Values read ahead of a walk, at first and at most.
constexpr size_t FIRST_AHEAD = 8;
constexpr size_t MOST_AHEAD = 192;
constexpr seconds WARM_UP_PAUSE(1);

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
