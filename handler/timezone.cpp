#include "handler/timezone.h"

#include <iterator>

static constexpr const char *ZONES[] = {
    "Pacific/Kiritimati",
    "Pacific/Tongatapu",
    "Pacific/Fiji",
    "Pacific/Auckland",
    "Asia/Magadan",
    "Asia/Vladivostok",
    "Australia/Hobart",
    "Pacific/Guam",
    "Australia/Canberra",
    "Australia/Brisbane",
    "Australia/Darwin",
    "Australia/Adelaide",
    "Asia/Yakutsk",
    "Asia/Seoul",
    "Asia/Tokyo",
    "Asia/Taipei",
    "Australia/Perth",
    "Asia/Singapore",
    "Asia/Ulaanbaatar",
    "Asia/HongKong",
    "Asia/Krasnoyarsk",
    "Asia/Jakarta",
    "Asia/Rangoon",
    "Asia/Dhaka",
    "Asia/Novosibirsk",
    "Asia/Calcutta",
    "Asia/Karachi",
    "Asia/Tashkent",
    "Asia/Yekaterinburg",
    "Asia/Kabul",
    "Asia/Yerevan",
    "Asia/Muscat",
    "Asia/Tehran",
    "Africa/Nairobi",
    "Europe/Moscow",
    "Asia/Kuwait",
    "Asia/Baghdad",
    "Asia/Jerusalem",
    "Europe/Helsinki",
    "Africa/Harare",
    "Africa/Cairo",
    "Europe/Bucharest",
    "Europe/Athens",
    "Europe/Sarajevo",
    "Europe/Brussels",
    "Europe/Prague",
    "Europe/Amsterdam",
    "Europe/Dublin",
    "Africa/Casablanca",
    "Atlantic/Cape_Verde",
    "Atlantic/Azores",
    "Atlantic/South_Georgia",
    "America/Buenos_Aires",
    "Brazil/East",
    "US/Newfoundland_Time",
    "America/Santiago",
    "America/Caracas",
    "US/Atlantic_Time",
    "America/Indianapolis",
    "US/Eastern_Time",
    "US/Central_Time",
    "US/Mountain_Time",
    "US/Arizona",
    "US/Pacific_Time",
    "US/Alaska_Time",
    "US/Hawaii_Time",
    "US/Samoa",
    "Etc/GMT+12",
};

bool timezone_lookup(int *number, std::string *name) {
    constexpr int COUNT = std::size(ZONES);
    static_assert(COUNT == 68);
    if (name->empty()) {
        if (*number < 1 || *number > COUNT) return false;
        *name = ZONES[*number - 1];
        return true;
    }
    if (*number != 0) return false;
    for (int i = 0; i < COUNT; i++) {
        if (*name != ZONES[i]) continue;
        *number = i + 1;
        return true;
    }
    return false;
}
