#include "zevctl/settings_steps.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <thread>

#include "client/protocol.h"
#include "platform/device.h"
#include "zevctl/dependencies.h"
#include "zevctl/output.h"

Place beside(const Place &place, const Object &object) {
    Place other{static_cast<int>(&object - OBJECTS), place.arcs};
    other.arcs.resize(std::min<size_t>(other.arcs.size(), arc_count(object)));
    return other;
}

std::string known(const Load &load, const Place &place) {
    const auto found = load.device.find(place);
    return found == load.device.end() ? "" : found->second;
}

std::string wanted(const Load &load, const Place &place) {
    const auto found = load.file.settings.find(place);
    return found == load.file.settings.end() ? known(load, place) : found->second;
}

// ---- SETs ----

static bool is_met(const Load &load, const Place &place, const std::string &value, const Requirement &need) {
    if (need.only_for && value != need.only_for) return true;
    return (known(load, beside(place, *need.other)) == need.value) == need.is;
}

static std::string reason(const Load &load, const Place &place, const std::string &value, int status) {
    const Object &object = object_of(place);
    if (status != STATUS_WRONG_VALUE) return refusal(object, status);
    for (const Requirement &need : requirements_of(object)) {
        const Place other = beside(place, *need.other);
        const bool waits = load.is_unsaved && load.set.contains(other);
        if (is_met(load, place, value, need) && !waits) continue;
        if (waits)
            return "refused: needs " + place_name(other) + " = " +
                   file_value(object_of(other), known(load, other)) + " to be saved first";
        const bool comes = (wanted(load, other) == need.value) == need.is;
        return std::string(comes ? "refused: needs " : "not set: belongs to ") + place_name(other) +
               (need.is ? " = " : " other than ") + file_value(object_of(other), need.value) + ", it is " +
               file_value(object_of(other), known(load, other));
    }
    return refusal(object, status);
}

// EXIT_REFUSED leaves what the daemon answered in `answer`.
static int send(Load *load, const Place &place, const std::string &value, int *answer) {
    std::string error;
    const std::string text = set_text(object_of(place), value, &error);
    const Answer reply =
        exchange(load->client.socket, KIND_SET, place_oid(place), text, load->client.timeout_ms);
    if (!reply.error.empty()) return complain(EXIT_NO_DAEMON, reply.error);
    *answer = reply.reply.reply_status;
    if (*answer != STATUS_ACCEPTED) return EXIT_REFUSED;
    load->device[place] = value;
    load->is_unsaved = true;
    return EXIT_DONE;
}

static int save_if_needed(Load *load) {
    if (!load->is_unsaved || !load->may_save) return EXIT_DONE;
    load->is_unsaved = false;
    return save(load->client);
}

// Tries lines once, in their order. What is refused stays in `refused`.
static int try_lines(Load *load, const std::vector<Place> &places) {
    for (const Place &place : places) {
        int answer = 0;
        const std::string &value = load->file.settings.at(place);
        const int status = send(load, place, value, &answer);
        if (status == EXIT_NO_DAEMON) return status;
        if (status == EXIT_DONE) {
            load->set.insert(place);
            load->refused.erase(place);
        } else {
            load->refused[place] = reason(*load, place, value, answer);
        }
    }
    return EXIT_DONE;
}

static std::vector<Place> refused_places(const Load &load) {
    std::vector<Place> places;
    places.reserve(load.refused.size());
    for (const auto &[place, text] : load.refused) places.push_back(place);
    return places;
}

// Saves and tries what was refused again, as long as that helps.
static int try_after_saves(Load *load) {
    while (!load->refused.empty() && load->is_unsaved) {
        const size_t before = load->refused.size();
        int status = save_if_needed(load);
        if (status == EXIT_DONE) status = try_lines(load, refused_places(*load));
        if (status != EXIT_DONE) return status;
        load->after_save += static_cast<int>(before - load->refused.size());
        if (load->refused.size() == before) break;
    }
    return EXIT_DONE;
}

// ---- the way back ----

static bool differs(const Load &load, const Place &place, const std::string &value) {
    return !same_setting(object_of(place), known(load, place), value);
}

static bool has_needs(const Place &place) {
    return !requirements_of(object_of(place)).empty();
}

// Sets those that differ, and saves, as long as that helps.
static int set_rounds(Load *load, const Settings &values, bool only_dependent) {
    for (size_t left = values.size() + 1, before = left + 1; left < before && left > 0;) {
        before = left;
        left = 0;
        for (const auto &[place, value] : values) {
            int answer = 0;
            if (!differs(*load, place, value) || (only_dependent && !has_needs(place))) continue;
            const int status = send(load, place, value, &answer);
            if (status == EXIT_NO_DAEMON) return status;
            left += status == EXIT_REFUSED;
        }
        if (const int status = save_if_needed(load); status != EXIT_DONE) return status;
        if (!load->may_step) break;
    }
    return EXIT_DONE;
}

// First what the present state lets in, then the rest: what was let in by a state that goes could not be put
// back after it.
static int put_back(Load *load, const Settings &values) {
    int status = set_rounds(load, values, true);
    if (status == EXIT_DONE) status = set_rounds(load, values, false);
    if (status != EXIT_DONE) return status;
    for (const auto &[place, value] : values)
        // What nothing depends on any more may stay.
        if (differs(*load, place, value) && !has_needs(place))
            status = complain(EXIT_REFUSED, place_name(place) + " could not be set back to " +
                                                file_value(object_of(place), value));
    return status;
}

static bool is_part_in_force(const Load &load, const Place &place) {
    const Object *type = type_of(object_of(place));
    return type && counts_with(object_of(place), known(load, beside(place, *type)));
}

