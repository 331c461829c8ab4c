#include "tools/host/reception_log.h"

#include <algorithm>

namespace ac500::host {

namespace {

std::uint64_t pageKey(int area, std::int64_t page) {
    return (static_cast<std::uint64_t>(static_cast<std::uint32_t>(area)) << 32) |
           static_cast<std::uint32_t>(page & 0xFFFFFFFF);
}

}  // namespace

void ReceptionLog::record(const std::vector<ByteRun>& items, Time now) {
    for (const ByteRun& item : items) {
        for (std::int64_t done = 0; done < item.size;) {
            const std::int64_t address = item.address + done;
            const std::int64_t inPage = address % kPageBytes;
            const std::int64_t count = std::min(item.size - done, kPageBytes - inPage);
            Page& page = pages_[pageKey(item.area, address / kPageBytes)];
            std::fill_n(page.receivedAt.begin() + inPage, count, now);
            done += count;
        }
    }
}

std::optional<Time> ReceptionLog::oldest(const std::vector<ByteRun>& runs) const {
    std::optional<Time> result;
    for (const ByteRun& run : runs) {
        for (std::int64_t i = 0; i < run.size; ++i) {
            const Time received = receivedAt(run.area, run.address + i);
            if (received == kNever) {
                return std::nullopt;
            }
            result = result ? std::min(*result, received) : received;
        }
    }
    return result;
}

Time ReceptionLog::receivedAt(int area, std::int64_t address) const {
    const auto page = pages_.find(pageKey(area, address / kPageBytes));
    return page == pages_.end() ? kNever : page->second.receivedAt[static_cast<std::size_t>(address % kPageBytes)];
}

}  // namespace ac500::host
