// zevctl load and diff: from a file to the device, through the daemon's own checks.
//
// The daemon judges a SET by what is stored, not by what is queued. What it refuses is therefore tried again
// after a save, until nothing more moves. What then stays refused because another setting, which the file
// leaves off, has to be on for it, is set while that other one is on for a moment: in the saved configuration
// only, nothing is applied meanwhile.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "client/protocol.h"
#include "platform/device.h"
#include "zevctl/dependencies.h"
#include "zevctl/output.h"
#include "zevctl/settings.h"

// The place of an object that a row's settings depend on: in the same row, or of the row's radio.
static Place beside(const Place &place, const char *name) {
    const Object &object = *find_object(name);
    Place other{object_index(name), place.arcs};
    other.arcs.resize(std::min<size_t>(other.arcs.size(), arc_count(object)));
    return other;
}

// ---- a load that goes on ----

struct Load {
    const Client &client;
    const SettingsFile &file;
    Settings device;                       // as far as it is known
    std::map<Place, std::string> refused;  // the lines that could not be set, and why
    int set = 0, after_save = 0, opened = 0;
    bool is_unsaved = false;
};

static std::string known(const Load &load, const Place &place) {
    const auto found = load.device.find(place);
    return found == load.device.end() ? "" : found->second;
}

static bool is_met(const Load &load, const Place &place, const std::string &value, const Dependency &need) {
    if (std::string_view(object_of(place).name) != need.object) return true;
    if (need.only_for && value != need.only_for) return true;
    return (known(load, beside(place, need.other)) == need.value) == need.is;
}

static std::string reason(const Load &load, const Place &place, const std::string &value, int status) {
    const Object &object = object_of(place);
    if (status != STATUS_WRONG_VALUE) return refusal(object, status);
    for (const Dependency &need : dependencies()) {
        if (is_met(load, place, value, need)) continue;
        const Place other = beside(place, need.other);
        return "refused: needs " + place_name(other) + (need.is ? " = " : " other than ") +
               file_value(object_of(other), need.value) + ", it is " +
               file_value(object_of(other), known(load, other));
    }
    return refusal(object, status);
}

// A SET; EXIT_REFUSED leaves what the daemon answered in `answer`.
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
    if (!load->is_unsaved) return EXIT_DONE;
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
            load->set++;
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

// Sets these, saves, and does so once more for those that depend on others of them. What cannot be set is
// left out.
static int set_and_save(Load *load, const std::vector<std::pair<Place, std::string>> &values) {
    for (int round = 0; round < 2; round++) {
        for (const auto &[place, value] : values) {
            int answer = 0;
            if (known(*load, place) != value && send(load, place, value, &answer) == EXIT_NO_DAEMON)
                return EXIT_NO_DAEMON;
        }
        if (const int status = save_if_needed(load); status != EXIT_DONE) return status;
    }
    return EXIT_DONE;
}

// What refused lines need and the device does not have: the values wanted of each place.
using Wanted = std::map<Place, std::vector<std::string>>;

static Wanted wanted_values(const Load &load) {
    Wanted wanted;
    for (const auto &[place, text] : load.refused) {
        for (const Dependency &need : dependencies()) {
            if (!need.is || is_met(load, place, load.file.settings.at(place), need)) continue;
            auto &values = wanted[beside(place, need.other)];
            if (std::find(values.begin(), values.end(), need.value) == values.end())
                values.push_back(need.value);
        }
    }
    return wanted;
}

// Has these hold for a moment and tries what was refused again.
static int open_and_try(Load *load, const std::vector<std::pair<Place, std::string>> &open) {
    const std::map<Place, std::string> before = load->refused;
    const int after_save = load->after_save;
    std::vector<std::pair<Place, std::string>> back;
    back.reserve(open.size());
    for (const auto &[place, value] : open) back.emplace_back(place, known(*load, place));
    int status = set_and_save(load, open);
    if (status == EXIT_DONE) status = try_lines(load, refused_places(*load));
    if (status == EXIT_DONE) status = try_after_saves(load);
    if (status == EXIT_DONE) status = save_if_needed(load);
    if (status == EXIT_NO_DAEMON) return status;
    const int closed = set_and_save(load, back);
    for (const auto &[place, value] : back)
        if (known(*load, place) != value)
            complain(EXIT_REFUSED,
                     place_name(place) + " could not be set back to " + file_value(object_of(place), value));
    load->opened += static_cast<int>(before.size() - load->refused.size());
    load->after_save = after_save;
    for (auto &[place, text] : load->refused) text = before.at(place);  // as it is now again
    return status == EXIT_DONE ? closed : status;
}

