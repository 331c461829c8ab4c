#include "tools/host/reception_log.h"

#include <algorithm>

namespace ac500::host {

namespace {

std::uint64_t pageKey(int area, std::int64_t page) {
    return (static_cast<std::uint64_t>(static_cast<std::uint32_t>(area)) << 32) |
           static_cast<std::uint32_t>(page & 0xFFFFFFFF);
}

// Calls visit(page, first byte in it, bytes) for each page that a run lies on.
template <typename Visit>
void forEachPage(const ByteRun& run, std::int64_t pageBytes, Visit visit) {
    for (std::int64_t done = 0; done < run.size;) {
        const std::int64_t address = run.address + done;
        const std::int64_t inPage = address % pageBytes;
        const std::int64_t count = std::min(run.size - done, pageBytes - inPage);
        visit(pageKey(run.area, address / pageBytes), inPage, count);
        done += count;
    }
}

}  // namespace

void ReceptionLog::record(const std::vector<ByteRun>& items, Time now) {
    if (unconfirmed_.empty()) {
        firstUnconfirmed_ = now;
    }
    unconfirmed_.insert(unconfirmed_.end(), items.begin(), items.end());
    note(items, now);
}

void ReceptionLog::forget(const std::vector<ByteRun>& items) {
    note(items, kNever);
}

void ReceptionLog::discard() {
    forget(unconfirmed_);
    unconfirmed_.clear();
}

void ReceptionLog::note(const std::vector<ByteRun>& items, Time time) {
    for (const ByteRun& item : items) {
        forEachPage(item, kPageBytes, [&](std::uint64_t key, std::int64_t first, std::int64_t count) {
            std::fill_n(pages_[key].receivedAt.begin() + first, count, time);
        });
    }
}

std::optional<Reception> ReceptionLog::reception(const std::vector<ByteRun>& runs) const {
    Reception reception{Time::max(), kNever};
    for (const ByteRun& run : runs) {
        forEachPage(run, kPageBytes, [&](std::uint64_t key, std::int64_t first, std::int64_t count) {
            const auto page = pages_.find(key);
            if (page == pages_.end()) {
                reception.oldest = kNever;
                return;
            }
            const auto begin = page->second.receivedAt.begin() + first;
            const auto [oldest, newest] = std::minmax_element(begin, begin + count);
            reception = {std::min(reception.oldest, *oldest), std::max(reception.newest, *newest)};
        });
    }
    const bool isWhole = reception.oldest != kNever && reception.newest != kNever;
    return isWhole ? std::optional<Reception>(reception) : std::nullopt;
}

}  // namespace ac500::host
