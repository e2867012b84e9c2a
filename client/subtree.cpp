#include "client/subtree.h"

#include <algorithm>
#include <cstring>
#include <set>

#include "client/log.h"
#include "client/names.h"
#include "client/protocol.h"

using std::chrono::milliseconds;

constexpr milliseconds PATIENCE(400);
constexpr milliseconds SILENCE(1000);
// How old the rows may be that a walk is given: where it enters a column, and on its way through it.
constexpr milliseconds FRESH(2000);
constexpr milliseconds WALK(30000);

// The handlers of these run tools, or sample for half a second.
constexpr const char *SLOW_OBJECTS[] = {"1.60",     "1.63.5",   "1.64.7",   "2.1.1.9",  "2.1.1.45",
                                        "2.1.1.46", "2.1.1.47", "2.1.1.48", "2.1.1.49", "2.1.1.50",
                                        "3.1.1.20", "3.1.1.21", "3.1.1.22", "5.1.1",    "6.1.1"};

const std::vector<SubtreeObject> &subtree_objects() {
    static const std::vector<SubtreeObject> objects = [] {
        std::vector<SubtreeObject> list;
        for (const Object &object : OBJECTS)
            if (!object.is_branch())
                list.push_back({parse_oid(std::string(ROOT_OID) + "." + object.oid), &object});
        std::sort(list.begin(), list.end(), [](const auto &a, const auto &b) { return a.oid < b.oid; });
        return list;
    }();
    return objects;
}

// Place of the object that an OID belongs to, or behind the last one that comes before it.
static size_t object_at(const Oid &oid, bool *belongs) {
    const auto &objects = subtree_objects();
    const auto after =
        std::upper_bound(objects.begin(), objects.end(), oid,
                         [](const Oid &o, const SubtreeObject &object) { return o < object.oid; });
    const auto index = static_cast<size_t>(after - objects.begin());
    *belongs = index > 0 && is_below(oid, objects[index - 1].oid);
    return *belongs ? index - 1 : index;
}

static const Object &object_of(size_t index) {
    return *subtree_objects()[index].object;
}

static bool is_slow(size_t index) {
    if (index >= subtree_objects().size()) return false;
    const std::string_view oid = object_of(index).oid;
    return std::any_of(std::begin(SLOW_OBJECTS), std::end(SLOW_OBJECTS), [oid](const std::string_view slow) {
        return oid.starts_with(slow) && (oid.size() == slow.size() || oid[slow.size()] == '.');
    });
}

void end_request(Subtree *subtree) {
    subtree->deadline = {};
}

// One record. A daemon that did not answer in time is left alone for a while: the rest of this request and
// the next ones fail at once instead of waiting in turn.
static bool ask(Subtree *subtree, RequestKind kind, const std::string &oid, const std::string &set, bool slow,
                snmp_reply *reply) {
    const Clock::time_point begin = Clock::now();
    if (subtree->deadline == Clock::time_point()) subtree->deadline = begin + subtree->request_time;
    const auto left = std::chrono::duration_cast<milliseconds>(subtree->deadline - begin);
    const milliseconds patience = slow ? left : std::min(left, PATIENCE);
    if (begin < subtree->silent_until || patience.count() <= 0) return false;
    const Answer answer = exchange(subtree->socket, kind, oid, set, static_cast<int>(patience.count()));
    *reply = answer.reply;
    const bool answered = answer.error.empty();
    if (answered != subtree->answering)
        log_line(
            answered ? LOG_NOTICE : LOG_WARNING,
            "the daemon " + (answered ? std::string("answers again") : "does not answer: " + answer.error));
    subtree->answering = answered;
    if (!answered && Clock::now() - begin >= patience) subtree->silent_until = Clock::now() + SILENCE;
    return answered;
}

static std::optional<Value> value_of(Subtree *subtree, size_t index, const std::string &text) {
    std::optional<Value> value = to_value(object_of(index), text);
    if (!value && subtree->columns[index].unfit++ == 0)
        log_line(LOG_NOTICE, std::string(object_of(index).name) + ": \"" + printable(text) +
                                 "\" is no value of its syntax, so there is no such instance for managers");
    return value;
}

