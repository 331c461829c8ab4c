#include "tools/host/host_session.h"

#include <algorithm>

#include "core/codes.h"
#include "tools/symbol_file/label_records.h"

namespace ac500::host {

namespace {

constexpr Time kShortestStaleAge = std::chrono::seconds(2);
constexpr int kCyclesUntilStale = 3;

const Failure kEnded{FailureKind::Request, "not sent: the session was ended"};

}  // namespace

const char* valueStateName(ValueState state) {
    switch (state) {
        case ValueState::NeverReceived:
            return "never received";
        case ValueState::Fresh:
            return "fresh";
        case ValueState::Stale:
            return "stale";
        case ValueState::WritePending:
            return "write pending";
        case ValueState::WriteFailed:
            return "write failed";
    }
    return "?";
}

HostSession::HostSession(const Parts& parts, const SessionSettings& settings)
    : parts_(parts),
      settings_(settings),
      access_(parts.driver, settings.maxRequestBytes()),
      handover_(settings.maxRequestBytes()) {}

HostSession::~HostSession() {
    stop();
}

bool HostSession::start(std::string* error) {
    comInfo_.maxRequestWords = settings_.maxRequestWords;
    comInfo_.retryLimit = settings_.retryLimit;
    comInfo_.accessMode = kAccessPlc;
    auto worker = std::make_unique<SessionWorker>(
        SessionWorker::Parts{parts_.driver, parts_.clock, parts_.makeTransport, access_, handover_}, settings_);
    if (!worker->hasCallbacks()) {
        *error = "another session of this process uses a driver; its callbacks can serve one only";
        return false;
    }
    worker_ = std::move(worker);
    parts_.driver.setComInfo(&comInfo_);
    parts_.driver.setLocalRegisters(nullptr, nullptr, nullptr);
    QList<Label_Type_Info> records = labelRecords(parts_.tags.file());
    parts_.driver.passSymbols(&records);
    thread_ = std::thread([this] { worker_->run(); });
    return true;
}

void HostSession::stop() {
    if (!thread_.joinable()) {
        return;
    }
    handover_.access()->isStopping = true;
    handover_.wakeLoop();
    thread_.join();
    worker_.reset();
}

bool HostSession::driverKnows(const Tag& tag, std::string* error) const {
    return access_.isKnown(tag, error);
}

// ---------------------------------------------------------------------------------------------------------------------
// Orders
// ---------------------------------------------------------------------------------------------------------------------

void HostSession::poll(const std::vector<Tag>& tags) {
    handover_.access()->newTags = tags;
    handover_.wakeLoop();
}

std::int32_t HostSession::write(const Tag& tag, const HostValues& values) {
    const Time now = parts_.clock.now();
    std::int32_t serial = 0;
    {
        Handover::Access work = handover_.access();
        serial = work->orders.orderWrite(tag, values, now);
        if (work->isStopping) {
            work->orders.failed(serial, kEnded, now);
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
        }
    }
    handover_.wakeLoop();
    return serial;
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
    const std::vector<ByteRun> runs = tag.byteRuns();
    TagValue value;
    Handover::Access work = handover_.access();
    const Time now = parts_.clock.now();
    const auto stored = work->values.find(tag.text);
    const bool isStored = stored != work->values.end();
    const std::optional<Time> received = isStored ? std::optional<Time>(stored->second.received) : std::nullopt;
    const WriteView write = work->orders.view(runs, received, now);
    if (isStored) {
        const bool isStale = !work->status.isOnline || now - *received > staleAge(work->status.statistics);
        value.state = isStale ? ValueState::Stale : ValueState::Fresh;
        value.age = std::chrono::duration_cast<Milliseconds>(now - *received);
        value.isKnown = write.kind != WriteView::Kind::Failed || *received > write.ended;
    }
    if (write.kind != WriteView::Kind::None) {
        value.state = write.kind == WriteView::Kind::Failed ? ValueState::WriteFailed : ValueState::WritePending;
        value.failure = write.failure;
    }
    if (value.isKnown) {
        value.values = stored->second.values;
    }
    return value;
}

// The last pass counts by itself: the median may not know yet that the PLC has become slow.
Time HostSession::staleAge(const Statistics& statistics) const {
    const CycleTimes cycle = statistics.cycleTimes();
    const Time slowest = std::max<Time>({settings_.loop.cycle, cycle.median, cycle.last});
    return std::max<Time>(kShortestStaleAge, kCyclesUntilStale * slowest);
}

SessionStatus HostSession::status() const {
    return handover_.access()->status;
}

std::vector<SessionEvent> HostSession::eventsSince(std::size_t first) const {
    return handover_.access()->eventsSince(first);
}

void HostSession::waitForChange(Milliseconds timeout) const {
    handover_.waitForChange(timeout);
}

}  // namespace ac500::host
