// Session is what reads, writes and watches see of a PLC, whichever process talks to it: HostSession does so itself, a
// via::ViaSession asks a gateway that does. All functions may be called from any thread.
#ifndef AC500_TOOLS_HOST_SESSION_H
#define AC500_TOOLS_HOST_SESSION_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/host/latencies.h"
#include "tools/host/order_book.h"
#include "tools/host/session_types.h"
#include "tools/host/tag.h"

namespace ac500::host {

enum class ValueState {
    NeverReceived,  // the PLC has not sent it yet
    Fresh,
    Suspect,       // received, but perhaps from another program than the symbols describe; no other state hides it
    Stale,         // older than three cycles with their looks (and than two seconds), or the link is down
    WritePending,  // ordered, on its way, or accepted by the PLC and not read again yet
    WriteFailed,   // the last write failed; shown for ten seconds, and until the value was read again
};

// "never received", "fresh", "suspect", "stale", "write pending", "write failed".
const char* valueStateName(ValueState state);

struct TagValue {
    ValueState state = ValueState::NeverReceived;
    // True when `values` is what the PLC sent, as it was last known to be in step; after a failed write not before the
    // value was read again.
    bool isKnown = false;
    HostValues values;
    std::optional<Milliseconds> age;              // since the oldest of its bytes was received
    Failure failure;                              // WriteFailed: why; kept when it is Suspect, too
    std::optional<Time> received = std::nullopt;  // the oldest of its bytes, on the session's clock
    bool isStale = false;                         // as the state says, also when another state hides it
    // Why it may be from another program, whatever the state; nothing wrong when it is not.
    Failure suspicion = {};
};

// Does one tell what the other does, but for when it was received?
bool isSameButAge(const TagValue& a, const TagValue& b);

class Session {
public:
    virtual ~Session() = default;

    // Ends the session. Every order that has not ended fails, each with its own failure. Idempotent.
    virtual void stop() = 0;

    // The guards of the symbol file, which are read in each pass and before each write.
    virtual const std::vector<Tag>& guards() const = 0;

    // Does the driver resolve the tag to where the symbol file has it? Else *error says what it answers instead.
    virtual bool driverKnows(const Tag& tag, std::string* error) const = 0;

    // Reads these tags in every cycle, and for this caller no others. REQUIRES: driverKnows each of them.
    virtual void poll(const std::vector<Tag>& tags) = 0;

    // Orders one reading of the tag. Returns its serial number.
    virtual std::int32_t readOnce(const Tag& tag) = 0;
    // A reading that was not handed to the driver yet fails: its caller waits no more. Others go on.
    virtual void giveUpReading(std::int32_t serial) = 0;
    // The state of an order; nothing for a serial that is unknown or long ended.
    virtual std::optional<Order> order(std::int32_t serial) const = 0;

    // Known of tags that were polled, and of those that were read once. To be called by what shows or uses the value: its
    // age is counted as LatencyKind::AgeShown.
    virtual TagValue value(const Tag& tag) const = 0;
    // The same for who only looks whether there is anything new: not counted.
    virtual TagValue glance(const Tag& tag) const = 0;
    // TagValue::isKnown, for who only waits for it.
    virtual bool isKnown(const Tag& tag) const = 0;

    virtual SessionStatus status() const = 0;
    virtual const SessionSettings& settings() const = 0;
    // Events number `first` and later; the latest 1,000 are kept. In the place of those that are not, stands one,
    // EventsLost, with the number of the first of them: so what follows an event has its number + 1, and who goes on from
    // there misses nothing without being told.
    virtual std::vector<SessionEvent> eventsSince(std::size_t first) const = 0;

    // How long what takes time took, since the start or the last reset. A copy of 24 kB: for a look now and then.
    virtual Latencies latencies() const = 0;
    // Counts from nothing again, all kinds together; counters and events stay.
    virtual void resetLatencies() = 0;

    // Waits until something changes, at most `timeout`.
    virtual void waitForChange(Milliseconds timeout) const = 0;
    // How often something has changed so far; and waits until it is more often than `seen`, at most `timeout`. So nothing is
    // missed between a look and the wait.
    virtual std::size_t changes() const = 0;
    virtual void waitForChangeAfter(std::size_t seen, Milliseconds timeout) const = 0;
    // How often values were stored so far: a caller with many tags need not look at them after every change.
    virtual std::size_t receptions() const = 0;
    // The deadlines of writes are looked at now.
    virtual void checkDeadlines() = 0;
};

}  // namespace ac500::host

#endif
