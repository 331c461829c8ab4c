#include "tests/soak/exchange_log.h"

#include <algorithm>

namespace ac500::soak {

void ExchangeLog::sent(const QByteArray& frame, host::Time now) {
    const host::RequestFrame request = host::parseRequest(frame);
    const std::lock_guard<std::mutex> lock(mutex_);
    ++frames_;
    sendings_[static_cast<std::size_t>(frames_) % kKept] = {frames_, now};
    if (request.service != host::Service::Read) {
        return;
    }
    for (const host::ByteRun& item : request.items) {
        seams_.add(item.area, item.address);
        seams_.add(item.area, item.address + item.size);
    }
    seamCount_ = seams_.count();
}

Sending ExchangeLog::lastBefore(host::Time time) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::int64_t low = std::max<std::int64_t>(0, frames_ - static_cast<std::int64_t>(kKept));  // known to be before
    std::int64_t high = frames_;
    while (low < high) {
        const std::int64_t middle = low + (high - low + 1) / 2;
        if (sendings_[static_cast<std::size_t>(middle) % kKept].at <= time) {
            low = middle;
        } else {
            high = middle - 1;
        }
    }
    const Sending& found = sendings_[static_cast<std::size_t>(low) % kKept];
    return found.frame == low && found.at <= time ? found : Sending();
}

std::int64_t ExchangeLog::frames() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return frames_;
}

Seams ExchangeLog::seams() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return seams_;
}

std::size_t ExchangeLog::seamCount() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return seamCount_;
}

}  // namespace ac500::soak
