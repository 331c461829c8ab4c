#include "tools/host/reply_times.h"

#include <algorithm>

namespace ac500::host {

void ReplyTimes::add(Time now, Time took) {
    const std::int64_t period = periodOf(now);
    if (period != period_) {
        slowestBefore_ = period == period_ + 1 ? slowest_ : Time(0);
        slowest_ = Time(0);
        period_ = period;
    }
    slowest_ = std::max(slowest_, took);
}

Time ReplyTimes::slowest(Time now) const {
    const std::int64_t periods = periodOf(now) - period_;
    return periods == 0 ? std::max(slowest_, slowestBefore_) : periods == 1 ? slowest_ : Time(0);
}

}  // namespace ac500::host
