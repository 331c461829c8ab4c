// MemoryText tells in words what lies in PLC memory: the variables of some bytes with their values, for log lines.
// Constant after construction. Each call looks at every variable once: for a log, not for traffic.
#ifndef AC500_TOOLS_SIMULATOR_MEMORY_TEXT_H
#define AC500_TOOLS_SIMULATOR_MEMORY_TEXT_H

#include <string>
#include <vector>

#include "tools/simulator/element_value.h"

namespace ac500::sim {

using symbol_file::Leaf;

// What a request read or wrote: bytes, or with `isBit` the one bit whose address is run.address.
struct TouchedRun {
    ByteRun run;
    bool isBit = false;
};

class MemoryText {
public:
    explicit MemoryText(std::vector<Leaf> leaves) : leaves_(std::move(leaves)) {}

    // "Main.counter = 7, Main.recipe[2] = -5, Main.title = "a" (part)", in the order of the runs and, within one, of the symbol
    // file; elements beyond the first twelve are counted. Bytes without a variable are "area 1, bytes 4 to 9".
    // REQUIRES: memory.contains each of them
    std::string describe(const PlcMemory& memory, const std::vector<TouchedRun>& touched) const;

private:
    const std::vector<Leaf> leaves_;
};

}  // namespace ac500::sim

#endif
