#include "tools/host/write_index.h"

#include <iterator>

namespace ac500::host {

void WriteIndex::add(std::int64_t number, std::int32_t serial, const std::vector<ByteRun>& runs) {
    for (const ByteRun& run : runs) {
        for (Page page = firstOf(run); page <= lastOf(run); ++page.second) {
            Write& write = pages_[page][number];
            write.serial = serial;
            write.runs.push_back(run);
        }
    }
}

void WriteIndex::remove(std::int64_t number, const std::vector<ByteRun>& runs) {
    for (const ByteRun& run : runs) {
        const auto end = pages_.upper_bound(lastOf(run));
        for (auto page = pages_.lower_bound(firstOf(run)); page != end;) {
            page->second.erase(number);
            page = page->second.empty() ? pages_.erase(page) : std::next(page);
        }
    }
}

std::int32_t WriteIndex::latestIn(const std::vector<ByteRun>& runs) const {
    std::int64_t latest = 0;
    std::int32_t serial = 0;
    for (const ByteRun& run : runs) {
        const auto end = pages_.upper_bound(lastOf(run));
        for (auto page = pages_.lower_bound(firstOf(run)); page != end; ++page) {
            for (auto write = page->second.rbegin(); write != page->second.rend() && write->first > latest; ++write) {
                if (overlap({run}, write->second.runs)) {
                    latest = write->first;
                    serial = write->second.serial;
                }
            }
        }
    }
    return serial;
}

}  // namespace ac500::host
