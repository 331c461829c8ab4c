// What a write would put into the PLC's memory, byte by byte, as the driver makes it: numbers big-endian, a boolean a byte,
// bits of a variable as the whole variable. Pure functions.
#ifndef AC500_TOOLS_HOST_PLC_BYTES_H
#define AC500_TOOLS_HOST_PLC_BYTES_H

#include <cstdint>
#include <string>
#include <vector>

#include "tools/host/tag.h"

namespace ac500::host {

struct PlcBytes {
    int area = 0;
    std::int64_t address = 0;  // bytes; of a variable of type BIT bits, each of which takes a byte of its own
    std::string bytes;
};

// One for each run of bytes. `bitsBefore`: of bits of a variable, all bits of it as they are in the PLC.
// REQUIRES: as many values as the tag has elements
std::vector<PlcBytes> plcBytes(const Tag& tag, const HostValues& values, const HostValues& bitsBefore);

// "12 34".
std::string hexText(const std::string& bytes);

}  // namespace ac500::host

#endif
