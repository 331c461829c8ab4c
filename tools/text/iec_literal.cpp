#include "tools/text/iec_literal.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <limits>

#include "tools/text/calendar.h"
#include "tools/text/text.h"

namespace ac500::text {

namespace {

constexpr std::uint64_t kLargest = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t kSecondsPerDay = 24 * 60 * 60;
constexpr std::uint64_t kMsPerDay = kSecondsPerDay * 1000;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isHexDigit(char c) {
    const char lower = lowerCase(c);
    return isDigit(c) || (lower >= 'a' && lower <= 'f');
}

// The text behind a prefix in any case; nothing without it.
std::optional<std::string> behind(const std::string& text, const std::string& prefix) {
    if (lowerCase(text.substr(0, prefix.size())) != lowerCase(prefix)) {
        return std::nullopt;
    }
    return text.substr(prefix.size());
}

// Underscores stand between two characters of a kind.
std::optional<std::string> withoutUnderscoresBetween(bool (*isOfKind)(char), const std::string& text) {
    std::string rest;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '_') {
            rest += text[i];
        } else if (i == 0 || i + 1 == text.size() || !isOfKind(text[i - 1]) || !isOfKind(text[i + 1])) {
            return std::nullopt;
        }
    }
    return rest;
}

struct Base {
    const char* prefix;
    int base;
};

constexpr Base kBases[] = {{"16#", 16}, {"8#", 8}, {"2#", 2}, {"0x", 16}};

// Digits alone, at least one.
bool parseDigits(const std::string& digits, std::uint64_t* value) {
    const char* end = digits.data() + digits.size();
    const auto [rest, problem] = std::from_chars(digits.data(), end, *value);
    return problem == std::errc() && rest == end;
}

// ---------------------------------------------------------------------------------------------------------------------
// Durations
// ---------------------------------------------------------------------------------------------------------------------

struct Unit {
    const char* name;
    std::uint64_t ms;
};

// From the largest down.
constexpr Unit kUnits[] = {{"d", kMsPerDay}, {"h", 3600000}, {"m", 60000}, {"s", 1000}, {"ms", 1}};
constexpr std::size_t kUnitCount = sizeof kUnits / sizeof kUnits[0];
constexpr std::size_t kMostFractionDigits = 9;  // keeps all arithmetic within 64 bits

// Reads "1.5s" and the like from a text, part by part.
class DurationReader {
public:
    explicit DurationReader(const std::string& text) : text_(text) {}

    std::optional<std::uint32_t> read() {
        std::uint64_t sum = 0;
        while (at_ < text_.size()) {
            std::uint64_t ms = 0;
            if (hadFraction_ || !takePart(&ms) || ms > kLargest || sum + ms > kLargest) {
                return std::nullopt;
            }
            sum += ms;
        }
        return text_.empty() ? std::nullopt : std::optional<std::uint32_t>(static_cast<std::uint32_t>(sum));
    }

private:
    std::string takeDigits() {
        const std::size_t begin = at_;
        while (at_ < text_.size() && isDigit(text_[at_])) {
            ++at_;
        }
        return text_.substr(begin, at_ - begin);
    }

    bool takePart(std::uint64_t* ms) {
        std::uint64_t count = 0;
        if (!parseDigits(takeDigits(), &count)) {
            return false;
        }
        std::string fraction;
        if (at_ < text_.size() && text_[at_] == '.') {
            ++at_;
            fraction = takeDigits();
            hadFraction_ = true;
            if (fraction.empty() || fraction.size() > kMostFractionDigits) {
                return false;
            }
        }
        return takeUnit() && addUp(count, fraction, ms);
    }

    bool takeUnit() {
        std::string name;
        while (at_ < text_.size() && !isDigit(text_[at_]) && text_[at_] != '_') {
            name += text_[at_++];
        }
        if (at_ + 1 < text_.size() && text_[at_] == '_') {
            ++at_;
        }
        while (next_ < kUnitCount && name != kUnits[next_].name) {
            ++next_;
        }
        return next_ < kUnitCount;
    }

    // A fraction must come to whole milliseconds.
    bool addUp(std::uint64_t count, const std::string& fraction, std::uint64_t* ms) {
        const std::uint64_t unit = kUnits[next_++].ms;
        if (count > kLargest / unit) {
            return false;
        }
        *ms = count * unit;
        if (fraction.empty()) {
            return true;
        }
        std::uint64_t parts = 0;
        std::uint64_t whole = 1;
        for (std::size_t i = 0; i < fraction.size(); ++i) {
            whole *= 10;
        }
        if (!parseDigits(fraction, &parts) || unit * parts % whole != 0) {
            return false;
        }
        *ms += unit * parts / whole;
        return true;
    }

