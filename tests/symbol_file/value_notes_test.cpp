// What a symbol file says of a value beyond its type: what is left of it after loading, and what is refused.
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/symbol_file/sample.h"
#include "tools/symbol_file/symbol_file.h"

namespace ac500::symbol_file {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ValueNotesInAFile : public testing::Test {
protected:
    const SymbolFile file_ = loadGood(test::projectFile("tests/symbol_file/data/every_key.json"));

    Element element(const std::string& tag) const {
        std::string error;
        const std::optional<Element> found = findElement(file_, tag, &error);
        EXPECT_TRUE(found) << error;
        return found.value_or(Element());
    }
};

TEST_F(ValueNotesInAFile, GiveUnitScaleAndLimits) {
    const Element temperature = element("Main.temperature");
    ASSERT_NE(temperature.notes, nullptr);
    EXPECT_EQ(temperature.notes->unit, "°C");
    ASSERT_TRUE(temperature.notes->scale);
    EXPECT_EQ(temperature.notes->scale->factor.value, 0.1);
    EXPECT_EQ(temperature.notes->scale->offset.value, -40);
    EXPECT_EQ(temperature.notes->minimum->number.value, -30.5);
    EXPECT_EQ(temperature.notes->maximum->number.text, "120");
    EXPECT_FALSE(temperature.notes->maximum->whole);
    EXPECT_FALSE(temperature.isReadOnly);
}

TEST_F(ValueNotesInAFile, KeepWholeLimitsExactly) {
    const Element total = element("Main.total");
    ASSERT_TRUE(total.notes && total.notes->minimum && total.notes->minimum->whole);
    EXPECT_EQ(total.notes->minimum->whole->magnitude, 9007199254740993U);
    EXPECT_EQ(total.notes->maximum->whole->magnitude, 18446744073709551615U);
}

TEST_F(ValueNotesInAFile, TakeLimitsOfTimesAsLiterals) {
    const Element delay = element("Main.delay");
    ASSERT_TRUE(delay.notes && delay.notes->minimum && delay.notes->maximum);
    EXPECT_EQ(delay.code, TypeCode::Time);
    EXPECT_EQ(delay.notes->minimum->whole->magnitude, 100u);
    EXPECT_EQ(delay.notes->maximum->whole->magnitude, 3600000u);
    EXPECT_EQ(delay.notes->maximum->number.text, "T#1h");
}

TEST_F(ValueNotesInAFile, NameValuesInFileOrder) {
    const Element mode = element("Main.mode");
    ASSERT_NE(mode.notes, nullptr);
    ASSERT_EQ(mode.notes->names.size(), 4u);
    EXPECT_EQ(toText(mode.notes->names[0].value), "-1");
    EXPECT_EQ(mode.notes->names[0].name, "fault");
    EXPECT_EQ(mode.notes->names[3].name, "automatic");
    EXPECT_EQ(element("Main.lines[1,6].idle").notes->names[1].name, "idle");
}

TEST_F(ValueNotesInAFile, AreShownByLeavesToo) {
    for (const Leaf& leaf : listLeaves(file_)) {
        if (leaf.tag == "Main.lines[1,5].sensors[0].state") {
            ASSERT_NE(leaf.notes, nullptr);
            EXPECT_EQ(leaf.notes->names[2].name, "a;b = c\\d");
            EXPECT_TRUE(leaf.isReadOnly);
            return;
        }
    }
    FAIL() << "no such leaf";
}

TEST_F(ValueNotesInAFile, AStructureThatIsReadOnlyMakesAllInsideSo) {
    EXPECT_TRUE(element("Main.lines[0,5].sensors[1].state").isReadOnly);
    EXPECT_TRUE(element("Main.flags").isReadOnly);
    EXPECT_FALSE(element("Main.mode").isReadOnly);
}

TEST_F(ValueNotesInAFile, OfAVariableAreNotThoseOfItsBits) {
    EXPECT_TRUE(element("Main.flags.b[3]").isReadOnly);
    EXPECT_EQ(element("Main.flags.b[3]").notes, nullptr);
}

TEST_F(ValueNotesInAFile, AreAbsentWithoutKeys) {
    EXPECT_EQ(element("Main.day").notes, nullptr);
    EXPECT_FALSE(element("Main.day").isReadOnly);
}

TEST_F(ValueNotesInAFile, StringsHaveTheLengthOfTheirType) {
    EXPECT_EQ(element("Main.code").stringCharacters, 5);
    EXPECT_EQ(element("Main.text").stringCharacters, 255);
    EXPECT_EQ(element("Main.names[3]").stringCharacters, 20);
    EXPECT_EQ(element("Main.names[3]").address, 30 + 2 * 21);
}

TEST_F(ValueNotesInAFile, InitialValuesOfTimesAreNumbers) {
    ASSERT_EQ(file_.initialValues.size(), 7u);
    EXPECT_EQ(file_.initialValues[3].text, "90000");
}

// What is wrong with one variable, without its place in the file.
std::vector<std::string> problemsWith(const std::string& declaration) {
    const std::string text =
        R"({"format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 1000}],
