// Host threads read, write, register and switch while the loop runs: nothing is torn, nothing is lost, and the thread
// sanitizer (scripts/check-threads) sees every access ordered.
#include <condition_variable>

#include "tests/threads/plant.h"

namespace ac500::test {
namespace {

constexpr int kRounds = 300;

class EverythingAtOnce : public PlantTest {
protected:
    // All threads begin their round together, so that they meet where names are resolved for the first time.
    class Barrier {
    public:
        explicit Barrier(int threads) : threads_(threads) {}
        void wait() {
            std::unique_lock<std::mutex> lock(mutex_);
            const int generation = generation_;
            if (++waiting_ == threads_) {
                waiting_ = 0;
                ++generation_;
                changed_.notify_all();
                return;
            }
            changed_.wait(lock, [&] { return generation != generation_; });
        }

    private:
        const int threads_;
        std::mutex mutex_;
        std::condition_variable changed_;
        int waiting_ = 0;
        int generation_ = 0;
    };

    static long countReports(const std::string& begin) {
        return std::count_if(callbackDiary.begin(), callbackDiary.end(),
                             [&](const std::string& entry) { return entry.rfind(begin, 0) == 0; });
    }
};

TEST_F(EverythingAtOnce, NoValueIsTornAndNoWriteIsLost) {
    const auto readBeat = [this](int) { expectWholeBeat(); };
    const auto writeWord = [](const char* tag, int hostId) {
        return [tag, hostId](int round) { setValue(tag, wordOf(round), 1, hostId, 0); };
    };
    const auto writeBit = [](int round) { setValue("Main.bits[3]", QByteArray(1, round % 2 == 0 ? 1 : 0), 1, 5, 0); };
    const auto readOnce = [](int round) { EXPECT_GT(orderOnceRead("Main.words[500]", 20, round), 0); };
    const auto rebuild = [](int round) {
        if (round % 2 == 0) {
            EXPECT_EQ(pollTags({{"Main.beat", 4}, {"Main.words[1]", 1000}, {"Main.text", 40}}), 12);
        } else {
            EXPECT_EQ(pollTags({{"Main.beat", 4}}), 1);
        }
    };
    const auto switchStations = [](int round) {
        EnableEthernet(round % 7, 0);
        EnCommStation(round % 7, 1);
        Ethernetcontains(round % 7);
    };
    runBeside({readBeat, readBeat, writeWord("Main.words[10]", 101), writeWord("Main.words[20]", 102), writeBit,
               readOnce, rebuild, switchStations, switchStations},
              kRounds);

    EXPECT_EQ(tornValues, 0);
    EXPECT_EQ(inPlc(1, 18, 2), "01 2C") << "300, the last of the values written";
    EXPECT_EQ(inPlc(1, 38, 2), "01 2C");
    EXPECT_EQ(inPlc(3, 2, 2), "00 04") << "the last round sets the third bit";
    EXPECT_FALSE(anythingPending());
    EXPECT_GT(countReports("varDone(7, 101, 0, 1)"), 0);
    EXPECT_GT(countReports("varDone(7, 102, 0, 1)"), 0);
    EXPECT_GT(countReports("varDone(7, 5, 0, 1)"), 0);
    EXPECT_EQ(countReports("varDone(7, 2, "), kRounds) << "every one-shot read is reported";
    EXPECT_EQ(countReports("commFail"), 0);
    for (int station = 0; station < 7; ++station) {
        EXPECT_EQ(Ethernetcontains(station), 0) << station;
    }
}

TEST_F(EverythingAtOnce, FailedRequestsDropWritesAndNothingElse) {
    settings.retryLimit = 0;
    plc.arm({{sim::FaultKind::Silence, 0}, 10, sim::Service::Write});
    const auto write = [](int round) {
        setValue("Main.words[30]", wordOf(round), 1, 101, round);
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    };
    const auto writeByAddress = [](int round) {
        RW_VAR var = identified(writeVar(1, 3404, "3F 80 00 00"), 102, round);
        AddListWriteVar(&var);
    };
    const auto read = [this](int) { expectWholeBeat(); };
    runBeside({write, writeByAddress, read}, kRounds);
    EXPECT_EQ(tornValues, 0);
    EXPECT_GT(countReports("commFail(empty, 10"), 0);
    EXPECT_FALSE(anythingPending());

    plc.arm({});
    runBeside({write, writeByAddress}, 1);
    EXPECT_EQ(PLC_driver.commFailed, 0);
    EXPECT_EQ(inPlc(1, 58, 2), "00 01");
    EXPECT_EQ(inPlc(1, 3404, 4), "3F 80 00 00");
}

TEST_F(EverythingAtOnce, NamesAreResolvedForTheFirstTimeBySeveralThreads) {
    setImage(1, 0, "12 34");
    Barrier barrier(4);
    // In every round each thread meets a name that all others meet in the same moment, and one of its own.
    const auto resolve = [&barrier](int thread) {
        return [&barrier, thread](int round) {
            barrier.wait();
            const std::string shared = "Main.words[" + std::to_string(round) + "]";
            const std::string own = "Main.words[" + std::to_string(300 + 150 * thread + round) + "]";
            EXPECT_EQ(getValue(shared, 1).size(), 2);
            EXPECT_EQ(getValue(own, 1).size(), 2);
            setValue(shared, wordOf(round), 1, 200 + thread, 0);
            EXPECT_EQ(getValue("Main.words[%%]", 1, "7").size(), 2);
            ControlInformationM info = ControlInformationM();
            EXPECT_EQ(get_label_address_info(QString::fromStdString(own), info), 0);
            EXPECT_EQ(info.address, 2 * (300 + 150 * thread + round - 1));
        };
    };
    runBeside({resolve(0), resolve(1), resolve(2), resolve(3)}, 100);
    EXPECT_EQ(inPlc(1, 0, 2), "00 01");
    EXPECT_EQ(inPlc(1, 198, 2), "00 64") << "100 was written to the hundredth word";
}

TEST_F(EverythingAtOnce, NamesThatDoNotResolveStayUnresolved) {
    std::atomic<int> resolved{0};
    const auto fail = [&resolved](int round) {
        QString label = QString("Main.ghost%1").arg(round % 20);
        QString argument;
        QByteArray out;
        resolved += static_cast<int>(GetRegisterData(&label, 0, &argument, 0, &out, 1));
        resolved += static_cast<int>(setValue(label.toStdString(), wordOf(1), 1, 1, 1));
    };
    runBeside({fail, fail, fail}, kRounds);
    EXPECT_EQ(resolved, 0);
}

TEST_F(EverythingAtOnce, NewSymbolsAreTakenWhileTheLoopIsStopped) {
    const auto read = [this](int round) {
        expectWholeBeat();
        getValue("Main.words[" + std::to_string(round) + "]", 1);
    };
    for (int start = 1; start <= 5; ++start) {
        runBeside({read, read}, 50);
        passSymbols();
        pollTags({{"Main.beat", 4}});
    }
    EXPECT_EQ(tornValues, 0);
    EXPECT_FALSE(anythingPending());
}

// A string or byte array that several threads share is shared with the driver, too: it must count its references well.
TEST_F(EverythingAtOnce, ArgumentsThatThreadsShareStayWhole) {
    const QString name = "Main.words[40]";
    const QByteArray value = wordOf(0x1234);
    const auto write = [&](int) {
        QString label = name;
        QString argument;
        QByteArray in = value;
        SetRegisterData(&label, 0, &argument, 0, &in, 1, 103, 0);
    };
    const auto read = [&](int) {
        QString label = name;
        QString argument;
        QByteArray out = value;
        GetRegisterData(&label, 0, &argument, 0, &out, 1);
    };
    runBeside({write, write, read}, kRounds);
    EXPECT_EQ(name, QString("Main.words[40]"));
    EXPECT_EQ(hex(value), "34 12");
    EXPECT_EQ(inPlc(1, 78, 2), "12 34");
}

}  // namespace
}  // namespace ac500::test
