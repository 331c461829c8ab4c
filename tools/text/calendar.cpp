#include "tools/text/calendar.h"

namespace ac500::text {

namespace {

bool isLeapYear(std::int64_t year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

}  // namespace

bool exists(const Date& date) {
    constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return date.month >= 1 && date.month <= 12 && date.day >= 1 &&
           date.day <= kDays[date.month - 1] + (date.month == 2 && isLeapYear(date.year) ? 1 : 0);
}

// Years begin in March here, so that the odd day is the last; 400 of them, an era, have 146,097 days.
std::int64_t daysOf(const Date& date) {
    const std::int64_t year = date.year - (date.month <= 2 ? 1 : 0);
    const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
    const std::int64_t yearOfEra = year - era * 400;
    const std::int64_t dayOfYear = (153 * (date.month + (date.month > 2 ? -3 : 9)) + 2) / 5 + date.day - 1;
    return era * 146097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - 719468;
}

Date dateOf(std::int64_t days) {
    const std::int64_t shifted = days + 719468;
    const std::int64_t era = (shifted >= 0 ? shifted : shifted - 146096) / 146097;
    const std::int64_t dayOfEra = shifted - era * 146097;
    const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t month = (5 * dayOfYear + 2) / 153;
    const int ofYear = static_cast<int>(month < 10 ? month + 3 : month - 9);
    return {yearOfEra + era * 400 + (ofYear <= 2 ? 1 : 0), ofYear,
            static_cast<int>(dayOfYear - (153 * month + 2) / 5 + 1)};
}

}  // namespace ac500::text
