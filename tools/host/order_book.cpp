#include "tools/host/order_book.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace ac500::host {

namespace {

bool isWithDriver(OrderStep step) {
    return step == OrderStep::ReadingFirst || step == OrderStep::WithDriver;
}

// An upper limit: each call of the driver may leave one request that is not full.
int requestsFor(const Tag& tag, int requestBytes) {
    if (tag.isStringInArray()) {
        return 0;
    }
    std::int64_t requests = static_cast<std::int64_t>(tag.readPlan().size());
    for (const ByteRun& run : tag.byteRuns()) {
        requests += run.size / requestBytes;
    }
    return static_cast<int>(requests);
}

// Each once, the tag of the write first.
std::vector<Tag> tagsToRead(const Order& write) {
    std::vector<Tag> tags{write.tag};
    for (const WriteCondition& condition : write.terms.conditions) {
        const bool isKnown =
            std::any_of(tags.begin(), tags.end(), [&](const Tag& tag) { return tag.text == condition.tag.text; });
        if (!isKnown) {
            tags.push_back(condition.tag);
        }
    }
    return tags;
}

}  // namespace

bool hasEnded(OrderStep step) {
    return step == OrderStep::Succeeded || step == OrderStep::Failed;
}

// ---------------------------------------------------------------------------------------------------------------------
// Orders come in
// ---------------------------------------------------------------------------------------------------------------------

std::int32_t OrderBook::orderWrite(const Tag& tag, const HostValues& values, Time now, const WriteTerms& terms) {
    Order& order = add(OrderKind::Write, tag, now);
    order.values = values;
    order.terms = terms;
    return order.serial;
}

std::int32_t OrderBook::orderRead(const Tag& tag, Time now) {
    Order& order = add(OrderKind::Read, tag, now);
    order.requests = requestsFor(tag, requestBytes_);
    return order.serial;
}

Order& OrderBook::add(OrderKind kind, const Tag& tag, Time now) {
    lastSerial_ = lastSerial_ == std::numeric_limits<std::int32_t>::max() ? 1 : lastSerial_ + 1;
    Lane& lane = laneOf(kind);
    Order& order = lane.orders[lastSerial_];
    order.serial = lastSerial_;
    order.number = ++lastNumber_;
    order.kind = kind;
    order.tag = tag;
    order.runs = tag.byteRuns();
    order.ordered = now;
    lane.at(OrderStep::Waiting).emplace(ageOf(order), order.serial);
    if (kind == OrderKind::Write) {
        writtenBytes_.add(order.number, order.serial, order.runs);
    }
    return order;
}

// ---------------------------------------------------------------------------------------------------------------------
// From step to step
// ---------------------------------------------------------------------------------------------------------------------

const Order* OrderBook::nextWrite() const {
    if (writes_.at(OrderStep::Waiting).empty() || loneWriteUnderway_) {
        return nullptr;
    }
    const Order& first = writes_.oldestAt(OrderStep::Waiting);
    return goesAlone(first) && writesUnderway_ > 0 ? nullptr : &first;
}

const Order* OrderBook::nextRead() const {
    if (reads_.at(OrderStep::Waiting).empty()) {
        return nullptr;
    }
    const Order& first = reads_.oldestAt(OrderStep::Waiting);
    const bool fits = queuedRequests_ + first.requests <= kDriverQueue;
    return fits || first.requests > kDriverQueue ? &first : nullptr;
}

void OrderBook::readFirst(std::int32_t serial, Time now) {
    if (Order* write = openOrder(serial)) {
        moveTo(*write, OrderStep::ReadingFirst);
        const std::vector<Tag> tags = tagsToRead(*write);
        write->readingsLeft = static_cast<int>(tags.size());
        for (const Tag& tag : tags) {
            const std::int32_t reading = orderRead(tag, now);
            reads_.orders.at(reading).forWrite = serial;
        }
    }
}

void OrderBook::wasRead(std::int32_t serial, const HostValues& before, const HostValues& bits) {
    if (Order* write = openOrder(serial)) {
        write->before = before;
        write->bitsBefore = bits;
    }
}

void OrderBook::handedOver(std::int32_t serial, Time now) {
    if (Order* order = openOrder(serial)) {
        order->handedOver = now;
        moveTo(*order, OrderStep::WithDriver);
    }
}

