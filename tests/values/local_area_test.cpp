// The byte image of PLC memory: storing read replies and written variables.
#include <climits>

#include "tests/support/driver_test.h"
#include "tests/support/locks.h"

namespace ac500::test {
namespace {

class ReadReplies : public DriverTest {
protected:
    static void setBatch(const std::vector<RW_VAR>& items, qint32 dataOffset = 12) {
        PLC_driver.batchCount = static_cast<qint32>(items.size());
        std::copy(items.begin(), items.end(), PLC_driver.batch);
        PLC_driver.frameList.clear();
        Protocol request = Protocol();
        request.replyDataOffset = dataOffset;
        PLC_driver.frameList.append(request);
    }

    static void store(QByteArray reply) {
        QMutexLocker lock(&PLC_driver.localAreaMutex);
        SaveToLocalDataErea(&reply);
    }
};

TEST_F(ReadReplies, EveryItemIsPrecededByAByteThatIsSkipped) {
    setBatch({readVar(1, 100, 2), readVar(1, 200, 4)});
    // bytes 0 to 11: envelope, status and the PLC's own; 12: skipped; 13 and 14: first item; 15: skipped; 16 to 19
    store(bytes("00 01 02 03 04 05 06 07 08 09 0A 0B EE 0D 0E EE 10 11 12 13"));
    EXPECT_EQ(image(1, 99, 4), "-- 0D 0E --");
    EXPECT_EQ(image(1, 199, 6), "-- 10 11 12 13 --");
    EXPECT_EQ(PLC_driver.localValues.size(), 6);
}

TEST_F(ReadReplies, ItemsGoToTheirAreas) {
    setBatch({readVar(1, 8, 1), readVar(2, 8, 1), readVar(-1, 8, 1)});
    store(readReply({"A1", "A2", "A3"}));
    EXPECT_EQ(image(1, 8, 1), "A1");
    EXPECT_EQ(image(2, 8, 1), "A2");
    EXPECT_EQ(image(0xFFFFFFFF, 8, 1), "A3");
    EXPECT_EQ(PLC_driver.localValues.size(), 3);
}

TEST_F(ReadReplies, BytesAreStoredUnchangedWhateverTheType) {
    for (int code = 0; code <= 22; ++code) {
        RW_VAR var = readVar(1, 40, 4);
        var.dataType = code;
        setBatch({var});
        PLC_driver.localValues.clear();
        store(readReply({"12 34 56 78"}));
        EXPECT_EQ(image(1, 40, 4), "12 34 56 78") << code;
    }
}

TEST_F(ReadReplies, NewBytesReplaceOldOnes) {
    setImage(1, 98, "01 02 03 04 05 06");
    setBatch({readVar(1, 100, 2)});
    store(readReply({"AA BB"}));
    EXPECT_EQ(image(1, 98, 6), "01 02 AA BB 05 06");
}

TEST_F(ReadReplies, LaterItemOfTheSameBytesWins) {
    setBatch({readVar(1, 100, 4), readVar(1, 102, 2)});
    store(readReply({"01 02 03 04", "AA BB"}));
    EXPECT_EQ(image(1, 100, 4), "01 02 AA BB");
}

TEST_F(ReadReplies, DataOffsetComesFromTheFrameAtTheHead) {
    setBatch({readVar(1, 100, 2)}, 3);
    Protocol later = Protocol();
    later.replyDataOffset = 0;
    PLC_driver.frameList.append(later);
    store(bytes("00 01 02 EE 04 05 06"));
    EXPECT_EQ(image(1, 100, 2), "04 05");
}

TEST_F(ReadReplies, DataMayBeginWithTheFirstByteAfterAnOffsetBelowZero) {
    setBatch({readVar(1, 100, 2)}, -1);
    store(bytes("A1 A2 A3"));
    EXPECT_EQ(image(1, 100, 2), "A1 A2");
}

// quirk 26
TEST_F(ReadReplies, BytesThatWereNotDeliveredBecomeZero) {
    // The reply's bytes from 12 on: skipped, first item (2 bytes), skipped, second item (4 bytes).
    const QByteArray whole = readReply({"A1 A2", "B1 B2 B3 B4"});
    ASSERT_EQ(whole.size(), 20);
    struct {
        int delivered;
        const char* first;
        const char* second;
    } const rows[] = {
        {20, "A1 A2", "B1 B2 B3 B4"}, {19, "A1 A2", "B1 B2 B3 00"}, {18, "A1 A2", "B1 B2 00 00"},
        {17, "A1 A2", "B1 00 00 00"}, {16, "A1 A2", "00 00 00 00"}, {15, "A1 A2", "00 00 00 00"},
        {14, "A1 00", "00 00 00 00"}, {13, "00 00", "00 00 00 00"}, {12, "00 00", "00 00 00 00"},
        {11, "00 00", "00 00 00 00"}, {1, "00 00", "00 00 00 00"},  {0, "00 00", "00 00 00 00"},
    };
    for (const auto& row : rows) {
        setBatch({readVar(1, 100, 2), readVar(1, 200, 4)});
        setImage(1, 100, "71 72");
        setImage(1, 200, "73 74 75 76");
        store(whole.left(row.delivered));
        EXPECT_EQ(image(1, 100, 2), row.first) << row.delivered << " bytes delivered";
        EXPECT_EQ(image(1, 200, 4), row.second) << row.delivered << " bytes delivered";
    }
}

// quirk 26
TEST_F(ReadReplies, BytesThatWereNeverSeenBecomeZeroToo) {
    setBatch({readVar(1, 100, 2)});
    store(QByteArray());
    EXPECT_EQ(image(1, 99, 4), "-- 00 00 --");
}

TEST_F(ReadReplies, BytesBehindTheLastItemAreIgnored) {
    setBatch({readVar(1, 100, 2)});
    store(readReply({"A1 A2", "B1 B2 B3 B4"}));
    EXPECT_EQ(PLC_driver.localValues.size(), 2);
    EXPECT_EQ(image(1, 100, 2), "A1 A2");
}

TEST_F(ReadReplies, ItemOfSizeZeroOrLessStillSkipsItsByte) {
    setBatch({readVar(1, 50, 0), readVar(1, 60, -3), readVar(1, 100, 2)});
    store(readReply({"", "", "A1 A2"}));
    EXPECT_EQ(image(1, 100, 2), "A1 A2");
    EXPECT_EQ(PLC_driver.localValues.size(), 2);
}

TEST_F(ReadReplies, EmptyBatchTouchesNothing) {
    for (int count : {0, -1, INT_MIN}) {
        setBatch({readVar(1, 100, 2)});
        PLC_driver.batchCount = count;
        store(readReply({"A1 A2"}));
        EXPECT_TRUE(PLC_driver.localValues.isEmpty()) << count;
    }
}

TEST_F(ReadReplies, EmptyBatchNeedsNoFrame) {
    PLC_driver.batchCount = 0;
    PLC_driver.frameList.clear();
    store(readReply({"A1 A2"}));
    EXPECT_TRUE(PLC_driver.localValues.isEmpty());
}

TEST_F(ReadReplies, BatchWithoutAFrameTouchesNothing) {
    setBatch({readVar(1, 100, 2)});
    PLC_driver.frameList.clear();
    store(readReply({"A1 A2"}));
    EXPECT_TRUE(PLC_driver.localValues.isEmpty());
}

TEST_F(ReadReplies, NothingIsReadBeforeTheReply) {
    for (int dataOffset : {-2, -100, INT_MIN}) {
        setBatch({readVar(1, 100, 2)}, dataOffset);
        setImage(1, 100, "71 72");
        store(bytes("01 02 03 04"));
        EXPECT_EQ(image(1, 100, 2), "00 00") << dataOffset;
    }
}

TEST_F(ReadReplies, FullBatchIsStored) {
    std::vector<RW_VAR> items;
    QByteArray reply = bytes("BB BB 00 00 01 36 00 00 11 22 33 44");
    for (int i = 0; i < kBatchCapacity; ++i) {
        items.push_back(readVar(1, 10 * i, 2));
        reply += bytes("EE");
        reply += QByteArray(2, static_cast<char>(i));
    }
    setBatch(items);
    store(reply);
    EXPECT_EQ(image(1, 0, 2), "00 00");
    EXPECT_EQ(image(1, 500, 2), "32 32");
    EXPECT_EQ(image(1, 990, 2), "63 63");
    EXPECT_EQ(PLC_driver.localValues.size(), 200);
}

// Each bucket is a pointer: with more of them than bytes the image would outgrow its budget of heap.
TEST_F(ReadReplies, ImageNeverHasMoreBucketsThanBytes) {
    constexpr int kRequests = 30;
    constexpr int kBytes = 700;
    for (int i = 0; i < kRequests; ++i) {
        setBatch({readVar(1, kBytes * i, kBytes)});
        store(readReply({"A1 A2"}));
        ASSERT_EQ(PLC_driver.localValues.size(), kBytes * (i + 1));
        ASSERT_LE(PLC_driver.localValues.capacity(), kBytes * (i + 1));
        ASSERT_GE(PLC_driver.localValues.capacity(), kBytes * (i + 1) / 2);
    }
    for (int i = 0; i < kRequests; ++i) {
        ASSERT_EQ(image(1, static_cast<quint32>(kBytes * i), 3), "A1 A2 00") << i;
    }
}

TEST_F(ReadReplies, LeaveTheReplyOfTheHostAlone) {
    setBatch({readVar(1, 100, 2)});
    QByteArray reply = readReply({"A1 A2"});
    const QByteArray copy = reply;
    QMutexLocker lock(&PLC_driver.localAreaMutex);
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(reply, copy);
}

// quirk 28
TEST_F(ReadReplies, AddressesFromTheUpperHalfSpreadTheirSignIntoTheArea) {
    setBatch({readVar(1, INT_MIN, 2)});
    store(readReply({"A1 A2"}));
    EXPECT_EQ(image(0xFFFFFFFF, 0x80000000, 2), "A1 A2");
    EXPECT_EQ(image(1, 0x80000000, 2), "-- --") << "where readers look";
    EXPECT_EQ(PLC_driver.localValues.size(), 2);
}

TEST_F(ReadReplies, RunsOverTheMiddleOfTheAddressRangeKeepTheirArea) {
    setBatch({readVar(1, INT_MAX - 1, 4)});
    store(readReply({"A1 A2 A3 A4"}));
    EXPECT_EQ(image(1, 0x7FFFFFFE, 4), "A1 A2 A3 A4") << "only the first address decides about the sign";
}

class WrittenVariables : public DriverTest {
protected:
    static void mirror(RW_VAR var) { WriteDataToLocal(&var); }

