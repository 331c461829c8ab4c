// How many bytes a read of 1, 2, 3, 4, 5 and 9 host units takes, for every type code.
#ifndef AC500_TESTS_VARS_TYPE_ROWS_H
#define AC500_TESTS_VARS_TYPE_ROWS_H

namespace ac500::test {

constexpr int kUnits[] = {1, 2, 3, 4, 5, 9};

struct TypeRow {
    const char* type;
    int code;
    int plannedType;
    int bytes[6];  // for 1, 2, 3, 4, 5 and 9 units of an array that starts at its area's first byte
};

constexpr TypeRow kTransferableTypes[] = {
    {"boolean byte: one byte a unit", 1, 1, {1, 2, 3, 4, 5, 9}},
    {"signed 8-bit: one byte a unit", 2, 2, {1, 2, 3, 4, 5, 9}},
    {"signed 16-bit: one word a unit", 3, 3, {2, 4, 6, 8, 10, 18}},
    {"unsigned 16-bit: one word a unit", 4, 4, {2, 4, 6, 8, 10, 18}},
    {"signed 32-bit: two units a value", 5, 5, {4, 4, 8, 8, 12, 20}},
    {"unsigned 32-bit: two units a value", 6, 6, {4, 4, 8, 8, 12, 20}},
    {"32-bit float: two units a value", 7, 7, {4, 4, 8, 8, 12, 20}},
    {"signed 64-bit: four units a value", 8, 8, {8, 8, 8, 8, 16, 24}},
    {"64-bit float: four units a value", 9, 9, {8, 8, 8, 8, 16, 24}},
    {"string: one word a unit", 10, 10, {2, 4, 6, 8, 10, 18}},
    {"string under its second code: one word a unit", 11, 11, {2, 4, 6, 8, 10, 18}},
    {"bit-addressed boolean: the words that hold the bits", 13, 16, {2, 2, 2, 2, 2, 2}},
    {"unsigned 8-bit: one byte a unit", 14, 14, {1, 2, 3, 4, 5, 9}},
    {"byte: one byte a unit", 15, 15, {1, 2, 3, 4, 5, 9}},
    {"word: one word a unit", 16, 16, {2, 4, 6, 8, 10, 18}},
    {"double word: two units a value", 17, 17, {4, 4, 8, 8, 12, 20}},
    {"long word: four units a value", 18, 18, {8, 8, 8, 8, 16, 24}},
    {"unsigned 64-bit: four units a value", 21, 21, {8, 8, 8, 8, 16, 24}},
};

// Codes that resolve and cannot be transferred.
constexpr int kUntransferableCodes[] = {0, 19, 20, 22, 255};

// A bit-addressed run: the words that hold bits `firstBit` up to `firstBit` + `bits` - 1.
struct BitRunRow {
    const char* situation;
    int firstBit;
    int bits;
    int firstByte;
    int bytes;
};

constexpr BitRunRow kBitRuns[] = {
    {"first bit of the area", 0, 1, 0, 2},
    {"last bit of the first word", 15, 1, 0, 2},
    {"first bit of the second word", 16, 1, 2, 2},
    {"bit twenty-one", 21, 1, 2, 2},
    {"twelve bits over a word's end", 21, 12, 2, 4},
    {"up to a word's end", 21, 11, 2, 2},
    {"one whole word", 32, 16, 4, 2},
    {"one whole word, not aligned", 33, 16, 4, 4},
    {"three words", 31, 18, 2, 6},
    {"one bit more than two words", 0, 33, 0, 6},
    {"below the area's start, the word is cut off", -21, 12, -2, 2},
};

}  // namespace ac500::test

#endif