void OrderBook::requestSent(std::int32_t serial) {
    if (Order* write = openOrder(serial)) {
        ++write->requestsSent;
    }
}

void OrderBook::handedBack(std::int32_t serial) {
    if (Order* order = openOrder(serial)) {
        moveTo(*order, OrderStep::Waiting);
    }
}

void OrderBook::answered(std::int32_t serial, Time now) {
    if (Order* order = openOrder(serial)) {
        order->answered = now;
        moveTo(*order, OrderStep::Answered);
    }
}

const Order* OrderBook::succeeded(std::int32_t serial) {
    Order* order = openOrder(serial);
    if (order == nullptr) {
        return nullptr;
    }
    order->outcome = WriteOutcome::Done;
    end(*order, OrderStep::Succeeded, order->answered);
    Order* write = openOrder(order->forWrite);
    return write != nullptr && --write->readingsLeft == 0 ? write : nullptr;
}

void OrderBook::failed(std::int32_t serial, const Failure& failure, Time now) {
    Order* order = openOrder(serial);
    if (order == nullptr) {
        return;
    }
    if (order->kind == OrderKind::Write) {
        const bool wasSent = order->requestsSent > 0 || order->step == OrderStep::Answered;
        failWrite(*order, wasSent ? WriteOutcome::Unknown : WriteOutcome::NotSent, failure, now);
        return;
    }
    order->failure = failure;
    end(*order, OrderStep::Failed, now);
    if (Order* write = openOrder(order->forWrite)) {
        const std::string what = order->tag.text != write->tag.text ? order->tag.text
                                 : write->tag.form.isBit            ? "the variable of the bit"
                                                                    : "it";
        const std::string text = fmt::format("not sent: {} could not be read: {}", what, failure.text);
        failWrite(*write, WriteOutcome::NotSent, {failure.kind, text}, now);
    }
}

void OrderBook::refused(std::int32_t serial, const Failure& failure, Time now) {
    if (Order* write = openOrder(serial)) {
        failWrite(*write, write->requestsSent > 1 ? WriteOutcome::Unknown : WriteOutcome::Refused, failure, now);
    }
}

// What still waits to be read for it is not read.
void OrderBook::failWrite(Order& write, WriteOutcome outcome, const Failure& failure, Time now) {
    const bool wasReading = write.step == OrderStep::ReadingFirst;
    write.outcome = outcome;
    write.failure = failure;
    const std::int32_t serial = write.serial;
    end(write, OrderStep::Failed, now);
    if (!wasReading) {
        return;
    }
    for (const std::int32_t reading : at(OrderKind::Read, OrderStep::Waiting)) {
        if (reads_.orders.at(reading).forWrite == serial) {
            failed(reading, failure, now);
        }
    }
}

void OrderBook::failOverdueWrites(Time now, Milliseconds limit, const Failure& reason) {
    const Serials& waiting = writes_.at(OrderStep::Waiting);
    while (!waiting.empty() && writes_.oldestAt(OrderStep::Waiting).ordered + limit < now) {
        failed(waiting.begin()->second, reason, now);
    }
    for (const std::int32_t serial : at(OrderKind::Write, OrderStep::ReadingFirst)) {
        const Serials& readings = reads_.at(OrderStep::Waiting);
        const bool waits = std::any_of(readings.begin(), readings.end(), [&](const Serials::value_type& reading) {
            return reads_.orders.at(reading.second).forWrite == serial;
        });
        if (waits && writes_.orders.at(serial).ordered + limit < now) {
            failed(serial, reason, now);
        }
    }
}

void OrderBook::expireWrites(Time now, const Failure& reason) {
    for (const OrderStep step : {OrderStep::Waiting, OrderStep::ReadingFirst}) {
        for (const std::int32_t serial : at(OrderKind::Write, step)) {
            if (writes_.orders.at(serial).terms.hasExpired(now)) {
                failed(serial, reason, now);
            }
        }
    }
}

void OrderBook::sessionLost(const Failure& reason, Time now) {
    for (const OrderStep step : {OrderStep::Waiting, OrderStep::ReadingFirst}) {
        for (const std::int32_t serial : at(OrderKind::Write, step)) {
            if (writes_.orders.at(serial).terms.isOnce) {
                failed(serial, reason, now);
            }
        }
    }
    for (const std::int32_t serial : at(OrderKind::Write, OrderStep::WithDriver)) {
        Order& write = writes_.orders.at(serial);
        write.lostSession = write.terms.isOnce;
    }
}

