// Bytes as tests write them: hexadecimal text with blanks.
#ifndef AC500_TESTS_HOST_BYTES_H
#define AC500_TESTS_HOST_BYTES_H

#include <QtCore/QByteArray>
#include <ostream>

inline QByteArray hex(const char* text) {
    return QByteArray::fromHex(text);
}

// How GoogleTest shows them.
inline void PrintTo(const QByteArray& bytes, std::ostream* out) {
    *out << bytes.toHex(' ').constData();
}

#endif
