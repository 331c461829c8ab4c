// OrderBook keeps account of every write and every one-shot read from the order to its end, so that none is lost without
// a word. The driver alone does not: it reports only the variables of the request that failed and drops everything else
// of the same kind that waits (quirk 10), and it drops silently what exceeds its queue of one-shot reads (quirk 12).
//
// An order goes Waiting -> (ReadingFirst ->) WithDriver -> Answered -> Succeeded or Failed; from every step it can fail.
// Bits are written as the variable that holds them, made from what the driver's image has: so before a bit write goes to
// the driver the book orders a reading of that variable, and the write ends with it if it fails. So it is with a write that
// is bound to what the PLC holds (WriteTerms), and with each variable that it is bound to.
//
// Not thread-safe; the session's lock guards it.
#ifndef AC500_TOOLS_HOST_ORDER_BOOK_H
#define AC500_TOOLS_HOST_ORDER_BOOK_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/host/clock.h"
#include "tools/host/failure.h"
#include "tools/host/tag.h"
#include "tools/host/write_index.h"
#include "tools/host/write_terms.h"

namespace ac500::host {

enum class OrderKind { Write, Read };

enum class OrderStep {
    Waiting,       // with this host: the link is not up, or an earlier order must end first
    ReadingFirst,  // a write that must know what the PLC holds: that is being read
    WithDriver,    // handed over, not reported yet
    Answered,      // the driver reports success; whether the reply was its own is not known yet
    Succeeded,     // the PLC has accepted the write, or sent the value
    Failed,
};

bool hasEnded(OrderStep step);

struct Order {
    std::int32_t serial = 0;  // second identity word of what the driver is asked for; no two orders share one
    std::int64_t number =
        0;  // of all orders, from 1 on: a later order has a larger one, also behind the largest serial
    OrderKind kind = OrderKind::Write;
    Tag tag;
    std::vector<ByteRun> runs;  // the bytes of the tag
    OrderStep step = OrderStep::Waiting;
    Time ordered{0};
    Time handedOver{0};  // to the driver
    Time answered{0};    // of a succeeded one this is when it ended, too
    Time ended{0};
    Failure failure;  // of a failed one

    // Of a write.
    HostValues values;
    WriteTerms terms;
    HostValues
        before;  // what the tag held when it was read for the write; empty: it was not, or has ended and was told
    HostValues bitsBefore;  // of bits: all bits of the variable, likewise
    int requestsSent = 0;   // so many requests of it went out; one that was sent again counts once
    int readingsLeft = 0;   // ReadingFirst: so many have not been answered and believed
    WriteOutcome outcome = WriteOutcome::Pending;
    bool lostSession = false;  // the session was lost while the driver held it, and it does not wait for another one

    // Of a read.
    int requests = 0;           // at most so many in the driver's queue; 0: read by address in the cyclic list
    std::int32_t forWrite = 0;  // serial of the write that waits for it; 0: none
};

// What became of an order.
struct EndedOrder {
    OrderKind kind = OrderKind::Write;
    std::string tag;
    Time ordered{0};
    bool isForWrite = false;  // a reading that a write waited for
    Failure failure;          // nothing occurred: it succeeded
};

// What writes mean for the value of a tag.
struct WriteView {
    enum class Kind { None, Pending, Failed } kind = Kind::None;
    Time ended{0};    // Failed: when it did
    Failure failure;  // Failed: why
};

class OrderBook {
public:
    // How long a failed write is shown with its tag.
    static constexpr Milliseconds kFailureShown{10000};
    // The driver queues so many one-shot requests and drops what comes on top.
    static constexpr int kDriverQueue = 1024;
    // So many ended orders of each kind are remembered, the latest.
    static constexpr std::size_t kKeptEnded = 1000;

    // `requestBytes`: the driver cuts reads into requests of at most so many bytes. `lastSerial`: the serial before the
    // first; behind the largest one they begin with 1 again.
    explicit OrderBook(int requestBytes, std::int32_t lastSerial = 0)
        : requestBytes_(requestBytes), lastSerial_(lastSerial) {}

    // Both return the serial number.
    std::int32_t orderWrite(const Tag& tag, const HostValues& values, Time now, const WriteTerms& terms = {});
    std::int32_t orderRead(const Tag& tag, Time now);

    // The write that may go to the driver next, in the order of the orders; null when none may. Waiting writes are not in
    // the driver's image: so what must read first goes alone, with nothing before and nothing beside it.
    const Order* nextWrite() const;
    static bool mustReadFirst(const Order& write) { return write.tag.form.isBit || write.terms.mustReadFirst(); }
    static bool goesAlone(const Order& write) { return mustReadFirst(write) || write.terms.goesAlone(); }
    // The oldest waiting read, if the driver's queue has room for it, or never will; else null.
    const Order* nextRead() const;