// Null when it has ended.
Order* OrderBook::openOrder(std::int32_t serial) {
    const Order* order = find(serial);
    return order == nullptr || hasEnded(order->step) ? nullptr : &laneOf(order->kind).orders.at(serial);
}

void OrderBook::moveTo(Order& order, OrderStep step) {
    Lane& lane = laneOf(order.kind);
    lane.at(order.step).erase(ageOf(order));
    if (!hasEnded(step)) {
        lane.at(step).emplace(ageOf(order), order.serial);
    }
    const int change = (isWithDriver(step) ? 1 : 0) - (isWithDriver(order.step) ? 1 : 0);
    if (order.kind == OrderKind::Read) {
        queuedRequests_ += change * order.requests;
    } else {
        writesUnderway_ += change;
        if (goesAlone(order)) {
            loneWriteUnderway_ = isWithDriver(step);
            isReadingFirst_ = step == OrderStep::ReadingFirst;
        }
    }
    order.step = step;
}

// The order that ends is the latest, so it is never the one that is forgotten.
void OrderBook::end(Order& order, OrderStep step, Time now) {
    moveTo(order, step);
    order.ended = now;
    if (order.terms.ended) {
        order.terms.ended(order);
    }
    // Who orders a write has been told all of it, and a gate has its own copy: of an ended one no more is asked than what became
    // of it.
    order.before = {};
    order.bitsBefore = {};
    untakenEnded_.push_back({order.kind, order.tag.text, order.ordered, order.forWrite != 0, order.failure});
    Lane& lane = laneOf(order.kind);
    lane.ended.push_back(order.serial);
    if (lane.ended.size() > kKeptEnded) {
        const auto oldest = lane.orders.find(lane.ended.front());
        if (oldest->second.kind == OrderKind::Write) {
            writtenBytes_.remove(oldest->second.number, oldest->second.runs);
        }
        lane.orders.erase(oldest);
        lane.ended.pop_front();
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Questions
// ---------------------------------------------------------------------------------------------------------------------

std::vector<std::int32_t> OrderBook::at(OrderKind kind, OrderStep step) const {
    std::vector<std::int32_t> serials;
    for (const auto& [age, serial] : laneOf(kind).at(step)) {
        serials.push_back(serial);
    }
    return serials;
}

std::vector<EndedOrder> OrderBook::takeEnded() {
    std::vector<EndedOrder> ended;
    ended.swap(untakenEnded_);
    return ended;
}

bool OrderBook::anyWriteOverdue(Time now, Milliseconds limit) const {
    const auto isOverdue = [&](const Serials::value_type& write) {
        return writes_.orders.at(write.second).ordered + limit < now;
    };
    const Serials& readingFirst = writes_.at(OrderStep::ReadingFirst);
    const Serials& withDriver = writes_.at(OrderStep::WithDriver);
    return std::any_of(readingFirst.begin(), readingFirst.end(), isOverdue) ||
           std::any_of(withDriver.begin(), withDriver.end(), isOverdue);
}

const Order* OrderBook::find(std::int32_t serial) const {
    for (const Lane* lane : {&writes_, &reads_}) {
        const auto found = lane->orders.find(serial);
        if (found != lane->orders.end()) {
            return &found->second;
        }
    }
    return nullptr;
}

// The latest write of the tag decides: it is what the operator saw last.
WriteView OrderBook::view(const std::vector<ByteRun>& runs, std::optional<Time> oldest, Time now) const {
    const std::int32_t serial = writtenBytes_.latestIn(runs);
    if (serial == 0) {
        return {};
    }
    const Order& write = writes_.orders.at(serial);
    const bool receivedSince = oldest && *oldest > write.ended;
    const bool isShown = !hasEnded(write.step) || !receivedSince ||
                         (write.step == OrderStep::Failed && now < write.ended + kFailureShown);
    if (!isShown) {
        return {};
    }
    return write.step == OrderStep::Failed ? WriteView{WriteView::Kind::Failed, write.ended, write.failure}
                                           : WriteView{WriteView::Kind::Pending, {}, {}};
}

}  // namespace ac500::host
