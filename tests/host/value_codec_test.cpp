#include "tools/host/value_codec.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/support/bytes.h"
#include "tools/host/latin1.h"

namespace ac500::host {
namespace {

using test::bytes;

constexpr ValueForm kBool{TypeCode::Bool, false};
constexpr ValueForm kSint{TypeCode::Sint, false};
constexpr ValueForm kInt{TypeCode::Int, false};
constexpr ValueForm kDint{TypeCode::Dint, false};
constexpr ValueForm kReal{TypeCode::Real, false};
constexpr ValueForm kLreal{TypeCode::Lreal, false};
constexpr ValueForm kString{TypeCode::String, false};
constexpr ValueForm kWord{TypeCode::Word, false};
constexpr ValueForm kBitOfWord{TypeCode::Word, true};

// The text that one value of a type is shown as after it was parsed, or "refused: ..." with the reason.
std::string reparsed(TypeCode code, const std::string& text) {
    std::string error;
    const std::optional<HostValues> values = parseValues({code, false}, 1, text, &error);
    return values ? formatValues({code, false}, *values) : "refused: " + error;
}

QByteArray encoded(ValueForm form, int elements, const std::string& text) {
    std::string error;
    const std::optional<HostValues> values = parseValues(form, elements, text, &error);
    EXPECT_TRUE(values) << error;
    return values ? encodeForWrite(form, *values) : QByteArray();
}

TEST(ValueCodec, LargestAndSmallestIntegersOfEveryType) {
    struct Row {
        TypeCode code;
        const char* smallest;
        const char* tooSmall;
        const char* largest;
        const char* tooLarge;
    };
    const Row rows[] = {
        {TypeCode::Sint, "-128", "-129", "127", "128"},
        {TypeCode::Int, "-32768", "-32769", "32767", "32768"},
        {TypeCode::Uint, "0", "-1", "65535", "65536"},
        {TypeCode::Dint, "-2147483648", "-2147483649", "2147483647", "2147483648"},
        {TypeCode::Udint, "0", "-1", "4294967295", "4294967296"},
        {TypeCode::Lint, "-9223372036854775808", "-9223372036854775809", "9223372036854775807", "9223372036854775808"},
        {TypeCode::Usint, "0", "-1", "255", "256"},
        {TypeCode::Ulint, "0", "-1", "18446744073709551615", "18446744073709551616"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(reparsed(row.code, row.smallest), row.smallest);
        EXPECT_EQ(reparsed(row.code, row.largest), row.largest);
        EXPECT_EQ(reparsed(row.code, row.tooSmall).substr(0, 8), "refused:") << row.tooSmall;
        EXPECT_EQ(reparsed(row.code, row.tooLarge).substr(0, 8), "refused:") << row.tooLarge;
    }
}

TEST(ValueCodec, BitStringsAreShownInHexadecimal) {
    EXPECT_EQ(reparsed(TypeCode::Byte, "10"), "0x0A");
    EXPECT_EQ(reparsed(TypeCode::Word, "0xbeef"), "0xBEEF");
    EXPECT_EQ(reparsed(TypeCode::Dword, "255"), "0x000000FF");
    EXPECT_EQ(reparsed(TypeCode::Lword, "0xFFFFFFFFFFFFFFFF"), "0xFFFFFFFFFFFFFFFF");
    EXPECT_EQ(reparsed(TypeCode::Byte, "0x100").substr(0, 8), "refused:");
}

TEST(ValueCodec, ARangeErrorTellsTheRange) {
    EXPECT_EQ(reparsed(TypeCode::Int, "40000"), "refused: 40000 is out of range; INT goes from -32768 to 32767");
    EXPECT_EQ(reparsed(TypeCode::Uint, "-1"), "refused: -1 is out of range; UINT goes from 0 to 65535");
}

TEST(ValueCodec, WhatIsNoNumberIsRefused) {
    for (const char* text : {"", "x", "1.5", "1 2", "0x", "0xG", "--1", "12a"}) {
        EXPECT_EQ(reparsed(TypeCode::Int, text).substr(0, 8), "refused:") << text;
    }
    for (const char* text : {"", "x", "1,5", "1.5.2"}) {
        EXPECT_EQ(reparsed(TypeCode::Real, text).substr(0, 8), "refused:") << text;
    }
}

TEST(ValueCodec, BooleansInFourSpellings) {
    EXPECT_EQ(reparsed(TypeCode::Bool, "TRUE"), "TRUE");
    EXPECT_EQ(reparsed(TypeCode::Bool, "true"), "TRUE");
    EXPECT_EQ(reparsed(TypeCode::Bool, "1"), "TRUE");
    EXPECT_EQ(reparsed(TypeCode::Bool, "0"), "FALSE");
    EXPECT_EQ(reparsed(TypeCode::Bool, "False"), "FALSE");
    EXPECT_EQ(reparsed(TypeCode::Bit, "TRUE"), "1");
    EXPECT_EQ(reparsed(TypeCode::Bool, "2").substr(0, 8), "refused:");
}

TEST(ValueCodec, FloatsAreShownInTheirShortestExactForm) {
    EXPECT_EQ(reparsed(TypeCode::Real, "0.1"), "0.1");
    EXPECT_EQ(reparsed(TypeCode::Real, "-21.5"), "-21.5");
    EXPECT_EQ(reparsed(TypeCode::Real, "16777217"), "16777216");
    EXPECT_EQ(reparsed(TypeCode::Lreal, "0.30000000000000004"), "0.30000000000000004");
    EXPECT_EQ(reparsed(TypeCode::Lreal, "+2e-3"), "0.002");
    EXPECT_EQ(reparsed(TypeCode::Real, "1e39").substr(0, 8), "refused:");
    EXPECT_EQ(reparsed(TypeCode::Real, "nan"), "nan");
}

TEST(ValueCodec, StringsWithAndWithoutQuotes) {
    EXPECT_EQ(reparsed(TypeCode::String, "hello world"), "\"hello world\"");
    EXPECT_EQ(reparsed(TypeCode::String, "\"a, \\\"b\\\" \\\\\""), "\"a, \\\"b\\\" \\\\\"");
    EXPECT_EQ(reparsed(TypeCode::String, ""), "\"\"");
    EXPECT_EQ(reparsed(TypeCode::String, "\"open").substr(0, 8), "refused:");
    EXPECT_EQ(reparsed(TypeCode::String, "\"a\"b").substr(0, 8), "refused:");
    EXPECT_EQ(reparsed(TypeCode::String, "\"\\q\"").substr(0, 8), "refused:");
    EXPECT_EQ(reparsed(TypeCode::String, "\"\\x0a\""), "\"\\x0a\"");
    EXPECT_EQ(reparsed(TypeCode::String, "\"\\x0\"").substr(0, 8), "refused:");
}

TEST(ValueCodec, AStringOf80CharactersFitsAndOneOf81DoesNot) {
    EXPECT_EQ(reparsed(TypeCode::String, std::string(80, 'x')), "\"" + std::string(80, 'x') + "\"");
    EXPECT_EQ(reparsed(TypeCode::String, std::string(81, 'x')),
              "refused: the string has 81 characters; a PLC string takes at most 80");
    // 80 characters of Latin-1 are 160 bytes of UTF-8.
    std::string umlauts;
    for (int i = 0; i < 80; ++i) {
        umlauts += "ä";
    }
    EXPECT_EQ(reparsed(TypeCode::String, umlauts), "\"" + umlauts + "\"");
}

TEST(ValueCodec, CharactersBeyondLatin1AreRefused) {
    EXPECT_EQ(reparsed(TypeCode::String, "5 €").substr(0, 8), "refused:");
}

TEST(ValueCodec, ListsNeedAsManyValuesAsElements) {
    std::string error;
    EXPECT_TRUE(parseValues(kInt, 3, "1, 2 ,3", &error));
    EXPECT_FALSE(parseValues(kInt, 3, "1,2", &error));
    EXPECT_EQ(error, "3 values are needed, separated by commas; 2 given");
    const std::optional<HostValues> strings = parseValues(kString, 2, "\"a,b\",c", &error);
    ASSERT_TRUE(strings);
    EXPECT_EQ(formatValues(kString, *strings), "\"a,b\", \"c\"");
}

TEST(ValueCodec, HostFormatForWriting) {
    EXPECT_EQ(encoded(kBool, 3, "1,0,TRUE"), bytes("01 00 01"));
    // 8-bit values take a word each, only its low byte counts
    EXPECT_EQ(encoded(kSint, 3, "1,-2,3"), bytes("0100 FEFF 0300"));
    EXPECT_EQ(encoded(kInt, 2, "4660,-2"), bytes("3412 FEFF"));
    EXPECT_EQ(encoded(kDint, 1, "0x12345678"), bytes("78563412"));
    EXPECT_EQ(encoded(kReal, 1, "1.5"), bytes("0000C03F"));
    EXPECT_EQ(encoded(kLreal, 1, "-2"), bytes("00000000000000C0"));
    EXPECT_EQ(encoded(kBitOfWord, 1, "1"), bytes("01"));
}

TEST(ValueCodec, StringsCarryATerminatorAndFillWholeWords) {
    EXPECT_EQ(encoded(kString, 1, "ab"), bytes("6162 0000"));
    EXPECT_EQ(encoded(kString, 1, "abc"), bytes("6162 6300"));
    EXPECT_EQ(encoded(kString, 1, ""), bytes("0000"));
    EXPECT_EQ(encoded(kString, 1, "Ä"), bytes("C400"));
    EXPECT_EQ(encoded(kString, 1, std::string(80, 'x')), QByteArray(80, 'x'));
    EXPECT_EQ(encoded(kString, 1, std::string(79, 'x')), QByteArray(79, 'x') + '\0');
    EXPECT_EQ(countForWrite(kString, encoded(kString, 1, "abc")), 2);
}

TEST(ValueCodec, HostFormatForReading) {
    EXPECT_EQ(formatValues(kBool, decodeRead(kBool, bytes("01 00"), 2)), "TRUE, FALSE");
    // packed one per byte; the second half of the result stays zero
    EXPECT_EQ(formatValues(kSint, decodeRead(kSint, bytes("01 FE 03 00 00 00"), 3)), "1, -2, 3");
    EXPECT_EQ(formatValues(kInt, decodeRead(kInt, bytes("3412 FEFF"), 2)), "4660, -2");
    EXPECT_EQ(formatValues(kDint, decodeRead(kDint, bytes("FEFFFFFF"), 1)), "-2");
    EXPECT_EQ(formatValues(kReal, decodeRead(kReal, bytes("0000C03F"), 1)), "1.5");
    EXPECT_EQ(formatValues(kLreal, decodeRead(kLreal, bytes("00000000000000C0"), 1)), "-2");
    EXPECT_EQ(formatValues(kString, decodeRead(kString, bytes("4142 00") + QByteArray(77, 'z'), 1)), "\"AB\"");
    EXPECT_EQ(formatValues(kBitOfWord, decodeRead(kBitOfWord, bytes("01 00"), 2)), "1, 0");
}

TEST(ValueCodec, ElementsBeyondTheBytesAreLeftOut) {
    EXPECT_EQ(decodeRead(kDint, bytes("01000000 0200"), 2).size(), 1u);
    EXPECT_EQ(decodeRead(kWord, QByteArray(), 1).size(), 0u);
}

TEST(ValueCodec, CountsAreWordsExceptForBooleansAndBytes) {
    EXPECT_EQ(countPerElement(kBool), 1);
    EXPECT_EQ(countPerElement(kSint), 1);
    EXPECT_EQ(countPerElement(kInt), 1);
    EXPECT_EQ(countPerElement(kDint), 2);
    EXPECT_EQ(countPerElement(kLreal), 4);
    EXPECT_EQ(countPerElement(kString), 40);
    EXPECT_EQ(countPerElement(kBitOfWord), 1);
}

TEST(ValueCodec, OnlyFloatsCanBeOtherThanFinite) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(areFinite({1.5F, 2e300, true, std::int64_t{-1}, std::uint64_t{1}, std::string("inf")}));
    EXPECT_FALSE(areFinite({1.5F, kInfinity}));
    EXPECT_FALSE(areFinite({-kInfinity}));
    EXPECT_FALSE(areFinite({kNan, 1.5}));
}

TEST(ValueCodec, ANanEqualsItselfAndZeroDoesNotEqualMinusZero) {
    EXPECT_TRUE(sameValues({std::nanf("")}, {std::nanf("")}));
    EXPECT_FALSE(sameValues({0.0F}, {-0.0F}));
    EXPECT_TRUE(sameValues({std::string("a")}, {std::string("a")}));
    EXPECT_FALSE(sameValues({std::string("a")}, {std::string("b")}));
    EXPECT_FALSE(sameValues({true}, {true, false}));
}

TEST(Latin1, BytesAboveAsciiBecomeUtf8AndBack) {
    EXPECT_EQ(fromLatin1(bytes("47 72 FC DF 65 00 41")), "Grüße");
    EXPECT_EQ(toLatin1("Grüße"), std::optional<std::string>("Gr\xFC\xDF"
                                                            "e"));
    EXPECT_EQ(fromLatin1(bytes("4142")), "AB");
}

TEST(Quote, WhatATerminalWouldObeyIsShownAsItsCode) {
    // ESC, DEL, and CSI, which is one character beyond ASCII; its neighbours outside the range stay.
    EXPECT_EQ(quote(fromLatin1(QByteArray("\x1b[2J\x7f"))), R"("\x1b[2J\x7f")");
    EXPECT_EQ(quote(fromLatin1(QByteArray("\x80\x9b\x9f"))), R"("\x80\x9b\x9f")");
    EXPECT_EQ(quote(fromLatin1(QByteArray("\xa0\xe4\xff"))), "\"\u00a0\u00e4\u00ff\"");
    std::string error;
    EXPECT_EQ(unquote(R"("\x9b")", &error), fromLatin1(QByteArray("\x9b")));
}

TEST(ValueCodec, IecLiteralsOfNumbers) {
    EXPECT_EQ(reparsed(TypeCode::Int, "16#7F_FF"), "32767");
    EXPECT_EQ(reparsed(TypeCode::Word, "2#1010_0000_0000_0001"), "0xA001");
    EXPECT_EQ(reparsed(TypeCode::Usint, "8#17"), "15");
    EXPECT_EQ(reparsed(TypeCode::Dint, "DINT#-1_000"), "-1000");
    EXPECT_EQ(reparsed(TypeCode::Word, "word#16#FF"), "0x00FF");
    EXPECT_EQ(reparsed(TypeCode::Real, "REAL#1_000.5"), "1000.5");
    EXPECT_EQ(reparsed(TypeCode::Real, "1_e5"), "refused: \"1_e5\" is no number; write it as 12.5 or 1e-3");
    EXPECT_EQ(reparsed(TypeCode::Bool, "BOOL#TRUE"), "TRUE");
    EXPECT_EQ(reparsed(TypeCode::Int, "WORD#5"),
              "refused: WORD#5 is a value of another type; the variable is of type INT");
    EXPECT_EQ(reparsed(TypeCode::Int, "T#5s"), "refused: T#5s is a value of another type; the variable is of type INT");
    EXPECT_EQ(reparsed(TypeCode::Int, "16#10000"), "refused: 16#10000 is out of range; INT goes from -32768 to 32767");
    EXPECT_EQ(reparsed(TypeCode::String, "INT#5"), "\"INT#5\"");
}

TEST(ValueCodec, IecLiteralsOfTimes) {
    EXPECT_EQ(reparsed(TypeCode::Time, "T#90s"), "T#1m30s");
    EXPECT_EQ(reparsed(TypeCode::Time, "90000"), "T#1m30s");
    EXPECT_EQ(reparsed(TypeCode::Time, "16#1388"), "T#5s");
    EXPECT_EQ(reparsed(TypeCode::Date, "2#1"), "1");
    EXPECT_EQ(reparsed(TypeCode::Time, "16#1_0000_0000"),
              "refused: 16#1_0000_0000 is out of range; TIME goes from 0 to 4294967295");
    EXPECT_EQ(reparsed(TypeCode::Time, "5#1"), "refused: \"5#1\" is no TIME; write it as T#1m30s");
    EXPECT_EQ(reparsed(TypeCode::Date, "D#2026-11-22"), "D#2026-11-22");
    EXPECT_EQ(reparsed(TypeCode::Date, "1"), "1");
    EXPECT_EQ(reparsed(TypeCode::TimeOfDay, "TOD#12:00"), "TOD#12:00:00");
    EXPECT_EQ(reparsed(TypeCode::DateAndTime, "DT#2026-11-22-12:34:56"), "DT#2026-11-22-12:34:56");
    EXPECT_EQ(reparsed(TypeCode::Time, "90s"),
              "refused: \"90s\" is no whole number; write it as 31, 16#1F, 2#1_1111 or 0x1F");
    EXPECT_EQ(reparsed(TypeCode::Time, "D#2026-11-22"), "refused: \"D#2026-11-22\" is no TIME; write it as T#1m30s");
    EXPECT_EQ(reparsed(TypeCode::Time, "-5"), "refused: \"-5\" is no TIME; write it as T#1m30s");
    EXPECT_EQ(reparsed(TypeCode::Date, "D#2026-02-30"),
              "refused: \"D#2026-02-30\" is no DATE; write it as D#2026-11-22");
    EXPECT_EQ(encoded({TypeCode::Time}, 1, "T#1m30s"), bytes("90 5F 01 00"));
}

TEST(ValueCodec, StringsOfOtherLengths) {
    constexpr ValueForm kOdd{TypeCode::String, false, 5};
    constexpr ValueForm kEven{TypeCode::Cstring, false, 4};
    EXPECT_EQ(countPerElement(kOdd), 3);
    EXPECT_EQ(countPerElement(kEven), 2);
    EXPECT_EQ(encoded(kOdd, 1, "12345"), bytes("31 32 33 34 35 00"));
    EXPECT_EQ(encoded(kOdd, 1, "1234"), bytes("31 32 33 34 00 00"));
    EXPECT_EQ(encoded(kEven, 1, "1234"), bytes("31 32 33 34"));
    EXPECT_EQ(encoded(kEven, 1, "123"), bytes("31 32 33 00"));
    EXPECT_EQ(encoded(kEven, 1, ""), bytes("00 00"));
    std::string error;
    EXPECT_FALSE(parseValues(kEven, 1, "12345", &error));
    EXPECT_EQ(error, "the string has 5 characters; CSTRING(4) takes at most 4");
    // The sixth byte is the terminator's place, whatever stands there.
    EXPECT_EQ(std::get<std::string>(decodeRead(kOdd, bytes("31 32 33 34 35 36"), 1).front()), "12345");
    EXPECT_EQ(std::get<std::string>(decodeRead(kEven, bytes("31 32 33 34"), 1).front()), "1234");
}

}  // namespace
}  // namespace ac500::host
