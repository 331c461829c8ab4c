#include "tools/simulator/pattern.h"

#include <fmt/format.h>

namespace ac500::sim {

using symbol_file::TypeCode;
using symbol_file::TypeKind;

namespace {

constexpr int kCells = 5;

std::uint64_t low(std::uint64_t value, int bits) {
    return value & ((std::uint64_t{1} << bits) - 1);
}

// Each bit of the result depends on every bit of the input (the finisher of MurmurHash3).
std::uint64_t mixed(std::uint64_t value) {
    value = (value ^ (value >> 33)) * 0xFF51AFD7ED558CCDU;
    value = (value ^ (value >> 33)) * 0xC4CEB9FE1A85EC53U;
    return value ^ (value >> 33);
}

std::uint64_t checksum(std::uint64_t place, std::uint64_t generation, int cell, int bits) {
    const std::uint64_t all = place | (low(generation, 40) << 16) | (static_cast<std::uint64_t>(cell) << 56);
    return low(mixed(all + 1), bits);
}

// place 16, then generation and checksum of so many bits.
std::uint64_t fields(std::uint64_t place, std::uint64_t generation, int generationBits, int checkBits) {
    return (((place << generationBits) | low(generation, generationBits)) << checkBits) |
           checksum(place, generation, 0, checkBits);
}

std::uint64_t realBits(std::uint64_t place, std::uint64_t generation) {
    const std::uint64_t payload = fields(place, generation, 7, 7);
    return ((payload >> 29) << 31) | (std::uint64_t{1} << 29) | low(payload, 29);
}

std::uint64_t numberBits(TypeCode code, std::uint64_t place, std::uint64_t generation) {
    switch (code) {
        case TypeCode::Lreal:
            return (std::uint64_t{0x3FF} << 52) | fields(place, generation, 16, 20);
        case TypeCode::Real:
            return realBits(place, generation);
        case TypeCode::Bool:
        case TypeCode::Bit:
            return checksum(place, generation, 0, 1);
        default:
            break;
    }
    switch (typeTraits(code)->widthBytes) {
        case 8:
            return fields(place, generation, 24, 24);
        case 4:
            return fields(place, generation, 8, 8);
        case 2:
            return checksum(place, generation, 0, 16);
        default:
            return checksum(place, generation, 0, 8);
    }
}

Bytes textBytes(std::uint64_t place, std::uint64_t generation, std::size_t width) {
    Bytes text;
    for (int cell = 0; cell < kCells; ++cell) {
        text += fmt::format("{:04X}{:06X}{:X}{:05X}", place, low(generation, 24), cell,
                            checksum(place, generation, cell, 20));
    }
    text.resize(width - 1, '\0');
    text += '\0';  // also where the string is shorter than the pattern
    return text;
}

}  // namespace

std::uint16_t patternPlace(int area, std::int64_t address) {
    return static_cast<std::uint16_t>(4096 * static_cast<std::int64_t>(area) + address);
}

Bytes patternBytes(const Element& element, std::uint64_t generation) {
    const std::uint64_t place = patternPlace(element.area, element.address);
    const auto width = static_cast<std::size_t>(elementBytes(element.code, element.stringCharacters));
    if (kindOf(element.code) == TypeKind::Text) {
        return textBytes(place, generation, width);
    }
    return wire::bigEndian(numberBits(element.code, place, generation), element.code == TypeCode::Bit ? 1 : width);
}

void writePattern(PlcMemory& memory, const Element& element, std::uint64_t generation) {
    const Bytes bytes = patternBytes(element, generation);
    if (element.code == TypeCode::Bit) {
        memory.setBit(element.area, element.address, bytes[0] != '\0');
    } else {
        memory.write(element.area, element.address, bytes);
    }
}

}  // namespace ac500::sim
