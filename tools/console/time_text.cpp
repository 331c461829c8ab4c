#include "tools/console/time_text.h"

#include <fmt/chrono.h>

#include <cstdint>
#include <ctime>

#include "tools/text/utc.h"

namespace ac500::console {

namespace {

// Rounded down, so that no second has a thousandth millisecond.
std::int64_t millisecondsOf(WallTime time) {
    return std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

}  // namespace

std::string timeText(WallTime time) {
    const std::int64_t total = millisecondsOf(time);
    const std::int64_t millisecond = (total % 1000 + 1000) % 1000;
    const auto second = static_cast<std::time_t>((total - millisecond) / 1000);
    return fmt::format("{:%Y-%m-%d %H:%M:%S}.{:03}", fmt::localtime(second), millisecond);
}

std::string utcText(WallTime time) {
    return text::utcTextOf(millisecondsOf(time));
}

}  // namespace ac500::console
