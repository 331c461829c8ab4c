// Numbers that tell texts apart: against damage, and for whether something is still the same. The same on every machine and
// in every later version, so they may stand in files. Pure functions.
#ifndef AC500_TOOLS_TEXT_CHECKSUM_H
#define AC500_TOOLS_TEXT_CHECKSUM_H

#include <cstdint>
#include <string_view>

namespace ac500::text {

// CRC-32 as in Ethernet, gzip and zip files. `before`: that of the bytes before these, 0 when there were none.
std::uint32_t crc32(std::string_view bytes, std::uint32_t before = 0);

// FNV-1a with 64 bits, of all bytes that were added.
class Fnv1a {
public:
    void add(std::string_view bytes);
    std::uint64_t value() const { return value_; }

private:
    std::uint64_t value_ = 0xCBF29CE484222325U;
};

}  // namespace ac500::text

#endif
