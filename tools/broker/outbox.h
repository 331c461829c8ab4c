// Outbox holds what the broker has not acknowledged yet. While connected it lives in memory; what cannot be sent, or has
// waited for a while, goes into the store on disk, so that neither a kill nor a power cut takes it. At least once: a
// message that was flushed stays until acknowledged() or until a bound drops it, and a gap record then says so. Sent again,
// it is the same to the byte.
//
// The order in which next() gives: first live messages, those added since the connection was made; then gap records; then, no
// faster than the settings say, the backlog, which is all the rest. Each in the order of its numbers.
//
// How old something is counts the time for which gateways have run since, not the clock of the wall, which may step.
//
// Not thread-safe: it belongs to the door's thread. add(), next(), tick(), flush() and takeSequence() may wait for the disk.
// `now` must never go back.
#ifndef AC500_TOOLS_BROKER_OUTBOX_H
#define AC500_TOOLS_BROKER_OUTBOX_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "tools/broker/gap_list.h"
#include "tools/broker/message.h"
#include "tools/broker/store.h"
#include "tools/broker/store_lock.h"
#include "tools/host/clock.h"
#include "tools/host/failure.h"

namespace ac500::broker {

struct OutboxSettings {
    std::string file;  // of the store; FILE.lock and FILE-wal lie beside it. Empty: no store, all is kept in memory
    std::uint64_t storeBytes = 256 * 1024 * 1024;  // what FILE may take on disk
    host::Milliseconds largestAge = std::chrono::hours(7 * 24);
    std::uint64_t memoryBytes = 8 * 1024 * 1024;   // topics, payloads and kMessageOverhead for each
    int backlogRate = 50;                          // messages a second, at least 1
    host::Milliseconds flushAfterApart{1000};      // what was added while not connected is in the store then
    host::Milliseconds flushAfterConnected{5000};  // and what was added while connected and is not acknowledged
};

struct OutboxStatus {
    std::size_t memoryMessages = 0;  // whose texts are in memory, also when they are in the store, too
    std::uint64_t memoryBytes = 0;
    std::size_t storeMessages = 0;         // in the store at the last flush
    std::uint64_t storeBytes = 0;          // topics and payloads of these
    std::size_t inFlight = 0;              // given by next() and not acknowledged
    std::size_t backlog = 0;               // messages that are held and are not live
    std::size_t gapRecords = 0;            // that the broker has not acknowledged
    std::uint64_t dropped = 0;             // messages since open()
    std::optional<std::int64_t> oldestMs;  // Message::atMs of the oldest that is held
    std::string trouble;                   // why nothing can be stored now; empty: all is well
};

class Outbox {
public:
    // Makes the message of a gap. It has `sequence`, and what it takes besides is the caller's business.
    using GapMessage = std::function<Message(const Gap& gap, std::int64_t sequence)>;
    // For people, on the caller's thread: a damaged store was set aside, the disk is full, it can be written again, ...
    using Tell = std::function<void(const std::string& text)>;

    // `now`, and the same moment by the clock of the wall, ms since 1970, which may not be set yet. A disk that cannot be
    // written is no failure: that is told, and tried again. Null when another process has the store; *failure says so.
    static std::unique_ptr<Outbox> open(const OutboxSettings& settings, host::Time now, std::int64_t wallMs,
                                        GapMessage gapMessage, Tell tell, host::Failure* failure);
    // A clean end, for which all that is not acknowledged is stored: flush() before. Without it, as after a kill.
    ~Outbox() = default;
    Outbox(const Outbox&) = delete;
    Outbox& operator=(const Outbox&) = delete;

    // Takes over bounds, rates and times. The file stays, whatever `settings` say.
    void setLimits(const OutboxSettings& settings);

    // The number for the next message. Each is added or told by addGap(), in whatever order; one that never was becomes a gap
    // at the next start.
    std::int64_t takeSequence();
    // REQUIRES: the numbers ascend from call to call
    void add(Message message, host::Time now);
    // Numbers that were taken for what cannot be sent.
    void addGap(const Gap& gap);

    // False: what was in flight will be sent again. Not connected at first.
    void setConnected(bool isConnected, host::Time now);
    // The message to send now, which is in flight from then on. Nothing: not now, see whenNext(); or not connected.
    std::optional<Message> next(host::Time now);
    // Unknown numbers are ignored.
    void acknowledged(std::int64_t sequence);
    // Does a message that next() gave, and that is in flight, tell a gap?
    bool isGapRecord(std::int64_t sequence) const { return gapsSent_.count(sequence) > 0; }
    // The broker will never take what next() gave with this number, Message::atMs `atMs`: a gap takes its place. One that told a gap itself
    // is told again by the next connection, whose broker may take it.
    void drop(std::int64_t sequence, std::int64_t atMs, const std::string& reason);

