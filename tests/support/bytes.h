// Bytes as tests write and show them: hexadecimal text, "BB BB 00 2E". In all tests bytes() and byteString() turn text
// into bytes, and hex() turns bytes into text; hex("2E"), which would be the wrong way round, does not compile.
//
//     EXPECT_EQ(hex(request->frame), "BB BB 00 00 00 16 3C 00 ...");
#ifndef AC500_TESTS_SUPPORT_BYTES_H
#define AC500_TESTS_SUPPORT_BYTES_H

#include <QtCore/QByteArray>

#include <ostream>
#include <string>

namespace ac500::test {

// Hexadecimal text, blanks ignored, to bytes as the driver and the host keep them.
inline QByteArray bytes(const char* text) {
    return QByteArray::fromHex(text);
}

// The same as the simulator keeps them.
inline std::string byteString(const std::string& text) {
    return bytes(text.c_str()).toStdString();
}

// Bytes to upper-case hexadecimal text, one blank between bytes.
inline std::string hex(const QByteArray& data) {
    return data.toHex(' ').toUpper().toStdString();
}
inline std::string hex(const std::string& data) {
    return hex(QByteArray::fromStdString(data));
}

// A text split over several lines: `lines("BB BB", "00 00")` is "BB BB 00 00".
template <typename... Rest>
std::string lines(const char* first, Rest... rest) {
    std::string text = first;
    ((text += ' ', text += rest), ...);
    return text;
}

}  // namespace ac500::test

// How GoogleTest shows bytes that it compared. It looks for this function in the namespace of QByteArray.
inline void PrintTo(const QByteArray& data, std::ostream* out) {
    *out << ac500::test::hex(data);
}

#endif
