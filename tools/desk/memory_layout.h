// MemoryLayout cuts the memory that a pass reads into rows of cells, few enough to be looked at: the one thing that every
// picture of a plan is drawn from. A cell stands for as many bytes as it takes; rows in which nothing is read are left
// out. Pure functions of plain values.
#ifndef AC500_TOOLS_DESK_MEMORY_LAYOUT_H
#define AC500_TOOLS_DESK_MEMORY_LAYOUT_H

#include <cstdint>
#include <vector>

#include "tools/desk/read_plan.h"

namespace ac500::desk {

struct MemoryCell {
    std::int64_t wanted = 0;  // bytes that are read and wanted
    std::int64_t along = 0;   // bytes that are read along; the rest of the cell is not read
    int firstRequest = 0;     // of those that read a byte of it, counted from 1; 0: none
    int lastRequest = 0;
};

struct MemoryRow {
    int area = 0;
    std::int64_t address = 0;  // of the first byte of the first cell
    std::vector<MemoryCell> cells;
};

struct MemoryLayout {
    std::int64_t bytesPerCell = 1;  // a power of two
    int cellsPerRow = 0;
    std::vector<MemoryRow> rows;  // by area and address

    std::int64_t bytesPerRow() const { return bytesPerCell * cellsPerRow; }
    // Does the row stand in another place than right behind the row before it?
    bool beginsSection(std::size_t row) const;
};

// At most so many rows, but one for each area in any case. Addresses of rows are multiples of their bytes.
// REQUIRES: cellsPerRow and mostRows are at least 1.
MemoryLayout layOutMemory(const ObservedPass& pass, const std::vector<WantedTag>& wanted, int cellsPerRow,
                          std::size_t mostRows);

// The requests that read a byte of the row: {first, last}.
struct RequestSpan {
    int first = 0;
    int last = 0;
};
RequestSpan requestsOf(const MemoryRow& row);

}  // namespace ac500::desk

#endif
