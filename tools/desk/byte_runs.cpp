#include "tools/desk/byte_runs.h"

#include <algorithm>

namespace ac500::desk {

namespace {

bool standsBefore(const ByteRun& a, const ByteRun& b) {
    return a.area != b.area ? a.area < b.area : a.address < b.address;
}

// Does all of the run lie before the first byte of `other`?
bool endsBefore(const ByteRun& run, const ByteRun& other) {
    return run.area != other.area ? run.area < other.area : endOf(run) <= other.address;
}

// The first run of the set that does not lie before `run`.
std::vector<ByteRun>::const_iterator firstNotBefore(const std::vector<ByteRun>& set, const ByteRun& run) {
    return std::lower_bound(set.begin(), set.end(), run, endsBefore);
}

bool begins(const ByteRun& other, const ByteRun& beforeEndOf) {
    return other.area == beforeEndOf.area && other.address < endOf(beforeEndOf);
}

}  // namespace

std::vector<ByteRun> united(std::vector<ByteRun> runs) {
    std::sort(runs.begin(), runs.end(), standsBefore);
    std::vector<ByteRun> set;
    for (const ByteRun& run : runs) {
        if (run.size <= 0) {
            continue;
        }
        if (!set.empty() && set.back().area == run.area && run.address <= endOf(set.back())) {
            set.back().size = std::max(endOf(set.back()), endOf(run)) - set.back().address;
        } else {
            set.push_back(run);
        }
    }
    return set;
}

std::vector<ByteRun> without(const std::vector<ByteRun>& set, const std::vector<ByteRun>& other) {
    std::vector<ByteRun> rest;
    for (const ByteRun& run : set) {
        std::int64_t from = run.address;
        for (auto hole = firstNotBefore(other, run); hole != other.end() && begins(*hole, run); ++hole) {
            if (hole->address > from) {
                rest.push_back({run.area, from, hole->address - from});
            }
            from = std::max(from, endOf(*hole));
        }
        if (from < endOf(run)) {
            rest.push_back({run.area, from, endOf(run) - from});
        }
    }
    return rest;
}

std::int64_t bytesOf(const std::vector<ByteRun>& set) {
    std::int64_t bytes = 0;
    for (const ByteRun& run : set) {
        bytes += run.size;
    }
    return bytes;
}

std::int64_t bytesWithin(const ByteRun& run, const std::vector<ByteRun>& set) {
    std::int64_t bytes = 0;
    for (auto other = firstNotBefore(set, run); other != set.end() && begins(*other, run); ++other) {
        bytes += std::min(endOf(run), endOf(*other)) - std::max(run.address, other->address);
    }
    return bytes;
}

}  // namespace ac500::desk
