// Items as `zevcfg export` writes them and `zevcfg import` reads them: GROUP<TAB>KEY<TAB>VALUE.
#pragma once

#include <string>
#include <string_view>

#include "platform/builtin/store.h"

// With "\\t", "\\n" and "\\\\" in place of a tab, a line end and a backslash.
std::string escaped(std::string_view text);

// Without a line end.
std::string item_line(const StoreItem &item);

// False, and an unspecified item, when the line is none.
bool read_item_line(std::string_view line, StoreItem *item);
