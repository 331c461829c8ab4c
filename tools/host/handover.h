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
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "tools/host/clock.h"
#include "tools/host/order_book.h"
#include "tools/host/session_types.h"
#include "tools/host/tag.h"

namespace ac500::host {

// A copy of what the driver's image held of a tag when the line had been found in step.
struct StoredValue {
    HostValues values;
    Time received{0};  // the oldest of its bytes
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
    SessionStatus status;
    std::deque<SessionEvent> events;  // the latest of status.events

    static constexpr std::size_t kKeptEvents = 1000;
    void addEvent(const SessionEvent& event);
    // Events number `first` and later that are still kept.
    std::vector<SessionEvent> eventsSince(std::size_t first) const;
};

class Handover {
public:
    explicit Handover(int requestBytes) : work_(requestBytes) {}

    // The shared value, as long as the access lives. A thread holds one at a time.
    class Access {
    public:
        SharedWork* operator->() { return work_; }

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

private:
    std::mutex mutex_;
    std::condition_variable workCame_;
    std::condition_variable changed_;

    // Protected by mutex_
    SharedWork work_;
    bool hasNewWork_ = false;
    std::size_t changes_ = 0;
};

}  // namespace ac500::host

#endif
