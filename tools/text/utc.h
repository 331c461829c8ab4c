// Times in UTC as texts of ISO 8601, and back. Reckoned in 64 bits: time_t ends with the year 2037 on 32-bit machines. Pure
// functions.
#ifndef AC500_TOOLS_TEXT_UTC_H
#define AC500_TOOLS_TEXT_UTC_H

#include <cstdint>
#include <optional>
#include <string>

namespace ac500::text {

// "2026-11-22T23:00:00.123Z", of milliseconds since 1970; years 0 to 9999, others are held at these.
std::string utcTextOf(std::int64_t utcMs);
// The reverse, with no digits or one to nine behind the seconds, of which three count. Nothing for anything else.
std::optional<std::int64_t> utcMsOf(const std::string& text);

// A clock that is set is past the beginning of 2026: this program is younger. Machines without a battery begin in 1970, or when
// their system was made.
constexpr bool isOfSetClock(std::int64_t utcMs) {
    return utcMs >= 1767225600000;
}

}  // namespace ac500::text

#endif
