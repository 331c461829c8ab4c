#include "tools/host/once_read_book.h"

#include <algorithm>
#include <limits>

namespace ac500::host {

namespace {

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

bool hasEnded(ReadStep step) {
    return step == ReadStep::Succeeded || step == ReadStep::Failed;
}

}  // namespace

std::int32_t OnceReadBook::order(const Tag& tag, int requestBytes, std::int32_t forWrite) {
    lastSerial_ = lastSerial_ == std::numeric_limits<std::int32_t>::max() ? 1 : lastSerial_ + 1;
    OnceReadRecord record;
    record.serial = lastSerial_;
    record.tag = tag;
    record.forWrite = forWrite;
    record.requests = requestsFor(tag, requestBytes);
    records_[lastSerial_] = record;
    waiting_.push_back(lastSerial_);
    while (ended_.size() > kKeptEnded) {
        records_.erase(ended_.front());
        ended_.pop_front();
    }
    return lastSerial_;
}

const OnceReadRecord* OnceReadBook::next() const {
    if (waiting_.empty()) {
        return nullptr;
    }
    const OnceReadRecord& first = records_.at(waiting_.front());
    const bool fits = requestsWithDriver_ + first.requests <= kDriverQueue;
    return fits || first.requests > kDriverQueue ? &first : nullptr;
}

void OnceReadBook::withDriver(std::int32_t serial, Time now) {
    OnceReadRecord& record = records_.at(serial);
    waiting_.erase(std::find(waiting_.begin(), waiting_.end(), serial));
    record.step = ReadStep::WithDriver;
    record.handedOver = now;
    requestsWithDriver_ += record.requests;
}

const OnceReadRecord* OnceReadBook::succeeded(std::int32_t serial) {
    return end(serial, ReadStep::Succeeded);
}

const OnceReadRecord* OnceReadBook::failed(std::int32_t serial, const Failure& failure) {
    const OnceReadRecord* record = end(serial, ReadStep::Failed);
    if (record != nullptr) {
        records_.at(serial).failure = failure;
    }
    return record;
}

std::vector<std::int32_t> OnceReadBook::underway() const {
    std::vector<std::int32_t> serials = withDriver();
    serials.insert(serials.end(), waiting_.begin(), waiting_.end());
    return serials;
}

std::vector<std::int32_t> OnceReadBook::withDriver() const {
    std::vector<std::int32_t> serials;
    for (const auto& [serial, record] : records_) {
        if (record.step == ReadStep::WithDriver) {
            serials.push_back(serial);
        }
    }
    return serials;
}

const OnceReadRecord* OnceReadBook::find(std::int32_t serial) const {
    const auto found = records_.find(serial);
    return found == records_.end() ? nullptr : &found->second;
}

const OnceReadRecord* OnceReadBook::end(std::int32_t serial, ReadStep step) {
    const auto found = records_.find(serial);
    if (found == records_.end() || hasEnded(found->second.step)) {
        return nullptr;
    }
    OnceReadRecord& record = found->second;
    if (record.step == ReadStep::Waiting) {
        waiting_.erase(std::find(waiting_.begin(), waiting_.end(), serial));
    } else {
        requestsWithDriver_ -= record.requests;
    }
    record.step = step;
    ended_.push_back(serial);
    return &record;
}

}  // namespace ac500::host
