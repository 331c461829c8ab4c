// From a concrete tag name to type, area, address, element and bit.
#include <climits>

#include "tests/support/driver_test.h"
#include "tests/support/label_builders.h"
#include "tests/symbols/resolved_text.h"

namespace ac500::test {
namespace {

struct TagRow {
    const char* situation;
    const char* tag;
    const char* resolved;
};

class LabelResolution : public DriverTest {
protected:
    LabelResolution() { loadPlant(); }

    template <size_t n>
    static void expectRows(const TagRow (&rows)[n]) {
        for (const TagRow& row : rows) {
            EXPECT_EQ(resolve(QString::fromUtf8(row.tag)), row.resolved) << row.situation << ": \"" << row.tag << '"';
        }
    }
};

TEST_F(LabelResolution, PlainVariablesAndMembers) {
    const TagRow rows[] = {
        {"variable of a scope", "Main.counter", "0: type 3, area 1, address 4"},
        {"variable in another area", "Main.remote", "0: type 5, area 9, address 40"},
        {"first member of a structure", "Main.motor.speed", "0: type 3, area 1, address 302"},
        {"second member of a structure", "Main.motor.torque", "0: type 7, area 1, address 304"},
        {"member of a structure in a structure", "Main.motor.drive.current", "0: type 3, area 1, address 318"},
        {"string", "Main.text", "0: type 10, area 1, address 600"},
        {"index suffix on the scope is ignored", "Main[7].counter", "0: type 3, area 1, address 4"},
        {"placeholder on the scope is ignored", "Main[%%].counter", "0: type 3, area 1, address 4"},
    };
    expectRows(rows);
}

TEST_F(LabelResolution, ArrayElements) {
    const TagRow rows[] = {
        {"first element", "Main.vector[0]", "0: type 3, area 1, address 200, element 0 of 5"},
        {"element in the middle", "Main.vector[3]", "0: type 3, area 1, address 206, element 3 of 5"},
        {"last element", "Main.vector[4]", "0: type 3, area 1, address 208, element 4 of 5"},
        {"two dimensions with a lower bound of one", "Main.values[2,3]",
         "0: type 3, area 1, address 124, element 12 of 5"},
        {"lower bounds of both dimensions", "Main.values[0,1]", "0: type 3, area 1, address 100, element 0 of 5"},
        {"array in a structure", "Main.motor.temps[1]", "0: type 3, area 1, address 308, element 0 of 4"},
        {"last element of an array in a structure", "Main.motor.temps[4]",
         "0: type 3, area 1, address 314, element 3 of 4"},
        {"member of the first structure of an array", "Main.motors[1].speed", "0: type 3, area 1, address 402"},
        {"member of the third structure of an array", "Main.motors[3].torque", "0: type 7, area 1, address 444"},
        {"array in an array of structures", "Main.motors[2].temps[3]",
         "0: type 3, area 1, address 432, element 2 of 4"},
        {"structure in an array of structures", "Main.motors[4].drive.current", "0: type 3, area 1, address 478"},
    };
    expectRows(rows);
}

TEST_F(LabelResolution, WorkedExampleOfTwoDimensions) {
    unsigned int index = 0;
    unsigned int end = 0;
    EXPECT_EQ(get_label_address_array_memory_index("2,3", 2, {10, 0, 4, 1, 6}, index, &end), 0);
    EXPECT_EQ(index, 12u);
    EXPECT_EQ(end, 17u);
    EXPECT_EQ(resolve("Main.values[2,3]"), "0: type 3, area 1, address 124, element 12 of 5");
}

// quirk 16
TEST_F(LabelResolution, IndexAtOrBeyondTheUpperBoundIsAcceptedAndLiesOutside) {
    const TagRow rows[] = {
        {"upper bound", "Main.vector[5]", "0: type 3, area 1, address 210, element 5 of 5"},
        {"far beyond", "Main.vector[1000]", "0: type 3, area 1, address 2200, element 1000 of 5"},
        {"upper bound of the inner dimension", "Main.values[0,6]", "0: type 3, area 1, address 110, element 5 of 5"},
        {"upper bound of the outer dimension", "Main.values[4,1]", "0: type 3, area 1, address 140, element 20 of 5"},
    };
    expectRows(rows);
}

// quirk 16
TEST_F(LabelResolution, ExtentIsUpperMinusLower) {
    unsigned int index = 0;
    unsigned int end = 0;
    EXPECT_EQ(get_label_address_array_memory_index("1,0,0", 3, {10, 0, 2, 0, 3, 0, 4}, index, &end), 0);
    EXPECT_EQ(index, 12u) << "one step of the outermost dimension is 3 x 4 elements";
    EXPECT_EQ(end, 16u);
}

// quirk 17
TEST_F(LabelResolution, ArrayCountIsTheInnermostExtentWhateverTheIndex) {
    for (const char* tag : {"Main.vector[0]", "Main.vector[4]", "Main.vector[9]"}) {
        ControlInformationM info = ControlInformationM();
        EXPECT_EQ(get_label_address_info(QString(tag), info), 0) << tag;
        EXPECT_EQ(info.arrayCount, 5) << tag;
    }
}

TEST_F(LabelResolution, SingleBits) {
    const TagRow rows[] = {
        {"bit of a word", "Main.flags.b[3]", "0: type 3, area 1, address 500, bit 3"},
        {"bit zero", "Main.flags.b[0]", "0: type 3, area 1, address 500, bit 0"},
        {"bit of a member", "Main.motor.status.bits[7]", "0: type 15, area 1, address 314, bit 7"},
        {"bit of a member in an array of structures", "Main.motors[2].status.x[1]",
         "0: type 15, area 1, address 434, bit 1"},
        {"bit beyond the width", "Main.flags.b[99]", "0: type 3, area 1, address 500, bit 99"},
        {"negative bit", "Main.flags.b[-2]", "0: type 3, area 1, address 500, bit -2"},
        {"blanks around the number", "Main.flags.b[ 3 ]", "0: type 3, area 1, address 500, bit 3"},
        {"text that is no number gives bit zero", "Main.flags.b[x]", "0: type 3, area 1, address 500, bit 0"},
        {"empty number gives bit zero", "Main.flags.b[]", "0: type 3, area 1, address 500, bit 0"},
        {"number too large gives bit zero", "Main.flags.b[4294967299]", "0: type 3, area 1, address 500, bit 0"},
        {"characters after the bracket are ignored", "Main.flags.b[3]x", "0: type 3, area 1, address 500, bit 3"},
        {"last of two brackets counts", "Main.flags.b[1][2]", "0: type 3, area 1, address 500, bit 2"},
        {"text between nested brackets is no number", "Main.flags.b[[3]]", "0: type 3, area 1, address 500, bit 0"},
        {"any name before the bracket will do", "Main.flags.%[4]", "0: type 3, area 1, address 500, bit 4"},
    };
    expectRows(rows);
}

// quirk 18
TEST_F(LabelResolution, BitComponentThatNamesNoBitIsIgnored) {
    const TagRow rows[] = {
        {"no character before the bracket", "Main.flags.[3]", "0: type 3, area 1, address 500"},
        {"no brackets", "Main.flags.b", "0: type 3, area 1, address 500"},
        {"empty component", "Main.flags.", "0: type 3, area 1, address 500"},
        {"only an opening bracket", "Main.flags.b[3", "0: type 3, area 1, address 500"},
        {"only a closing bracket", "Main.flags.b3]", "0: type 3, area 1, address 500"},
        {"brackets the wrong way round", "Main.flags.b]3[", "0: type 3, area 1, address 500"},
        {"last opening bracket after the last closing one", "Main.flags.b[3]x[", "0: type 3, area 1, address 500"},
        {"two components after the variable", "Main.flags.b[3].c", "0: type 3, area 1, address 500"},
        {"no component after the variable", "Main.flags", "0: type 3, area 1, address 500"},
    };
    expectRows(rows);
}

TEST_F(LabelResolution, ComponentsAfterAScalarAreIgnored) {
    const TagRow rows[] = {
        {"a name", "Main.counter.speed", "0: type 3, area 1, address 4"},
        {"a bit of a variable without named bits", "Main.counter.b[3]", "0: type 3, area 1, address 4"},
        {"an empty component", "Main.counter.", "0: type 3, area 1, address 4"},
        {"behind an array element", "Main.vector[2].speed", "0: type 3, area 1, address 204, element 2 of 5"},
    };
    expectRows(rows);
}

TEST_F(LabelResolution, BitsOfAnArrayElement) {
    loadMain({withBits(asArray(variable("words", 16, 800), {10, 0, 4}), 16)});
    EXPECT_EQ(resolve("Main.words[2].b[9]"), "0: type 16, area 1, address 804, element 2 of 4, bit 9");
}

TEST_F(LabelResolution, FailuresNameTheirStep) {
    const TagRow rows[] = {
        {"empty tag", "", "6: type 0, area 0, address 0"},
        {"one component", "Main", "11: type 0, area 0, address 0"},
        {"one component with an index", "Main[1]", "11: type 0, area 0, address 0"},
        {"unknown scope", "X.Y", "2: type 0, area 0, address 0"},
        {"empty scope", ".counter", "2: type 0, area 0, address 0"},
        {"only a dot", ".", "2: type 0, area 0, address 0"},
        {"blank before the scope", " Main.counter", "2: type 0, area 0, address 0"},
        {"scope in another case", "main.counter", "2: type 0, area 0, address 0"},
        {"unknown variable", "Main.ghost", "1: type 0, area 0, address 0"},
        {"empty variable", "Main.", "1: type 0, area 0, address 0"},
        {"empty component in the middle", "Main..counter", "1: type 0, area 0, address 0"},
        {"variable in another case", "Main.Counter", "1: type 0, area 0, address 0"},
        {"beginning of a variable's name", "Main.count", "1: type 0, area 0, address 0"},
        {"structure without a member's name", "Main.motor", "1: type 0, area 1, address 300"},
        {"element of a structure array without a member's name", "Main.motors[2]", "1: type 0, area 1, address 420"},
        {"structure in a structure without a member's name", "Main.motor.drive", "1: type 0, area 1, address 316"},
        {"unknown member", "Main.motor.ghost", "7: type 0, area 1, address 300"},
        {"empty member", "Main.motor.", "7: type 0, area 1, address 300"},
        {"unknown member of an inner structure", "Main.motor.drive.ghost", "7: type 0, area 1, address 316"},
        {"array of two dimensions without a suffix", "Main.values", "1: type 0, area 1, address 100"},
        {"fewer indices than dimensions", "Main.values[2]", "1: type 0, area 1, address 100"},
        {"more indices than dimensions", "Main.values[2,3,4]", "1: type 0, area 1, address 100"},
        {"array of one dimension without a suffix", "Main.vector", "3: type 0, area 1, address 200"},
        {"empty brackets", "Main.vector[]", "3: type 0, area 1, address 200"},
        {"index is a word", "Main.vector[two]", "3: type 0, area 1, address 200"},
        {"index is a placeholder", "Main.vector[%%]", "3: type 0, area 1, address 200"},
        {"index is a fraction", "Main.vector[1.0]", "1: type 0, area 0, address 0"},
        {"index is hexadecimal in a decimal array", "Main.vector[0x2]", "3: type 0, area 1, address 200"},
        {"index below the lower bound", "Main.values[2,0]", "3: type 0, area 1, address 100"},
        {"negative index", "Main.vector[-1]", "3: type 0, area 1, address 200"},
        {"index too large for a number", "Main.vector[4294967296]", "3: type 0, area 1, address 200"},
        {"empty second index", "Main.values[2,]", "3: type 0, area 1, address 100"},
        {"structure array with an index below its bound", "Main.motors[0].speed", "3: type 0, area 1, address 400"},
        {"structure array without an index", "Main.motors.speed", "3: type 0, area 1, address 400"},
    };
    expectRows(rows);
}

// quirk 18: the result is filled in although the code says failure.
TEST_F(LabelResolution, SuffixOnAVariableThatIsNoArrayFailsWithAFilledResult) {
    const TagRow rows[] = {
        {"scalar", "Main.counter[2]", "1: type 3, area 1, address 4"},
        {"scalar with empty brackets", "Main.counter[]", "1: type 3, area 1, address 4"},
        {"member", "Main.motor.speed[0]", "1: type 3, area 1, address 302"},
        {"string", "Main.text[4]", "1: type 10, area 1, address 600"},
        {"variable with named bits", "Main.flags[4]", "1: type 3, area 1, address 500"},
        {"variable with named bits and a bit", "Main.flags[4].b[3]", "1: type 3, area 1, address 500, bit 3"},
    };
    expectRows(rows);
}

TEST_F(LabelResolution, SuffixOnAStructureVariableIsIgnored) {
    EXPECT_EQ(resolve("Main.motor[2].speed"), "0: type 3, area 1, address 302");
}

TEST_F(LabelResolution, OnlyTheIntegerParseDecidesAboutBlanks) {
    const TagRow rows[] = {
        {"blanks around the numbers", "Main.values[ 2 , 3 ]", "0: type 3, area 1, address 124, element 12 of 5"},
        {"blank inside a number", "Main.vector[1 2]", "3: type 0, area 1, address 200"},
        {"only a blank", "Main.vector[ ]", "3: type 0, area 1, address 200"},
        {"plus sign", "Main.vector[+3]", "0: type 3, area 1, address 206, element 3 of 5"},
        {"leading zeros", "Main.vector[0003]", "0: type 3, area 1, address 206, element 3 of 5"},
        {"blank before the bracket belongs to the name", "Main.vector [3]", "1: type 0, area 0, address 0"},
    };
    expectRows(rows);
}

TEST_F(LabelResolution, BracketsInEveryOrder) {
    const TagRow rows[] = {
        {"opening bracket alone", "Main.vector[", "1: type 0, area 0, address 0"},
        {"closing bracket alone", "Main.vector]", "1: type 0, area 0, address 0"},
        {"closing bracket missing", "Main.vector[3", "1: type 0, area 0, address 0"},
        {"opening bracket missing", "Main.vector3]", "1: type 0, area 0, address 0"},
        {"brackets the wrong way round", "Main.vector]3[", "1: type 0, area 0, address 0"},
        {"suffix starts at the last opening bracket", "Main.vector[1][3]", "1: type 0, area 0, address 0"},
        {"doubled opening bracket", "Main.vector[[3]", "1: type 0, area 0, address 0"},
        {"doubled closing bracket", "Main.vector[3]]", "3: type 0, area 1, address 200"},
        {"character after the closing bracket", "Main.vector[3]x", "3: type 0, area 1, address 200"},
        {"only brackets as variable", "Main.[3]", "1: type 0, area 0, address 0"},
        {"only brackets as scope", "[3].counter", "2: type 0, area 0, address 0"},
        {"dot inside the brackets splits the tag", "Main.values[2.3]", "1: type 0, area 0, address 0"},
        {"opening bracket at the scope alone", "Main[.counter", "2: type 0, area 0, address 0"},
    };
    expectRows(rows);
}

// quirk 18
TEST_F(LabelResolution, LastCharacterOfAComponentWithASuffixIsDroppedUnread) {
    loadMain({asArray(variable("vec]tor", 3, 200), {10, 0, 5})});
    EXPECT_EQ(resolve("Main.vec]tor[3?"), "0: type 3, area 1, address 206, element 3 of 5");
    EXPECT_EQ(resolve("Main.vec]tor[34"), "0: type 3, area 1, address 206, element 3 of 5");
    EXPECT_EQ(resolve("Main.vec]tor["), "3: type 0, area 1, address 200");
}

TEST_F(LabelResolution, IndexTextsAreReadInTheNumberBaseOfTheArray) {
    loadMain({asArray(variable("hex", 3, 0), {16, 0, 32}), asArray(variable("octal", 3, 100), {8, 1, 20}),
              asArray(variable("binary", 3, 200), {2, 0, 8}), asArray(variable("largest", 3, 300), {36, 0, 99}),
              asArray(variable("automatic", 3, 400), {0, 0, 99})});
    const TagRow rows[] = {
        {"hexadecimal digit", "Main.hex[A]", "0: type 3, area 1, address 20, element 10 of 32"},
        {"hexadecimal digits in lower case", "Main.hex[1f]", "0: type 3, area 1, address 62, element 31 of 32"},
        {"no hexadecimal digit", "Main.hex[G]", "3: type 0, area 1, address 0"},
        {"octal digits above a lower bound", "Main.octal[10]", "0: type 3, area 1, address 114, element 7 of 19"},
        {"no octal digit", "Main.octal[8]", "3: type 0, area 1, address 100"},
        {"binary digits", "Main.binary[101]", "0: type 3, area 1, address 210, element 5 of 8"},
        {"no binary digit", "Main.binary[2]", "3: type 0, area 1, address 200"},
        {"digit of the largest base", "Main.largest[z]", "0: type 3, area 1, address 370, element 35 of 99"},
        {"base zero takes the prefix", "Main.automatic[0x10]", "0: type 3, area 1, address 432, element 16 of 99"},
    };
    expectRows(rows);
}

struct NamedTypeRow {
    const char* type;
    int code;
    const char* element;  // element 3 of an array of 7 at address 1000
    const char* bit;      // bit 5 of a scalar at address 2000 that carries the flag for named bits
};

constexpr NamedTypeRow kTypes[] = {
    {"boolean byte", 1, "0: type 1, area 1, address 1003, element 3 of 7", "0: type 1, area 1, address 2000"},
    {"signed 8-bit", 2, "0: type 2, area 1, address 1003, element 3 of 7", "0: type 2, area 1, address 2000, bit 5"},
    {"signed 16-bit", 3, "0: type 3, area 1, address 1006, element 3 of 7", "0: type 3, area 1, address 2000, bit 5"},
    {"unsigned 16-bit", 4, "0: type 4, area 1, address 1006, element 3 of 7", "0: type 4, area 1, address 2000, bit 5"},
    {"signed 32-bit", 5, "0: type 5, area 1, address 1012, element 3 of 7", "0: type 5, area 1, address 2000, bit 5"},
    {"unsigned 32-bit", 6, "0: type 6, area 1, address 1012, element 3 of 7", "0: type 6, area 1, address 2000, bit 5"},
    {"32-bit float", 7, "0: type 7, area 1, address 1012, element 3 of 7", "0: type 7, area 1, address 2000"},
    {"signed 64-bit", 8, "0: type 8, area 1, address 1024, element 3 of 7", "0: type 8, area 1, address 2000, bit 5"},
    {"64-bit float", 9, "0: type 9, area 1, address 1024, element 3 of 7", "0: type 9, area 1, address 2000"},
    {"string", 10, "0: type 10, area 1, address 1243, element 3 of 7", "0: type 10, area 1, address 2000"},
    {"string under its second code", 11, "0: type 11, area 1, address 1243, element 3 of 7",
     "0: type 11, area 1, address 2000"},
    {"bit-addressed boolean", 13, "0: type 13, area 1, address 1003, element 3 of 7",
     "0: type 13, area 1, address 2000"},
    {"unsigned 8-bit", 14, "0: type 14, area 1, address 1003, element 3 of 7",
     "0: type 14, area 1, address 2000, bit 5"},
    {"byte", 15, "0: type 15, area 1, address 1003, element 3 of 7", "0: type 15, area 1, address 2000, bit 5"},
    {"word", 16, "0: type 16, area 1, address 1006, element 3 of 7", "0: type 16, area 1, address 2000, bit 5"},
    {"double word", 17, "0: type 17, area 1, address 1012, element 3 of 7", "0: type 17, area 1, address 2000, bit 5"},
    {"long word", 18, "0: type 18, area 1, address 1024, element 3 of 7", "0: type 18, area 1, address 2000, bit 5"},
    {"code nineteen", 19, "0: type 0, area 1, address 1000", "0: type 0, area 1, address 2000"},
    {"code twenty", 20, "0: type 0, area 1, address 1000", "0: type 0, area 1, address 2000"},
    {"unsigned 64-bit", 21, "0: type 21, area 1, address 1024, element 3 of 7",
     "0: type 21, area 1, address 2000, bit 5"},
    {"code zero", 0, "0: type 0, area 1, address 1000", "0: type 0, area 1, address 2000"},
    {"first code above the table", 22, "0: type 0, area 1, address 1000", "0: type 0, area 1, address 2000"},
    {"largest code", 255, "0: type 0, area 1, address 1000", "0: type 0, area 1, address 2000"},
};

// quirk 21 is the row of each string code: three elements take 243 bytes.
TEST_F(LabelResolution, ElementSizeOfEveryType) {
    for (const NamedTypeRow& row : kTypes) {
        loadMain({asArray(variable("array", row.code, 1000), {10, 0, 7})});
        EXPECT_EQ(resolve("Main.array[3]"), row.element) << row.type;
    }
}

TEST_F(LabelResolution, BitNumberCheckOfEveryType) {
    for (const NamedTypeRow& row : kTypes) {
        loadMain({variable("scalar", row.code | kBitAddressableFlag, 2000)});
        EXPECT_EQ(resolve("Main.scalar.b[5]"), row.bit) << row.type;
    }
}

TEST_F(LabelResolution, TypesWithoutTheFlagNameNoBits) {
    for (int code : {2, 3, 4, 5, 6, 8, 14, 15, 16, 17, 18, 21}) {
        loadMain({variable("scalar", code, 2000)});
        ControlInformationM info = ControlInformationM();
        EXPECT_EQ(get_label_address_info(QString("Main.scalar.b[5]"), info), 0) << code;
        EXPECT_EQ(info.isBit, 0) << code;
    }
}

TEST_F(LabelResolution, TypesThatAreNotAddressableAnswerOnlyWhetherASuffixStands) {
    for (int code : {0, 19, 20, 22, 255}) {
        loadMain({variable("odd", code, 2000)});
        EXPECT_EQ(resolve("Main.odd"), "0: type 0, area 1, address 2000") << code;
        EXPECT_EQ(resolve("Main.odd[1]"), "1: type 0, area 1, address 2000") << code;
    }
}

TEST_F(LabelResolution, HighFlagBitsOfTheTypeWordAreIgnored) {
    loadMain({variable("counter", 0xF803, 4)});
    EXPECT_EQ(resolve("Main.counter"), "0: type 3, area 1, address 4");
}

TEST_F(LabelResolution, ArrayOfStructuresTakesTheIndexBeforeTheMember) {
    loadMain({asArray(ofStructure(variable("motors", 0, 400), motorType()), {10, 0, 4})});
    ASSERT_EQ(PLC_driver.labelTable["Main"].elementType.at(0).members.at(0).type, 0x10C);
    EXPECT_EQ(resolve("Main.motors[3].speed"), "0: type 3, area 1, address 462");
}

// quirk 15: a member is looked up with the component that named its structure record.
TEST_F(LabelResolution, StructureRecordIsEnteredWithTheComponentThatNamesItsMember) {
    const Label_Type_Info record = structure("Motor", 20, {member("speed", 3, 2)});
    ControlInformationM info = ControlInformationM();
    EXPECT_EQ(get_label_address_1(record, {"Main", "motor", "speed"}, 2, info), 0);
    EXPECT_EQ(resolvedText(0, info), "0: type 3, area 0, address 2");
}

// quirk 15
TEST_F(LabelResolution, MemberThatIsAStructureRecordItselfIsEnteredWithTheSameComponent) {
    const Label_Type_Info inner = structure("same", 8, {member("same", 3, 4)});
    Label_Type_Info outer = structure("Outer", 20, {inner});
    outer.members[0].offset = 10;
    ControlInformationM info = ControlInformationM();
    EXPECT_EQ(get_label_address_1(outer, {"Main", "same"}, 1, info), 0);
    EXPECT_EQ(resolvedText(0, info), "0: type 3, area 0, address 14");
}

TEST_F(LabelResolution, ArrayFlagIsHandledBeforeTheStructureFlag) {
    Label_Type_Info record = structure("both", 20, {member("both", 3, 6)});
    record = asArray(record, {10, 0, 4});
    ControlInformationM info = ControlInformationM();
    EXPECT_EQ(get_label_address_1(record, {"Main", "both[2]"}, 1, info), 1) << "the member itself is no array";
    EXPECT_EQ(info.address, 6);
    ControlInformationM failed = ControlInformationM();
    EXPECT_EQ(get_label_address_1(record, {"Main", "both[x]"}, 1, failed), 3) << "the index is read first";
    EXPECT_EQ(failed.address, 0);
}

TEST_F(LabelResolution, ComponentIndexPastTheEndFails) {
    const Label_Type_Info record = variable("counter", 3, 4);
    ControlInformationM info = ControlInformationM();
    EXPECT_EQ(get_label_address_1(record, {"Main", "counter"}, -1, info), 1);
    EXPECT_EQ(get_label_address_1(record, {"Main", "counter"}, 2, info), 1);
    EXPECT_EQ(get_label_address_1(record, {}, 0, info), 1);
    EXPECT_EQ(resolvedText(1, info), "1: type 0, area 0, address 0");
}

TEST_F(LabelResolution, StepTakesTheFirstComponentToo) {
    ControlInformationM info = ControlInformationM();
    EXPECT_EQ(get_label_address_1(variable("counter", 3, 4), {"counter"}, 0, info), 0);
    EXPECT_EQ(info.dataType, 3);
}

TEST_F(LabelResolution, ScopeWithoutElementTypeFails) {
    load({member("Main", 0x200, 0)});
    EXPECT_EQ(resolve("Main.counter"), "10: type 0, area 0, address 0");
}

TEST_F(LabelResolution, VariableWithoutAreaFails) {
    loadMain({member("counter", 3, 4)});
    EXPECT_EQ(resolve("Main.counter"), "12: type 0, area 0, address 0");
}

TEST_F(LabelResolution, StructureWithoutMembersFails) {
    loadMain({ofStructure(variable("motor", 0, 300), structure("Motor", 20, {}))});
    EXPECT_EQ(resolve("Main.motor.speed"), "7: type 0, area 1, address 300");
}

TEST_F(LabelResolution, OnlyTheFirstMemberCountMembersAreFound) {
    Label_Type_Info motor =
        structure("Motor", 20, {member("first", 3, 0), member("second", 3, 2), member("third", 3, 4)});
    motor.memberCount = 2;
    Label_Type_Info main = scope("Main", {ofStructure(variable("motor", 0, 300), motor), variable("hidden", 3, 0)});
    main.elementType[0].memberCount = 1;
    load({main});
    EXPECT_EQ(resolve("Main.motor.second"), "0: type 3, area 1, address 302");
    EXPECT_EQ(resolve("Main.motor.third"), "7: type 0, area 1, address 300");
    EXPECT_EQ(resolve("Main.hidden"), "1: type 0, area 0, address 0");
}

TEST_F(LabelResolution, FirstOfTwoMembersOfOneNameIsFound) {
    loadMain({variable("twin", 3, 10), variable("twin", 5, 20)});
    EXPECT_EQ(resolve("Main.twin"), "0: type 3, area 1, address 10");
}

TEST_F(LabelResolution, OnlyTheFirstEntriesOfAreaListAndElementTypeCount) {
    Label_Type_Info motor = ofStructure(variable("motor", 0, 300), motorType());
    motor.areaList = QList<int>{5, 6};
    motor.elementType.append(structure("Other", 99, {member("other", 3, 0)}));
    loadMain({motor});
    EXPECT_EQ(resolve("Main.motor.speed"), "0: type 3, area 5, address 302");
    EXPECT_EQ(resolve("Main.motor.other"), "7: type 0, area 5, address 300");
}

TEST_F(LabelResolution, LeavesTheReservedWordAsTheCallerSetIt) {
    ControlInformationM info = ControlInformationM();
    info.reserved = 77;
    EXPECT_EQ(get_label_address_info(QString("Main.vector[2]"), info), 0);
    EXPECT_EQ(info.reserved, 77);
}

TEST_F(LabelResolution, ArrayStepClearsItsReservedWord) {
    ControlInformationM info = ControlInformationM();
    info.arrayReserved = 77;
    EXPECT_EQ(get_label_address_info(QString("Main.vector[2]"), info), 0);
    EXPECT_EQ(info.arrayReserved, 0);
    info.arrayReserved = 77;
    EXPECT_EQ(get_label_address_info(QString("Main.counter"), info), 0);
    EXPECT_EQ(info.arrayReserved, 77) << "written for arrays only";
}

TEST_F(LabelResolution, AreaAndAddressAreAssignedBeforeTheyAreAddedTo) {
    ControlInformationM info = ControlInformationM();
    info.area = 55;
    info.address = 1000;
    EXPECT_EQ(get_label_address_info(QString("Main.motor.speed"), info), 0);
    EXPECT_EQ(info.area, 1);
    EXPECT_EQ(info.address, 302);
}

TEST_F(LabelResolution, NamesAreUnicode) {
    load({scope("Anlage\xC3\xBC", {variable("\xE6\xB8\xA9\xE5\xBA\xA6", 7, 12)})});
    EXPECT_EQ(resolve(QString::fromUtf8("Anlage\xC3\xBC.\xE6\xB8\xA9\xE5\xBA\xA6")), "0: type 7, area 1, address 12");
    EXPECT_EQ(resolve(QString::fromUtf8("Anlageu\xCC\x88.\xE6\xB8\xA9\xE5\xBA\xA6")), "2: type 0, area 0, address 0")
        << "a composed and a decomposed letter are different names";
}

TEST_F(LabelResolution, VeryLongAndVeryDeepTags) {
    EXPECT_EQ(resolve("Main." + QString(100000, 'x')), "1: type 0, area 0, address 0");
    EXPECT_EQ(resolve("Main.vector[" + QString(100000, '1') + "]"), "3: type 0, area 1, address 200");
    EXPECT_EQ(resolve("Main.values[2" + QString(100000, ',') + "3]"), "1: type 0, area 1, address 100");
    EXPECT_EQ(resolve("Main.counter" + QString(100000, '.')), "0: type 3, area 1, address 4");
    EXPECT_EQ(resolve("Main.motor" + QString(100000, '.')), "7: type 0, area 1, address 300");
    EXPECT_EQ(resolve(QString(100000, '.')), "2: type 0, area 0, address 0");
    EXPECT_EQ(resolve("Main.vector" + QString(100000, '[') + "]"), "1: type 0, area 0, address 0");
}

TEST_F(LabelResolution, AddressesWrapAtThirtyTwoBits) {
    loadMain({ofStructure(variable("high", 0, INT_MAX), structure("S", 8, {member("low", 3, 2)})),
              asArray(variable("array", 5, INT_MAX - 3), {10, 0, 4})});
    EXPECT_EQ(resolve("Main.high.low"), "0: type 3, area 1, address -2147483647");
    EXPECT_EQ(resolve("Main.array[1]"), "0: type 5, area 1, address -2147483648, element 1 of 4");
}

TEST_F(LabelResolution, NegativeOffsetsAndAreasAreCarried) {
    loadMain({inArea(variable("below", 3, -8), -2)});
    EXPECT_EQ(resolve("Main.below"), "0: type 3, area -2, address -8");
}

TEST_F(LabelResolution, QueryIsKeptForTheInterfaceOnly) {
    EXPECT_EQ(get_label_address_query({}, 0), 0);
    EXPECT_EQ(get_label_address_query({"Main", "counter"}, 1), 0);
    EXPECT_EQ(get_label_address_query({"Main"}, -7), 0);
}

// The bit-number check on its own.
TEST(BitNumberCheck, LooksOnlyAtTheLastComponentBehindTheVariable) {
    const Label_Type_Info flags = variable("flags", 3 | kBitAddressableFlag, 0);
    ControlInformationM info = ControlInformationM();
    get_label_address_2(flags, {"Main", "flags", "b[6]"}, 0, info);
    get_label_address_2(flags, {"Main", "flags", "b[6]"}, 2, info);
    get_label_address_2(flags, {"Main", "flags", "c", "b[6]"}, 1, info);
    EXPECT_EQ(info.isBit, 0);
    get_label_address_2(flags, {"Main", "flags", "b[6]"}, 1, info);
    EXPECT_EQ(info.isBit, 1);
    EXPECT_EQ(info.bitIndex, 6);
}

TEST(BitNumberCheck, NeedsAComponent) {
    ControlInformationM info = ControlInformationM();
    get_label_address_2(variable("flags", 3 | kBitAddressableFlag, 0), {}, -2, info);
    EXPECT_EQ(info.isBit, 0);
}

TEST(BitNumberCheck, NeedsTheFlag) {
    ControlInformationM info = ControlInformationM();
    get_label_address_2(variable("counter", 3, 0), {"Main", "counter", "b[6]"}, 1, info);
    EXPECT_EQ(info.isBit, 0);
}

// The linear index on its own: result, index and end as text; index and end keep 7777 and 8888 when not written.
std::string linearIndex(const char* indexList, int dimensions, const QList<int>& bounds) {
    unsigned int index = 7777;
    unsigned int end = 8888;
    const int result = get_label_address_array_memory_index(indexList, dimensions, bounds, index, &end);
    return std::to_string(result) + ": " + std::to_string(index) + " to " + std::to_string(end);
}

TEST(LinearIndex, IsRowMajor) {
    EXPECT_EQ(linearIndex("0", 1, {10, 0, 8}), "0: 0 to 8");
    EXPECT_EQ(linearIndex("7", 1, {10, 0, 8}), "0: 7 to 15");
    EXPECT_EQ(linearIndex("-3", 1, {10, -5, 5}), "0: 2 to 12");
    EXPECT_EQ(linearIndex("2,3", 2, {10, 0, 4, 1, 6}), "0: 12 to 17");
    EXPECT_EQ(linearIndex("1,2,3", 3, {10, 0, 2, 0, 3, 0, 4}), "0: 23 to 27");
    EXPECT_EQ(linearIndex("1,1,1", 3, {10, 1, 3, 1, 4, 1, 5}), "0: 0 to 4");
    EXPECT_EQ(linearIndex("2,0,0", 3, {10, 1, 3, 0, 3, 0, 4}), "0: 12 to 16");
}

TEST(LinearIndex, FailuresLeaveTheResultsAlone) {
    EXPECT_EQ(linearIndex("2", 2, {10, 0, 4, 1, 6}), "1: 7777 to 8888");
    EXPECT_EQ(linearIndex("2,3,4", 2, {10, 0, 4, 1, 6}), "1: 7777 to 8888");
    EXPECT_EQ(linearIndex("", 0, {10}), "1: 7777 to 8888");
    EXPECT_EQ(linearIndex("2", 0, {10, 0, 4}), "1: 7777 to 8888");
    EXPECT_EQ(linearIndex("2", -1, {10, 0, 4}), "1: 7777 to 8888");
    EXPECT_EQ(linearIndex("", 1, {10, 0, 4}), "3: 7777 to 8888");
    EXPECT_EQ(linearIndex("x", 1, {10, 0, 4}), "3: 7777 to 8888");
    EXPECT_EQ(linearIndex("1,x", 2, {10, 0, 4, 0, 4}), "3: 7777 to 8888");
    EXPECT_EQ(linearIndex("0,3", 2, {10, 1, 4, 0, 4}), "3: 7777 to 8888");
    EXPECT_EQ(linearIndex("3,0", 2, {10, 1, 4, 1, 4}), "3: 7777 to 8888");
}

// The distance to the bound does not fit 32 bits; the comparison does not depend on it.
TEST(LinearIndex, IndexFarBelowTheLowerBoundIsRefused) {
    EXPECT_EQ(linearIndex("-2147483648", 1, {10, 1, 5}), "3: 7777 to 8888");
    EXPECT_EQ(linearIndex("-2", 1, {10, 2147483647, 5}), "3: 7777 to 8888");
    EXPECT_EQ(linearIndex("2147483647", 1, {10, -2, 5}), "0: 2147483649 to 2147483656");
}

TEST(LinearIndex, ExtentOfZeroIsNoFailure) {
    EXPECT_EQ(linearIndex("2", 1, {10, 2, 2}), "0: 0 to 0");
    EXPECT_EQ(linearIndex("5,1", 2, {10, 0, 9, 1, 1}), "0: 0 to 0");
}

}  // namespace
}  // namespace ac500::test
