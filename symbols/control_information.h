// ControlInformationM is what resolving a tag name yields. The caller owns it and sets all ten words to 0 before each
// resolution; resolution writes the words it reaches and leaves the others. The layout is a contract with the host.
#ifndef AC500_SYMBOLS_CONTROL_INFORMATION_H
#define AC500_SYMBOLS_CONTROL_INFORMATION_H

#include <cstddef>

#include <QtCore/qglobal.h>

struct ControlInformationM {
    qint32 dataType;       // type code of the addressed variable, 1 to 18 or 21
    qint32 address;        // byte address within the area; a bit address for type 13
    qint32 reserved;       // left as the caller set it
    qint32 isBit;          // 1: the tag names a bit of the variable
    qint32 bitIndex;       // that bit, 0 is the least significant
    qint32 isArray;        // 1: the tag names an element of an array
    qint32 arrayReserved;  // set to 0 for arrays
    qint32 arrayIndex;     // zero-based, row-major index of the element
    qint32 arrayCount;     // extent of the innermost dimension, whatever the index (quirk 17)
    qint32 area;           // PLC memory area
};

#if __cplusplus >= 201103L
static_assert(offsetof(ControlInformationM, dataType) == 0, "ControlInformationM::dataType");
static_assert(offsetof(ControlInformationM, address) == 4, "ControlInformationM::address");
static_assert(offsetof(ControlInformationM, reserved) == 8, "ControlInformationM::reserved");
static_assert(offsetof(ControlInformationM, isBit) == 12, "ControlInformationM::isBit");
static_assert(offsetof(ControlInformationM, bitIndex) == 16, "ControlInformationM::bitIndex");
static_assert(offsetof(ControlInformationM, isArray) == 20, "ControlInformationM::isArray");
static_assert(offsetof(ControlInformationM, arrayReserved) == 24, "ControlInformationM::arrayReserved");
static_assert(offsetof(ControlInformationM, arrayIndex) == 28, "ControlInformationM::arrayIndex");
static_assert(offsetof(ControlInformationM, arrayCount) == 32, "ControlInformationM::arrayCount");
static_assert(offsetof(ControlInformationM, area) == 36, "ControlInformationM::area");
static_assert(sizeof(ControlInformationM) == 40, "ControlInformationM is ten words");
#endif

#endif