static int try_while_open(Load *load) {
    const Wanted wanted = wanted_values(*load);
    for (size_t round = 0;; round++) {
        std::vector<std::pair<Place, std::string>> open;
        for (const auto &[place, values] : wanted)
            if (round < values.size()) open.emplace_back(place, values[round]);
        if (open.empty() || load->refused.empty()) return EXIT_DONE;
        if (const int status = open_and_try(load, open); status != EXIT_DONE) return status;
    }
}

static int try_all(Load *load, const std::vector<Place> &changes, bool may_save) {
    int status = try_lines(load, changes);
    if (status == EXIT_DONE && may_save) status = try_after_saves(load);
    if (status == EXIT_DONE && may_save) status = try_while_open(load);
    if (status == EXIT_DONE && may_save) status = save_if_needed(load);
    return status;
}

// ---- before and after ----

static std::vector<int> objects_in(const SettingsFile &file) {
    std::vector<int> objects;
    for (const auto &[place, value] : file.settings) {
        if (std::find(objects.begin(), objects.end(), place.object) == objects.end())
            objects.push_back(place.object);
        for (const Dependency &need : dependencies())
            if (std::string_view(object_of(place).name) == need.object)
                objects.push_back(object_index(need.other));
        if (std::string_view(object_of(place).name) == WEP_PART) objects.push_back(object_index(WEP_MODE));
    }
    std::sort(objects.begin(), objects.end());
    objects.erase(std::unique(objects.begin(), objects.end()), objects.end());
    return objects;
}

static std::string value_in(const Load &load, const Place &place) {
    const auto found = load.file.settings.find(place);
    return found == load.file.settings.end() ? known(load, place) : found->second;
}

// True when the line speaks of a part of WEP that the VAP's mode does not have.
static bool is_outside_of_wep(const Load &load, const Place &place) {
    return std::string_view(object_of(place).name) == WEP_PART &&
           value_in(load, beside(place, WEP_MODE)) != WEP;
}

// Tables whose rows come into being when they are written.
static bool may_be_new(const Object &object) {
    const Table *table = table_of(object);
    return table && table->is_counted() && std::string_view(object.oid).starts_with("7.");
}

static bool differs(const Load &load, const Place &place) {
    const auto shown = load.device.find(place);
    return shown == load.device.end() ||
           !same_setting(object_of(place), shown->second, load.file.settings.at(place));
}

// The lines to set, in the order of the registration. What cannot be set goes to `refused`.
static std::vector<Place> changes(Load *load) {
    Settings disturbed;
    std::vector<Place> places;
    for (const auto &[place, value] : load->file.settings) {
        if (!load->device.contains(place) && !may_be_new(object_of(place))) {
            load->refused[place] = "not on this device";
        } else if (is_outside_of_wep(*load, place)) {
            if (differs(*load, place) && value != WEP)
                load->refused[place] = std::string("belongs to ") + WEP_MODE + " = WEP";
        } else if (differs(*load, place) || disturbed.contains(place)) {
            places.push_back(place);
            for (const auto &effect : effects())
                if (std::string_view(object_of(place).name) == effect.object)
                    disturbed[beside(place, effect.changes)];
        }
    }
    return places;
}

// What was accepted may still not be as the file says: another line has changed it, or the device cannot do
// it.
static int check_result(Load *load) {
    Settings now;
    if (const int status = read_settings(load->client, objects_in(load->file), &now); status != EXIT_DONE)
        return status;
    load->device = now;
    for (const auto &[place, value] : load->file.settings) {
        if (load->refused.contains(place) || is_outside_of_wep(*load, place) || !differs(*load, place))
            continue;
        const std::string shown = known(*load, place);
        load->refused[place] = shown == "-1" ? "not on this device"
                               : object_of(place).secret
                                   ? "accepted, but the device has another value"
                                   : "accepted, but the device has " + file_value(object_of(place), shown);
    }
    return EXIT_DONE;
}

// ---- what is printed ----

static std::string line_of(const Load &load, const Place &place) {
    return load.file.name + ":" + std::to_string(load.file.lines.at(place)) + ": " + place_name(place);
}

static std::string shown_value(const Load &load, const Place &place, bool secrets) {
    const auto found = load.device.find(place);
    if (found == load.device.end()) return "(none)";
    return object_of(place).secret && !secrets ? "(secret)" : file_value(object_of(place), found->second);
}

