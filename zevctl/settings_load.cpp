// zevctl load and diff: from a file to the device, through the daemon's own checks.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "client/protocol.h"
#include "platform/device.h"
#include "zevctl/dependencies.h"
#include "zevctl/output.h"
#include "zevctl/settings_steps.h"

// ---- before and after ----

static std::vector<int> objects_in(const SettingsFile &file) {
    std::set<const Object *> objects;
    for (const auto &[place, value] : file.settings) {
        const Object &object = object_of(place);
        objects.insert(&object);
        for (const Requirement &need : requirements_of(object)) objects.insert(need.other);
        for (const Object *changed : changed_by(object)) objects.insert(changed);
        if (is_in_item_of_type(object)) objects.insert(type_of(object));
    }
    std::vector<int> places;
    for (const Object *object : objects) places.push_back(static_cast<int>(object - OBJECTS));
    return places;
}

// True when the line speaks of a part of a security type that its row does not have, and would change the
// type.
static bool is_outside_of_type(const Load &load, const Place &place) {
    const Object &object = object_of(place);
    return is_in_item_of_type(object) && !counts_with(object, wanted(load, beside(place, *type_of(object))));
}

static bool may_be_new(const Object &object) {
    const Table *table = table_of(object);
    return table && table->grows;
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
        } else if (is_outside_of_type(*load, place)) {
            const Object &object = object_of(place), &type = *type_of(object);
            if (differs(*load, place) && value != object.words.otherwise)
                load->refused[place] = std::string("not set: belongs to ") + type.name + " = " +
                                       file_value(type, object.part_of.values);
        } else if (differs(*load, place) || disturbed.contains(place)) {
            places.push_back(place);
            for (const Object *changed : changed_by(object_of(place))) disturbed[beside(place, *changed)];
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
        if (load->refused.contains(place) || is_outside_of_type(*load, place) || !differs(*load, place))
            continue;
        const std::string shown = known(*load, place);
        load->set.erase(place);
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
        printf("%zu settings: %zu set, %zu refused", lines, load.set.size(), refused);
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
    answer_json("{\"settings\":" + std::to_string(lines) + ",\"set\":" + std::to_string(load.set.size()) +
                ",\"set_after_save\":" + std::to_string(load.after_save + load.opened) +
                ",\"refused\":" + json_array(documents) + "}");
}

static int judge(const SettingsFile &file) {
    for (const std::string &mistake : file.mistakes) complain(EXIT_USAGE, mistake);
    return file.mistakes.empty() ? EXIT_DONE : EXIT_USAGE;
}

// What the device shows of all that these lines may change.
static Settings values_before(const Load &load, const std::vector<Place> &places) {
    Settings before;
    const auto add = [&](const Place &place) {
        if (const auto shown = load.device.find(place); shown != load.device.end()) before.insert(*shown);
    };
    for (const Place &place : places) {
        add(place);
        for (const Requirement &need : requirements_of(object_of(place))) add(beside(place, *need.other));
        for (const Object *changed : changed_by(object_of(place))) add(beside(place, *changed));
    }
    return before;
}

// Without a note nothing is done by halves: one save, and no security type.
static void leave_out_security(Load *load, std::vector<Place> *places, const std::string &why) {
    std::erase_if(*places, [&](const Place &place) {
        const bool is_type = is_security_type(object_of(place));
        if (is_type) load->refused[place] = "not set: what it was cannot be noted: " + why;
        return is_type;
    });
}

static int set_noted(Load *load, std::vector<Place> places, LoadNote *note, std::string why) {
    load->before = values_before(*load, places);
    if (why.empty() && !places.empty() && !note_values(*load, note)) why = strerror(errno);
    if (!why.empty()) leave_out_security(load, &places, why);
    const std::map<Place, std::string> never = std::move(load->refused);
    load->refused.clear();
    load->may_step = load->may_save && why.empty();
    load->is_unsaved = load->may_save;  // what the device shows already may be queued only
    const int status = set_lines(load, places);
    load->refused.insert(never.begin(), never.end());
    if (status == EXIT_DONE && why.empty()) note->clear();
    return status;
}

static int apply_loaded(Load *load, bool wait) {
    if (load->set.empty() && !our_file_exists(SAVED_CHANGES_FILE)) return EXIT_DONE;
    const int status = apply(load->client, wait);
    return status == EXIT_DONE && wait ? check_result(load) : status;
}

int load_settings(const Client &client, const LoadOptions &options) {
    const SettingsFile file = read_settings_file(options.file);
    Load load{client, file};
    LoadNote note;
    std::string why;
    int status = judge(file);
    if (status == EXIT_DONE && !options.dry_run) status = begin_load(client, &note, &why);
    if (status == EXIT_DONE) status = read_settings(client, objects_in(file), &load.device);
    if (status != EXIT_DONE) return status;
    std::vector<Place> places = changes(&load);
    if (options.dry_run) {
        print_changes(load, places, options.secrets);
        return complain_all(load);
    }
    load.may_save = options.save || options.apply;
    load.may_open = options.open;
    status = set_noted(&load, std::move(places), &note, why);
    const bool is_whole = status == EXIT_DONE;
    if (is_whole && !load.set.empty()) status = check_result(&load);
    if (status == EXIT_DONE && options.apply) status = apply_loaded(&load, options.wait);
    print_summary(load);
    const int refused = complain_all(load);
    if (!is_whole) complain(status, "what was set is taken back by the next load or save");
    if (refused != EXIT_DONE && is_whole && !load.may_save)
        complain(refused, "nothing was saved; with --save, what depends on other lines is tried again");
    return status == EXIT_DONE ? refused : status;
}

int diff_settings(const Client &client, const std::string &name, bool secrets, bool exit_code) {
    const SettingsFile file = read_settings_file(name);
    Load load{client, file};
    int status = judge(file);
    if (status == EXIT_DONE) status = read_settings(client, objects_in(file), &load.device);
    if (status != EXIT_DONE) return status;
    std::vector<Place> places;
    for (const auto &[place, value] : file.settings)
        if (differs(load, place)) places.push_back(place);
    print_changes(load, places, secrets);
    return exit_code && !places.empty() ? EXIT_REFUSED : EXIT_DONE;
}
