// What reading a list of tags would cost with other sizes of the largest item (maxRequestWords). The number of requests does
// not fall steadily with the size: a request takes the items that fit into it, and large ones leave more of it unused. So
// every size is tried with the driver itself, and these functions put the answers in order. Pure functions.
#ifndef AC500_TOOLS_DESK_WHAT_IF_H
#define AC500_TOOLS_DESK_WHAT_IF_H

#include <cstdint>
#include <vector>

#include "tools/desk/read_plan.h"

namespace ac500::desk {

constexpr int kSmallestTriedWords = 10;

struct TriedSize {
    int maxRequestWords = 0;
    int requests = 0;
    int items = 0;
    std::int64_t bytesAsked = 0;
    std::int64_t bytesSent = 0;
    std::int64_t bytesReceived = 0;
};

TriedSize triedSize(int maxRequestWords, const ObservedPass& pass);

// The best first: the fewest requests, which take the shortest time, then the smaller size.
void sortByTime(std::vector<TriedSize>& sizes);

// Sizes in a row that take as many requests, and the least and the most of everything else that they take.
struct SizeRange {
    TriedSize least;
    TriedSize most;
};

// Of sizes that ascend, in the order of sortByTime. Each of `alone` is a range of its own.
std::vector<SizeRange> rangesByTime(const std::vector<TriedSize>& ascending, const std::vector<int>& alone);

}  // namespace ac500::desk

#endif
