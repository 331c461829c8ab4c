// Days of the Gregorian calendar, also before it was made. Pure functions.
#ifndef AC500_TOOLS_TEXT_CALENDAR_H
#define AC500_TOOLS_TEXT_CALENDAR_H

#include <cstdint>

namespace ac500::text {

struct Date {
    std::int64_t year = 1970;
    int month = 1;  // 1 to 12
    int day = 1;    // 1 to 31
};

// No day of another month, as 31 April would be.
bool exists(const Date& date);
// Since 1970-01-01. REQUIRES: the date exists
std::int64_t daysOf(const Date& date);
// The reverse.
Date dateOf(std::int64_t days);

}  // namespace ac500::text

#endif
