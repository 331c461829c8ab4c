#include "symbols/data_types.h"

namespace ac500 {

namespace {

enum { kTextBytes = 80 + 1 };  // characters and terminator, whatever the PLC program declared (quirk 21)

const DataType kDataTypes[] = {
    {kNotServed, 0, false},            // 0
    {kBooleanByte, 1, false},          // 1
    {k8Bit, 1, true},                  // 2
    {k16Bit, 2, true},                 // 3
    {k16Bit, 2, true},                 // 4
    {k32Bit, 4, true},                 // 5
    {k32Bit, 4, true},                 // 6
    {k32Bit, 4, false},                // 7: floating point
    {k64Bit, 8, true},                 // 8
    {k64Bit, 8, false},                // 9: floating point
    {kText, kTextBytes, false},        // 10
    {kText, kTextBytes, false},        // 11
    {kNotServed, 0, false},            // 12: structure, its size comes with the record
    {kBitAddressedBoolean, 1, false},  // 13
    {k8Bit, 1, true},                  // 14
    {k8Bit, 1, true},                  // 15
    {k16Bit, 2, true},                 // 16
    {k32Bit, 4, true},                 // 17
    {k64Bit, 8, true},                 // 18
    {kNotServed, 0, false},            // 19
    {kNotServed, 0, false},            // 20
    {k64Bit, 8, true},                 // 21
};

enum { kDataTypeCount = sizeof kDataTypes / sizeof kDataTypes[0] };

}  // namespace

const DataType& dataType(int code) {
    return kDataTypes[code >= 0 && code < kDataTypeCount ? code : 0];
}

}  // namespace ac500
