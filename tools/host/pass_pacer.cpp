#include "tools/host/pass_pacer.h"

#include <algorithm>

namespace ac500::host {

void PassPacer::listRebuilt(int reads) {
    listReads_ = reads;
    isRunning_ = false;
    begun_.reset();
}

void PassPacer::readSent(Time now) {
    if (isRunning_) {
        return;
    }
    isRunning_ = true;
    begun_ = now;
    answered_ = 0;
}

// One-shot reads are counted along: they make a pass end early at most, and the next one begins where it ended.
void PassPacer::readsAnswered(int reads) {
    if (isRunning_) {
        answered_ += reads;
    }
}

std::optional<Time> PassPacer::lineQuiet(Time now) {
    if (!isAnswered()) {
        return std::nullopt;
    }
    isRunning_ = false;
    return now - *begun_;
}

Time PassPacer::untilNext(Time now) const {
    if (isRunning_ || !begun_) {
        return Time(0);
    }
    return std::max(*begun_ + cycle_ - now, Time(0));
}

}  // namespace ac500::host
