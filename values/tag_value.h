// What reading and writing values share: how many elements and bytes a resolved tag has in host and PLC format.
#ifndef AC500_VALUES_TAG_VALUE_H
#define AC500_VALUES_TAG_VALUE_H

#include "protocol/bytes.h"
#include "symbols/control_information.h"
#include "symbols/data_types.h"

namespace ac500 {

enum { kBytesPerHostWord = 2, kBitsPerByte = 8 };

// Values that cover `words` host words, the last one begun included: one value of up to 16 bits a word.
inline int valuesInWords(int words, ValueGroup group) {
    switch (group) {  // dividing by a number that the compiler does not know takes longer than the rest of a read
        case k32Bit:
            return wrapAdd(words, 1) / 2;
        case k64Bit:
            return wrapAdd(words, 3) / 4;
        default:
            return words;
    }
}

inline int notNegative(int length) {
    return qMax(length, 0);
}

// Bits that a tag may name in a variable of the group: none for booleans and text.
inline int bitWidth(ValueGroup group) {
    return group == kBooleanByte ? 0 : valueBytes(group) * kBitsPerByte;
}

// Position of the byte that holds bit `bit` in a big-endian variable of `widthBytes` bytes.
inline int byteOfBit(int bit, int widthBytes) {
    return widthBytes - 1 - bit / kBitsPerByte;
}

}  // namespace ac500

#endif
