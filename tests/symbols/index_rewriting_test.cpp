// From a tag template with "%%" and a number to a concrete tag name.
#include <climits>

#include "tests/support/driver_test.h"
#include "tests/support/label_builders.h"

namespace ac500::test {
namespace {

// Result code and name after the call: "0: Main.grid[0,2]".
std::string rewrite(const QString& tag, int argument) {
    QString name = tag;
    const int result = get_label_address_info(name, argument);
    return std::to_string(result) + ": " + name.toStdString();
}

struct TemplateRow {
    const char* situation;
    const char* tag;
    int argument;
    const char* rewritten;
};

class IndexRewriting : public DriverTest {
protected:
    IndexRewriting() { loadPlant(); }

    template <size_t n>
    static void expectRows(const TemplateRow (&rows)[n]) {
        for (const TemplateRow& row : rows) {
            EXPECT_EQ(rewrite(QString::fromUtf8(row.tag), row.argument), row.rewritten)
                << row.situation << ": \"" << row.tag << "\" with " << row.argument;
        }
    }
};

// `grid` has the bounds 0..4 and 0..3, the upper ones outside: 4 rows of 3.
TEST_F(IndexRewriting, WorkedExample) {
    const TemplateRow rows[] = {
        {"inner item fits", "Main.grid[0,%%+1]", 1, "0: Main.grid[0,2]"},
        {"inner item carries into the outer one", "Main.grid[0,%%+1]", 2, "0: Main.grid[1,0]"},
        {"outer item overflows", "Main.grid[%%,0]", 4, "1: Main.grid[%%,0]"},
    };
    expectRows(rows);
}

TEST_F(IndexRewriting, PlaceholderAlone) {
    const TemplateRow rows[] = {
        {"first element", "Main.vector[%%]", 0, "0: Main.vector[0]"},
        {"last element", "Main.vector[%%]", 4, "0: Main.vector[4]"},
        {"upper bound lies outside", "Main.vector[%%]", 5, "1: Main.vector[%%]"},
        {"far outside", "Main.vector[%%]", INT_MAX, "1: Main.vector[%%]"},
        {"negative numbers pass", "Main.vector[%%]", -3, "0: Main.vector[-3]"},
        {"outer item", "Main.grid[%%,2]", 3, "0: Main.grid[3,2]"},
        {"both items", "Main.grid[%%,%%]", 2, "0: Main.grid[2,2]"},
        {"text around the placeholder is ignored", "Main.vector[a%%b]", 3, "0: Main.vector[3]"},
        {"three percent signs", "Main.vector[%%%]", 3, "0: Main.vector[3]"},
        {"minus is no operator", "Main.vector[%%-1]", 3, "0: Main.vector[3]"},
    };
    expectRows(rows);
}

// quirk 19
TEST_F(IndexRewriting, OnlyThePlaceholderAloneCountsFromTheLowerBound) {
    loadMain({asArray(variable("temps", 3, 0), {10, 10, 20})});
    const TemplateRow rows[] = {
        {"alone", "Main.temps[%%]", 3, "0: Main.temps[13]"},
        {"plus a number", "Main.temps[%%+3]", 10, "0: Main.temps[13]"},
        {"a number plus it", "Main.temps[3+%%]", 10, "0: Main.temps[13]"},
        {"plus a number below the lower bound", "Main.temps[%%+3]", 3, "0: Main.temps[6]"},
        {"plus zero is not the same as alone", "Main.temps[%%+0]", 3, "0: Main.temps[3]"},
        {"alone up to the last element", "Main.temps[%%]", 9, "0: Main.temps[19]"},
        {"alone at the upper bound", "Main.temps[%%]", 10, "1: Main.temps[%%]"},
        {"plus a number at the upper bound", "Main.temps[%%+3]", 17, "1: Main.temps[%%+3]"},
    };
    expectRows(rows);
}

TEST_F(IndexRewriting, PlaceholderAndPlus) {
    const TemplateRow rows[] = {
        {"number on the right", "Main.vector[%%+2]", 1, "0: Main.vector[3]"},
        {"number on the left", "Main.vector[2+%%]", 1, "0: Main.vector[3]"},
        {"negative number on the right", "Main.vector[%%+-2]", 3, "0: Main.vector[1]"},
        {"nothing on the right", "Main.vector[%%+]", 3, "0: Main.vector[3]"},
        {"nothing on the left", "Main.vector[+%%]", 3, "0: Main.vector[3]"},
        {"a word on the right counts as zero", "Main.vector[%%+x]", 3, "0: Main.vector[3]"},
        {"a second plus is not read", "Main.vector[%%+1+2]", 1, "0: Main.vector[2]"},
        {"two numbers on the left, only the first is read", "Main.vector[1+2+%%]", 1, "0: Main.vector[2]"},
        {"placeholder on both sides counts once", "Main.vector[%%+%%]", 2, "0: Main.vector[2]"},
    };
    expectRows(rows);
}

TEST_F(IndexRewriting, BlanksInsideTheBracketsAreIgnored) {
    const TemplateRow rows[] = {
        {"blanks everywhere", "Main.grid[ %% + 1 , 0 ]", 1, "0: Main.grid[2,0]"},
        {"no blanks", "Main.grid[%%+1,0]", 1, "0: Main.grid[2,0]"},
        {"blank inside a number", "Main.grid[%%,1 ]", 1, "0: Main.grid[1,1]"},
        {"blanks are removed before a number is read", "Main.vector[%%+0 2]", 1, "0: Main.vector[3]"},
        {"blank that parts the placeholder", "Main.vector[% %]", 1, "1: Main.vector[% %]"},
    };
    expectRows(rows);
}

TEST_F(IndexRewriting, PlainNumbersAreRewrittenInDecimalWithoutBlanks) {
    const TemplateRow rows[] = {
        {"leading zeros", "Main.grid[001,%%]", 2, "0: Main.grid[1,2]"},
        {"plus sign", "Main.grid[+1,%%]", 2, "0: Main.grid[1,2]"},
        {"a word counts as zero", "Main.grid[x,%%]", 2, "0: Main.grid[0,2]"},
        {"an empty item counts as zero", "Main.grid[,%%]", 2, "0: Main.grid[0,2]"},
        {"a hexadecimal number counts as zero", "Main.grid[0x2,%%]", 2, "0: Main.grid[0,2]"},
        {"negative number", "Main.grid[-1,%%]", 2, "0: Main.grid[-1,2]"},
    };
    expectRows(rows);
}

TEST_F(IndexRewriting, NumbersAreDecimalWhateverTheArraysBase) {
    loadMain({asArray(variable("hex", 3, 0), {16, 0, 32, 0, 32})});
    EXPECT_EQ(rewrite("Main.hex[10,%%+10]", 1), "0: Main.hex[10,11]");
    EXPECT_EQ(rewrite("Main.hex[A,%%]", 12), "0: Main.hex[0,12]");
}

// quirk 19
TEST_F(IndexRewriting, CarryReachesPlainNumbersOnly) {
    const TemplateRow rows[] = {
        {"into a plain outer number", "Main.grid[1,%%]", 3, "0: Main.grid[2,0]"},
        {"not into an outer placeholder", "Main.grid[%%,%%]", 3, "0: Main.grid[3,0]"},
        {"not into an outer sum", "Main.grid[%%+0,%%+1]", 2, "0: Main.grid[2,0]"},
        {"a plain inner number carries too", "Main.grid[1,4]", 0, "1: Main.grid[1,4]"},
        {"a plain inner number beside a placeholder carries", "Main.grid[%%,4]", 1, "0: Main.grid[1,1]"},
        {"more than one row", "Main.grid[0,%%]", 8, "0: Main.grid[2,2]"},
        {"last element", "Main.grid[0,%%]", 11, "0: Main.grid[3,2]"},
        {"one element too many", "Main.grid[0,%%]", 12, "1: Main.grid[0,%%]"},
        {"carry overflows the outer number", "Main.grid[3,%%]", 3, "1: Main.grid[3,%%]"},
    };
    expectRows(rows);
}

TEST_F(IndexRewriting, CarryRespectsLowerBounds) {
    loadMain({asArray(variable("offset", 3, 0), {10, 5, 9, 1, 4})});
    const TemplateRow rows[] = {
        {"last of the row", "Main.offset[5,%%]", 2, "0: Main.offset[5,3]"},
        {"first of the next row", "Main.offset[5,%%]", 3, "0: Main.offset[6,1]"},
        {"sum carries at the same place", "Main.offset[5,%%+1]", 3, "0: Main.offset[6,1]"},
        {"two rows on", "Main.offset[5,%%]", 7, "0: Main.offset[7,2]"},
        {"last element", "Main.offset[5,%%]", 11, "0: Main.offset[8,3]"},
        {"beyond", "Main.offset[5,%%]", 12, "1: Main.offset[5,%%]"},
        {"sum below the lower bound stays", "Main.offset[5,%%+0]", 0, "0: Main.offset[5,0]"},
    };
    expectRows(rows);
}

TEST_F(IndexRewriting, CarryRunsThroughThreeDimensions) {
    loadMain({asArray(variable("cube", 3, 0), {10, 0, 2, 0, 3, 0, 4})});
    const TemplateRow rows[] = {
        {"innermost only", "Main.cube[0,0,%%]", 3, "0: Main.cube[0,0,3]"},
        {"into the middle", "Main.cube[0,0,%%]", 4, "0: Main.cube[0,1,0]"},
        {"through the middle", "Main.cube[0,0,%%]", 12, "0: Main.cube[1,0,0]"},
        {"last element", "Main.cube[0,0,%%]", 23, "0: Main.cube[1,2,3]"},
        {"beyond", "Main.cube[0,0,%%]", 24, "1: Main.cube[0,0,%%]"},
        {"placeholder in the middle stops the inner carry", "Main.cube[0,%%,5]", 1, "0: Main.cube[0,1,1]"},
        {"placeholder in the middle carries on", "Main.cube[0,%%,0]", 3, "0: Main.cube[1,0,0]"},
        {"a carry ends where a number fits", "Main.cube[1,0,%%]", 5, "0: Main.cube[1,1,1]"},
    };
    expectRows(rows);
}

TEST_F(IndexRewriting, FewerItemsThanDimensionsUseTheInnermostBounds) {
    EXPECT_EQ(rewrite("Main.grid[%%]", 2), "0: Main.grid[2]");
    EXPECT_EQ(rewrite("Main.grid[%%]", 3), "1: Main.grid[%%]");
    loadMain({asArray(variable("offset", 3, 0), {10, 5, 9, 1, 4})});
    EXPECT_EQ(rewrite("Main.offset[%%]", 2), "0: Main.offset[3]");
}

TEST_F(IndexRewriting, ReachesThroughStructures) {
    const TemplateRow rows[] = {
        {"array of structures", "Main.motors[%%].speed", 2, "0: Main.motors[3].speed"},
        {"array in a structure", "Main.motor.temps[%%]", 2, "0: Main.motor.temps[3]"},
        {"array in an array of structures, fixed outside", "Main.motors[2].temps[%%]", 1, "0: Main.motors[2].temps[2]"},
        {"only the first component with a placeholder is rewritten", "Main.motors[%%].temps[%%]", 1,
         "0: Main.motors[2].temps[%%]"},
        {"rest of the name is not checked", "Main.motors[%%].ghost.b[7]", 0, "0: Main.motors[1].ghost.b[7]"},
        {"unknown member", "Main.motor.ghost[%%]", 1, "7: Main.motor.ghost[%%]"},
        {"suffix on a structure variable is kept", "Main.motor[9].temps[%%]", 1, "0: Main.motor[9].temps[2]"},
        {"overflow inside a structure", "Main.motor.temps[%%]", 4, "1: Main.motor.temps[%%]"},
    };
    expectRows(rows);
}

TEST_F(IndexRewriting, OtherComponentsKeepTheirText) {
    const TemplateRow rows[] = {
        {"suffix on the scope", "Main[7].vector[%%]", 2, "0: Main[7].vector[2]"},
        {"placeholder on the scope", "Main[%%].vector[%%]", 2, "0: Main[%%].vector[2]"},
        {"empty components behind", "Main.vector[%%]..", 2, "0: Main.vector[2].."},
        {"blanks in other components", "Main.vector[%%]. a b ", 2, "0: Main.vector[2]. a b "},
    };
    expectRows(rows);
}

TEST_F(IndexRewriting, BitsOfAVariable) {
    const TemplateRow rows[] = {
        {"first bit", "Main.flags.b[%%]", 0, "0: Main.flags.b[0]"},
        {"last bit", "Main.flags.b[%%]", 15, "0: Main.flags.b[15]"},
        {"bit beyond the width", "Main.flags.b[%%]", 16, "1: Main.flags.b[%%]"},
        {"bit of a sum", "Main.flags.b[%%+8]", 4, "0: Main.flags.b[12]"},
        {"bit of a member", "Main.motor.status.b[%%]", 6, "0: Main.motor.status.b[6]"},
        {"fixed bit", "Main.flags.b[3]", 1, "1: Main.flags.b[3]"},
        {"bit component that is not the last one", "Main.flags.b[%%].c", 1, "0: Main.flags.b[%%].c"},
    };
    expectRows(rows);
}

TEST_F(IndexRewriting, LowerBoundOfNamedBits) {
    Label_Type_Info flags = variable("flags", 3 | kBitAddressableFlag, 500);
    flags.elementType = Labels{asArray(member("bits", 1, 0), {10, 8, 16})};
    loadMain({flags});
    EXPECT_EQ(rewrite("Main.flags.b[%%]", 0), "0: Main.flags.b[8]");
    EXPECT_EQ(rewrite("Main.flags.b[%%]", 8), "1: Main.flags.b[%%]");
}

// quirk 33
TEST_F(IndexRewriting, NamesWithoutAPlaceholderAnswerOnlyWhetherASuffixStands) {
    const TemplateRow rows[] = {
        {"fixed index on an array", "Main.values[2,3]", 1, "1: Main.values[2,3]"},
        {"array without a suffix", "Main.vector", 1, "0: Main.vector"},
        {"scalar without brackets", "Main.counter", 1, "0: Main.counter"},
        {"scalar with brackets", "Main.counter[2]", 1, "1: Main.counter[2]"},
        {"scalar with a placeholder", "Main.counter[%%]", 1, "1: Main.counter[%%]"},
        {"placeholder outside brackets belongs to the name", "Main.counter%%", 1, "1: Main.counter%%"},
        {"scalar member", "Main.motor.speed", 1, "0: Main.motor.speed"},
        {"scalar member with a placeholder", "Main.motor.speed[%%]", 1, "1: Main.motor.speed[%%]"},
        {"component behind a scalar", "Main.counter.values[%%]", 1, "0: Main.counter.values[%%]"},
        {"variable with named bits, without one", "Main.flags", 1, "0: Main.flags"},
        {"variable with named bits and a placeholder on itself", "Main.flags[%%]", 1, "1: Main.flags[%%]"},
    };
    expectRows(rows);
}

TEST_F(IndexRewriting, FailuresLeaveTheNameAlone) {
    const TemplateRow rows[] = {
        {"empty tag", "", 1, "6: "},
        {"one component", "Main[%%]", 1, "11: Main[%%]"},
        {"unknown scope", "X.vector[%%]", 1, "2: X.vector[%%]"},
        {"unknown variable", "Main.ghost[%%]", 1, "1: Main.ghost[%%]"},
        {"structure without a member's name", "Main.motor", 1, "1: Main.motor"},
        {"unknown member", "Main.motor.ghost", 1, "7: Main.motor.ghost"},
        {"closing bracket missing", "Main.vector[%%", 1, "1: Main.vector[%%"},
        {"opening bracket missing", "Main.vector%%]", 1, "1: Main.vector%%]"},
    };
    expectRows(rows);
}

TEST_F(IndexRewriting, ScopesAndVariablesFailAsInResolution) {
    load({member("Bare", kStructureFlag, 0), scope("Main", {asArray(member("homeless", 3, 0), {10, 0, 4})})});
    EXPECT_EQ(rewrite("Bare.vector[%%]", 1), "10: Bare.vector[%%]");
    EXPECT_EQ(rewrite("Main.homeless[%%]", 1), "12: Main.homeless[%%]");
}

TEST_F(IndexRewriting, StructureWithoutMembersFails) {
    loadMain({ofStructure(variable("motor", 0, 300), structure("Motor", 20, {}))});
    EXPECT_EQ(rewrite("Main.motor.temps[%%]", 1), "7: Main.motor.temps[%%]");
}

// quirk 15
TEST_F(IndexRewriting, StructureRecordIsEnteredWithTheComponentThatNamesItsMember) {
    const Label_Type_Info record = structure("Motor", 20, {asArray(member("temps", 3, 8), {10, 1, 5})});
    QStringList parts{"Main", "motor", "temps[%%]"};
    EXPECT_EQ(get_label_address_3(record, parts, 2, 1), 0);
    EXPECT_EQ(parts, (QStringList{"Main", "motor", "temps[2]"}));
}

TEST_F(IndexRewriting, ComponentIndexPastTheEndFails) {
    QStringList parts{"Main", "vector[%%]"};
    EXPECT_EQ(get_label_address_3(asArray(variable("vector", 3, 0), {10, 0, 5}), parts, 2, 1), 1);
    EXPECT_EQ(get_label_address_3(asArray(variable("vector", 3, 0), {10, 0, 5}), parts, -1, 1), 1);
    EXPECT_EQ(parts, (QStringList{"Main", "vector[%%]"}));
}

TEST_F(IndexRewriting, StepTakesTheFirstComponentToo) {
    QStringList parts{"vector[%%]"};
    EXPECT_EQ(get_label_address_3(asArray(variable("vector", 3, 0), {10, 0, 5}), parts, 0, 1), 0);
    EXPECT_EQ(parts, QStringList{"vector[1]"});
}

TEST_F(IndexRewriting, StepRewritesItsComponentInPlace) {
    QStringList parts{"a", "b[0,%%+1]", "c[%%]"};
    EXPECT_EQ(get_label_address_3(asArray(variable("any", 3, 0), {10, 0, 4, 0, 3}), parts, 1, 2), 0);
    EXPECT_EQ(parts, (QStringList{"a", "b[1,0]", "c[%%]"}));
}

TEST_F(IndexRewriting, FailedStepLeavesItsComponentAlone) {
    QStringList parts{"a", "b[%%,%%]"};
    EXPECT_EQ(get_label_address_3(asArray(variable("any", 3, 0), {10, 0, 4, 0, 3}), parts, 1, 4), 1);
    EXPECT_EQ(parts, (QStringList{"a", "b[%%,%%]"}));
}

// quirk 18
TEST_F(IndexRewriting, LastCharacterOfAComponentWithASuffixIsDroppedUnread) {
    loadMain({asArray(variable("vec]tor", 3, 200), {10, 0, 5})});
    EXPECT_EQ(rewrite("Main.vec]tor[%%?", 3), "0: Main.vec]tor[3]");
}

TEST_F(IndexRewriting, SumsWrapAtThirtyTwoBits) {
    loadMain({asArray(variable("vector", 3, 0), {10, 10, 20})});
    EXPECT_EQ(rewrite("Main.vector[%%]", INT_MAX), "0: Main.vector[-2147483639]");
    EXPECT_EQ(rewrite("Main.vector[%%+1]", INT_MAX), "0: Main.vector[-2147483648]");
    EXPECT_EQ(rewrite("Main.vector[-1+%%]", INT_MIN), "1: Main.vector[-1+%%]");
}

TEST_F(IndexRewriting, RewrittenNamesResolve) {
    QString tag = "Main.motors[%%].temps[2]";
    ASSERT_EQ(get_label_address_info(tag, 3), 0);
    ControlInformationM info = ControlInformationM();
    EXPECT_EQ(get_label_address_info(static_cast<const QString&>(tag), info), 0);
    EXPECT_EQ(info.address, 470) << "400, three structures of 20 bytes, 8 to temps, one element of 2";
}

}  // namespace
}  // namespace ac500::test
