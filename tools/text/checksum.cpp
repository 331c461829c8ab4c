#include "tools/text/checksum.h"

#include <array>
#include <cstddef>

namespace ac500::text {

namespace {

// Four bytes at a time.
constexpr std::uint32_t kPolynomial = 0xEDB88320U;
using Table = std::array<std::array<std::uint32_t, 256>, 4>;

constexpr Table makeTable() {
    Table table{};
    for (std::uint32_t i = 0; i < 256; ++i) {
        std::uint32_t value = i;
        for (int bit = 0; bit < 8; ++bit) {
            value = (value & 1) != 0 ? (value >> 1) ^ kPolynomial : value >> 1;
        }
        table[0][i] = value;
    }
    for (std::size_t i = 0; i < 256; ++i) {
        for (std::size_t k = 1; k < table.size(); ++k) {
            const std::uint32_t before = table[k - 1][i];
            table[k][i] = (before >> 8) ^ table[0][before & 0xFF];
        }
    }
    return table;
}

constexpr Table kTable = makeTable();

std::uint32_t byteOf(std::string_view bytes, std::size_t at) {
    return static_cast<unsigned char>(bytes[at]);
}

}  // namespace

std::uint32_t crc32(std::string_view bytes, std::uint32_t before) {
    std::uint32_t value = ~before;
    std::size_t at = 0;
    for (; at + 4 <= bytes.size(); at += 4) {
        value ^=
            byteOf(bytes, at) | byteOf(bytes, at + 1) << 8 | byteOf(bytes, at + 2) << 16 | byteOf(bytes, at + 3) << 24;
        value = kTable[3][value & 0xFF] ^ kTable[2][(value >> 8) & 0xFF] ^ kTable[1][(value >> 16) & 0xFF] ^
                kTable[0][value >> 24];
    }
    for (; at < bytes.size(); ++at) {
        value = (value >> 8) ^ kTable[0][(value ^ byteOf(bytes, at)) & 0xFF];
    }
    return ~value;
}

void Fnv1a::add(std::string_view bytes) {
    constexpr std::uint64_t kPrime = 0x100000001B3U;
    for (const char byte : bytes) {
        value_ = (value_ ^ static_cast<unsigned char>(byte)) * kPrime;
    }
}

}  // namespace ac500::text
