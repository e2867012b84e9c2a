#include "platform/builtin/settings.h"

#include <algorithm>
#include <charconv>

// {1-16} or {bk,be}: what it stands for. Empty when it is malformed.
static std::vector<std::string> choices(std::string_view braces) {
    std::vector<std::string> result;
    int first = 0;
    int last = 0;
    const char *end = braces.data() + braces.size();
    auto low = std::from_chars(braces.data(), end, first);
    if (low.ec == std::errc() && low.ptr != end && *low.ptr == '-') {
        auto high = std::from_chars(low.ptr + 1, end, last);
        if (high.ec != std::errc() || high.ptr != end) return {};
        for (int i = first; i <= last; i++) result.push_back(std::to_string(i));
        return result;
    }
    for (size_t start = 0; start <= braces.size();) {
        size_t comma = std::min(braces.find(',', start), braces.size());
        result.emplace_back(braces.substr(start, comma - start));
        start = comma + 1;
    }
    return result;
}

static std::string fill_in(std::string_view value, const std::vector<std::string> &chosen) {
    std::string text;
    for (size_t i = 0; i < value.size(); i++) {
        size_t number = value[i] == '$' && i + 1 < value.size() ? static_cast<size_t>(value[i + 1] - '1') : 9;
        if (number >= chosen.size()) {
            text += value[i];
            continue;
        }
        text += chosen[number];
        i++;
    }
    return text;
}

// `names` is group, blank, key, with what comes before the first brace of `rest` already multiplied out.
static bool multiply(const std::string &names, std::string_view rest, std::string_view value,
                     std::vector<std::string> *chosen, std::vector<StoreItem> *out) {
    size_t open = rest.find('{');
    if (open == std::string_view::npos) {
        std::string all = names + std::string(rest);
        size_t blank = all.find(' ');
        out->push_back({all.substr(0, blank), all.substr(blank + 1), fill_in(value, *chosen)});
        return true;
    }
    size_t close = rest.find('}', open);
    if (close == std::string_view::npos) return false;
    std::vector<std::string> words = choices(rest.substr(open + 1, close - open - 1));
    for (const std::string &word : words) {
        chosen->push_back(word);
        std::string before = names;
        before.append(rest.substr(0, open)).append(word);
        if (!multiply(before, rest.substr(close + 1), value, chosen, out)) return false;
        chosen->pop_back();
    }
    return !words.empty();
}

static std::string_view next_word(std::string_view *line) {
    size_t end = std::min(line->find(' '), line->size());
    std::string_view word = line->substr(0, end);
    line->remove_prefix(std::min(line->find_first_not_of(' ', end), line->size()));
    return word;
}

static bool expand_line(std::string_view line, Layer layer, StoreContents *contents) {
    std::string_view group = next_word(&line);
    std::string_view key = next_word(&line);
    if (group.empty() || key.empty()) return false;
    if (group == "@system" || group == "@env") {
        layer = group == "@env" ? LAYER_ENVIRONMENT : LAYER_SYSTEM;
        group = "";
    }
    std::vector<std::string> chosen;
    return multiply("", std::string(group) + " " + std::string(key), line, &chosen, &(*contents)[layer]);
}

bool expand_settings(std::string_view text, Layer layer, StoreContents *contents, std::string *faulty_line) {
    while (!text.empty()) {
        size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.empty() || line.front() == '#' || expand_line(line, layer, contents)) continue;
        *faulty_line = line;
        return false;
    }
    return true;
}
