// What a function does while the test holds one of the driver's locks. The function runs on a thread of its own, so that
// a wrong lock fails the test instead of hanging it.
#ifndef AC500_TESTS_SUPPORT_LOCKS_H
#define AC500_TESTS_SUPPORT_LOCKS_H

#include <QtCore/QMutex>

#include <chrono>
#include <functional>
#include <future>

namespace ac500::test {

// True when `call` does not return while `mutex` is held, and returns once it is released.
inline bool waitsFor(QMutex& mutex, const std::function<void()>& call) {
    std::promise<void> started;  // a thread that comes late must not look like one that waits
    mutex.lock();
    std::future<void> done = std::async(std::launch::async, [&] {
        started.set_value();
        call();
    });
    started.get_future().wait();
    const bool waited = done.wait_for(std::chrono::milliseconds(100)) == std::future_status::timeout;
    mutex.unlock();
    done.wait();
    return waited;
}

// True when `call` returns while `mutex` is held.
inline bool runsBeside(QMutex& mutex, const std::function<void()>& call) {
    mutex.lock();
    std::future<void> done = std::async(std::launch::async, call);
    const bool finished = done.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
    mutex.unlock();
    done.wait();
    return finished;
}

}  // namespace ac500::test

#endif