SubtreeReading read_instance(Subtree *subtree, const Oid &oid) {
    bool belongs = false;
    const size_t index = object_at(oid, &belongs);
    if (!belongs) return {Outcome::NO_OBJECT, oid, {}};
    snmp_reply reply;
    if (!ask(subtree, KIND_GET, oid_text(oid), "", is_slow(index), &reply)) return {};
    if (!answers(reply, oid)) return {Outcome::NO_INSTANCE, oid, {}};
    std::optional<Value> value = value_of(subtree, index, reply.value);
    if (!value) return {Outcome::NO_INSTANCE, oid, {}};
    return {Outcome::VALUE, oid, std::move(*value)};
}

// Notes a row that belongs to a later object, and that the objects between have none: GETNEXT passed them.
static void put_early(Subtree *subtree, size_t index, size_t later, const snmp_reply &reply) {
    const Clock::time_point now = Clock::now();
    for (size_t i = index + 1; i < later; i++) {
        subtree->columns[i].rows.clear();
        subtree->columns[i].read = now;
    }
    subtree->early = {later, reply.oid, reply.value, now};
}

static bool take_early(Subtree *subtree, size_t index, snmp_reply *reply) {
    EarlyRow &early = subtree->early;
    const bool fits = !early.oid.empty() && early.object == index && Clock::now() - early.read < FRESH;
    if (fits) {
        memset(reply, 0, sizeof *reply);
        put_text(reply->oid, early.oid);
        put_text(reply->value, early.text);
        reply->reply_status = object_of(index).type;
    }
    early.oid.clear();
    return fits;
}

enum class Chain { WHOLE, BROKEN, NO_ANSWER };

// Follows a column by GETNEXT. Broken: its rows were made anew meanwhile.
static Chain follow_column(Subtree *subtree, size_t index) {
    const Oid &column_oid = subtree_objects()[index].oid;
    std::map<Oid, Value> &rows = subtree->columns[index].rows;
    rows.clear();
    // The last row's question has the daemon refresh the next column, and any empty one behind it.
    const bool slow = is_slow(index) || is_slow(index + 1);
    snmp_reply reply;
    if (!take_early(subtree, index, &reply) &&
        !ask(subtree, KIND_GETNEXT, oid_text(column_oid), "", slow, &reply))
        return Chain::NO_ANSWER;
    std::set<Oid> seen;
    while (is_value(reply.reply_status)) {
        const Oid oid = parse_oid(reply.oid);
        bool belongs = false;
        const size_t at = object_at(oid, &belongs);
        if (at != index) {
            if (belongs && at > index) put_early(subtree, index, at, reply);
            return Chain::WHOLE;
        }
        if (!seen.insert(oid).second) return Chain::BROKEN;
        if (std::optional<Value> value = value_of(subtree, index, reply.value)) rows[oid] = std::move(*value);
        const std::string from = reply.oid;
        if (!ask(subtree, KIND_GETNEXT, from, "", slow, &reply)) return Chain::NO_ANSWER;
        if (is_value(reply.reply_status)) continue;
        // The end of the tree, or the row is gone and the walk cannot go on from it.
        if (!ask(subtree, KIND_GET, from, "", slow, &reply)) return Chain::NO_ANSWER;
        return answers(reply, parse_oid(from)) ? Chain::WHOLE : Chain::BROKEN;
    }
    return Chain::WHOLE;
}

static bool read_scalar(Subtree *subtree, size_t index) {
    Oid oid = subtree_objects()[index].oid;
    std::map<Oid, Value> &rows = subtree->columns[index].rows;
    rows.clear();
    oid.push_back(0);
    snmp_reply reply;
    const bool early = take_early(subtree, index, &reply) && answers(reply, oid);
    if (!early && !ask(subtree, KIND_GET, oid_text(oid), "", is_slow(index), &reply)) return false;
    if (!answers(reply, oid)) return true;
    if (std::optional<Value> value = value_of(subtree, index, reply.value)) rows[oid] = std::move(*value);
    return true;
}

