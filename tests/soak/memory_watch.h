// MemoryWatch judges whether a process keeps its memory. It compares like with like: samples are taken in moments of
// rest, when nothing is under way. Not thread-safe.
#ifndef AC500_TESTS_SOAK_MEMORY_WATCH_H
#define AC500_TESTS_SOAK_MEMORY_WATCH_H

#include <array>
#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace ac500::soak {

struct MemorySample {
    double seconds = 0;
    std::int64_t heapBytes = 0;      // in use, over all arenas; less what is known to come and go
    std::int64_t residentBytes = 0;  // VmRSS
};

// Of this process, now.
MemorySample sampleMemory(double seconds);
// The largest VmRSS so far (VmHWM).
std::int64_t peakResidentBytes();

// Heap that a string of so many characters takes.
std::int64_t textBytes(std::size_t characters);

// What the last thousand texts of something take. Written by one thread, read by any.
class TextTally {
public:
    void add(std::size_t characters);
    std::int64_t bytes() const { return bytes_; }

private:
    std::array<std::int64_t, 1000> lengths_{};
    std::size_t next_ = 0;
    std::atomic<std::int64_t> bytes_{0};
};

struct MemoryVerdict {
    bool isJudged = false;  // false: too few samples, or too short
    bool isFlat = false;
    double heapGrowthBytes = 0;  // what a straight line through the samples rises over the time between first and last
    std::int64_t heapSpreadBytes = 0;  // largest less smallest
    std::int64_t residentGrowthBytes = 0;
};

// Heap in use that may come and go: sockets, tables of the last thousand orders of different size.
constexpr double kHeapGrowthAllowed = 40 * 1024;
constexpr std::int64_t kHeapSpreadAllowed = 256 * 1024;
// The allocator keeps pages of its own accord.
constexpr std::int64_t kResidentGrowthAllowed = 3 * 1024 * 1024;

MemoryVerdict judgeMemory(const std::vector<MemorySample>& samples);

}  // namespace ac500::soak

#endif
