#include "tools/simulator/plc_memory.h"

#include <gtest/gtest.h>

#include "tests/simulator/support.h"

namespace ac500::sim {
namespace {

PlcMemory eightBytesInAreaTwo() {
    PlcMemory memory;
    memory.addArea(2, 8);
    return memory;
}

TEST(PlcMemory, StartsWithZeros) {
    EXPECT_EQ(hex(eightBytesInAreaTwo().read({2, 0, 8})), "00 00 00 00 00 00 00 00");
}

TEST(PlcMemory, KeepsWhatIsWrittenWhereItIsWritten) {
    PlcMemory memory = eightBytesInAreaTwo();
    memory.write(2, 6, byteString("12 34"));
    EXPECT_EQ(hex(memory.read({2, 5, 3})), "00 12 34");
}

TEST(PlcMemory, RunsEndWithTheArea) {
    struct Row {
        const char* situation;
        ByteRun run;
        bool contained;
    };
    const Row rows[] = {
        {"whole area", {2, 0, 8}, true},
        {"last byte", {2, 7, 1}, true},
        {"one byte too many", {2, 7, 2}, false},
        {"nothing at the end", {2, 8, 0}, true},
        {"nothing behind the end", {2, 9, 0}, false},
        {"before the area", {2, -1, 2}, false},
        {"negative size", {2, 1, -1}, false},
        {"sum of address and size wraps at 32 bits", {2, 0xFFFFFFFF, 1}, false},
        {"huge size", {2, 0, 0xFFFFFFFF}, false},
        {"other area", {1, 0, 1}, false},
    };
    const PlcMemory memory = eightBytesInAreaTwo();
    for (const Row& row : rows) {
        EXPECT_EQ(memory.contains(row.run), row.contained) << row.situation;
    }
}

TEST(PlcMemory, BitsStandInBigEndianWords) {
    PlcMemory memory = eightBytesInAreaTwo();
    memory.setBit(2, 0, true);   // word at 0, its least significant bit: byte 1
    memory.setBit(2, 15, true);  // word at 0, its most significant bit: byte 0
    memory.setBit(2, 17, true);  // word at 2, bit 1: byte 3
    EXPECT_EQ(hex(memory.read({2, 0, 4})), "80 01 00 02");
    EXPECT_TRUE(memory.bit(2, 17));
    EXPECT_FALSE(memory.bit(2, 16));
}

TEST(PlcMemory, ClearingABitLeavesItsNeighbours) {
    PlcMemory memory = eightBytesInAreaTwo();
    memory.write(2, 0, byteString("FF FF"));
    memory.setBit(2, 9, false);  // bit 1 of byte 0
    EXPECT_EQ(hex(memory.read({2, 0, 2})), "FD FF");
}

}  // namespace
}  // namespace ac500::sim
