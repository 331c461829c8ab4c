// What a symbol file may ask for at most. Every number here is far beyond a real PLC program; together they keep a
// broken or hostile file from exhausting memory, and all address arithmetic within 32 bits.
// docs/symbol-file.md lists them for authors.
#ifndef AC500_TOOLS_SYMBOL_FILE_LIMITS_H
#define AC500_TOOLS_SYMBOL_FILE_LIMITS_H

#include <cstddef>
#include <cstdint>

namespace ac500::symbol_file {

constexpr std::size_t kMaxFileBytes = 64u * 1024 * 1024;
constexpr int kMaxJsonNesting = 64;
constexpr int kMaxJsonValues = 2000000;  // objects, arrays and scalars of the document together

constexpr std::int64_t kMaxAreaNumber = 65535;
constexpr std::int64_t kMaxAreaBytes = 16 * 1024 * 1024;        // one area; bit addresses stay below 2^27
constexpr std::int64_t kMaxTotalAreaBytes = 256 * 1024 * 1024;  // the simulator holds all areas in memory
constexpr std::int64_t kMaxAddress = 0x7fffffff;  // an offset or bit as written, before it is checked to fit

constexpr std::size_t kMaxDimensions = 3;
constexpr std::int64_t kMaxArrayBound = 1000000;  // and the smallest is its negative
constexpr std::int64_t kMaxArrayElements = 1000000;
constexpr int kMaxStructureLevels = 16;
constexpr std::int64_t kMaxLeaves = 1000000;

constexpr std::size_t kMaxUnitBytes = 40;
constexpr std::size_t kMaxValueNameBytes = 80;

constexpr std::size_t kMaxGuards = 8;

constexpr std::size_t kMaxSimulationEntries = 10000;        // signals, and initial values
constexpr std::int64_t kMaxPeriodMs = 24 * 60 * 60 * 1000;  // a day

}  // namespace ac500::symbol_file

#endif
