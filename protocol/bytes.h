// The one home of byte order: unsigned big-endian numbers in byte buffers, and the wrapping arithmetic of the 32-bit
// counters and addresses that the host's records carry.
//
// Frames and the byte image are big-endian. No function here checks a length: the caller knows that the bytes are there.
#ifndef AC500_PROTOCOL_BYTES_H
#define AC500_PROTOCOL_BYTES_H

#include <QtCore/qglobal.h>

namespace ac500 {

// `char` is signed on some targets and unsigned on others: every byte is widened through here.
inline quint8 byteAt(const char* bytes, int index) {
    return static_cast<quint8>(bytes[index]);
}

inline quint16 getU16(const char* bytes) {
    return static_cast<quint16>((byteAt(bytes, 0) << 8) | byteAt(bytes, 1));
}

inline quint32 getU32(const char* bytes) {
    return (static_cast<quint32>(getU16(bytes)) << 16) | getU16(bytes + 2);
}

inline void putU16(char* bytes, quint16 value) {
    bytes[0] = static_cast<char>(value >> 8);
    bytes[1] = static_cast<char>(value & 0xFF);
}

inline void putU32(char* bytes, quint32 value) {
    putU16(bytes, static_cast<quint16>(value >> 16));
    putU16(bytes + 2, static_cast<quint16>(value & 0xFFFF));
}

// Sums, differences and products modulo 2^32: the host's words wrap, and signed overflow is undefined.
inline qint32 wrapAdd(qint32 a, qint32 b) {
    return static_cast<qint32>(static_cast<quint32>(a) + static_cast<quint32>(b));
}

inline qint32 wrapSub(qint32 a, qint32 b) {
    return static_cast<qint32>(static_cast<quint32>(a) - static_cast<quint32>(b));
}

inline qint32 wrapMul(qint32 a, qint32 b) {
    return static_cast<qint32>(static_cast<quint32>(a) * static_cast<quint32>(b));
}

}  // namespace ac500

#endif
