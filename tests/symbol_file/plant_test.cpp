// The plant that comes with the project holds what its users are promised.
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/places.h"
#include "tests/symbol_file/sample.h"
#include "tools/symbol_file/symbol_file.h"

namespace ac500::symbol_file {
namespace {

class Plant : public testing::Test {
protected:
    const SymbolFile file = loadGood(test::projectFile("examples/plant.json"));
    const std::vector<Leaf> leaves = listLeaves(file);

    Leaf leaf(const std::string& tag) const {
        for (const Leaf& candidate : leaves) {
            if (candidate.tag == tag) {
                return candidate;
            }
        }
        ADD_FAILURE() << "no leaf " << tag;
        return Leaf();
    }

    bool hasSignal(const std::string& tag) const {
        for (const Signal& signal : file.signals) {
            if (signal.tag == tag) {
                return true;
            }
        }
        return false;
    }
};

TEST_F(Plant, HasFiveHundredSeventyThreeReadableValues) {
    EXPECT_EQ(leaves.size(), 573u);
}

TEST_F(Plant, UsesEveryTransferableType) {
    std::set<int> codes;
    for (const Leaf& candidate : leaves) {
        codes.insert(static_cast<int>(candidate.code));
    }
    EXPECT_THAT(codes, testing::ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 13, 14, 15, 16, 17, 18, 21));
}

TEST_F(Plant, LiesInThreeAreasAndLeavesTheNinthFree) {
    std::map<int, std::uint32_t> sizes;
    for (const Area& area : file.areas) {
        sizes[area.number] = area.sizeBytes;
    }
    EXPECT_EQ(sizes, (std::map<int, std::uint32_t>{{1, 65536}, {2, 65536}, {3, 64}}));
    std::set<int> used;
    for (const Leaf& candidate : leaves) {
        used.insert(candidate.area);
    }
    EXPECT_THAT(used, testing::ElementsAre(1, 2, 3));
}

TEST_F(Plant, HasEightScopes) {
    std::vector<std::string> names;
    for (const Scope& scope : file.scopes) {
        names.push_back(scope.name);
    }
    EXPECT_THAT(names, testing::ElementsAre("Main", "Intake", "Treatment", "Dosing", "Distribution", "Laboratory",
                                            "Alarms", "Recipes"));
}

TEST_F(Plant, HasTheVariablesThatTheDemoShows) {
    EXPECT_EQ(leaf("Main.counter").code, TypeCode::Uint);
    EXPECT_EQ(leaf("Main.setpoint").code, TypeCode::Real);
    EXPECT_EQ(leaf("Main.enable").code, TypeCode::Bool);
    EXPECT_EQ(leaf("Main.batch_name").code, TypeCode::String);
    EXPECT_EQ(leaf("Main.total").code, TypeCode::Lint);
    EXPECT_EQ(leaf("Main.flags").code, TypeCode::Word);
    EXPECT_TRUE(leaf("Main.flags").bitAddressable);
    const Leaf recipe = leaf("Main.recipe");
    EXPECT_EQ(recipe.code, TypeCode::Int);
    ASSERT_EQ(recipe.dimensions.size(), 1u);
    EXPECT_EQ(recipe.dimensions[0].lower, 1);
    EXPECT_EQ(recipe.dimensions[0].upper, 10);
}

TEST_F(Plant, DrivesTheCounterAndLeavesAloneWhatTheDemoWrites) {
    EXPECT_TRUE(hasSignal("Main.counter"));
    EXPECT_FALSE(hasSignal("Main.setpoint"));
    EXPECT_FALSE(hasSignal("Main.enable"));
    EXPECT_FALSE(hasSignal("Main.batch_name"));
    EXPECT_FALSE(hasSignal("Main.flags"));
    for (int i = 1; i <= 10; ++i) {
        EXPECT_FALSE(hasSignal("Main.recipe[" + std::to_string(i) + "]"));
    }
}

TEST_F(Plant, HasSignalsOfEveryKind) {
    std::set<Signal::Kind> kinds;
    for (const Signal& signal : file.signals) {
        kinds.insert(signal.kind);
    }
    EXPECT_EQ(kinds.size(), 7u);
    EXPECT_EQ(file.signals.size(), 36u);
}

TEST_F(Plant, HasArraysOfOneToThreeDimensionsWithOddLowerBounds) {
    const Leaf samples = leaf("Laboratory.samples");
    ASSERT_EQ(samples.dimensions.size(), 3u);
    EXPECT_EQ(samples.dimensions[2].lower, 5);
    EXPECT_EQ(samples.elementCount(), 24);
    EXPECT_EQ(leaf("Distribution.hourly_flow").elementCount(), 168);
    const Leaf profile = leaf("Laboratory.profile");
    ASSERT_EQ(profile.dimensions.size(), 1u);
    EXPECT_EQ(profile.dimensions[0].lower, -2);
}

TEST_F(Plant, HasStructuresInStructuresInArrays) {
    EXPECT_EQ(leaf("Dosing.stations[3].pump.motor.speed").code, TypeCode::Int);
    EXPECT_EQ(leaf("Treatment.cells[2,3].air.torque").code, TypeCode::Sint);
    EXPECT_EQ(leaf("Recipes.book[3].steps[4].stirrer").code, TypeCode::Int);
}

// One place per variable: a value that is written in the demo does not show up elsewhere.
TEST_F(Plant, HasNoOverlappingVariables) {
    std::map<std::pair<int, std::int64_t>, std::string> ends;  // by area and first bit
    for (const Leaf& candidate : leaves) {
        const bool bit = candidate.code == TypeCode::Bit;
        const std::int64_t bits = bit ? 1 : 8;
        const int width = bit ? 1 : typeTraits(candidate.code)->widthBytes;
        for (std::int64_t i = 0; i < std::int64_t(candidate.elementCount()) * width * bits; ++i) {
            const auto place = std::make_pair(candidate.area, candidate.address * bits + i);
            EXPECT_TRUE(ends.emplace(place, candidate.tag).second) << candidate.tag << " lies over " << ends[place];
        }
    }
}

}  // namespace
}  // namespace ac500::symbol_file
