#include "tools/host/statistics.h"

#include <algorithm>

namespace ac500::host {

namespace {

constexpr int kCyclesUntilStale = 3;

}  // namespace

// The last pass counts by itself: the median may not know yet that the PLC has become slow.
Time staleAge(const CycleTimes& times, Time cycle) {
    return std::max(kShortestStaleAge, kCyclesUntilStale * std::max({cycle, times.median, times.last}));
}

void Statistics::addCycle(Time duration) {
    minimum_ = cycleCount_ == 0 ? duration : std::min(minimum_, duration);
    maximum_ = std::max(maximum_, duration);
    cycles_[static_cast<std::size_t>(cycleCount_) % kKeptCycles] = duration;
    ++cycleCount_;
}

CycleTimes Statistics::cycleTimes() const {
    if (measuredElsewhere_) {
        return *measuredElsewhere_;
    }
    if (cycleCount_ == 0) {
        return {};
    }
    const auto kept = std::min<std::int64_t>(cycleCount_, kKeptCycles);
    std::array<Time, kKeptCycles> sorted = cycles_;
    const auto middle = sorted.begin() + kept / 2;
    std::nth_element(sorted.begin(), middle, sorted.begin() + kept);
    const Time last = cycles_[static_cast<std::size_t>(cycleCount_ - 1) % kKeptCycles];
    return {minimum_, *middle, maximum_, last, cycleCount_};
}

}  // namespace ac500::host
