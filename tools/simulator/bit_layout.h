// BitLayout tells the two kinds of one-byte writes apart. A write request carries no type: the offset of an item is a
// bit address when the client writes a BIT variable, and a byte address when it writes anything else. A real PLC knows
// its variables, and so does the simulator: an item of one byte is a bit write when a BIT variable owns that bit address
// and no other variable owns the byte of the same number. Reads need no such rule: they always name bytes.
//
// Constant after construction.
#ifndef AC500_TOOLS_SIMULATOR_BIT_LAYOUT_H
#define AC500_TOOLS_SIMULATOR_BIT_LAYOUT_H

#include <cstdint>
#include <vector>

#include "tools/symbol_file/symbol_file.h"

namespace ac500::sim {

using symbol_file::Leaf;

class BitLayout {
public:
    BitLayout() = default;
    explicit BitLayout(const std::vector<Leaf>& leaves);

    bool isBitWrite(int area, std::int64_t address) const;

    // BIT variables whose writes would be taken for bytes, at least partly, because another variable owns a byte of the
    // same number. They belong into an area of their own.
    std::vector<Leaf> ambiguousBits(const std::vector<Leaf>& leaves) const;

private:
    // Addresses [begin, end) of one area.
    struct Span {
        int area;
        std::int64_t begin;
        std::int64_t end;
    };

    static bool covers(const std::vector<Span>& spans, int area, std::int64_t address);

    // Sorted, without overlaps.
    std::vector<Span> bits_;
    std::vector<Span> bytes_;
};

}  // namespace ac500::sim

#endif
