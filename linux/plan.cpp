#include "linux/plan.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <set>

#include "linux/answers.h"

// ---- what the rules share ----

int Making::number(const char *object, int otherwise) const {
    const std::string text = get(object);
    return text.empty() ? otherwise : atoi(text.c_str());
}

// One line an object and reason, with the rows behind it.
static void say(std::vector<std::string> *lines, const std::string &row, const std::string &object,
                const std::string &why) {
    const std::string end = ": " + why;
    for (std::string &line : *lines)
        if (line.starts_with(object + " ") && line.ends_with(end)) {
            line.insert(line.size() - end.size(), ", " + row);
            return;
        }
    lines->push_back(object + (row.empty() ? "" : " " + row) + end);
}

void Making::not_done(const char *object, const std::string &why) const {
    say(&plan.not_done, row_text(place), object, why);
}

void Making::error(const char *object, const std::string &why) const {
    say(&plan.errors, row_text(place), object, why);
}

bool is_clean(const std::string &text) {
    return std::all_of(text.begin(), text.end(), [](unsigned char c) { return c >= ' ' && c != 127; });
}

// A local address that the first octet tells from the card's other ones; that of the radio itself has the
// fewest bits, which hostapd asks for.
std::string mac_of(const Card &card, int number) {
    char octet[3];
    snprintf(octet, sizeof octet, "%02x", static_cast<unsigned>(number << 2 | 2) & 255U);
    return octet + card.mac.substr(std::min<size_t>(2, card.mac.size()));
}

static bool has_card(const Settings &settings, const Machine &machine, int radio) {
    return settings.radio_is_on(radio) && !machine.cards[radio - 1].phy.empty();
}

std::vector<Place> vaps_on_air(const Settings &settings, const Machine &machine) {
    std::vector<Place> vaps;
    for (int r = 1; r <= RADIOS; r++)
        for (int v = 1; v <= VAPS; v++)
            if (has_card(settings, machine, r) && settings.vap_is_on(r, v)) vaps.push_back({r, v});
    return vaps;
}

// ---- the plan: the rules of each row by the table ----

enum class Scope { DEVICE, RADIO, VAP, LINK };

// The firewall is one, whatever its objects are of.
static Scope scope_of(const Answer &answer) {
    const std::string_view oid = find_object(answer.object)->oid;
    return answer.by == By::NFTABLES ? Scope::DEVICE
           : oid.starts_with("2.")   ? Scope::RADIO
           : oid.starts_with("3.")   ? Scope::VAP
           : oid.starts_with("4.")   ? Scope::LINK
                                     : Scope::DEVICE;
}

static bool asks_for_something(const Answer &answer, const std::string &stored) {
    std::string_view texts = answer.asks_nothing;
    for (;;) {
        const size_t end = std::min(texts.find('|'), texts.size());
        if (texts.substr(0, end) == stored) return false;
        if (end == texts.size()) return !stored.empty();
        texts.remove_prefix(end + 1);
    }
}

static void say_what_nobody_does(Making &making, const Answer &answer) {
    if (answer.with && making.settings.value_of(answer.with) != "enable") return;
    const Table *table = table_of(*find_object(answer.object));
    if (!table || table->arcs[0].letter != 'k') {
        if (asks_for_something(answer, making.get(answer.object)))
            making.not_done(answer.object, answer.what);
        return;
    }
    for (int k = 1; k <= making.settings.number(table->group, table->size_key); k++)
        if (asks_for_something(answer, making.settings.value_of(answer.object, {.k = k})))
            say(&making.plan.not_done, std::to_string(k - 1 + table->arcs[0].low), answer.object,
                answer.what);
}

static void add_line(Making &making, const Answer &answer, Scope scope) {
    const std::string stored = making.get(answer.object);
    std::string line = answer.line;
    const size_t place = line.find('%');
    if (stored.empty() || !is_clean(stored)) return;
    line.replace(place, 2, line[place + 1] == 'b' ? (stored == "enable" ? "1" : "0") : stored);
    scope == Scope::RADIO ? making.radio_line(line) : making.line(line);
}