    static RW_VAR bits(qint32 area, qint32 firstBit, const char* values) {
        RW_VAR var = writeVar(area, firstBit, values);
        var.dataType = 13;
        return var;
    }
};

TEST_F(WrittenVariables, BytesAreStoredUnchangedWhateverTheType) {
    for (int code : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 14, 15, 16, 17, 18, 19, 20, 21, 22, 255}) {
        PLC_driver.localValues.clear();
        RW_VAR var = writeVar(3, 100, "12 34 56");
        var.dataType = code;
        mirror(var);
        EXPECT_EQ(image(3, 99, 5), "-- 12 34 56 --") << code;
    }
}

TEST_F(WrittenVariables, SizeDecidesHowManyBytesAreStored) {
    RW_VAR var = writeVar(3, 100, "12 34 56");
    var.size = 2;
    mirror(var);
    EXPECT_EQ(image(3, 100, 3), "12 34 --");
}

TEST_F(WrittenVariables, BytesThatTheDataLacksBecomeZero) {
    setImage(3, 100, "71 72 73 74 75");
    RW_VAR var = writeVar(3, 100, "12 34");
    var.size = 4;
    mirror(var);
    EXPECT_EQ(image(3, 100, 5), "12 34 00 00 75");
    var.size = 1000;
    mirror(var);
    EXPECT_EQ(image(3, 100, 5), "12 34 00 00 00");
    EXPECT_EQ(image(3, 1098, 3), "00 00 --");
}

TEST_F(WrittenVariables, SizeOfZeroOrLessStoresNothing) {
    for (int size : {0, -1, INT_MIN}) {
        for (int code : {3, 13}) {
            RW_VAR var = writeVar(3, 100, "12 34");
            var.dataType = code;
            var.size = size;
            mirror(var);
            EXPECT_TRUE(PLC_driver.localValues.isEmpty()) << "size " << size << ", type " << code;
        }
    }
}

// quirk 28
TEST_F(WrittenVariables, AddressesFromTheUpperHalfSpreadTheirSignIntoTheArea) {
    mirror(writeVar(3, -2, "12 34"));
    EXPECT_EQ(image(0xFFFFFFFF, 0xFFFFFFFE, 2), "12 34");
    EXPECT_EQ(image(3, 0xFFFFFFFE, 2), "-- --") << "where readers look";
    mirror(writeVar(3, INT_MIN, "56"));
    EXPECT_EQ(image(0xFFFFFFFF, 0x80000000, 1), "56");
}

TEST_F(WrittenVariables, BitLiesInTheBigEndianWordOfSixteen) {
    struct {
        const char* situation;
        int bit;
        const char* firstFourBytes;
    } const rows[] = {
        {"lowest bit of the first word", 0, "00 01 00 00"},
        {"highest bit of the first word's low byte", 7, "00 80 00 00"},
        {"lowest bit of the first word's high byte", 8, "01 00 00 00"},
        {"highest bit of the first word", 15, "80 00 00 00"},
        {"lowest bit of the second word", 16, "00 00 00 01"},
        {"bit seventeen", 17, "00 00 00 02"},
        {"highest bit of the second word", 31, "00 00 80 00"},
    };
    for (const auto& row : rows) {
        setImage(3, 0, "00 00 00 00");
        mirror(bits(3, row.bit, "01"));
        EXPECT_EQ(image(3, 0, 4), row.firstFourBytes) << row.situation;
    }
}

TEST_F(WrittenVariables, BitInAWordThatWasNeverSeenLeavesExactlyThatBit) {
    mirror(bits(3, 17, "01"));
    EXPECT_EQ(image(3, 1, 4), "-- 00 02 --");
    mirror(bits(3, 44, "00"));
    EXPECT_EQ(image(3, 3, 4), "02 00 00 --") << "clearing a bit makes the word known, too";
}

// quirk 27
TEST_F(WrittenVariables, BitInAWordWhoseFirstByteWasNeverSeenClearsTheSecondByte) {
    setImage(3, 3, "FF");
    mirror(bits(3, 17, "01"));
    EXPECT_EQ(image(3, 2, 2), "00 02");
}

TEST_F(WrittenVariables, BitInAWordWhoseSecondByteWasNeverSeenKeepsTheFirst) {
    setImage(3, 2, "F0");
    mirror(bits(3, 17, "01"));
    EXPECT_EQ(image(3, 2, 2), "F0 02");
}

TEST_F(WrittenVariables, OtherBitsOfTheWordAreKept) {
    setImage(3, 2, "A5 5A");
    mirror(bits(3, 16, "01"));
    EXPECT_EQ(image(3, 2, 2), "A5 5B");
    mirror(bits(3, 31, "00"));
    EXPECT_EQ(image(3, 2, 2), "25 5B");
}

TEST_F(WrittenVariables, AnyNonZeroByteSetsABit) {
    setImage(3, 0, "00 00");
    mirror(bits(3, 4, "80"));
    EXPECT_EQ(image(3, 0, 2), "00 10");
}

TEST_F(WrittenVariables, BitsThatTheDataLacksAreCleared) {
    setImage(3, 100, "FF FF");
    RW_VAR var = writeVar(3, 800, "01 00");
    var.dataType = 13;
    var.size = 4;
    mirror(var);
    EXPECT_EQ(image(3, 100, 2), "FF F1");
}

TEST_F(WrittenVariables, RunsOfBitsCrossWords) {
    setImage(3, 0, "FF FF FF FF");
    mirror(bits(3, 14, "00 01 00 01 00"));
    EXPECT_EQ(image(3, 0, 4), "BF FF FF FA") << "bits 14, 16 and 18 cleared";
}

TEST_F(WrittenVariables, BitsOfTheHighestAddress) {
    mirror(bits(3, INT_MAX, "01"));
    EXPECT_EQ(image(3, 0x0FFFFFFE, 2), "80 00") << "2147483647 / 16 words of 2 bytes";
}

TEST_F(WrittenVariables, RunOfBitsBeyondTheLargestAddressIsCountedInSixtyFourBits) {
    mirror(bits(3, INT_MAX, "01 01"));
    EXPECT_EQ(image(3, 0x0FFFFFFE, 4), "80 00 00 01");
}

TEST_F(WrittenVariables, AreStoredUnderTheImageLock) {
    EXPECT_TRUE(waitsFor(PLC_driver.localAreaMutex, [] { mirror(writeVar(3, 100, "12")); }));
    EXPECT_TRUE(waitsFor(PLC_driver.localAreaMutex, [] { mirror(bits(3, 0, "01")); }));
    EXPECT_EQ(image(3, 100, 1), "12");
}

TEST_F(WrittenVariables, LeaveTheImageWithNoMoreBucketsThanBytes) {
    RW_VAR var = writeVar(1, 0, "12 34");
    var.size = 10000;
    WriteDataToLocal(&var);
    EXPECT_EQ(PLC_driver.localValues.size(), 10000);
    EXPECT_LT(PLC_driver.localValues.capacity(), 10000);
    EXPECT_EQ(image(1, 0, 3), "12 34 00");
}

TEST_F(WrittenVariables, LeaveTheRecordAlone) {
    RW_VAR var = writeVar(3, 100, "12 34");
    WriteDataToLocal(&var);
    EXPECT_EQ(hex(var.data), "12 34");
    EXPECT_EQ(var.offset, 100);
    EXPECT_EQ(var.size, 2);
}

// The host's register areas: recorded, and never looked behind.
class HostAreas : public DriverTest {};

TEST_F(HostAreas, RecordingReturnsTheAddressOfTheWordArea) {
    int lb = 1;
    int lw = 2;
    int rwi = 3;
    EXPECT_EQ(FlashLocalRegister(&lb, &lw, &rwi), &LW);
    EXPECT_EQ(LB, &lb);
    EXPECT_EQ(LW, &lw);
    EXPECT_EQ(RWI, &rwi);
}

TEST_F(HostAreas, SecondCallReplacesAllThree) {
    int first[3] = {1, 2, 3};
    int second[3] = {4, 5, 6};
    FlashLocalRegister(&first[0], &first[1], &first[2]);
    EXPECT_EQ(FlashLocalRegister(&second[0], &second[1], &second[2]), &LW);
    EXPECT_EQ(LB, &second[0]);
    EXPECT_EQ(LW, &second[1]);
    EXPECT_EQ(RWI, &second[2]);
    EXPECT_EQ(first[0] + first[1] + first[2] + second[0] + second[1] + second[2], 21) << "nothing was written behind";
}

TEST_F(HostAreas, NullIsTaken) {
    EXPECT_EQ(FlashLocalRegister(nullptr, nullptr, nullptr), &LW);
    EXPECT_EQ(LB, nullptr);
    EXPECT_EQ(LW, nullptr);
    EXPECT_EQ(RWI, nullptr);
}

TEST_F(HostAreas, NoLockIsTaken) {
    EXPECT_TRUE(runsBeside(PLC_driver.localAreaMutex, [] { FlashLocalRegister(nullptr, nullptr, nullptr); }));
    EXPECT_TRUE(runsBeside(PLC_driver.listMutex, [] { FlashLocalRegister(nullptr, nullptr, nullptr); }));
}

}  // namespace
}  // namespace ac500::test
