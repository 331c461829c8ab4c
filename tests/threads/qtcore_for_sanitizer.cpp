// What the thread sanitizer has to be told about QtCore, which Debian compiles without it. The driver, the host library
// and the tests call the functions below across the library's border, so these definitions stand before QtCore's.
// Nothing is silenced.
//
// QMutex is a futex of its own that the sanitizer cannot see: the definitions call QtCore's and name what has happened.
//
// QString and QByteArray count references, and whoever drops the last one frees the data; that count orders the free
// behind every use. Most of it is inline and seen by the sanitizer. Assignment is not: its count happens inside QtCore,
// so the free would look as if nothing ordered it. Here it is done with the inline parts, which are compiled with the
// sanitizer and do the same.
//
// AC500_UNTOLD_LOCK=list, image or station leaves that lock of the driver unmentioned: to the sanitizer the driver then
// works without it. scripts/check-threads sees by this that a missing lock would be reported.
#include <QtCore/QByteArray>
#include <QtCore/QMutex>
#include <QtCore/QString>

#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

#include <cstdlib>
#include <string>

#include "core/communication_protocol.h"

namespace {

template <typename Function>
Function next(const char* symbol) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, symbol));
}

const QMutex* chooseUntoldLock() {
    const char* chosen = std::getenv("AC500_UNTOLD_LOCK");
    const std::string name = chosen == nullptr ? "" : chosen;
    return name == "list"      ? &PLC_driver.listMutex
           : name == "image"   ? &PLC_driver.localAreaMutex
           : name == "station" ? &PLC_driver.stationMutex
                               : nullptr;
}

bool isTold(const QMutex* mutex) {
    static const QMutex* const untold = chooseUntoldLock();
    return mutex != untold;
}

}  // namespace

void QMutex::lock() noexcept {
    static const auto real = next<void (*)(QMutex*)>("_ZN6QMutex4lockEv");
    if (!isTold(this)) {
        return real(this);
    }
    __tsan_mutex_pre_lock(this, 0);
    real(this);
    __tsan_mutex_post_lock(this, 0, 0);
}

bool QMutex::tryLock(int timeoutMs) noexcept {
    static const auto real = next<bool (*)(QMutex*, int)>("_ZN6QMutex7tryLockEi");
    if (!isTold(this)) {
        return real(this, timeoutMs);
    }
    __tsan_mutex_pre_lock(this, __tsan_mutex_try_lock);
    const bool locked = real(this, timeoutMs);
    __tsan_mutex_post_lock(this, locked ? __tsan_mutex_try_lock : __tsan_mutex_try_lock_failed, 0);
    return locked;
}

void QMutex::unlock() noexcept {
    static const auto real = next<void (*)(QMutex*)>("_ZN6QMutex6unlockEv");
    if (!isTold(this)) {
        return real(this);
    }
    __tsan_mutex_pre_unlock(this, 0);
    real(this);
    __tsan_mutex_post_unlock(this, 0);
}

QString& QString::operator=(const QString& other) noexcept {
    QString copy(other);
    swap(copy);
    return *this;
}

QByteArray& QByteArray::operator=(const QByteArray& other) noexcept {
    QByteArray copy(other);
    swap(copy);
    return *this;
}
