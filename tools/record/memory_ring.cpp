#include "tools/record/memory_ring.h"

namespace ac500::record {

void MemoryRing::add(const Piece& piece) {
    if (piece.beginsSegment) {
        segments_.emplace_back();
    }
    segments_.back().pieces.push_back(piece);
    segments_.back().bytes += piece.chunk->size();
    bytes_ += piece.chunk->size();
    while (bytes_ > mostBytes_ && segments_.size() > 1) {
        bytes_ -= segments_.front().bytes;
        segments_.pop_front();
    }
}

std::vector<Piece> MemoryRing::pieces() const {
    std::vector<Piece> pieces;
    for (const Segment& segment : segments_) {
        pieces.insert(pieces.end(), segment.pieces.begin(), segment.pieces.end());
    }
    return pieces;
}

}  // namespace ac500::record
