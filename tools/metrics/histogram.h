// Histogram counts durations, in microseconds, in buckets that never change: so it takes the same 3 kB after a year, and
// two of them can be put together.
//
// Up to 31 us every microsecond has a bucket of its own; above, each doubling is cut into sixteen equal ones, up to
// kLimit. Longer durations share the last bucket. Count, sum, longest and last are exact.
//
// A quantile is the upper end of the bucket that holds it, and never more than the longest duration: so it is never too
// short, and too long by less than a sixteenth (6.25 %).
//
// A plain value without allocation. Not thread-safe.
#ifndef AC500_TOOLS_METRICS_HISTOGRAM_H
#define AC500_TOOLS_METRICS_HISTOGRAM_H

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace ac500::metrics {

using Duration = std::chrono::microseconds;

class Histogram {
public:
    // 67.1 s: the first duration that only the last bucket takes.
    static constexpr Duration kLimit{std::int64_t{1} << 26};

    // A duration below 0 counts as 0.
    void add(Duration duration);
    // As if everything that the other was given had been given to this one, later.
    void merge(const Histogram& other);
    void reset() { *this = Histogram(); }

    std::int64_t count() const { return count_; }
    Duration sum() const { return sum_; }
    // 0 while there is none, as the other four.
    Duration longest() const { return longest_; }
    Duration last() const { return last_; }

    // The shortest duration that at least `permille` of 1000 do not exceed, as exactly as said above.
    // REQUIRES: 1 <= permille <= 1000
    Duration quantile(int permille) const;
    Duration p50() const { return quantile(500); }
    Duration p99() const { return quantile(990); }

    // How many are known not to exceed `bound`. Exact for bounds of at most 31 us, for those below kLimit that are one less
    // than m * 2^n us with 16 <= m <= 32, and for the longest duration and more.
    std::int64_t countUpTo(Duration bound) const;

    // The buckets that hold something, by their number, which does not change: for handing a histogram to another process.
    using Bucket = std::pair<std::size_t, std::int64_t>;
    std::vector<Bucket> filledBuckets() const;
    // The reverse. A bucket that there is not, and one with less than nothing in it, is left out.
    static Histogram fromBuckets(const std::vector<Bucket>& buckets, Duration sum, Duration longest, Duration last);

private:
    static constexpr int kStepBits = 4;  // sixteen buckets for each doubling
    static constexpr int kLimitBits = 26;
    static constexpr std::size_t kLastBucket = (kLimitBits - kStepBits + 1) << kStepBits;

    static std::size_t bucketOf(std::uint32_t microseconds);
    static Duration upperEnd(std::size_t bucket);

    std::array<std::int64_t, kLastBucket + 1> counts_{};
    std::int64_t count_ = 0;
    Duration sum_{0};
    Duration longest_{0};
    Duration last_{0};
};

}  // namespace ac500::metrics

#endif