// Every answer of the scope, for the row at hand.
static void follow_answers(Making &making, Scope scope) {
    static const std::map<Scope, std::vector<Answer>> BY_SCOPE = [] {
        std::map<Scope, std::vector<Answer>> by_scope;
        for (const Answer &answer : answers()) by_scope[scope_of(answer)].push_back(answer);
        return by_scope;
    }();
    std::set<Rule> done;
    for (const Answer &answer : BY_SCOPE.at(scope)) {
        if (answer.rule && done.insert(answer.rule).second) answer.rule(making);
        if (answer.line) add_line(making, answer, scope);
        if (answer.by == By::NOBODY) say_what_nobody_does(making, answer);
    }
}

static void plan_vaps(Making &making) {
    for (int v = 1; v <= VAPS; v++) {
        making.place.v = v;
        if (!making.settings.vap_is_on(making.place.r, v)) continue;
        Bss bss{vap_interface(making.place.r, v)};
        making.bss = &bss;
        making.leave_out = false;
        follow_answers(making, Scope::VAP);
        if (!making.leave_out) making.radio->networks.push_back(bss);
    }
    making.bss = nullptr;
    making.place.v = 0;
}

static void plan_radio(Making &making) {
    making.least.clear();
    radio_head(making);
    follow_answers(making, Scope::RADIO);
    plan_vaps(making);
    write_least(making);
    for (int link = 1; link <= LINKS; link++) {
        making.place.v = link;
        if (making.settings.link_is_on(making.place.r, link)) follow_answers(making, Scope::LINK);
    }
    making.place = {};
}

Plan make_plan(const Lookup &configuration, const Machine &machine) {
    Plan plan;
    const Settings settings{configuration};
    Making making{settings, machine, plan};
    for (int r = 1; r <= RADIOS; r++) {
        making.place = {r};
        if (!settings.radio_is_on(r)) continue;
        const Card &card = machine.cards[r - 1];
        if (card.phy.empty()) {
            making.not_done("APRFBand", "there is no card for the radio");
            continue;
        }
        RadioPlan radio{radio_interface(r), mac_of(card, 0), card.phy};
        making.radio = &radio;
        plan_radio(making);
        plan.radios.push_back(radio);
    }
    making.radio = nullptr;
    making.place = {};
    follow_answers(making, Scope::DEVICE);
    return plan;
}

// ---- texts ----

std::string hostapd_text(const RadioPlan &radio) {
    std::string text = radio.text;
    for (const Bss &bss : radio.networks) text += "\n" + bss.text;
    return text;
}

static std::string lines(const std::vector<std::string> &commands) {
    std::string text;
    for (const std::string &command : commands) text += command + "\n";
    return text;
}

static std::string section(const std::string &name, const std::vector<std::string> &commands) {
    return "# " + name + "\n" + lines(commands);
}

std::map<std::string, std::string> texts_of(const Plan &plan) {
    std::map<std::string, std::string> texts;
    std::string commands = section(BRIDGE, plan.bridge);
    for (const RadioPlan &radio : plan.radios) {
        const std::string make = "iw phy " + radio.phy + " interface add ";
        texts[radio.interface + ".conf"] = hostapd_text(radio);
        commands += section(radio.interface, {make + radio.interface + " type __ap addr " + radio.mac});
        for (const Bss &bss : radio.networks) commands += section(bss.interface, bss.commands);
        for (const Caller &caller : radio.callers) {
            texts[caller.interface + ".conf"] = caller.text;
            std::vector<std::string> all = {make + caller.interface + " type managed 4addr on addr " +
                                            caller.mac};
            all.insert(all.end(), caller.commands.begin(), caller.commands.end());
            commands += section(caller.interface, all);
        }
        commands += section(radio.interface + ON_AIR, radio.commands);
    }
    commands += section(TRUNK, plan.trunk);
    for (const SystemFile &file : plan.files)
        if (!file.command.empty()) commands += section(file.path, {file.command});
    texts["commands"] = commands;
    texts["firewall.nft"] = plan.firewall;
    for (const SystemFile &file : plan.files) texts["files" + file.path] = file.text;
    texts["not-done"] = lines(plan.not_done);
    return texts;
}