// A security type comes with all that belongs to it, or not at all: one whose key was refused would have an
// old key, or none.
static int take_back_incomplete(Load *load) {
    Settings values;
    std::map<Place, std::string> reasons;
    for (const auto &[refused, text] : load->refused) {
        if (!is_part_in_force(*load, refused)) continue;
        const Object &type = *type_of(object_of(refused));
        for (const auto &[place, value] : load->before) {
            const Object &object = object_of(place);
            if ((&object != &type && !is_part_in_force(*load, place)) || !differs(*load, place, value) ||
                beside(place, type) != beside(refused, type))
                continue;
            values[place] = value;
            if (load->set.contains(place))
                reasons[place] = "taken back: " + place_name(refused) + " was refused";
        }
    }
    const int status = put_back(load, values);
    for (const auto &[place, text] : reasons) {
        load->set.erase(place);
        load->refused[place] = text;
    }
    return status;
}

// ---- what lines depend on and the file leaves off ----

// The values wanted of each place; security types are left alone.
using Wanted = std::map<Place, std::vector<std::string>>;

static Wanted wanted_values(const Load &load) {
    Wanted wanted;
    for (const auto &[place, text] : load.refused) {
        for (const Requirement &need : requirements_of(object_of(place))) {
            if (!need.is || is_security_type(*need.other) ||
                is_met(load, place, load.file.settings.at(place), need))
                continue;
            auto &values = wanted[beside(place, *need.other)];
            if (std::find(values.begin(), values.end(), need.value) == values.end())
                values.push_back(need.value);
        }
    }
    return wanted;
}

// Has these hold for a moment and tries what was refused again.
static int open_and_try(Load *load, const Settings &open) {
    const std::map<Place, std::string> before = load->refused;
    const int after_save = load->after_save;
    Settings back;
    for (const auto &[place, value] : open) back[place] = known(*load, place);
    int status = set_rounds(load, open, false);
    if (status == EXIT_DONE) status = try_lines(load, refused_places(*load));
    if (status == EXIT_DONE) status = try_after_saves(load);
    if (status == EXIT_DONE) status = save_if_needed(load);
    if (status == EXIT_DONE) status = set_rounds(load, back, false);
    if (status != EXIT_DONE) return status;
    for (const auto &[place, value] : back)
        if (differs(*load, place, value))
            status = complain(EXIT_REFUSED, place_name(place) + " could not be set back to " +
                                                file_value(object_of(place), value));
    load->opened += static_cast<int>(before.size() - load->refused.size());
    load->after_save = after_save;
    for (auto &[place, text] : load->refused) text = before.at(place);  // as it is now again
    return status;
}

static int try_while_open(Load *load) {
    const Wanted wanted = wanted_values(*load);
    for (size_t round = 0;; round++) {
        Settings open;
        for (const auto &[place, values] : wanted)
            if (round < values.size()) open[place] = values[round];
        if (open.empty() || load->refused.empty()) return EXIT_DONE;
        if (const int status = open_and_try(load, open); status != EXIT_DONE) return status;
    }
}

int set_lines(Load *load, const std::vector<Place> &places) {
    int status = try_lines(load, places);
    if (status == EXIT_DONE && load->may_step) status = try_after_saves(load);
    if (status == EXIT_DONE && load->may_step && load->may_open) status = try_while_open(load);
    if (status == EXIT_DONE) status = take_back_incomplete(load);
    if (status == EXIT_DONE) status = save_if_needed(load);
    return status;
}

// ---- the note ----

static int wait_for_lock(const Client &client, LoadNote *note) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(client.timeout_ms);
    while (!note->lock()) {
        const std::string other = note->id();
        if (errno != EWOULDBLOCK && errno != EAGAIN) return complain(EXIT_REFUSED, strerror(errno));
        if (std::chrono::steady_clock::now() >= end)
            return complain(EXIT_REFUSED, "another load is under way" +
                                              (other.empty() ? "" : ": " + printable(other.substr(2))));
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return EXIT_DONE;
}

static int put_back_left(const Client &client, LoadNote *note) {
    std::istringstream text(note->text());
    const SettingsFile file = read_settings(text, "note");
    if (file.settings.empty()) return note->clear() ? EXIT_DONE : complain(EXIT_REFUSED, strerror(errno));
    Load load{client, file};
    load.may_save = load.may_step = true;
    std::vector<int> objects;
    for (const auto &[place, value] : file.settings)
        if (objects.empty() || objects.back() != place.object) objects.push_back(place.object);
    if (const int status = read_settings(client, objects, &load.device); status != EXIT_DONE) return status;
    fprintf(stderr, "zevctl: a load that has died is taken back first: %s\n",
            printable(note->id().substr(2)).c_str());
    load.is_unsaved = true;
    int status = put_back(&load, file.settings);
    if (status == EXIT_DONE) status = save_if_needed(&load);
    if (status == EXIT_DONE) note->clear();
    return status;
}

int begin_load(const Client &client, LoadNote *note, std::string *error) {
    if (!note->open(true)) {
        *error = device_path(LOAD_NOTE_FILE) + ": " + strerror(errno);
        return EXIT_DONE;
    }
    if (const int status = wait_for_lock(client, note); status != EXIT_DONE) return status;
    return note->id().empty() ? EXIT_DONE : put_back_left(client, note);
}

bool note_values(const Load &load, LoadNote *note) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    std::string text = "# " + printable(load.file.name) + ", by process " + std::to_string(getpid()) +
                       ", begun " + std::to_string(now.tv_sec) + "." + std::to_string(now.tv_nsec) + "\n";
    for (const auto &[place, value] : load.before)
        if (value_mistake(object_of(place), value).empty())
            text += place_name(place) + " = " + file_value(object_of(place), value) + "\n";
    return note->write(text);
}
