#include "tools/simulator/memory_text.h"

#include <gtest/gtest.h>

#include "tests/simulator/support.h"

namespace ac500::sim {
namespace {

class MemoryTextTest : public testing::Test {
protected:
    MemoryTextTest() {
        memory_.addArea(1, 400);
        memory_.addArea(3, 8);
        memory_.write(1, 0, byteString("00 07 FF FF 80 00 00 00 00 00 00 01"));
        memory_.write(1, 12, byteString("3F C0 00 00"));
        memory_.write(1, 100, byteString("22 E4 0A 00 41"));
        memory_.setBit(3, 17, true);
    }

    std::string described(const std::vector<TouchedRun>& touched) const { return text_.describe(memory_, touched); }
    std::string bytes(int area, std::int64_t address, std::int64_t size) const {
        return described({{{area, address, size}, false}});
    }

    PlcMemory memory_;
    const MemoryText text_{listLeaves(plant(R"({
        "format": "ac500-symbols", "version": 1,
        "areas": [{"number": 1, "bytes": 400}, {"number": 3, "bytes": 8}],
        "scopes": [{"name": "Main", "variables": [
            {"name": "count", "type": "UINT", "area": 1, "offset": 0},
            {"name": "small", "type": "INT", "area": 1, "offset": 2},
            {"name": "large", "type": "LINT", "area": 1, "offset": 4},
            {"name": "level", "type": "REAL", "area": 1, "offset": 12},
            {"name": "on", "type": "BOOL", "area": 1, "offset": 16},
            {"name": "grid", "type": "INT", "area": 1, "offset": 20, "array": [[0, 3], [1, 6]]},
            {"name": "title", "type": "STRING", "area": 1, "offset": 100},
            {"name": "alarm", "type": "BIT", "area": 3, "bit": 17},
            {"name": "lamps", "type": "BIT", "area": 3, "bit": 32, "array": [[1, 2]]}
        ]}]})"))};
};

TEST_F(MemoryTextTest, EachTypeHasItsForm) {
    EXPECT_EQ(bytes(1, 0, 2), "Main.count = 7");
    EXPECT_EQ(bytes(1, 2, 2), "Main.small = -1");
    EXPECT_EQ(bytes(1, 4, 8), "Main.large = -9223372036854775807");
    EXPECT_EQ(bytes(1, 12, 5), "Main.level = 1.5, Main.on = FALSE");
    EXPECT_EQ(bytes(1, 100, 80), "Main.title = \"\\\"\xC3\xA4\\x0A\"");
}

TEST_F(MemoryTextTest, ItemsAreToldInTheirOrderAndElementsByIndex) {
    EXPECT_EQ(described({{{1, 34, 4}, false}, {{1, 0, 2}, false}}),
              "Main.grid[1,2] = 0, Main.grid[1,3] = 0, Main.count = 7");
}

TEST_F(MemoryTextTest, BitsAreFoundByBytesAndByTheirOwnAddress) {
    EXPECT_EQ(bytes(3, 2, 2), "Main.alarm = TRUE");
    EXPECT_EQ(bytes(3, 4, 2), "Main.lamps[1] = FALSE, Main.lamps[2] = FALSE");
    EXPECT_EQ(described({{{3, 17, 1}, true}}), "Main.alarm = TRUE");
    EXPECT_EQ(described({{{3, 33, 1}, true}}), "Main.lamps[2] = FALSE");
}

TEST_F(MemoryTextTest, PartsOfVariablesAreCalledSo) {
    EXPECT_EQ(bytes(1, 1, 1), "Main.count = 7 (part)");
    EXPECT_EQ(bytes(1, 1, 3), "Main.count = 7 (part), Main.small = -1");
    EXPECT_EQ(bytes(1, 100, 2), "Main.title = \"\\\"\xC3\xA4\\x0A\" (part)");
}

TEST_F(MemoryTextTest, ManyElementsAreCounted) {
    EXPECT_EQ(bytes(1, 20, 30),
              "Main.grid[0,1] = 0, Main.grid[0,2] = 0, Main.grid[0,3] = 0, Main.grid[0,4] = 0, Main.grid[0,5] = 0, "
              "Main.grid[0,6] = 0, Main.grid[1,1] = 0, Main.grid[1,2] = 0, Main.grid[1,3] = 0, Main.grid[1,4] = 0, "
              "Main.grid[1,5] = 0, Main.grid[1,6] = 0 and 3 more");
}

TEST_F(MemoryTextTest, BytesWithoutAVariableHaveTheirPlace) {
    EXPECT_EQ(bytes(1, 300, 4), "area 1, bytes 300 to 303");
    EXPECT_EQ(described({{{3, 40, 1}, true}}), "area 3, bit 40");
    EXPECT_EQ(bytes(1, 17, 0), "area 1, no bytes");
    EXPECT_EQ(described({}), "");
}

}  // namespace
}  // namespace ac500::sim
