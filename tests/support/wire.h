// Frames as text: tests spell requests and replies byte by byte, in hexadecimal, and compare them as text so that a
// mismatch can be read.
//
//     EXPECT_EQ(hex(request->frame), "BB BB 00 00 00 16 3C 00 ...");
#ifndef AC500_TESTS_SUPPORT_WIRE_H
#define AC500_TESTS_SUPPORT_WIRE_H

#include <QtCore/QByteArray>

#include <initializer_list>
#include <string>

namespace ac500::test {

// Hexadecimal text, blanks ignored, to bytes.
inline QByteArray bytes(const char* text) {
    return QByteArray::fromHex(QByteArray(text));
}

// Bytes to upper-case hexadecimal text, one blank between bytes.
inline std::string hex(const QByteArray& data) {
    return data.toHex(' ').toUpper().toStdString();
}

// A text split over several lines: `lines("BB BB", "00 00")` is "BB BB 00 00".
template <typename... Rest>
std::string lines(const char* first, Rest... rest) {
    std::string text = first;
    ((text += ' ', text += rest), ...);
    return text;
}

// A reply with a correct envelope: BB BB, the payload's length as 32-bit big-endian number, the payload.
inline QByteArray envelope(const QByteArray& payload) {
    QByteArray reply = bytes("BB BB 00 00");
    reply.append(static_cast<char>((payload.size() >> 8) & 0xFF));
    reply.append(static_cast<char>(payload.size() & 0xFF));
    return reply + payload;
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
    return bytes("BB BB 00 00 00 C8") + QByteArray(200, '\0');
}

// The smallest second handshake reply that is accepted: a payload of 30 bytes. `sessionBytes` is the hexadecimal text of
// the four bytes at reply offset 24, in the order of the wire; the driver sends them back in reverse order.
inline QByteArray secondHandshakeReply(const char* sessionBytes) {
    return bytes("BB BB 00 00 00 1E") + QByteArray(18, '\0') + bytes(sessionBytes) + QByteArray(8, '\0');
}

}  // namespace ac500::test

#endif
