// HostSession is a host at work: it owns the loop thread, registers tags, orders writes and reads, and answers with
// values that know their age and state.
//
// The driver is one global object per loaded library, so there is one session at a time in a process; start() refuses a
// second one. All functions may be called from any thread except where said; the destructor stops and joins.
//
// Every call that changes the driver's lists is made on the loop thread, between two steps of the loop: so the session
// always knows what the driver holds, and which writes go when the driver drops all of them.
#ifndef AC500_TOOLS_HOST_HOST_SESSION_H
#define AC500_TOOLS_HOST_HOST_SESSION_H

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "tools/host/once_read_book.h"
#include "tools/host/poll_loop.h"
#include "tools/host/reception_log.h"
#include "tools/host/tag.h"
#include "tools/host/write_book.h"

namespace ac500::host {

enum class ValueState {
    NeverReceived,  // the PLC has not sent it yet
    Fresh,
    Stale,         // older than three cycles (and than two seconds), or the link is down
    WritePending,  // ordered, on its way, or accepted by the PLC and not read again yet
    WriteFailed,   // the last write failed; shown for ten seconds, and until the value was read again
};

// "never received", "fresh", "stale", "write pending", "write failed".
const char* valueStateName(ValueState state);

struct TagValue {
    ValueState state = ValueState::NeverReceived;
    // True when `values` is what the PLC sent last; while a write is pending it may be the written value already.
    bool isKnown = false;
    HostValues values;
    std::optional<Milliseconds> age;  // since the oldest of its bytes was received
    Failure failure;                  // WriteFailed: why
};

struct SessionSettings {
    LoopSettings loop;
    int maxRequestWords = 100;  // largest request that the PLC accepts, in 16-bit words
    int retryLimit = 2;         // failed replies that the driver tolerates before it gives a request up
    // A write that could not be handed to the driver for so long fails: an operator who has turned away does not expect
    // a machine to start moving when the cable is back.
    Milliseconds writeDeadline{5000};
};

struct SessionEvent {
    Time time{0};
    Failure failure;
};

struct SessionStatus {
    LoopState state = LoopState::Disconnected;
    bool isOnline = false;
    Statistics statistics;
    std::optional<SessionEvent> lastFailure;
    std::size_t events = 0;  // so far; see eventsSince
};

class HostSession : private LoopListener {
public:
    struct Parts {
        const DriverFunctions& driver;
        const TagTable& tags;
        const Clock& clock;
        std::function<std::unique_ptr<Transport>()> makeTransport;  // called once, on the loop thread
    };
    // The referenced objects must outlive the session.
    HostSession(const Parts& parts, const SessionSettings& settings);
    ~HostSession() override;

    // Hands settings and symbols to the driver and starts the loop thread. False, and *error says why, when another
    // session is alive. To be called once.
    bool start(std::string* error);

    // Ends the loop. Every write that has not ended fails, each with its own failure. Idempotent.
    void stop();

    // Does the driver resolve the tag to where the symbol file has it? Else *error says what it answers instead.
    // REQUIRES: started
    bool driverKnows(const Tag& tag, std::string* error) const;

    // Reads these tags in every cycle, and no others. REQUIRES: driverKnows each of them.
    void poll(const std::vector<Tag>& tags);

    // Orders a write of all elements of the tag; REQUIRES: as many values. Returns its serial number.
    std::int32_t write(const Tag& tag, const HostValues& values);
    // The state of a write; nothing for a serial that is unknown or long ended.
    std::optional<WriteRecord> writeRecord(std::int32_t serial) const;

    // Orders one reading of the tag. Returns its serial number.
    std::int32_t readOnce(const Tag& tag);
    // The state of a one-shot read; nothing for a serial that is unknown or long ended.
    std::optional<OnceReadRecord> onceReadRecord(std::int32_t serial) const;

    TagValue value(const Tag& tag) const;

    SessionStatus status() const;
    // Events number `first` and later that are still kept.
    std::vector<SessionEvent> eventsSince(std::size_t first) const;

    // Waits until something has changed since the last call of this thread's owner, at most `timeout`.
    void waitForChange(Milliseconds timeout) const;

private:
    HostValues imageValues(const Tag& tag) const;

    // Loop thread, without the session's lock
    void run();
    void publish(const PollLoop& loop);
    bool waitForWork(Milliseconds pause);
    void failEverything(const Failure& reason);
    void giveWorkToDriver(PollLoop& loop);
    void rebuildCyclicList(PollLoop& loop, const std::vector<Tag>& tags);
    int readStringsByAddress(const Tag& tag);
    void startWaitingReads(PollLoop& loop);
    void handOverRead(PollLoop& loop, const OnceReadRecord& read);
    void startWaitingWrites();
    void handOverWrite(const WriteRecord& write);
    bool writeByName(const WriteRecord& write);
    void writeStringsByAddress(const WriteRecord& write);

    // LoopListener
    void replyAccepted(const RequestFrame& request, const QByteArray& reply) override;
    void variableReported(const VariableReport& report) override;
    void requestAbandoned(const AbandonedRequest& request) override;
    void failed(const Failure& failure) override;
    bool hasUrgentWork() const override;

    void writesAbandoned(const AbandonedRequest& request);
    void onceReadsAbandoned(const AbandonedRequest& request);
    void finishOnceRead(std::int32_t serial, const Failure& failure);
    Failure whyLinkIsDown() const;  // REQUIRES: mutex_ is held

    // Constant after construction
    const DriverFunctions& driver_;
    const TagTable& tags_;
    const Clock& clock_;
    const std::function<std::unique_ptr<Transport>()> makeTransport_;
    const SessionSettings settings_;

    // Shared with the driver, which keeps a pointer
    ComInfo comInfo_{};

    std::thread thread_;

    // Loop thread, while it runs
    std::unique_ptr<DriverReports> reports_;
    std::vector<Tag> readByAddress_;  // strings of arrays in the cyclic list

    // Protected by mutex_
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::condition_variable work_;
    bool stopping_ = false;
    bool hasNewWork_ = false;
    std::size_t changes_ = 0;
    std::optional<std::vector<Tag>> newTags_;
    WriteBook writes_;
    OnceReadBook onceReads_;
    ReceptionLog received_;
    SessionStatus status_;
    std::vector<SessionEvent> events_;
    std::size_t droppedEvents_ = 0;
};

}  // namespace ac500::host

#endif
