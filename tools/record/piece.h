// What a recorder hands to where a record is kept: a chunk, ready to be written, and what must stand before it.
#ifndef AC500_TOOLS_RECORD_PIECE_H
#define AC500_TOOLS_RECORD_PIECE_H

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace ac500::record {

using SharedBytes = std::shared_ptr<const std::string>;

struct Piece {
    SharedBytes chunk;
    bool beginsSegment = false;
    std::size_t symbolLists = 0;  // beginsSegment: how many chunks of symbols must stand before it
};

// What stands at the head of every file of a run.
struct Preamble {
    SharedBytes head;                  // of the file, with the chunk that says what it is a record of
    std::vector<SharedBytes> symbols;  // a chunk for each list that was passed so far
};

}  // namespace ac500::record

#endif
