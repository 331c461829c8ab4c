#include "tools/metrics/histogram.h"

#include <algorithm>

namespace ac500::metrics {

constexpr Duration Histogram::kLimit;

void Histogram::add(Duration duration) {
    duration = std::max(duration, Duration(0));
    ++counts_[bucketOf(static_cast<std::uint32_t>(std::min(duration, kLimit).count()))];
    ++count_;
    sum_ += duration;
    longest_ = std::max(longest_, duration);
    last_ = duration;
}

void Histogram::merge(const Histogram& other) {
    if (other.count_ == 0) {
        return;
    }
    for (std::size_t bucket = 0; bucket < counts_.size(); ++bucket) {
        counts_[bucket] += other.counts_[bucket];
    }
    count_ += other.count_;
    sum_ += other.sum_;
    longest_ = std::max(longest_, other.longest_);
    last_ = other.last_;
}

Duration Histogram::quantile(int permille) const {
    // Cut in two, so that no count is too large for it: the rank is permille / 1000 of the count, rounded up.
    const std::int64_t rank = count_ / 1000 * permille + (count_ % 1000 * permille + 999) / 1000;
    std::int64_t seen = 0;
    for (std::size_t bucket = 0; bucket < kLastBucket; ++bucket) {
        seen += counts_[bucket];
        if (seen >= rank) {
            return std::min(upperEnd(bucket), longest_);
        }
    }
    return longest_;
}

std::int64_t Histogram::countUpTo(Duration bound) const {
    if (bound >= longest_) {
        return count_;
    }
    std::int64_t seen = 0;
    for (std::size_t bucket = 0; bucket < kLastBucket && upperEnd(bucket) <= bound; ++bucket) {
        seen += counts_[bucket];
    }
    return seen;
}

std::vector<Histogram::Bucket> Histogram::filledBuckets() const {
    std::vector<Bucket> filled;
    for (std::size_t bucket = 0; bucket < counts_.size(); ++bucket) {
        if (counts_[bucket] > 0) {
            filled.emplace_back(bucket, counts_[bucket]);
        }
    }
    return filled;
}

Histogram Histogram::fromBuckets(const std::vector<Bucket>& buckets, Duration sum, Duration longest, Duration last) {
    Histogram histogram;
    for (const auto& [bucket, count] : buckets) {
        if (bucket < histogram.counts_.size() && count > 0) {
            histogram.counts_[bucket] += count;
            histogram.count_ += count;
        }
    }
    histogram.sum_ = sum;
    histogram.longest_ = longest;
    histogram.last_ = last;
    return histogram;
}

// The highest bit says which doubling, the four below it which of its sixteen buckets.
std::size_t Histogram::bucketOf(std::uint32_t microseconds) {
    if (microseconds < (1U << kStepBits)) {
        return microseconds;
    }
    const int highestBit = 31 - __builtin_clz(microseconds);
    const int shift = highestBit - kStepBits;
    return (static_cast<std::size_t>(shift) << kStepBits) + (microseconds >> shift);
}

// The longest duration that the bucket takes. REQUIRES: not the last one
Duration Histogram::upperEnd(std::size_t bucket) {
    if (bucket < (2U << kStepBits)) {
        return Duration(static_cast<std::int64_t>(bucket));
    }
    const std::size_t shift = (bucket >> kStepBits) - 1;
    const std::int64_t step = static_cast<std::int64_t>(bucket) - (static_cast<std::int64_t>(shift) << kStepBits);
    return Duration(((step + 1) << shift) - 1);
}

}  // namespace ac500::metrics