    const std::string& text_;
    std::size_t at_ = 0;
    std::size_t next_ = 0;  // the largest unit that may come
    bool hadFraction_ = false;
};

std::string durationText(std::uint64_t ms) {
    std::string text;
    for (const Unit& unit : kUnits) {
        if (ms >= unit.ms) {
            text += std::to_string(ms / unit.ms) + unit.name;
            ms %= unit.ms;
        }
    }
    return "T#" + (text.empty() ? "0ms" : text);
}

// ---------------------------------------------------------------------------------------------------------------------
// Dates and times of day
// ---------------------------------------------------------------------------------------------------------------------

// Two digits, or four of a year.
bool parseField(const std::string& text, std::size_t digits, std::uint64_t* value) {
    return text.size() == digits && parseDigits(text, value);
}

// Seconds since 1970-01-01.
std::optional<std::uint64_t> parseDate(const std::string& text) {
    const std::vector<std::string> fields = split(text, '-');
    std::uint64_t year = 0;
    std::uint64_t month = 0;
    std::uint64_t day = 0;
    if (fields.size() != 3 || !parseField(fields[0], 4, &year) || !parseField(fields[1], 2, &month) ||
        !parseField(fields[2], 2, &day)) {
        return std::nullopt;
    }
    const Date date{static_cast<std::int64_t>(year), static_cast<int>(month), static_cast<int>(day)};
    const bool fits = year >= 1970 && year <= 2106 && exists(date);
    return fits ? std::optional<std::uint64_t>(static_cast<std::uint64_t>(daysOf(date)) * kSecondsPerDay)
                : std::nullopt;
}

// "250" milliseconds of "12:00:00.250"; "5" are 500.
bool parseMilliseconds(std::string digits, std::uint64_t* ms) {
    const bool sized = !digits.empty() && digits.size() <= 3;
    digits.resize(3, '0');
    return sized && parseDigits(digits, ms);
}

// Milliseconds since midnight.
std::optional<std::uint64_t> parseTimeOfDay(const std::string& text) {
    const std::size_t point = text.find('.');
    const std::vector<std::string> fields = split(text.substr(0, point), ':');
    std::uint64_t hours = 0;
    std::uint64_t minutes = 0;
    std::uint64_t seconds = 0;
    std::uint64_t ms = 0;
    if (fields.size() < 2 || fields.size() > 3 || !parseField(fields[0], 2, &hours) ||
        !parseField(fields[1], 2, &minutes) || (fields.size() == 3 && !parseField(fields[2], 2, &seconds)) ||
        (point != std::string::npos && !parseMilliseconds(text.substr(point + 1), &ms)) || hours > 23 || minutes > 59 ||
        seconds > 59) {
        return std::nullopt;
    }
    return ((hours * 60 + minutes) * 60 + seconds) * 1000 + ms;
}

// "2026-11-22-12:34:56"
std::optional<std::uint64_t> parseDateAndTime(const std::string& text) {
    constexpr std::size_t kDateLength = 10;
    if (text.size() <= kDateLength || text[kDateLength] != '-') {
        return std::nullopt;
    }
    const std::optional<std::uint64_t> date = parseDate(text.substr(0, kDateLength));
    const std::optional<std::uint64_t> time = parseTimeOfDay(text.substr(kDateLength + 1));
    if (!date || !time || *time % 1000 != 0) {
        return std::nullopt;
    }
    return *date + *time / 1000;
}

std::string dateText(std::uint64_t seconds) {
    const Date date = dateOf(static_cast<std::int64_t>(seconds / kSecondsPerDay));
    char text[64];
    std::snprintf(text, sizeof text, "%04u-%02u-%02u", static_cast<unsigned>(date.year),
                  static_cast<unsigned>(date.month), static_cast<unsigned>(date.day));
    return text;
}

std::string timeOfDayText(std::uint64_t ms) {
    char text[64];
    std::snprintf(text, sizeof text, "%02u:%02u:%02u", static_cast<unsigned>(ms / 3600000),
                  static_cast<unsigned>(ms / 60000 % 60), static_cast<unsigned>(ms / 1000 % 60));
    if (ms % 1000 == 0) {
        return text;
    }
    char fraction[16];
    std::snprintf(fraction, sizeof fraction, ".%03u", static_cast<unsigned>(ms % 1000));
    return std::string(text) + fraction;
}

