#include "tools/host/statistics.h"

#include <algorithm>

namespace ac500::host {

void Statistics::addCycle(Time duration) {
    minimum_ = cycleCount_ == 0 ? duration : std::min(minimum_, duration);
    maximum_ = std::max(maximum_, duration);
    if (cycles_.size() < kKeptCycles) {
        cycles_.push_back(duration);
    } else {
        cycles_[static_cast<std::size_t>(cycleCount_) % kKeptCycles] = duration;
    }
    ++cycleCount_;
}

CycleTimes Statistics::cycleTimes() const {
    CycleTimes times;
    if (cycles_.empty()) {
        return times;
    }
    std::vector<Time> sorted = cycles_;
    const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
    std::nth_element(sorted.begin(), middle, sorted.end());
    return {minimum_, *middle, maximum_, cycleCount_};
}

}  // namespace ac500::host
