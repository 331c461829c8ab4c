#include "tools/host/handover.h"

#include <algorithm>

namespace ac500::host {

void SharedWork::addEvent(const SessionEvent& event) {
    status.lastFailure = event;
    ++status.events;
    events.push_back(event);
    if (events.size() > kKeptEvents) {
        events.pop_front();
    }
}

std::vector<SessionEvent> SharedWork::eventsSince(std::size_t first) const {
    const std::size_t dropped = status.events - events.size();
    const std::size_t skipped = std::min(std::max(first, dropped) - dropped, events.size());
    return {events.begin() + static_cast<std::ptrdiff_t>(skipped), events.end()};
}

void Handover::wakeLoop() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        hasNewWork_ = true;
    }
    workCame_.notify_all();
}

bool Handover::waitForWork(Milliseconds pause) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (pause.count() > 0) {
        workCame_.wait_for(lock, pause, [this] { return hasNewWork_; });
    }
    hasNewWork_ = false;
    return !work_.isStopping;
}

void Handover::wakeCallers() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ++changes_;
    }
    changed_.notify_all();
}

void Handover::waitForChange(Milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mutex_);
    const std::size_t seen = changes_;
    changed_.wait_for(lock, timeout, [&] { return changes_ != seen; });
}

}  // namespace ac500::host
