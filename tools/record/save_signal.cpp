#include "tools/record/save_signal.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>

namespace ac500::record {

namespace {

std::atomic<bool> hasCome{false};
std::atomic<int> wakeups{-1};

// 1 stands for processors without an instruction for it (ARMv5), where the kernel's helper does it, without a lock too.
static_assert(ATOMIC_BOOL_LOCK_FREE >= 1 && ATOMIC_INT_LOCK_FREE >= 1, "a signal handler takes no lock");

void onSaveSignal(int) {
    const int before = errno;
    hasCome.store(true);
    wakeWaiters();
    errno = before;
}

}  // namespace

void catchSaveSignal() {
    wakeups.store(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    struct sigaction action {};
    action.sa_handler = onSaveSignal;
    action.sa_flags = SA_RESTART;
    sigaction(SIGUSR1, &action, nullptr);
}

bool takeSaveSignals() {
    return hasCome.exchange(false);
}

int saveSignalDescriptor() {
    return wakeups.load();
}

void wakeWaiters() {
    const std::uint64_t one = 1;
    const ssize_t written = write(wakeups.load(), &one, sizeof one);
    static_cast<void>(written);  // a full counter wakes as well
}

void takeWakeups() {
    std::uint64_t count = 0;
    const ssize_t taken = read(wakeups.load(), &count, sizeof count);
    static_cast<void>(taken);
}

}  // namespace ac500::record
