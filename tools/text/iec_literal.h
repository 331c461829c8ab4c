// Values as IEC 61131-3 writes them: whole numbers with a base and underscores, times and dates. Pure functions.
#ifndef AC500_TOOLS_TEXT_IEC_LITERAL_H
#define AC500_TOOLS_TEXT_IEC_LITERAL_H

#include <cstdint>
#include <optional>
#include <string>

namespace ac500::text {

struct WholeNumber {
    bool negative = false;  // false for 0
    std::uint64_t magnitude = 0;
};

inline bool operator==(const WholeNumber& a, const WholeNumber& b) {
    return a.negative == b.negative && a.magnitude == b.magnitude;
}
inline bool operator<(const WholeNumber& a, const WholeNumber& b) {
    if (a.negative != b.negative) {
        return a.negative;
    }
    return a.negative ? b.magnitude < a.magnitude : a.magnitude < b.magnitude;
}

WholeNumber wholeNumber(std::int64_t value);
WholeNumber wholeNumber(std::uint64_t value);
std::string toText(const WholeNumber& number);

enum class Digits { Good, NotANumber, TooLarge };

// "12", "-12", "1_000", "16#FF", "8#17", "2#1010_0001", "0xFF". *number is set exactly when the digits are good; they are
// too large beyond 64 bits.
Digits parseWholeNumber(const std::string& text, WholeNumber* number);

// "INT" and "5" of "INT#5", "WORD" and "16#FF" of "WORD#16#FF"; nothing when the text does not begin with letters and "#".
struct TypedLiteral {
    std::string type;  // in capitals
    std::string value;
};
std::optional<TypedLiteral> splitTypedLiteral(const std::string& text);

// Without the underscores that stand between two decimal digits; nothing when one stands elsewhere.
std::optional<std::string> withoutUnderscores(const std::string& text);

// What a 32-bit number counts.
enum class TimeKind {
    Duration,     // TIME: milliseconds
    Date,         // DATE: seconds since 1970-01-01, at the beginning of the day
    TimeOfDay,    // TOD: milliseconds since midnight
    DateAndTime,  // DT: seconds since 1970-01-01
};

// "T#1d2h3m4s5ms" (also TIME#; each unit at most once, from the largest down; the last may have a fraction), "D#2026-11-22"
// (DATE#), "TOD#12:00:00.250" (TIME_OF_DAY#), "DT#2026-11-22-12:00:00" (DATE_AND_TIME#). Nothing for another text and for
// what 32 bits do not hold.
std::optional<std::uint32_t> parseTimeLiteral(TimeKind kind, const std::string& text);

// The shortest such text; the plain number for what has none: a DATE that is no beginning of a day, a TOD of 24 hours and
// more. parseTimeLiteral or parseWholeNumber takes it back.
std::string timeLiteral(TimeKind kind, std::uint32_t value);

// One for messages: "T#1m30s".
const char* timeLiteralExample(TimeKind kind);

}  // namespace ac500::text

#endif
