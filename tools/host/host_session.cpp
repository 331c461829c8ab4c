#include "tools/host/host_session.h"

#include <algorithm>
#include <exception>
#include <new>

#include "core/codes.h"
#include "tools/symbol_file/label_records.h"

namespace ac500::host {

namespace {

const Failure kEnded{FailureKind::Request, "not sent: the session was ended"};

}  // namespace

const char* valueStateName(ValueState state) {
    switch (state) {
        case ValueState::NeverReceived:
            return "never received";
        case ValueState::Fresh:
            return "fresh";
        case ValueState::Suspect:
            return "suspect";
        case ValueState::Stale:
            return "stale";
        case ValueState::WritePending:
            return "write pending";
        case ValueState::WriteFailed:
            return "write failed";
    }
    return "?";
}

bool isSameButAge(const TagValue& a, const TagValue& b) {
    return a.state == b.state && a.isKnown == b.isKnown && a.failure.kind == b.failure.kind &&
           a.failure.text == b.failure.text && a.suspicion.text == b.suspicion.text && sameValues(a.values, b.values);
}

HostSession::HostSession(const Parts& parts, const SessionSettings& settings)
    : parts_(parts),
      settings_(settings),
      guard_(parts.tags),
      access_(parts.driver, settings.maxRequestBytes()),
      handover_(settings.maxRequestBytes()) {
    handover_.access()->onEvent = parts.onEvent;
}

HostSession::~HostSession() {
    stop();
}

bool HostSession::start(std::string* error) {
    comInfo_.maxRequestWords = settings_.maxRequestWords;
    comInfo_.retryLimit = settings_.retryLimit;
    comInfo_.accessMode = kAccessPlc;
    const ForkGate::Stay stay = callerGate_.enter();
    auto worker = std::make_unique<SessionWorker>(
        SessionWorker::Parts{parts_.driver, parts_.clock, parts_.makeTransport, access_, guard_, handover_, loopGate_},
        settings_);
    if (!worker->hasCallbacks()) {
        *error = "another session uses this copy of the driver, which serves one only, or " +
                 std::to_string(DriverReports::kMost) + " sessions are open, which is the most that a program can have";
        return false;
    }
    worker_ = std::move(worker);
    parts_.driver.setComInfo(&comInfo_);
    parts_.driver.setLocalRegisters(nullptr, nullptr, nullptr);
    QList<Label_Type_Info> records = labelRecords(parts_.tags.file());
    parts_.driver.passSymbols(&records);
    {
        Handover::Access work = handover_.access();
        work->status.since = parts_.clock.now();
        work->status.sinceWallTime = std::chrono::system_clock::now();
        work->latencies.since = work->status.since;
    }
    thread_ = std::thread([this] { work(); });
    return true;
}

// Nothing that goes wrong on the loop thread ends the process: memory may run out in a program that can do without this
// session.
void HostSession::work() {
    std::string reason;
    try {
        worker_->run();
        return;
    } catch (const std::bad_alloc&) {
        reason = "there is no memory left";
    } catch (const std::exception& exception) {
        reason = exception.what();
    }
    handover_.loopBroke({FailureKind::Request, "the session has ended: " + reason}, parts_.clock.now());
}

void HostSession::stop() {
    if (!thread_.joinable()) {
        return;
    }
    handover_.access()->isStopping = true;
    handover_.wakeLoop();
    thread_.join();
    const ForkGate::Stay stay = callerGate_.enter();
    worker_.reset();
}

bool HostSession::driverKnows(const Tag& tag, std::string* error) const {
    const ForkGate::Stay stay = callerGate_.enter();
    return access_.isKnown(tag, error);
}

// ---------------------------------------------------------------------------------------------------------------------
// Orders
// ---------------------------------------------------------------------------------------------------------------------

void HostSession::poll(const std::vector<Tag>& tags) {
    handover_.access()->newTags = tags;
    handover_.wakeLoop();
}

std::int32_t HostSession::write(const Tag& tag, const HostValues& values, const WriteTerms& terms) {
    const Time now = parts_.clock.now();
    WriteTerms all = terms;
    all.isOnce = all.isOnce || guard_.isActive();
    all.conditions.insert(all.conditions.end(), guard_.conditions().begin(), guard_.conditions().end());
    std::int32_t serial = 0;
    {
        Handover::Access work = handover_.access();
        serial = work->orders.orderWrite(tag, values, now, all);
        if (work->isStopping) {
            work->orders.failed(serial, kEnded, now);
            work->noteEndedOrders(now);
        }
    }
    handover_.wakeLoop();
    return serial;
}

std::int32_t HostSession::readOnce(const Tag& tag) {
    const Time now = parts_.clock.now();
    std::int32_t serial = 0;
    {
        Handover::Access work = handover_.access();
        serial = work->orders.orderRead(tag, now);
        if (work->isStopping) {
            work->orders.failed(serial, kEnded, now);
            work->noteEndedOrders(now);
        }
    }
    handover_.wakeLoop();
    return serial;
}

void HostSession::giveUpReading(std::int32_t serial) {
    const Time now = parts_.clock.now();
    Handover::Access work = handover_.access();
    const Order* order = work->orders.find(serial);
    if (order != nullptr && order->kind == OrderKind::Read && order->step == OrderStep::Waiting) {
        work->orders.failed(serial, {FailureKind::Request, "given up by its caller"}, now);
    }
}

std::optional<Order> HostSession::order(std::int32_t serial) const {
    Handover::Access work = handover_.access();
    const Order* order = work->orders.find(serial);
    return order == nullptr ? std::nullopt : std::optional<Order>(*order);
}

// ---------------------------------------------------------------------------------------------------------------------
// Values and status
// ---------------------------------------------------------------------------------------------------------------------

TagValue HostSession::value(const Tag& tag) const {
    Handover::Access work = handover_.access();
    const Time now = parts_.clock.now();
    const auto stored = work->values.find(tag.text);
    if (stored != work->values.end()) {
        work->latencies.of(LatencyKind::AgeShown).add(now - stored->second.received);
    }
    return valueIn(*work, tag, now);
}

TagValue HostSession::glance(const Tag& tag) const {
    Handover::Access work = handover_.access();
    return valueIn(*work, tag, parts_.clock.now());
}

bool HostSession::isKnown(const Tag& tag) const {
    Handover::Access work = handover_.access();
    return valueIn(*work, tag, parts_.clock.now()).isKnown;
}

TagValue HostSession::valueIn(const SharedWork& work, const Tag& tag, Time now) const {
    TagValue value;
    const auto stored = work.values.find(tag.text);
    const bool isStored = stored != work.values.end();
    const std::optional<Time> received = isStored ? std::optional<Time>(stored->second.received) : std::nullopt;
    const WriteView write = work.orders.view(tag.byteRuns(), received, now);
    if (isStored) {
        // What is too young to be stale by any pass needs no median of them: most values are.
        const Time age = now - *received;
        const bool isOld =
            age > kShortestStaleAge && age > staleAge(work.status.statistics.cycleTimes(), settings_.loop.cycle);
        value.isStale = !work.status.isOnline || isOld;
        value.state = value.isStale ? ValueState::Stale : ValueState::Fresh;
        value.received = received;
        value.age = std::chrono::duration_cast<Milliseconds>(age);
        value.suspicion = stored->second.suspicion.occurred() ? stored->second.suspicion : work.status.program.doubt;
        value.isKnown = write.kind != WriteView::Kind::Failed || *received > write.ended;
    }
    if (write.kind != WriteView::Kind::None) {
        value.state = write.kind == WriteView::Kind::Failed ? ValueState::WriteFailed : ValueState::WritePending;
        value.failure = write.failure;
    }
    if (value.suspicion.occurred()) {
        value.state = ValueState::Suspect;
    }
    if (value.isKnown) {
        value.values = stored->second.values;
    }
    return value;
}

SessionStatus HostSession::status() const {
    return handover_.access()->status;
}

std::optional<guard::HandshakeReplies> HostSession::handshakeReplies() const {
    return handover_.access()->handshake;
}

std::vector<SessionEvent> HostSession::eventsSince(std::size_t first) const {
    return handover_.access()->eventsSince(first);
}

Latencies HostSession::latencies() const {
    return handover_.access()->latencies;
}

void HostSession::resetLatencies() {
    handover_.access()->resetLatencies(parts_.clock.now());
    handover_.wakeCallers();
}

void HostSession::waitForChange(Milliseconds timeout) const {
    handover_.waitForChange(timeout);
}

std::size_t HostSession::changes() const {
    return handover_.changes();
}

void HostSession::waitForChangeAfter(std::size_t seen, Milliseconds timeout) const {
    handover_.waitForChangeAfter(seen, timeout);
}

std::size_t HostSession::receptions() const {
    return handover_.access()->receptions;
}

void HostSession::checkDeadlines() {
    handover_.wakeLoop();
}

}  // namespace ac500::host
