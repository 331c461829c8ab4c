#include "tools/host/session_worker.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "tools/host/bit_check.h"

namespace ac500::host {

namespace {

bool isReported(const AbandonedRequest& request, VariableId id) {
    return std::any_of(request.reports.begin(), request.reports.end(),
                       [id](const VariableReport& report) { return report.id == id; });
}

// When the PLC has said no, its status word says it all, not the driver's.
std::string causeOf(const AbandonedRequest& request) {
    return request.wasRefused ? request.reason.text : fmt::format("status {}: {}", request.status, request.reason.text);
}

// What became of a write that the driver gave up with `request`, reported by it or not.
std::string fateOf(const AbandonedRequest& request, bool wasReported) {
    if (!request.wasSent) {
        return fmt::format("not sent: {} (status {})", request.reason.text, request.status);
    }
    if (!wasReported) {
        return fmt::format("dropped by the driver, which gives up all pending writes after a failed one ({})",
                           causeOf(request));
    }
    return request.wasRefused
               ? causeOf(request)
               : fmt::format("the request failed; the PLC may or may not have it ({})", causeOf(request));
}

Failure notSent(const Failure& reason) {
    return {reason.kind, "not sent: " + reason.text};
}

Failure whyLinkIsDown(const SessionStatus& status) {
    if (!status.lastFailure) {
        return {FailureKind::Request, "the link to the PLC was not up in time"};
    }
    return status.lastFailure->failure;
}

}  // namespace

SessionWorker::SessionWorker(const Parts& parts, const SessionSettings& settings)
    : parts_(parts), settings_(settings), reports_(parts.driver) {}

void SessionWorker::run() {
    const std::unique_ptr<Transport> transport = parts_.makeTransport();
    PollLoop loop({parts_.driver, reports_, *transport, parts_.clock, *this}, settings_.loop);
    Milliseconds pause{0};
    do {
        giveWorkToDriver(loop);
        pause = loop.step();
        publish(loop);
    } while (parts_.handover.waitForWork(pause));
    loop.shutDown();
    failEverything(
        {FailureKind::Request, "the session was ended before it was answered; the PLC may or may not have it"});
    publish(loop);
}

void SessionWorker::publish(const PollLoop& loop) {
    {
        Handover::Access work = parts_.handover.access();
        work->status.state = loop.state();
        work->status.isOnline = loop.isOnline();
        work->status.statistics = loop.statistics();
    }
    parts_.handover.wakeCallers();
}

// Writes come first: one that waits for a reading is to tell why the link is down, not that the reading ended.
void SessionWorker::failEverything(const Failure& reason) {
    const Time now = parts_.clock.now();
    Handover::Access work = parts_.handover.access();
    OrderBook& orders = work->orders;
    const Failure notSentReason = notSent(whyLinkIsDown(work->status));
    for (const OrderKind kind : {OrderKind::Write, OrderKind::Read}) {
        for (const OrderStep step : {OrderStep::Waiting, OrderStep::ReadingFirst, OrderStep::WithDriver}) {
            const bool isUnsentWrite = kind == OrderKind::Write && step != OrderStep::WithDriver;
            for (const std::int32_t serial : orders.at(kind, step)) {
                orders.failed(serial, isUnsentWrite ? notSentReason : reason, now);
            }
        }
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Orders on their way to the driver
// ---------------------------------------------------------------------------------------------------------------------

void SessionWorker::giveWorkToDriver(PollLoop& loop) {
    std::optional<std::vector<Tag>> tags;
    bool isOverdue = false;
    Failure reason;
    {
        const Time now = parts_.clock.now();
        Handover::Access work = parts_.handover.access();
        tags.swap(work->newTags);
        reason = whyLinkIsDown(work->status);
        work->orders.expireWrites(now, settings_.writeDeadline, notSent(reason));
        isOverdue = work->orders.anyWriteOverdue(now, settings_.writeDeadline);
    }
    if (isOverdue && !loop.isConnected()) {
        loop.giveUpUrgentWork(reason);
    }
    if (tags) {
        polled_.clear();
        for (const Tag& tag : *tags) {
            polled_.push_back({tag, tag.byteRuns()});
        }
        loop.cyclicListRebuilt(parts_.access.rebuildCyclicList(*tags));
    }
    if (loop.takesWork()) {
        startWaitingWrites();
        startWaitingReads(loop);
    }
}

void SessionWorker::startWaitingReads(PollLoop& loop) {
    for (;;) {
        std::optional<Order> read;
        {
            Handover::Access work = parts_.handover.access();
            const Order* next = work->orders.nextRead();
            if (next == nullptr) {
                return;
            }
            read = *next;
            work->orders.handedOver(read->serial, parts_.clock.now());
        }
        startRead(loop, *read);
    }
}

void SessionWorker::startRead(PollLoop& loop, const Order& read) {
    if (read.tag.isStringInArray()) {
        if (const std::optional<int> requests = parts_.access.addToCyclicList(read.tag)) {
            loop.cyclicListRebuilt(*requests);
        }
    } else if (read.requests > OrderBook::kDriverQueue) {
        orderFailed(read.serial, {FailureKind::Request, "too long for one reading; read it in parts"});
    } else if (!parts_.access.readOnce(read.tag, read.serial)) {
        orderFailed(read.serial, {FailureKind::Name, "the driver refuses to read it"});
    }
}

void SessionWorker::startWaitingWrites() {
    for (;;) {
        std::optional<Order> write;
        {
            Handover::Access work = parts_.handover.access();
            const Order* next = work->orders.nextWrite();
            if (next == nullptr) {
                return;
            }
            if (OrderBook::mustReadFirst(next->tag)) {
                work->orders.readFirst(next->serial, parts_.clock.now());
                return;
            }
            write = *next;
        }
        startWrite(*write);
    }
}

void SessionWorker::startWrite(const Order& write) {
    const HostValues bitsBefore =
        OrderBook::mustReadFirst(write.tag) ? parts_.access.imageValues(allBitsOf(write.tag)) : HostValues();
    parts_.handover.access()->orders.handedOver(write.serial, parts_.clock.now(), bitsBefore);
    // While communication has failed the driver shows what is written at once (quirk 25).
    received_.forget(write.runs);
    if (!parts_.access.write(write.tag, write.values, write.serial)) {
        orderFailed(write.serial, {FailureKind::Name, "the driver refuses to write it"});
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// What became of them
// ---------------------------------------------------------------------------------------------------------------------

void SessionWorker::orderFailed(std::int32_t serial, const Failure& failure) {
    parts_.handover.access()->orders.failed(serial, failure, parts_.clock.now());
}

void SessionWorker::replyAccepted(const RequestFrame& request, const QByteArray&) {
    if (request.service == Service::Read) {
        received_.record(request.items, parts_.clock.now());
    }
}

void SessionWorker::variableReported(const VariableReport& report) {
    const bool isOrder = report.id.hostId == kWriteHostId || report.id.hostId == kOnceReadHostId;
    if (isOrder && report.success) {
        parts_.handover.access()->orders.answered(report.id.hostSubId, parts_.clock.now());
    }
}

// Of the variables of a request the driver shows the first at once.
void SessionWorker::writeOffered(const RequestFrame& request, VariableId first) {
    std::vector<ByteRun> runs = request.items;
    if (first.hostId == kWriteHostId) {
        Handover::Access work = parts_.handover.access();
        if (const Order* write = work->orders.find(first.hostSubId)) {
            runs = write->runs;  // an item that writes a BIT names bits
        }
    }
    received_.forget(runs);
}

// ---------------------------------------------------------------------------------------------------------------------
// What is to be believed
// ---------------------------------------------------------------------------------------------------------------------

// A bit write that waited for its reading goes on at once: the driver makes the new value of the variable from the bits
// that have just come in.
void SessionWorker::lineInStep() {
    const std::vector<Order> reads = readsThatMayEnd();
    Copies copies = copyReceived(reads);
    received_.confirm();
    store(std::move(copies));
    endAnsweredWrites();
    std::vector<Order> writes;
    for (const Order& read : reads) {
        if (const std::optional<Order> write = endRead(read)) {
            writes.push_back(*write);
        }
    }
    for (const Order& write : writes) {
        startWrite(write);
    }
}

void SessionWorker::lineOutOfStep(const Failure& reason) {
    received_.discard();
    const Time now = parts_.clock.now();
    const std::string doubt = fmt::format("answered, but perhaps not by its own reply ({})", reason.text);
    Handover::Access work = parts_.handover.access();
    for (const std::int32_t serial : work->orders.at(OrderKind::Write, OrderStep::Answered)) {
        work->orders.failed(serial, {reason.kind, doubt + "; the PLC may or may not have it"}, now);
    }
    for (const std::int32_t serial : work->orders.at(OrderKind::Read, OrderStep::Answered)) {
        work->orders.failed(serial, {reason.kind, doubt}, now);
    }
}

// Those that were answered, and those that the driver does not report: a string in an array is in the cyclic list.
std::vector<Order> SessionWorker::readsThatMayEnd() {
    std::vector<Order> reads;
    Handover::Access work = parts_.handover.access();
    for (const std::int32_t serial : work->orders.at(OrderKind::Read, OrderStep::Answered)) {
        reads.push_back(*work->orders.find(serial));
    }
    for (const std::int32_t serial : work->orders.at(OrderKind::Read, OrderStep::WithDriver)) {
        const Order& read = *work->orders.find(serial);
        if (read.tag.isStringInArray()) {
            reads.push_back(read);
        }
    }
    return reads;
}

SessionWorker::Copies SessionWorker::copyReceived(const std::vector<Order>& reads) const {
    Copies copies;
    for (const PolledTag& polled : polled_) {
        copyIfReceived(polled.tag, polled.runs, &copies);
    }
    for (const Order& read : reads) {
        copyIfReceived(read.tag, read.runs, &copies);
    }
    return copies;
}

void SessionWorker::copyIfReceived(const Tag& tag, const std::vector<ByteRun>& runs, Copies* copies) const {
    const std::optional<Reception> reception = received_.reception(runs);
    if (reception && received_.isUnconfirmed(*reception)) {
        copies->push_back({tag.text, {parts_.access.imageValues(tag), reception->oldest}});
    }
}

void SessionWorker::store(Copies&& copies) {
    Handover::Access work = parts_.handover.access();
    for (auto& [text, value] : copies) {
        work->values[text] = std::move(value);
    }
}

void SessionWorker::endAnsweredWrites() {
    Handover::Access work = parts_.handover.access();
    for (const std::int32_t serial : work->orders.at(OrderKind::Write, OrderStep::Answered)) {
        work->orders.succeeded(serial);
    }
}

// Returns the bit write that waited for it.
std::optional<Order> SessionWorker::endRead(const Order& read) {
    const std::optional<Reception> reception = received_.reception(read.runs);
    Handover::Access work = parts_.handover.access();
    if (read.step == OrderStep::Answered && !reception) {
        work->orders.failed(read.serial, {FailureKind::Request, "it was written before its reading could be believed"},
                            parts_.clock.now());
        return std::nullopt;
    }
    if (read.step == OrderStep::WithDriver) {
        if (!reception || reception->oldest <= read.handedOver) {
            return std::nullopt;
        }
        work->orders.answered(read.serial, reception->newest);
    }
    const Order* write = work->orders.succeeded(read.serial);
    return write == nullptr ? std::nullopt : std::optional<Order>(*write);
}

// ---------------------------------------------------------------------------------------------------------------------
// What the driver gave up
// ---------------------------------------------------------------------------------------------------------------------

void SessionWorker::requestAbandoned(const AbandonedRequest& request) {
    switch (request.kind) {
        case RequestKind::Write:
            return writesAbandoned(request);
        case RequestKind::OnceRead:
            return onceReadsAbandoned(request);
        case RequestKind::CyclicRead:
            return;
    }
}

void SessionWorker::writesAbandoned(const AbandonedRequest& request) {
    const Time now = parts_.clock.now();
    Handover::Access work = parts_.handover.access();
    for (const std::int32_t serial : work->orders.at(OrderKind::Write, OrderStep::WithDriver)) {
        if (request.wasForNewSession) {
            work->orders.handedBack(serial);
            continue;
        }
        const std::string fate = fateOf(request, isReported(request, {kWriteHostId, serial}));
        work->orders.failed(serial, {request.reason.kind, fate}, now);
    }
}

// Those that are read by address are in the cyclic list, which the driver keeps.
void SessionWorker::onceReadsAbandoned(const AbandonedRequest& request) {
    const Time now = parts_.clock.now();
    const Failure failure{request.reason.kind, request.wasRefused
                                                   ? causeOf(request)
                                                   : fmt::format("the request failed ({})", causeOf(request))};
    Handover::Access work = parts_.handover.access();
    for (const std::int32_t serial : work->orders.at(OrderKind::Read, OrderStep::WithDriver)) {
        if (work->orders.find(serial)->requests == 0) {
            continue;
        }
        if (request.wasForNewSession) {
            work->orders.handedBack(serial);
        } else {
            work->orders.failed(serial, failure, now);
        }
    }
}

void SessionWorker::failed(const Failure& failure) {
    parts_.handover.access()->addEvent({parts_.clock.now(), failure});
}

bool SessionWorker::hasUrgentWork() const {
    return parts_.handover.access()->orders.anyUrgent();
}

}  // namespace ac500::host
