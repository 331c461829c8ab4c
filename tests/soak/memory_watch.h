// MemoryWatch judges whether a process keeps its memory. It compares like with like: samples are taken in moments of
// rest, when nothing is under way. Not thread-safe.
#ifndef AC500_TESTS_SOAK_MEMORY_WATCH_H
#define AC500_TESTS_SOAK_MEMORY_WATCH_H

#include <cstdint>
#include <string>
#include <vector>

namespace ac500::soak {

struct MemorySample {
    double seconds = 0;
    std::int64_t heapBytes = 0;      // in use, over all arenas
    std::int64_t residentBytes = 0;  // VmRSS
};

// Of this process, now.
MemorySample sampleMemory(double seconds);
// The largest VmRSS so far (VmHWM).
std::int64_t peakResidentBytes();

struct MemoryVerdict {
    bool isJudged = false;  // false: too few samples, or too short
    bool isFlat = false;
    double heapGrowthBytes = 0;  // what a straight line through the samples rises over the time between first and last
    std::int64_t heapSpreadBytes = 0;  // largest less smallest
    std::int64_t residentGrowthBytes = 0;
};

// Heap in use that may come and go: tables of the last thousand writes and events, whose texts differ in length.
constexpr double kHeapGrowthAllowed = 40 * 1024;
constexpr std::int64_t kHeapSpreadAllowed = 256 * 1024;
// The allocator keeps pages of its own accord.
constexpr std::int64_t kResidentGrowthAllowed = 3 * 1024 * 1024;

MemoryVerdict judgeMemory(const std::vector<MemorySample>& samples);

}  // namespace ac500::soak

#endif
