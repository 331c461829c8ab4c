// Handover is where the threads of a session meet. Callers of the session leave work here and are woken when something
// has come of it; the loop thread takes the work, and is woken when there is more.
//
// Everything that is shared is one plain value under one lock, so that what belongs together is always seen together: an
// order with the step it is at, a value's age with the state of the link. The lock is held for a look or a note, never
// while the driver is called.
#ifndef AC500_TOOLS_HOST_HANDOVER_H
#define AC500_TOOLS_HOST_HANDOVER_H

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "tools/host/clock.h"
#include "tools/host/latencies.h"
#include "tools/host/order_book.h"
#include "tools/host/session_types.h"
#include "tools/host/tag.h"

namespace ac500::host {

// A copy of what the driver's image held of a tag when the line had been found in step.
struct StoredValue {
    HostValues values;
    Time received{0};   // the oldest of its bytes
    Time newest{0};     // the newest
    Failure suspicion;  // it may be from another program; nothing wrong when it is not
};

struct SharedWork {
    explicit SharedWork(int requestBytes) : orders(requestBytes) {}

    // To the loop thread
    bool isStopping = false;
    std::optional<std::vector<Tag>> newTags;  // to be read in every cycle from now on

    // Both ways
    OrderBook orders;

    // From the loop thread
    std::unordered_map<std::string, StoredValue> values;  // by the text of the tag: of those that were polled or read
    std::size_t receptions = 0;                           // how often values were stored
    SessionStatus status;
    std::optional<guard::HandshakeReplies> handshake;  // that opened the latest session
    Latencies latencies;
    std::deque<SessionEvent> events;                   // the latest of status.events
    std::function<void(const SessionEvent&)> onEvent;  // told of each; may be empty, and may ask for no access

    static constexpr std::size_t kKeptEvents = 1000;
    // Adds an event with its number and the wall's time.
    void addEvent(events::EventId event, const std::string& text, Time now);
    void addFailure(events::EventId event, const Failure& failure, Time now);
    // The same, of the exchange with the PLC: it is then status.lastFailure, too.
    void addExchangeFailure(events::EventId event, const Failure& failure, Time now);
    // What became of writes and one-shot reads since the last call: as events, and how long writes took.
    void noteEndedOrders(Time now);
    // Events number `first` and later. In the place of those that are not kept any more stands one, EventsLost, with the
    // number of the first of them.
    std::vector<SessionEvent> eventsSince(std::size_t first) const;
    void resetLatencies(Time now);

private:
    void keepEvent(const SessionEvent& event);
};

class Handover {
public:
    explicit Handover(int requestBytes) : work_(requestBytes) {}

    // The shared value, as long as the access lives. A thread holds one at a time.
    class Access {
    public:
        SharedWork* operator->() { return work_; }
        SharedWork& operator*() { return *work_; }

    private:
        friend class Handover;
        Access(std::mutex& mutex, SharedWork& work) : lock_(mutex), work_(&work) {}

        std::unique_lock<std::mutex> lock_;
        SharedWork* work_;
    };
    Access access() { return Access(mutex_, work_); }

    // There is new work, or the session is to end.
    void wakeLoop();
    // Loop thread: waits for that, at most `pause`. False when the session is to end.
    bool waitForWork(Milliseconds pause);

    // Loop thread: something has changed.
    void wakeCallers();
    // Waits until something changes, at most `timeout`.
    void waitForChange(Milliseconds timeout);
    // The same in two steps, between which nothing is missed: how often it has changed, and waiting until that is more.
    std::size_t changes() const;
    void waitForChangeAfter(std::size_t seen, Milliseconds timeout);

    // The loop thread ends early: the link counts as down from now on, and orders are taken no more.
    void loopBroke(const Failure& reason, Time now);

private:
    mutable std::mutex mutex_;
    std::condition_variable workCame_;
    std::condition_variable changed_;

    // Protected by mutex_
    SharedWork work_;
    bool hasNewWork_ = false;
    std::size_t changes_ = 0;
};

}  // namespace ac500::host

#endif
