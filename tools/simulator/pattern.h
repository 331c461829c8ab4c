// Patterns are values that check themselves: each carries the place of the PLC's memory where it belongs and its
// generation, a number that grows, tied together by a checksum. A value that was read from a wrong place, put together
// from two times, changed on the way or kept too long is seen from the value alone. The signal "pattern" writes them.
//
//   type               bits, from the most significant
//   64-bit integers    place 16, generation 24, checksum 24
//   LREAL              sign and exponent of 1.0 (12), place 16, generation 16, checksum 20: a number in [1, 2)
//   32-bit integers    place 16, generation 8, checksum 8
//   REAL               place 1, the bits 01, place 15, generation 7, checksum 7: no NaN, no infinity, not denormal
//   16-bit integers    checksum 16
//   8-bit integers     checksum 8
//   BOOL, BIT          checksum 1
//   strings            80 characters, five cells of 16 upper-case hexadecimal digits: place 4, generation 6,
//                      number of the cell 1, checksum 5; then the terminator
//
// The place is 4096 * area + address, the address in bits for a BIT, modulo 65536: unique as long as areas 0 to 15 keep
// their patterns below address 4096. What a checksum is made of (place, generation, cell) is not cut to the bits that
// are shown, so a generation that has gone round by the bits shown still differs. Pure functions.
#ifndef AC500_TOOLS_SIMULATOR_PATTERN_H
#define AC500_TOOLS_SIMULATOR_PATTERN_H

#include <cstdint>

#include "tools/simulator/plc_memory.h"
#include "tools/symbol_file/symbol_file.h"

namespace ac500::sim {

using symbol_file::Element;

std::uint16_t patternPlace(int area, std::int64_t address);

// The bytes of one element as they lie in the PLC's memory; for a BIT one byte, 0 or 1. A single bit of a variable
// counts as the whole variable. REQUIRES: no structure.
Bytes patternBytes(const Element& element, std::uint64_t generation);

// Writes the pattern. REQUIRES: the element lies within the memory.
void writePattern(PlcMemory& memory, const Element& element, std::uint64_t generation);

}  // namespace ac500::sim

#endif
