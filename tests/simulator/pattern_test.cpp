// Patterns: the bytes of one place and generation were worked out by a program of its own in another language.
#include "tools/simulator/pattern.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <set>

#include "tests/simulator/support.h"

namespace ac500::sim {

using symbol_file::TypeCode;

namespace {

constexpr std::uint64_t kGeneration = 0x1234567;

Element at(TypeCode code, std::int64_t address, int area = 2) {
    Element element;
    element.code = code;
    element.area = area;
    element.address = address;
    return element;
}

std::string patternOf(TypeCode code) {
    return hex(patternBytes(at(code, 0x123), kGeneration));
}

TEST(Pattern, Of64BitIntegersShowsPlaceGenerationAndChecksum) {
    for (const TypeCode code : {TypeCode::Lint, TypeCode::Ulint, TypeCode::Lword}) {
        EXPECT_EQ(patternOf(code), "21 23 23 45 67 80 08 A8");
    }
}

TEST(Pattern, OfAnLrealIsANumberNearOne) {
    EXPECT_EQ(patternOf(TypeCode::Lreal), "3F F2 12 34 56 70 08 A8");
}

TEST(Pattern, Of32BitIntegersShowsPlaceGenerationAndChecksum) {
    for (const TypeCode code : {TypeCode::Dint, TypeCode::Udint, TypeCode::Dword}) {
        EXPECT_EQ(patternOf(code), "21 23 67 A8");
    }
}

TEST(Pattern, OfARealHasItsFieldsAroundTwoFixedBits) {
    EXPECT_EQ(patternOf(TypeCode::Real), "28 48 F3 A8");
}

TEST(Pattern, OfAShortTypeIsTheChecksumAlone) {
    for (const TypeCode code : {TypeCode::Int, TypeCode::Uint, TypeCode::Word}) {
        EXPECT_EQ(patternOf(code), "08 A8");
    }
    for (const TypeCode code : {TypeCode::Sint, TypeCode::Usint, TypeCode::Byte}) {
        EXPECT_EQ(patternOf(code), "A8");
    }
    EXPECT_EQ(patternOf(TypeCode::Bool), "00");
    EXPECT_EQ(patternOf(TypeCode::Bit), "00");
}

TEST(Pattern, OfAStringFillsItWithFiveCellsAndATerminator) {
    for (const TypeCode code : {TypeCode::String, TypeCode::Cstring}) {
        EXPECT_EQ(
            patternBytes(at(code, 0x123), kGeneration),
            std::string("21232345670008A821232345671546B92123234567232CBF21232345673F38DE212323456749A63E") + '\0');
    }
}

TEST(Pattern, OfAnyRealIsAnOrdinaryNumber) {
    for (std::int64_t place = 0; place < 65536; place += 257) {
        const Bytes bytes = patternBytes(at(TypeCode::Real, place, 0), static_cast<std::uint64_t>(place));
        std::uint32_t bits = 0;
        for (const char byte : bytes) {
            bits = (bits << 8) | static_cast<std::uint8_t>(byte);
        }
        float number = 0;
        std::memcpy(&number, &bits, sizeof number);
        EXPECT_TRUE(std::isnormal(number)) << place;
    }
}

TEST(Pattern, DiffersByPlaceAndByGeneration) {
    std::set<std::string> words;
    for (int i = 0; i < 100; ++i) {
        words.insert(patternBytes(at(TypeCode::Dword, i), 5));
        words.insert(patternBytes(at(TypeCode::Dword, 200), static_cast<std::uint64_t>(i)));
    }
    EXPECT_EQ(words.size(), 200U);
    EXPECT_NE(patternBytes(at(TypeCode::Dword, 4, 1), 5), patternBytes(at(TypeCode::Dword, 4, 2), 5));
}

TEST(Pattern, OfBooleansIsTrueHalfTheTime) {
    int trues = 0;
    for (std::uint64_t generation = 0; generation < 1000; ++generation) {
        trues += patternBytes(at(TypeCode::Bool, 7), generation)[0] != '\0' ? 1 : 0;
    }
    EXPECT_GT(trues, 400);
    EXPECT_LT(trues, 600);
}

TEST(Pattern, IsWrittenIntoTheMemoryAndABitIntoItsWord) {
    PlcMemory memory;
    memory.addArea(2, 1024);
    writePattern(memory, at(TypeCode::Dint, 0x123), kGeneration);
    EXPECT_EQ(hex(memory.read({2, 0x122, 6})), "00 21 23 67 A8 00");
    std::uint64_t generation = 0;
    while (patternBytes(at(TypeCode::Bit, 21), generation)[0] == '\0') {
        ++generation;
    }
    writePattern(memory, at(TypeCode::Bit, 21), generation);
    EXPECT_EQ(hex(memory.read({2, 0, 6})), "00 00 00 20 00 00");  // bit 5 of the word at bytes 2 and 3
}

}  // namespace
}  // namespace ac500::sim
