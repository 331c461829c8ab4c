// PollLoop is the communication loop of a host: it asks the driver what to send, sends it, collects one reply, hands it
// back, and keeps the connection. docs/host-guide.md is the same in prose, with the reasons.
//
// It is a state machine without a thread of its own and without sleeping: step() does one thing and says how long
// nothing needs to be done. All calls come from one thread, which is the driver's "loop thread".
//
// The wire has no transaction number: a reply is the answer to the request before it because nothing else says so.
// The loop protects the values with four rules. A connection on which a reply did not come in time is never used
// again. Bytes that nobody asked for end the connection. A reply that cannot be the answer counts as none. And what was
// accepted is to be believed only when the line was found quiet afterwards, for long enough: had one of the replies been
// another's, one would be left over and come. Such a quiet look ends every pass over the cyclic list.
#ifndef AC500_TOOLS_HOST_POLL_LOOP_H
#define AC500_TOOLS_HOST_POLL_LOOP_H

#include <optional>
#include <string>
#include <vector>

#include "tools/events/event_table.h"
#include "tools/host/clock.h"
#include "tools/host/driver_library.h"
#include "tools/host/driver_reports.h"
#include "tools/host/failure.h"
#include "tools/host/latencies.h"
#include "tools/host/pass_pacer.h"
#include "tools/host/reply_assembler.h"
#include "tools/host/reply_times.h"
#include "tools/host/reply_verdict.h"
#include "tools/host/request_frame.h"
#include "tools/host/statistics.h"
#include "tools/host/transport.h"

namespace ac500::host {

enum class LoopState {
    Disconnected,  // connects in the next step
    Connecting,
    Exchanging,  // connected: one request at a time
    GivingUp,    // hands the driver empty replies until it abandons a request that cannot be answered any more
    BackingOff,  // waits before the next attempt
};

const char* loopStateName(LoopState state);

struct LoopSettings {
    Endpoint plc;
    Milliseconds connectTimeout{3000};
    Milliseconds replyTimeout{2000};
    Milliseconds cycle{100};  // from the start of one pass over the cyclic list to the start of the next
    // A quiet look lasts until twice the slowest reply of late has passed since the last request, and at least so long;
    // at most `replyTimeout`.
    Milliseconds shortestLook{5};
    Milliseconds firstBackOff{100};
    Milliseconds longestBackOff{5000};
    Milliseconds slice{50};  // longest time that one step blocks in the transport

    // False keeps a connection after a timeout, reads whatever arrives as the reply, and believes it at once: only to
    // show what that does.
    bool guardValues = true;
};

enum class RequestKind { CyclicRead, OnceRead, Write };

// A request that the driver gave up. Besides it, the driver has dropped every pending write (or every pending one-shot
// read) when the request was one: those it did not report are lost unless the host counts them itself.
struct AbandonedRequest {
    RequestKind kind = RequestKind::CyclicRead;
    int status = 0;                       // as DataCom returned it, docs/status-codes.md
    bool wasSent = false;                 // false: the PLC cannot have it
    bool wasRefused = false;              // by the PLC, when it was sent last
    bool isInDoubt = false;               // with a word that may stand for a reply that was spoilt: it may be done
    Failure reason;                       // why: what the PLC said, or why there was no reply to hand over
    std::vector<VariableReport> reports;  // what the driver reported while it gave up; always failures
    // Nothing failed: it was given up, unsent, for the driver to open a session on a new connection. It and what was
    // dropped with it may be handed over again.
    bool wasForNewSession = false;
    bool wasHeldBack = false;  // nothing failed: the listener did not want it sent
};

// What the loop tells its owner, all from within step() and shutDown(), on the loop thread, with no driver lock held.
class LoopListener {
public:
    virtual ~LoopListener() = default;
    // The driver took `reply` as the good answer to `request` and has stored it. Whether it was is known later: with
    // lineInStep, or lineOutOfStep.
    virtual void replyAccepted(const RequestFrame& request, const QByteArray& reply) = 0;
    // The driver took the reply to a request of the handshake: to hello first, then to symbols, which opens the session.
    virtual void handshakeAnswered(const RequestFrame&, const QByteArray&) {}
    // The driver reports a write or a one-shot read that has reached its end. Comes after replyAccepted.
    virtual void variableReported(const VariableReport& report) = 0;
    // The line was found quiet: every reply accepted so far was the answer to its request.
    virtual void lineInStep() = 0;
    // That will never be known of the replies accepted since the last lineInStep: any of them may have been another's.
    // Not called when there were none.
    virtual void lineOutOfStep(const Failure& reason) = 0;
    // The driver has made a write request: from now on its image may hold what the PLC does not have. `first`: the
    // variable of its first item.
    virtual void writeOffered(const RequestFrame& request, VariableId first) = 0;
    // The write request is about to be sent; once more, when `isRepeat`. A failure that occurred: it is not sent, and the
    // driver is made to give it up for that reason.
    virtual Failure whyNotToSend(const RequestFrame& request, bool isRepeat) = 0;
    virtual void requestAbandoned(const AbandonedRequest& request) = 0;
    // Something failed, in words for people. The loop goes on by itself.
    virtual void failed(events::EventId event, const Failure& failure) = 0;
    // Something happened that is no failure, in words for people.
    virtual void happened(events::EventId, const std::string&) {}
    // Something has taken so long: a reply, or a pass.
    virtual void measured(LatencyKind, Time) {}
    // Are there writes or one-shot reads with the driver that must not wait for the next pass?
    virtual bool hasUrgentWork() const = 0;
};

class PollLoop {
public:
    // All references must outlive the loop. REQUIRES: `reports` is registered with the driver.
    struct Parts {
        const DriverFunctions& driver;
        DriverReports& reports;
        Transport& transport;
        const Clock& clock;
        LoopListener& listener;
    };
    PollLoop(const Parts& parts, const LoopSettings& settings);

