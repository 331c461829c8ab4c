#include "tools/console/end_signals.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>
#include <initializer_list>

namespace ac500::console {

namespace {

int blockSignals(std::initializer_list<int> numbers) {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : numbers) {
        sigaddset(&signals, number);
    }
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return ::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

}  // namespace

int blockEndSignals() {
    return blockSignals({SIGINT, SIGTERM});
}

int blockEndAndReloadSignals() {
    return blockSignals({SIGINT, SIGTERM, SIGHUP});
}

Signal takeSignal(int descriptor) {
    signalfd_siginfo come{};
    if (::read(descriptor, &come, sizeof come) != static_cast<ssize_t>(sizeof come)) {
        return Signal::None;
    }
    return come.ssi_signo == SIGHUP ? Signal::Reload : Signal::End;
}

}  // namespace ac500::console
