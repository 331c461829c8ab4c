#include "tools/text/iec_literal.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ac500::text {
namespace {

std::string wholeNumberIn(const std::string& text) {
    WholeNumber number;
    switch (parseWholeNumber(text, &number)) {
        case Digits::Good:
            return toText(number);
        case Digits::NotANumber:
            return "no number";
        case Digits::TooLarge:
            break;
    }
    return "too large";
}

TEST(IecWholeNumber, TakesEveryBaseAndUnderscores) {
    EXPECT_EQ(wholeNumberIn("12"), "12");
    EXPECT_EQ(wholeNumberIn("-12"), "-12");
    EXPECT_EQ(wholeNumberIn("+12"), "12");
    EXPECT_EQ(wholeNumberIn("-0"), "0");
    EXPECT_EQ(wholeNumberIn("1_000_000"), "1000000");
    EXPECT_EQ(wholeNumberIn("16#ff"), "255");
    EXPECT_EQ(wholeNumberIn("16#FF_FF"), "65535");
    EXPECT_EQ(wholeNumberIn("8#17"), "15");
    EXPECT_EQ(wholeNumberIn("2#1010_0001"), "161");
    EXPECT_EQ(wholeNumberIn("-2#11"), "-3");
    EXPECT_EQ(wholeNumberIn("0xFF"), "255");
    EXPECT_EQ(wholeNumberIn("18446744073709551615"), "18446744073709551615");
    EXPECT_EQ(wholeNumberIn("16#8000000000000000"), "9223372036854775808");
}

TEST(IecWholeNumber, RefusesEverythingElse) {
    for (const char* text : {"",    "-",   "_1",  "1_", "1__0", "16#", "16#G",  "8#8", "2#2",   "2#", "10#5",
                             "3#1", "1.5", "1e3", " 1", "1 ",   "--1", "16#-1", "0x",  "INT#5", "#5"}) {
        EXPECT_EQ(wholeNumberIn(text), "no number") << text;
    }
    EXPECT_EQ(wholeNumberIn("18446744073709551616"), "too large");
    EXPECT_EQ(wholeNumberIn("16#1_0000_0000_0000_0000"), "too large");
    EXPECT_EQ(wholeNumberIn("99999999999999999999x"), "no number");
}

TEST(IecWholeNumber, ComparesAcrossZero) {
    const WholeNumber numbers[] = {wholeNumber(INT64_MIN),        wholeNumber(std::int64_t{-2}),
                                   wholeNumber(std::int64_t{-1}), wholeNumber(std::int64_t{0}),
                                   wholeNumber(std::int64_t{1}),  wholeNumber(~std::uint64_t{0})};
    for (std::size_t i = 0; i < 6; ++i) {
        for (std::size_t j = 0; j < 6; ++j) {
            EXPECT_EQ(numbers[i] < numbers[j], i < j) << toText(numbers[i]) << " " << toText(numbers[j]);
            EXPECT_EQ(numbers[i] == numbers[j], i == j);
        }
    }
    EXPECT_EQ(toText(numbers[0]), "-9223372036854775808");
}

std::string timeIn(TimeKind kind, const std::string& text) {
    const std::optional<std::uint32_t> value = parseTimeLiteral(kind, text);
    return value ? std::to_string(*value) : "refused";
}

TEST(IecDuration, IsMilliseconds) {
    EXPECT_EQ(timeIn(TimeKind::Duration, "T#1m30s"), "90000");
    EXPECT_EQ(timeIn(TimeKind::Duration, "t#1d2h3m4s5ms"), "93784005");
    EXPECT_EQ(timeIn(TimeKind::Duration, "TIME#90s"), "90000");
    EXPECT_EQ(timeIn(TimeKind::Duration, "T#0ms"), "0");
    EXPECT_EQ(timeIn(TimeKind::Duration, "T#1h_30m"), "5400000");
    EXPECT_EQ(timeIn(TimeKind::Duration, "T#1.5s"), "1500");
    EXPECT_EQ(timeIn(TimeKind::Duration, "T#0.25m"), "15000");
    EXPECT_EQ(timeIn(TimeKind::Duration, "T#1d0.000005h"), "86400018");
    EXPECT_EQ(timeIn(TimeKind::Duration, "T#0.123456d"), "refused");
    EXPECT_EQ(timeIn(TimeKind::Duration, "T#0.12345625d"), "10666620");
    EXPECT_EQ(timeIn(TimeKind::Duration, "T#1.500000000s"), "1500");
    EXPECT_EQ(timeIn(TimeKind::Duration, "T#1.5000000000s"), "refused");
    EXPECT_EQ(timeIn(TimeKind::Duration, "T#49d17h2m47s295ms"), "4294967295");
}

TEST(IecDuration, RefusesEverythingElse) {
    for (const char* text : {"T#",        "T#5",
                             "5s",        "T#s",
                             "T#1s1m",    "T#1s1s",
                             "T#1.5s5ms", "T#1.s",
                             "T#.5s",     "T#-1s",
                             "T#1x",      "T#1h_",
                             "T#1h__3m",  "T#49d17h2m47s296ms",
                             "T#50d",     "T#99999999999999999999s",
                             "T#0.5ms",   "T#1.0001s",
                             "TOD#1s",    "T# 1s",
                             "T#1s "}) {
        EXPECT_EQ(timeIn(TimeKind::Duration, text), "refused") << text;
    }
}

TEST(IecDate, IsSecondsSince1970) {
    EXPECT_EQ(timeIn(TimeKind::Date, "D#1970-01-01"), "0");
    EXPECT_EQ(timeIn(TimeKind::Date, "DATE#2026-11-22"), "1795305600");
    EXPECT_EQ(timeIn(TimeKind::Date, "D#2000-02-29"), "951782400");
    EXPECT_EQ(timeIn(TimeKind::Date, "D#2106-02-07"), "4294944000");
    for (const char* text : {"D#1969-12-31", "D#2106-02-08", "D#2026-02-29", "D#2026-00-10", "D#2026-13-10",
                             "D#2026-11-00", "D#2026-11-31", "D#26-11-22", "D#2026-1-1", "D#2026-11-22-12:00:00",
                             "2026-11-22", "D#", "D#2026-11-", "DT#2026-11-22"}) {
        EXPECT_EQ(timeIn(TimeKind::Date, text), "refused") << text;
    }
}

TEST(IecTimeOfDay, IsMillisecondsSinceMidnight) {
    EXPECT_EQ(timeIn(TimeKind::TimeOfDay, "TOD#00:00:00"), "0");
    EXPECT_EQ(timeIn(TimeKind::TimeOfDay, "TOD#12:00"), "43200000");
    EXPECT_EQ(timeIn(TimeKind::TimeOfDay, "TIME_OF_DAY#23:59:59.999"), "86399999");
    EXPECT_EQ(timeIn(TimeKind::TimeOfDay, "tod#01:02:03.5"), "3723500");
    for (const char* text : {"TOD#24:00:00", "TOD#12:60:00", "TOD#12:00:60", "TOD#12", "TOD#1:00", "TOD#12:00:00.1234",
                             "TOD#12:00:00.", "TOD#12:00:00:00", "12:00:00", "TOD#"}) {
        EXPECT_EQ(timeIn(TimeKind::TimeOfDay, text), "refused") << text;
    }
}

TEST(IecDateAndTime, IsSecondsSince1970) {
    EXPECT_EQ(timeIn(TimeKind::DateAndTime, "DT#2026-11-22-12:34:56"), "1795350896");
    EXPECT_EQ(timeIn(TimeKind::DateAndTime, "DATE_AND_TIME#1970-01-01-00:00"), "0");
    EXPECT_EQ(timeIn(TimeKind::DateAndTime, "DT#2106-02-07-06:28:15"), "4294967295");
    for (const char* text : {"DT#2106-02-07-06:28:16", "DT#2026-11-22", "DT#2026-11-22-", "DT#2026-11-22 12:34:56",
                             "DT#2026-11-22-12:34:56.5", "D#2026-11-22-12:34:56"}) {
        EXPECT_EQ(timeIn(TimeKind::DateAndTime, text), "refused") << text;
    }
}

TEST(IecTimes, AreShownAsTheyAreWritten) {
    EXPECT_EQ(timeLiteral(TimeKind::Duration, 0), "T#0ms");
    EXPECT_EQ(timeLiteral(TimeKind::Duration, 90000), "T#1m30s");
    EXPECT_EQ(timeLiteral(TimeKind::Duration, 4294967295U), "T#49d17h2m47s295ms");
    EXPECT_EQ(timeLiteral(TimeKind::Date, 951782400), "D#2000-02-29");
    EXPECT_EQ(timeLiteral(TimeKind::Date, 951782401), "951782401");
    EXPECT_EQ(timeLiteral(TimeKind::TimeOfDay, 3723005), "TOD#01:02:03.005");
    EXPECT_EQ(timeLiteral(TimeKind::TimeOfDay, 86400000), "86400000");
    EXPECT_EQ(timeLiteral(TimeKind::DateAndTime, 4294967295U), "DT#2106-02-07-06:28:15");
}

// A step that is no divisor of a day or an hour, so that every field takes many values.
TEST(IecTimes, AreTakenBackAsTheyAreShown) {
    for (const TimeKind kind : {TimeKind::Duration, TimeKind::TimeOfDay, TimeKind::DateAndTime}) {
        for (std::uint64_t value = 0; value < 4294967296U; value += 4999999) {
            if (kind != TimeKind::TimeOfDay || value < 86400000) {
                const auto exact = static_cast<std::uint32_t>(value);
                ASSERT_EQ(timeIn(kind, timeLiteral(kind, exact)), std::to_string(value));
            }
        }
    }
    for (std::uint64_t day = 0; day * 86400 < 4294967296U; ++day) {
        const auto exact = static_cast<std::uint32_t>(day * 86400);
        ASSERT_EQ(timeIn(TimeKind::Date, timeLiteral(TimeKind::Date, exact)), std::to_string(exact));
    }
}

TEST(IecTypedLiteral, IsTypeAndValue) {
    const std::optional<TypedLiteral> literal = splitTypedLiteral("word#16#FF");
    ASSERT_TRUE(literal);
    EXPECT_EQ(literal->type, "WORD");
    EXPECT_EQ(literal->value, "16#FF");
    EXPECT_FALSE(splitTypedLiteral("16#FF"));
    EXPECT_FALSE(splitTypedLiteral("#5"));
    EXPECT_FALSE(splitTypedLiteral("INT"));
}

}  // namespace
}  // namespace ac500::text
