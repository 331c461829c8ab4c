#include "tools/simulator/plc_memory.h"

#include "protocol/bytes.h"

namespace ac500::sim {

void PlcMemory::addArea(int number, std::uint32_t sizeBytes) {
    areas_[number] = Bytes(sizeBytes, '\0');
}

bool PlcMemory::contains(const ByteRange& range) const {
    const auto area = areas_.find(range.area);
    return area != areas_.end() && range.offset <= area->second.size() &&
           range.size <= area->second.size() - range.offset;
}

Bytes PlcMemory::read(const ByteRange& range) const {
    return areas_.at(range.area).substr(static_cast<std::size_t>(range.offset), static_cast<std::size_t>(range.size));
}

void PlcMemory::write(int area, std::uint64_t offset, const Bytes& bytes) {
    areas_.at(area).replace(static_cast<std::size_t>(offset), bytes.size(), bytes);
}

ByteRange PlcMemory::wordOfBit(int area, std::uint64_t bitAddress) {
    return {area, bitAddress / 16 * 2, 2};
}

bool PlcMemory::bit(int area, std::uint64_t bitAddress) const {
    const Bytes word = read(wordOfBit(area, bitAddress));
    return ((getU16(word.data()) >> (bitAddress % 16)) & 1) != 0;
}

void PlcMemory::setBit(int area, std::uint64_t bitAddress, bool value) {
    const ByteRange range = wordOfBit(area, bitAddress);
    Bytes word = read(range);
    const unsigned mask = 1U << (bitAddress % 16);
    const unsigned old = getU16(word.data());
    putU16(&word[0], static_cast<quint16>(value ? old | mask : old & ~mask));
    write(area, range.offset, word);
}

}  // namespace ac500::sim
