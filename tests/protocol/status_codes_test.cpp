// From the outcome of a reply check to the status code that the host sees.
#include "tests/support/driver_test.h"

using namespace ac500::test;

namespace {

constexpr qint32 kLowest = -2147483647 - 1;
constexpr qint32 kHighest = 2147483647;

class StatusCodesTest : public DriverTest {
protected:
    // Makes a variable with this identity the one that the head frame serves.
    static void serve(qint32 hostId) {
        Protocol request = Protocol();
        request.var.hostId = hostId;
        PLC_driver.frameList = {request};
    }
};

// What the three families that the driver produces are for each identity of the head frame's variable.
struct FamilyRow {
    qint32 hostId;
    int checkFailed;
    int nothingReceived;
    int lengthDiffers;
};

constexpr FamilyRow kFamilyRows[] = {
    {kLowest, 11, 41, 71}, {-12, 11, 41, 71}, {-1, 11, 41, 71},  {0, 11, 41, 71},   {1, 12, 42, 72},
    {2, 13, 43, 73},       {3, 14, 44, 74},   {4, 15, 45, 75},   {5, 16, 46, 76},   {6, 17, 47, 77},
    {7, 18, 48, 78},       {8, 19, 49, 79},   {9, 20, 50, 80},   {10, 21, 51, 81},  {11, 22, 52, 82},
    {12, 11, 41, 71},      {13, 11, 41, 71},  {100, 11, 41, 71}, {256, 11, 41, 71}, {kHighest, 11, 41, 71},
};

TEST_F(StatusCodesTest, ProducedFamiliesCarryTheHostIdFromOneToEleven) {
    for (const FamilyRow& row : kFamilyRows) {
        SCOPED_TRACE("hostId " + std::to_string(row.hostId));
        serve(row.hostId);
        EXPECT_EQ(GetDriverReturnValue(1), row.checkFailed);
        EXPECT_EQ(GetDriverReturnValue(2), row.nothingReceived);
        EXPECT_EQ(GetDriverReturnValue(3), row.lengthDiffers);
    }
}

struct ReservedFamilyRow {
    qint32 hostId;
    int outcomeFive;
    int outcomeSix;
    int outcomeSeven;
};

constexpr ReservedFamilyRow kReservedFamilyRows[] = {
    {-1, 111, 141, 171}, {0, 111, 141, 171},  {1, 112, 142, 172},  {2, 113, 143, 173},  {3, 114, 144, 174},
    {4, 115, 145, 175},  {5, 116, 146, 176},  {6, 117, 147, 177},  {7, 118, 148, 178},  {8, 119, 149, 179},
    {9, 120, 150, 180},  {10, 121, 151, 181}, {11, 122, 152, 182}, {12, 111, 141, 171},
};

TEST_F(StatusCodesTest, ReservedFamiliesCarryTheHostIdToo) {
    for (const ReservedFamilyRow& row : kReservedFamilyRows) {
        SCOPED_TRACE("hostId " + std::to_string(row.hostId));
        serve(row.hostId);
        EXPECT_EQ(GetDriverReturnValue(5), row.outcomeFive);
        EXPECT_EQ(GetDriverReturnValue(6), row.outcomeSix);
        EXPECT_EQ(GetDriverReturnValue(7), row.outcomeSeven);
    }
}

TEST_F(StatusCodesTest, GoodAndUnusedOutcomesDoNotDependOnTheQueue) {
    EXPECT_EQ(GetDriverReturnValue(0), 1);
    EXPECT_EQ(GetDriverReturnValue(4), 100);
    serve(3);
    EXPECT_EQ(GetDriverReturnValue(0), 1);
    EXPECT_EQ(GetDriverReturnValue(4), 100);
}

TEST_F(StatusCodesTest, UnknownOutcomesGiveOneCodeWhateverTheQueueHolds) {
    for (int outcome : {8, -1, 9, 100, 255, 256, kLowest, kHighest}) {
        EXPECT_EQ(GetDriverReturnValue(outcome), 200) << outcome;
    }
    serve(3);
    EXPECT_EQ(GetDriverReturnValue(8), 200);
    EXPECT_EQ(GetDriverReturnValue(-1), 200);
}

TEST_F(StatusCodesTest, OffsetIsAddedToAnyBase) {
    serve(3);
    EXPECT_EQ(SwitchErrorReturn(0), 4);
    EXPECT_EQ(SwitchErrorReturn(10), 14);
    EXPECT_EQ(SwitchErrorReturn(40), 44);
    EXPECT_EQ(SwitchErrorReturn(-10), -6);
    serve(12);
    EXPECT_EQ(SwitchErrorReturn(10), 11);
    EXPECT_EQ(SwitchErrorReturn(-10), -9);
}

TEST_F(StatusCodesTest, HeadFrameDecidesWhenSeveralAreQueued) {
    Protocol second = Protocol();
    second.var.hostId = 9;
    serve(3);
    PLC_driver.frameList.append(second);
    EXPECT_EQ(GetDriverReturnValue(1), 14);
    EXPECT_EQ(GetDriverReturnValue(3), 74);
}

TEST_F(StatusCodesTest, WithoutAQueuedFrameThereIsNoHostIdInTheCode) {
    PLC_driver.frameList.clear();
    EXPECT_EQ(GetDriverReturnValue(1), 11);
    EXPECT_EQ(GetDriverReturnValue(2), 41);
    EXPECT_EQ(GetDriverReturnValue(3), 71);
    EXPECT_EQ(SwitchErrorReturn(0), 1);
}

}  // namespace
