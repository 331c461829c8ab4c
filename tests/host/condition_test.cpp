#include "tools/host/condition.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace ac500::host {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

const TagTable& conditionTags() {
    static const TagTable table(symbol_file::parseSymbolFile(R"({
        "format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 4096}],
        "scopes": [{"name": "Main", "variables": [
          {"name": "level", "type": "REAL", "area": 1, "offset": 0},
          {"name": "count", "type": "INT", "area": 1, "offset": 4},
          {"name": "big", "type": "ULINT", "area": 1, "offset": 8},
          {"name": "on", "type": "BOOL", "area": 1, "offset": 16},
          {"name": "flags", "type": "WORD", "area": 1, "offset": 18, "bits": true},
          {"name": "title", "type": "STRING", "area": 1, "offset": 20},
          {"name": "pressure", "type": "INT", "area": 1, "offset": 300, "unit": "bar",
             "scale": {"factor": -0.1, "offset": 0}, "max": 100, "readOnly": true},
          {"name": "mode", "type": "INT", "area": 1, "offset": 302, "names": {"0": "off", "1": "manual"},
             "readOnly": true, "max": 1},
          {"name": "row", "type": "INT", "area": 1, "offset": 200, "array": [[1, 3]]}]}]})")
                                    .file);
    return table;
}

bool holds(const std::string& text, const HostValue& value) {
    Failure failure;
    const std::optional<Condition> condition = Condition::parse(conditionTags(), text, &failure);
    EXPECT_TRUE(condition) << failure.text;
    return condition && condition->holds({value});
}

Failure failureOf(const std::string& text) {
    Failure failure;
    EXPECT_FALSE(Condition::parse(conditionTags(), text, &failure)) << text;
    return failure;
}

TEST(Condition, EachOperatorComparesTheTagWithTheValue) {
    const auto outcomes = [](const std::string& op) {
        std::string text;
        for (const std::int64_t value : {-6, -5, -4}) {
            text += holds("Main.count " + op + " -5", value) ? "1" : "0";
        }
        return text;
    };
    EXPECT_EQ(outcomes("=="), "010");
    EXPECT_EQ(outcomes("!="), "101");
    EXPECT_EQ(outcomes("<"), "100");
    EXPECT_EQ(outcomes("<="), "110");
    EXPECT_EQ(outcomes(">"), "001");
    EXPECT_EQ(outcomes(">="), "011");
}

TEST(Condition, BlanksAreFree) {
    EXPECT_TRUE(holds("Main.count==3", std::int64_t{3}));
    EXPECT_TRUE(holds("  Main.count   >=   3  ", std::int64_t{3}));
}

TEST(Condition, TypesCompareAsTheyAre) {
    EXPECT_TRUE(holds("Main.level == 0.1", 0.1F));
    EXPECT_TRUE(holds("Main.big > 18446744073709551614", std::uint64_t{18446744073709551615U}));
    EXPECT_FALSE(holds("Main.big < 1", std::uint64_t{18446744073709551615U}));
    EXPECT_TRUE(holds("Main.on == TRUE", true));
    EXPECT_TRUE(holds("Main.flags.b[3] != 0", true));
    EXPECT_TRUE(holds("Main.title == \"a = b\"", std::string("a = b")));
    EXPECT_TRUE(holds("Main.title != x", std::string("y")));
    EXPECT_TRUE(holds("Main.row[2] == 7", std::int64_t{7}));
}

TEST(Condition, NothingIsOrderedWithNan) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_FALSE(holds("Main.level == nan", nan));
    EXPECT_FALSE(holds("Main.level <= 1", nan));
    EXPECT_TRUE(holds("Main.level != 1", nan));
}

TEST(Condition, ScaledTagsAreComparedAsPeopleSeeThem) {
    EXPECT_TRUE(holds("Main.pressure == 21.5", std::int64_t{-215}));
    EXPECT_TRUE(holds("Main.pressure > 21.46", std::int64_t{-215}));
    EXPECT_FALSE(holds("Main.pressure > 21.54", std::int64_t{-215}));
    EXPECT_TRUE(holds("Main.pressure < 1000", std::int64_t{-215}));  // beyond what it may be
}

TEST(Condition, ValuesGoByTheirNames) {
    EXPECT_TRUE(holds("Main.mode == manual", std::int64_t{1}));
    EXPECT_TRUE(holds("Main.mode != off", std::int64_t{1}));
    EXPECT_FALSE(holds("Main.mode == 7", std::int64_t{1}));
}

TEST(Condition, WhatIsNotKnownDoesNotHold) {
    Failure failure;
    EXPECT_FALSE(Condition::parse(conditionTags(), "Main.count != 1", &failure)->holds({}));
}

TEST(Condition, WhatIsWrongIsTold) {
    for (const char* text : {"", "x", "Main.count", "Main.count = 1", "Main.count =! 1", "Main.count ! 1"}) {
        EXPECT_THAT(failureOf(text).text, StartsWith("--when \"" + std::string(text) + "\": there is no operator; "));
    }
    EXPECT_THAT(failureOf("== 1").text, HasSubstr("there is no tag"));
    EXPECT_THAT(failureOf("Main.count >").text, HasSubstr("there is no value"));
    EXPECT_EQ(failureOf("Main.conut == 1").kind, FailureKind::Name);
    EXPECT_EQ(failureOf("Main.count == x").kind, FailureKind::Usage);
    EXPECT_THAT(failureOf("Main.row == 1").text, HasSubstr("has 3 values; name one of them"));
    EXPECT_THAT(failureOf("Main.on < 1").text, HasSubstr("has no order"));
    EXPECT_THAT(failureOf("Main.title >= x").text, HasSubstr("has no order"));
}

}  // namespace
}  // namespace ac500::host
