// BatchTest is the fixture of the services' tests: it fills the batch by hand and looks at what was queued.
#ifndef AC500_TESTS_SUPPORT_BATCH_TEST_H
#define AC500_TESTS_SUPPORT_BATCH_TEST_H

#include <initializer_list>

#include "tests/support/driver_test.h"

namespace ac500::test {

class BatchTest : public DriverTest {
protected:
    BatchTest() {
        setSessionBytes("01 02 03 04");
        settings.frameTotal = 44;
        settings.frameDone = 48;
    }

    // `text`: four bytes in hexadecimal, in the order in which the driver keeps and sends them.
    static void setSessionBytes(const char* text) {
        const QByteArray sent = bytes(text);
        for (int i = 0; i < 4; ++i) {
            PLC_driver.handshakeBytes[i] = static_cast<quint8>(sent.at(i));
        }
    }

    static void fillBatch(std::initializer_list<RW_VAR> vars) {
        PLC_driver.batchCount = 0;
        for (const RW_VAR& var : vars) {
            PLC_driver.batch[PLC_driver.batchCount++] = var;
        }
    }

    static void fillBatch(int count, const RW_VAR& var) {
        PLC_driver.batchCount = count;
        for (int i = 0; i < count; ++i) {
            PLC_driver.batch[i] = var;
        }
    }

    // A variable that is in no batch, with every field set.
    static RW_VAR labelledVar() {
        RW_VAR var = identified(writeVar(3, 44, "AA BB"), 5, 6);
        var.aux3 = 5656;
        var.aux4 = 6060;
        var.status = 9;
        var.labelName = "Main.counter";
        var.labelArg = "17";
        var.dataType = 3;
        var.comWord = 2424;
        var.resolveResult = 8;
        return var;
    }

    static void expectLabelledVar(const RW_VAR& var) {
        EXPECT_EQ(var.hostId, 5);
        EXPECT_EQ(var.hostSubId, 6);
        EXPECT_EQ(var.writeFlag, 1);
        EXPECT_EQ(var.aux3, 5656);
        EXPECT_EQ(var.aux4, 6060);
        EXPECT_EQ(var.status, 9);
        EXPECT_EQ(var.labelName, QString("Main.counter"));
        EXPECT_EQ(var.labelArg, QString("17"));
        EXPECT_EQ(var.dataType, 3);
        EXPECT_EQ(var.offset, 44);
        EXPECT_EQ(var.comWord, 2424);
        EXPECT_EQ(var.size, 2);
        EXPECT_EQ(var.resolveResult, 8);
        EXPECT_EQ(var.area, 3);
        EXPECT_EQ(hex(var.data), "AA BB");
    }

    // The record that was queued last.
    static Protocol queued() {
        EXPECT_FALSE(PLC_driver.frameList.isEmpty());
        return PLC_driver.frameList.isEmpty() ? Protocol() : PLC_driver.frameList.last();
    }
};

}  // namespace ac500::test

#endif
