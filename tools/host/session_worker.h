// SessionWorker is what the loop thread of a session does: it hands waiting orders to the driver, turns the poll loop, and
// notes what became of each order.
//
// Every call that changes the driver's lists is made here, between two steps of the loop: so the session always knows
// what the driver holds, and which writes go when the driver drops all of them. Nothing here starts a thread.
//
// The driver's image is ahead of what is known: it takes every reply at once, and it shows what is written before the PLC
// has it. So callers get copies, which are taken when the line was found in step.
#ifndef AC500_TOOLS_HOST_SESSION_WORKER_H
#define AC500_TOOLS_HOST_SESSION_WORKER_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tools/guard/writer_watch.h"
#include "tools/host/driver_reports.h"
#include "tools/host/fork_gate.h"
#include "tools/host/handover.h"
#include "tools/host/poll_loop.h"
#include "tools/host/program_guard.h"
#include "tools/host/reception_log.h"
#include "tools/host/session_types.h"
#include "tools/host/tag_access.h"

namespace ac500::host {

class SessionWorker : private LoopListener {
public:
    struct Parts {
        const DriverFunctions& driver;
        const Clock& clock;
        std::function<std::unique_ptr<Transport>()> makeTransport;  // called once, in run()
        TagAccess& access;
        ProgramGuard& guard;
        Handover& handover;
        ForkGate& gate;  // run() is inside between its pauses
    };
    // Takes the place of the driver's callbacks. The referenced objects must outlive the worker.
    SessionWorker(const Parts& parts, const SessionSettings& settings);

    // Did it get that place? Else another session has it, and this worker may not run.
    bool hasCallbacks() const { return reports_.isActive(); }

    // Works until the handover says that the session is to end. Then every order that has not ended fails, each with its
    // own failure.
    void run();

private:
    struct PolledTag {
        Tag tag;
        std::vector<ByteRun> runs;
    };

    // Those that let a write pass are to hear of its end.
    struct AskedGates {
        Order write;
        std::vector<std::shared_ptr<WriteGate>> gates;
    };

    // Serials of the latest reads that have not ended and belong to no write; 0: there is none.
    struct OpenReads {
        std::int64_t lastGuard = 0;
        std::int64_t lastOther = 0;
    };

    void noteLoss(const PollLoop& loop);
    void publish(const PollLoop& loop);
    void failEverything(const Failure& reason);

    void giveWorkToDriver(PollLoop& loop);
    void startWaitingReads(PollLoop& loop);
    void readCyclicGuard(PollLoop& loop);
    void readGuardFirst(PollLoop& loop);
    void readGuardBehind();
    OpenReads openReads() const;
    void startRead(PollLoop& loop, const Order& read);
    void startWaitingWrites();
    void startWrite(Order write);
    Failure whyConditionsDoNotHold(const Order& write) const;
    Failure whyNotToStart(const Order& write);
    void tellGates();
    std::optional<Order> orderOf(std::int32_t serial) const;
    void orderFailed(std::int32_t serial, const Failure& failure);

    // LoopListener
    void replyAccepted(const RequestFrame& request, const QByteArray& reply) override;
    void handshakeAnswered(const RequestFrame& request, const QByteArray& reply) override;
    void variableReported(const VariableReport& report) override;
    void lineInStep() override;
    void lineOutOfStep(const Failure& reason) override;
    void writeOffered(const RequestFrame& request, VariableId first) override;
    Failure whyNotToSend(const RequestFrame& request, bool isRepeat) override;
    void requestAbandoned(const AbandonedRequest& request) override;
    void failed(events::EventId event, const Failure& failure) override;
    void happened(events::EventId event, const std::string& text) override;
    void measured(LatencyKind kind, Time took) override;
    bool hasUrgentWork() const override;

    using Copies = std::vector<std::pair<std::string, StoredValue>>;  // by the text of the tag

    void noteGuard();
    void forgetProgram();
    void tellProgram(const std::optional<Failure>& news);
    void watchWriters(const Copies& copies);
    void ownWriteStarts(const Order& write);
    void ownWriteSucceeded(const Order& write);

    std::vector<Order> readsThatMayEnd();
    bool awaitsGuard(const Order& read) const;
    Copies copyReceived(const std::vector<Order>& reads) const;
    void copyIfReceived(const Tag& tag, const std::vector<ByteRun>& runs, Copies* copies) const;
    void publishCopies(Copies&& copies);
    void store(const Copies& copies);
    void endAnsweredWrites();
    std::optional<Order> endRead(const Order& read);

    void writesAbandoned(const AbandonedRequest& request);
    void onceReadsAbandoned(const AbandonedRequest& request);

    const Parts parts_;
    const SessionSettings settings_;
    DriverReports reports_;

    // Loop thread
    std::vector<PolledTag> polled_;
    std::unordered_map<std::string, std::size_t> onlyWrittenHere_;  // by text; where in polled_
    ReceptionLog received_;
    std::unordered_map<std::string, StoredValue> unguarded_;  // received, and the guard not read since
    guard::WriterWatch writers_;
    std::string hello_;                              // the reply to the first request of the handshake
    std::string handshakeDifference_;                // that was told last; empty: the latest replies were as learned
    std::map<std::int32_t, AskedGates> askedGates_;  // by the serial of the write
    bool hadSession_ = false;                        // the connection
    bool wasConnected_ = false;
};

}  // namespace ac500::host

#endif
