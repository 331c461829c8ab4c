// Rebuilding the cyclic read list from the host's tags.
#include <atomic>
#include <chrono>
#include <climits>
#include <set>
#include <thread>

#include "symbols/resolution_cache.h"
#include "tests/support/driver_test.h"
#include "tests/support/label_builders.h"
#include "tests/support/locks.h"
#include "tests/vars/request_text.h"
#include "tests/vars/type_rows.h"

namespace ac500::test {
namespace {

HostTag tag(const char* name, qint32 count, const char* argument = "") {
    return HostTag{-1, -2, argument, name, count};
}

class ReadList : public DriverTest {
protected:
    // Rebuilds the list and expects the returned number to be right.
    static std::string rebuilt(QList<HostTag> tags) {
        const int requests = ReCreatReadVarList(&tags);
        EXPECT_EQ(requests, PLC_driver.readList.size());
        return requestText(PLC_driver.readList);
    }

    // Byte arrays of these lengths; a tag of count n then reads n bytes.
    static Label_Type_Info bytesAt(const char* name, int area, int offset, int length) {
        return asArray(inArea(variable(name, 15, offset), area), {10, 0, length});
    }
};

TEST_F(ReadList, WorkedExampleOfThreeTags) {
    loadMain({bytesAt("first", 1, 0, 2), bytesAt("second", 1, 10, 4), bytesAt("third", 1, 150, 100)});
    EXPECT_EQ(rebuilt({tag("Main.first[0]", 2), tag("Main.second[0]", 4), tag("Main.third[0]", 100)}),
              "1@0+200, 1@200+50");
}

TEST_F(ReadList, WorkedExampleOfACoveredTag) {
    loadMain({bytesAt("long", 1, 0, 4), bytesAt("short", 1, 0, 2)});
    EXPECT_EQ(rebuilt({tag("Main.long[0]", 4), tag("Main.short[0]", 2)}), "1@0+4");
}

TEST_F(ReadList, WorkedExampleOfTagsTooFarApart) {
    loadMain({bytesAt("near", 1, 0, 2), bytesAt("far", 1, 300, 2)});
    EXPECT_EQ(rebuilt({tag("Main.near[0]", 2), tag("Main.far[0]", 2)}), "1@0+2, 1@300+2");
}

TEST_F(ReadList, WorkedExampleOfALongTag) {
    loadMain({bytesAt("long", 1, 70, 450)});
    EXPECT_EQ(rebuilt({tag("Main.long[0]", 450)}), "1@70+200, 1@270+200, 1@470+50");
}

TEST_F(ReadList, AreasComeInAscendingOrder) {
    loadMain(
        {bytesAt("three", 3, 0, 2), bytesAt("one", 1, 50, 2), bytesAt("below", -7, 8, 2), bytesAt("again", 3, 6, 2)});
    EXPECT_EQ(
        rebuilt({tag("Main.three[0]", 2), tag("Main.one[0]", 2), tag("Main.below[0]", 2), tag("Main.again[0]", 2)}),
        "-7@8+2, 1@50+2, 3@0+8");
}

TEST_F(ReadList, UnsortedTagsAreSortedBeforeTheyAreMerged) {
    loadMain({bytesAt("a", 1, 0, 4), bytesAt("b", 1, 4, 4), bytesAt("c", 1, 8, 4), bytesAt("d", 1, 500, 4)});
    EXPECT_EQ(rebuilt({tag("Main.d[0]", 4), tag("Main.c[0]", 4), tag("Main.a[0]", 4), tag("Main.b[0]", 4)}),
              "1@0+12, 1@500+4");
}

TEST_F(ReadList, EqualOffsetsKeepTheHostsOrder) {
    loadMain({variable("word", 16, 8), variable("byte", 15, 8), variable("twin", 16, 8)});
    rebuilt({tag("Main.byte", 1), tag("Main.word", 1), tag("Main.twin", 1)});
    ASSERT_EQ(requestText(PLC_driver.readList), "1@8+2");
    EXPECT_EQ(PLC_driver.readList.first().labelName, "Main.byte");
    EXPECT_EQ(PLC_driver.readList.first().dataType, 15);
    rebuilt({tag("Main.twin", 1), tag("Main.byte", 1), tag("Main.word", 1)});
    EXPECT_EQ(PLC_driver.readList.first().labelName, "Main.twin");
}

// The end of a negative length lies before its offset: inside the group, which does not grow up to the offset.
TEST_F(ReadList, TagOfNegativeLengthGrowsNoRequest) {
    loadMain({variable("byte", 15, 0), variable("text", 10, 2), variable("later", 15, 9)});
    EXPECT_EQ(rebuilt({tag("Main.byte", 1), tag("Main.text", -3)}), "1@0+1");
    EXPECT_EQ(rebuilt({tag("Main.text", -3), tag("Main.later", 1)}), "1@9+1");
}

TEST_F(ReadList, CountsBelowZeroAskForNothingOfArraysAndStrings) {
    settings.maxRequestWords = INT_MAX / 2;
    for (int code : {1, 3, 5, 9, 10, 13}) {
        loadMain(
            {asArray(variable("array", code, 21), {10, 0, 300}), variable("text", 10, 80), variable("before", 15, 0)});
        for (int count : {-1, -2, -3, -1073741823, -1073741825, INT_MIN + 1, INT_MIN}) {
            EXPECT_EQ(rebuilt({tag("Main.before", 1), tag("Main.array[0]", count), tag("Main.text", count)}), "1@0+1")
                << "type " << code << ", count " << count;
        }
    }
}

TEST_F(ReadList, SameTagTwiceIsReadOnce) {
    loadMain({variable("counter", 3, 4)});
    EXPECT_EQ(rebuilt({tag("Main.counter", 1), tag("Main.counter", 1), tag("Main.counter", 9)}), "1@4+2");
}

// quirk 14
TEST_F(ReadList, TypesAreMixedInOneRequest) {
    loadMain({variable("float", 9, 0), variable("bit", 13, 100), variable("text", 10, 20)});
    EXPECT_EQ(rebuilt({tag("Main.text", 10), tag("Main.bit", 1), tag("Main.float", 4)}), "1@0+40");
    EXPECT_EQ(PLC_driver.readList.first().labelName, "Main.float");
    EXPECT_EQ(PLC_driver.readList.first().dataType, 9);
}

TEST_F(ReadList, BytesOfEveryTypeInAnArray) {
    for (const TypeRow& row : kTransferableTypes) {
        loadMain({asArray(variable("array", row.code, 0), {10, 0, 1000})});
        for (size_t i = 0; i < std::size(kUnits); ++i) {
            EXPECT_EQ(rebuilt({tag("Main.array[0]", kUnits[i])}), "1@0+" + std::to_string(row.bytes[i]))
                << row.type << ", " << kUnits[i] << " units";
            EXPECT_EQ(PLC_driver.readList.first().dataType, row.plannedType) << row.type;
        }
    }
}

// quirk 13
TEST_F(ReadList, ScalarIsOneValueWhateverTheCountAndAStringKeepsIt) {
    loadMain({variable("float", 7, 40), variable("text", 11, 400)});
    for (int count : {-5, 0, 1, 7, INT_MAX}) {
        EXPECT_EQ(rebuilt({tag("Main.float", count)}), "1@40+4") << count;
    }
    EXPECT_EQ(rebuilt({tag("Main.text", 40)}), "1@400+80");
    EXPECT_EQ(rebuilt({tag("Main.text", 0)}), "");
}

TEST_F(ReadList, CountOfAnArrayIsLimitedByItsInnermostExtent) {
    loadMain({asArray(variable("values", 3, 100), {10, 0, 4, 1, 6})});
    EXPECT_EQ(rebuilt({tag("Main.values[2,3]", 99)}), "1@124+10");
    EXPECT_EQ(rebuilt({tag("Main.values[2,3]", -3)}), "");
}

TEST_F(ReadList, BitAddressedBooleansBecomeTheWordsThatHoldThem) {
    for (const BitRunRow& row : kBitRuns) {
        loadMain({asArray(variable("bits", 13, row.firstBit), {10, 0, 1000})});
        EXPECT_EQ(rebuilt({tag("Main.bits[0]", row.bits)}),
                  "1@" + std::to_string(row.firstByte) + "+" + std::to_string(row.bytes))
            << row.situation;
        ASSERT_EQ(PLC_driver.readList.size(), 1) << row.situation;
        EXPECT_EQ(PLC_driver.readList.first().dataType, 16) << row.situation;
    }
}

TEST_F(ReadList, BuiltRecordHoldsTheSettingsAndTheTag) {
    loadMain({asArray(inArea(variable("vector", 3, 200), 9), {10, 0, 50})});
    rebuilt({tag("Main.vector[%%]", 4, "3")});
    ASSERT_EQ(requestText(PLC_driver.readList), "9@206+8");
    const RW_VAR& var = PLC_driver.readList.first();
    EXPECT_EQ(var.hostId, 0);
    EXPECT_EQ(var.hostSubId, -1);
    EXPECT_EQ(var.writeFlag, 0);
    EXPECT_EQ(var.aux3, 5656);
    EXPECT_EQ(var.aux4, 6060);
    EXPECT_EQ(var.status, 0);
    EXPECT_EQ(var.labelName, "Main.vector[3]") << "the rewritten name";
    EXPECT_EQ(var.labelArg, "3");
    EXPECT_EQ(var.dataType, 3);
    EXPECT_EQ(var.comWord, 2424);
    EXPECT_EQ(var.resolveResult, 0);
    EXPECT_TRUE(var.data.isEmpty());
}

TEST_F(ReadList, EveryRequestHasTheRecordOfTheTagThatOpenedIt) {
    loadMain({bytesAt("low", 1, 0, 500), variable("middle", 3, 1000), variable("high", 9, 2000),
              inArea(variable("other", 16, 0), 2)});
    rebuilt({tag("Main.low[0]", 500), tag("Main.high", 1), tag("Main.other", 1), tag("Main.middle", 1)});
    ASSERT_EQ(requestText(PLC_driver.readList), "1@0+200, 1@200+200, 1@400+100, 1@1000+2, 1@2000+8, 2@0+2");
    const char* const names[] = {"Main.low[0]", "Main.low[0]", "Main.low[0]", "Main.middle", "Main.high", "Main.other"};
    const int types[] = {15, 15, 15, 3, 9, 16};
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(PLC_driver.readList.at(i).labelName, names[i]) << i;
        EXPECT_EQ(PLC_driver.readList.at(i).dataType, types[i]) << i;
    }

