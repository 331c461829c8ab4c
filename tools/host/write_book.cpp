#include "tools/host/write_book.h"

#include <algorithm>
#include <limits>

namespace ac500::host {

namespace {

bool isUnderway(WriteStep step) {
    return step == WriteStep::ReadingFirst || step == WriteStep::WithDriver;
}

}  // namespace

bool hasEnded(WriteStep step) {
    return step == WriteStep::Succeeded || step == WriteStep::Failed;
}

std::int32_t WriteBook::order(const Tag& tag, const HostValues& values, Time now) {
    lastSerial_ = lastSerial_ == std::numeric_limits<std::int32_t>::max() ? 1 : lastSerial_ + 1;
    WriteRecord record;
    record.serial = lastSerial_;
    record.tag = tag;
    record.values = values;
    record.runs = tag.byteRuns();
    record.ordered = now;
    records_[lastSerial_] = record;
    waiting_.push_back(lastSerial_);
    return lastSerial_;
}

const WriteRecord* WriteBook::next() const {
    if (waiting_.empty() || bitWriteUnderway_) {
        return nullptr;
    }
    const WriteRecord& first = records_.at(waiting_.front());
    return mustReadFirst(first.tag) && withDriver_ > 0 ? nullptr : &first;
}

void WriteBook::readingFirst(std::int32_t serial) {
    if (WriteRecord* record = active(serial)) {
        moveTo(*record, WriteStep::ReadingFirst);
    }
}

void WriteBook::withDriver(std::int32_t serial) {
    if (WriteRecord* record = active(serial)) {
        moveTo(*record, WriteStep::WithDriver);
    }
}

void WriteBook::succeeded(std::int32_t serial, Time now) {
    if (WriteRecord* record = active(serial)) {
        end(*record, WriteStep::Succeeded, now);
    }
}

void WriteBook::failed(std::int32_t serial, const Failure& failure, Time now) {
    if (WriteRecord* record = active(serial)) {
        record->failure = failure;
        end(*record, WriteStep::Failed, now);
    }
}

std::vector<std::int32_t> WriteBook::at(WriteStep step) const {
    std::vector<std::int32_t> serials;
    for (const auto& [serial, record] : records_) {
        if (record.step == step) {
            serials.push_back(serial);
        }
    }
    std::sort(serials.begin(), serials.end(), [this](std::int32_t a, std::int32_t b) {
        return records_.at(a).ordered < records_.at(b).ordered ||
               (records_.at(a).ordered == records_.at(b).ordered && a < b);
    });
    return serials;
}

void WriteBook::expire(Time now, Milliseconds limit, const Failure& reason) {
    while (!waiting_.empty() && records_.at(waiting_.front()).ordered + limit < now) {
        failed(waiting_.front(), reason, now);
    }
}

bool WriteBook::isOverdue(Time now, Milliseconds limit) const {
    return anyWithDriver() &&
           std::any_of(records_.begin(), records_.end(), [&](const std::pair<const std::int32_t, WriteRecord>& entry) {
               return isUnderway(entry.second.step) && entry.second.ordered + limit < now;
           });
}

const WriteRecord* WriteBook::find(std::int32_t serial) const {
    const auto found = records_.find(serial);
    return found == records_.end() ? nullptr : &found->second;
}

// The latest write of the tag decides: it is what the operator saw last.
WriteView WriteBook::view(const std::vector<ByteRun>& runs, std::optional<Time> oldest, Time now) const {
    WriteView view;
    for (const auto& [serial, record] : records_) {
        const bool receivedSince = oldest && *oldest > record.ended;
        const bool isShown = !hasEnded(record.step) || !receivedSince ||
                             (record.step == WriteStep::Failed && now < record.ended + kFailureShown);
        if (!overlap(runs, record.runs)) {
            continue;
        }
        view = !isShown                           ? WriteView()
               : record.step == WriteStep::Failed ? WriteView{WriteView::Kind::Failed, record.ended, record.failure}
                                                  : WriteView{WriteView::Kind::Pending, {}, {}};
    }
    return view;
}

WriteRecord* WriteBook::active(std::int32_t serial) {
    const auto found = records_.find(serial);
    return found == records_.end() || hasEnded(found->second.step) ? nullptr : &found->second;
}

void WriteBook::moveTo(WriteRecord& record, WriteStep step) {
    if (record.step == WriteStep::Waiting) {
        waiting_.erase(std::find(waiting_.begin(), waiting_.end(), record.serial));
    }
    withDriver_ += (isUnderway(step) ? 1 : 0) - (isUnderway(record.step) ? 1 : 0);
    if (mustReadFirst(record.tag)) {
        bitWriteUnderway_ = isUnderway(step);
    }
    record.step = step;
}

void WriteBook::end(WriteRecord& record, WriteStep step, Time now) {
    moveTo(record, step);
    record.ended = now;
    ended_.push_back(record.serial);
    if (ended_.size() > kKeptEnded) {
        records_.erase(ended_.front());
        ended_.pop_front();
    }
}

}  // namespace ac500::host
