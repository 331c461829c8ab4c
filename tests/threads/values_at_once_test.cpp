// Values read and written by several threads at once: no value is ever seen half stored, and no write is lost.
//
// Each of two patterns fills a whole variable; a mixture of both would be a torn value.
#include <atomic>
#include <thread>
#include <vector>

#include "tests/values/value_test.h"

namespace ac500::test {
namespace {

constexpr int kWrittenRounds = 3000;

class ValuesOfSeveralThreads : public ValueTest {
protected:
    ValuesOfSeveralThreads() {
        loadMain({variable("long", 8, 100), asArray(variable("row", 5, 200), {10, 0, 16}), variable("counter", 3, 300),
                  withBits(variable("flags", 16, 400), 16)});
        setImage(1, 100, "AA AA AA AA AA AA AA AA");
        setImage(1, 300, "00 00");
        setImage(1, 400, "00 00");
        for (int i = 0; i < 64; ++i) {
            setImage(1, static_cast<quint32>(200 + i), "AA");
        }
    }

    // Runs both until the first is done.
    template <typename First, typename Second>
    static void runBeside(First first, Second second) {
        std::atomic<bool> done{false};
        std::thread other([&] {
            while (!done) {
                second();
            }
        });
        for (int round = 0; round < kWrittenRounds; ++round) {
            first(round);
        }
        done = true;
        other.join();
    }

    static bool isUniform(const QByteArray& data, int length) {
        return data == QByteArray(length, '\xAA') || data == QByteArray(length, '\xBB');
    }

    static void get(const char* tag, QByteArray& out, qint32 count) {
        QString label = tag;
        QString argument;
        GetRegisterData(&label, 0, &argument, 0, &out, count);
    }

    static void set(const char* tag, QByteArray in, qint32 count) {
        QString label = tag;
        QString argument;
        SetRegisterData(&label, 0, &argument, 0, &in, count, 1, 2);
    }

    static void prepareReadOf(qint32 offset, qint32 size) {
        Protocol request = Protocol();
        request.replyDataOffset = 12;
        PLC_driver.frameList.append(request);
        PLC_driver.batch[0] = readVar(1, offset, size);
        PLC_driver.batchCount = 1;
    }

    static void storeReply(const QByteArray& data) {
        QByteArray reply = QByteArray(13, '\0') + data;
        QMutexLocker lock(&PLC_driver.localAreaMutex);
        SaveToLocalDataErea(&reply);
    }
};

TEST_F(ValuesOfSeveralThreads, ReadBesideARepliedReadSeesNoHalfStoredValue) {
    prepareReadOf(200, 64);
    int torn = 0;
    runBeside([](int round) { storeReply(QByteArray(64, round % 2 == 0 ? '\xAA' : '\xBB')); },
              [&torn] {
                  QByteArray out;
                  get("Main.row[0]", out, 32);
                  torn += isUniform(out, 64) ? 0 : 1;
              });
    EXPECT_EQ(torn, 0);
}

TEST_F(ValuesOfSeveralThreads, ReadBesideAWriteToTheImageSeesNoHalfStoredValue) {
    settings.accessMode = 0;
    int torn = 0;
    runBeside([](int round) { set("Main.long", QByteArray(8, round % 2 == 0 ? '\xAA' : '\xBB'), 4); },
              [&torn] {
                  QByteArray out;
                  get("Main.long", out, 4);
                  torn += isUniform(out, 8) ? 0 : 1;
              });
    EXPECT_EQ(torn, 0);
}

TEST_F(ValuesOfSeveralThreads, RepliedReadBesideAWriteToTheSameVariableLeavesOneOfTheTwo) {
    settings.accessMode = 0;
    prepareReadOf(100, 8);
    runBeside([](int) { storeReply(QByteArray(8, '\xAA')); }, [] { set("Main.long", QByteArray(8, '\xBB'), 4); });
    QByteArray out;
    get("Main.long", out, 4);
    EXPECT_TRUE(isUniform(out, 8)) << hex(out);
}

TEST_F(ValuesOfSeveralThreads, NoQueuedWriteIsLost) {
    std::vector<std::thread> writers;
    for (int writer = 0; writer < 4; ++writer) {
        writers.emplace_back([] {
            for (int round = 0; round < 500; ++round) {
                set("Main.counter", QByteArray(2, '\x01'), 1);
            }
        });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    EXPECT_EQ(PLC_driver.writeList.size(), 2000);
}

TEST_F(ValuesOfSeveralThreads, BitWritesBesideReadsOfNewAddressesKeepTheImageWhole) {
    settings.accessMode = 0;
    loadMain({withBits(variable("flags", 16, 400), 16), asArray(variable("bytes", 15, 100000), {10, 0, 1000000})});
    int next = 0;
    runBeside([](int round) { set("Main.flags.b[3]", QByteArray(1, round % 2 == 0 ? '\x00' : '\x01'), 1); },
              [&next] {
                  QByteArray out;
                  get(qPrintable(QString("Main.bytes[%1]").arg(next)), out, 10);  // inserts: the image grows
                  next = (next + 10) % 900000;
              });
    EXPECT_EQ(image(1, 400, 2), "00 08") << "the last round sets the bit";
}

TEST_F(ValuesOfSeveralThreads, ValuesForTheImageAloneCountTheWritesThatOthersQueueMeanwhile) {
    settings.accessMode = 0;
    int wrong = 0;
    runBeside(
        [](int round) {
            addWrite(writeVar(1, 500, "12 34"));
            if (round % 10 == 9) {
                QMutexLocker lock(&PLC_driver.listMutex);
                PLC_driver.writeList.clear();
            }
        },
        [&wrong] { wrong += write("Main.counter", "01 00", 1) > 10 ? 1 : 0; });
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(write("Main.counter", "01 00", 1), 0U) << "the last round has emptied the list";
}

TEST_F(ValuesOfSeveralThreads, RegistrationBesideWritesKeepsBothLists) {
    QList<HostTag> tags{HostTag{0, 0, "", "Main.counter", 1}, HostTag{0, 0, "", "Main.long", 4}};
    runBeside([&tags](int) { ReCreatReadVarList(&tags); },
              [] {
                  if (write("Main.counter", "01 00", 1) > 100) {
                      QMutexLocker lock(&PLC_driver.listMutex);
                      PLC_driver.writeList.clear();
                  }
              });
    ASSERT_EQ(PLC_driver.readList.size(), 2);
    EXPECT_EQ(PLC_driver.readList.at(0).offset, 100);
    EXPECT_EQ(PLC_driver.readList.at(1).offset, 300);
}

}  // namespace
}  // namespace ac500::test
