#include "tools/gateway/trend_store.h"

#include <algorithm>

namespace ac500::gateway {

using host::Milliseconds;

namespace {

constexpr std::size_t kLeastBlockSamples = 8;
constexpr std::size_t kMostBlockSamples = 256;
// So many blocks a series has when all have as many: the one that is lost for a new one is a small part of what it knows.
constexpr std::size_t kBlocksPerSeries = 8;

}  // namespace

std::size_t TrendStore::leastBytes(std::size_t series) {
    return 2 * series * (sizeof(Block) + kLeastBlockSamples * kSampleBytes);
}

std::size_t TrendStore::blockSamplesFor(std::size_t bytes, std::size_t series) {
    const std::size_t share = bytes / (kBlocksPerSeries * std::max<std::size_t>(series, 1));
    const std::size_t samples = share > sizeof(Block) ? (share - sizeof(Block)) / kSampleBytes : 0;
    return std::clamp(samples, kLeastBlockSamples, kMostBlockSamples);
}

TrendStore::TrendStore(std::size_t bytes, std::size_t series)
    : blockSamples_(blockSamplesFor(bytes, series)),
      blocks_(series == 0 ? 0 : bytes / (sizeof(Block) + blockSamples_ * kSampleBytes)),
      stamps_(blocks_.size() * blockSamples_),
      values_(blocks_.size() * blockSamples_),
      series_(series) {}

// ---------------------------------------------------------------------------------------------------------------------
// Adding
// ---------------------------------------------------------------------------------------------------------------------

void TrendStore::giveUpFirst(Series* series) {
    series->first = blocks_[series->first].next;
    if (series->first == kNone) {
        series->last = kNone;
    }
}

// Blocks are taken in turn, so the one whose turn it is was begun first of all, and is the first of its series.
std::uint32_t TrendStore::takeBlock(std::size_t series, std::int64_t beginMs) {
    const std::uint32_t taken = nextBlock_;
    nextBlock_ = (nextBlock_ + 1) % static_cast<std::uint32_t>(blocks_.size());
    if (blocks_[taken].series != kNone) {
        giveUpFirst(&series_[blocks_[taken].series]);
    }
    blocks_[taken] = {beginMs, static_cast<std::uint32_t>(series), kNone, 0};
    Series& own = series_[series];
    if (own.last == kNone) {
        own.first = taken;
    } else {
        blocks_[own.last].next = taken;
    }
    own.last = taken;
    return taken;
}

void TrendStore::add(std::size_t series, const TrendSample& sample) {
    const std::lock_guard<std::mutex> lock(mutex_);
    Series& own = series_[series];
    const std::int64_t atMs =
        own.last == kNone ? sample.at.count() : std::max<std::int64_t>(sample.at.count(), own.lastMs);
    std::uint32_t block = own.last;
    if (block == kNone || blocks_[block].samples == blockSamples_ || atMs - blocks_[block].beginMs >= kLongestBlockMs) {
        block = takeBlock(series, atMs);
    }
    Block& to = blocks_[block];
    const std::size_t place = block * blockSamples_ + to.samples;
    stamps_[place] =
        static_cast<std::uint32_t>(atMs - to.beginMs) << kStateBits | static_cast<std::uint32_t>(sample.state);
    values_[place] = sample.state == SampleState::Gap ? 0 : sample.value;
    ++to.samples;
    own.lastMs = atMs;
}

// ---------------------------------------------------------------------------------------------------------------------
// Looking
// ---------------------------------------------------------------------------------------------------------------------

TrendSample TrendStore::sampleIn(std::uint32_t block, std::uint32_t index) const {
    const std::size_t place = block * blockSamples_ + index;
    const std::uint32_t stamp = stamps_[place];
    return {Milliseconds(blocks_[block].beginMs + (stamp >> kStateBits)), values_[place],
            static_cast<SampleState>(stamp & ((1u << kStateBits) - 1))};
}

// Each sample in the order of time, until `visit` returns false; from the last before `from`, or some time earlier.
template <typename Visit>
void TrendStore::visit(std::size_t series, Milliseconds from, Visit visit) const {
    for (std::uint32_t block = series_[series].first; block != kNone; block = blocks_[block].next) {
        const std::uint32_t next = blocks_[block].next;
        if (next != kNone && blocks_[next].beginMs < from.count()) {
            continue;
        }
        for (std::uint32_t index = 0; index < blocks_[block].samples; ++index) {
            if (!visit(sampleIn(block, index))) {
                return;
            }
        }
    }
}

std::optional<Milliseconds> TrendStore::oldest(std::size_t series) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const std::uint32_t first = series_[series].first;
    return first == kNone ? std::nullopt : std::optional<Milliseconds>(blocks_[first].beginMs);
}

std::optional<Milliseconds> TrendStore::oldest() const {
    std::optional<Milliseconds> oldest;
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const Series& series : series_) {
        if (series.first != kNone) {
            const Milliseconds own(blocks_[series.first].beginMs);
            oldest = oldest ? std::max(*oldest, own) : own;
        }
    }
    return oldest;
}

std::vector<TrendSample> TrendStore::samples(std::size_t series, const TrendRange& range, std::size_t most) const {
    std::vector<TrendSample> found;
    const std::lock_guard<std::mutex> lock(mutex_);
    visit(series, range.from, [&](const TrendSample& sample) {
        const bool isEnough = found.size() >= most && sample.at > found.back().at;
        if (sample.at >= range.to || isEnough) {
            return false;
        }
        if (sample.at >= range.from) {
            found.push_back(sample);
        }
        return true;
    });
    return found;
}

std::vector<TrendColumn> TrendStore::columns(std::size_t series, const TrendRange& range, std::size_t columns) const {
    const std::int64_t length = (range.to - range.from).count();
    const auto count = static_cast<std::int64_t>(columns);
    // Rounded down, so that columns differ by a millisecond at most and none overlaps the next.
    const auto columnOf = [&](Milliseconds at) { return (at - range.from).count() * count / length; };
    const auto beginOf = [&](std::int64_t column) {
        return range.from + Milliseconds((column * length + count - 1) / count);
    };

    std::vector<TrendColumn> found;
    std::int64_t current = -1;
    bool isInGap = false;
    const auto noteGap = [&](Milliseconds at) {
        if (!isInGap) {
            found.push_back({at, std::nullopt, std::nullopt});
            isInGap = true;
        }
    };
    const std::lock_guard<std::mutex> lock(mutex_);
    bool wasGapBefore = false;
    visit(series, range.from, [&](const TrendSample& sample) {
        if (sample.at < range.from) {
            wasGapBefore = sample.state == SampleState::Gap;
            return true;
        }
        if (wasGapBefore) {
            noteGap(range.from);
            wasGapBefore = false;
        }
        if (sample.at >= range.to) {
            return false;
        }
        if (sample.state == SampleState::Gap) {
            noteGap(sample.at);
            current = -1;
            return true;
        }
        const std::int64_t column = columnOf(sample.at);
        if (column != current) {
            // Behind a gap within a column, so that times do not go back.
            const Milliseconds begin = isInGap ? sample.at : beginOf(column);
            found.push_back({begin, sample.value, sample.value});
        } else {
            TrendColumn& open = found.back();
            open.least = std::min(*open.least, sample.value);
            open.largest = std::max(*open.largest, sample.value);
        }
        current = column;
        isInGap = false;
        return true;
    });
    if (wasGapBefore) {
        noteGap(range.from);
    }
    return found;
}

}  // namespace ac500::gateway
