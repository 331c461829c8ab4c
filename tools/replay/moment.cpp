#include "tools/replay/moment.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <string_view>

#include "tools/text/utc.h"

namespace ac500::replay {

namespace {

constexpr std::int64_t kSecondUs = 1000000;
constexpr std::int64_t kDayUs = 24 * 3600 * kSecondUs;
constexpr double kLongestSeconds = 1e9;

template <typename Number>
std::optional<Number> numberOf(std::string_view text) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

std::optional<std::int64_t> durationUs(std::string_view text) {
    const bool isMilliseconds = text.size() > 2 && text.substr(text.size() - 2) == "ms";
    if (text.empty() || text.back() != 's') {
        return std::nullopt;
    }
    const std::optional<double> number = numberOf<double>(text.substr(0, text.size() - (isMilliseconds ? 2 : 1)));
    if (!number || !(*number >= 0 && *number <= kLongestSeconds)) {
        return std::nullopt;
    }
    return std::llround(*number * static_cast<double>(isMilliseconds ? kSecondUs / 1000 : kSecondUs));
}

// "14:03:12.5" since midnight.
std::optional<std::int64_t> timeOfDayUs(std::string_view text) {
    const std::size_t first = text.find(':');
    const std::size_t second = text.find(':', first == std::string_view::npos ? first : first + 1);
    if (second == std::string_view::npos) {
        return std::nullopt;
    }
    const auto hours = numberOf<unsigned>(text.substr(0, first));
    const auto minutes = numberOf<unsigned>(text.substr(first + 1, second - first - 1));
    const auto seconds = numberOf<double>(text.substr(second + 1));
    if (!hours || !minutes || !seconds || *hours > 23 || *minutes > 59 || !(*seconds >= 0 && *seconds < 61)) {
        return std::nullopt;
    }
    return (*hours * 3600 + *minutes * 60) * kSecondUs + std::llround(*seconds * static_cast<double>(kSecondUs));
}

// "2026-11-22T14:03:12.5Z"; without a date, that of `firstUtcUs`.
std::optional<std::int64_t> utcUs(std::string_view text, std::int64_t firstUtcUs) {
    std::int64_t day = firstUtcUs - firstUtcUs % kDayUs;
    if (const std::size_t border = text.find('T'); border != std::string_view::npos) {
        const std::optional<std::int64_t> midnightMs =
            text::utcMsOf(std::string(text.substr(0, border)) + "T00:00:00Z");
        if (!midnightMs || text.back() != 'Z') {
            return std::nullopt;
        }
        day = *midnightMs * (kSecondUs / 1000);
        text = text.substr(border + 1, text.size() - border - 2);
    }
    const std::optional<std::int64_t> time = timeOfDayUs(text);
    return time ? std::optional(day + *time) : std::nullopt;
}

}  // namespace

std::optional<std::function<bool(const record::Event&)>> untilMoment(const std::string& moment,
                                                                     const record::Event& first) {
    using Belongs = std::function<bool(const record::Event&)>;
    if (const std::optional<std::uint64_t> number = numberOf<std::uint64_t>(moment)) {
        return Belongs([last = *number](const record::Event& event) { return event.number <= last; });
    }
    if (const std::optional<std::int64_t> duration = durationUs(moment)) {
        return Belongs([beginUs = first.monotonicUs, longestUs = *duration](const record::Event& event) {
            return event.monotonicUs - beginUs <= longestUs;
        });
    }
    if (const std::optional<std::int64_t> time = utcUs(moment, first.utcUs)) {
        return Belongs([lastUs = *time](const record::Event& event) { return event.utcUs <= lastUs; });
    }
    return std::nullopt;
}

}  // namespace ac500::replay
