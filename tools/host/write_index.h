// WriteIndex finds the latest of the writes that touch given bytes, without a look at all the others.
//
// Not thread-safe.
#ifndef AC500_TOOLS_HOST_WRITE_INDEX_H
#define AC500_TOOLS_HOST_WRITE_INDEX_H

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "tools/host/tag.h"

namespace ac500::host {

class WriteIndex {
public:
    // `number`: no two writes share one; the later write has the larger one.
    void add(std::int64_t number, std::int32_t serial, const std::vector<ByteRun>& runs);
    // REQUIRES: added with these runs
    void remove(std::int64_t number, const std::vector<ByteRun>& runs);

    // The serial of the latest write of which a byte is in `runs`; 0 when there is none.
    std::int32_t latestIn(const std::vector<ByteRun>& runs) const;

private:
    // Of an area, so many bytes from a multiple of it on. A tag is mostly some bytes.
    static constexpr std::int64_t kPageBytes = 64;
    using Page = std::pair<int, std::int64_t>;  // area, address / kPageBytes

    static Page firstOf(const ByteRun& run) { return {run.area, run.address / kPageBytes}; }
    static Page lastOf(const ByteRun& run) { return {run.area, (run.address + run.size - 1) / kPageBytes}; }

    struct Write {
        std::int32_t serial = 0;
        std::vector<ByteRun> runs;  // those with a byte in the page
    };
    std::map<Page, std::map<std::int64_t, Write>> pages_;  // by number the writes of a page
};

}  // namespace ac500::host

#endif
