// The last minutes of a record in memory: whole segments, the oldest of which make room. Not thread-safe.
#ifndef AC500_TOOLS_RECORD_MEMORY_RING_H
#define AC500_TOOLS_RECORD_MEMORY_RING_H

#include <cstddef>
#include <deque>
#include <vector>

#include "tools/record/piece.h"

namespace ac500::record {

class MemoryRing {
public:
    // Keeps the segment that is being written, whatever its size, and of those before it what fits into `mostBytes` with it.
    explicit MemoryRing(std::size_t mostBytes) : mostBytes_(mostBytes) {}

    // REQUIRES: the first one begins a segment.
    void add(const Piece& piece);

    std::size_t bytes() const { return bytes_; }
    // In order; the bytes are shared with the ring.
    std::vector<Piece> pieces() const;

private:
    struct Segment {
        std::vector<Piece> pieces;
        std::size_t bytes = 0;
    };

    const std::size_t mostBytes_;
    std::deque<Segment> segments_;
    std::size_t bytes_ = 0;
};

}  // namespace ac500::record

#endif
