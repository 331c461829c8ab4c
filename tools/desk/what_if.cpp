#include "tools/desk/what_if.h"

#include <algorithm>

namespace ac500::desk {

namespace {

bool isBetter(const TriedSize& a, const TriedSize& b) {
    return a.requests != b.requests ? a.requests < b.requests : a.maxRequestWords < b.maxRequestWords;
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

std::vector<SizeRange> rangesByTime(const std::vector<TriedSize>& ascending) {
    std::vector<SizeRange> ranges;
    for (const TriedSize& size : ascending) {
        const bool goesOn = !ranges.empty() && ranges.back().first.requests == size.requests &&
                            ranges.back().lastWords + 1 == size.maxRequestWords;
        if (goesOn) {
            ranges.back().lastWords = size.maxRequestWords;
        } else {
            ranges.push_back({size, size.maxRequestWords});
        }
    }
    std::sort(ranges.begin(), ranges.end(),
              [](const SizeRange& a, const SizeRange& b) { return isBetter(a.first, b.first); });
    return ranges;
}

}  // namespace ac500::desk
