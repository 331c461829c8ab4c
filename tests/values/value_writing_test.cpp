// Writing values by tag, from the host's format to pending writes or to the byte image.
#include <climits>

#include "tests/support/locks.h"
#include "tests/values/value_test.h"

namespace ac500::test {
namespace {

struct WriteRow {
    const char* situation;
    const char* in;
    qint32 count;
    const char* writes;
};

constexpr const char* kTwentyBytes = "01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10 11 12 13 14";

class WritingValues : public ValueTest {
protected:
    static void expectWrites(const char* tag, const std::vector<int>& codes, const std::vector<WriteRow>& rows,
                             const QList<int>& bounds = QList<int>()) {
        for (int code : codes) {
            const Label_Type_Info scalar = variable("value", code, 100);
            loadMain({bounds.isEmpty() ? scalar : asArray(scalar, bounds)});
            for (const WriteRow& row : rows) {
                const quint32 pending = write(tag, row.in, row.count);
                EXPECT_EQ(pending, static_cast<quint32>(PLC_driver.writeList.size())) << row.situation;
                EXPECT_EQ(takeWrites(), row.writes) << "type " << code << ": " << row.situation;
            }
        }
    }
};

TEST_F(WritingValues, BooleanByteScalar) {
    expectWrites("Main.value", {1},
                 {{"true", "01", 1, "1@100: 01"},
                  {"false", "00", 1, "1@100: 00"},
                  {"any non-zero byte is true", "80", 1, "1@100: 01"},
                  {"count does not matter", "01 01 01", 3, "1@100: 01"},
                  {"count of zero still writes one value", "01", 0, "1@100: 01"},
                  {"negative count still writes one value", "01", -7, "1@100: 01"},
                  {"empty input is false", "", 1, "1@100: 00"}});
}

TEST_F(WritingValues, EightBitScalarTakesTheLowByteOfItsWord) {
    expectWrites("Main.value", kEightBitCodes,
                 {{"word", "12 34", 1, "1@100: 12"},
                  {"low byte alone", "12", 1, "1@100: 12"},
                  {"count does not matter", "12 34 56 78", 2, "1@100: 12"},
                  {"empty input", "", 1, "1@100: 00"}});
}

TEST_F(WritingValues, SixteenBitScalar) {
    expectWrites("Main.value", kSixteenBitCodes,
                 {{"little-endian word becomes big-endian", "34 12", 1, "1@100: 12 34"},
                  {"count does not matter", "34 12 78 56", 2, "1@100: 12 34"},
                  {"half a word", "34", 1, "1@100: 00 00"},
                  {"empty input", "", 1, "1@100: 00 00"},
                  {"count of zero", "34 12", 0, "1@100: 12 34"}});
}

TEST_F(WritingValues, ThirtyTwoBitScalar) {
    expectWrites("Main.value", kThirtyTwoBitCodes,
                 {{"four bytes are reversed", "01 02 03 04", 2, "1@100: 04 03 02 01"},
                  {"count of one word", "01 02 03 04", 1, "1@100: 04 03 02 01"},
                  {"count does not matter", kTwentyBytes, 9, "1@100: 04 03 02 01"},
                  {"three bytes only", "01 02 03", 2, "1@100: 00 00 00 00"},
                  {"empty input", "", 2, "1@100: 00 00 00 00"},
                  {"count of zero", "01 02 03 04", 0, "1@100: 04 03 02 01"}});
}

TEST_F(WritingValues, SixtyFourBitScalar) {
    expectWrites("Main.value", kSixtyFourBitCodes,
                 {{"eight bytes are reversed", "01 02 03 04 05 06 07 08", 4, "1@100: 08 07 06 05 04 03 02 01"},
                  {"count does not matter", kTwentyBytes, 9, "1@100: 08 07 06 05 04 03 02 01"},
                  {"seven bytes only", "01 02 03 04 05 06 07", 4, "1@100: 00 00 00 00 00 00 00 00"},
                  {"count of zero", kTwentyBytes, 0, "1@100: 08 07 06 05 04 03 02 01"}});
}

TEST_F(WritingValues, StringKeepsItsOrderAndTheHostsCount) {
    expectWrites("Main.value", kStringCodes,
                 {{"two words", "41 42 43 44 45 46", 2, "1@100: 41 42 43 44"},
                  {"shorter input is filled with zeros", "41 42 43", 3, "1@100: 41 42 43 00 00 00"},
                  {"zeros inside", "41 00 43 44", 2, "1@100: 41 00 43 44"},
                  {"empty input", "", 1, "1@100: 00 00"},
                  {"count of zero writes nothing", "41 42", 0, ""},
                  {"negative count writes nothing", "41 42", -3, ""},
                  {"count whose bytes wrap writes nothing", "41 42", INT_MAX, ""}});
}

// quirk 35
TEST_F(WritingValues, StringInAnArrayIsLimitedByTheArraysExtent) {
    expectWrites("Main.value[1]", kStringCodes,
                 {{"four words into an array of three", kTwentyBytes, 4, "1@181: 01 02 03 04 05 06"}}, {10, 0, 3});
}

TEST_F(WritingValues, BooleanByteArray) {
    expectWrites("Main.value[1]", {1},
                 {{"run", "01 00 FF", 3, "1@101: 01 00 01"},
                  {"limited by the extent", "01 01 01 01 01 01", 6, "1@101: 01 01 01 01"},
                  {"short input", "01", 3, "1@101: 01 00 00"},
                  {"count of zero", "01", 0, ""},
                  {"negative count", "01", -1, ""}},
                 {10, 0, 4});
}

// quirk 23
TEST_F(WritingValues, EightBitArrayTakesEverySecondByte) {
    expectWrites("Main.value[1]", kEightBitCodes,
                 {{"high bytes are dropped", "01 AA 02 BB 03 CC", 3, "1@101: 01 02 03"},
                  {"last high byte missing", "01 AA 02", 2, "1@101: 01 02"},
                  {"short input", "01 AA", 3, "1@101: 01 00 00"},
                  {"short input without its last high byte", "11 22 33", 4, "1@101: 11 33 00 00"},
                  {"limited by the extent", "01 00 02 00 03 00 04 00 05 00", 5, "1@101: 01 02 03 04"},
                  {"count of zero", "01 AA", 0, ""}},
                 {10, 0, 4});
}

// quirk 23: what reading packs into the first half is not what writing takes.
TEST_F(WritingValues, EightBitArrayWrittenAsItWasReadIsNotTheSame) {
    settings.accessMode = 1;
    loadMain({asArray(variable("bytes", 15, 100), {10, 0, 4})});
    setImage(1, 100, "11 22 33 44");
    ASSERT_EQ(read("Main.bytes[0]", 4), "1: 11 22 33 44 00 00 00 00");
    write("Main.bytes[0]", "11 22 33 44 00 00 00 00", 4);
    EXPECT_EQ(image(1, 100, 4), "11 33 00 00");
}

TEST_F(WritingValues, SixteenBitArray) {
    expectWrites("Main.value[1]", kSixteenBitCodes,
                 {{"run", kTwentyBytes, 3, "1@102: 02 01 04 03 06 05"},
                  {"limited by the extent", kTwentyBytes, 9, "1@102: 02 01 04 03 06 05 08 07"},
                  {"half an element missing", "01 02 03 04 05", 3, "1@102: 02 01 04 03 00 00"},
                  {"count of zero", kTwentyBytes, 0, ""},
                  {"smallest count", kTwentyBytes, INT_MIN, ""}},
                 {10, 0, 4});
}

TEST_F(WritingValues, ThirtyTwoBitArray) {
    expectWrites("Main.value[1]", kThirtyTwoBitCodes,
                 {{"one word begins a value", kTwentyBytes, 1, "1@104: 04 03 02 01"},
                  {"two words", kTwentyBytes, 2, "1@104: 04 03 02 01"},
                  {"three words", kTwentyBytes, 3, "1@104: 04 03 02 01 08 07 06 05"},
                  {"part of an element missing", "01 02 03 04 05 06 07", 4, "1@104: 04 03 02 01 00 00 00 00"},
                  {"count of zero", kTwentyBytes, 0, ""},
                  {"negative count", kTwentyBytes, -5, ""}},
                 {10, 0, 9});
}

TEST_F(WritingValues, SixtyFourBitArray) {
    expectWrites("Main.value[1]", kSixtyFourBitCodes,
                 {{"one word begins a value", kTwentyBytes, 1, "1@108: 08 07 06 05 04 03 02 01"},
                  {"four words", kTwentyBytes, 4, "1@108: 08 07 06 05 04 03 02 01"},
                  {"five words", kTwentyBytes, 5, "1@108: 08 07 06 05 04 03 02 01 10 0F 0E 0D 0C 0B 0A 09"},
                  {"count of zero", kTwentyBytes, 0, ""},
                  {"negative count", kTwentyBytes, -9, ""}},
                 {10, 0, 9});
}

// quirk 24
TEST_F(WritingValues, CountInWordsIsLimitedByTheExtentInElements) {
    expectWrites("Main.value[0]", kThirtyTwoBitCodes,
                 {{"four words into two elements write one", kTwentyBytes, 4, "1@100: 04 03 02 01"}}, {10, 0, 2});
    expectWrites("Main.value[0]", kThirtyTwoBitCodes,
                 {{"six words into three elements write two", kTwentyBytes, 6, "1@100: 04 03 02 01 08 07 06 05"}},
                 {10, 0, 3});
    expectWrites("Main.value[0]", kSixtyFourBitCodes,
                 {{"eight words into three elements write one", kTwentyBytes, 8, "1@100: 08 07 06 05 04 03 02 01"}},
                 {10, 0, 3});
}

// quirk 24
TEST_F(WritingValues, ReadWithTheSameCountCarriesMoreElements) {
    loadMain({asArray(variable("values", 5, 100), {10, 0, 2})});
    setImage(1, 100, "11 22 33 44 55 66 77 88");
    EXPECT_EQ(read("Main.values[0]", 4), "1: 44 33 22 11 88 77 66 55");
    write("Main.values[0]", "01 02 03 04 05 06 07 08", 4);
    EXPECT_EQ(takeWrites(), "1@100: 04 03 02 01");
}

TEST_F(WritingValues, ArrayWithoutExtentWritesNothing) {
    for (int code = 1; code <= 21; ++code) {
        if (code == 12) {
            continue;  // a structure has no value of its own
        }
        expectWrites("Main.value[5]", {code}, {{"extent of zero", kTwentyBytes, 2, ""}}, {10, 5, 5});
        expectWrites("Main.value[5]", {code}, {{"negative extent", kTwentyBytes, 2, ""}}, {10, 5, -20});
    }
}

TEST_F(WritingValues, BitAddressedBooleansAreWrittenOneByOne) {
    expectWrites("Main.value[2]", {13},
                 {{"five bits", "01 00 FF 00 01", 5, "1@102: 01 | 1@103: 00 | 1@104: 01 | 1@105: 00 | 1@106: 01"},
                  {"limited by the extent", "01 01 01 01 01 01 01 01", 8,
                   "1@102: 01 | 1@103: 01 | 1@104: 01 | 1@105: 01 | 1@106: 01 | 1@107: 01"},
                  {"short input", "01", 2, "1@102: 01 | 1@103: 00"},
                  {"count of zero", "01", 0, ""}},
                 {10, 0, 6});
    expectWrites("Main.value", {13}, {{"scalar", "01 01", 2, "1@100: 01"}, {"empty input", "", 1, "1@100: 00"}});
}

TEST_F(WritingValues, CodesWithoutAValueWriteNothing) {
    expectWrites("Main.value", kValuelessCodes, {{"scalar", kTwentyBytes, 4, ""}, {"empty input", "", 1, ""}});
}

TEST_F(WritingValues, CodesWithoutAValueReturnThePendingWrites) {
    loadMain({variable("odd", 20, 100)});
    addWrite(writeVar(2, 0, "AA"));
    addWrite(writeVar(2, 1, "BB"));
    EXPECT_EQ(write("Main.odd", "01 02", 1), 2u);
    EXPECT_EQ(takeWrites(), "2@0: AA | 2@1: BB");
    EXPECT_TRUE(PLC_driver.localValues.isEmpty());
}

TEST_F(WritingValues, UnknownTagReturnsZeroAndQueuesNothing) {
    loadMain({variable("counter", 3, 100), ofStructure(variable("motor", 0, 100), motorType())});
    addWrite(writeVar(2, 0, "AA"));
    for (int mode : {2, 1}) {
        settings.accessMode = mode;
        for (const char* tag : {"", "Main", "Main.ghost", "Main.counter[1]", "Main.motor", "Main.ghost[%%]"}) {
            EXPECT_EQ(write(tag, "01 02", 1), 0u) << tag;
        }
    }
    EXPECT_EQ(takeWrites(), "2@0: AA");
    EXPECT_TRUE(PLC_driver.localValues.isEmpty());
}

TEST_F(WritingValues, RequestCarriesTheHostsWordsAndTheSettings) {
    loadMain({asArray(inArea(variable("vector", 16, 100), 9), {10, 0, 8})});
    QString label = "Main.vector[%%]";
    QString argument = "3";
    QByteArray in = bytes("34 12");
    EXPECT_EQ(SetRegisterData(&label, -1, &argument, INT_MAX, &in, 1, 1001, -1002), 1u);
    EXPECT_EQ(label, "Main.vector[3]");
    const RW_VAR& var = PLC_driver.writeList.first();
    EXPECT_EQ(var.hostId, 1001);
    EXPECT_EQ(var.hostSubId, -1002);
    EXPECT_EQ(var.writeFlag, 1);
    EXPECT_EQ(var.aux3, 5656);
    EXPECT_EQ(var.aux4, 6060);
    EXPECT_EQ(var.status, 0);
    EXPECT_EQ(var.labelName, "Main.vector[3]");
    EXPECT_EQ(var.labelArg, "3");
    EXPECT_EQ(var.dataType, 16);
    EXPECT_EQ(var.offset, 106);
    EXPECT_EQ(var.comWord, 2424);
    EXPECT_EQ(var.size, 2);
    EXPECT_EQ(var.resolveResult, 0);
    EXPECT_EQ(var.area, 9);
    EXPECT_EQ(hex(var.data), "12 34");
}

TEST_F(WritingValues, BitAddressedRequestKeepsItsTypeAndBitAddress) {
    loadMain({variable("bit", 13, 49)});
    write("Main.bit", "01", 1);
    ASSERT_EQ(PLC_driver.writeList.size(), 1);
    EXPECT_EQ(PLC_driver.writeList.first().dataType, 13);
    EXPECT_EQ(PLC_driver.writeList.first().offset, 49);
    EXPECT_EQ(PLC_driver.writeList.first().size, 1);
}

TEST_F(WritingValues, ArgumentIsReadInBaseTenAndCountsAsZeroOtherwise) {
    loadMain({asArray(variable("vector", 3, 100), {10, 0, 4})});
    write("Main.vector[%%]", "34 12", 1, "3");
    write("Main.vector[%%]", "34 12", 1, "");
    write("Main.vector[%%]", "34 12", 1, "two");
    EXPECT_EQ(takeWrites(), "1@106: 12 34 | 1@100: 12 34 | 1@100: 12 34");
    EXPECT_EQ(write("Main.vector[%%]", "34 12", 1, "4"), 0u);
    EXPECT_EQ(takeWrites(), "");
}

TEST_F(WritingValues, LabelIsRewrittenEvenWhenTheConcreteNameDoesNotResolve) {
    loadMain({asArray(variable("vector", 3, 100), {10, 0, 4})});
    QString label = "Main.vector[%%]";
    QString argument = "-5";
    QByteArray in = bytes("34 12");
    EXPECT_EQ(SetRegisterData(&label, 0, &argument, 0, &in, 1, 1, 2), 0u);
    EXPECT_EQ(label, "Main.vector[-5]");
}

TEST_F(WritingValues, SharedInputOfTheHostStaysAsItIs) {
    loadMain({variable("counter", 3, 100)});
    QByteArray in = bytes("34 12");
    const QByteArray shared = in;
    QString label = "Main.counter";
    QString argument;
    SetRegisterData(&label, 0, &argument, 0, &in, 1, 1, 2);
    EXPECT_EQ(hex(shared), "34 12");
    EXPECT_EQ(hex(in), "34 12");
    EXPECT_TRUE(in.isDetached()) << "another thread may hold the other one";
}

TEST_F(WritingValues, StringLongerThanARequestIsSentInPieces) {
    settings.maxRequestWords = 32;
    loadMain({variable("text", 10, 600)});
    QByteArray in;
    for (int i = 0; i < 80; ++i) {
        in.append(static_cast<char>(i));
    }
    EXPECT_EQ(write("Main.text", hex(in).c_str(), 40), 2u);
    const RW_VAR& first = PLC_driver.writeList.at(0);
    const RW_VAR& second = PLC_driver.writeList.at(1);
    EXPECT_EQ(first.offset, 600);
    EXPECT_EQ(first.size, 64);
    EXPECT_EQ(first.data, in.left(64));
    EXPECT_EQ(second.offset, 664);
    EXPECT_EQ(second.size, 16);
    EXPECT_EQ(second.data, in.mid(64));
    EXPECT_EQ(second.hostId, first.hostId);
    EXPECT_EQ(second.labelName, first.labelName);
}

TEST_F(WritingValues, PiecesAreCutByBytesAlsoInsideAnElement) {
    settings.maxRequestWords = 3;
    expectWrites("Main.value[0]", {5},
                 {{"three elements", kTwentyBytes, 6, "1@100: 04 03 02 01 08 07 | 1@106: 06 05 0C 0B 0A 09"}},
                 {10, 0, 9});
    settings.maxRequestWords = 1;
    expectWrites("Main.value", {5}, {{"one element", kTwentyBytes, 2, "1@100: 04 03 | 1@102: 02 01"}});
    expectWrites("Main.value", {1}, {{"one byte", "01", 1, "1@100: 01"}});
}

TEST_F(WritingValues, PayloadOfExactlyOneRequestIsNotCut) {
    settings.maxRequestWords = 2;
    expectWrites("Main.value", {5}, {{"one element", kTwentyBytes, 2, "1@100: 04 03 02 01"}});
}

TEST_F(WritingValues, RequestLimitWithoutSenseQueuesNothing) {
    for (int words : {0, -1, INT_MIN}) {
        settings.maxRequestWords = words;
        expectWrites("Main.value", {1, 2, 3, 5, 8, 10}, {{"limit without sense", kTwentyBytes, 2, ""}});
    }
}

TEST_F(WritingValues, PiecesWrapAtThirtyTwoBits) {
    settings.maxRequestWords = 1;
    loadMain({variable("text", 10, INT_MAX - 1)});
    write("Main.text", "41 42 43 44", 2);
    EXPECT_EQ(takeWrites(), "1@2147483646: 41 42 | 1@-2147483648: 43 44");
}

TEST_F(WritingValues, AddToTheWritesThatArePending) {
    loadMain({variable("counter", 3, 100), variable("text", 10, 600)});
    addWrite(writeVar(2, 0, "AA"));
    EXPECT_EQ(write("Main.counter", "34 12", 1), 2u);
    EXPECT_EQ(write("Main.counter", "34 12", 1), 3u) << "no duplicate is dropped";
    settings.maxRequestWords = 1;
    EXPECT_EQ(write("Main.text", "41 42 43 44 45 46", 3), 6u);
}

// Where a value goes: to the pending writes, to the byte image, or both.
class WriteTargets : public ValueTest {
protected:
    WriteTargets() { loadMain({variable("counter", 3, 100), variable("text", 10, 600), variable("bit", 13, 49)}); }
};

// quirk 25
TEST_F(WriteTargets, QueuedValueLeavesTheImageAlone) {
    setImage(1, 100, "11 22");
    EXPECT_EQ(write("Main.counter", "34 12", 1), 1u);
    EXPECT_EQ(image(1, 100, 2), "11 22");
    EXPECT_EQ(read("Main.counter", 1), "1: 22 11") << "the old value until the write is sent";
}

// quirk 25
TEST_F(WriteTargets, QueuedValueIsMirroredWhenItIsSent) {
    connectToPlc();
    write("Main.counter", "34 12", 1);
    ASSERT_NE(ComCommunication(), nullptr);
    EXPECT_EQ(read("Main.counter", 1), "1: 34 12");
}

// quirk 25
TEST_F(WriteTargets, QueuedValueIsMirroredAtOnceWhileCommunicationHasFailed) {
    PLC_driver.commFailed = 1;
    EXPECT_EQ(write("Main.counter", "34 12", 1), 1u);
    EXPECT_EQ(takeWrites(), "1@100: 12 34");
    EXPECT_EQ(image(1, 100, 2), "12 34");
}

// quirk 25
TEST_F(WriteTargets, EveryPieceIsMirroredWhileCommunicationHasFailed) {
    PLC_driver.commFailed = 1;
    settings.maxRequestWords = 1;
    EXPECT_EQ(write("Main.text", "41 42 43 44 45 46", 3), 3u);
    EXPECT_EQ(image(1, 599, 8), "-- 41 42 43 44 45 46 --");
}

// quirk 25
TEST_F(WriteTargets, OtherAccessModesWriteTheImageOnly) {
    addWrite(writeVar(2, 0, "AA"));
    for (int mode : {0, 1, 3, -2}) {
        for (int failed : {0, 1}) {
            settings.accessMode = mode;
            PLC_driver.commFailed = static_cast<quint8>(failed);
            forgetImage();
            EXPECT_EQ(write("Main.counter", "34 12", 1), 1u) << "mode " << mode;
            EXPECT_EQ(read("Main.counter", 1), "1: 34 12") << "mode " << mode;
        }
    }
    EXPECT_EQ(takeWrites(), "2@0: AA");
}

TEST_F(WriteTargets, ImageOnlyWritesAreCutIntoPiecesWithoutAGap) {
    settings.accessMode = 0;
    settings.maxRequestWords = 2;
    EXPECT_EQ(write("Main.text", "41 42 43 44 45 46 47 48 49 4A", 5), 0u);
    EXPECT_EQ(image(1, 599, 12), "-- 41 42 43 44 45 46 47 48 49 4A --");
}

TEST_F(WriteTargets, BitAddressedBooleanIsMirroredIntoItsWord) {
    settings.accessMode = 0;
    setImage(1, 6, "10 01");
    write("Main.bit", "01", 1);
    EXPECT_EQ(image(1, 5, 4), "-- 10 03 --");
    EXPECT_EQ(read("Main.bit", 1), "1: 01");
    write("Main.bit", "00", 1);
    EXPECT_EQ(image(1, 5, 4), "-- 10 01 --");
}

// quirk 27
TEST_F(WriteTargets, BitAddressedBooleanInAHalfKnownWordClearsIt) {
    settings.accessMode = 0;
    setImage(1, 7, "FF");
    write("Main.bit", "01", 1);
    EXPECT_EQ(image(1, 6, 2), "00 02");
}

TEST_F(WriteTargets, EveryTypeWrittenToTheImageReadsBack) {
    settings.accessMode = 0;
    struct {
        int code;
        qint32 count;
        const char* value;
    } const rows[] = {
        {1, 1, "01"},
        {2, 1, "81 00"},
        {3, 1, "34 12"},
        {4, 1, "FE FF"},
        {5, 2, "01 02 03 84"},
        {6, 2, "01 02 03 04"},
        {7, 2, "00 00 80 3F"},
        {8, 4, "01 02 03 04 05 06 07 08"},
        {10, 2, "41 42 43 00"},
        {11, 2, "41 42 43 00"},
        {9, 4, "00 00 00 00 00 00 F0 3F"},
        {13, 1, "01"},
        {14, 1, "FF 00"},
        {15, 1, "7F 00"},
        {16, 1, "CD AB"},
        {17, 2, "DD CC BB AA"},
        {18, 4, "11 22 33 44 55 66 77 88"},
        {21, 4, "FF FE FD FC FB FA F9 F8"},
    };
    for (const auto& row : rows) {
        forgetImage();
        loadMain({variable("value", row.code, 100)});
        write("Main.value", row.value, row.count);
        EXPECT_EQ(read("Main.value", row.count), std::string("1: ") + row.value) << "type " << row.code;
    }
}

// Single bits of a variable: the whole variable is read from the image, changed and written.
class WritingSingleBits : public ValueTest {
protected:
    static void expectWrite(int code, const char* present, int bit, const char* in, qint32 count, const char* writes) {
        forgetImage();
        setImage(1, 100, present);
        loadMain({withBits(variable("value", code, 100), 64)});
        const QByteArray tag = "Main.value.b[" + QByteArray::number(bit) + "]";
        const quint32 pending = write(tag.constData(), in, count);
        EXPECT_EQ(pending, static_cast<quint32>(PLC_driver.writeList.size()));
        EXPECT_EQ(takeWrites(), writes) << "type " << code << ", bit " << bit << ", in " << in << ", count " << count;
    }
};

TEST_F(WritingSingleBits, WorkedExampleOfBitNine) {
    loadMain({withBits(variable("word", 16, 10), 16)});
    setImage(1, 10, "12 34");
    EXPECT_EQ(write("Main.word.b[9]", "00", 1), 1u);
    EXPECT_EQ(takeWrites(), "1@10: 10 34");
}

TEST_F(WritingSingleBits, OfEightBitVariables) {
    for (int code : kEightBitCodes) {
        expectWrite(code, "00", 0, "01", 1, "1@100: 01");
        expectWrite(code, "FF", 7, "00", 1, "1@100: 7F");
        expectWrite(code, "00", 5, "01 01 01 01 01", 5, "1@100: E0");
        expectWrite(code, "FF", 5, "00 00 00 00 00", 5, "1@100: 1F");
        expectWrite(code, "A5", 2, "00 FF 01", 3, "1@100: B9");
        expectWrite(code, "A5", 0, "80", 1, "1@100: A5");
    }
}

TEST_F(WritingSingleBits, OfSixteenBitVariables) {
    for (int code : kSixteenBitCodes) {
        expectWrite(code, "12 34", 0, "01", 1, "1@100: 12 35");
        expectWrite(code, "12 34", 15, "01 01", 2, "1@100: 92 34");
        expectWrite(code, "00 00", 6, "01 01 01 01", 4, "1@100: 03 C0");
        expectWrite(code, "FF FF", 7, "00 00", 2, "1@100: FE 7F");
    }
}

TEST_F(WritingSingleBits, OfThirtyTwoBitVariables) {
    for (int code : {5, 6, 17}) {
        expectWrite(code, "00 00 00 00", 0, "01", 1, "1@100: 00 00 00 01");
        expectWrite(code, "00 00 00 00", 31, "01 01", 2, "1@100: 80 00 00 00");
        expectWrite(code, "11 22 33 44", 15, "01 01", 2, "1@100: 11 23 B3 44");
    }
}

TEST_F(WritingSingleBits, OfSixtyFourBitVariables) {
    for (int code : {8, 18, 21}) {
        expectWrite(code, "00 00 00 00 00 00 00 00", 63, "01 01 01", 3, "1@100: 80 00 00 00 00 00 00 00");
        expectWrite(code, "11 22 33 44 55 66 77 88", 31, "01 01", 2, "1@100: 11 22 33 45 D5 66 77 88");
    }
}

TEST_F(WritingSingleBits, AreLimitedByCountAndInput) {
    expectWrite(15, "00", 0, "01 01 01 01", 2, "1@100: 03");
    expectWrite(15, "00", 0, "01 01", 4, "1@100: 03");
    expectWrite(15, "0F", 0, "", 4, "1@100: 0F");
    expectWrite(15, "0F", 0, "01 01", 0, "1@100: 0F");
    expectWrite(15, "0F", 4, "01 01", -1, "1@100: 0F");
    expectWrite(15, "0F", 4, "01 01", INT_MIN, "1@100: 0F");
    expectWrite(15, "0F", 4, "01 01", INT_MAX, "1@100: 3F");
}

TEST_F(WritingSingleBits, OutsideTheVariableWriteItUnchanged) {
    expectWrite(15, "A5", 8, "01", 1, "1@100: A5");
    expectWrite(16, "A5 5A", 16, "00 00", 2, "1@100: A5 5A");
    expectWrite(17, "A5 5A A5 5A", 32, "01", 1, "1@100: A5 5A A5 5A");
    expectWrite(18, "A5 5A A5 5A A5 5A A5 5A", 64, "01", 1, "1@100: A5 5A A5 5A A5 5A A5 5A");
    expectWrite(15, "A5", INT_MAX, "01", 1, "1@100: A5");
}

TEST_F(WritingSingleBits, NegativeBitAddressesNoBit) {
    expectWrite(15, "A5", -1, "FF FF FF FF", 4, "1@100: A5");
    expectWrite(16, "A5 5A", -9, "FF FF FF FF", 4, "1@100: A5 5A");
    expectWrite(17, "A5 5A A5 5A", INT_MIN, "FF", 1, "1@100: A5 5A A5 5A");
}

TEST_F(WritingSingleBits, OfAnUnknownVariableStartFromZeros) {
    expectWrite(16, "", 9, "01", 1, "1@100: 02 00");
    EXPECT_EQ(image(1, 99, 4), "-- 00 00 --") << "the unknown variable counts as read, the write is only queued";
    expectWrite(17, "", 40, "01", 1, "1@100: 00 00 00 00");
}

// quirk 22
TEST_F(WritingSingleBits, OfAVariableWhoseFirstByteIsAbsentStartFromZerosAndClearTheImage) {
    forgetImage();
    setImage(1, 101, "22 33 44");
    loadMain({withBits(variable("value", 17, 100), 32)});
    write("Main.value.b[0]", "01", 1);
    EXPECT_EQ(takeWrites(), "1@100: 00 00 00 01");
    EXPECT_EQ(image(1, 100, 4), "00 00 00 00");
}

TEST_F(WritingSingleBits, OfAVariableWhoseLaterBytesAreAbsentTakeThoseAsZero) {
    forgetImage();
    setImage(1, 100, "11");
    setImage(1, 102, "33");
    loadMain({withBits(variable("value", 17, 100), 32)});
    write("Main.value.b[0]", "01", 1);
    EXPECT_EQ(takeWrites(), "1@100: 11 00 33 01");
    EXPECT_EQ(image(1, 100, 4), "11 00 33 00");
}

TEST_F(WritingSingleBits, QueuedLeaveTheImageAlone) {
    expectWrite(16, "12 34", 0, "01", 1, "1@100: 12 35");
    EXPECT_EQ(image(1, 100, 2), "12 34");
}

TEST_F(WritingSingleBits, AreMirroredAtOnceWhileCommunicationHasFailed) {
    PLC_driver.commFailed = 1;
    expectWrite(16, "12 34", 0, "01", 1, "1@100: 12 35");
    EXPECT_EQ(image(1, 100, 2), "12 35");
}

TEST_F(WritingSingleBits, InOtherAccessModesChangeTheImageOnly) {
    settings.accessMode = 1;
    expectWrite(16, "12 34", 0, "01", 1, "");
    EXPECT_EQ(image(1, 100, 2), "12 35");
}

TEST_F(WritingSingleBits, OfAnUnknownVariableAreMirroredAsZerosWhenNothingIsWritten) {
    settings.accessMode = 1;
    expectWrite(16, "", 16, "01", 1, "");
    EXPECT_EQ(image(1, 99, 4), "-- 00 00 --");
}

TEST_F(WritingSingleBits, AreOneRequestHoweverSmallTheLimit) {
    settings.maxRequestWords = 1;
    expectWrite(18, "11 22 33 44 55 66 77 88", 0, "01", 1, "1@100: 11 22 33 44 55 66 77 89");
}

TEST_F(WritingSingleBits, KeepTheVariablesTypeAndAddress) {
    loadMain({withBits(asArray(inArea(variable("words", 16, 100), 9), {10, 0, 4}), 16)});
    setImage(9, 104, "00 00");
    write("Main.words[2].b[3]", "01", 1);
    ASSERT_EQ(PLC_driver.writeList.size(), 1);
    const RW_VAR& var = PLC_driver.writeList.first();
    EXPECT_EQ(var.dataType, 16);
    EXPECT_EQ(var.offset, 104);
    EXPECT_EQ(var.area, 9);
    EXPECT_EQ(var.size, 2);
    EXPECT_EQ(hex(var.data), "00 08");
    EXPECT_EQ(var.labelName, "Main.words[2].b[3]");
    EXPECT_EQ(var.hostId, 11);
    EXPECT_EQ(var.hostSubId, 22);
    EXPECT_EQ(var.writeFlag, 1);
}

// Floats, strings and booleans have no bits: the tag means the whole variable.
TEST_F(WritingSingleBits, OfTypesWithoutBitsWriteTheWholeVariable) {
    expectWrite(7, "11 22 33 44", 9, "01 02 03 04", 2, "1@100: 04 03 02 01");
    expectWrite(10, "11 22", 3, "41 42", 1, "1@100: 41 42");
    expectWrite(1, "00", 3, "01", 1, "1@100: 01");
}

TEST_F(WritingSingleBits, ThroughAPlaceholder) {
    loadMain({withBits(variable("word", 16, 10), 16)});
    setImage(1, 10, "12 34");
    EXPECT_EQ(write("Main.word.b[%%]", "00", 1, "9"), 1u);
    EXPECT_EQ(takeWrites(), "1@10: 10 34");
}

TEST_F(WritingSingleBits, ReadTheImageUnderItsLock) {
    loadMain({withBits(variable("word", 16, 10), 16)});
    EXPECT_TRUE(waitsFor(PLC_driver.localAreaMutex, [] { write("Main.word.b[9]", "01", 1); }));
    EXPECT_EQ(takeWrites(), "1@10: 02 00");
}

// quirk 28
TEST_F(WriteTargets, AddressesFromTheUpperHalfAreMirroredWhereReadersDoNotLook) {
    settings.accessMode = 0;
    loadMain({inArea(variable("high", 3, INT_MIN), 3)});
    write("Main.high", "34 12", 1);
    EXPECT_EQ(image(0xFFFFFFFF, 0x80000000, 2), "12 34");
    EXPECT_EQ(read("Main.high", 1), "1: 00 00");
}

TEST_F(WriteTargets, QueuingWaitsForTheListLockOnly) {
    EXPECT_TRUE(waitsFor(PLC_driver.listMutex, [] { write("Main.counter", "34 12", 1); }));
    EXPECT_TRUE(runsBeside(PLC_driver.localAreaMutex, [] { write("Main.counter", "34 12", 1); }));
    EXPECT_EQ(takeWrites(), "1@100: 12 34 | 1@100: 12 34");
}

// quirks 17 and 24
TEST_F(WriteTargets, OfARunFromTheMiddleOfARowGoOnBehindItsEnd) {
    loadMain({asArray(variable("row", 3, 100), {10, 1, 6}), variable("next", 3, 110)});
    write("Main.row[3]", "01 00 02 00 03 00 04 00 05 00 06 00", 6);
    EXPECT_EQ(takeWrites(), "1@104: 00 01 00 02 00 03 00 04 00 05") << "the last two elements are not the row's";
}

TEST_F(WriteTargets, OfOneValueAreWrittenWhateverTheCount) {
    for (int count : {0, -1, 7}) {
        write("Main.counter", "34 12", count);
        EXPECT_EQ(takeWrites(), "1@100: 12 34") << count;
        write("Main.counter", "", count);
        EXPECT_EQ(takeWrites(), "1@100: 00 00") << count;
    }
}

TEST_F(WriteTargets, KeptInTheImageWaitForNoList) {
    write("Main.counter", "34 12", 1);
    write("Main.counter", "78 56", 1);
    settings.accessMode = 0;
    quint32 pending = 0;
    EXPECT_TRUE(runsBeside(PLC_driver.listMutex, [&] { pending = write("Main.counter", "BC 9A", 1); }));
    EXPECT_EQ(pending, 2U);
    EXPECT_EQ(image(1, 100, 2), "9A BC");
    EXPECT_EQ(takeWrites(), "1@100: 12 34 | 1@100: 56 78");
}

TEST_F(WriteTargets, OfTypesThatAreNotWrittenWaitForNoList) {
    write("Main.counter", "34 12", 1);
    loadMain({variable("odd", 19, 0), variable("counter", 3, 100)});
    quint32 pending = 0;
    EXPECT_TRUE(runsBeside(PLC_driver.listMutex, [&] { pending = write("Main.odd", "34 12", 1); }));
    EXPECT_EQ(pending, 1U);
}

// What the host does to the list by itself counts as soon as nobody holds the lock.
TEST_F(WriteTargets, CountTheWritesThatTheHostHasTakenOutItself) {
    write("Main.counter", "34 12", 1);
    PLC_driver.writeList.clear();
    settings.accessMode = 0;
    EXPECT_EQ(write("Main.counter", "34 12", 1), 0U);
}

TEST_F(WriteTargets, CountTheWritesThatAreLeftOfACompletedBatch) {
    connectToPlc();
    write("Main.counter", "34 12", 1);
    nextFrame();
    write("Main.counter", "78 56", 1);
    answer(writeReply());
    settings.accessMode = 0;
    quint32 pending = 0;
    EXPECT_TRUE(runsBeside(PLC_driver.listMutex, [&] { pending = write("Main.counter", "BC 9A", 1); }));
    EXPECT_EQ(pending, 1U);
}

TEST_F(WriteTargets, MirroringWaitsForTheImageLock) {
    settings.accessMode = 0;
    EXPECT_TRUE(waitsFor(PLC_driver.localAreaMutex, [] { write("Main.counter", "34 12", 1); }));
    EXPECT_EQ(image(1, 100, 2), "12 34");
}

// As in reading.
TEST_F(WritingValues, NeedsNoArgumentWhereItIsNotUsed) {
    loadMain({variable("counter", 3, 10)});
    QString label = "Main.counter";
    QByteArray in("\x34\x12", 2);
    ASSERT_EQ(SetRegisterData(&label, 0, nullptr, 0, &in, 1, 1, 2), 1U);
    EXPECT_EQ(hex(PLC_driver.writeList.first().data), "12 34");
    EXPECT_EQ(PLC_driver.writeList.first().labelArg, QString());
}

}  // namespace
}  // namespace ac500::test
