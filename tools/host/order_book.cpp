#include "tools/host/order_book.h"

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

}  // namespace

bool hasEnded(OrderStep step) {
    return step == OrderStep::Succeeded || step == OrderStep::Failed;
}

// ---------------------------------------------------------------------------------------------------------------------
// Orders come in
// ---------------------------------------------------------------------------------------------------------------------

std::int32_t OrderBook::orderWrite(const Tag& tag, const HostValues& values, Time now) {
    Order& order = add(OrderKind::Write, tag, now);
    order.values = values;
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
    order.kind = kind;
    order.tag = tag;
    order.runs = tag.byteRuns();
    order.ordered = now;
    lane.waiting.push_back(lastSerial_);
    return order;
}

// ---------------------------------------------------------------------------------------------------------------------
// From step to step
// ---------------------------------------------------------------------------------------------------------------------

const Order* OrderBook::nextWrite() const {
    if (writes_.waiting.empty() || bitWriteUnderway_) {
        return nullptr;
    }
    const Order& first = writes_.orders.at(writes_.waiting.front());
    return mustReadFirst(first.tag) && writesUnderway_ > 0 ? nullptr : &first;
}

const Order* OrderBook::nextRead() const {
    if (reads_.waiting.empty()) {
        return nullptr;
    }
    const Order& first = reads_.orders.at(reads_.waiting.front());
    const bool fits = queuedRequests_ + first.requests <= kDriverQueue;
    return fits || first.requests > kDriverQueue ? &first : nullptr;
}

void OrderBook::readFirst(std::int32_t serial, Time now) {
    if (Order* write = openOrder(serial)) {
        moveTo(*write, OrderStep::ReadingFirst);
        const std::int32_t reading = orderRead(write->tag, now);
        reads_.orders.at(reading).forWrite = serial;
    }
}

void OrderBook::handedOver(std::int32_t serial, Time now, const HostValues& bitsBefore) {
    if (Order* order = openOrder(serial)) {
        order->handedOver = now;
        order->bitsBefore = bitsBefore;
        moveTo(*order, OrderStep::WithDriver);
    }
}

void OrderBook::handedBack(std::int32_t serial) {
    if (Order* order = openOrder(serial)) {
        moveTo(*order, OrderStep::Waiting);
        const Lane& lane = laneOf(order->kind);
        std::deque<std::int32_t>& waiting = laneOf(order->kind).waiting;
        const auto younger = std::find_if(waiting.begin(), waiting.end(), [&](std::int32_t other) {
            const Time ordered = lane.orders.at(other).ordered;
            return ordered > order->ordered || (ordered == order->ordered && other > serial);
        });
        waiting.insert(younger, serial);
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
    end(*order, OrderStep::Succeeded, order->answered);
    return openOrder(order->forWrite);
}

void OrderBook::failed(std::int32_t serial, const Failure& failure, Time now) {
    Order* order = openOrder(serial);
    if (order == nullptr) {
        return;
    }
    order->failure = failure;
    end(*order, OrderStep::Failed, now);
    if (Order* write = openOrder(order->forWrite)) {
        write->failure = {failure.kind, "not sent: the variable of the bit could not be read: " + failure.text};
        end(*write, OrderStep::Failed, now);
    }
}

void OrderBook::expireWrites(Time now, Milliseconds limit, const Failure& reason) {
    while (!writes_.waiting.empty() && writes_.orders.at(writes_.waiting.front()).ordered + limit < now) {
        failed(writes_.waiting.front(), reason, now);
    }
    if (!isReadingFirst_) {
        return;
    }
    for (const std::int32_t reading : std::vector<std::int32_t>(reads_.waiting.begin(), reads_.waiting.end())) {
        const Order* write = openOrder(reads_.orders.at(reading).forWrite);
        if (write != nullptr && write->ordered + limit < now) {
            failed(write->serial, reason, now);
            failed(reading, reason, now);
        }
    }
}

// Null when it has ended.
Order* OrderBook::openOrder(std::int32_t serial) {
    const Order* order = find(serial);
    return order == nullptr || hasEnded(order->step) ? nullptr : &laneOf(order->kind).orders.at(serial);
}

void OrderBook::moveTo(Order& order, OrderStep step) {
    if (order.step == OrderStep::Waiting) {
        std::deque<std::int32_t>& waiting = laneOf(order.kind).waiting;
        waiting.erase(std::find(waiting.begin(), waiting.end(), order.serial));
    }
    const int change = (isWithDriver(step) ? 1 : 0) - (isWithDriver(order.step) ? 1 : 0);
    if (order.kind == OrderKind::Read) {
        queuedRequests_ += change * order.requests;
    } else {
        writesUnderway_ += change;
        if (mustReadFirst(order.tag)) {
            bitWriteUnderway_ = isWithDriver(step);
            isReadingFirst_ = step == OrderStep::ReadingFirst;
        }
    }
    order.step = step;
}

// The order that ends is the latest, so it is never the one that is forgotten.
void OrderBook::end(Order& order, OrderStep step, Time now) {
    moveTo(order, step);
    order.ended = now;
    Lane& lane = laneOf(order.kind);
    lane.ended.push_back(order.serial);
    if (lane.ended.size() > kKeptEnded) {
        lane.orders.erase(lane.ended.front());
        lane.ended.pop_front();
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Questions
// ---------------------------------------------------------------------------------------------------------------------

std::vector<std::int32_t> OrderBook::at(OrderKind kind, OrderStep step) const {
    const std::map<std::int32_t, Order>& orders = laneOf(kind).orders;
    std::vector<std::int32_t> serials;
    for (const auto& [serial, order] : orders) {
        if (order.step == step) {
            serials.push_back(serial);
        }
    }
    std::sort(serials.begin(), serials.end(), [&](std::int32_t a, std::int32_t b) {
        return orders.at(a).ordered < orders.at(b).ordered || (orders.at(a).ordered == orders.at(b).ordered && a < b);
    });
    return serials;
}

bool OrderBook::anyWriteOverdue(Time now, Milliseconds limit) const {
    return writesUnderway_ > 0 && std::any_of(writes_.orders.begin(), writes_.orders.end(),
                                              [&](const std::pair<const std::int32_t, Order>& entry) {
                                                  return isWithDriver(entry.second.step) &&
                                                         entry.second.ordered + limit < now;
                                              });
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
    WriteView view;
    for (const auto& [serial, write] : writes_.orders) {
        if (!overlap(runs, write.runs)) {
            continue;
        }
        const bool receivedSince = oldest && *oldest > write.ended;
        const bool isShown = !hasEnded(write.step) || !receivedSince ||
                             (write.step == OrderStep::Failed && now < write.ended + kFailureShown);
        view = !isShown                          ? WriteView()
               : write.step == OrderStep::Failed ? WriteView{WriteView::Kind::Failed, write.ended, write.failure}
                                                 : WriteView{WriteView::Kind::Pending, {}, {}};
    }
    return view;
}

}  // namespace ac500::host
