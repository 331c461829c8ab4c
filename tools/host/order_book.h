// OrderBook keeps account of every write and every one-shot read from the order to its end, so that none is lost without
// a word. The driver alone does not: it reports only the variables of the request that failed and drops everything else
// of the same kind that waits (quirk 10), and it drops silently what exceeds its queue of one-shot reads (quirk 12).
//
// An order goes Waiting -> (ReadingFirst ->) WithDriver -> Answered -> Succeeded or Failed; from every step it can fail.
// Bits are written as the variable that holds them, made from what the driver's image has: so before a bit write goes to
// the driver the book orders a reading of that variable, and the write ends with it if it fails.
//
// Not thread-safe; the session's lock guards it.
#ifndef AC500_TOOLS_HOST_ORDER_BOOK_H
#define AC500_TOOLS_HOST_ORDER_BOOK_H

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <vector>

#include "tools/host/clock.h"
#include "tools/host/failure.h"
#include "tools/host/tag.h"

namespace ac500::host {

enum class OrderKind { Write, Read };

enum class OrderStep {
    Waiting,       // with this host: the link is not up, or an earlier order must end first
    ReadingFirst,  // a bit write: the variable that holds the bit is being read
    WithDriver,    // handed over, not reported yet
    Answered,      // the driver reports success; whether the reply was its own is not known yet
    Succeeded,     // the PLC has accepted the write, or sent the value
    Failed,
};

bool hasEnded(OrderStep step);

struct Order {
    std::int32_t serial = 0;  // second identity word of what the driver is asked for; no two orders share one
    OrderKind kind = OrderKind::Write;
    Tag tag;
    HostValues values;          // of a write
    HostValues bitsBefore;      // of a bit write with the driver: all bits of the variable, as they were read for it
    std::vector<ByteRun> runs;  // the bytes of the tag
    OrderStep step = OrderStep::Waiting;
    Time ordered{0};
    Time handedOver{0};  // to the driver
    Time answered{0};    // of a succeeded one this is when it ended, too
    Time ended{0};
    Failure failure;  // of a failed one

    // Of a read.
    int requests = 0;           // at most so many in the driver's queue; 0: read by address in the cyclic list
    std::int32_t forWrite = 0;  // serial of the bit write that waits for it; 0: none
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

    // `requestBytes`: the driver cuts reads into requests of at most so many bytes.
    explicit OrderBook(int requestBytes) : requestBytes_(requestBytes) {}

    // Both return the serial number.
    std::int32_t orderWrite(const Tag& tag, const HostValues& values, Time now);
    std::int32_t orderRead(const Tag& tag, Time now);

    // The write that may go to the driver next, in the order of the orders; null when none may. Waiting writes are not in
    // the driver's image: so a bit write goes alone, with nothing before and nothing beside it.
    const Order* nextWrite() const;
    static bool mustReadFirst(const Tag& tag) { return tag.form.isBit; }
    // The oldest waiting read, if the driver's queue has room for it, or never will; else null.
    const Order* nextRead() const;

    // Serials that do not exist or have ended already are ignored in the following six.
    // Orders the reading that the bit write needs. REQUIRES: a waiting write
    void readFirst(std::int32_t serial, Time now);
    // A bit write only after its reading: succeeded() says when. `bitsBefore`: what that brought.
    void handedOver(std::int32_t serial, Time now, const HostValues& bitsBefore = {});
    // The driver gave it up without sending it: it waits again, in the order of the orders. Not for a string in an array.
    void handedBack(std::int32_t serial);
    // It is not with the driver any more, and not urgent.
    void answered(std::int32_t serial, Time now);
    // REQUIRES: answered. Returns the bit write that waited for this reading, and is to go to the driver before the image
    // changes again; else null.
    const Order* succeeded(std::int32_t serial);
    // A bit write that waited for this reading fails with it.
    void failed(std::int32_t serial, const Failure& failure, Time now);

    // The orders of a kind at a step, oldest first.
    std::vector<std::int32_t> at(OrderKind kind, OrderStep step) const;
    // Has the driver anything that must not wait for the next pass over the cyclic list?
    bool anyUrgent() const { return queuedRequests_ > 0 || (writesUnderway_ > 0 && !isReadingFirst_); }
    // Fails the writes that have waited longer than `limit`, for the driver or for a reading that waits for it.
    void expireWrites(Time now, Milliseconds limit, const Failure& reason);
    // Is the driver holding a write that was ordered longer than `limit` ago?
    bool anyWriteOverdue(Time now, Milliseconds limit) const;

    // Null when the serial does not exist or was forgotten. Valid until an order ends.
    const Order* find(std::int32_t serial) const;

    // What the writes mean for a tag that covers `runs`, of which the oldest byte was received at `oldest`.
    WriteView view(const std::vector<ByteRun>& runs, std::optional<Time> oldest, Time now) const;

private:
    struct Lane {
        std::map<std::int32_t, Order> orders;
        std::deque<std::int32_t> waiting;  // oldest first
        std::deque<std::int32_t> ended;    // oldest first
    };

    Lane& laneOf(OrderKind kind) { return kind == OrderKind::Write ? writes_ : reads_; }
    const Lane& laneOf(OrderKind kind) const { return kind == OrderKind::Write ? writes_ : reads_; }
    Order& add(OrderKind kind, const Tag& tag, Time now);
    Order* openOrder(std::int32_t serial);
    void moveTo(Order& order, OrderStep step);
    void end(Order& order, OrderStep step, Time now);

    const int requestBytes_;
    Lane writes_;
    Lane reads_;
    int writesUnderway_ = 0;         // at ReadingFirst or WithDriver
    bool bitWriteUnderway_ = false;  // one of them is a bit write; then it is the only one
    bool isReadingFirst_ = false;    // and waits for its reading: the driver has nothing of it
    int queuedRequests_ = 0;         // of the reads WithDriver
    std::int32_t lastSerial_ = 0;
};

}  // namespace ac500::host

#endif
