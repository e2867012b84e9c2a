#include "platform/builtin/item_text.h"

std::string escaped(std::string_view text) {
    std::string result;
    for (char c : text) {
        if (c == '\t')
            result += "\\t";
        else if (c == '\n')
            result += "\\n";
        else if (c == '\\')
            result += "\\\\";
        else
            result += c;
    }
    return result;
}

static bool unescape(std::string_view text, std::string *out) {
    out->clear();
    for (size_t i = 0; i < text.size(); i++) {
        char c = text[i];
        if (c == '\\') {
            i++;
            char code = i < text.size() ? text[i] : '\0';
            if (code != 't' && code != 'n' && code != '\\') return false;
            c = code == 't' ? '\t' : code == 'n' ? '\n' : '\\';
        }
        out->push_back(c);
    }
    return text.find('\0') == std::string_view::npos;
}

std::string item_line(const StoreItem &item) {
    return escaped(item.group) + "\t" + escaped(item.key) + "\t" + escaped(item.value);
}

bool read_item_line(std::string_view line, StoreItem *item) {
    size_t first = line.find('\t');
    size_t second = first == std::string_view::npos ? first : line.find('\t', first + 1);
    if (second == std::string_view::npos || line.find('\t', second + 1) != std::string_view::npos)
        return false;
    return unescape(line.substr(0, first), &item->group) &&
           unescape(line.substr(first + 1, second - first - 1), &item->key) &&
           unescape(line.substr(second + 1), &item->value) && !item->group.empty() && !item->key.empty();
}
