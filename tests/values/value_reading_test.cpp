// Reading values by tag, from the byte image to the host's format.
#include <climits>

#include "tests/support/locks.h"
#include "tests/values/value_test.h"

namespace ac500::test {
namespace {

// What lies at byte 100 of area 1 in most tests: no byte twice.
constexpr const char* kImageBytes = "11 22 33 44 55 66 77 88 99 AA BB CC DD EE FF 10 21 32 43 54 65 76 87 98";

struct CountRow {
    qint32 count;
    const char* answer;
};

class ReadingValues : public ValueTest {
protected:
    ReadingValues() { setImage(1, 100, kImageBytes); }

    static void expectReads(const char* tag, const std::vector<int>& codes, const std::vector<CountRow>& rows,
                            const QList<int>& bounds = QList<int>()) {
        for (int code : codes) {
            const Label_Type_Info scalar = variable("value", code, 100);
            loadMain({bounds.isEmpty() ? scalar : asArray(scalar, bounds)});
            for (const CountRow& row : rows) {
                EXPECT_EQ(read(tag, row.count), row.answer) << "type " << code << ", count " << row.count;
            }
        }
    }
};

TEST_F(ReadingValues, WorkedExampleOfAWordAndItsBitNine) {
    loadMain({withBits(variable("word", 16, 10), 16)});
    setImage(1, 10, "12 34");
    EXPECT_EQ(read("Main.word", 1), "1: 34 12");
    EXPECT_EQ(read("Main.word.b[9]", 1), "1: 01");
    EXPECT_EQ(read("Main.word.b[8]", 1), "1: 00");
}

TEST_F(ReadingValues, BooleanByteScalar) {
    expectReads("Main.value", {1}, {{1, "1: 01"}, {2, "1: 01 00"}, {4, "1: 01 00 00 00"}});
    setImage(1, 100, "00");
    expectReads("Main.value", {1}, {{1, "1: 00"}});
    setImage(1, 100, "80");
    expectReads("Main.value", {1}, {{1, "1: 01"}});
}

TEST_F(ReadingValues, EightBitScalarIsALittleEndianWord) {
    expectReads("Main.value", kEightBitCodes, {{1, "1: 11 00"}, {2, "1: 11 00 00 00"}});
}

TEST_F(ReadingValues, SixteenBitScalar) {
    expectReads("Main.value", kSixteenBitCodes, {{1, "1: 22 11"}, {3, "1: 22 11 00 00 00 00"}});
}

TEST_F(ReadingValues, ThirtyTwoBitScalar) {
    expectReads("Main.value", kThirtyTwoBitCodes,
                {{1, "1: 44 33 22 11"},
                 {2, "1: 44 33 22 11"},
                 {3, "1: 44 33 22 11 00 00 00 00"},
                 {5, "1: 44 33 22 11 00 00 00 00 00 00 00 00"}});
}

TEST_F(ReadingValues, SixtyFourBitScalar) {
    expectReads("Main.value", kSixtyFourBitCodes,
                {{1, "1: 88 77 66 55 44 33 22 11"},
                 {4, "1: 88 77 66 55 44 33 22 11"},
                 {5, "1: 88 77 66 55 44 33 22 11 00 00 00 00 00 00 00 00"}});
}

TEST_F(ReadingValues, StringIsCopiedInPlcOrder) {
    expectReads("Main.value", kStringCodes, {{1, "1: 11 22"}, {3, "1: 11 22 33 44 55 66"}});
}

TEST_F(ReadingValues, StringOfFortyWordsIsEightyBytesWhateverTheArrayFlags) {
    std::string eightyBytes;
    QByteArray text;
    for (int i = 0; i < 80; ++i) {
        text.append(static_cast<char>('0' + i % 10));
        eightyBytes += " 3" + std::to_string(i % 10);
    }
    setImage(1, 100, hex(text).c_str());
    expectReads("Main.value", kStringCodes, {{40, ("1:" + eightyBytes).c_str()}});
    expectReads("Main.value[0]", kStringCodes, {{40, ("1:" + eightyBytes).c_str()}}, {10, 0, 1});
    expectReads("Main.value[5]", kStringCodes, {{40, ("1:" + eightyBytes).c_str()}}, {10, 5, 5});
}

// quirk 21
TEST_F(ReadingValues, StringsOfAnArrayLieEightyOneBytesApart) {
    setImage(1, 100 + 81, "41 42 43 44");
    setImage(1, 100 + 162, "45 46 47 48");
    expectReads("Main.value[1]", kStringCodes, {{2, "1: 41 42 43 44"}}, {10, 0, 3});
    expectReads("Main.value[2]", kStringCodes, {{2, "1: 45 46 47 48"}}, {10, 0, 3});
}

TEST_F(ReadingValues, StringKnowsNoTerminator) {
    setImage(1, 100, "41 00 42 43");
    expectReads("Main.value", kStringCodes, {{2, "1: 41 00 42 43"}});
}

TEST_F(ReadingValues, BooleanByteArray) {
    setImage(1, 100, "00 01 80 00 FF");
    expectReads("Main.value[0]", {1}, {{1, "1: 00"}, {3, "1: 00 01 01"}, {5, "1: 00 01 01 00 00"}}, {10, 0, 4});
    expectReads("Main.value[2]", {1}, {{3, "1: 01 00 01"}}, {10, 0, 4});
}

// quirk 23
TEST_F(ReadingValues, EightBitArrayIsPackedIntoTheFirstHalf) {
    expectReads("Main.value[0]", kEightBitCodes,
                {{1, "1: 11 00"}, {4, "1: 11 22 33 44 00 00 00 00"}, {6, "1: 11 22 33 44 00 00 00 00 00 00 00 00"}},
                {10, 0, 4});
    expectReads("Main.value[3]", kEightBitCodes, {{2, "1: 44 55 00 00"}}, {10, 0, 4});
}

TEST_F(ReadingValues, SixteenBitArray) {
    expectReads("Main.value[0]", kSixteenBitCodes,
                {{2, "1: 22 11 44 33"}, {4, "1: 22 11 44 33 66 55 88 77"}, {5, "1: 22 11 44 33 66 55 88 77 00 00"}},
                {10, 0, 4});
    expectReads("Main.value[1]", kSixteenBitCodes, {{2, "1: 44 33 66 55"}}, {10, 0, 4});
}

TEST_F(ReadingValues, ThirtyTwoBitArray) {
    expectReads("Main.value[0]", kThirtyTwoBitCodes,
                {{1, "1: 44 33 22 11"},
                 {3, "1: 44 33 22 11 88 77 66 55"},
                 {4, "1: 44 33 22 11 88 77 66 55"},
                 {6, "1: 44 33 22 11 88 77 66 55 00 00 00 00"}},
                {10, 0, 2});
    expectReads("Main.value[1]", kThirtyTwoBitCodes, {{2, "1: 88 77 66 55"}}, {10, 0, 2});
}

TEST_F(ReadingValues, SixtyFourBitArray) {
    expectReads("Main.value[0]", kSixtyFourBitCodes,
                {{4, "1: 88 77 66 55 44 33 22 11"},
                 {5, "1: 88 77 66 55 44 33 22 11 10 FF EE DD CC BB AA 99"},
                 {9, "1: 88 77 66 55 44 33 22 11 10 FF EE DD CC BB AA 99 00 00 00 00 00 00 00 00"}},
                {10, 0, 2});
    expectReads("Main.value[1]", kSixtyFourBitCodes, {{1, "1: 10 FF EE DD CC BB AA 99"}}, {10, 0, 2});
}

// quirk 17: the extent is the same for every element, so a run may leave the array.
TEST_F(ReadingValues, RunFromTheLastElementReadsOnBehindTheArray) {
    expectReads("Main.value[1]", kSixteenBitCodes, {{2, "1: 44 33 66 55"}, {3, "1: 44 33 66 55 00 00"}}, {10, 0, 2});
}

TEST_F(ReadingValues, ArrayWithoutExtentConvertsNothing) {
    for (int upper : {5, 4, -1000000}) {
        expectReads("Main.value[5]", kSixteenBitCodes, {{2, "1: 00 00 00 00"}}, {10, 5, upper});
        expectReads("Main.value[5]", {1}, {{2, "1: 00 00"}}, {10, 5, upper});
        expectReads("Main.value[5]", {13}, {{2, "1: 00 00"}}, {10, 5, upper});
    }
}

TEST_F(ReadingValues, BitAddressedBooleansLieInBigEndianWords) {
    setImage(1, 6, "80 01 00 FF");
    // Bit 48 is bit 0 of the word at byte 6, bit 63 its bit 15; bit 64 is bit 0 of the word at byte 8.
    struct {
        const char* situation;
        const char* tag;
        qint32 count;
        const char* answer;
    } const rows[] = {
        {"lowest bit of the word", "Main.bits[0]", 1, "1: 01"},
        {"next bit", "Main.bits[1]", 1, "1: 00"},
        {"highest bit of the word", "Main.bits[15]", 1, "1: 01"},
        {"last but one bit", "Main.bits[14]", 1, "1: 00"},
        {"lowest bit of the next word", "Main.bits[16]", 1, "1: 01"},
        {"lowest bit of the next word's high byte", "Main.bits[24]", 1, "1: 00"},
        {"run within a word", "Main.bits[0]", 4, "1: 01 00 00 00"},
        {"run over the end of a word", "Main.bits[14]", 4, "1: 00 01 01 01"},
        {"run over the middle of a word", "Main.bits[22]", 4, "1: 01 01 00 00"},
    };
    loadMain({asArray(variable("bits", 13, 48), {10, 0, 32})});
    for (const auto& row : rows) {
        EXPECT_EQ(read(row.tag, row.count), row.answer) << row.situation;
    }
}

TEST_F(ReadingValues, BitAddressedScalarIsOneBitWhateverTheCount) {
    loadMain({variable("bit", 13, 49), variable("next", 13, 50)});
    setImage(1, 6, "00 02");
    EXPECT_EQ(read("Main.bit", 1), "1: 01");
    EXPECT_EQ(read("Main.bit", 3), "1: 01 00 00");
    EXPECT_EQ(read("Main.next", 1), "1: 00");
}

TEST_F(ReadingValues, RunOfBitsIsLimitedByTheArraysExtent) {
    loadMain({asArray(variable("bits", 13, 48), {10, 0, 3})});
    setImage(1, 6, "FF FF");
    EXPECT_EQ(read("Main.bits[0]", 5), "1: 01 01 01 00 00");
}

TEST_F(ReadingValues, CodesWithoutAValueGiveZerosAndSuccess) {
    expectReads("Main.value", kValuelessCodes, {{1, "1: 00 00"}, {3, "1: 00 00 00 00 00 00"}, {0, "1: "}, {-1, "1: "}});
    expectReads("Main.value[0]", kValuelessCodes, {{2, "1: 00 00 00 00"}}, {10, 0, 4});
}

TEST_F(ReadingValues, CountOfZeroOrLessConvertsNothing) {
    const std::vector<CountRow> rows = {{0, "1: "}, {-1, "1: "}, {-2, "1: "}, {-5, "1: "}, {-1000000, "1: "}};
    for (int code = 0; code <= 22; ++code) {
        if (code == 12) {
            continue;  // a structure has no value of its own
        }
        forgetImage();
        expectReads("Main.value", {code}, rows);
        expectReads("Main.value[1]", {code}, rows, {10, 0, 4});
        EXPECT_TRUE(PLC_driver.localValues.isEmpty()) << "type " << code;
    }
}

TEST_F(ReadingValues, SmallestCountConvertsNothing) {
    expectReads("Main.value", {1, 2, 3, 10, 13, 19}, {{INT_MIN, "1: "}});
}

TEST_F(ReadingValues, CountWhoseBytesWrapConvertsNothing) {
    for (int code : {2, 3, 4, 5, 7, 10, 11, 14, 15, 16, 17}) {
        expectReads("Main.value", {code}, {{INT_MAX, "1: "}});
        expectReads("Main.value[1]", {code}, {{INT_MAX, "1: "}}, {10, 0, 4});
    }
    expectReads("Main.value[1]", {3}, {{INT_MAX, "1: "}}, {10, 0, 4000});  // more than the host's array has room for
    EXPECT_EQ(read("Main.ghost", INT_MAX), "0: ") << "2 x 2147483647 is -2 in 32 bits";
}

TEST_F(ReadingValues, StructureDoesNotResolve) {
    loadMain({ofStructure(variable("motor", 0, 100), motorType())});
    EXPECT_EQ(read("Main.motor", 2), "0: 00 00 00 00");
    EXPECT_EQ(read("Main.motor.speed", 1), "1: 44 33");
}

TEST_F(ReadingValues, UnknownTagGivesTwoZerosAWordAndFailure) {
    loadMain({variable("boolean", 1, 100)});
    EXPECT_EQ(read("Main.ghost", 1), "0: 00 00");
    EXPECT_EQ(read("Main.ghost", 4), "0: 00 00 00 00 00 00 00 00");
    EXPECT_EQ(read("Main.ghost", 0), "0: ");
    EXPECT_EQ(read("Main.ghost", -3), "0: ");
    EXPECT_EQ(read("Main.ghost", INT_MIN), "0: ");
    EXPECT_EQ(read("", 1), "0: 00 00");
    EXPECT_EQ(read("Main", 1), "0: 00 00");
    EXPECT_EQ(read("Main.ghost[%%]", 1), "0: 00 00");
}

TEST_F(ReadingValues, FailureIsTwoBytesAWordForBooleansToo) {
    loadMain({variable("boolean", 1, 100), variable("bit", 13, 100)});
    EXPECT_EQ(read("Main.boolean[1]", 3), "0: 00 00 00 00 00 00");
    EXPECT_EQ(read("Main.bit[1]", 3), "0: 00 00 00 00 00 00");
}

TEST_F(ReadingValues, PlaceholderRewritesTheHostsLabel) {
    loadMain({asArray(variable("vector", 3, 100), {10, 0, 4})});
    QString label = "Main.vector[%%]";
    QString argument = "2";
    QByteArray out;
    EXPECT_EQ(GetRegisterData(&label, 0, &argument, 0, &out, 1), 1u);
    EXPECT_EQ(hex(out), "66 55");
    EXPECT_EQ(label, "Main.vector[2]");
    EXPECT_EQ(argument, "2");
}

TEST_F(ReadingValues, FailedRewritingLeavesTheHostsLabel) {
    loadMain({asArray(variable("vector", 3, 100), {10, 0, 4})});
    QString label = "Main.vector[%%]";
    QString argument = "4";
    QByteArray out;
    EXPECT_EQ(GetRegisterData(&label, 0, &argument, 0, &out, 1), 0u);
    EXPECT_EQ(label, "Main.vector[%%]");
    EXPECT_EQ(hex(out), "00 00");
}

TEST_F(ReadingValues, LabelIsRewrittenEvenWhenTheConcreteNameDoesNotResolve) {
    loadMain({asArray(variable("vector", 3, 100), {10, 0, 4})});
    QString label = "Main.vector[%%]";
    QString argument = "-5";
    QByteArray out;
    EXPECT_EQ(GetRegisterData(&label, 0, &argument, 0, &out, 1), 0u);
    EXPECT_EQ(label, "Main.vector[-5]");
    EXPECT_EQ(hex(out), "00 00");
}

TEST_F(ReadingValues, ArgumentIsReadInBaseTenAndCountsAsZeroOtherwise) {
    loadMain({asArray(variable("vector", 3, 100), {10, 0, 4})});
    EXPECT_EQ(read("Main.vector[%%]", 1, "1"), "1: 44 33");
    EXPECT_EQ(read("Main.vector[%%]", 1, ""), "1: 22 11");
    EXPECT_EQ(read("Main.vector[%%]", 1, "one"), "1: 22 11");
    EXPECT_EQ(read("Main.vector[%%]", 1, "0x1"), "1: 22 11");
    EXPECT_EQ(read("Main.vector[1]", 1, "3"), "1: 44 33") << "not read without a placeholder";
}

TEST_F(ReadingValues, IgnoredWordsAreIgnored) {
    loadMain({variable("counter", 3, 100)});
    QString label = "Main.counter";
    QString argument;
    QByteArray out;
    EXPECT_EQ(GetRegisterData(&label, -1, &argument, INT_MAX, &out, 1), 1u);
    EXPECT_EQ(hex(out), "22 11");
}

class SingleBits : public ReadingValues {
protected:
    static void expectBits(const std::vector<int>& codes, int width,
                           const std::vector<std::pair<int, CountRow>>& rows) {
        for (int code : codes) {
            loadMain({withBits(variable("value", code, 100), width)});
            for (const auto& [bit, row] : rows) {
                const QByteArray tag = "Main.value.b[" + QByteArray::number(bit) + "]";
                EXPECT_EQ(read(tag.constData(), row.count), row.answer)
                    << "type " << code << ", bit " << bit << ", count " << row.count;
            }
        }
    }
};

TEST_F(SingleBits, OfEightBitVariables) {
    setImage(1, 100, "C5");  // 1100 0101
    expectBits(kEightBitCodes, 8,
               {{0, {1, "1: 01"}},
                {1, {1, "1: 00"}},
                {0, {8, "1: 01 00 01 00 00 00 01 01"}},
                {6, {5, "1: 01 01 00 00 00"}},
                {7, {2, "1: 01 00"}},
                {8, {3, "1: 00 00 00"}},
                {99, {2, "1: 00 00"}},
                {-1, {3, "1: 00 00 00"}},
                {INT_MIN, {2, "1: 00 00"}},
                {INT_MAX, {2, "1: 00 00"}}});
}

TEST_F(SingleBits, OfSixteenBitVariables) {
    setImage(1, 100, "12 34");  // 0001 0010 0011 0100
    expectBits(kSixteenBitCodes, 16,
               {{2, {1, "1: 01"}},
                {9, {1, "1: 01"}},
                {12, {1, "1: 01"}},
                {4, {7, "1: 01 01 00 00 00 01 00"}},
                {15, {3, "1: 00 00 00"}},
                {12, {6, "1: 01 00 00 00 00 00"}},
                {16, {2, "1: 00 00"}},
                {-16, {2, "1: 00 00"}}});
}

TEST_F(SingleBits, OfThirtyTwoBitVariables) {
    setImage(1, 100, "80 41 22 13");
    for (int code : {5, 6, 17}) {
        expectBits({code}, 32,
                   {{0, {5, "1: 01 01 00 00 01"}},
                    {7, {4, "1: 00 00 01 00"}},
                    {13, {4, "1: 01 00 00 01"}},
                    {22, {3, "1: 01 00 00"}},
                    {31, {2, "1: 01 00"}},
                    {32, {1, "1: 00"}}});
    }
}

TEST_F(SingleBits, OfSixtyFourBitVariables) {
    setImage(1, 100, "80 00 00 01 80 00 00 01");
    for (int code : {8, 18, 21}) {
        expectBits({code}, 64,
                   {{0, {2, "1: 01 00"}},
                    {31, {3, "1: 01 01 00"}},
                    {62, {4, "1: 00 01 00 00"}},
                    {63, {1, "1: 01"}},
                    {64, {1, "1: 00"}}});
    }
}

TEST_F(SingleBits, AnswerNothingForACountOfZeroOrLess) {
    forgetImage();
    expectBits({2, 3, 5, 8}, 8, {{0, {0, "1: "}}, {0, {-1, "1: "}}, {3, {INT_MIN, "1: "}}});
    EXPECT_TRUE(PLC_driver.localValues.isEmpty());
}

// Floats, strings and booleans have no bits: the tag means the whole variable.
TEST_F(SingleBits, OfTypesWithoutBitsMeanTheWholeVariable) {
    expectBits({7}, 32, {{9, {2, "1: 44 33 22 11"}}});
    expectBits({9}, 64, {{9, {4, "1: 88 77 66 55 44 33 22 11"}}});
    expectBits({10, 11}, 8, {{3, {1, "1: 11 22"}}});
    expectBits({1}, 8, {{3, {1, "1: 01"}}});
}

TEST_F(SingleBits, OfAnArrayElementIgnoreTheArraysExtent) {
    loadMain({withBits(asArray(variable("words", 16, 100), {10, 0, 2}), 16)});
    EXPECT_EQ(read("Main.words[1].b[0]", 8), "1: 00 00 01 00 00 00 01 00") << "the low byte of 33 44 is 0100 0100";
}

TEST_F(SingleBits, ThroughAPlaceholder) {
    loadMain({withBits(variable("word", 16, 100), 16)});
    setImage(1, 100, "12 34");
    QString label = "Main.word.b[%%]";
    QString argument = "9";
    QByteArray out;
    EXPECT_EQ(GetRegisterData(&label, 0, &argument, 0, &out, 1), 1u);
    EXPECT_EQ(hex(out), "01");
    EXPECT_EQ(label, "Main.word.b[9]");
}

TEST_F(SingleBits, TestAndInsertOnlyTheByteTheyRead) {
    loadMain({withBits(variable("word", 16, 10), 16)});
    EXPECT_EQ(read("Main.word.b[0]", 1), "1: 00");
    EXPECT_EQ(image(1, 10, 2), "-- 00");
    EXPECT_EQ(read("Main.word.b[8]", 1), "1: 00");
    EXPECT_EQ(image(1, 10, 2), "00 00");
}

TEST_F(SingleBits, LeavePresentBytesBehindAnAbsentOneAlone) {
    loadMain({withBits(variable("word", 16, 10), 16)});
    setImage(1, 11, "34");
    EXPECT_EQ(read("Main.word.b[0]", 16), "1: 00 00 01 00 01 01 00 00 00 00 00 00 00 00 00 00");
    EXPECT_EQ(image(1, 10, 2), "00 34");
}

TEST_F(SingleBits, BeyondTheWidthInsertNothing) {
    forgetImage();
    loadMain({withBits(variable("word", 16, 10), 16)});
    read("Main.word.b[16]", 4);
    read("Main.word.b[-1]", 4);
    EXPECT_TRUE(PLC_driver.localValues.isEmpty());
}

TEST_F(SingleBits, RunOverTheWidthTouchesNoOtherByte) {
    forgetImage();
    loadMain({withBits(variable("word", 16, 10), 16)});
    EXPECT_EQ(read("Main.word.b[12]", 40).size(), 2 + 3u * 40) << "the result, and a blank and two digits a byte";
    EXPECT_EQ(image(1, 10, 2), "00 --");
    EXPECT_EQ(PLC_driver.localValues.size(), 1);
}

class AbsentBytes : public ValueTest {};

TEST_F(AbsentBytes, ReadAsZeroAndCountAsReceivedFromThenOn) {
    struct {
        int code;
        const char* answer;
        const char* afterwards;  // seven bytes, from one before the value's first
    } const rows[] = {
        {1, "1: 00", "-- 00 -- -- -- -- --"},     {2, "1: 00 00", "-- 00 -- -- -- -- --"},
        {3, "1: 00 00", "-- 00 00 -- -- -- --"},  {5, "1: 00 00 00 00", "-- 00 00 00 00 -- --"},
        {10, "1: 00 00", "-- 00 00 -- -- -- --"},
    };
    for (const auto& row : rows) {
        forgetImage();
        loadMain({variable("value", row.code, 100)});
        EXPECT_EQ(read("Main.value", 1), row.answer) << row.code;
        EXPECT_EQ(image(1, 99, 7), row.afterwards) << row.code;
    }
}

TEST_F(AbsentBytes, OfASixtyFourBitValue) {
    loadMain({variable("value", 9, 100)});
    EXPECT_EQ(read("Main.value", 4), "1: 00 00 00 00 00 00 00 00");
    EXPECT_EQ(image(1, 99, 10), "-- 00 00 00 00 00 00 00 00 --");
}

TEST_F(AbsentBytes, AreInsertedForTheConvertedElementsOnly) {
    loadMain({asArray(variable("vector", 3, 100), {10, 0, 2})});
    EXPECT_EQ(read("Main.vector[0]", 5), "1: 00 00 00 00 00 00 00 00 00 00");
    EXPECT_EQ(image(1, 100, 6), "00 00 00 00 -- --");
}

// quirk 22
TEST_F(AbsentBytes, FirstOneMakesTheWholeElementZeroInTheImageToo) {
    struct {
        int code;
        const char* present;  // from the value's second byte on
        const char* answer;
        const char* afterwards;
    } const rows[] = {
        {3, "22", "1: 00 00", "00 00"},
        {5, "22 33 44", "1: 00 00 00 00", "00 00 00 00"},
        {8, "22 33 44 55 66 77 88", "1: 00 00 00 00 00 00 00 00", "00 00 00 00 00 00 00 00"},
    };
    for (const auto& row : rows) {
        forgetImage();
        setImage(1, 101, row.present);
        loadMain({variable("value", row.code, 100)});
        EXPECT_EQ(read("Main.value", 1), row.answer) << row.code;
        EXPECT_EQ(image(1, 100, bytes(row.afterwards).size()), row.afterwards) << row.code;
    }
}

// quirk 22
TEST_F(AbsentBytes, FirstOneOfAnElementSparesTheOtherElements) {
    setImage(1, 100, "11 22");
    setImage(1, 103, "44 55 66");
    loadMain({asArray(variable("vector", 3, 100), {10, 0, 3})});
    EXPECT_EQ(read("Main.vector[0]", 3), "1: 22 11 00 00 66 55");
    EXPECT_EQ(image(1, 100, 6), "11 22 00 00 55 66");
}

TEST_F(AbsentBytes, LaterOnesReadAsZeroAndAreInserted) {
    setImage(1, 100, "11");
    setImage(1, 102, "33");
    loadMain({variable("value", 5, 100)});
    EXPECT_EQ(read("Main.value", 2), "1: 00 33 00 11");
    EXPECT_EQ(image(1, 100, 5), "11 00 33 00 --");
}

TEST_F(AbsentBytes, OfStringsBytesAndBooleansCountOneByOne) {
    setImage(1, 101, "22");
    setImage(1, 103, "44");
    loadMain({variable("text", 10, 100), asArray(variable("bytes", 15, 100), {10, 0, 4}),
              asArray(variable("booleans", 1, 100), {10, 0, 4})});
    EXPECT_EQ(read("Main.text", 2), "1: 00 22 00 44");
    EXPECT_EQ(image(1, 100, 4), "00 22 00 44");
    EXPECT_EQ(read("Main.bytes[0]", 4), "1: 00 22 00 44 00 00 00 00");
    EXPECT_EQ(read("Main.booleans[0]", 4), "1: 00 01 00 01");
}

// quirk 22
TEST_F(AbsentBytes, FirstOneOfABitsWordClearsTheWord) {
    setImage(1, 7, "FF");
    loadMain({variable("bit", 13, 48)});
    EXPECT_EQ(read("Main.bit", 1), "1: 00");
    EXPECT_EQ(image(1, 5, 4), "-- 00 00 --");
}

TEST_F(AbsentBytes, SecondOneOfABitsWordReadsAsZero) {
    setImage(1, 6, "FF");
    loadMain({asArray(variable("bits", 13, 48), {10, 0, 16})});
    EXPECT_EQ(read("Main.bits[7]", 2), "1: 00 01");
    EXPECT_EQ(image(1, 6, 2), "FF 00");
}

TEST_F(AbsentBytes, AreNotInsertedWhenTheTagDoesNotResolveOrHasNoValue) {
    loadMain({variable("odd", 19, 100), variable("counter", 3, 100)});
    read("Main.odd", 4);
    read("Main.counter[1]", 4);
    EXPECT_TRUE(PLC_driver.localValues.isEmpty());
}

// quirk 28
TEST_F(ReadingValues, AddressesFromTheUpperHalfAreLookedUpWithoutTheirSign) {
    loadMain({inArea(variable("high", 3, INT_MIN), 3)});
    setImage(3, 0x80000000, "12 34");
    EXPECT_EQ(read("Main.high", 1), "1: 34 12");
}

// quirk 28
TEST_F(ReadingValues, StoredAtAnAddressFromTheUpperHalfIsNotFoundAgain) {
    loadMain({inArea(variable("high", 3, INT_MIN), 3)});
    RW_VAR var = writeVar(3, INT_MIN, "12 34");
    WriteDataToLocal(&var);
    EXPECT_EQ(read("Main.high", 1), "1: 00 00");
}

TEST_F(ReadingValues, AreasAreKeptApart) {
    loadMain({variable("here", 3, 100), inArea(variable("there", 3, 100), 2), inArea(variable("below", 3, 100), -1)});
    setImage(2, 100, "A1 A2");
    setImage(0xFFFFFFFF, 100, "B1 B2");
    EXPECT_EQ(read("Main.here", 1), "1: 22 11");
    EXPECT_EQ(read("Main.there", 1), "1: A2 A1");
    EXPECT_EQ(read("Main.below", 1), "1: B2 B1");
}

// Arrays of the host that share their bytes or only point at them: the answer replaces the array, not those bytes.
TEST_F(ReadingValues, LeaveOtherBytesOfTheHostAlone) {
    loadMain({variable("counter", 3, 100)});
    QString label = "Main.counter";
    QString none;
    const QByteArray shared = "shared";
    QByteArray out = shared;
    ASSERT_EQ(GetRegisterData(&label, 0, &none, 0, &out, 3), 1U);
    EXPECT_EQ(hex(out), "22 11 00 00 00 00");
    EXPECT_EQ(shared, "shared");

    static constexpr char kFixed[] = "constant memory";
    out = QByteArray::fromRawData(kFixed, sizeof kFixed);
    ASSERT_EQ(GetRegisterData(&label, 0, &none, 0, &out, 1), 1U);
    EXPECT_EQ(hex(out), "22 11");
    out = QByteArray::fromRawData(kFixed, sizeof kFixed);
    label = "Main.ghost";
    ASSERT_EQ(GetRegisterData(&label, 0, &none, 0, &out, 0), 0U);
    EXPECT_EQ(hex(out), "");
    EXPECT_STREQ(kFixed, "constant memory");
}

TEST_F(ReadingValues, ConversionWaitsForTheImageLock) {
    loadMain({variable("counter", 3, 100)});
    EXPECT_TRUE(waitsFor(PLC_driver.localAreaMutex, [] { read("Main.counter", 1); }));
}

TEST_F(ReadingValues, FailedResolutionTakesNoLock) {
    EXPECT_TRUE(runsBeside(PLC_driver.localAreaMutex, [] { read("Main.ghost", 1); }));
}

TEST_F(ReadingValues, NoOtherLockIsTaken) {
    loadMain({variable("counter", 3, 100)});
    EXPECT_TRUE(runsBeside(PLC_driver.listMutex, [] { read("Main.counter", 1); }));
}

// The argument is looked at for "%%" alone; none is as good as an empty one.
TEST_F(ReadingValues, NeedsNoArgumentWhereItIsNotUsed) {
    loadMain({asArray(variable("values", 3, 10), {10, 0, 4})});
    setImage(1, 10, "12 34 56 78");
    QString concrete = "Main.values[1]";
    QString element = "Main.values[%%]";
    QByteArray out;
    EXPECT_EQ(GetRegisterData(&concrete, 0, nullptr, 0, &out, 1), 1U);
    EXPECT_EQ(hex(out), "78 56");
    EXPECT_EQ(GetRegisterData(&element, 0, nullptr, 0, &out, 1), 1U);
    EXPECT_EQ(hex(out), "34 12");
    EXPECT_EQ(element, "Main.values[0]");
}

}  // namespace
}  // namespace ac500::test
