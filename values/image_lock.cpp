#include "values/image_lock.h"

#include <atomic>

#include <QtCore/QThread>

namespace ac500 {

namespace {

enum {
    kTries = 60,         // some three microseconds
    kLooksBetween = 64,  // without touching the lock, which its holder wants to give back
    kYields = 10         // some five microseconds, or the turns of others
};

void pause() {
    for (int i = 0; i < kLooksBetween; ++i) {
        std::atomic_signal_fence(std::memory_order_seq_cst);  // or the compiler leaves out the loop
    }
}

}  // namespace

void ImageLock::waitForTurn() {
    for (int i = 0; i < kTries; ++i) {
        pause();
        if (PLC_driver.localAreaMutex.tryLock()) {
            return;
        }
    }
    for (int i = 0; i < kYields; ++i) {
        QThread::yieldCurrentThread();
        if (PLC_driver.localAreaMutex.tryLock()) {
            return;
        }
    }
    PLC_driver.localAreaMutex.lock();
}

}  // namespace ac500
