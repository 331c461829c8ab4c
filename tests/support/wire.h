// The frames that tests send and expect, each typed once: the requests of the handshake and well-formed replies.
#ifndef AC500_TESTS_SUPPORT_WIRE_H
#define AC500_TESTS_SUPPORT_WIRE_H

#include <QtCore/QByteArray>

#include <initializer_list>
#include <string>

#include "tests/support/bytes.h"

namespace ac500::test {

// The two requests of every handshake. The first: length 14, service 01, and what it always asks.
constexpr const char* kFirstHandshakeRequest = "BB BB 00 00 00 0E 01 00 00 00 02 00 00 00 06 00 00 00 00 00";

// The second: length 17, service 31, the number 13, "DOWNLOAD.SDB" and its terminator.
constexpr const char* kSecondHandshakeRequest = "BB BB 00 00 00 11 31 00 00 0D 44 4F 57 4E 4C 4F 41 44 2E 53 44 42 00";

// A frame with a correct envelope: BB BB, the payload's length as 32-bit big-endian number, the payload
// of at most 65535 bytes.
inline std::string envelope(const std::string& payload) {
    std::string frame("\xBB\xBB\0\0", 4);
    frame += static_cast<char>((payload.size() >> 8) & 0xFF);
    frame += static_cast<char>(payload.size() & 0xFF);
    return frame + payload;
}
inline QByteArray envelope(const QByteArray& payload) {
    return QByteArray::fromStdString(envelope(payload.toStdString()));
}

// A reply whose payload is `payloadBytes` zeros.
inline QByteArray zeroReply(int payloadBytes) {
    return envelope(QByteArray(payloadBytes, '\0'));
}

// The good answer to a read: status word 00 00, four bytes of the PLC's own (11 22 33 44), and from offset 12 on per
// item one lead byte (EE) and the item's bytes.
inline QByteArray readReply(std::initializer_list<const char*> items) {
    QByteArray payload = bytes("00 00 11 22 33 44");
    for (const char* item : items) {
        payload += bytes("EE") + bytes(item);
    }
    return envelope(payload);
}

// The good answer to a write: nothing but the status word.
inline QByteArray writeReply() {
    return bytes("BB BB 00 00 00 02 00 00");
}

// The smallest first handshake reply that is accepted: a payload of 200 bytes.
inline QByteArray firstHandshakeReply() {
    return zeroReply(200);
}

// The smallest second handshake reply that is accepted: a payload of 30 bytes. `sessionBytes` is the hexadecimal text of
// the four bytes at reply offset 24, in the order of the wire; the driver sends them back in reverse order.
inline QByteArray secondHandshakeReply(const char* sessionBytes) {
    return envelope(QByteArray(18, '\0') + bytes(sessionBytes) + QByteArray(8, '\0'));
}

}  // namespace ac500::test

#endif
