#include "snmp/pass_persist.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

#include "snmp/changes.h"
#include "snmp/log.h"

// snmpd reads an answer of three lines into one buffer of 4096 bytes and is out of step behind a longer one.
constexpr size_t ANSWER_SIZE = 4000;
// snmpd serves nobody else meanwhile, and managers ask again after a second.
constexpr std::chrono::milliseconds REQUEST_TIME(900);

static bool is_plain(char c) {
    return c >= ' ' && c <= '~';
}

static std::string value_lines(const Value &value) {
    switch (value.syntax) {
        case Syntax::INTEGER32:
            return "integer\n" + to_text(value);
        case Syntax::TIMETICKS:
            return "timeticks\n" + to_text(value);
        case Syntax::IPADDRESS:
            return "ipaddress\n" + to_text(value);
        case Syntax::GAUGE32:
            return "gauge\n" + to_text(value);
        case Syntax::COUNTER32:
            return "counter\n" + to_text(value);
        case Syntax::COUNTER64:
            return "counter64\n" + to_text(value);
        case Syntax::OCTET_STRING:
        case Syntax::OTHER:
            break;
    }
    if (std::all_of(value.octets.begin(), value.octets.end(), is_plain)) return "string\n" + value.octets;
    std::string text = "octet\n";
    for (const char c : value.octets) {
        char byte[4];
        snprintf(byte, sizeof byte, "%02x ", static_cast<unsigned char>(c));
        text += byte;
    }
    return text;
}

// The protocol has no word for a daemon that does not answer: like everything else without a value it is
// none.
static std::string answer_lines(const SubtreeReading &reading) {
    if (reading.outcome != Outcome::VALUE) return "NONE\n";
    const std::string text = "." + oid_text(reading.oid) + "\n" + value_lines(reading.value) + "\n";
    return text.size() <= ANSWER_SIZE ? text : "NONE\n";
}

static std::string from_hex(std::string_view text) {
    std::string octets;
    for (size_t at = 0; at + 2 <= text.size(); at += 3) {
        unsigned char byte = 0;
        std::from_chars(text.data() + at, text.data() + at + 2, byte, 16);
        octets += static_cast<char>(byte);
    }
    return octets;
}

// TYPE VALUE. Texts stand in double quotes; those inside are not escaped, so the last one ends the text.
static Value read_value(const std::string &line) {
    const size_t blank = std::min(line.find(' '), line.size());
    const std::string type = line.substr(0, blank);
    std::string text = line.substr(std::min(blank + 1, line.size()));
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"') text = text.substr(1, text.size() - 2);
    if (type == "string") return {Syntax::OCTET_STRING, 0, text};
    if (type == "octet") return {Syntax::OCTET_STRING, 0, from_hex(text)};
    if (type == "ipaddress") {
        constexpr Object ADDRESS{.type = IPADDRESS};
        return to_value(ADDRESS, text).value_or(Value{});
    }
    Value value;
    std::from_chars(text.data(), text.data() + text.size(), value.number);
    if (type == "integer") value.syntax = Syntax::INTEGER32;
    if (type == "timeticks") value.syntax = Syntax::TIMETICKS;
    if (type == "gauge") value.syntax = Syntax::GAUGE32;
    return value;
}

static const char *result_word(SetResult result) {
    // In the order of SetResult.
    static constexpr const char *WORDS[] = {
        "DONE\n",        "not-writable\n",      "wrong-type\n",         "wrong-length\n", "wrong-value\n",
        "no-creation\n", "inconsistent-name\n", "inconsistent-value\n", "gen-error\n"};
    static_assert(std::size(WORDS) == static_cast<size_t>(SetResult::NO_ANSWER) + 1);
    return WORDS[static_cast<size_t>(result)];
}

static std::string read(Subtree *subtree, const std::string &oid, bool next) {
    const Clock::time_point now = Clock::now();
    ManagerRequest request = {parse_oid(oid), next, now, now + REQUEST_TIME};
    for (;;) {
        step(subtree);
        const SubtreeReading reading = answer(subtree, &request);
        if (reading.outcome != Outcome::PENDING) return answer_lines(reading);
        step(subtree);
        wait_for_answers(subtree->asker, next_try(*subtree, request));
    }
}

// snmpd gives each object of a SET away by itself, so there is nothing to undo.
static const char *set(Subtree *subtree, const Oid &oid, const Value &value) {
    SetResult result = check_change(oid, value);
    if (result != SetResult::DONE) return result_word(result);
    bool done = false;
    const auto changes = std::make_shared<Changes>();
    changes->list.push_back({oid, value});
    changes->deadline = Clock::now() + REQUEST_TIME;
    changes->done = [&](SetResult outcome, size_t) {
        result = outcome;
        done = true;
    };
    make_changes(subtree, changes);
    while (!done) {
        step(subtree);
        if (!done) wait_for_answers(subtree->asker, latest_end(*subtree, *changes));
        end_late_changes(*subtree, changes);
    }
    return result_word(result);
}

void pass_persist(const std::string &socket, std::istream &in, std::ostream &out) {
    log_to_syslog("zevctl");  // snmpd reads standard error as well as standard output
    Subtree subtree(socket);
    std::string word, oid, value;
    while (std::getline(in, word)) {
        if (word == "PING") {
            out << "PONG\n";
        } else if (word == "get" && std::getline(in, oid)) {
            out << read(&subtree, oid, false);
        } else if (word == "getnext" && std::getline(in, oid)) {
            out << read(&subtree, oid, true);
        } else if (word == "set" && std::getline(in, oid) && std::getline(in, value)) {
            out << set(&subtree, parse_oid(oid), read_value(value));
        }
        // An empty line, which snmpd sends behind a SET, is no question.
        out.flush();
    }
}
