#include "tools/simulator/reserved_variables.h"

#include <gtest/gtest.h>

#include "tests/simulator/support.h"

namespace ac500::sim {

using symbol_file::Element;
using symbol_file::TypeCode;

namespace {

TEST(ReservedVariables, AreFoundByNameLikeAnyOther) {
    struct Row {
        const char* tag;
        TypeCode code;
        std::int64_t address;
    };
    const Row rows[] = {
        {"Sim.fault_kind", TypeCode::Uint, 0},    {"Sim.fault_count", TypeCode::Uint, 2},
        {"Sim.fault_arg", TypeCode::Dint, 4},     {"Sim.fault_service", TypeCode::Uint, 8},
        {"Sim.program", TypeCode::Uint, 10},      {"Sim.faults_left", TypeCode::Uint, 12},
        {"Sim.faults_done", TypeCode::Udint, 16}, {"Sim.boot_count", TypeCode::Udint, 20},
        {"Sim.requests", TypeCode::Udint, 24},    {"Sim.refused", TypeCode::Udint, 28},
        {"Sim.connections", TypeCode::Udint, 32}, {"Sim.uptime_ms", TypeCode::Udint, 36},
    };
    const SymbolFile file = withReservedVariables(smallPlant());
    for (const Row& row : rows) {
        std::string error;
        const std::optional<Element> element = findElement(file, row.tag, &error);
        ASSERT_TRUE(element) << row.tag << ": " << error;
        EXPECT_EQ(element->code, row.code) << row.tag;
        EXPECT_EQ(element->area, 9) << row.tag;
        EXPECT_EQ(element->address, row.address) << row.tag;
    }
}

TEST(ReservedVariables, AreAddedOnce) {
    const SymbolFile once = withReservedVariables(smallPlant());
    EXPECT_EQ(once.areas.size(), 3U);
    EXPECT_EQ(once.areas.back().number, 9);
    EXPECT_EQ(once.areas.back().sizeBytes, 40U);
    EXPECT_EQ(once.scopes.size(), 2U);
    EXPECT_TRUE(reservedConflicts(once).empty());
    const SymbolFile twice = withReservedVariables(once);
    EXPECT_EQ(twice.areas.size(), 3U);
    EXPECT_EQ(twice.scopes.size(), 2U);
}

TEST(ReservedVariables, AFileWithItsOwnAreaNineOrScopeSimIsInConflict) {
    const SymbolFile file = plant(R"({
        "format": "ac500-symbols", "version": 1,
        "areas": [{"number": 9, "name": "mine", "bytes": 64}],
        "scopes": [{"name": "Sim", "variables": [{"name": "x", "type": "WORD", "area": 9, "offset": 0}]}]
    })");
    const std::vector<Problem> problems = reservedConflicts(file);
    ASSERT_EQ(problems.size(), 2U);
    EXPECT_EQ(describe("f.json", problems[0]),
              "f.json:3:0: areas: area 9 is reserved for the simulator; give this area another number");
    EXPECT_EQ(describe("f.json", problems[1]),
              "f.json:4:0: scopes: scope \"Sim\" is reserved for the simulator; give this scope another name");
}

}  // namespace
}  // namespace ac500::sim