// The rows of an object, or null without an answer. `inside`: the walk has had one of its rows already.
static const Column *column_at(Subtree *subtree, size_t index, bool inside) {
    Column &column = subtree->columns[index];
    const Clock::time_point now = Clock::now();
    const bool read = column.read != Clock::time_point();
    if (read && now - column.read < (inside ? WALK : FRESH)) return &column;
    column.read = {};
    if (!table_of(object_of(index))) {
        if (!read_scalar(subtree, index)) return nullptr;
    } else {
        Chain chain = follow_column(subtree, index);
        if (chain == Chain::BROKEN) chain = follow_column(subtree, index);
        if (chain == Chain::NO_ANSWER) return nullptr;
    }
    column.read = now;
    return &column;
}

SubtreeReading read_next(Subtree *subtree, const Oid &oid) {
    const auto &objects = subtree_objects();
    bool belongs = false;
    for (size_t i = object_at(oid, &belongs); i < objects.size(); i++) {
        const bool inside = is_below(oid, objects[i].oid) && oid.size() > objects[i].oid.size();
        if (inside && !table_of(*objects[i].object)) continue;
        const Column *column = column_at(subtree, i, inside);
        if (!column) return {};
        const auto row = column->rows.upper_bound(oid);
        if (row != column->rows.end()) return {Outcome::VALUE, row->first, row->second};
    }
    return {Outcome::NO_INSTANCE, oid, {}};
}

static void forget_columns(Subtree *subtree) {
    for (Column &column : subtree->columns) column.read = {};
    subtree->early.oid.clear();
}

SetResult check_change(const Oid &oid, const Value &value) {
    bool belongs = false;
    const size_t index = object_at(oid, &belongs);
    if (!belongs) return check_set(nullptr, {}, value);
    const auto arcs = static_cast<std::ptrdiff_t>(subtree_objects()[index].oid.size());
    return check_set(&object_of(index), Oid(oid.begin() + arcs, oid.end()), value);
}

SetResult make_change(Subtree *subtree, const Oid &oid, const Value &value, Change *change) {
    bool belongs = false;
    const Object &object = object_of(object_at(oid, &belongs));
    const std::string name = oid_text(oid);
    std::string error;
    snmp_reply reply;
    change->oid.clear();
    // Asking first also keeps a SET from a daemon that is stopped and would execute it when it goes on.
    if (!ask(subtree, KIND_GET, name, "", false, &reply)) return SetResult::NO_ANSWER;
    if (answers(reply, oid)) change->before = reply.value;
    forget_columns(subtree);
    change->oid = oid;  // from here on it may have been done, answered or not
    change->acts = object.acts && value.number != 0;
    if (!ask(subtree, KIND_SET, name, set_text(object, to_text(value), &error), change->acts, &reply))
        return SetResult::NO_ANSWER;
    const SetResult result = set_result(object, reply.reply_status, change->before.has_value());
    if (result != SetResult::DONE) change->oid.clear();
    return result;
}

bool undo_change(Subtree *subtree, const Change &change) {
    if (change.oid.empty()) return true;
    bool belongs = false;
    const Object &object = object_of(object_at(change.oid, &belongs));
    if (!change.before || change.acts) return false;
    std::string error;
    const std::string set = set_text(object, *change.before, &error);
    snmp_reply reply;
    forget_columns(subtree);
    return error.empty() && ask(subtree, KIND_SET, oid_text(change.oid), set, false, &reply) &&
           reply.reply_status == STATUS_ACCEPTED;
}

void log_unfit(const Subtree &subtree) {
    for (size_t i = 0; i < subtree.columns.size(); i++)
        if (const unsigned count = subtree.columns[i].unfit)
            log_line(LOG_INFO, std::string(object_of(i).name) + ": " + std::to_string(count) +
                                   " values were none of its syntax");
}