std::optional<std::string> behindPrefix(TimeKind kind, const std::string& text) {
    const auto behindOneOf = [&text](const char* brief, const char* full) {
        const std::optional<std::string> rest = behind(text, brief);
        return rest ? rest : behind(text, full);
    };
    switch (kind) {
        case TimeKind::Duration:
            return behindOneOf("T#", "TIME#");
        case TimeKind::Date:
            return behindOneOf("D#", "DATE#");
        case TimeKind::TimeOfDay:
            return behindOneOf("TOD#", "TIME_OF_DAY#");
        case TimeKind::DateAndTime:
            return behindOneOf("DT#", "DATE_AND_TIME#");
    }
    return std::nullopt;
}

std::optional<std::uint64_t> parseTime(TimeKind kind, const std::string& text) {
    switch (kind) {
        case TimeKind::Duration:
            return DurationReader(lowerCase(text)).read();
        case TimeKind::Date:
            return parseDate(text);
        case TimeKind::TimeOfDay:
            return parseTimeOfDay(text);
        case TimeKind::DateAndTime:
            return parseDateAndTime(text);
    }
    return std::nullopt;
}

}  // namespace

WholeNumber wholeNumber(std::int64_t value) {
    const auto bits = static_cast<std::uint64_t>(value);
    return {value < 0, value < 0 ? ~bits + 1 : bits};
}

WholeNumber wholeNumber(std::uint64_t value) {
    return {false, value};
}

std::string toText(const WholeNumber& number) {
    return (number.negative ? "-" : "") + std::to_string(number.magnitude);
}

std::optional<std::string> withoutUnderscores(const std::string& text) {
    return withoutUnderscoresBetween(isDigit, text);
}

Digits parseWholeNumber(const std::string& text, WholeNumber* number) {
    const bool hasSign = !text.empty() && (text[0] == '-' || text[0] == '+');
    std::string digits = text.substr(hasSign ? 1 : 0);
    int base = 10;
    for (const Base& candidate : kBases) {
        if (const std::optional<std::string> rest = behind(digits, candidate.prefix)) {
            digits = *rest;
            base = candidate.base;
            break;
        }
    }
    const std::optional<std::string> plain = withoutUnderscoresBetween(isHexDigit, digits);
    if (!plain) {
        return Digits::NotANumber;
    }
    std::uint64_t magnitude = 0;
    const char* end = plain->data() + plain->size();
    const auto [rest, problem] = std::from_chars(plain->data(), end, magnitude, base);
    if (rest != end || problem == std::errc::invalid_argument) {
        return Digits::NotANumber;
    }
    if (problem == std::errc::result_out_of_range) {
        return Digits::TooLarge;
    }
    *number = {hasSign && text[0] == '-' && magnitude != 0, magnitude};
    return Digits::Good;
}

std::optional<TypedLiteral> splitTypedLiteral(const std::string& text) {
    const std::size_t hash = text.find('#');
    const std::string type = text.substr(0, hash);
    const bool isWord = !type.empty() && std::all_of(type.begin(), type.end(), [](char c) {
        const char lower = lowerCase(c);
        return (lower >= 'a' && lower <= 'z') || c == '_';
    });
    if (hash == std::string::npos || !isWord) {
        return std::nullopt;
    }
    TypedLiteral literal{type, text.substr(hash + 1)};
    for (char& c : literal.type) {
        c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    return literal;
}

std::optional<std::uint32_t> parseTimeLiteral(TimeKind kind, const std::string& text) {
    const std::optional<std::string> rest = behindPrefix(kind, text);
    const std::optional<std::uint64_t> value = rest ? parseTime(kind, *rest) : std::nullopt;
    if (!value || *value > kLargest) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(*value);
}

std::string timeLiteral(TimeKind kind, std::uint32_t value) {
    switch (kind) {
        case TimeKind::Duration:
            return durationText(value);
        case TimeKind::Date:
            return value % kSecondsPerDay == 0 ? "D#" + dateText(value) : std::to_string(value);
        case TimeKind::TimeOfDay:
            return value < kMsPerDay ? "TOD#" + timeOfDayText(value) : std::to_string(value);
        case TimeKind::DateAndTime:
            return "DT#" + dateText(value) + "-" + timeOfDayText(value % kSecondsPerDay * 1000);
    }
    return std::string();
}

const char* timeLiteralExample(TimeKind kind) {
    switch (kind) {
        case TimeKind::Duration:
            return "T#1m30s";
        case TimeKind::Date:
            return "D#2026-11-22";
        case TimeKind::TimeOfDay:
            return "TOD#12:00:00";
        case TimeKind::DateAndTime:
            return "DT#2026-11-22-12:00:00";
    }
    return "";
}

}  // namespace ac500::text
