// The number of pending writes for those who do not wait for the list lock: as it is while the lock is free, as it was
// while somebody holds it.
#include "core/list_lock.h"

#include "tests/support/driver_test.h"

using namespace ac500;
using namespace ac500::test;

namespace {

// While the list lock is held by somebody else, as far as anybody can tell.
int pendingWritesOfAHeldLock() {
    const QMutexLocker host(&PLC_driver.listMutex);
    return pendingWrites();
}

// Before any function of the driver took the lock: the first that the program does, whichever tests it runs.
class AtStart : public ::testing::Environment {
public:
    void SetUp() override {
        if (pendingWritesOfAHeldLock_ < 0) {
            pendingWritesOfAHeldLock_ = ::pendingWritesOfAHeldLock();
        }
    }

    static int pendingWritesOfAHeldLock_;
};

int AtStart::pendingWritesOfAHeldLock_ = -2;

const ::testing::Environment* const kAtStart = ::testing::AddGlobalTestEnvironment(new AtStart);

class PendingWrites : public DriverTest {
protected:
    // As a host that takes the list lock itself.
    static void append(int writes) {
        for (int i = 0; i < writes; ++i) {
            PLC_driver.writeList.append(writeVar(1, 0, "AA"));
        }
    }
};

TEST_F(PendingWrites, AreNoneUntilTheLockWasTaken) {
    ASSERT_NE(kAtStart, nullptr);
    EXPECT_EQ(AtStart::pendingWritesOfAHeldLock_, 0);
}

TEST_F(PendingWrites, AreCountedWhileTheLockIsFree) {
    EXPECT_EQ(pendingWrites(), 0);
    append(3);
    EXPECT_EQ(pendingWrites(), 3);
    append(1);
    EXPECT_EQ(pendingWrites(), 4);
    EXPECT_EQ(pendingWritesOfAHeldLock(), 4) << "as they were counted last";
    PLC_driver.writeList.clear();
    EXPECT_EQ(pendingWrites(), 0);
}

TEST_F(PendingWrites, AreNotCountedWhileSomebodyChangesThem) {
    append(2);
    ASSERT_EQ(pendingWrites(), 2);
    {
        const QMutexLocker host(&PLC_driver.listMutex);
        append(3);
        EXPECT_EQ(pendingWrites(), 2);
    }
    EXPECT_EQ(pendingWrites(), 5);
}

TEST_F(PendingWrites, AreCountedWhenTheDriverTakesTheLock) {
    ASSERT_EQ(pendingWrites(), 0);
    append(2);
    const ListLock lock;
    append(3);
    EXPECT_EQ(pendingWrites(), 2);
}

TEST_F(PendingWrites, AreCountedWhenTheDriverReleasesTheLock) {
    {
        const ListLock lock;
        append(2);
    }
    EXPECT_EQ(pendingWritesOfAHeldLock(), 2);
}

TEST_F(PendingWrites, LeaveTheLockAsItWas) {
    pendingWrites();
    ASSERT_TRUE(PLC_driver.listMutex.tryLock()) << "it was free";
    pendingWrites();
    const bool wasReleased = PLC_driver.listMutex.tryLock();
    PLC_driver.listMutex.unlock();
    EXPECT_FALSE(wasReleased) << "it was held";
}

}  // namespace