    // Serials that do not exist or have ended already are ignored in the following nine.
    // Orders the readings that the write needs: its tag, and the tags of its conditions. REQUIRES: a waiting write
    void readFirst(std::int32_t serial, Time now);
    // What the readings brought; `bits` of bits alone.
    void wasRead(std::int32_t serial, const HostValues& before, const HostValues& bits);
    // A write that must read first only after its readings: succeeded() says when.
    void handedOver(std::int32_t serial, Time now);
    // A request of the write goes out.
    void requestSent(std::int32_t serial);
    // The driver gave it up without sending it: it waits again, in the order of the orders. Not for a string in an array.
    void handedBack(std::int32_t serial);
    // It is not with the driver any more, and not urgent.
    void answered(std::int32_t serial, Time now);
    // REQUIRES: answered. Returns the write that waited for this reading as its last, and is to go to the driver before the
    // image changes again; else null.
    const Order* succeeded(std::int32_t serial);
    // A write that waited for this reading fails with it. Its outcome is NotSent, or Unknown when a request of it went out.
    void failed(std::int32_t serial, const Failure& failure, Time now);
    // The PLC has refused the request of the write that went out last: so the outcome is Refused, or Unknown when another one
    // was taken before.
    void refused(std::int32_t serial, const Failure& failure, Time now);

    // The orders of a kind at a step, oldest first. REQUIRES: a step at which an order has not ended
    std::vector<std::int32_t> at(OrderKind kind, OrderStep step) const;
    // Has the driver anything that must not wait for the next pass over the cyclic list?
    bool anyUrgent() const { return queuedRequests_ > 0 || (writesUnderway_ > 0 && !isReadingFirst_); }
    // Fails the writes that have waited longer than `limit`, for the driver or for a reading that waits for it.
    void failOverdueWrites(Time now, Milliseconds limit, const Failure& reason);
    // Fails the writes that wait and whose own expiry has come.
    void expireWrites(Time now, const Failure& reason);
    // Fails the writes that do not wait for another session (WriteTerms::isOnce), and marks those that the driver holds: they
    // are to fail when it gives them up.
    void sessionLost(const Failure& reason, Time now);
    // Is the driver holding a write that was ordered longer than `limit` ago?
    bool anyWriteOverdue(Time now, Milliseconds limit) const;

    // What ended since the last call, in that order: to be taken now and then, as all of it is kept until then.
    std::vector<EndedOrder> takeEnded();

    // Null when the serial does not exist or was forgotten. Valid until an order ends.
    const Order* find(std::int32_t serial) const;

    // What the writes mean for a tag that covers `runs`, of which the oldest byte was received at `oldest`.
    WriteView view(const std::vector<ByteRun>& runs, std::optional<Time> oldest, Time now) const;

private:
    using Serials = std::map<std::pair<Time, std::int64_t>, std::int32_t>;  // by time and number, so the oldest first
    static constexpr std::size_t kOpenSteps = 4;                            // Waiting to Answered

    struct Lane {
        std::map<std::int32_t, Order> orders;
        std::array<Serials, kOpenSteps> open;
        std::deque<std::int32_t> ended;  // oldest first

        Serials& at(OrderStep step) { return open.at(static_cast<std::size_t>(step)); }
        const Serials& at(OrderStep step) const { return open.at(static_cast<std::size_t>(step)); }
        const Order& oldestAt(OrderStep step) const { return orders.at(at(step).begin()->second); }
    };

    Lane& laneOf(OrderKind kind) { return kind == OrderKind::Write ? writes_ : reads_; }
    const Lane& laneOf(OrderKind kind) const { return kind == OrderKind::Write ? writes_ : reads_; }
    static Serials::key_type ageOf(const Order& order) { return {order.ordered, order.number}; }
    Order& add(OrderKind kind, const Tag& tag, Time now);
    Order* openOrder(std::int32_t serial);
    void failWrite(Order& write, WriteOutcome outcome, const Failure& failure, Time now);
    void moveTo(Order& order, OrderStep step);
    void end(Order& order, OrderStep step, Time now);

    const int requestBytes_;
    Lane writes_;
    Lane reads_;
    WriteIndex writtenBytes_;  // of all writes that are remembered
    std::vector<EndedOrder> untakenEnded_;
    int writesUnderway_ = 0;          // at ReadingFirst or WithDriver
    bool loneWriteUnderway_ = false;  // one of them goes alone, and is the only one
    bool isReadingFirst_ = false;     // and waits for its readings: the driver has nothing of it
    int queuedRequests_ = 0;          // of the reads WithDriver
    std::int32_t lastSerial_;
    std::int64_t lastNumber_ = 0;
};

}  // namespace ac500::host

#endif
