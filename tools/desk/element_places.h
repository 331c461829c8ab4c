// Elements of arrays: what they are called, and whether they lie where they did in another symbol file. Pure functions.
#ifndef AC500_TOOLS_DESK_ELEMENT_PLACES_H
#define AC500_TOOLS_DESK_ELEMENT_PLACES_H

#include <cstdint>
#include <optional>
#include <string>

#include "tools/symbol_file/symbol_file.h"

namespace ac500::desk {

// The elements from `first` to `last`, counted from 0 in the order of memory: "Main.grid[1,2]", "Main.row[3..5]"; the array's
// own name when they reach from one row into another, and of a variable that is no array.
std::string elementsName(const symbol_file::Leaf& leaf, std::int64_t first, std::int64_t last);

// An element that both files have, and not in the same place of its array.
struct ShiftedElement {
    std::string indices;      // "[2]"
    std::int64_t before = 0;  // bytes; bits for BIT variables
    std::int64_t after = 0;
};

// The first of them; nothing when every element lies as far behind the array's beginning as it did, or has a new name.
std::optional<ShiftedElement> firstShifted(const symbol_file::Leaf& before, const symbol_file::Leaf& after);

// Is what has a name in both files in the same place, and is something of it there at all?
bool elementsStay(const symbol_file::Leaf& before, const symbol_file::Leaf& after);

}  // namespace ac500::desk

#endif
