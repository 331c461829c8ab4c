// Registering single variables: cyclic reads, writes and one-shot reads.
#include <chrono>
#include <climits>

#include "tests/support/driver_test.h"
#include "tests/support/label_builders.h"
#include "tests/support/locks.h"
#include "tests/support/pace.h"
#include "tests/vars/request_text.h"
#include "tests/vars/type_rows.h"

namespace ac500::test {
namespace {

RW_VAR carriedRecord() {
    RW_VAR var = identified(readVar(12, 13, 14), 1, 2);
    var.writeFlag = 3;
    var.aux3 = 4;
    var.aux4 = 5;
    var.status = 6;
    var.labelName = "not resolved here";
    var.labelArg = "7";
    var.dataType = 8;
    var.comWord = 9;
    var.resolveResult = 10;
    var.data = "\x11\x12";
    return var;
}

void expectCarriedRecord(const RW_VAR& var) {
    EXPECT_EQ(requestText(var), "12@13+14");
    EXPECT_EQ(var.hostId, 1);
    EXPECT_EQ(var.hostSubId, 2);
    EXPECT_EQ(var.writeFlag, 3);
    EXPECT_EQ(var.aux3, 4);
    EXPECT_EQ(var.aux4, 5);
    EXPECT_EQ(var.status, 6);
    EXPECT_EQ(var.labelName, "not resolved here");
    EXPECT_EQ(var.labelArg, "7");
    EXPECT_EQ(var.dataType, 8);
    EXPECT_EQ(var.comWord, 9);
    EXPECT_EQ(var.resolveResult, 10);
    EXPECT_EQ(var.data, "\x11\x12");
}

class VariableLists : public DriverTest {};

TEST_F(VariableLists, CyclicReadIsAppendedUnchangedAndCounted) {
    RW_VAR var = carriedRecord();
    EXPECT_EQ(AddListReadVar(&var), 1);
    EXPECT_EQ(AddListReadVar(&var), 2) << "duplicates are kept";
    expectCarriedRecord(PLC_driver.readList.at(0));
    expectCarriedRecord(var);
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
    EXPECT_TRUE(PLC_driver.onceReadList.isEmpty());
}

TEST_F(VariableLists, WriteIsAppendedUnchangedAndCounted) {
    RW_VAR var = carriedRecord();
    EXPECT_EQ(AddListWriteVar(&var), 1);
    EXPECT_EQ(AddListWriteVar(&var), 2) << "duplicates are kept";
    expectCarriedRecord(PLC_driver.writeList.at(0));
    expectCarriedRecord(var);
    EXPECT_TRUE(PLC_driver.readList.isEmpty());
    EXPECT_TRUE(PLC_driver.onceReadList.isEmpty());
}

TEST_F(VariableLists, RecordsAreCopies) {
    RW_VAR var = carriedRecord();
    AddListReadVar(&var);
    AddListWriteVar(&var);
    var.data[0] = 'x';
    var.offset = 99;
    expectCarriedRecord(PLC_driver.readList.at(0));
    expectCarriedRecord(PLC_driver.writeList.at(0));
}

TEST_F(VariableLists, NewRecordsGoToTheEnd) {
    addRead(readVar(1, 30, 2));
    addRead(readVar(1, 10, 2));
    addWrite(writeVar(2, 8, "AA"));
    addWrite(writeVar(2, 4, "BB"));
    EXPECT_EQ(requestText(PLC_driver.readList), "1@30+2, 1@10+2");
    EXPECT_EQ(requestText(PLC_driver.writeList), "2@8+1, 2@4+1");
}

// quirk 30
TEST_F(VariableLists, CyclicReadTakesNoLock) {
    EXPECT_TRUE(runsBeside(PLC_driver.listMutex, [] { addRead(readVar(1, 0, 2)); }));
    EXPECT_EQ(PLC_driver.readList.size(), 1);
}

TEST_F(VariableLists, WriteWaitsForTheListLock) {
    EXPECT_TRUE(waitsFor(PLC_driver.listMutex, [] { addWrite(writeVar(1, 0, "AA")); }));
    EXPECT_EQ(PLC_driver.writeList.size(), 1);
}

class OneShotReads : public DriverTest {
protected:
    // A request of the host's, with a value of its own in every field that is carried or compared.
    static RW_VAR request(const char* name, qint32 count) {
        RW_VAR var = identified(RW_VAR(), 101, 102);
        var.aux3 = 103;
        var.aux4 = 104;
        var.status = 105;
        var.labelName = name;
        var.labelArg = "2";
        var.dataType = -1;
        var.offset = -2;
        var.comWord = -3;
        var.size = count;
        var.resolveResult = -4;
        var.area = -5;
        return var;
    }