    // Does what is due: writes what has waited, drops what is too old. Call it at whenNext(), connected or not.
    void tick(host::Time now);
    // When tick() has something to do or next() something to give without anybody's doing; `now` or earlier: at once.
    // Nothing: not before a call of another function. `canSend`: false while next() will not be called, as no more may be
    // in flight.
    std::optional<host::Time> whenNext(host::Time now, bool canSend = true) const;

    // All that is held and was acknowledged is on the disk when this returns true. With `isLast`, the end of the process is
    // a clean one, and no gap record will be made for it. REQUIRES: nothing is added after the last
    bool flush(host::Time now, bool isLast = false);

    OutboxStatus status() const;

private:
    struct Held {
        StoredMessage stored;
        host::Time addedAt{0};
        bool isStored = false;
    };
    struct OpenedStore {
        StoreLock::Result result = StoreLock::Result::Held;
        std::string problem;  // when there is no store then
    };

    Outbox(OutboxSettings settings, GapMessage gapMessage, Tell tell);

    // Opening the store, at the start or later
    bool begin(host::Failure* failure);
    void beginNumbers(std::int64_t number);
    std::int64_t usedBelow() const;
    OpenedStore openStore();
    void openStoreAgain();
    bool putAside(const std::string& why);
    void adoptStore();  // REQUIRES: there is a store
    void replaceDamaged(const std::string& why);

    // Writing
    bool mayWrite() const;
    bool writeAll();
    bool writeSome(std::size_t first);
    void putOffGaps();
    void forget(const StoreDropped& dropped);
    void haveTrouble(const std::string& text);
    void haveNoTrouble();
    void popMemory();
    void evict(std::uint64_t bytes);
    void makeRoom();
    void dropOldestOfMemory(const char* reason);
    std::size_t firstUnstored() const;
    std::int64_t settled() const;
    std::int64_t settledBefore(std::int64_t unstored) const;
    std::int64_t bornBefore() const;
    std::int64_t ageClockMs() const;
    void lookAt(host::Time now);
    std::optional<host::Time> whenWriting() const;

    // Sending
    std::size_t placeAfter(std::int64_t sequence) const;
    const Message* liveToSend() const;
    const Message* toldGapToSend() const;
    const Message* backlogOfMemory() const;
    std::optional<Message> takeLive();
    std::optional<Message> takeGap();
    std::optional<Message> takeBacklog();
    bool fillWindow();
    std::optional<host::Time> whenSending() const;

    OutboxSettings settings_;
    const GapMessage gapMessage_;
    const Tell tell_;
    host::Time now_{0};       // as of the latest call
    host::Time openedAt_{0};  // since when the clock of ages goes on
    std::int64_t openedWallMs_ = 0;

    StoreLock lock_;
    std::optional<Reservation> before_;  // what its file said when it was taken
    std::unique_ptr<Store> store_;       // null: it could not be opened
    std::string trouble_;                // why not, or why it cannot be written
    host::Time retryAt_{0};              // when it is tried again, while there is trouble
    host::Time writtenAt_{0};
    std::int64_t ageClockBefore_ = 0;  // when this began

    std::int64_t begunWith_ = 1;    // the first number of this process
    std::int64_t next_ = 1;         // number
    std::int64_t reservedEnd_ = 1;  // lower numbers can be used without asking the lock's file
    std::set<std::int64_t> taken_;  // numbers that were neither added nor told yet
    std::int64_t lastAdded_ = 0;
    std::int64_t latestMs_ = 0;  // Message::atMs of that

    // Ascending; of all that is held, the highest: what is in the store alone has lower numbers.
    std::deque<Held> memory_;
    std::uint64_t memoryBytes_ = 0;
    std::set<std::int64_t> acknowledged_;  // and still in the store
    host::Time acknowledgedAt_{0};         // the first of them
    GapList gaps_;
    bool areGapsStored_ = true;
    bool areNumbersReserved_ = true;  // false: the lock's file could not be written, which was told
    bool isDamageUntold_ = false;     // a damaged store was set aside, and no gap tells of it yet
    host::Time gapsDue_{0};           // when those are told that were not yet
    std::uint64_t dropped_ = 0;

    // The connection
    bool isConnected_ = false;
    std::set<std::int64_t> inFlight_;
    std::set<std::int64_t> gapsSent_;    // in flight
    std::set<std::int64_t> gapsBarred_;  // first numbers of those that this connection's broker does not take
    std::int64_t liveFrom_ = 0;          // lower numbers are backlog
    std::int64_t liveSent_ = 0;          // what is live and was sent has numbers up to this
    std::int64_t backlogSent_ = 0;       // the same of the backlog
    host::Time backlogDue_{0};
    std::deque<Message> window_;  // what comes next of the store's backlog
    bool isStoreRead_ = false;    // to its end, for now
};

}  // namespace ac500::broker

#endif
