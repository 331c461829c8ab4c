#include "tests/soak/memory_watch.h"

#include <malloc.h>

#include <algorithm>
#include <fstream>

namespace ac500::soak {

namespace {

constexpr std::size_t kFewestSamples = 6;
constexpr double kShortestSeconds = 15;

std::int64_t statusBytes(const std::string& key) {
    std::ifstream status("/proc/self/status");
    std::string word;
    while (status >> word) {
        std::int64_t kilobytes = 0;
        if (word == key && status >> kilobytes) {
            return kilobytes * 1024;
        }
    }
    return 0;
}

// Slope of the least-squares line, in bytes per second.
double slope(const std::vector<MemorySample>& samples) {
    const auto count = static_cast<double>(samples.size());
    double time = 0;
    double heap = 0;
    for (const MemorySample& sample : samples) {
        time += sample.seconds / count;
        heap += static_cast<double>(sample.heapBytes) / count;
    }
    double covariance = 0;
    double variance = 0;
    for (const MemorySample& sample : samples) {
        covariance += (sample.seconds - time) * (static_cast<double>(sample.heapBytes) - heap);
        variance += (sample.seconds - time) * (sample.seconds - time);
    }
    return variance > 0 ? covariance / variance : 0;
}

}  // namespace

MemorySample sampleMemory(double seconds) {
    return {seconds, static_cast<std::int64_t>(::mallinfo2().uordblks), statusBytes("VmRSS:")};
}

std::int64_t peakResidentBytes() {
    return statusBytes("VmHWM:");
}

std::int64_t textBytes(std::size_t characters) {
    if (characters <= std::string().capacity()) {
        return 0;
    }
    const std::size_t unit = 2 * sizeof(std::size_t);
    return static_cast<std::int64_t>((characters + 1 + sizeof(std::size_t) + unit - 1) / unit * unit);
}

void TextTally::add(std::size_t characters) {
    std::int64_t& place = lengths_[next_];
    next_ = (next_ + 1) % lengths_.size();
    bytes_ += textBytes(characters) - place;
    place = textBytes(characters);
}

MemoryVerdict judgeMemory(const std::vector<MemorySample>& samples) {
    MemoryVerdict verdict;
    if (samples.size() < kFewestSamples || samples.back().seconds - samples.front().seconds < kShortestSeconds) {
        return verdict;
    }
    const auto [smallest, largest] =
        std::minmax_element(samples.begin(), samples.end(),
                            [](const MemorySample& a, const MemorySample& b) { return a.heapBytes < b.heapBytes; });
    verdict.isJudged = true;
    verdict.heapGrowthBytes = slope(samples) * (samples.back().seconds - samples.front().seconds);
    verdict.heapSpreadBytes = largest->heapBytes - smallest->heapBytes;
    verdict.residentGrowthBytes = samples.back().residentBytes - samples.front().residentBytes;
    verdict.isFlat = verdict.heapGrowthBytes <= kHeapGrowthAllowed && verdict.heapSpreadBytes <= kHeapSpreadAllowed &&
                     verdict.residentGrowthBytes <= kResidentGrowthAllowed;
    return verdict;
}

}  // namespace ac500::soak
