// The settings files that a store is made of (their syntax stands at the top of factory.conf).
#pragma once

#include <string>
#include <string_view>

#include "platform/builtin/store.h"

// Adds what the text sets to `contents`, configuration items to the given layer. False and the faulty line.
bool expand_settings(std::string_view text, Layer layer, StoreContents *contents, std::string *faulty_line);
