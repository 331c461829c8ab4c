// TrendStore keeps samples of some numbers, the latest of them, in a number of bytes that never changes: 12 bytes a sample,
// a time and a value, in blocks that each belong to one series. When all blocks are taken, the one that was begun first is
// given to whoever needs the next, so that no series can grow at the cost of what is newer than its own.
//
// Times are whole milliseconds. Values are doubles: whole numbers beyond 2^53 are rounded.
//
// Any thread.
#ifndef AC500_TOOLS_GATEWAY_TREND_STORE_H
#define AC500_TOOLS_GATEWAY_TREND_STORE_H

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

#include "tools/host/clock.h"

namespace ac500::gateway {

enum class SampleState : std::uint8_t {
    Good,
    Suspect,  // perhaps of another program than the symbols describe
    Gap,      // no value: from here to the next sample nothing is known
};

struct TrendSample {
    host::Milliseconds at{0};
    double value = 0;  // 0 for a Gap
    SampleState state = SampleState::Good;
};

// What a pixel shows: the least and the largest of its samples. Nothing of both: from here on nothing is known.
struct TrendColumn {
    host::Milliseconds at{0};  // where the column begins; of a gap, where that begins
    std::optional<double> least;
    std::optional<double> largest;
};

// [from, to)
struct TrendRange {
    host::Milliseconds from{0};
    host::Milliseconds to{0};
};

class TrendStore {
public:
    static constexpr std::size_t kSampleBytes = sizeof(std::uint32_t) + sizeof(double);

    // `bytes`: of samples and of the heads of blocks. REQUIRES: as much as leastBytes() of the series
    TrendStore(std::size_t bytes, std::size_t series);
    // Two small blocks for each.
    static std::size_t leastBytes(std::size_t series);

    // Times of a series must not go back: an earlier one than the last is taken for the last.
    void add(std::size_t series, const TrendSample& sample);

    // How many samples fit, of all series.
    std::size_t capacity() const { return blocks_.size() * blockSamples_; }
    // The oldest sample that is kept: of a series, and of the series whose oldest is the latest, so that all are there from
    // then on. Nothing when there is none; a series without samples does not count.
    std::optional<host::Milliseconds> oldest(std::size_t series) const;
    std::optional<host::Milliseconds> oldest() const;

    // In the order of time; a gap that began before the range and lasts into it comes first. A column without samples is left
    // out. REQUIRES: columns > 0 and range.from < range.to
    std::vector<TrendColumn> columns(std::size_t series, const TrendRange& range, std::size_t columns) const;
    // The samples themselves, the first `most` of them and what else has the time of the last: who wants the rest goes on a
    // millisecond later.
    std::vector<TrendSample> samples(std::size_t series, const TrendRange& range, std::size_t most) const;

private:
    static constexpr std::uint32_t kNone = UINT32_MAX;
    // A stamp is the time since the block's first sample, and the state in its two lowest bits.
    static constexpr int kStateBits = 2;
    static constexpr std::int64_t kLongestBlockMs = std::int64_t{1} << (32 - kStateBits);

    struct Block {
        std::int64_t beginMs = 0;      // of the first sample
        std::uint32_t series = kNone;  // kNone: it was never used
        std::uint32_t next = kNone;    // of the series, by time
        std::uint32_t samples = 0;
    };
    struct Series {
        std::uint32_t first = kNone;
        std::uint32_t last = kNone;
        std::int64_t lastMs = 0;  // of the latest sample
    };

    static std::size_t blockSamplesFor(std::size_t bytes, std::size_t series);
    std::uint32_t takeBlock(std::size_t series, std::int64_t beginMs);
    void giveUpFirst(Series* series);
    TrendSample sampleIn(std::uint32_t block, std::uint32_t index) const;
    template <typename Visit>
    void visit(std::size_t series, host::Milliseconds from, Visit visit) const;

    const std::size_t blockSamples_;

    mutable std::mutex mutex_;
    // Protected by mutex_
    std::vector<Block> blocks_;
    std::vector<std::uint32_t> stamps_;  // blockSamples_ for each block
    std::vector<double> values_;         // as stamps_
    std::vector<Series> series_;
    std::uint32_t nextBlock_ = 0;
};

}  // namespace ac500::gateway

#endif
