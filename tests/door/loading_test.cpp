// Loading and unloading the library.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/door/loaded_driver.h"
#include "tests/support/records.h"

using namespace ac500::test;

namespace {

bool isLoaded() {
    void* handle = dlopen(driverPath().c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr) {
        dlclose(handle);
    }
    return handle != nullptr;
}

void expectAsConstructed(const LoadedDriver& driver) {
    const Communication_Protocol& object = *driver.object;
    EXPECT_EQ(object.comInfo, nullptr);
    EXPECT_EQ(object.connected, 0);
    EXPECT_EQ(object.commFailed, 0);
    EXPECT_EQ(object.batchKind, 100);
    EXPECT_EQ(object.batchCount, 0);
    EXPECT_EQ(object.writeTurns, 0);
    EXPECT_EQ(object.onceReadTurns, 0);
    EXPECT_EQ(object.cyclicBatches, 0);
    EXPECT_TRUE(object.readList.isEmpty());
    EXPECT_TRUE(object.writeList.isEmpty());
    EXPECT_TRUE(object.onceReadList.isEmpty());
    EXPECT_TRUE(object.frameList.isEmpty());
    EXPECT_TRUE(object.disabledStations.isEmpty());
    EXPECT_TRUE(object.labelTable.isEmpty());
    EXPECT_TRUE(object.localValues.isEmpty());
    EXPECT_EQ(*driver.LB, nullptr);
    EXPECT_EQ(*driver.LW, nullptr);
    EXPECT_EQ(*driver.RWI, nullptr);
}

TEST(LoadingTest, LibraryIsThereBeforeAnySettings) {
    const LoadedDriver driver;
    expectAsConstructed(driver);
}

TEST(LoadingTest, FixedAnswersNeedNoSettings) {  // quirk 1
    const LoadedDriver driver;
    EXPECT_EQ(driver.QueryFinishFlag(), 1);
    EXPECT_EQ(driver.PLCAddressChangeIntef(), -1);
    EXPECT_EQ(driver.Remote_ReadVar(nullptr), nullptr);
    EXPECT_EQ(driver.Remote_WriteVar(nullptr), nullptr);
    EXPECT_EQ(driver.Ethernetcontains(1), 0);
}

TEST(LoadingTest, FunctionsWithoutStateAnswerAtTheDoor) {
    const LoadedDriver driver;
    unsigned char digits[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    EXPECT_EQ(driver.CalCRC(digits, 9), 0x31C3u);
}

TEST(LoadingTest, RegisterAreasAreRecordedAndTheGlobalsAddressIsGiven) {
    const LoadedDriver driver;
    int first = 0;
    int second = 0;
    EXPECT_EQ(driver.FlashLocalRegister(&first, &first, &first), driver.LW);
    EXPECT_EQ(driver.FlashLocalRegister(nullptr, &second, &first), driver.LW);
    EXPECT_EQ(*driver.LB, nullptr);
    EXPECT_EQ(*driver.LW, &second);
    EXPECT_EQ(*driver.RWI, &first);
}

TEST(LoadingTest, UnloadedLibraryIsGone) {
    {
        const LoadedDriver driver;
        EXPECT_TRUE(isLoaded());
    }
    EXPECT_FALSE(isLoaded());
}

TEST(LoadingTest, ReloadedLibraryStartsAfresh) {
    {
        const LoadedDriver driver;
        ComInfo settings = testSettings();
        int area = 0;
        driver.SetComInfo(&settings);
        driver.FlashLocalRegister(&area, &area, &area);
        driver.EnableEthernet(3, 0);
        RW_VAR read = readVar(1, 0, 2);
        driver.AddListReadVar(&read);
        RW_VAR write = writeVar(1, 0, "12 34");
        driver.AddListWriteVar(&write);
        EXPECT_NE(driver.ComCommunication(), nullptr);
        EXPECT_EQ(driver.Ethernetcontains(3), 1);
    }
    const LoadedDriver driver;
    expectAsConstructed(driver);
    EXPECT_EQ(driver.Ethernetcontains(3), 0);
}

TEST(LoadingTest, SecondHandleSharesTheOneDriver) {
    const LoadedDriver driver;
    const LoadedDriver again;
    EXPECT_EQ(driver.object, again.object);
    driver.EnableEthernet(3, 0);
    EXPECT_EQ(again.Ethernetcontains(3), 1);
}

}  // namespace
