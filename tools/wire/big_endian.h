// Unsigned big-endian numbers in byte buffers, as frames and the PLC's memory hold them. No function here checks a
// length: the caller knows that the bytes are there. Pure functions.
#ifndef AC500_TOOLS_WIRE_BIG_ENDIAN_H
#define AC500_TOOLS_WIRE_BIG_ENDIAN_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace ac500::wire {

// Raw bytes, not text: may hold zeros.
using Bytes = std::string;

// `char` is signed on some targets and unsigned on others: every byte is widened through here.
inline std::uint8_t byteAt(const char* bytes, std::size_t index) {
    return static_cast<std::uint8_t>(bytes[index]);
}

inline std::uint16_t getU16(const char* bytes) {
    return static_cast<std::uint16_t>((byteAt(bytes, 0) << 8) | byteAt(bytes, 1));
}

inline std::uint32_t getU32(const char* bytes) {
    return (static_cast<std::uint32_t>(getU16(bytes)) << 16) | getU16(bytes + 2);
}

inline void putU16(char* bytes, std::uint16_t value) {
    bytes[0] = static_cast<char>(value >> 8);
    bytes[1] = static_cast<char>(value & 0xFF);
}

inline void putU32(char* bytes, std::uint32_t value) {
    putU16(bytes, static_cast<std::uint16_t>(value >> 16));
    putU16(bytes + 2, static_cast<std::uint16_t>(value & 0xFFFF));
}

// The low `width` bytes of a number, most significant first.
inline Bytes bigEndian(std::uint64_t value, std::size_t width) {
    Bytes bytes(width, '\0');
    for (std::size_t i = width; i > 0; --i) {
        bytes[i - 1] = static_cast<char>(value & 0xFF);
        value >>= 8;
    }
    return bytes;
}

// The number that all the bytes make up. REQUIRES: at most 8 bytes
inline std::uint64_t fromBigEndian(const Bytes& bytes) {
    std::uint64_t value = 0;
    for (const char byte : bytes) {
        value = (value << 8) | static_cast<std::uint8_t>(byte);
    }
    return value;
}

// The same bits under another type (std::bit_cast of C++20): floating-point numbers travel as the bits of an integer.
template <typename To, typename From>
To bitCast(From from) {
    static_assert(sizeof(To) == sizeof(From), "as many bits");
    To to;
    std::memcpy(&to, &from, sizeof to);
    return to;
}

}  // namespace ac500::wire

#endif
