// Reading OID texts arc by arc.
#pragma once

#include <string_view>

// Splits a dotted text into its arcs. Runs of dots count as one separator.
class ArcReader {
  public:
    explicit ArcReader(const char *text) : position_(text) { skip_dots(); }

    // The next arc, or false at the end. A piece that is no decimal number, or one above any arc, reads as
    // −1.
    bool next(int *arc) {
        if (*position_ == '\0') return false;
        const char *begin = position_;
        int number = 0;
        bool valid = true;
        for (; *position_ != '\0' && *position_ != '.'; position_++) {
            const int digit = *position_ - '0';
            if (digit < 0 || digit > 9)
                valid = false;
            else if (number <= BEYOND)
                number = number * 10 + digit;
        }
        text_ = {begin, static_cast<size_t>(position_ - begin)};
        *arc = valid && number < BEYOND ? number : -1;
        skip_dots();
        return true;
    }
    bool at_end() const { return *position_ == '\0'; }
    std::string_view text() const { return text_; }  // of the arc read last

  private:
    static constexpr int BEYOND = 1000000;
    void skip_dots() {
        while (*position_ == '.') position_++;
    }
    const char *position_;
    std::string_view text_;
};
