// WriteTerms is what a write is bound to beside its value, and what became of it. Plain values, and the one interface by
// which others have a say before a write and hear of it afterwards. WritePath (write_path.h) is where writes are ordered.
#ifndef AC500_TOOLS_HOST_WRITE_TERMS_H
#define AC500_TOOLS_HOST_WRITE_TERMS_H

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/host/clock.h"
#include "tools/host/failure.h"
#include "tools/host/tag.h"

namespace ac500::host {

struct Order;

enum class WriteOutcome {
    Pending,  // not decided yet
    Done,     // the PLC has accepted it
    Refused,  // the PLC has said no, to all of it
    NotSent,  // nothing of it went out, and nothing of it will
    Unknown,  // it went out, or a part of it, and nobody knows what the PLC made of it
};

// "pending", "done", "refused", "not sent", "unknown".
const char* writeOutcomeName(WriteOutcome outcome);

// The PLC must hold `values` at `tag`, read for this write and immediately before it; else the write is not sent.
struct WriteCondition {
    Tag tag;
    HostValues values;      // as the PLC has them, as many as the tag has elements
    std::string otherwise;  // begins the reason when it does not hold; empty: the tag, and that it was another value
};

// "it was 21.5 m when you looked, it is 22 m now", of another tag than that of the write with its name in front; `now`: what
// the PLC holds instead.
std::string differenceText(const Tag& write, const WriteCondition& condition, const HostValues& now);

// Has a say before a write, and hears of its end: a guard, an audit. Both are called on the loop thread, with no lock
// held; they may block, which holds up the session, and may not call it.
class WriteGate {
public:
    virtual ~WriteGate() = default;

    // Immediately before the write goes to the driver: all readings are in, all conditions hold, write.before is known. A
    // failure that occurred: it is not sent, for that reason. What this takes counts against the write's expiry, which is
    // looked at once more afterwards.
    virtual Failure beforeWrite(const Order& write) = 0;

    // The write has ended: write.outcome, write.failure. Once for each write for which beforeWrite found nothing wrong, also
    // when another gate did afterwards; not before the session knows whether the PLC's answer can be believed.
    virtual void afterWrite(const Order& write) = 0;
};

struct WriteTerms {
    // Never sent a second time, and not kept for another session when the one is lost that was open when it was ordered, or
    // that opened afterwards.
    bool isOnce = false;
    // With any of the next three, its tag and the tags of the conditions are read before it.
    std::vector<WriteCondition> conditions;
    bool readsFirst = false;                        // Order::before tells what the write replaces
    std::vector<std::shared_ptr<WriteGate>> gates;  // asked in this order
    std::optional<Time> expiry;                     // on the session's clock: from then on it is not sent
    std::string who;                                // orders it, for an audit: a user, the name of a token
    std::string number;                             // its one-use number; empty: none
    std::string undoes;                             // for an audit: the write that this one takes back; empty: none
    // Told of the end, whichever way it came; with the session's lock held: it may call nothing of the session.
    std::function<void(const Order&)> ended;

    bool hasExpired(Time now) const { return expiry && now >= *expiry; }
    bool mustReadFirst() const { return readsFirst || !conditions.empty() || !gates.empty(); }
    // Must the driver hold nothing else beside it, so that whether it is sent is decided for it alone?
    bool goesAlone() const { return mustReadFirst() || expiry.has_value(); }
};

}  // namespace ac500::host

#endif
