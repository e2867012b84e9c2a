// The words people use for the values of enumerated objects, one table per enumeration.
#pragma once

#include <array>

// A value and the word people use for it.
struct Word {
    int value = 0;
    const char *text = nullptr;
};

using Words = std::array<Word, 16>;  // up to the first entry without a text

inline constexpr Words SWITCH_WORDS = {{{1, "disabled"}, {2, "enabled"}}};
inline constexpr Words TIME_SOURCE_WORDS = {{{1, "ntp"}, {2, "manual"}}};
inline constexpr Words LOG_LEVEL_WORDS = {{{0, "emergency"},
                                           {1, "alert"},
                                           {2, "critical"},
                                           {3, "error"},
                                           {4, "warning"},
                                           {5, "notice"},
                                           {6, "informational"},
                                           {7, "debug"}}};
inline constexpr Words APPLY_WORDS = {{{-1, "rebootNeeded"}, {0, "idle"}, {1, "applying"}}};
inline constexpr Words PERFORM_WORDS = {{{0, "none"}, {1, "perform"}}};
