#include "snmp/changes.h"

#include <algorithm>

#include "client/names.h"
#include "snmp/log.h"

static const Object &object_of(const Oid &oid) {
    bool belongs = false;
    return *subtree_objects()[object_at(oid, &belongs)].object;
}

// It made the daemon act at once, which no second SET takes back. The values of other objects wait in it for
// a save or an apply.
static bool acted(const Change &change) {
    return object_of(change.oid).acts && change.value.number != 0;
}

SetResult check_change(const Oid &oid, const Value &value) {
    bool belongs = false;
    const size_t index = object_at(oid, &belongs);
    if (!belongs) return check_set(nullptr, {}, value);
    const SubtreeObject &object = subtree_objects()[index];
    return check_set(object.object,
                     Oid(oid.begin() + static_cast<std::ptrdiff_t>(object.oid.size()), oid.end()), value);
}

static void finish(const std::shared_ptr<Changes> &changes, SetResult result, size_t failed) {
    const auto done = std::move(changes->done);
    changes->done = nullptr;
    changes->phase++;
    if (done) done(result, failed);
}

Clock::time_point latest_end(const Subtree &subtree, const Changes &changes) {
    const bool begun =
        std::any_of(changes.list.begin(), changes.list.end(), [](const Change &c) { return c.sent; });
    return begun ? changes.deadline : std::min(changes.deadline, silent_at(subtree));
}

void end_late_changes(const Subtree &subtree, const std::shared_ptr<Changes> &changes) {
    if (Clock::now() >= latest_end(subtree, *changes)) finish(changes, SetResult::NO_ANSWER, 0);
}

static void drop_known(Subtree *subtree, const Oid &oid) {
    bool belongs = false;
    drop_known(subtree, object_at(oid, &belongs));
}

// A SET is not sent after its time: nobody waits for it then. What was known of its object counts neither
// while it may be done nor after it.
static void ask_about(Subtree *subtree, const std::shared_ptr<Changes> &changes, RequestKind kind,
                      const Oid &oid, std::string set, std::function<void(const snmp_reply *)> take) {
    if (kind == KIND_SET) drop_known(subtree, oid);
    ask(&subtree->asker, {.kind = kind,
                          .oid = oid_text(oid),
                          .set = std::move(set),
                          .send_before = changes->deadline,
                          .done = [subtree, changes, kind, oid, phase = changes->phase,
                                   take = std::move(take)](const snmp_reply *reply) {
                              if (kind == KIND_SET) drop_known(subtree, oid);
                              if (changes->phase == phase) take(reply);
                          }});
}

static void make_change(Subtree *subtree, const std::shared_ptr<Changes> &changes, size_t at);

static void send_change(Subtree *subtree, const std::shared_ptr<Changes> &changes, size_t at) {
    Change &change = changes->list[at];
    const Object &object = object_of(change.oid);
    std::string error;
    change.sent = true;
    ask_about(subtree, changes, KIND_SET, change.oid, set_text(object, to_text(change.value), &error),
              [subtree, changes, at, &object](const snmp_reply *reply) {
                  if (!reply) return finish(changes, SetResult::NO_ANSWER, at);
                  const SetResult result =
                      set_result(object, reply->reply_status, changes->list[at].before.has_value());
                  if (result == SetResult::DONE) return make_change(subtree, changes, at + 1);
                  changes->list[at].sent = false;
                  finish(changes, result, at);
              });
}

static void make_change(Subtree *subtree, const std::shared_ptr<Changes> &changes, size_t at) {
    if (at == changes->list.size()) return finish(changes, SetResult::DONE, 0);
    // Asking first also keeps a SET from a daemon that is stopped and would execute it when it goes on.
    ask_about(subtree, changes, KIND_GET, changes->list[at].oid, "",
              [subtree, changes, at](const snmp_reply *reply) {
                  if (!reply) return finish(changes, SetResult::NO_ANSWER, at);
                  if (answers(*reply, changes->list[at].oid)) changes->list[at].before = reply->value;
                  send_change(subtree, changes, at);
              });
}

void make_changes(Subtree *subtree, const std::shared_ptr<Changes> &changes) {
    if (is_silent(*subtree)) return finish(changes, SetResult::NO_ANSWER, 0);
    make_change(subtree, changes, 0);
}

// Those from the first to `end`. A SET that cannot be taken back is passed over, and told in the end.
static void undo(Subtree *subtree, const std::shared_ptr<Changes> &changes, size_t end, bool undone) {
    while (end > 0 && !changes->list[end - 1].sent) end--;
    if (end == 0) return finish(changes, undone ? SetResult::DONE : SetResult::NO_ANSWER, 0);
    const Change &change = changes->list[end - 1];
    const auto go_on = [subtree, changes, end, undone](bool did) {
        if (!did)
            log_line(LOG_WARNING, oid_text(changes->list[end - 1].oid) +
                                      ": a SET of several objects was refused, and this one, "
                                      "already done, cannot be undone");
        undo(subtree, changes, end - 1, undone && did);
    };
    std::string error, set;
    if (change.before && !acted(change)) set = set_text(object_of(change.oid), *change.before, &error);
    if (set.empty() || !error.empty()) return go_on(false);
    ask_about(subtree, changes, KIND_SET, change.oid, set,
              [go_on](const snmp_reply *reply) { go_on(reply && reply->reply_status == STATUS_ACCEPTED); });
}

void undo_changes(Subtree *subtree, const std::shared_ptr<Changes> &changes) {
    undo(subtree, changes, changes->list.size(), true);
}