    static int add(RW_VAR var) { return AddListOnceReadVar(&var); }

    // The requests that one registration adds to an empty list.
    static std::string planned(const char* name, qint32 count) {
        PLC_driver.onceReadList.clear();
        add(request(name, count));
        return requestText(PLC_driver.onceReadList);
    }

    static void fillTo(int entries) {
        while (PLC_driver.onceReadList.size() < entries) {
            addOnceRead(readVar(77, PLC_driver.onceReadList.size(), 2));
        }
    }
};

TEST_F(OneShotReads, ScalarOfThirtyTwoBitsIsOneRequestOfFourBytesWhateverTheCount) {
    loadMain({variable("speed", 5, 40)});
    EXPECT_EQ(planned("Main.speed", 7), "1@40+4");
}

TEST_F(OneShotReads, ArrayIsCutIntoRequestsThatThePlcAccepts) {
    loadMain({asArray(variable("samples", 3, 1000), {10, 0, 300})});
    EXPECT_EQ(add(request("Main.samples[0]", 300)), 3);
    EXPECT_EQ(requestText(PLC_driver.onceReadList), "1@1000+200, 1@1200+200, 1@1400+200");
}

TEST_F(OneShotReads, LastPieceCarriesTheRest) {
    loadMain({asArray(variable("samples", 3, 1000), {10, 0, 300})});
    EXPECT_EQ(planned("Main.samples[0]", 225), "1@1000+200, 1@1200+200, 1@1400+50");
    settings.maxRequestWords = 1;
    EXPECT_EQ(planned("Main.samples[0]", 3), "1@1000+2, 1@1002+2, 1@1004+2");
}

TEST_F(OneShotReads, CountOfAnArrayIsLimitedByItsInnermostExtent) {
    loadMain({asArray(variable("values", 3, 100), {10, 0, 4, 1, 6})});
    EXPECT_EQ(planned("Main.values[0,1]", 3), "1@100+6");
    EXPECT_EQ(planned("Main.values[0,1]", 5), "1@100+10");
    EXPECT_EQ(planned("Main.values[0,1]", 6), "1@100+10");
    EXPECT_EQ(planned("Main.values[0,1]", INT_MAX), "1@100+10");
    EXPECT_EQ(planned("Main.values[2,3]", 6), "1@124+10") << "the extent is the same for every element";
}

TEST_F(OneShotReads, BytesOfEveryTypeInAnArray) {
    for (const TypeRow& row : kTransferableTypes) {
        loadMain({asArray(variable("array", row.code, 0), {10, 0, 1000})});
        for (size_t i = 0; i < std::size(kUnits); ++i) {
            EXPECT_EQ(planned("Main.array[0]", kUnits[i]), "1@0+" + std::to_string(row.bytes[i]))
                << row.type << ", " << kUnits[i] << " units";
            EXPECT_EQ(PLC_driver.onceReadList.first().dataType, row.plannedType) << row.type;
        }
    }
}

// quirk 13
TEST_F(OneShotReads, ScalarIsOneValueOfItsTypeWhateverTheCount) {
    for (const TypeRow& row : kTransferableTypes) {
        const bool isString = row.code == 10 || row.code == 11;
        loadMain({variable("scalar", row.code, 0)});
        for (size_t i = 0; i < std::size(kUnits); ++i) {
            const int bytes = isString ? row.bytes[i] : row.bytes[0];
            EXPECT_EQ(planned("Main.scalar", kUnits[i]), "1@0+" + std::to_string(bytes))
                << row.type << ", " << kUnits[i] << " units";
        }
    }
}

// quirk 13
TEST_F(OneShotReads, CountOfZeroOrLessReadsAScalarAndNothingElse) {
    loadMain({variable("speed", 5, 40), variable("text", 10, 80), asArray(variable("vector", 3, 200), {10, 0, 9}),
              asArray(variable("doubles", 9, 300), {10, 0, 9}), asArray(variable("bits", 13, 0), {10, 0, 99})});
    for (int count : {0, -1, -100, INT_MIN}) {
        EXPECT_EQ(planned("Main.speed", count), "1@40+4") << count;
        EXPECT_EQ(planned("Main.text", count), "") << count;
        EXPECT_EQ(planned("Main.vector[0]", count), "") << count;
    }
    for (int count : {0, -1, -100}) {
        EXPECT_EQ(planned("Main.doubles[0]", count), "") << count;
        EXPECT_EQ(planned("Main.bits[0]", count), "") << count;
    }
}

// Twice the smallest counts would wrap around into gigabytes.
TEST_F(OneShotReads, CountsBelowZeroAskForNothingOfArraysAndStrings) {
    settings.maxRequestWords = INT_MAX / 2;
    for (int code : {1, 3, 5, 9, 10, 13}) {
        loadMain({asArray(variable("array", code, 21), {10, 0, 300}), variable("text", 10, 80)});
        for (int count : {-1, -2, -3, -1073741823, -1073741825, INT_MIN + 1, INT_MIN}) {
            EXPECT_EQ(planned("Main.array[0]", count), "") << "type " << code << ", count " << count;
            EXPECT_EQ(planned("Main.text", count), "") << count;
        }
    }
}

TEST_F(OneShotReads, CountBelowZeroStillReturnsTheListsCountAndFillsInTheHostsRecord) {
    loadMain({asArray(inArea(variable("bits", 13, 21), 9), {10, 0, 99})});
    fillTo(3);
    RW_VAR var = request("Main.bits[0]", -1);
    EXPECT_EQ(AddListOnceReadVar(&var), 3);
    EXPECT_EQ(requestText(var), "9@2+-1");
    EXPECT_EQ(var.dataType, 16);
}

TEST_F(OneShotReads, CountOfZeroForAnArrayStillReturnsTheListsCount) {
    loadMain({asArray(variable("vector", 3, 200), {10, 0, 9})});
    fillTo(3);
    EXPECT_EQ(add(request("Main.vector[0]", 0)), 3);
    EXPECT_EQ(PLC_driver.onceReadList.size(), 3);
}

TEST_F(OneShotReads, CountWhoseBytesWrapReadsNothing) {
    loadMain({variable("text", 10, 80)});
    EXPECT_EQ(planned("Main.text", INT_MAX), "") << "2 x 2147483647 is -2 in 32 bits";
}

// quirk 35
TEST_F(OneShotReads, StringInAnArrayIsLimitedByTheArraysExtent) {
    loadMain({asArray(variable("texts", 10, 700), {10, 0, 3})});
    EXPECT_EQ(planned("Main.texts[1]", 40), "1@781+6");
}

TEST_F(OneShotReads, BitAddressedBooleansBecomeTheWordsThatHoldThem) {
    for (const BitRunRow& row : kBitRuns) {
        loadMain({asArray(variable("bits", 13, row.firstBit), {10, 0, 1000})});
        EXPECT_EQ(planned("Main.bits[0]", row.bits),
                  "1@" + std::to_string(row.firstByte) + "+" + std::to_string(row.bytes))
            << row.situation;
        ASSERT_EQ(PLC_driver.onceReadList.size(), 1) << row.situation;
        EXPECT_EQ(PLC_driver.onceReadList.first().dataType, 16) << row.situation;
    }
}

TEST_F(OneShotReads, ScalarBitIsOneWordWhateverTheCount) {
    loadMain({variable("bit", 13, 21)});
    EXPECT_EQ(planned("Main.bit", 12), "1@2+2");
    EXPECT_EQ(PLC_driver.onceReadList.first().dataType, 16);
}

TEST_F(OneShotReads, BitsOfAnArrayAreLimitedByItsExtent) {
    loadMain({asArray(variable("bits", 13, 21), {10, 0, 11})});
    EXPECT_EQ(planned("Main.bits[0]", 12), "1@2+2") << "eleven bits end with the word";
}

TEST_F(OneShotReads, ElementOfABitArrayStartsAtItsOwnWord) {
    loadMain({asArray(variable("bits", 13, 21), {10, 0, 100})});
    EXPECT_EQ(planned("Main.bits[27]", 1), "1@6+2");
}

TEST_F(OneShotReads, BitOfAVariableReadsTheWholeVariable) {
    loadMain({withBits(variable("flags", 17, 500), 32)});
    EXPECT_EQ(planned("Main.flags.b[9]", 1), "1@500+4");
}

TEST_F(OneShotReads, QueuedRequestCarriesTheHostsWordsAndTheSettings) {
    loadMain({inArea(variable("counter", 3, 4), 9)});
    add(request("Main.counter", 1));
    ASSERT_EQ(requestText(PLC_driver.onceReadList), "9@4+2");
    const RW_VAR& queued = PLC_driver.onceReadList.first();
    EXPECT_EQ(queued.hostId, 101);
    EXPECT_EQ(queued.hostSubId, 102);
    EXPECT_EQ(queued.writeFlag, 0);
    EXPECT_EQ(queued.aux3, 103);
    EXPECT_EQ(queued.aux4, 104);
    EXPECT_EQ(queued.status, 105);
    EXPECT_EQ(queued.labelName, "Main.counter");
    EXPECT_EQ(queued.labelArg, "2");
    EXPECT_EQ(queued.dataType, 3);
    EXPECT_EQ(queued.comWord, 2424);
    EXPECT_EQ(queued.resolveResult, 0);
}

// quirk 32
TEST_F(OneShotReads, RewriteTheHostsRecordIntoTheLastPiece) {
    loadMain({asArray(inArea(variable("samples", 3, 1000), 9), {10, 0, 300})});
    RW_VAR var = request("Main.samples[0]", 225);
    EXPECT_EQ(AddListOnceReadVar(&var), 3);
    EXPECT_EQ(var.area, 9);
    EXPECT_EQ(var.dataType, 3);
    EXPECT_EQ(var.comWord, 2424);
    EXPECT_EQ(var.resolveResult, 0);
    EXPECT_EQ(var.offset, 1450) << "one byte beyond the last piece";
    EXPECT_EQ(var.size, 50) << "the last piece";
    EXPECT_EQ(var.labelName, "Main.samples[0]");
    EXPECT_EQ(var.hostId, 101);
}

// quirk 32
TEST_F(OneShotReads, RefusedTypeHasRewrittenTheHostsRecordAlready) {
    for (int code : kUntransferableCodes) {
        loadMain({inArea(variable("odd", code, 88), 9)});
        RW_VAR var = request("Main.odd", 5);
        fillTo(2);
        EXPECT_EQ(AddListOnceReadVar(&var), 0) << code;
        EXPECT_EQ(PLC_driver.onceReadList.size(), 2) << code;
        EXPECT_EQ(var.area, 9) << code;
        EXPECT_EQ(var.offset, 88) << code;
        EXPECT_EQ(var.dataType, 0) << code;
        EXPECT_EQ(var.comWord, 2424) << code;
        EXPECT_EQ(var.resolveResult, 0) << code;
        EXPECT_EQ(var.size, 5) << code;
    }
}

TEST_F(OneShotReads, StructureIsRefused) {
    loadMain({ofStructure(variable("motor", 0, 300), motorType())});
    fillTo(2);
    EXPECT_EQ(add(request("Main.motor", 1)), 0);
    EXPECT_EQ(PLC_driver.onceReadList.size(), 2);
}

TEST_F(OneShotReads, UnknownNameIsRefusedAndLeavesTheHostsRecordAlone) {
    loadMain({asArray(variable("vector", 3, 200), {10, 0, 9})});
    fillTo(2);
    for (const char* name : {"", "Main", "Main.ghost", "Ghost.vector[1]", "Main.vector[x]", "Main.ghost[%%]"}) {
        RW_VAR var = request(name, 5);
        EXPECT_EQ(AddListOnceReadVar(&var), 0) << name;
        EXPECT_EQ(requestText(var), "-5@-2+5") << name;
        EXPECT_EQ(var.dataType, -1) << name;
        EXPECT_EQ(var.comWord, -3) << name;
        EXPECT_EQ(var.resolveResult, -4) << name;
        EXPECT_EQ(var.labelName, name);
    }
    EXPECT_EQ(PLC_driver.onceReadList.size(), 2);
}

TEST_F(OneShotReads, PlaceholderIsResolvedOnACopyOfTheName) {
    loadMain({asArray(variable("vector", 3, 200), {10, 0, 9})});
    RW_VAR var = request("Main.vector[%%]", 1);
    EXPECT_EQ(AddListOnceReadVar(&var), 1);
    EXPECT_EQ(requestText(PLC_driver.onceReadList), "1@204+2") << "the argument is 2";
    EXPECT_EQ(var.labelName, "Main.vector[%%]");
    EXPECT_EQ(PLC_driver.onceReadList.first().labelName, "Main.vector[%%]");
    EXPECT_EQ(PLC_driver.onceReadList.first().labelArg, "2");
}

TEST_F(OneShotReads, SameReadTwiceAddsNoSecondEntry) {
    loadMain({asArray(variable("samples", 3, 1000), {10, 0, 300})});
    EXPECT_EQ(add(request("Main.samples[0]", 300)), 3);
    EXPECT_EQ(add(request("Main.samples[0]", 300)), 3);
    EXPECT_EQ(PLC_driver.onceReadList.size(), 3);
}

TEST_F(OneShotReads, OnlyThePiecesThatAreNotQueuedYetAreAdded) {
    loadMain({asArray(variable("samples", 3, 1000), {10, 0, 300})});
    EXPECT_EQ(add(request("Main.samples[0]", 200)), 2);
    EXPECT_EQ(add(request("Main.samples[0]", 300)), 3);
    EXPECT_EQ(requestText(PLC_driver.onceReadList), "1@1000+200, 1@1200+200, 1@1400+200");
}

TEST_F(OneShotReads, DuplicateIsFoundBehindOtherEntries) {
    loadMain({variable("counter", 3, 4)});
    EXPECT_EQ(add(request("Main.counter", 1)), 1);
    fillTo(10);
    EXPECT_EQ(add(request("Main.counter", 1)), 10);
}

TEST_F(OneShotReads, ReadsThatDifferInIdentityOrPlaceAreNoDuplicates) {
    loadMain({variable("counter", 3, 4), variable("later", 3, 6), variable("longer", 5, 4), variable("other", 4, 4),
              inArea(variable("remote", 3, 4), 9)});
    EXPECT_EQ(add(request("Main.counter", 1)), 1);
    RW_VAR otherId = request("Main.counter", 1);
    otherId.hostId = 201;
    EXPECT_EQ(add(otherId), 2) << "hostId";
    RW_VAR otherSubId = request("Main.counter", 1);
    otherSubId.hostSubId = 202;
    EXPECT_EQ(add(otherSubId), 3) << "hostSubId";
    RW_VAR otherWord = request("Main.counter", 1);
    otherWord.aux4 = 204;
    EXPECT_EQ(add(otherWord), 4) << "aux4";
    EXPECT_EQ(add(request("Main.later", 1)), 5) << "offset";
    EXPECT_EQ(add(request("Main.longer", 1)), 6) << "size and type";
    EXPECT_EQ(add(request("Main.other", 1)), 7) << "type alone";
    EXPECT_EQ(add(request("Main.remote", 1)), 8) << "area";
    settings.comWord = 2525;
    EXPECT_EQ(add(request("Main.counter", 1)), 9) << "comWord";
}

TEST_F(OneShotReads, SizeAloneMakesADifference) {
    loadMain({asArray(variable("vector", 3, 200), {10, 0, 9})});
    EXPECT_EQ(add(request("Main.vector[0]", 2)), 1);
    EXPECT_EQ(add(request("Main.vector[0]", 3)), 2);
}

TEST_F(OneShotReads, ReadsThatDifferOnlyInCarriedFieldsAreDuplicates) {
    loadMain({variable("counter", 3, 4), variable("alias", 3, 4)});
    EXPECT_EQ(add(request("Main.counter", 1)), 1);
    RW_VAR var = request("Main.counter", 1);
    var.aux3 = 1;
    var.status = 2;
    var.writeFlag = 3;
    var.labelArg = "4";
    var.data = "5";
    EXPECT_EQ(add(var), 1);
    EXPECT_EQ(add(request("Main.alias", 1)), 1) << "another name for the same place";
}

TEST_F(OneShotReads, DuplicateStillRewritesTheHostsRecord) {
    loadMain({asArray(variable("samples", 3, 1000), {10, 0, 300})});
    add(request("Main.samples[0]", 225));
    RW_VAR var = request("Main.samples[0]", 225);
    EXPECT_EQ(AddListOnceReadVar(&var), 3);
    EXPECT_EQ(requestText(var), "1@1450+50");
}

// quirk 12
TEST_F(OneShotReads, FullListDropsAReadSilently) {
    loadMain({variable("counter", 3, 4)});
    fillTo(1024);
    EXPECT_EQ(add(request("Main.counter", 1)), 1024);
    EXPECT_EQ(PLC_driver.onceReadList.size(), 1024);
    EXPECT_EQ(PLC_driver.onceReadList.last().area, 77);
}

// quirk 12
TEST_F(OneShotReads, LastFreePlaceTakesOnePieceAndTheOthersAreDropped) {
    loadMain({asArray(variable("samples", 3, 1000), {10, 0, 300})});
    fillTo(1023);
    RW_VAR var = request("Main.samples[0]", 300);
    EXPECT_EQ(AddListOnceReadVar(&var), 1024);
    EXPECT_EQ(requestText(PLC_driver.onceReadList.last()), "1@1000+200");
    EXPECT_EQ(requestText(var), "1@1600+200") << "the record went through all pieces";
}

// quirk 12
TEST_F(OneShotReads, PiecesThatFindNoPlaceCostNoTime) {
    loadMain({variable("text", 10, 80)});
    settings.maxRequestWords = 3;
    RW_VAR var = request("Main.text", 1000000000);
    const auto started = std::chrono::steady_clock::now();
    EXPECT_EQ(AddListOnceReadVar(&var), 1024);
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(paced(1000)));
    EXPECT_EQ(requestText(PLC_driver.onceReadList.first()), "1@80+6");
    EXPECT_EQ(requestText(PLC_driver.onceReadList.last()), "1@6218+6");
    EXPECT_EQ(requestText(var), "1@2000000080+2") << "the last piece, and one byte beyond it";
}

// quirk 12
TEST_F(OneShotReads, PiecesOfWholeRequestsThatFindNoPlaceLeaveAWholeRequest) {
    loadMain({variable("text", 10, 80)});
    settings.maxRequestWords = 4;
    fillTo(1024);
    RW_VAR var = request("Main.text", 1000000000);
    EXPECT_EQ(AddListOnceReadVar(&var), 1024);
    EXPECT_EQ(requestText(var), "1@2000000080+8");
}

// quirk 12
TEST_F(OneShotReads, ListThatIsOverfullAlreadyStaysAsItIs) {
    loadMain({variable("counter", 3, 4)});
    fillTo(1500);
    EXPECT_EQ(add(request("Main.counter", 1)), 1500);
}

TEST_F(OneShotReads, RequestLimitWithoutSenseQueuesNothing) {
    loadMain({variable("counter", 3, 4), variable("text", 10, 80)});
    for (int words : {0, -1, INT_MIN}) {
        settings.maxRequestWords = words;
        EXPECT_EQ(planned("Main.counter", 1), "") << words;
        EXPECT_EQ(planned("Main.text", 40), "") << words;
    }
}

TEST_F(OneShotReads, OffsetsWrapAtThirtyTwoBits) {
    loadMain({asArray(variable("samples", 3, INT_MAX - 99), {10, 0, 300})});
    EXPECT_EQ(planned("Main.samples[0]", 150), "1@2147483548+200, 1@-2147483548+100");
}

TEST_F(OneShotReads, WaitForTheListLock) {
    loadMain({variable("counter", 3, 4)});
    EXPECT_TRUE(waitsFor(PLC_driver.listMutex, [] { add(request("Main.counter", 1)); }));
    EXPECT_EQ(PLC_driver.onceReadList.size(), 1);
}

TEST_F(OneShotReads, NamesAreResolvedBeforeTheListLockIsTaken) {
    loadMain({variable("counter", 3, 4)});
    EXPECT_TRUE(runsBeside(PLC_driver.listMutex, [] { add(request("Main.ghost", 1)); }));
}

}  // namespace
}  // namespace ac500::test
