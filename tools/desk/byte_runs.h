// Sets of bytes of the PLC's memory, as runs. A set is a list of runs that are sorted by area and address, not empty, and
// neither overlap nor touch each other. Pure functions.
#ifndef AC500_TOOLS_DESK_BYTE_RUNS_H
#define AC500_TOOLS_DESK_BYTE_RUNS_H

#include <cstdint>
#include <vector>

#include "tools/wire/frame.h"

namespace ac500::desk {

using wire::ByteRun;

inline std::int64_t endOf(const ByteRun& run) {
    return run.address + run.size;
}

// The set of all bytes of the runs, which may overlap and stand in any order.
std::vector<ByteRun> united(std::vector<ByteRun> runs);

// The bytes of one set that are not in the other.
std::vector<ByteRun> without(const std::vector<ByteRun>& set, const std::vector<ByteRun>& other);

std::int64_t bytesOf(const std::vector<ByteRun>& set);

// How many bytes of the run are in the set.
std::int64_t bytesWithin(const ByteRun& run, const std::vector<ByteRun>& set);

}  // namespace ac500::desk

#endif
