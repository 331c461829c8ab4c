// Everything that depends on a data type code alone: one row per code. Address arithmetic, read planning and value
// conversion all ask here.
#ifndef AC500_SYMBOLS_DATA_TYPES_H
#define AC500_SYMBOLS_DATA_TYPES_H

#include "core/codes.h"

namespace ac500 {

// How values of a type travel between PLC and host.
enum ValueGroup {
    kNotServed,
    kBooleanByte,  // one byte, any nonzero value is true; the host counts booleans
    k8Bit,
    k16Bit,
    k32Bit,
    k64Bit,
    kText,                // raw bytes
    kBitAddressedBoolean  // one bit of a 16-bit word; addresses count bits, the host counts booleans
};

struct DataType {
    ValueGroup group;
    int elementBytes;  // step from one array element to the next (bits for kBitAddressedType); 0: not addressable
    bool namesBits;    // a tag may name single bits of such a variable
};

// The row of a code; codes that do not exist get a row that is not served and not addressable.
const DataType& dataType(int code);

// Bytes of one value in the PLC: 1, 2, 4 or 8; 0 for text, bit-addressed and unserved types.
inline int valueBytes(ValueGroup group) {
    switch (group) {
        case kBooleanByte:
        case k8Bit:
            return 1;
        case k16Bit:
            return 2;
        case k32Bit:
            return 4;
        case k64Bit:
            return 8;
        case kText:
        case kBitAddressedBoolean:
        case kNotServed:
            break;
    }
    return 0;
}

}  // namespace ac500

#endif
