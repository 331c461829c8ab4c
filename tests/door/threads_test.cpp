// Host threads read and write values while the loop thread talks to a PLC.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "tests/door/fake_plc.h"
#include "tests/door/loaded_driver.h"
#include "tests/support/callback_diary.h"
#include "tests/support/label_builders.h"
#include "tests/support/records.h"

using namespace ac500::test;

namespace {

class ThreadsTest : public ::testing::Test {
protected:
    static constexpr int kWrites = 400;

    ThreadsTest() : settings(testSettings()) {
        callbackDiary.clear();
        driver.SetComInfo(&settings);
        driver.RegistCallBackFuncIntf(recordVarDone, recordCommFail);
        QList<Label_Type_Info> symbols = {scope("Main", {inArea(variable("beat", 5, 0), 9), variable("one", 3, 0),
                                                         variable("two", 3, 2), variable("three", 5, 4)})};
        driver.PassVarName_2(&symbols);
        QList<HostTag> tags = {HostTag{0, 0, "", "Main.beat", 2}, HostTag{0, 0, "", "Main.three", 2}};
        driver.ReCreatReadVarList(&tags);
    }

    // The loop thread: turns until the host threads are done and a whole idle round brought nothing more.
    void runLoop() {
        for (int turnsLeft = 50; turnsLeft > 0; turnsLeft = hostThreads > 0 ? 50 : turnsLeft - 1) {
            Protocol* request = driver.ComCommunication();
            if (request != nullptr) {
                QByteArray reply = plc.answer(request->frame);
                driver.DataCom(&reply, reply.size());
                driver.DataCom(&reply, reply.size());
            }
        }
    }

    // Host threads: each writes one tag, value by value, and looks at the heartbeat after each write.
    void writeAndRead(const char* tag, int hostId) {
        for (int i = 1; i <= kWrites; ++i) {
            QByteArray word(4, '\0');
            word[0] = static_cast<char>(i & 0xFF);
            word[1] = static_cast<char>(i >> 8);
            driver.setValue(tag, word, 2, hostId, 0);
            expectWholeHeartbeat();
            std::this_thread::sleep_for(std::chrono::microseconds(50));
        }
        --hostThreads;
    }

    // The bytes of one reply are stored together: never some old, some new.
    void expectWholeHeartbeat() {
        const QByteArray beat = driver.value("Main.beat", 2);
        if (beat != QByteArray(4, beat.at(0))) {
            ++tornValues;
        }
    }

    LoadedDriver driver;
    ComInfo settings;
    FakePlc plc;
    std::atomic<int> hostThreads{3};
    std::atomic<int> tornValues{0};
};

TEST_F(ThreadsTest, LastValueOfEveryTagArrivesAndNoValueIsTorn) {
    std::thread one([this] { writeAndRead("Main.one", 101); });
    std::thread two([this] { writeAndRead("Main.two", 102); });
    std::thread three([this] { writeAndRead("Main.three", 103); });
    std::thread loop([this] { runLoop(); });
    for (std::thread* thread : {&one, &two, &three, &loop}) {
        thread->join();
    }
    EXPECT_EQ(hex(plc.memoryAt(1, 0, 2)), "01 90");  // 400, big-endian
    EXPECT_EQ(hex(plc.memoryAt(1, 2, 2)), "01 90");
    EXPECT_EQ(hex(plc.memoryAt(1, 4, 4)), "00 00 01 90");
    EXPECT_EQ(hex(driver.value("Main.three", 2)), "90 01 00 00");
    EXPECT_EQ(tornValues, 0);
}

TEST_F(ThreadsTest, EveryTagIsReportedAndNoneAsFailed) {
    std::thread one([this] { writeAndRead("Main.one", 101); });
    std::thread two([this] { writeAndRead("Main.two", 102); });
    std::thread three([this] { writeAndRead("Main.three", 103); });
    runLoop();
    for (std::thread* thread : {&one, &two, &three}) {
        thread->join();
    }
    EXPECT_THAT(callbackDiary,
                ::testing::IsSupersetOf({"varDone(7, 101, 0, 1)", "varDone(7, 102, 0, 1)", "varDone(7, 103, 0, 1)"}));
    EXPECT_THAT(callbackDiary, ::testing::Each(::testing::EndsWith(", 1)")));
    EXPECT_TRUE(driver.object->writeList.isEmpty());
}

}  // namespace
