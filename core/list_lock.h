// ListLock holds the driver's list lock while it lives, and keeps the number of pending writes for those who do not wait
// for it. Every function of the driver that takes the list lock takes it through here.
#ifndef AC500_CORE_LIST_LOCK_H
#define AC500_CORE_LIST_LOCK_H

#include <QtCore/QMutexLocker>

namespace ac500 {

class ListLock {
public:
    ListLock();
    ~ListLock();

private:
    Q_DISABLE_COPY(ListLock)

    QMutexLocker lock_;
};

// The number of pending writes, without waiting for the list lock: counted when the lock is free, else as it was when
// the driver took or released the lock last. So a host that changes writeList itself, with the lock held, is not noticed
// until it releases the lock. Any thread.
int pendingWrites();

}  // namespace ac500

#endif
