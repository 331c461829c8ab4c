#include "tools/client/conversion.h"

#include <fmt/format.h>

#include <cmath>
#include <limits>

#include "tools/text/iec_literal.h"

namespace ac500::client {

using host::HostValue;
using host::Tag;
using symbol_file::IntegerLimits;
using symbol_file::TypeKind;
using text::TimeKind;
using text::WholeNumber;

namespace {

constexpr std::int64_t kNanosecondsPerMillisecond = 1000000;
constexpr std::int64_t kNanosecondsPerSecond = 1000000000;
constexpr double kTwoTo64 = 18446744073709551616.0;

bool isScaled(const Tag& tag) {
    return tag.notes != nullptr && tag.notes->scale.has_value();
}

std::string typeOf(const Tag& tag) {
    return tag.form.isBit ? "a single bit" : symbol_file::typeName(tag.form.code, tag.form.stringCharacters);
}

// Nothing for what is no whole number.
std::optional<WholeNumber> wholeNumberOf(const HostValue& given) {
    if (const auto* truth = std::get_if<bool>(&given)) {
        return WholeNumber{false, *truth ? 1U : 0U};
    }
    if (const auto* number = std::get_if<std::int64_t>(&given)) {
        return text::wholeNumber(*number);
    }
    if (const auto* number = std::get_if<std::uint64_t>(&given)) {
        return text::wholeNumber(*number);
    }
    const auto* number = std::get_if<double>(&given);
    const bool isWhole = number != nullptr && std::trunc(*number) == *number && std::fabs(*number) < kTwoTo64;
    return isWhole ? std::optional<WholeNumber>({*number < 0, static_cast<std::uint64_t>(std::fabs(*number))})
                   : std::nullopt;
}

std::optional<double> numberOf(const HostValue& given) {
    if (const auto* number = std::get_if<std::int64_t>(&given)) {
        return static_cast<double>(*number);
    }
    if (const auto* number = std::get_if<std::uint64_t>(&given)) {
        return static_cast<double>(*number);
    }
    const auto* number = std::get_if<double>(&given);
    return number == nullptr ? std::nullopt : std::optional<double>(*number);
}

std::int64_t negated(std::uint64_t magnitude) {
    return magnitude == 0 ? 0 : -static_cast<std::int64_t>(magnitude - 1) - 1;
}

// REQUIRES: within the limits of a 64-bit number of that sign
HostValue hostValueOf(const WholeNumber& number, TypeKind kind) {
    if (kind == TypeKind::Signed) {
        return number.negative ? negated(number.magnitude) : static_cast<std::int64_t>(number.magnitude);
    }
    return number.magnitude;
}

std::optional<HostValue> forWholeTag(const Tag& tag, const HostValue& given, std::string* error) {
    const std::optional<WholeNumber> number = std::holds_alternative<bool>(given) ? std::nullopt : wholeNumberOf(given);
    if (!number) {
        *error = fmt::format("{} takes whole numbers", typeOf(tag));
        return std::nullopt;
    }
    const IntegerLimits limits = symbol_file::integerLimits(tag.form.code);
    const WholeNumber largest{false, limits.largest};
    if (*number < text::wholeNumber(limits.smallest) || largest < *number) {
        *error = fmt::format("{} does not fit into {}: {} to {}", text::toText(*number), typeOf(tag), limits.smallest,
                             limits.largest);
        return std::nullopt;
    }
    return hostValueOf(*number, symbol_file::kindOf(tag.form.code));
}

std::optional<HostValue> forFloatTag(const Tag& tag, const HostValue& given, std::string* error) {
    const std::optional<double> number = numberOf(given);
    if (!number) {
        *error = fmt::format("{} takes numbers", isScaled(tag) ? "a scaled variable" : typeOf(tag));
        return std::nullopt;
    }
    if (isScaled(tag) || tag.form.code != symbol_file::TypeCode::Real) {
        return *number;
    }
    if (std::isfinite(*number) && std::fabs(*number) > static_cast<double>(std::numeric_limits<float>::max())) {
        *error = fmt::format("{} does not fit into REAL", *number);
        return std::nullopt;
    }
    return static_cast<float>(*number);
}

std::optional<HostValue> forTruthTag(const Tag& tag, const HostValue& given, std::string* error) {
    const std::optional<WholeNumber> number =
        std::holds_alternative<double>(given) ? std::nullopt : wholeNumberOf(given);
    if (!number || number->negative || number->magnitude > 1) {
        *error = fmt::format("{} takes 0 and 1", typeOf(tag));
        return std::nullopt;
    }
    return number->magnitude == 1;
}

std::int64_t nanosecondsPerCount(TimeKind kind) {
    const bool countsSeconds = kind == TimeKind::Date || kind == TimeKind::DateAndTime;
    return countsSeconds ? kNanosecondsPerSecond : kNanosecondsPerMillisecond;
}

}  // namespace

ac500_kind kindOfTag(const Tag& tag) {
    if (isScaled(tag)) {
        return AC500_KIND_DOUBLE;
    }
    if (host::isBoolean(tag.form)) {
        return AC500_KIND_BOOL;
    }
    if (const std::optional<TimeKind> time = symbol_file::timeKindOf(tag.form.code)) {
        switch (*time) {
            case TimeKind::Duration:
                return AC500_KIND_DURATION;
            case TimeKind::Date:
                return AC500_KIND_DATE;
            case TimeKind::TimeOfDay:
                return AC500_KIND_TIME_OF_DAY;
            case TimeKind::DateAndTime:
                return AC500_KIND_DATE_TIME;
        }
    }
    switch (symbol_file::kindOf(tag.form.code)) {
        case TypeKind::Truth:
            return AC500_KIND_BOOL;
        case TypeKind::Signed:
            return AC500_KIND_INT64;
        case TypeKind::Unsigned:
        case TypeKind::BitString:
        case TypeKind::Structure:  // no tag is one
            return AC500_KIND_UINT64;
        case TypeKind::Float:
            return AC500_KIND_DOUBLE;
        case TypeKind::Text:
            return AC500_KIND_STRING;
    }
    return AC500_KIND_UINT64;
}

std::optional<HostValue> forTag(const Tag& tag, const HostValue& given, std::string* error) {
    const ac500_kind kind = kindOfTag(tag);
    if ((kind == AC500_KIND_STRING) != std::holds_alternative<std::string>(given)) {
        *error = fmt::format("{} takes {}", typeOf(tag), kind == AC500_KIND_STRING ? "strings" : "no strings");
        return std::nullopt;
    }
    switch (kind) {
        case AC500_KIND_STRING:
            return given;
        case AC500_KIND_BOOL:
            return forTruthTag(tag, given, error);
        case AC500_KIND_DOUBLE:
            return forFloatTag(tag, given, error);
        default:
            return forWholeTag(tag, given, error);
    }
}

std::optional<HostValue> forTimeTag(const Tag& tag, std::int64_t nanoseconds, std::string* error) {
    const std::optional<TimeKind> time = symbol_file::timeKindOf(tag.form.code);
    if (!time || tag.form.isBit) {
        *error = fmt::format("{} takes no time", typeOf(tag));
        return std::nullopt;
    }
    const std::int64_t unit = nanosecondsPerCount(*time);
    const std::int64_t count = nanoseconds / unit;
    if (nanoseconds % unit != 0 || count < 0 || count > std::int64_t{std::numeric_limits<std::uint32_t>::max()}) {
        *error = fmt::format("{} ns is no time that {} can hold: it counts {} from 0 to {}", nanoseconds, typeOf(tag),
                             unit == kNanosecondsPerSecond ? "seconds" : "milliseconds",
                             std::numeric_limits<std::uint32_t>::max());
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(count);
}

std::optional<bool> asBool(const HostValue& value) {
    const auto* truth = std::get_if<bool>(&value);
    return truth == nullptr ? std::nullopt : std::optional<bool>(*truth);
}

// Floating-point numbers are no integers here, also when they are whole: which of them is whole is left to chance.
std::optional<std::int64_t> asInt64(const HostValue& value) {
    if (const auto* truth = std::get_if<bool>(&value)) {
        return *truth ? 1 : 0;
    }
    if (const auto* number = std::get_if<std::int64_t>(&value)) {
        return *number;
    }
    const auto* number = std::get_if<std::uint64_t>(&value);
    const bool fits = number != nullptr && *number <= std::uint64_t{std::numeric_limits<std::int64_t>::max()};
    return fits ? std::optional<std::int64_t>(static_cast<std::int64_t>(*number)) : std::nullopt;
}

std::optional<std::uint64_t> asUint64(const HostValue& value) {
    if (const auto* number = std::get_if<std::uint64_t>(&value)) {
        return *number;
    }
    const std::optional<std::int64_t> number = asInt64(value);
    return number && *number >= 0 ? std::optional<std::uint64_t>(*number) : std::nullopt;
}

std::optional<double> asDouble(const HostValue& value) {
    if (const auto* number = std::get_if<float>(&value)) {
        return static_cast<double>(*number);
    }
    if (const auto* truth = std::get_if<bool>(&value)) {
        return *truth ? 1 : 0;
    }
    return numberOf(value);
}

std::optional<std::int64_t> asNanoseconds(const Tag& tag, const HostValue& value) {
    const std::optional<TimeKind> time = tag.form.isBit ? std::nullopt : symbol_file::timeKindOf(tag.form.code);
    const auto* count = std::get_if<std::uint64_t>(&value);
    if (!time || count == nullptr) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(*count) * nanosecondsPerCount(*time);
}

}  // namespace ac500::client
