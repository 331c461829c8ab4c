#include "tools/text/utc.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "tools/text/calendar.h"

namespace ac500::text {

namespace {

constexpr std::int64_t kMsOfDay = 24 * 60 * 60 * 1000;

// The number that `digits` digits make at `position`; -1 when there are no such.
int numberAt(const std::string& text, std::size_t position, std::size_t digits) {
    int number = 0;
    for (std::size_t i = position; i < position + digits; ++i) {
        if (i >= text.size() || text[i] < '0' || text[i] > '9') {
            return -1;
        }
        number = number * 10 + (text[i] - '0');
    }
    return number;
}

bool isBetween(int number, int least, int most) {
    return number >= least && number <= most;
}

// The milliseconds that follow the seconds: of "Z" 0, of ".5Z" 500.
std::optional<int> fractionOf(const std::string& end) {
    if (end == "Z") {
        return 0;
    }
    const std::size_t digits = end.size() < 3 ? 0 : end.size() - 2;
    if (digits < 1 || digits > 9 || end.front() != '.' || end.back() != 'Z' || numberAt(end, 1, digits) < 0) {
        return std::nullopt;
    }
    return numberAt((end.substr(1, digits) + "00").substr(0, 3), 0, 3);
}

}  // namespace

std::string utcTextOf(std::int64_t utcMs) {
    const std::int64_t least = daysOf({0, 1, 1}) * kMsOfDay;
    const std::int64_t most = daysOf({10000, 1, 1}) * kMsOfDay - 1;
    const std::int64_t held = std::min(std::max(utcMs, least), most);
    const std::int64_t days = (held >= 0 ? held : held - (kMsOfDay - 1)) / kMsOfDay;
    const int ms = static_cast<int>(held - days * kMsOfDay);
    const Date date = dateOf(days);
    std::array<char, 96> text;  // of seven numbers of any size
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", static_cast<int>(date.year),
                  date.month, date.day, ms / 3600000, ms / 60000 % 60, ms / 1000 % 60, ms % 1000);
    return text.data();
}

std::optional<std::int64_t> utcMsOf(const std::string& text) {
    constexpr std::size_t kSecondsEnd = 19;  // "2026-11-22T23:00:00"
    if (text.size() <= kSecondsEnd || text[4] != '-' || text[7] != '-' || text[10] != 'T' || text[13] != ':' ||
        text[16] != ':') {
        return std::nullopt;
    }
    const int year = numberAt(text, 0, 4);
    const Date date{year, numberAt(text, 5, 2), numberAt(text, 8, 2)};
    const int hour = numberAt(text, 11, 2);
    const int minute = numberAt(text, 14, 2);
    const int second = numberAt(text, 17, 2);
    const std::optional<int> fraction = fractionOf(text.substr(kSecondsEnd));
    if (year < 0 || !exists(date) || !isBetween(hour, 0, 23) || !isBetween(minute, 0, 59) ||
        !isBetween(second, 0, 59) || !fraction) {
        return std::nullopt;
    }
    return daysOf(date) * kMsOfDay + ((hour * 60LL + minute) * 60 + second) * 1000 + *fraction;
}

}  // namespace ac500::text