static void print_changes(const Load &load, const std::vector<Place> &places, bool secrets) {
    std::vector<std::string> documents;
    for (const Place &place : places) {
        const Object &object = object_of(place);
        const std::string &value = load.file.settings.at(place);
        const bool hidden = object.secret && !secrets;
        const Target target = locate(place_oid(place));
        const int type = hidden ? STRING : object.type;
        if (load.client.json)
            documents.push_back("{\"line\":" + std::to_string(load.file.lines.at(place)) + ",\"device\":" +
                                value_json(target, type, hidden ? "(secret)" : known(load, place)) +
                                ",\"file\":" + value_json(target, type, hidden ? "(secret)" : value) + "}");
        else
            printf("%s: %s -> %s\n", place_name(place).c_str(), shown_value(load, place, secrets).c_str(),
                   hidden ? "(secret)" : file_value(object, value).c_str());
    }
    if (load.client.json) answer_json(json_array(documents));
}

static int complain_all(const Load &load) {
    for (const auto &[place, text] : load.refused) complain(EXIT_REFUSED, line_of(load, place) + ": " + text);
    return load.refused.empty() ? EXIT_DONE : EXIT_REFUSED;
}

static void print_summary(const Load &load) {
    const size_t lines = load.file.settings.size(), refused = load.refused.size();
    if (!load.client.json) {
        printf("%zu settings: %d set, %zu refused", lines, load.set, refused);
        if (load.after_save + load.opened > 0)
            printf("; %d were refused at first and set after a save", load.after_save + load.opened);
        if (load.opened > 0)
            printf(", %d of them while what they depend on was on for a moment", load.opened);
        puts("");
        return;
    }
    std::vector<std::string> documents;
    for (const auto &[place, text] : load.refused)
        documents.push_back("{\"line\":" + std::to_string(load.file.lines.at(place)) + ",\"name\":" +
                            json_text(place_name(place)) + ",\"reason\":" + json_text(text) + "}");
    answer_json("{\"settings\":" + std::to_string(lines) + ",\"set\":" + std::to_string(load.set) +
                ",\"set_after_save\":" + std::to_string(load.after_save + load.opened) +
                ",\"refused\":" + json_array(documents) + "}");
}

// Reads the file and what the device shows of it.
static int begin(Load *load) {
    for (const std::string &mistake : load->file.mistakes) complain(EXIT_USAGE, mistake);
    if (!load->file.mistakes.empty()) return EXIT_USAGE;
    return read_settings(load->client, objects_in(load->file), &load->device);
}

int load_settings(const Client &client, const LoadOptions &options) {
    const SettingsFile file = read_settings_file(options.file);
    Load load{client, file};
    if (const int status = begin(&load); status != EXIT_DONE) return status;
    const std::vector<Place> places = changes(&load);
    if (options.dry_run) {
        print_changes(load, places, options.secrets);
        return complain_all(load);
    }
    const std::map<Place, std::string> never = std::move(load.refused);
    load.refused.clear();
    const bool may_save = options.save || options.apply;
    load.is_unsaved = may_save;  // what the device shows already may be queued only, by a load that was ended
    int status = try_all(&load, places, may_save);
    load.refused.insert(never.begin(), never.end());
    if (status == EXIT_DONE && load.set > 0) status = check_result(&load);
    print_summary(load);
    if (const int refused = complain_all(load); refused != EXIT_DONE && status == EXIT_DONE) {
        status = refused;
        if (!may_save)
            complain(status, "nothing was saved; with --save, what depends on other lines is tried again");
    }
    const bool unapplied = load.set > 0 || our_file_exists(SAVED_CHANGES_FILE);
    if (status == EXIT_NO_DAEMON || !options.apply || !unapplied) return status;
    const int applied = apply(client, options.wait);
    return applied == EXIT_DONE ? status : applied;
}

int diff_settings(const Client &client, const std::string &name, bool secrets, bool exit_code) {
    const SettingsFile file = read_settings_file(name);
    Load load{client, file};
    if (const int status = begin(&load); status != EXIT_DONE) return status;
    std::vector<Place> places;
    for (const auto &[place, value] : file.settings)
        if (differs(load, place)) places.push_back(place);
    print_changes(load, places, secrets);
    return exit_code && !places.empty() ? EXIT_REFUSED : EXIT_DONE;
}