    // One step. Returns how long the caller may wait before the next one; 0: call again at once. New work for the
    // driver is a reason to call earlier.
    Milliseconds step();

    // Makes the driver give up requests until no urgent work is left, so that nothing is sent later which was reported as
    // failed. REQUIRES: not connected.
    void giveUpUrgentWork(const Failure& reason);

    // Closes the connection and gives up what is left. The loop may not be used afterwards.
    void shutDown();

    // The cyclic list was rebuilt and now holds `requests` requests: a new pass begins.
    void cyclicListRebuilt(int requests) { pacer_.listRebuilt(requests); }

    LoopState state() const { return state_; }
    bool isConnected() const { return link_ != Link::Down; }
    // Connected, and the driver's session belongs to this connection.
    bool isOnline() const { return state_ == LoopState::Exchanging && link_ == Link::SessionOpen; }
    // May new work be handed to the driver? Not before its session is open: it drops all pending writes together with a
    // request that it gives up, and until then that is likely. But a driver that has nothing to send opens no session.
    // And not during a quiet look: nothing would be sent.
    bool takesWork() const;
    const Statistics& statistics() const { return statistics_; }

private:
    // The connection, and what the driver believes about its session with the PLC. Session bytes belong to a connection
    // and to a run of the PLC, so a session that outlives its connection must be ended before the next request.
    enum class Link {
        Down,          // no connection
        SessionStale,  // connected; whatever the driver believes is about an earlier connection
        NoSession,     // connected; the driver's next frame is one of the handshake
        SessionOpen,   // connected, and the handshake was completed on this connection
    };

    // What is known about the request at the head of the driver's queue.
    enum class Head {
        None,    // the driver had nothing to send when it was last asked
        Unsent,  // whatever it is, it has not been sent yet
        Sent,
        Failed,  // it was sent and failed; the driver keeps it and offers it again
    };

    // A request that the driver wants sent.
    struct Offer {
        Protocol* frame;  // owned by the driver; the head of its queue until DataCom removes it
        RequestFrame request;
    };

    // A request that was sent and whose end the driver has not been told yet.
    struct Exchange {
        Protocol* frame;  // as of Offer
        RequestFrame request;
        LatencyKind kind;
        Time sent;
        Time deadline;
    };

    Milliseconds startConnecting();
    Milliseconds continueConnecting();
    void notConnected(const std::string& what);
    Milliseconds giveUpOnce();
    Milliseconds waitForBackOff();

    Milliseconds sendNext();
    std::optional<Offer> nextOffer();
    Milliseconds nothingToSend();
    void sendRequest(Protocol* frame, const RequestFrame& request);
    bool streamIsQuiet();
    Failure connectionEnded(const std::string& reason) const;
    bool mustWaitForPass() const;
    Milliseconds waitForPass();

    bool lookIsDue() const;
    Milliseconds look();
    Time lookLength() const;
    void lineFoundQuiet();

    Milliseconds receiveReply();
    void replyArrived();
    void replyTimedOut();
    void replyUnusable(events::EventId event, const Failure& reason, bool keepConnection);
    void replyRefuses(const Failure& reason, const ReplyVerdict& verdict, const QByteArray& reply);
    void handOver(const RequestFrame& request, QByteArray reply);
    void accepted(const RequestFrame& request, const QByteArray& reply);
    void handshakeRejected(const RequestFrame& request, const QByteArray& reply);

    void connectionLost(events::EventId event, const Failure& reason);
    void closeConnection(const Failure& reason);
    void valuesInterrupted();
    void startGivingUp(const Failure& reason, bool isForNewSession = false);
    bool feedEmptyReply(const Failure& reason);
    void giveUpRefused(const Failure& reason, QByteArray reply);
    void abandoned(const RW_VAR& result, const Failure& reason);
    void backOff();
    void fail(events::EventId event, const Failure& failure);

    const DriverFunctions& driver_;
    DriverReports& reports_;
    Transport& transport_;
    const Clock& clock_;
    LoopListener& listener_;
    const LoopSettings settings_;

    LoopState state_ = LoopState::Disconnected;
    Link link_ = Link::Down;
    Head head_ = Head::Unsent;
    std::optional<Exchange> exchange_;
    ReplyAssembler assembler_;
    PassPacer pacer_;
    ReplyTimes replyTimes_;
    Time lastSent_{0};
    std::optional<Time> windowBegan_;  // when the first reply was accepted that is not known to be in step
    bool mustLook_ = false;            // what is accepted is not to wait for the end of the pass
    Time look_{0};                     // how long the look that goes on lasts; it is not shortened on the way
    bool wasInStep_ = false;           // values have come in since the last interruption
    std::optional<Time> interrupted_;  // when they ceased to
    Time connectDeadline_{0};
    Time retryAt_{0};
    Milliseconds nextBackOff_;
    Failure giveUpReason_;
    bool isGivingUpForNewSession_ = false;
    bool isHeldBack_ = false;  // given up because the listener said so
    int refusals_ = 0;         // of the request at the head
    std::optional<Failure>
        refusal_;  // of its last sending; nothing while it is in flight, or when that ended otherwise
    bool isRefusalInDoubt_ = false;
    Statistics statistics_;
};

}  // namespace ac500::host

#endif
