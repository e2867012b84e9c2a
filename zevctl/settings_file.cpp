// Reading a settings file. It is judged whole: every mistake is found in one go.
#include <fstream>
#include <iostream>

#include "zevctl/settings.h"

// What a line sets; what is wrong with it goes to `error`.
static std::pair<Place, std::string> read_line(std::string_view line, std::string *error) {
    const size_t equals = line.find('=');
    if (equals == line.npos) {
        *error = "not NAME.INSTANCE = VALUE";
        return {};
    }
    const Target target = parse_instance(trimmed(line.substr(0, equals)));
    *error = target.error;
    if (error->empty() && !target.object) *error = "not an object";
    if (!error->empty()) return {};
    const Object &object = *target.object;
    if (object.access != READ_WRITE)
        *error = std::string(object.name) + " cannot be written";
    else if (!is_setting(object))
        *error = std::string(object.name) +
                 (object.transient ? " is not kept in the configuration" : " is an action and no setting");
    const Place place = place_of(target);
    if (error->empty()) *error = instance_mistake(object, place.arcs);
    if (!error->empty()) return {};
    const std::string value = read_file_value(object, line.substr(equals + 1), error);
    if (error->empty()) *error = value_mistake(object, value);
    return {place, value};
}

SettingsFile read_settings(std::istream &in, const std::string &name) {
    SettingsFile file{.name = name};
    std::string line;
    int number = 0;
    while (std::getline(in, line)) {
        number++;
        const std::string_view text = trimmed(line);
        if (text.empty() || text[0] == '#') continue;
        std::string error;
        const auto [place, value] = read_line(text, &error);
        if (error.empty() && !file.settings.emplace(place, value).second)
            error =
                place_name(place) + " stands in line " + std::to_string(file.lines.at(place)) + " already";
        if (error.empty())
            file.lines[place] = number;
        else
            file.mistakes.push_back(name + ":" + std::to_string(number) + ": " + error);
    }
    if (in.bad() || (number == 0 && !in.eof())) file.mistakes.push_back(name + ": cannot be read");
    return file;
}

SettingsFile read_settings_file(const std::string &path) {
    if (path == "-") return read_settings(std::cin, "standard input");
    std::ifstream opened(path);
    return read_settings(opened, path);
}