"types": {"Pair": {"size": 4, "members": [{"name": "a", "type": "INT", "offset": 0}]}},
"scopes": [{"name": "Main", "variables": [{"name": "v", "area": 1, "offset": 0, )" +
        declaration + "}]}]}";
    std::vector<std::string> texts;
    for (const Problem& problem : parseSymbolFile(text).problems) {
        EXPECT_EQ(problem.line, 3);
        const std::string variable = "scopes[0].variables[0].";
        texts.push_back(problem.where.substr(std::min(variable.size(), problem.where.size())) + ": " + problem.what);
    }
    return texts;
}

TEST(WrongValueNotes, UnitsAreShortTextsOfNumbers) {
    EXPECT_THAT(problemsWith(R"("type": "INT", "unit": "m3/h")"), IsEmpty());
    EXPECT_THAT(problemsWith(R"("type": "INT", "unit": "")"),
                ElementsAre("unit: \"\" is no unit; write at most 40 bytes without quotes, commas and blanks at either "
                            "end, for example \"m3/h\""));
    EXPECT_THAT(problemsWith(R"("type": "INT", "unit": " m")").size(), 1u);
    EXPECT_THAT(problemsWith(R"("type": "INT", "unit": "a,b")").size(), 1u);
    EXPECT_THAT(problemsWith("\"type\": \"INT\", \"unit\": \"" + std::string(41, 'm') + "\"").size(), 1u);
    EXPECT_THAT(problemsWith("\"type\": \"INT\", \"unit\": \"" + std::string(40, 'm') + "\""), IsEmpty());
    EXPECT_THAT(problemsWith(R"("type": "INT", "unit": 5)"), ElementsAre("unit: is a number; write a string"));
    EXPECT_THAT(problemsWith(R"("type": "STRING", "unit": "m")"),
                ElementsAre("unit: \"unit\" does not go with STRING, only with numbers; remove it"));
    EXPECT_THAT(problemsWith(R"("type": "TIME", "unit": "s")"),
                ElementsAre("unit: \"unit\" does not go with TIME, only with numbers; remove it"));
    EXPECT_THAT(problemsWith(R"("type": "Pair", "unit": "m")"),
                ElementsAre("unit: \"unit\" does not go with a structure, only with numbers; remove it"));
}

TEST(WrongValueNotes, ScalesKeepEveryValueApart) {
    EXPECT_THAT(problemsWith(R"("type": "INT", "scale": {"factor": 0.1})"), IsEmpty());
    EXPECT_THAT(problemsWith(R"("type": "INT", "scale": {"offset": 273.15})"), IsEmpty());
    EXPECT_THAT(problemsWith(R"("type": "UDINT", "scale": {"factor": -1e-6, "offset": 1000})"), IsEmpty());
    EXPECT_THAT(problemsWith(R"("type": "REAL", "scale": {"factor": 1e-30, "offset": 1e30})"), IsEmpty());
    EXPECT_THAT(
        problemsWith(R"("type": "INT", "scale": {"factor": 0})"),
        ElementsAre("scale.factor: is 0, which makes all values one; write what the PLC's number is multiplied by"));
    const std::string tooClose =
        " cannot be told apart, because a number of 64 bits has too few digits; use a narrower type or a smaller "
        "offset";
    EXPECT_THAT(problemsWith(R"("type": "INT", "scale": {"factor": 0.1, "offset": 1e15})"),
                ElementsAre("scale: with this scale two values of INT" + tooClose));
    EXPECT_THAT(problemsWith(R"("type": "LINT", "scale": {"factor": 0.1})"),
                ElementsAre("scale: with this scale two values of LINT" + tooClose));
    EXPECT_THAT(problemsWith(R"("type": "INT", "scale": {"factor": 1e-320})"),
                ElementsAre("scale: with this scale two values of INT" + tooClose));
    EXPECT_THAT(problemsWith(R"("type": "INT", "scale": 0.1)"),
                ElementsAre("scale: is a number; write an object with \"factor\", \"offset\""));
    EXPECT_THAT(problemsWith(R"("type": "INT", "scale": {})"),
                ElementsAre("scale: says nothing; give a factor or an offset, or remove it"));
    EXPECT_THAT(problemsWith(R"("type": "INT", "scale": {"faktor": 2})"),
                ElementsAre("scale: unknown key \"faktor\"; did you mean \"factor\"?"));
    EXPECT_THAT(problemsWith(R"("type": "BOOL", "scale": {"factor": 2})"),
                ElementsAre("scale: \"scale\" does not go with BOOL, only with numbers; remove it"));
}

TEST(WrongValueNotes, LimitsAreValuesOfTheTypeInUnitsOfThePlant) {
    EXPECT_THAT(problemsWith(R"("type": "INT", "min": -32768, "max": 32767)"), IsEmpty());
    EXPECT_THAT(problemsWith(R"("type": "INT", "min": 5, "max": 5)"), IsEmpty());
    EXPECT_THAT(
        problemsWith(R"("type": "INT", "scale": {"factor": 0.1, "offset": -40}, "min": -3316.8, "max": 3236.7)"),
        IsEmpty());
    EXPECT_THAT(problemsWith(R"("type": "INT", "max": 32768)"),
                ElementsAre("max: 32768 is nothing that INT can be; stay within -32768 to 32767"));
    EXPECT_THAT(problemsWith(R"("type": "UINT", "min": -1)"),
                ElementsAre("min: -1 is nothing that UINT can be; stay within 0 to 65535"));
    EXPECT_THAT(problemsWith(R"("type": "USINT", "scale": {"factor": 0.5}, "max": 128)"),
                ElementsAre("max: 128 is nothing that USINT with this scale can be; stay within 0 to 127.5"));
    EXPECT_THAT(problemsWith(R"("type": "INT", "min": 1.5)"),
                ElementsAre("min: is 1.5; write a whole number, as INT holds"));
    EXPECT_THAT(problemsWith(R"("type": "ULINT", "max": 18446744073709551616)").size(), 1u);
    EXPECT_THAT(problemsWith(R"("type": "REAL", "max": 1e39)"),
                ElementsAre("max: 1e39 is nothing that REAL can be; stay within -3.4e38 to 3.4e38"));
    EXPECT_THAT(problemsWith(R"("type": "INT", "min": 6, "max": 5)"),
                ElementsAre("max: the largest value 5 lies below the smallest, 6; correct one of them"));
    EXPECT_THAT(problemsWith(R"("type": "ULINT", "min": 9007199254740993, "max": 9007199254740992)").size(), 1u);
    EXPECT_THAT(problemsWith(R"("type": "TIME", "min": "16#1388", "max": "T#5s")"), IsEmpty());
    EXPECT_THAT(problemsWith(R"("type": "TIME", "min": "16#1389", "max": "T#5s")"),
                ElementsAre("max: the largest value T#5s lies below the smallest, 16#1389; correct one of them"));
    EXPECT_THAT(problemsWith(R"("type": "TIME", "max": "16#1_0000_0000")").size(), 1u);
    EXPECT_THAT(problemsWith(R"("type": "TIME", "min": "-16#1")").size(), 1u);
    EXPECT_THAT(problemsWith(R"("type": "TIME", "min": "T#1m", "max": "T#1s")"),
                ElementsAre("max: the largest value T#1s lies below the smallest, T#1m; correct one of them"));
    EXPECT_THAT(problemsWith(R"("type": "TIME", "max": "90s")"),
                ElementsAre("max: \"90s\" is no TIME; write it as in \"T#1m30s\""));
    EXPECT_THAT(problemsWith(R"("type": "TIME", "max": 5000)"), IsEmpty());
    EXPECT_THAT(problemsWith(R"("type": "INT", "max": "5")"), ElementsAre("max: is a string; write a number"));
    EXPECT_THAT(problemsWith(R"("type": "BOOL", "max": 1)"),
                ElementsAre("max: \"max\" does not go with BOOL, only with numbers, times and dates; remove it"));
    EXPECT_THAT(problemsWith(R"("type": "STRING", "min": 1)").size(), 1u);
}

TEST(WrongValueNotes, NamesAreOfValuesAndTellThemApart) {
    EXPECT_THAT(problemsWith(R"("type": "BOOL", "names": {"0": "closed", "1": "open"})"), IsEmpty());
    EXPECT_THAT(problemsWith(R"("type": "WORD", "names": {"16#8000": "fault"})"), IsEmpty());
    EXPECT_THAT(problemsWith(R"("type": "SINT", "names": {"128": "x"})"),
                ElementsAre("names: \"128\" is no value of SINT; write a whole number that it holds"));
    EXPECT_THAT(problemsWith(R"("type": "SINT", "names": {"one": "x"})"),
                ElementsAre("names: \"one\" is no value of SINT; write a whole number that it holds"));
    EXPECT_THAT(problemsWith(R"("type": "INT", "names": {"1": "a", "01": "b"})"),
                ElementsAre("names: \"01\" has a name already; remove one"));
    EXPECT_THAT(problemsWith(R"("type": "INT", "names": {"1": "on", "2": "ON"})"),
                ElementsAre("names.2: \"ON\" names another value already; upper and lower case are the same"));
    EXPECT_THAT(problemsWith(R"("type": "INT", "names": {"1": "2nd"})"),
                ElementsAre("names.1: \"2nd\" cannot name a value; write at most 80 bytes without quotes, commas and "
                            "\"#\", with no digit and no sign in front"));
    EXPECT_THAT(problemsWith(R"("type": "INT", "names": {"1": ""})").size(), 1u);
    EXPECT_THAT(problemsWith(R"("type": "INT", "names": {"1": "a,b"})").size(), 1u);
    EXPECT_THAT(problemsWith(R"("type": "BOOL", "names": {"0": "True"})").size(), 1u);
    EXPECT_THAT(problemsWith(R"("type": "INT", "names": {"1": 1})"),
                ElementsAre("names.1: is a number; write a string"));
    EXPECT_THAT(problemsWith(R"("type": "INT", "names": {})"),
                ElementsAre("names: names no value; add one, or remove \"names\""));
    EXPECT_THAT(problemsWith(R"("type": "INT", "names": ["off"])"),
                ElementsAre("names: is no object; write each value with its name: {\"0\": \"off\", \"1\": \"on\"}"));
    EXPECT_THAT(problemsWith(R"("type": "INT", "scale": {"factor": 2}, "names": {"1": "a"})"),
                ElementsAre("names: \"names\" and \"scale\" cannot both be given; remove one of them"));
    EXPECT_THAT(problemsWith(R"("type": "REAL", "names": {"1": "a"})"),
                ElementsAre("names: \"names\" does not go with REAL, only with whole numbers and booleans; remove it"));
    EXPECT_THAT(problemsWith(R"("type": "TIME", "names": {"1": "a"})").size(), 1u);
}

TEST(WrongValueNotes, ReadOnlyIsTrueOrFalse) {
    EXPECT_THAT(problemsWith(R"("type": "Pair", "readOnly": true)"), IsEmpty());
    EXPECT_THAT(problemsWith(R"("type": "INT", "readOnly": 1)"),
                ElementsAre("readOnly: is a number; write true or false"));
}

TEST(StringTypes, HaveOneToTwoHundredFiftyFiveCharacters) {
    EXPECT_THAT(problemsWith(R"~("type": "STRING(1)")~"), IsEmpty());
    EXPECT_THAT(problemsWith(R"~("type": "CSTRING(255)")~"), IsEmpty());
    const std::string remedy = " has no possible length; a string has 1 to 255 characters, as in STRING(20)";
    for (const char* type : {"STRING(0)", "STRING(256)", "STRING()", "STRING(-1)", "STRING( 5)", "STRING(05)",
                             "STRING(99999999999)", "CSTRING(x)"}) {
        EXPECT_THAT(problemsWith("\"type\": \"" + std::string(type) + "\""),
                    ElementsAre("type: \"" + std::string(type) + "\"" + remedy));
    }
    EXPECT_THAT(problemsWith(R"~("type": "INT(5)")~").size(), 1u);
    EXPECT_THAT(problemsWith(R"~("type": "STRING(5")~").size(), 1u);
}

TEST(StringTypes, EndWhereTheirLengthSays) {
    EXPECT_THAT(problemsWith(R"~("type": "STRING(249)", "array": [[1, 4]])~"), IsEmpty());
    EXPECT_THAT(
        problemsWith(R"~("type": "STRING(250)", "array": [[1, 4]])~"),
        ElementsAre("offset: the variable ends at byte 1004, outside the 1000 bytes of area 1; correct the place "
                    "or the area's \"bytes\""));
}

}  // namespace
}  // namespace ac500::symbol_file
