// A host whose callbacks only copy cannot bring the driver to a standstill, whatever its threads do. A watchdog looks.
#include <cstdlib>
#include <deque>

#include "tests/threads/plant.h"

namespace ac500::test {
namespace {

// Looks whether threads get on: each counts its steps, and none may stand still.
class Watchdog {
public:
    // A thread's own counter; stays valid.
    std::atomic<int>& watch() { return steps_.emplace_back(0); }

    // False when a counter that has not reached `goal` did not move for `patience`.
    bool seesAllReach(int goal, std::chrono::milliseconds patience) {
        std::vector<int> last(steps_.size(), -1);
        auto deadline = std::chrono::steady_clock::now() + patience;
        for (;;) {
            bool allDone = true;
            bool allMoved = true;
            for (std::size_t i = 0; i < steps_.size(); ++i) {
                const int now = steps_[i];
                allDone = allDone && now >= goal;
                allMoved = allMoved && (now >= goal || now > last[i]);
            }
            if (allDone) {
                return true;
            }
            if (allMoved) {
                std::copy(steps_.begin(), steps_.end(), last.begin());
                deadline = std::chrono::steady_clock::now() + patience;
            }
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

private:
    std::deque<std::atomic<int>> steps_;
};

constexpr std::chrono::milliseconds kPatience{20000};

// What the callbacks copy, under a lock of the host's own that is never held while the host calls the driver.
struct Notes {
    std::mutex mutex;
    int done = 0;
    int failed = 0;
    int communicationFailed = 0;
};
Notes notes;

// False when no write was done or no communication failed within `patience`.
bool bothOutcomesAreNoted(std::chrono::milliseconds patience) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (std::chrono::steady_clock::now() < deadline) {
        {
            const std::lock_guard<std::mutex> lock(notes.mutex);
            if (notes.done > 0 && notes.communicationFailed > 0) {
                return true;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

quint32 noteVarDone(quint32, quint32, quint32, quint32 outcome) {
    const std::lock_guard<std::mutex> lock(notes.mutex);
    ++(outcome == 1 ? notes.done : notes.failed);
    return 0;
}

quint32 noteCommFail(QList<RW_VAR>*, quint32, quint32) {
    const std::lock_guard<std::mutex> lock(notes.mutex);
    ++notes.communicationFailed;
    return 0;
}

class Deadlock : public PlantTest {
protected:
    Deadlock() {
        RegistCallBackFuncIntf(noteVarDone, noteCommFail);
        notes.done = notes.failed = notes.communicationFailed = 0;
    }
};

TEST_F(Deadlock, NoThreadStandsStillWhenCallbacksOnlyCopy) {
    const int goal = 500;
    settings.retryLimit = 0;
    sim::FaultRule fault;
    fault.fault = {sim::FaultKind::Silence, 0};
    plc.arm({fault.fault, 20, std::nullopt});

    Watchdog watchdog;
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    const auto start = [&](const Job& job) {
        std::atomic<int>& steps = watchdog.watch();
        threads.emplace_back([&steps, &stop, job] {
            while (!stop) {
                job(steps);
                ++steps;
            }
        });
    };
    start([this](int) { turn(); });
    start([](int step) { setValue("Main.words[10]", wordOf(step), 1, 101, 0); });
    start([](int step) { setValue("Main.flags.b[3]", QByteArray(1, static_cast<char>(step % 2)), 1, 102, 0); });
    start([](int step) { orderOnceRead("Main.words[20]", 5, step % 10); });
    start([](int) { getValue("Main.beat", 4); });
    start([](int step) { pollTags({{"Main.beat", 4}, {"Main.words[1]", step % 100 + 1}}); });
    start([](int step) { EnableEthernet(step % 3, step % 2); });
    // The host looks at its notes and goes on to the driver when it has let go of them.
    start([](int) {
        int failed = 0;
        {
            const std::lock_guard<std::mutex> lock(notes.mutex);
            failed = notes.failed;
        }
        setValue("Main.words[11]", wordOf(failed), 1, 103, 0);
    });
    if (!watchdog.seesAllReach(goal, kPatience)) {
        ADD_FAILURE() << "a thread stands still; nothing can wake it, so the program ends here";
        std::abort();
    }
    // The goal may be reached before a write had its turn; the threads go on until both callbacks were called.
    EXPECT_TRUE(bothOutcomesAreNoted(kPatience));
    stop = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST_F(Deadlock, TheWatchdogSeesAThreadThatWaitsForALockForEver) {
    Watchdog watchdog;
    std::atomic<int>& moving = watchdog.watch();
    std::atomic<int>& standing = watchdog.watch();
    std::atomic<bool> stop{false};
    PLC_driver.listMutex.lock();
    std::thread mover([&] {
        while (!stop) {
            getValue("Main.beat", 4);
            ++moving;
        }
    });
    std::thread stander([&] {
        setValue("Main.words[10]", wordOf(1), 1, 101, 0);
        standing = 1000;
    });
    EXPECT_FALSE(watchdog.seesAllReach(1000, std::chrono::milliseconds(300)));
    PLC_driver.listMutex.unlock();
    EXPECT_TRUE(watchdog.seesAllReach(1000, kPatience));
    stop = true;
    mover.join();
    stander.join();
}

// Why callbacks may only copy: the driver holds its list lock while it calls them, and the others are free.
bool listWasFree = true;
bool imageWasFree = false;

quint32 tryLocks(quint32, quint32, quint32, quint32) {
    listWasFree = PLC_driver.listMutex.tryLock();
    if (listWasFree) {
        PLC_driver.listMutex.unlock();
    }
    imageWasFree = PLC_driver.localAreaMutex.tryLock();
    if (imageWasFree) {
        PLC_driver.localAreaMutex.unlock();
    }
    return 0;
}

TEST_F(Deadlock, CallbacksRunUnderTheListLockAlone) {
    RegistCallBackFuncIntf(tryLocks, noteCommFail);
    setValue("Main.words[10]", wordOf(1), 1, 101, 0);
    for (int i = 0; i < 3; ++i) {
        turn();
    }
    EXPECT_FALSE(listWasFree);
    EXPECT_TRUE(imageWasFree);
}

}  // namespace
}  // namespace ac500::test
