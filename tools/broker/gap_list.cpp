#include "tools/broker/gap_list.h"

#include <algorithm>

namespace ac500::broker {

void GapList::add(const Gap& gap, std::int64_t heldBelow) {
    const bool isFull = records_.size() >= kMostRecords;
    for (auto record = records_.rbegin(); record != records_.rend(); ++record) {
        const bool isNext = record->gap.last < gap.first && (isFull || record->gap.last >= heldBelow);
        if (!record->message && record->gap.reason == gap.reason && isNext) {
            record->gap.last = gap.last;
            record->gap.toMs = gap.toMs;
            return;
        }
    }
    records_.push_back({gap, std::nullopt});
}

std::vector<GapRecord>::iterator GapList::told(std::int64_t sequence) {
    return std::find_if(records_.begin(), records_.end(), [sequence](const GapRecord& record) {
        return record.message && record.message->sequence == sequence;
    });
}

bool GapList::remove(std::int64_t sequence) {
    const auto found = told(sequence);
    if (found == records_.end()) {
        return false;
    }
    records_.erase(found);
    return true;
}

const GapRecord* GapList::untell(std::int64_t sequence) {
    const auto found = told(sequence);
    if (found == records_.end()) {
        return nullptr;
    }
    found->message.reset();
    found->gap.last = std::max(found->gap.last, sequence);
    return &*found;
}

GapRecord* GapList::firstUntold(const std::set<std::int64_t>& except) {
    const auto found = std::find_if(records_.begin(), records_.end(), [&except](const GapRecord& record) {
        return !record.message && except.count(record.gap.first) == 0;
    });
    return found == records_.end() ? nullptr : &*found;
}

}  // namespace ac500::broker
