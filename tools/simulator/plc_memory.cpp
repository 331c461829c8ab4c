#include "tools/simulator/plc_memory.h"

namespace ac500::sim {

void PlcMemory::addArea(int number, std::uint32_t sizeBytes) {
    areas_[number] = Bytes(sizeBytes, '\0');
}

bool PlcMemory::contains(const ByteRun& run) const {
    const auto area = areas_.find(run.area);
    if (area == areas_.end()) {
        return false;
    }
    const auto areaBytes = static_cast<std::int64_t>(area->second.size());
    return run.address >= 0 && run.address <= areaBytes && run.size >= 0 && run.size <= areaBytes - run.address;
}

Bytes PlcMemory::read(const ByteRun& run) const {
    return areas_.at(run.area).substr(static_cast<std::size_t>(run.address), static_cast<std::size_t>(run.size));
}

void PlcMemory::write(int area, std::int64_t address, const Bytes& bytes) {
    areas_.at(area).replace(static_cast<std::size_t>(address), bytes.size(), bytes);
}

ByteRun PlcMemory::wordOfBit(int area, std::int64_t bitAddress) {
    return {area, bitAddress / 16 * 2, 2};
}

bool PlcMemory::bit(int area, std::int64_t bitAddress) const {
    const Bytes word = read(wordOfBit(area, bitAddress));
    return ((wire::getU16(word.data()) >> (bitAddress % 16)) & 1) != 0;
}

void PlcMemory::setBit(int area, std::int64_t bitAddress, bool value) {
    const ByteRun run = wordOfBit(area, bitAddress);
    Bytes word = read(run);
    const unsigned mask = 1U << (bitAddress % 16);
    const unsigned old = wire::getU16(word.data());
    wire::putU16(&word[0], static_cast<std::uint16_t>(value ? old | mask : old & ~mask));
    write(area, run.address, word);
}

}  // namespace ac500::sim
