#include "tools/symbol_file/wireshark_map.h"

#include <gtest/gtest.h>

namespace ac500::symbol_file {

namespace {

std::string mapOf(const std::string& types, const std::string& variables) {
    const LoadedSymbolFile loaded =
        parseSymbolFile(R"({"format": "ac500-symbols", "version": 1, "areas": [{"number": 7, "bytes": 1000}],)"
                        R"("types": {)" +
                        types + R"(}, "scopes": [{"name": "Main", "variables": [)" + variables + "]}]}");
    for (const Problem& problem : loaded.problems) {
        ADD_FAILURE() << describe("file", problem);
    }
    return wiresharkMap(loaded.file);
}

TEST(WiresharkMapTest, AFileWithoutVariablesIsTheHeader) {
    EXPECT_EQ(mapOf("", ""), "ac500-wireshark-map 1\n");
}

TEST(WiresharkMapTest, EachVariableIsALineAndStructuresAreExpanded) {
    EXPECT_EQ(mapOf(R"("Pump": {"size": 8, "members": [{"name": "on", "type": "BOOL", "offset": 0},)"
                    R"({"name": "flow", "type": "REAL", "offset": 4}]})",
                    R"({"name": "setpoint", "type": "REAL", "area": 7, "offset": 4},)"
                    R"({"name": "grid", "type": "INT", "area": 7, "offset": 100, "array": [[0, 3], [-1, 6]]},)"
                    R"({"name": "pumps", "type": "Pump", "area": 7, "offset": 200, "array": [[1, 2]]},)"
                    R"({"name": "lamps", "type": "BIT", "area": 7, "bit": 21, "array": [[1, 8]]})"),
              "ac500-wireshark-map 1\n"
              "7\tbyte\t4\tREAL\t\tMain.setpoint\n"
              "7\tbyte\t100\tINT\t0..3,-1..6\tMain.grid\n"
              "7\tbyte\t200\tBOOL\t\tMain.pumps[1].on\n"
              "7\tbyte\t204\tREAL\t\tMain.pumps[1].flow\n"
              "7\tbyte\t208\tBOOL\t\tMain.pumps[2].on\n"
              "7\tbyte\t212\tREAL\t\tMain.pumps[2].flow\n"
              "7\tbit\t21\tBIT\t1..8\tMain.lamps\n");
}

TEST(WiresharkMapTest, StringsHaveTheirLength) {
    EXPECT_EQ(mapOf("", R"({"name": "a", "type": "STRING", "area": 7, "offset": 0},)"
                        R"json({"name": "b", "type": "CSTRING(20)", "area": 7, "offset": 100})json"),
              "ac500-wireshark-map 1\n"
              "7\tbyte\t0\tSTRING(80)\t\tMain.a\n"
              "7\tbyte\t100\tCSTRING(20)\t\tMain.b\n");
}

TEST(WiresharkMapTest, WhatPeopleKnowOfAValueFollowsTheTag) {
    EXPECT_EQ(
        mapOf("", R"({"name": "level", "type": "INT", "area": 7, "offset": 0, "unit": "°C",)"
                  R"("scale": {"factor": 0.10, "offset": -40}},)"
                  R"({"name": "mode", "type": "INT", "area": 7, "offset": 2, "names": {"-1": "off", "2": "on"}})"),
        "ac500-wireshark-map 1\n"
        "7\tbyte\t0\tINT\t\tMain.level\t°C\t0.10\t-40\n"
        "7\tbyte\t2\tINT\t\tMain.mode\t\t\t\t-1=off\t2=on\n");
}

}  // namespace

}  // namespace ac500::symbol_file
