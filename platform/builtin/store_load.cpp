// A load of settings that saves in steps: what was saved before the first one stands in a layer of its own,
// until the load has ended.
#include "platform/builtin/store.h"
#include "platform/load_note.h"

static constexpr char KEPT_FOR[] = "id";

LoadState look_at_load(LoadNote *note) {
    if (!note->open(false) || note->id().empty()) return LoadState::NONE;
    if (!note->lock()) return LoadState::RUNS;
    return note->id().empty() ? LoadState::NONE : LoadState::LEFT;
}

static bool is_kept(sqlite3 *db, const LoadNote &note) {
    std::vector<StoreItem> items;
    return list_items(db, LAYER_LOAD_ID, "", &items) && !items.empty() && items[0].value == note.id();
}

bool keep_saved(sqlite3 *db, const LoadNote &note) {
    return is_kept(db, note) || (copy_layer(db, LAYER_WORKING, LAYER_BEFORE_LOAD) &&
                                 put_items(db, LAYER_LOAD_ID, {{"", KEPT_FOR, note.id()}}));
}

bool put_back_saved(sqlite3 *db, const LoadNote &note) {
    return !is_kept(db, note) || (copy_layer(db, LAYER_BEFORE_LOAD, LAYER_WORKING) && forget_saved(db));
}

bool forget_saved(sqlite3 *db) {
    return clear_layer(db, LAYER_LOAD_ID) && clear_layer(db, LAYER_BEFORE_LOAD);
}

bool take_saved(sqlite3 *db, std::string *why) {
    LoadNote note;
    const LoadState load = look_at_load(&note);
    Transaction transaction(db);
    bool done = transaction.started();
    if (load == LoadState::NONE) done = done && forget_saved(db);
    if (load == LoadState::LEFT) done = done && put_back_saved(db, note);
    const bool steps = load == LoadState::RUNS && is_kept(db, note);
    done = done && copy_layer(db, steps ? LAYER_BEFORE_LOAD : LAYER_WORKING, LAYER_RUNNING);
    if (!done || !transaction.commit()) {
        *why = store_error(db);
        return false;
    }
    if (load == LoadState::LEFT) note.clear();
    return true;
}
