#include "handler/timezone.h"

#include "registry/words.h"

bool timezone_lookup(int *number, std::string *name) {
    if (name->empty() == (*number == 0)) return false;
    for (const Word &zone : TIMEZONE_WORDS) {
        if (zone.value != *number && zone.text != *name) continue;
        *number = zone.value;
        *name = zone.text;
        return true;
    }
    return false;
}
