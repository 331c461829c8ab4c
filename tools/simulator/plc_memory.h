// PlcMemory is the memory of the simulated PLC: numbered areas of bytes, all zero at first, values big-endian. It
// knows nothing of variables. Not thread-safe; EmbeddedSimulator and TcpServer guard it with the model's lock.
#ifndef AC500_TOOLS_SIMULATOR_PLC_MEMORY_H
#define AC500_TOOLS_SIMULATOR_PLC_MEMORY_H

#include <cstdint>
#include <map>

#include "tools/wire/frame.h"

namespace ac500::sim {

using wire::ByteRun;
using wire::Bytes;

class PlcMemory {
public:
    // Adds an area of zeros; replaces one of the same number.
    void addArea(int number, std::uint32_t sizeBytes);

    bool hasArea(int number) const { return areas_.count(number) != 0; }

    // Does the run lie within an area? An empty run does up to and including the area's end.
    bool contains(const ByteRun& run) const;

    // REQUIRES: contains(run)
    Bytes read(const ByteRun& run) const;

    // REQUIRES: the bytes lie within the area
    void write(int area, std::int64_t address, const Bytes& bytes);

    // The word of a bit: bit b stands in the big-endian 16-bit word at byte (b / 16) * 2, as its bit b % 16, bit 0 being
    // the least significant. So bits 0..7 stand in the second byte of the word.
    static ByteRun wordOfBit(int area, std::int64_t bitAddress);

    // REQUIRES: contains(wordOfBit(area, bitAddress))
    bool bit(int area, std::int64_t bitAddress) const;
    void setBit(int area, std::int64_t bitAddress, bool value);

private:
    std::map<int, Bytes> areas_;
};

}  // namespace ac500::sim

#endif
