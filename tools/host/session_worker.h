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
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tools/host/driver_reports.h"
#include "tools/host/handover.h"
#include "tools/host/poll_loop.h"
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
        Handover& handover;
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

    void publish(const PollLoop& loop);
    void failEverything(const Failure& reason);

    void giveWorkToDriver(PollLoop& loop);
    void startWaitingReads(PollLoop& loop);
    void startRead(PollLoop& loop, const Order& read);
    void startWaitingWrites();
    void startWrite(const Order& write);
    void orderFailed(std::int32_t serial, const Failure& failure);

    // LoopListener
    void replyAccepted(const RequestFrame& request, const QByteArray& reply) override;
    void variableReported(const VariableReport& report) override;
    void lineInStep() override;
    void lineOutOfStep(const Failure& reason) override;
    void writeOffered(const RequestFrame& request, VariableId first) override;
    void requestAbandoned(const AbandonedRequest& request) override;
    void failed(const Failure& failure) override;
    bool hasUrgentWork() const override;

    using Copies = std::vector<std::pair<std::string, StoredValue>>;  // by the text of the tag

    std::vector<Order> readsThatMayEnd();
    Copies copyReceived(const std::vector<Order>& reads) const;
    void copyIfReceived(const Tag& tag, const std::vector<ByteRun>& runs, Copies* copies) const;
    void store(Copies&& copies);
    void endAnsweredWrites();
    std::optional<Order> endRead(const Order& read);

    void writesAbandoned(const AbandonedRequest& request);
    void onceReadsAbandoned(const AbandonedRequest& request);

    const Parts parts_;
    const SessionSettings settings_;
    DriverReports reports_;

    // Loop thread
    std::vector<PolledTag> polled_;
    ReceptionLog received_;
};

}  // namespace ac500::host

#endif
