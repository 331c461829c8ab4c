// Switching stations off and on.
#include "tests/support/driver_test.h"
#include "tests/support/locks.h"

using namespace ac500::test;

namespace {

using SwitchStation = void (*)(int station, int enable);

// Both entry points behave alike.
class StationControlTest : public DriverTest, public ::testing::WithParamInterface<SwitchStation> {
protected:
    static void switchStation(int station, int enable) { GetParam()(station, enable); }

    static QList<int> stationsOff() { return PLC_driver.disabledStations.keys(); }
};

INSTANTIATE_TEST_SUITE_P(EntryPoints, StationControlTest, ::testing::Values(&EnableEthernet, &EnCommStation),
                         [](const auto& entry) { return entry.index == 0 ? "EnableEthernet" : "EnCommStation"; });

TEST_P(StationControlTest, EveryStationIsOnAtFirst) {
    EXPECT_EQ(Ethernetcontains(0), 0);
    EXPECT_EQ(Ethernetcontains(3), 0);
    EXPECT_EQ(Ethernetcontains(-1), 0);
    EXPECT_EQ(Ethernetcontains(2147483647), 0);
    EXPECT_EQ(Ethernetcontains(-2147483647 - 1), 0);
}

TEST_P(StationControlTest, SwitchedOffStationIsReported) {
    switchStation(3, 0);
    EXPECT_EQ(Ethernetcontains(3), 1);
    EXPECT_EQ(Ethernetcontains(2), 0);
    EXPECT_EQ(Ethernetcontains(4), 0);
}

TEST_P(StationControlTest, StationZeroIsAStationLikeAnyOther) {
    switchStation(0, 0);
    EXPECT_EQ(Ethernetcontains(0), 1);
    switchStation(0, 1);
    EXPECT_EQ(Ethernetcontains(0), 0);
}

TEST_P(StationControlTest, LargestStationNumberCanBeSwitchedOff) {
    switchStation(2147483647, 0);
    EXPECT_EQ(Ethernetcontains(2147483647), 1);
}

TEST_P(StationControlTest, SwitchedOffStationIsAKeyWithValueZero) {
    switchStation(3, 0);
    ASSERT_TRUE(PLC_driver.disabledStations.contains(3));
    EXPECT_EQ(PLC_driver.disabledStations.value(3, 99), 0);
}

TEST_P(StationControlTest, SwitchingOffTwiceLeavesOneKey) {
    switchStation(3, 0);
    switchStation(3, 0);
    EXPECT_EQ(stationsOff(), QList<int>({3}));
    switchStation(3, 1);
    EXPECT_EQ(Ethernetcontains(3), 0);
}

TEST_P(StationControlTest, SwitchingOnRemovesThatStationOnly) {
    switchStation(3, 0);
    switchStation(5, 0);
    switchStation(3, 1);
    EXPECT_EQ(stationsOff(), QList<int>({5}));
}

TEST_P(StationControlTest, SwitchingOnAStationThatIsNotOffChangesNothing) {
    switchStation(3, 0);
    switchStation(4, 1);
    EXPECT_EQ(stationsOff(), QList<int>({3}));
}

TEST_P(StationControlTest, OtherValuesOfEnableChangeNothing) {
    switchStation(3, 2);
    switchStation(3, -1);
    EXPECT_TRUE(stationsOff().isEmpty());
    switchStation(3, 0);
    switchStation(3, 2);
    switchStation(3, -1);
    EXPECT_EQ(stationsOff(), QList<int>({3}));
}

TEST_P(StationControlTest, NegativeStationWithEnableOneSwitchesAllOn) {
    switchStation(3, 0);
    switchStation(5, 0);
    switchStation(-1, 1);
    EXPECT_TRUE(stationsOff().isEmpty());
}

TEST_P(StationControlTest, NegativeStationWithEnableZeroSwitchesAllOn) {
    switchStation(3, 0);
    switchStation(-5, 0);
    EXPECT_TRUE(stationsOff().isEmpty());
    EXPECT_EQ(Ethernetcontains(-5), 0);
}

TEST_P(StationControlTest, NegativeStationSwitchesAllOnWhateverEnableIs) {
    switchStation(3, 0);
    switchStation(-2147483647 - 1, 77);
    EXPECT_TRUE(stationsOff().isEmpty());
}

TEST_P(StationControlTest, BothEntryPointsAndTheQueryShareOneTable) {
    EnableEthernet(3, 0);
    EnCommStation(4, 0);
    EnCommStation(3, 1);
    EnableEthernet(4, 1);
    EXPECT_TRUE(stationsOff().isEmpty());
}

TEST_P(StationControlTest, PollingGoesOnForAStationThatIsOff) {  // quirk 31
    settings.stationId = 7;
    switchStation(7, 0);
    connectToPlc();
    addRead(readVar(2, 16, 4));
    EXPECT_EQ(nextFrame(), "BB BB 00 00 00 14 2E 00 00 00 00 01 00 02 00 00 00 10 00 00 00 04 0A 0B 0C 0D");
    EXPECT_EQ(answer(readReply({"01 02 03 04"})), 1);
    EXPECT_EQ(Ethernetcontains(7), 1);
}

TEST_P(StationControlTest, WaitsForTheStationLockOnly) {
    EXPECT_TRUE(waitsFor(PLC_driver.stationMutex, [] { switchStation(3, 0); }));
    EXPECT_TRUE(waitsFor(PLC_driver.stationMutex, [] { Ethernetcontains(3); }));
    EXPECT_TRUE(runsBeside(PLC_driver.listMutex, [] { switchStation(4, 0); }));
    EXPECT_TRUE(runsBeside(PLC_driver.localAreaMutex, [] { Ethernetcontains(4); }));
    EXPECT_EQ(stationsOff(), QList<int>({3, 4}));
}

}  // namespace
