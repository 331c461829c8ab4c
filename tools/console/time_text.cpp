#include "tools/console/time_text.h"

#include <fmt/chrono.h>

#include <cstdint>
#include <ctime>

namespace ac500::console {

namespace {

// Rounded down, so that no second has a thousandth millisecond.
struct Parts {
    explicit Parts(WallTime time) {
        const std::int64_t total = std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch()).count();
        millisecond = (total % 1000 + 1000) % 1000;
        second = static_cast<std::time_t>((total - millisecond) / 1000);
    }

    std::time_t second;
    std::int64_t millisecond;
};

}  // namespace

std::string timeText(WallTime time) {
    const Parts parts(time);
    return fmt::format("{:%Y-%m-%d %H:%M:%S}.{:03}", fmt::localtime(parts.second), parts.millisecond);
}

std::string utcText(WallTime time) {
    const Parts parts(time);
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", fmt::gmtime(parts.second), parts.millisecond);
}

}  // namespace ac500::console
