#include "tools/host/session_worker.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "tools/host/bit_check.h"
#include "tools/host/plant_values.h"

namespace ac500::host {

using events::EventId;

namespace {

bool isReported(const AbandonedRequest& request, VariableId id) {
    return std::any_of(request.reports.begin(), request.reports.end(),
                       [id](const VariableReport& report) { return report.id == id; });
}

// When the PLC has said no, its status word says it all, not the driver's.
std::string causeOf(const AbandonedRequest& request) {
    return request.wasRefused ? request.reason.text : fmt::format("status {}: {}", request.status, request.reason.text);
}

// What became of a write that the driver gave up with `request`. `isPartOfIt`: the request carried some of the write.
std::string fateOf(const AbandonedRequest& request, const Order& write, bool isPartOfIt) {
    if (write.requestsSent == 0 && request.wasHeldBack) {
        return "not sent: " + request.reason.text;  // nothing failed, so the driver's status says nothing
    }
    if (write.requestsSent == 0) {
        return request.wasSent
                   ? fmt::format("dropped by the driver, which gives up all pending writes after a failed one ({})",
                                 causeOf(request))
                   : fmt::format("not sent: {} (status {})", request.reason.text, request.status);
    }
    if (write.requestsSent > 1 || !isPartOfIt) {
        const int taken = isPartOfIt ? write.requestsSent - 1 : write.requestsSent;
        return fmt::format("{} of its requests went out well, then one failed; the PLC has a part of it ({})", taken,
                           causeOf(request));
    }
    return request.wasRefused && !request.isInDoubt
               ? causeOf(request)
               : fmt::format("the request failed; the PLC may or may not have it ({})", causeOf(request));
}

// An item that writes variables of type BIT names bits.
bool carries(const RequestFrame& request, const Order& write) {
    if (write.tag.form.code != TypeCode::Bit) {
        return overlap(request.items, write.runs);
    }
    return std::any_of(request.items.begin(), request.items.end(), [&](const ByteRun& item) {
        return item.area == write.tag.area && item.address >= write.tag.address &&
               item.address < write.tag.address + write.tag.elements;
    });
}

Failure notSent(const Failure& reason) {
    return {reason.kind, "not sent: " + reason.text};
}

// Of a write with an expiry.
const Failure kItsTimeIsOver{FailureKind::Request, "its time was over"};

// Of a write that the driver held when the connection was lost.
const Failure kItsSessionIsLost{FailureKind::Request, "the session with the PLC ended with the earlier connection"};

// Of writes that waited for others, the link being up.
const Failure kSessionIsOver{FailureKind::Request, "the session was ended before its turn came"};
const Failure kTurnDidNotCome{FailureKind::Request, "its turn did not come before its deadline"};

Failure expired(const PollLoop& loop, const Failure& linkReason) {
    return loop.isConnected()
               ? notSent(kItsTimeIsOver)
               : Failure{linkReason.kind, fmt::format("not sent: {}: {}", kItsTimeIsOver.text, linkReason.text)};
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
    ForkGate::Stay stay = parts_.gate.enter();
    const std::unique_ptr<Transport> transport = parts_.makeTransport();
    PollLoop loop({parts_.driver, reports_, *transport, parts_.clock, *this}, settings_.loop);
    const auto waitForWork = [&](Milliseconds pause) {
        stay.unlock();
        const bool goesOn = parts_.handover.waitForWork(pause);
        stay = parts_.gate.enter();
        return goesOn;
    };
    Milliseconds pause{0};
    do {
        giveWorkToDriver(loop);
        pause = loop.step();
        noteLoss(loop);
        tellGates();
        publish(loop);
    } while (waitForWork(pause));
    loop.shutDown();
    failEverything(
        {FailureKind::Request, "the session was ended before it was answered; the PLC may or may not have it"});
    tellGates();
    publish(loop);
}

// What waited for this session is not kept for the next.
void SessionWorker::noteLoss(const PollLoop& loop) {
    if (hadSession_ && !loop.isConnected()) {
        Handover::Access work = parts_.handover.access();
        work->orders.sessionLost(notSent(whyLinkIsDown(work->status)), parts_.clock.now());
    }
    if (wasConnected_ && !loop.isConnected()) {
        forgetProgram();
        unguarded_.clear();
        writers_.forget();
    }
    wasConnected_ = loop.isConnected();
    hadSession_ = loop.isConnected() && (hadSession_ || loop.isOnline());
}

void SessionWorker::publish(const PollLoop& loop) {
    {
        Handover::Access work = parts_.handover.access();
        work->status.state = loop.state();
        if (work->status.isOnline != loop.isOnline()) {
            work->status.isOnline = loop.isOnline();
            work->status.since = parts_.clock.now();
            work->status.sinceWallTime = std::chrono::system_clock::now();
        }
        work->noteEndedOrders(parts_.clock.now());
        work->status.statistics = loop.statistics();
    }
    parts_.handover.wakeCallers();
}

// Writes come first: one that waits for a reading is to tell why the link is down, not that the reading ended.
void SessionWorker::failEverything(const Failure& reason) {
    const Time now = parts_.clock.now();
    Handover::Access work = parts_.handover.access();
    OrderBook& orders = work->orders;
    const Failure notSentReason = notSent(work->status.isOnline ? kSessionIsOver : whyLinkIsDown(work->status));
    for (const OrderKind kind : {OrderKind::Write, OrderKind::Read}) {
        for (const OrderStep step : {OrderStep::Waiting, OrderStep::ReadingFirst, OrderStep::WithDriver}) {
            for (const std::int32_t serial : orders.at(kind, step)) {
                const bool isUnsentWrite = kind == OrderKind::Write && orders.find(serial)->requestsSent == 0;
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
        if (!loop.isOnline() || !settings_.isDeadlineForLinkAlone) {
            const Failure& why = loop.isOnline() ? kTurnDidNotCome : reason;
            work->orders.failOverdueWrites(now, settings_.writeDeadline, notSent(why));
        }
        work->orders.expireWrites(now, expired(loop, reason));
        isOverdue = work->orders.anyWriteOverdue(now, settings_.writeDeadline);
    }
    if (isOverdue && !loop.isConnected()) {
        loop.giveUpUrgentWork(reason);
    }
    if (tags) {
        polled_.clear();
        onlyWrittenHere_.clear();
        for (const Tag& tag : *tags) {
            if (tag.isOnlyWrittenHere) {
                onlyWrittenHere_.emplace(tag.text, polled_.size());
            }
            polled_.push_back({tag, tag.byteRuns()});
        }
        loop.cyclicListRebuilt(parts_.access.rebuildCyclicList(*tags));
        readCyclicGuard(loop);
        happened(EventId::ListRebuilt, fmt::format("read in every cycle from now on: {} tags", tags->size()));
    }
    if (loop.takesWork()) {
        readGuardFirst(loop);
        startWaitingWrites();
        readGuardBehind();
        startWaitingReads(loop);
    }
}

// Behind everything else that is read in a cycle, so that what came before it is covered when it comes.
void SessionWorker::readCyclicGuard(PollLoop& loop) {
    for (const Tag& tag : parts_.guard.tags()) {
        if (const std::optional<int> requests = parts_.access.addToCyclicList(tag)) {
            loop.cyclicListRebuilt(*requests);
        }
    }
}

// On a new connection, before everything else that is read.
void SessionWorker::readGuardFirst(PollLoop& loop) {
    if (parts_.guard.watch().state() != guard::ProgramState::Unknown || openReads().lastGuard != 0) {
        return;
    }
    for (const Tag& tag : parts_.guard.tags()) {
        std::optional<Order> read;
        {
            const Time now = parts_.clock.now();
            Handover::Access work = parts_.handover.access();
            const std::int32_t serial = work->orders.orderRead(tag, now);
            work->orders.handedOver(serial, now);
            read = *work->orders.find(serial);
        }
        startRead(loop, *read);
    }
}

// One-shot reads have the guard read behind them, too: one reading for all that wait.
void SessionWorker::readGuardBehind() {
    if (!parts_.guard.isActive() || parts_.guard.watch().isInDoubt()) {
        return;
    }
    const OpenReads open = openReads();
    if (open.lastOther <= open.lastGuard) {
        return;
    }
    Handover::Access work = parts_.handover.access();
    for (const Tag& tag : parts_.guard.tags()) {
        work->orders.orderRead(tag, parts_.clock.now());
    }
}

SessionWorker::OpenReads SessionWorker::openReads() const {
    OpenReads open;
    Handover::Access work = parts_.handover.access();
    for (const OrderStep step : {OrderStep::Waiting, OrderStep::WithDriver, OrderStep::Answered}) {
        for (const std::int32_t serial : work->orders.at(OrderKind::Read, step)) {
            const Order& read = *work->orders.find(serial);
            if (read.forWrite == 0) {
                std::int64_t& last = parts_.guard.isGuard(read.tag) ? open.lastGuard : open.lastOther;
                last = std::max(last, read.number);
            }
        }
    }
    return open;
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
            happened(EventId::ListRebuilt, read.tag.text + " is read in every cycle, too");
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
            if (OrderBook::mustReadFirst(*next)) {
                work->orders.readFirst(next->serial, parts_.clock.now());
                return;
            }
            write = *next;
        }
        startWrite(*write);
    }
}

void SessionWorker::startWrite(Order write) {
    if (OrderBook::mustReadFirst(write)) {
        write.before = parts_.access.imageValues(write.tag);
        write.bitsBefore = write.tag.form.isBit ? parts_.access.imageValues(allBitsOf(write.tag)) : HostValues();
        parts_.handover.access()->orders.wasRead(write.serial, write.before, write.bitsBefore);
    }
    const Failure reason = whyNotToStart(write);
    if (reason.occurred()) {
        orderFailed(write.serial, notSent(reason));
        return;
    }
    parts_.handover.access()->orders.handedOver(write.serial, parts_.clock.now());
    // While communication has failed the driver shows what is written at once (quirk 25).
    received_.forget(write.runs);
    ownWriteStarts(write);
    if (!parts_.access.write(write.tag, write.values, write.serial)) {
        orderFailed(write.serial, {FailureKind::Name, "the driver refuses to write it"});
    }
}

// The guard has the first word: under another program the other conditions were compared with other variables.
Failure SessionWorker::whyConditionsDoNotHold(const Order& write) const {
    Failure first;
    for (const WriteCondition& condition : write.terms.conditions) {
        const HostValues now = parts_.access.imageValues(condition.tag);
        if (sameValues(now, condition.values)) {
            continue;
        }
        if (parts_.guard.isGuard(condition.tag)) {
            return parts_.guard.otherProgram(condition, now);
        }
        if (!first.occurred()) {
            first = {FailureKind::Request, differenceText(write.tag, condition, now)};
        }
    }
    return first;
}

// The gates come last: whoever lets the write pass is to be the last that has a say, but for the time.
Failure SessionWorker::whyNotToStart(const Order& write) {
    const Failure difference = whyConditionsDoNotHold(write);
    if (difference.occurred()) {
        return difference;
    }
    for (const std::shared_ptr<WriteGate>& gate : write.terms.gates) {
        const Failure reason = gate->beforeWrite(write);
        if (reason.occurred()) {
            return reason;
        }
        AskedGates& asked = askedGates_[write.serial];
        asked.write = write;
        asked.gates.push_back(gate);
    }
    return write.terms.hasExpired(parts_.clock.now()) ? kItsTimeIsOver : Failure();
}

void SessionWorker::tellGates() {
    for (auto entry = askedGates_.begin(); entry != askedGates_.end();) {
        Order& write = entry->second.write;
        if (const std::optional<Order> order = orderOf(write.serial)) {
            write.step = order->step;
            write.outcome = order->outcome;
            write.failure = order->failure;
        }
        if (!hasEnded(write.step)) {
            ++entry;
            continue;
        }
        for (const std::shared_ptr<WriteGate>& gate : entry->second.gates) {
            gate->afterWrite(write);
        }
        entry = askedGates_.erase(entry);
    }
}

std::optional<Order> SessionWorker::orderOf(std::int32_t serial) const {
    Handover::Access work = parts_.handover.access();
    const Order* order = work->orders.find(serial);
    return order == nullptr ? std::nullopt : std::optional<Order>(*order);
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

// A hint, no proof: whether these bytes tell programs apart is not known of any PLC.
void SessionWorker::handshakeAnswered(const RequestFrame& request, const QByteArray& reply) {
    if (request.service == Service::Hello) {
        hello_ = reply.toStdString();
        return;
    }
    const guard::HandshakeReplies replies{hello_, reply.toStdString()};
    const std::string difference = settings_.handshake ? settings_.handshake->difference(replies).value_or("") : "";
    const bool isNews = !difference.empty() && difference != handshakeDifference_;
    handshakeDifference_ = difference;
    Handover::Access work = parts_.handover.access();
    work->handshake = replies;
    if (isNews) {
        work->addEvent(
            EventId::ProgramHandshake,
            fmt::format("the PLC answers the handshake otherwise than was learned: {}; perhaps another program "
                        "is in the PLC; nothing is held",
                        difference),
            parts_.clock.now());
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
    noteGuard();
    received_.confirm();
    publishCopies(std::move(copies));
    endAnsweredWrites();
    std::vector<Order> writes;
    for (const Order& read : reads) {
        if (awaitsGuard(read)) {
            continue;
        }
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
        copies->push_back({tag.text, {parts_.access.imageValues(tag), reception->oldest, reception->newest, {}}});
    }
}

// Under a guard a value is shown when the guard was read after it, too; or as suspect, when that says so.
void SessionWorker::publishCopies(Copies&& copies) {
    if (!parts_.guard.isActive()) {
        store(copies);
        watchWriters(copies);
        return;
    }
    for (auto& [text, value] : copies) {
        unguarded_[text] = std::move(value);
    }
    const guard::ProgramWatch& watch = parts_.guard.watch();
    Copies covered;
    Copies suspect;
    for (auto entry = unguarded_.begin(); entry != unguarded_.end();) {
        StoredValue& value = entry->second;
        const bool isCovered = watch.covers(value.received, value.newest);
        if (!isCovered && !watch.isInDoubt() && !watch.wasReadSince(value.newest)) {
            ++entry;
            continue;
        }
        if (isCovered) {
            covered.emplace_back(entry->first, std::move(value));
        } else if (watch.isInDoubt()) {
            value.suspicion = parts_.guard.doubt();
            suspect.emplace_back(entry->first, std::move(value));
        }
        entry = unguarded_.erase(entry);
    }
    store(covered);
    store(suspect);
    watchWriters(covered);
}

void SessionWorker::store(const Copies& copies) {
    Handover::Access work = parts_.handover.access();
    work->receptions += copies.empty() ? 0 : 1;
    for (const auto& [text, value] : copies) {
        work->values[text] = value;
    }
}

void SessionWorker::endAnsweredWrites() {
    std::vector<Order> succeeded;
    {
        Handover::Access work = parts_.handover.access();
        for (const std::int32_t serial : work->orders.at(OrderKind::Write, OrderStep::Answered)) {
            succeeded.push_back(*work->orders.find(serial));
            work->orders.succeeded(serial);
        }
    }
    for (const Order& write : succeeded) {
        ownWriteSucceeded(write);
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Another program, and other writers
// ---------------------------------------------------------------------------------------------------------------------

// What was read of the guard is believed now, like everything else.
void SessionWorker::noteGuard() {
    std::vector<HostValues> found;
    Time oldest = Time::max();
    bool isNew = false;
    for (const Tag& tag : parts_.guard.tags()) {
        const std::optional<Reception> reception = received_.reception(tag.byteRuns());
        if (!reception) {
            return;
        }
        isNew = isNew || received_.isUnconfirmed(*reception);
        oldest = std::min(oldest, reception->oldest);
        found.push_back(parts_.access.imageValues(tag));
    }
    if (isNew) {
        tellProgram(parts_.guard.read(found, oldest));
    }
}

void SessionWorker::tellProgram(const std::optional<Failure>& news) {
    const Time now = parts_.clock.now();
    Handover::Access work = parts_.handover.access();
    const guard::ProgramState state = parts_.guard.watch().state();
    work->status.program = {state, parts_.guard.doubt()};
    if (!news) {
        return;
    }
    if (!news->occurred()) {
        work->addEvent(EventId::ProgramExpected, "the program of these symbols is in the PLC again; nothing is held",
                       now);
        return;
    }
    const bool isRead = state == guard::ProgramState::Other;
    work->addExchangeFailure(isRead ? EventId::ProgramOther : EventId::ProgramUnreadable, *news, now);
}

// Must it not end before the guard was read behind it?
bool SessionWorker::awaitsGuard(const Order& read) const {
    const guard::ProgramWatch& watch = parts_.guard.watch();
    if (!watch.isGuarded() || watch.isInDoubt() || read.forWrite != 0 || parts_.guard.isGuard(read.tag)) {
        return false;
    }
    const std::optional<Reception> reception = received_.reception(read.runs);
    return reception && !watch.wasReadSince(reception->newest);
}

void SessionWorker::watchWriters(const Copies& copies) {
    if (onlyWrittenHere_.empty()) {
        return;
    }
    for (const auto& [text, value] : copies) {
        const auto position = onlyWrittenHere_.find(text);
        if (position == onlyWrittenHere_.end()) {
            continue;
        }
        const Tag& tag = polled_[position->second].tag;
        if (const auto foreign = writers_.received(text, formatPlantValues(tag, value.values))) {
            parts_.handover.access()->addEvent(EventId::ValueOverwritten,
                                               fmt::format("{}: {}", text, describe(*foreign)), parts_.clock.now());
        }
    }
}

// What was received before the write, and is not shown yet, will not be.
void SessionWorker::ownWriteStarts(const Order& write) {
    for (const PolledTag& polled : polled_) {
        if (overlap(polled.runs, write.runs)) {
            unguarded_.erase(polled.tag.text);
            writers_.touched(polled.tag.text);
        }
    }
}

void SessionWorker::ownWriteSucceeded(const Order& write) {
    for (const PolledTag& polled : polled_) {
        if (polled.tag.isOnlyWrittenHere && polled.tag.text == write.tag.text) {
            writers_.written(write.tag.text, formatPlantValues(write.tag, write.values));
        } else if (overlap(polled.runs, write.runs)) {
            writers_.touched(polled.tag.text);
        }
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// The end of reads
// ---------------------------------------------------------------------------------------------------------------------

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

// Looks at the clock and at how often it was sent: what goes alone is in a request of its own, so this is decided for it.
Failure SessionWorker::whyNotToSend(const RequestFrame& request, bool isRepeat) {
    if (parts_.guard.watch().isInDoubt()) {
        return parts_.guard.doubt();
    }
    Handover::Access work = parts_.handover.access();
    std::vector<std::int32_t> carried;
    for (const std::int32_t serial : work->orders.at(OrderKind::Write, OrderStep::WithDriver)) {
        const Order& write = *work->orders.find(serial);
        if (!carries(request, write)) {
            continue;
        }
        if (isRepeat && write.terms.isOnce) {
            return {FailureKind::Request, "it was sent once, and is not repeated"};
        }
        if (write.lostSession) {
            return kItsSessionIsLost;
        }
        if (write.terms.hasExpired(parts_.clock.now())) {
            return kItsTimeIsOver;
        }
        carried.push_back(serial);
    }
    for (const std::int32_t serial : carried) {
        if (!isRepeat) {
            work->orders.requestSent(serial);
        }
    }
    return {};
}

void SessionWorker::requestAbandoned(const AbandonedRequest& request) {
    switch (request.kind) {
        case RequestKind::Write:
            return writesAbandoned(request);
        case RequestKind::OnceRead:
            return onceReadsAbandoned(request);
        case RequestKind::CyclicRead:
            // Perhaps the guard does not lie in the PLC's memory any more: it is read by itself.
            if (request.wasRefused && !parts_.guard.watch().isInDoubt()) {
                forgetProgram();
            }
            return;
    }
}

void SessionWorker::writesAbandoned(const AbandonedRequest& request) {
    const Time now = parts_.clock.now();
    Handover::Access work = parts_.handover.access();
    for (const std::int32_t serial : work->orders.at(OrderKind::Write, OrderStep::WithDriver)) {
        const Order& write = *work->orders.find(serial);
        // What was read for the write, and what the gates were told, holds for now alone.
        if (request.wasForNewSession && !write.terms.mustReadFirst() && !write.lostSession) {
            work->orders.handedBack(serial);
            continue;
        }
        const bool isPartOfIt = request.wasSent && isReported(request, {kWriteHostId, serial});
        if (isPartOfIt && write.requestsSent == 0) {
            work->orders.requestSent(serial);
        }
        const Failure failure{request.reason.kind, fateOf(request, write, isPartOfIt)};
        if (isPartOfIt && request.wasRefused && !request.isInDoubt) {
            work->orders.refused(serial, failure, now);
        } else {
            work->orders.failed(serial, failure, now);
        }
    }
}

// Those that are read by address are in the cyclic list, which the driver keeps.
void SessionWorker::onceReadsAbandoned(const AbandonedRequest& request) {
    const Time now = parts_.clock.now();
    const Failure failure{request.reason.kind, request.wasRefused
                                                   ? causeOf(request)
                                                   : fmt::format("the request failed ({})", causeOf(request))};
    int guards = 0;
    int others = 0;
    {
        Handover::Access work = parts_.handover.access();
        for (const std::int32_t serial : work->orders.at(OrderKind::Read, OrderStep::WithDriver)) {
            const Order& read = *work->orders.find(serial);
            if (read.requests == 0) {
                continue;
            }
            ++(parts_.guard.isGuard(read.tag) ? guards : others);
            if (request.wasForNewSession) {
                work->orders.handedBack(serial);
            } else {
                work->orders.failed(serial, failure, now);
            }
        }
    }
    if (!request.wasRefused || guards == 0) {
        return;
    }
    if (others == 0) {
        tellProgram(parts_.guard.refused(failure));
        publishCopies({});
    } else if (!parts_.guard.watch().isInDoubt()) {
        forgetProgram();  // which of them was refused, is not known: the guard is read by itself
    }
}

void SessionWorker::forgetProgram() {
    if (parts_.guard.isActive()) {
        parts_.guard.forget();
        tellProgram(std::nullopt);
    }
}

void SessionWorker::failed(EventId event, const Failure& failure) {
    parts_.handover.access()->addExchangeFailure(event, failure, parts_.clock.now());
}

void SessionWorker::happened(EventId event, const std::string& text) {
    parts_.handover.access()->addEvent(event, text, parts_.clock.now());
}

void SessionWorker::measured(LatencyKind kind, Time took) {
    parts_.handover.access()->latencies.of(kind).add(took);
}

bool SessionWorker::hasUrgentWork() const {
    return parts_.handover.access()->orders.anyUrgent();
}

}  // namespace ac500::host
