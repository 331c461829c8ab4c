// What is left of a good file after loading.
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/places.h"
#include "tests/symbol_file/sample.h"
#include "tools/symbol_file/symbol_file.h"

namespace ac500::symbol_file {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

TEST(LoadedFile, HasDescriptionAreasTypesAndScopesInFileOrder) {
    const SymbolFile file = sampleFile();
    EXPECT_EQ(file.description, "One of each kind");
    ASSERT_THAT(file.areas, SizeIs(2));
    EXPECT_EQ(file.areas[1].number, 3);
    EXPECT_EQ(file.areas[1].name, "Buttons");
    EXPECT_EQ(file.areas[1].sizeBytes, 8u);
    EXPECT_EQ(file.areas[1].line, 7);
    ASSERT_THAT(file.types, SizeIs(2));
    EXPECT_EQ(file.types[0]->name, "Pump");
    EXPECT_EQ(file.types[1]->name, "Valve");
    ASSERT_THAT(file.scopes, SizeIs(2));
    EXPECT_EQ(file.scopes[1].name, "Aux");
    EXPECT_EQ(file.scopes[1].line, 43);
}

TEST(LoadedFile, HasVariablesWithEverythingTheFileSays) {
    const Variable grid = sampleFile().scopes[0].variables[1];
    EXPECT_EQ(grid.name, "grid");
    EXPECT_EQ(grid.code, TypeCode::Int);
    EXPECT_EQ(grid.area, 1);
    EXPECT_EQ(grid.offset, 100);
    EXPECT_EQ(grid.line, 31);
    ASSERT_THAT(grid.dimensions, SizeIs(2));
    EXPECT_EQ(grid.dimensions[1].lower, 1);
    EXPECT_EQ(grid.dimensions[1].upper, 6);
    EXPECT_EQ(grid.dimensions[1].count(), 6);
    EXPECT_FALSE(grid.bitAddressable);
    EXPECT_EQ(grid.structure, nullptr);
}

TEST(LoadedFile, ResolvesAStructureThatIsDeclaredLater) {
    const SymbolFile file = sampleFile();
    const Variable valve = file.types[0]->members[2];
    EXPECT_EQ(valve.code, TypeCode::Struct);
    EXPECT_EQ(valve.structure, file.types[1]);
    EXPECT_EQ(file.types[0]->sizeBytes, 20);
    EXPECT_EQ(file.types[0]->line, 10);
}

TEST(LoadedFile, WithoutSimulationHasNoSignalsAndValues) {
    EXPECT_THAT(sampleFile().signals, IsEmpty());
    EXPECT_THAT(sampleFile().initialValues, IsEmpty());
}

std::string number(double value) {
    std::string text = std::to_string(value);
    return text.substr(0, text.find_last_not_of("0") + 1);
}

std::string text(const Signal& signal) {
    const char* const kinds[] = {"constant", "counter", "ramp", "sine", "square", "random-walk", "echo", "pattern"};
    return signal.tag + " " + kinds[static_cast<int>(signal.kind)] + " " + number(signal.minimum) + " to " +
           number(signal.maximum) + " by " + number(signal.step) + " in " + std::to_string(signal.periodMs) + " of <" +
           signal.source + "> line " + std::to_string(signal.line);
}

TEST(LoadedSignals, HaveWhatTheFileSaysAndElseTheDefaults) {
    std::vector<std::string> signals;
    for (const Signal& signal : loadGood(test::projectFile("tests/symbol_file/data/signals.json")).signals) {
        signals.push_back(text(signal));
    }
    EXPECT_THAT(signals,
                ElementsAre("Main.byte constant 7. to 7. by 1. in 1000 of <> line 29",                       //
                            "Main.on constant 1. to 1. by 1. in 1000 of <> line 30",                         //
                            "Main.small counter -3. to 100. by 2. in 500 of <> line 31",                     //
                            "Main.word counter 0. to 65535. by -1. in 1000 of <> line 32",                   //
                            "Main.long counter 0. to 9223372036854774784. by 1. in 1000 of <> line 33",      //
                            "Main.natural counter 0. to 18446744073709549568. by 1. in 1000 of <> line 34",  //
                            "Main.real ramp -1.5 to 2.25 by 1. in 86400000 of <> line 35",                   //
                            "Main.row[-2] sine 0. to 5. by 1. in 1 of <> line 36",                           //
                            "Main.bit square 0. to 1. by 1. in 1000 of <> line 37",                          //
                            "Main.row[2] random-walk -10. to 10. by 0.5 in 1000 of <> line 38",              //
                            "Main.double echo 0. to 0. by 1. in 1000 of <Main.real> line 39",                //
                            "Main.row[0] pattern 0. to 0. by 1. in 250 of <> line 40",                       //
                            "Main.title pattern 0. to 0. by 1. in 1000 of <> line 41"));
}

TEST(LoadedInitialValues, AreTextInOneSpelling) {
    std::vector<std::string> values;
    for (const InitialValue& value : loadGood(test::projectFile("tests/symbol_file/data/signals.json")).initialValues) {
        values.push_back(value.tag + " = " + value.text + " line " + std::to_string(value.line));
    }
    EXPECT_THAT(values, ElementsAre("Main.on = TRUE line 44",                       //
                                    "Main.bit = FALSE line 45",                     //
                                    "Main.small = -128 line 46",                    //
                                    "Main.word = 65535 line 47",                    //
                                    "Main.long = -9223372036854775808 line 48",     //
                                    "Main.natural = 18446744073709551615 line 49",  //
                                    "Main.real = 2.50e1 line 50",                   //
                                    "Main.row[0] = 12 line 51",                     //
                                    "Main.title = hello line 52",                   //
                                    "Main.code = 4711 line 53"));
}

}  // namespace
}  // namespace ac500::symbol_file
