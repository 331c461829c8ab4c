#include "tools/host/fork_gate.h"

#include <set>

namespace ac500::host {

namespace {

struct Gates {
    std::mutex mutex;         // held around a fork, too
    std::set<ForkGate*> all;  // mutex
};

// Never destroyed: a program may fork while it ends.
Gates& gates() {
    static Gates* const made = new Gates;
    return *made;
}

}  // namespace

ForkGate::ForkGate() {
    const std::lock_guard<std::mutex> lock(gates().mutex);
    gates().all.insert(this);
}

ForkGate::~ForkGate() {
    const std::lock_guard<std::mutex> lock(gates().mutex);
    gates().all.erase(this);
}

ForkGate::Stay ForkGate::enter() {
    {
        const std::lock_guard<std::mutex> turn(gates().mutex);  // behind who waits for the gates
    }
    return Stay(mutex_);
}

void ForkGate::closeAll() {
    gates().mutex.lock();
    for (ForkGate* gate : gates().all) {
        gate->mutex_.lock();
    }
}

void ForkGate::openAll() {
    for (ForkGate* gate : gates().all) {
        gate->mutex_.unlock();
    }
    gates().mutex.unlock();
}

}  // namespace ac500::host
