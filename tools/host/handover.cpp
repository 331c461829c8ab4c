#include "tools/host/handover.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace ac500::host {

using events::EventId;

void SharedWork::addEvent(EventId event, const std::string& text, Time now) {
    keepEvent({status.events, now, std::chrono::system_clock::now(), event, {}, text});
}

void SharedWork::addFailure(EventId event, const Failure& failure, Time now) {
    keepEvent({status.events, now, std::chrono::system_clock::now(), event, failure, {}});
}

void SharedWork::addExchangeFailure(EventId event, const Failure& failure, Time now) {
    addFailure(event, failure, now);
    status.lastFailure = events.back();
}

void SharedWork::keepEvent(const SessionEvent& event) {
    if (onEvent) {
        onEvent(event);
    }
    ++status.events;
    events.push_back(event);
    if (events.size() > kKeptEvents) {
        events.pop_front();
    }
}

// A reading that a bit write waits for fails with the write, which tells it.
void SharedWork::noteEndedOrders(Time now) {
    for (const EndedOrder& order : orders.takeEnded()) {
        const bool isWrite = order.kind == OrderKind::Write;
        if (isWrite) {
            latencies.of(LatencyKind::WriteToReport).add(now - order.ordered);
        }
        if (order.failure.occurred() && !order.isForWrite) {
            const Failure failure{order.failure.kind, order.tag + ": " + order.failure.text};
            addFailure(isWrite ? EventId::WriteFailed : EventId::ReadFailed, failure, now);
        } else if (isWrite) {
            addEvent(EventId::WriteDone, order.tag + " is written", now);
        }
    }
}

std::vector<SessionEvent> SharedWork::eventsSince(std::size_t first) const {
    const std::size_t oldest = status.events - events.size();
    const std::size_t skipped = std::min(std::max(first, oldest) - oldest, events.size());
    std::vector<SessionEvent> since;
    if (first < oldest) {
        since.push_back({first,
                         events.front().time,
                         events.front().wallTime,
                         EventId::EventsLost,
                         {},
                         fmt::format("{} event(s) were dropped before anybody took them", oldest - first)});
    }
    since.insert(since.end(), events.begin() + static_cast<std::ptrdiff_t>(skipped), events.end());
    return since;
}

void SharedWork::resetLatencies(Time now) {
    latencies = Latencies();
    latencies.since = now;
    addEvent(EventId::LatencyReset, "the measured times were reset", now);
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
    waitForChangeAfter(changes(), timeout);
}

std::size_t Handover::changes() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return changes_;
}

void Handover::waitForChangeAfter(std::size_t seen, Milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, timeout, [&] { return changes_ != seen; });
}

void Handover::loopBroke(const Failure& reason, Time now) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        work_.isStopping = true;
        work_.status.isOnline = false;
        work_.status.state = LoopState::Disconnected;
        work_.addExchangeFailure(EventId::SessionEnded, reason, now);
    }
    wakeCallers();
}

}  // namespace ac500::host
