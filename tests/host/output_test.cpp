#include "tools/host/output.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "tools/host/csv_output.h"

namespace ac500::host {
namespace {

using testing::ElementsAre;

// A tag of so many elements, shown as a list when there are several.
Tag outputTag(TypeCode code, int elements = 1) {
    Tag tag;
    tag.text = elements > 1 ? "Main.x[1..2]" : "Main.x";
    tag.form = {code, false};
    tag.elements = elements;
    tag.isList = elements > 1;
    tag.isIndexed = elements > 1;
    tag.prefix = elements > 1 ? "Main.x[" : "Main.x";
    tag.firstIndex = 1;
    return tag;
}

std::string jsonText(TypeCode code, const HostValues& values) {
    return valueJson(outputTag(code, static_cast<int>(values.size())), values).dump();
}

TEST(OutputJson, WholeNumbersThatDoublesDoNotHoldAreStrings) {
    EXPECT_EQ(jsonText(TypeCode::Lint, {std::int64_t{9007199254740991}}), "9007199254740991");
    EXPECT_EQ(jsonText(TypeCode::Lint, {std::int64_t{9007199254740992}}), "\"9007199254740992\"");
    EXPECT_EQ(jsonText(TypeCode::Lint, {std::int64_t{-9007199254740991}}), "-9007199254740991");
    EXPECT_EQ(jsonText(TypeCode::Lint, {std::int64_t{-9007199254740992}}), "\"-9007199254740992\"");
    EXPECT_EQ(jsonText(TypeCode::Lint, {std::numeric_limits<std::int64_t>::min()}), "\"-9223372036854775808\"");
    EXPECT_EQ(jsonText(TypeCode::Ulint, {std::uint64_t{9007199254740991}}), "9007199254740991");
    EXPECT_EQ(jsonText(TypeCode::Ulint, {std::uint64_t{1}, std::numeric_limits<std::uint64_t>::max()}),
              "[1,\"18446744073709551615\"]");
}

TEST(OutputJson, FloatsThatJsonDoesNotKnowAreStrings) {
    EXPECT_EQ(jsonText(TypeCode::Real, {std::numeric_limits<float>::quiet_NaN()}), "\"nan\"");
    EXPECT_EQ(jsonText(TypeCode::Lreal, {std::numeric_limits<double>::infinity()}), "\"inf\"");
    EXPECT_EQ(jsonText(TypeCode::Lreal, {-std::numeric_limits<double>::infinity()}), "\"-inf\"");
    EXPECT_EQ(jsonText(TypeCode::Real, {21.5F}), "21.5");
}

TEST(OutputJson, ADocumentBeginsWithItsVersion) {
    EXPECT_EQ(newDocument().dump(), "{\"version\":1}");
}

TEST(OutputTable, HoldsNothingThatATerminalObeys) {
    EXPECT_THAT(alignColumns({{"TAG", "COMMENT"},
                              {"Main.a\x1b[31m",
                               "two\nlines\ttab \xC2\x9B"
                               "1m \x7F"},
                              {"b", "é"}}),
                ElementsAre("TAG          COMMENT", "Main.a?[31m  two?lines?tab ?1m ?", "b            é"));
}

TEST(OutputCsv, EachElementHasARow) {
    TagValue value{ValueState::Fresh, true, {std::int64_t{-1}, std::int64_t{2}}, Milliseconds(12), {}};
    EXPECT_THAT(valueCsv(outputTag(TypeCode::Int, 2), value),
                ElementsAre("Main.x[1],INT,-1,,fresh,12", "Main.x[2],INT,2,,fresh,12"));
}

TEST(OutputCsv, NumbersStayNumbersAndTextsAreNoFormulas) {
    const auto row = [](TypeCode code, const HostValue& value) {
        return valueCsv(outputTag(code), {ValueState::Fresh, true, {value}, Milliseconds(1), {}}).front();
    };
    EXPECT_EQ(row(TypeCode::Word, std::uint64_t{255}), "Main.x,WORD,255,,fresh,1");
    EXPECT_EQ(row(TypeCode::Real, -1.5F), "Main.x,REAL,-1.5,,fresh,1");
    EXPECT_EQ(row(TypeCode::Bool, false), "Main.x,BOOL,FALSE,,fresh,1");
    EXPECT_EQ(row(TypeCode::String, std::string("-1")), "Main.x,STRING,'-1,,fresh,1");
    EXPECT_EQ(row(TypeCode::String, std::string("@a,b")), "Main.x,STRING,\"'@a,b\",,fresh,1");
}

TEST(OutputCsv, ScaledNumbersHaveTheirUnitBesideThem) {
    symbol_file::ValueNotes notes;
    notes.unit = "=bar";
    notes.scale = symbol_file::Scale{{0.1, "0.1"}, {0, "0"}};
    Tag tag = outputTag(TypeCode::Int);
    tag.notes = std::make_shared<const symbol_file::ValueNotes>(notes);
    EXPECT_THAT(valueCsv(tag, {ValueState::Fresh, true, {std::int64_t{215}}, Milliseconds(1), {}}),
                ElementsAre("Main.x,INT,21.5,'=bar,fresh,1"));
}

TEST(OutputCsv, WhatIsNotKnownIsEmpty) {
    EXPECT_THAT(valueCsv(outputTag(TypeCode::Int, 2), TagValue()),
                ElementsAre("Main.x[1],INT,,,never received,", "Main.x[2],INT,,,never received,"));
}

TEST(OutputCsv, CommentsOfTagsAreQuoted) {
    Leaf leaf;
    leaf.tag = "Main.grid";
    leaf.code = TypeCode::Int;
    leaf.dimensions = {{0, 3}, {1, 6}};
    leaf.area = 1;
    leaf.address = 92;
    leaf.comment = "=1+1\nx";
    EXPECT_EQ(leafCsv(leaf), "Main.grid,\"INT[0..3,1..6]\",1,92,,\"'=1+1\nx\"");
}

}  // namespace
}  // namespace ac500::host
