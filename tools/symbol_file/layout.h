// Sizes and ends of variables in memory, from their type and dimensions. Pure functions.
#ifndef AC500_TOOLS_SYMBOL_FILE_LAYOUT_H
#define AC500_TOOLS_SYMBOL_FILE_LAYOUT_H

#include <cstdint>
#include <vector>

#include "tools/symbol_file/symbol_file.h"

namespace ac500::symbol_file {

// Elements of all dimensions together; 1 without dimensions.
inline std::int64_t countElements(const std::vector<ArrayDimension>& dimensions) {
    std::int64_t count = 1;
    for (const ArrayDimension& dimension : dimensions) {
        count *= dimension.count();
    }
    return count;
}

// From one element of an array to the next, in the unit of Variable::offset: bits for Bit, else bytes.
// REQUIRES: the structure of a variable of type Struct is set.
inline std::int64_t elementStep(const Variable& variable) {
    if (variable.code == TypeCode::Bit) {
        return 1;
    }
    return variable.code == TypeCode::Struct ? variable.structure->sizeBytes
                                             : elementBytes(variable.code, variable.stringCharacters);
}

// The first byte behind a variable, from the start of its area or structure. Bits live in 16-bit words, and a word is
// transferred whole.
inline std::int64_t endByte(const Variable& variable) {
    const std::int64_t end = variable.offset + countElements(variable.dimensions) * elementStep(variable);
    return variable.code == TypeCode::Bit ? (end + 15) / 16 * 2 : end;
}

}  // namespace ac500::symbol_file

#endif
