// DriverTest is the fixture of every test that links the driver: each test starts with a driver as just loaded, with
// known settings and the callbacks of callback_diary.h registered, and plays the host's loop in verbs.
#ifndef AC500_TESTS_SUPPORT_DRIVER_TEST_H
#define AC500_TESTS_SUPPORT_DRIVER_TEST_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <string>
#include <vector>

#include "core/host_interface.h"
#include "core/inner_steps.h"
#include "tests/support/callback_diary.h"
#include "tests/support/records.h"
#include "tests/support/wire.h"

namespace ac500::test {

class DriverTest : public ::testing::Test {
protected:
    DriverTest() : settings(testSettings()) {
        PLC_driver.~Communication_Protocol();
        new (&PLC_driver) Communication_Protocol();
        callbackDiary.clear();
        SetComInfo(&settings);
        RegistCallBackFuncIntf(recordVarDone, recordCommFail);
    }

    // What the host would send now, as hexadecimal text; "nothing" when the driver has nothing to send.
    static std::string nextFrame() {
        const Protocol* request = ComCommunication();
        return request == nullptr ? "nothing" : hex(request->frame);
    }

    // One call of DataCom with all bytes of the reply; returns the status.
    static int dataCom(QByteArray reply) { return DataCom(&reply, reply.size())->status; }

    // The host's two calls for a complete reply: measure, then process. Returns the status of the processing call.
    static int answer(const QByteArray& reply) {
        EXPECT_EQ(dataCom(reply), 1) << "the measuring call did not find the reply complete";
        return dataCom(reply);
    }

    // What the host does after a timeout; returns the status.
    static int answerNothing() { return dataCom(QByteArray()); }

    // Runs a whole handshake on behalf of a cyclic read that is taken back afterwards. Later requests end with the
    // session bytes 0A 0B 0C 0D. REQUIRES: nothing is pending.
    static void connectToPlc() {
        RW_VAR var = readVar(1, 0, 1);
        AddListReadVar(&var);
        ASSERT_NE(ComCommunication(), nullptr);
        ASSERT_EQ(answer(firstHandshakeReply()), 1);
        ASSERT_NE(ComCommunication(), nullptr);
        ASSERT_EQ(answer(secondHandshakeReply("0D 0C 0B 0A")), 1);
        ASSERT_EQ(PLC_driver.connected, 1);
        PLC_driver.readList.clear();
    }

    static void addRead(RW_VAR var) { AddListReadVar(&var); }
    static void addWrite(RW_VAR var) { AddListWriteVar(&var); }

    // One-shot reads that are planned already (AddListOnceReadVar would resolve their names).
    static void addOnceRead(const RW_VAR& var) { PLC_driver.onceReadList.append(var); }

    // The byte image: the bytes at `address`, "--" for bytes that are absent. Changes nothing.
    static std::string image(quint32 area, quint32 address, int count) {
        std::string text;
        for (int i = 0; i < count; ++i) {
            const quint64 key = (static_cast<quint64>(area) << 32) + address + static_cast<quint64>(i);
            const auto entry = PLC_driver.localValues.constFind(key);
            const bool absent = entry == PLC_driver.localValues.constEnd();
            text += (i == 0 ? "" : " ") + (absent ? std::string("--") : hex(QByteArray(1, entry.value())));
        }
        return text;
    }

    // Puts bytes, in hexadecimal, into the byte image.
    static void setImage(quint32 area, quint32 address, const char* data) {
        const QByteArray values = bytes(data);
        for (int i = 0; i < values.size(); ++i) {
            PLC_driver.localValues.insert((static_cast<quint64>(area) << 32) + address + static_cast<quint64>(i),
                                          values.at(i));
        }
    }

    ComInfo settings;
};

}  // namespace ac500::test

#endif