    rebuilt({tag("Main.high", 1), tag("Main.middle", 1)});
    ASSERT_EQ(requestText(PLC_driver.readList), "1@1000+2, 1@2000+8");
    EXPECT_EQ(PLC_driver.readList.first().labelName, "Main.middle");
    EXPECT_EQ(PLC_driver.readList.last().labelName, "Main.high");
}

TEST_F(ReadList, ArgumentIsReadInBaseTenAndEmptyOrUnreadableCountsAsZero) {
    loadMain({asArray(variable("vector", 3, 200), {10, 0, 50})});
    EXPECT_EQ(rebuilt({tag("Main.vector[%%]", 1, "010")}), "1@220+2");
    EXPECT_EQ(rebuilt({tag("Main.vector[%%]", 1, "")}), "1@200+2");
    EXPECT_EQ(rebuilt({tag("Main.vector[%%]", 1, "three")}), "1@200+2");
    EXPECT_EQ(rebuilt({tag("Main.vector[%%]", 1, "-3")}), "") << "the rewritten name does not resolve";
    EXPECT_EQ(rebuilt({tag("Main.vector[7]", 1, "3")}), "1@214+2") << "not read without a placeholder";
}

TEST_F(ReadList, LeavesTheHostsTagsAlone) {
    loadMain({asArray(variable("vector", 3, 200), {10, 0, 50})});
    QList<HostTag> tags{tag("Main.vector[%%]", 4, "3")};
    ReCreatReadVarList(&tags);
    ASSERT_EQ(tags.size(), 1);
    EXPECT_EQ(tags.first().tagName, "Main.vector[%%]");
    EXPECT_EQ(tags.first().argument, "3");
    EXPECT_EQ(tags.first().count, 4);
}

TEST_F(ReadList, TagsThatDoNotResolveAreLeftOut) {
    loadMain({variable("counter", 3, 4), asArray(variable("vector", 3, 200), {10, 0, 50}),
              ofStructure(variable("motor", 0, 300), motorType())});
    EXPECT_EQ(rebuilt({tag("", 1), tag("Main", 1), tag("Main.ghost", 1), tag("Main.vector[%%]", 1, "50"),
                       tag("Main.counter", 1), tag("Main.vector", 1), tag("Main.ghost[%%]", 1), tag("Main.motor", 1),
                       tag("Main.vector[-1]", 1)}),
              "1@4+2");
}

TEST_F(ReadList, TypesThatCannotBeTransferredAreLeftOut) {
    for (int code : kUntransferableCodes) {
        loadMain({variable("odd", code, 0), variable("counter", 3, 4)});
        EXPECT_EQ(rebuilt({tag("Main.odd", 1), tag("Main.counter", 1)}), "1@4+2") << code;
    }
}

// Counted as tags without bytes at offset 0, they would let the request before them grow up to there.
TEST_F(ReadList, WhatIsLeftOutLetsNoRequestGrow) {
    loadMain({bytesAt("last", 0, -8, 2), inArea(variable("odd", 19, 0), 0)});
    EXPECT_EQ(rebuilt({tag("Main.last[0]", 2), tag("Main.odd", 1), tag("Main.ghost", 1)}), "0@-8+2");
}

TEST_F(ReadList, NothingThatCanBeReadGivesAnEmptyList) {
    loadMain({variable("odd", 19, 0)});
    addRead(readVar(1, 0, 2));
    EXPECT_EQ(rebuilt({tag("Main.odd", 1), tag("Main.ghost", 1)}), "");
}

TEST_F(ReadList, EmptyArrayBeforeAnotherAreaDoesNotJoinTheAreas) {
    loadMain({bytesAt("one", 1, 0, 4), bytesAt("empty", 2, 0, 4), bytesAt("two", 2, 6, 2)});
    EXPECT_EQ(rebuilt({tag("Main.one[0]", 4), tag("Main.empty[0]", 0), tag("Main.two[0]", 2)}), "1@0+4, 2@6+2");
}

TEST_F(ReadList, EmptyArrayAtTheStartOfTheListOpensNothing) {
    loadMain({bytesAt("empty", 1, 0, 4), bytesAt("one", 1, 6, 2)});
    EXPECT_EQ(rebuilt({tag("Main.empty[0]", 0), tag("Main.one[0]", 2)}), "1@6+2");
}

TEST_F(ReadList, ReplacesTheEarlierList) {
    loadMain({variable("counter", 3, 4), variable("later", 3, 400)});
    addRead(readVar(7, 7, 7));
    EXPECT_EQ(rebuilt({tag("Main.counter", 1)}), "1@4+2");
    EXPECT_EQ(rebuilt({tag("Main.later", 1)}), "1@400+2");
}

TEST_F(ReadList, StartsTheFirstPassAgain) {
    loadMain({variable("counter", 3, 4)});
    PLC_driver.cyclicBatches = 3;
    settings.firstPassDone = 1;
    rebuilt({tag("Main.counter", 1)});
    EXPECT_EQ(PLC_driver.cyclicBatches, 0);
    EXPECT_EQ(settings.firstPassDone, 0);
}

TEST_F(ReadList, StartsTheFirstPassAgainAlsoWhenNoTagResolves) {
    PLC_driver.cyclicBatches = 3;
    settings.firstPassDone = 1;
    EXPECT_EQ(rebuilt({tag("Main.ghost", 1)}), "");
    EXPECT_EQ(PLC_driver.cyclicBatches, 0);
    EXPECT_EQ(settings.firstPassDone, 0);
}

TEST_F(ReadList, EmptyHostListEmptiesItAndKeepsThePass) {
    addRead(readVar(1, 0, 2));
    PLC_driver.cyclicBatches = 3;
    settings.firstPassDone = 1;
    EXPECT_EQ(rebuilt({}), "");
    EXPECT_EQ(PLC_driver.cyclicBatches, 3);
    EXPECT_EQ(settings.firstPassDone, 1);
}

TEST_F(ReadList, NullHostListCountsAsEmpty) {
    addRead(readVar(1, 0, 2));
    settings.firstPassDone = 1;
    EXPECT_EQ(ReCreatReadVarList(nullptr), 0);
    EXPECT_TRUE(PLC_driver.readList.isEmpty());
    EXPECT_EQ(settings.firstPassDone, 1);
}

TEST_F(ReadList, LeavesTheOtherListsAlone) {
    loadMain({variable("counter", 3, 4)});
    addWrite(writeVar(1, 0, "AA"));
    addOnceRead(readVar(2, 0, 2));
    rebuilt({tag("Main.counter", 1)});
    EXPECT_EQ(requestText(PLC_driver.writeList), "1@0+1");
    EXPECT_EQ(requestText(PLC_driver.onceReadList), "2@0+2");
}

TEST_F(ReadList, RequestLimitIsTwiceTheWordsOfTheSettings) {
    loadMain({bytesAt("long", 1, 0, 10)});
    settings.maxRequestWords = 2;
    EXPECT_EQ(rebuilt({tag("Main.long[0]", 10)}), "1@0+4, 1@4+4, 1@8+2");
}

// Whoever changes the limit meanwhile gets a list of the old or of the new one, not a mixture.
TEST_F(ReadList, RequestLimitIsReadOnceWhenTheRebuildBegins) {
    loadMain({bytesAt("one", 1, 0, 20000), bytesAt("two", 2, 0, 20)});
    QList<HostTag> tags{tag("Main.two[0]", 20)};
    for (int i = 0; i < 20000; ++i) {
        tags.append(tag(qPrintable(QString("Main.one[%1]").arg(i)), 1));
    }
    volatile qint32& limit = settings.maxRequestWords;
    limit = 1000;
    std::atomic<bool> isDone(false);
    std::thread changing([&] {
        while (!isDone) {
            limit = limit == 1000 ? 5 : 1000;
        }
    });
    std::set<int> counts;
    for (int i = 0; i < 30; ++i) {
        counts.insert(ReCreatReadVarList(&tags));
    }
    isDone = true;
    changing.join();
    for (const int count : counts) {
        EXPECT_TRUE(count == 10 + 1 || count == 2000 + 2) << count << ": requests of 2000 bytes beside ones of 10";
    }
}

TEST_F(ReadList, RequestLimitWithoutSenseQueuesNothing) {
    loadMain({variable("counter", 3, 4), bytesAt("long", 1, 100, 10)});
    for (int words : {0, -1, -100, INT_MIN}) {
        settings.maxRequestWords = words;
        EXPECT_EQ(rebuilt({tag("Main.counter", 1), tag("Main.long[0]", 10)}), "") << words;
    }
}

TEST_F(ReadList, TakesItsPlaceUnderTheListLock) {
    loadMain({variable("counter", 3, 4)});
    addRead(readVar(7, 7, 7));
    EXPECT_TRUE(waitsFor(PLC_driver.listMutex, [] { rebuilt({tag("Main.counter", 1)}); }));
    EXPECT_TRUE(waitsFor(PLC_driver.listMutex, [] { rebuilt({}); }));
}

// Writes and the loop do not wait while names are resolved; the loop goes on with the old list.
TEST_F(ReadList, IsBuiltBeforeTheListLockIsTaken) {
    loadMain({variable("counter", 3, 4)});
    addRead(readVar(7, 7, 7));
    QList<HostTag> tags{tag("Main.counter", 1)};
    const QString name = QString("Main.counter");
    const auto isResolved = [&name] {
        ControlInformationM info;
        return ResolutionCache::Use(resolutionCache).find(HashedName(name), info);
    };
    resolutionCache.clear();
    PLC_driver.listMutex.lock();
    std::thread rebuilding([&] { ReCreatReadVarList(&tags); });
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!isResolved() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_TRUE(isResolved()) << "the name was not resolved while the lock was held";
    EXPECT_EQ(requestText(PLC_driver.readList), "7@7+7");
    PLC_driver.listMutex.unlock();
    rebuilding.join();
    EXPECT_EQ(requestText(PLC_driver.readList), "1@4+2");
}

TEST_F(ReadList, ThousandsOfTagsAreRebuiltAtOnce) {
    loadMain({asArray(variable("array", 15, 0), {10, 0, 20000})});
    QList<HostTag> tags;
    for (int i = 0; i < 20000; ++i) {
        tags.append(tag(qPrintable(QString("Main.array[%1]").arg(19999 - i)), 1));
    }
    EXPECT_EQ(ReCreatReadVarList(&tags), 100) << "20000 bytes in requests of 200";
    EXPECT_EQ(requestText(PLC_driver.readList.last()), "1@19800+200");
}

}  // namespace
}  // namespace ac500::test
