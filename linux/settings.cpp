#include "linux/settings.h"

#include <charconv>
#include <memory>

#include "platform/zevcfg.h"
#include "registry/registry.h"

static constexpr char ENVIRONMENT[] = "@env";

Lookup running_configuration() {
    std::shared_ptr<zevcfg_handle> handle(init_zevcfg_f(&current_config), close_zevcfg);
    if (!handle) return nullptr;
    return [handle](const std::string &group, const std::string &key, std::string *text) {
        char buffer[STORE_TEXT_SIZE] = "";
        if (group == ENVIRONMENT) {
            if (get_rc_env(key.c_str(), buffer, sizeof buffer) != 0) return false;
            *text = buffer;
            return true;
        }
        if (get_cfg_item_by_str(handle.get(), group.c_str(), key.c_str(), buffer) != 0) return false;
        *text = buffer;
        return true;
    };
}

std::string filled(const char *pattern, const Place &place) {
    std::string text;
    for (const char *c = pattern; *c; c++) {
        if (*c != '%') {
            text += *c;
            continue;
        }
        switch (*++c) {
            case 'r':
                text += std::to_string(place.r);
                break;
            case 'v':
                text += std::to_string(place.v);
                break;
            case 'I':
                text += std::to_string(place.r - 1);
                break;
            case 'k':
                text += std::to_string(place.k - 1);
                break;
            case 'm':
                text += std::to_string(place.m - 1);
                break;
            default:
                return text;
        }
    }
    return text;
}

std::string row_text(const Place &place) {
    std::string text;
    for (const int arc : {place.r, place.v, place.k, place.m})
        if (arc > 0) text += (text.empty() ? "" : ".") + std::to_string(arc);
    return text;
}

std::string Settings::get(const std::string &group, const std::string &key) const {
    std::string text;
    return lookup(group, key, &text) ? text : "";
}

int Settings::number(const std::string &group, const std::string &key, int otherwise) const {
    const std::string text = get(group, key);
    int value = 0;
    const auto end = std::from_chars(text.data(), text.data() + text.size(), value);
    return end.ec == std::errc() ? value : otherwise;
}

bool Settings::radio_is_on(int radio) const {
    return is_on(filled("rf%r", {radio}), "state");
}

bool Settings::vap_is_on(int radio, int vap) const {
    return is_on(filled("rf%r_vap%v", {radio, vap}), "state");
}

bool Settings::link_is_on(int radio, int link) const {
    return is_on(filled("rf%r_wds%v", {radio, link}), "state");
}

std::string Settings::value_of(const char *name, const Place &place) const {
    const Object *object = find_object(name);
    if (!object || !object->key) return "";
    const Table *table = table_of(*object);
    const char *group = object->group ? object->group : table ? table->group : "";
    return get(filled(group, place), filled(object->key, place));
}

// As many as managers see.
int Settings::rule_count() const {
    const Table &rules = *table_of(*find_object("L2FirewallRuleEnabled"));
    const std::string most = get(ENVIRONMENT, rules.size_name);
    return most.empty() ? number(rules.group, rules.size_key) : number(ENVIRONMENT, rules.size_name);
}
