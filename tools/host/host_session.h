// HostSession is a host at work: it registers tags, orders writes and reads, and answers with values that know their age
// and state. It owns the one thread that does the work, the loop thread (session_worker.h); everything between that
// thread and the callers passes through a Handover.
//
// The driver is one global object per loaded library, so there is one session at a time in a process; start() refuses a
// second one. All functions may be called from any thread except where said; the destructor stops and joins.
#ifndef AC500_TOOLS_HOST_HOST_SESSION_H
#define AC500_TOOLS_HOST_HOST_SESSION_H

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tools/host/handover.h"
#include "tools/host/session_types.h"
#include "tools/host/session_worker.h"
#include "tools/host/tag_access.h"

namespace ac500::host {

enum class ValueState {
    NeverReceived,  // the PLC has not sent it yet
    Fresh,
    Stale,         // older than three cycles with their looks (and than two seconds), or the link is down
    WritePending,  // ordered, on its way, or accepted by the PLC and not read again yet
    WriteFailed,   // the last write failed; shown for ten seconds, and until the value was read again
};

// "never received", "fresh", "stale", "write pending", "write failed".
const char* valueStateName(ValueState state);

struct TagValue {
    ValueState state = ValueState::NeverReceived;
    // True when `values` is what the PLC sent, as it was last known to be in step; after a failed write not before the
    // value was read again.
    bool isKnown = false;
    HostValues values;
    std::optional<Milliseconds> age;  // since the oldest of its bytes was received
    Failure failure;                  // WriteFailed: why
};

class HostSession {
public:
    struct Parts {
        const DriverFunctions& driver;
        const TagTable& tags;
        const Clock& clock;
        std::function<std::unique_ptr<Transport>()> makeTransport;  // called once, on the loop thread
    };
    // The referenced objects must outlive the session.
    HostSession(const Parts& parts, const SessionSettings& settings);
    ~HostSession();
    HostSession(const HostSession&) = delete;
    HostSession& operator=(const HostSession&) = delete;

    // Hands settings and symbols to the driver and starts the loop thread. False, and *error says why, when another
    // session is alive. To be called once.
    bool start(std::string* error);

    // Ends the loop. Every order that has not ended fails, each with its own failure. Idempotent.
    void stop();

    // Does the driver resolve the tag to where the symbol file has it? Else *error says what it answers instead.
    // REQUIRES: started
    bool driverKnows(const Tag& tag, std::string* error) const;

    // Reads these tags in every cycle, and no others. REQUIRES: driverKnows each of them.
    void poll(const std::vector<Tag>& tags);

    // Orders a write of all elements of the tag; REQUIRES: as many values. Returns its serial number.
    std::int32_t write(const Tag& tag, const HostValues& values);
    // Orders one reading of the tag. Returns its serial number.
    std::int32_t readOnce(const Tag& tag);
    // The state of an order; nothing for a serial that is unknown or long ended.
    std::optional<Order> order(std::int32_t serial) const;

    // Known of tags that were polled, and of those that were read once.
    TagValue value(const Tag& tag) const;

    SessionStatus status() const;
    // Events number `first` and later that are still kept.
    std::vector<SessionEvent> eventsSince(std::size_t first) const;

    // Waits until something changes, at most `timeout`.
    void waitForChange(Milliseconds timeout) const;

private:
    Time staleAge(const Statistics& statistics) const;

    // Constant after construction
    const Parts parts_;
    const SessionSettings settings_;

    ComInfo comInfo_{};          // shared with the driver, which keeps a pointer
    TagAccess access_;           // says itself which thread may call what
    mutable Handover handover_;  // locks by itself

    std::unique_ptr<SessionWorker> worker_;  // from start() to stop()
    std::thread thread_;
};

}  // namespace ac500::host

#endif
