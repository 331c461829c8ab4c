#include "core/list_lock.h"

#include <atomic>

#include "core/communication_protocol.h"

namespace ac500 {

namespace {

// Beside the driver object, whose layout is the host's. Written with the list lock held, read without. Relaxed: nothing
// else is learnt from it.
std::atomic<int> writeCount(0);

// REQUIRES: the list lock is held.
void countWrites() {
    writeCount.store(PLC_driver.writeList.size(), std::memory_order_relaxed);
}

}  // namespace

ListLock::ListLock() : lock_(&PLC_driver.listMutex) {
    countWrites();
}

ListLock::~ListLock() {
    countWrites();
}

int pendingWrites() {
    if (PLC_driver.listMutex.tryLock()) {
        countWrites();
        PLC_driver.listMutex.unlock();
    }
    return writeCount.load(std::memory_order_relaxed);
}

}  // namespace ac500
