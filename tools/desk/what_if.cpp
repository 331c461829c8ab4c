#include "tools/desk/what_if.h"

#include <algorithm>

namespace ac500::desk {

namespace {

bool isBetter(const TriedSize& a, const TriedSize& b) {
    return a.requests != b.requests ? a.requests < b.requests : a.maxRequestWords < b.maxRequestWords;
}

void widen(SizeRange& range, const TriedSize& next) {
    const auto include = [](auto& least, auto& most, auto figure) {
        least = std::min(least, figure);
        most = std::max(most, figure);
    };
    TriedSize& least = range.least;
    TriedSize& most = range.most;
    most.maxRequestWords = next.maxRequestWords;
    include(least.items, most.items, next.items);
    include(least.bytesAsked, most.bytesAsked, next.bytesAsked);
    include(least.bytesSent, most.bytesSent, next.bytesSent);
    include(least.bytesReceived, most.bytesReceived, next.bytesReceived);
}

}  // namespace

TriedSize triedSize(int maxRequestWords, const ObservedPass& pass) {
    TriedSize size;
    size.maxRequestWords = maxRequestWords;
    size.requests = static_cast<int>(pass.requests.size());
    size.items = pass.listItems;
    int items = 0;
    for (const Request& request : pass.requests) {
        for (const ByteRun& item : request.items) {
            size.bytesAsked += ++items <= pass.listItems ? item.size : 0;
        }
        size.bytesSent += request.requestBytes;
        size.bytesReceived += request.replyBytes;
    }
    return size;
}

void sortByTime(std::vector<TriedSize>& sizes) {
    std::sort(sizes.begin(), sizes.end(), isBetter);
}

std::vector<SizeRange> rangesByTime(const std::vector<TriedSize>& ascending, const std::vector<int>& alone) {
    const auto isAlone = [&alone](const TriedSize& size) {
        return std::find(alone.begin(), alone.end(), size.maxRequestWords) != alone.end();
    };
    std::vector<SizeRange> ranges;
    for (const TriedSize& size : ascending) {
        const bool goesOn = !ranges.empty() && ranges.back().most.requests == size.requests &&
                            ranges.back().most.maxRequestWords + 1 == size.maxRequestWords &&
                            !isAlone(ranges.back().most) && !isAlone(size);
        if (goesOn) {
            widen(ranges.back(), size);
        } else {
            ranges.push_back({size, size});
        }
    }
    std::sort(ranges.begin(), ranges.end(),
              [](const SizeRange& a, const SizeRange& b) { return isBetter(a.least, b.least); });
    return ranges;
}

}  // namespace ac500::desk
