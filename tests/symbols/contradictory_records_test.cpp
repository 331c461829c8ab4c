// Symbol records that contradict themselves: a failure code, and nothing read that is not there. These tests have their
// teeth in the checked build, where an access outside a list or an undefined sum ends the process.
#include <climits>

#include "tests/support/driver_test.h"
#include "tests/support/label_builders.h"
#include "tests/symbols/resolved_text.h"

namespace ac500::test {
namespace {

class ContradictoryRecords : public DriverTest {
protected:
    static int resolutionCode(const char* tag) {
        ControlInformationM info = ControlInformationM();
        return get_label_address_info(QString(tag), info);
    }

    static void expectNotRewritten(const char* tag, int argument) {
        QString name = tag;
        EXPECT_NE(get_label_address_info(name, argument), 0) << tag << " with " << argument;
        EXPECT_EQ(name.toStdString(), tag);
    }
};

TEST_F(ContradictoryRecords, ScopeThatClaimsMoreVariablesThanItHas) {
    for (quint32 claimed : {2u, 100u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        Label_Type_Info main = scope("Main", {variable("counter", 3, 4)});
        main.elementType[0].memberCount = claimed;
        load({main});
        EXPECT_EQ(resolve("Main.counter"), "0: type 3, area 1, address 4") << claimed;
        EXPECT_NE(resolutionCode("Main.ghost"), 0) << claimed;
        expectNotRewritten("Main.ghost[%%]", 0);
    }
}

TEST_F(ContradictoryRecords, StructureThatClaimsMoreMembersThanItHas) {
    for (quint32 claimed : {2u, 0x80000000u, 0xFFFFFFFFu}) {
        Label_Type_Info motor = structure("Motor", 20, {asArray(member("temps", 3, 8), {10, 1, 5})});
        motor.memberCount = claimed;
        loadMain({ofStructure(variable("motor", 0, 300), motor)});
        EXPECT_EQ(resolve("Main.motor.temps[2]"), "0: type 3, area 1, address 310, element 1 of 4") << claimed;
        EXPECT_NE(resolutionCode("Main.motor.ghost"), 0) << claimed;
        expectNotRewritten("Main.motor.ghost[%%]", 0);
    }
}

TEST_F(ContradictoryRecords, StructureWithACountAndNoMembersAtAll) {
    Label_Type_Info motor = structure("Motor", 20, {});
    motor.memberCount = 3;
    loadMain({ofStructure(variable("motor", 0, 300), motor)});
    EXPECT_NE(resolutionCode("Main.motor.speed"), 0);
    expectNotRewritten("Main.motor.temps[%%]", 0);
}

TEST_F(ContradictoryRecords, ArrayWithTooFewBounds) {
    struct {
        const char* situation;
        QList<int> bounds;
        const char* tag;
        int dimensions;
    } const rows[] = {
        {"no bounds at all", {}, "Main.array[1]", 1},
        {"only the number base", {10}, "Main.array[1]", 1},
        {"upper bound missing", {10, 0}, "Main.array[1]", 1},
        {"second dimension missing", {10, 0, 4}, "Main.array[1,1]", 2},
        {"second upper bound missing", {10, 0, 4, 0}, "Main.array[1,1]", 2},
    };
    for (const auto& row : rows) {
        Label_Type_Info array = asArray(variable("array", 3, 0), {10, 0, 4});
        array.arrayBounds = row.bounds;
        array.dimensions = row.dimensions;
        loadMain({array});
        EXPECT_NE(resolutionCode(row.tag), 0) << row.situation;
    }
}

TEST_F(ContradictoryRecords, RewritingAnArrayWithTooFewBounds) {
    struct {
        const char* situation;
        QList<int> bounds;
        const char* tag;
        int dimensions;
    } const rows[] = {
        {"no bounds at all", {}, "Main.array[%%]", 1},
        {"only the number base", {10}, "Main.array[%%]", 1},
        {"upper bound missing", {10, 0}, "Main.array[%%]", 1},
        {"bounds of the last dimension missing", {10, 0, 4}, "Main.array[1,%%]", 2},
        {"no dimensions", {10, 0, 4}, "Main.array[%%]", 0},
        {"negative number of dimensions", {10, 0, 4}, "Main.array[%%]", -1},
        {"huge number of dimensions", {10, 0, 4}, "Main.array[%%]", INT_MAX},
        {"smallest number of dimensions", {10, 0, 4}, "Main.array[%%]", INT_MIN},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.situation);
        Label_Type_Info array = asArray(variable("array", 3, 0), {10, 0, 4});
        array.arrayBounds = row.bounds;
        array.dimensions = row.dimensions;
        loadMain({array});
        expectNotRewritten(row.tag, 1);
    }
}

// The same record is refused for the same reason, whether the tag names an element or is a template.
TEST_F(ContradictoryRecords, ResolvingAndRewritingRefuseBoundsWithOneCode) {
    struct {
        const char* situation;
        QList<int> bounds;
        int dimensions;
        int code;
    } const rows[] = {
        {"no bounds at all", {}, 1, 3},
        {"only the number base", {10}, 1, 3},
        {"upper bound missing", {10, 0}, 1, 3},
        {"no dimensions", {10, 0, 4}, 0, 1},
        {"negative number of dimensions", {10, 0, 4}, -1, 1},
        {"smallest number of dimensions", {10, 0, 4}, INT_MIN, 1},
    };
    for (const auto& row : rows) {
        Label_Type_Info array = asArray(variable("array", 3, 0), {10, 0, 4});
        array.arrayBounds = row.bounds;
        array.dimensions = row.dimensions;
        loadMain({array});
        QString name = "Main.array[%%]";
        EXPECT_EQ(resolutionCode("Main.array[1]"), row.code) << row.situation;
        EXPECT_EQ(get_label_address_info(name, 1), row.code) << row.situation;
    }
    loadMain({asArray(variable("array", 3, 0), {10, 0, 4})});
    QString tooMany = "Main.array[1,%%]";
    EXPECT_EQ(resolutionCode("Main.array[1,1]"), 1);
    EXPECT_EQ(get_label_address_info(tooMany, 1), 1);
}

TEST_F(ContradictoryRecords, MoreIndicesThanBounds) {
    loadMain({asArray(variable("vector", 3, 0), {10, 0, 4}), asArray(variable("grid", 3, 0), {10, 0, 4, 0, 3})});
    EXPECT_NE(resolutionCode("Main.vector[1,1]"), 0);
    expectNotRewritten("Main.vector[0,%%]", 1);
    expectNotRewritten("Main.vector[%%,0]", 1);
    expectNotRewritten("Main.grid[0,0,%%]", 1);
    expectNotRewritten("Main.grid[0,0,0,0,0,0,0,0,0,%%]", 1);
}

TEST_F(ContradictoryRecords, ManyMoreDimensionsThanBounds) {
    Label_Type_Info array = asArray(variable("array", 3, 0), {10, 0, 4});
    array.dimensions = 1000;
    loadMain({array});
    const QByteArray manyOnes = "Main.array[" + QByteArray("1,").repeated(999) + "1]";
    EXPECT_NE(resolutionCode(manyOnes.constData()), 0);
}

TEST_F(ContradictoryRecords, StructureVariableWithoutItsStructure) {
    loadMain({variable("motor", 12, 300), asArray(variable("motors", 12, 400), {10, 0, 4})});
    EXPECT_NE(resolutionCode("Main.motor.speed"), 0);
    EXPECT_NE(resolutionCode("Main.motor"), 0);
    EXPECT_NE(resolutionCode("Main.motors[2].speed"), 0);
    EXPECT_NE(resolutionCode("Main.motors[0].speed"), 0);
    expectNotRewritten("Main.motor.temps[%%]", 1);
    expectNotRewritten("Main.motors[0].temps[%%]", 1);
}

// A structure whose member is a structure whose member ...: each of the name "m" and reached by the same component.
Label_Type_Info structuresDirectlyWithin(int levels) {
    Label_Type_Info inner = asArray(variable("m", 3, 1), {10, 0, 4});
    for (int level = 0; level < levels; ++level) {
        inner = inArea(structure("m", 0, {inner}), 1);
        inner.offset = 1;
    }
    return inner;
}

// A variable m of a structure with a member m of a structure ...: a component each.
Label_Type_Info structureVariablesWithin(int levels) {
    Label_Type_Info inner = asArray(variable("m", 3, 1), {10, 0, 4});
    for (int level = 0; level < levels; ++level) {
        inner = ofStructure(variable("m", 0, 1), structure("type", 0, {inner}));
    }
    return inner;
}

TEST_F(ContradictoryRecords, StructuresNestedDeeperThanAHundredLevelsHoldNoMember) {
    struct {
        int levels;
        int code;
    } const rows[] = {{99, 0}, {100, 0}, {101, 7}, {5000, 7}};
    for (const auto& row : rows) {
        QString direct = "Main.m[%%]";
        loadMain({structuresDirectlyWithin(row.levels)});
        EXPECT_EQ(resolutionCode("Main.m[2]"), row.code) << row.levels;
        EXPECT_EQ(get_label_address_info(direct, 2), row.code) << row.levels;
        EXPECT_EQ(direct.toStdString(), row.code == 0 ? "Main.m[2]" : "Main.m[%%]");

        const QByteArray path = "Main" + QByteArray(".m").repeated(row.levels + 1);
        QString byVariables = QString::fromLatin1(path + "[%%]");
        loadMain({structureVariablesWithin(row.levels)});
        EXPECT_EQ(resolutionCode((path + "[2]").constData()), row.code) << row.levels;
        EXPECT_EQ(get_label_address_info(byVariables, 2), row.code) << row.levels;
    }
    loadMain({structureVariablesWithin(100)});
    EXPECT_EQ(resolve(("Main" + QByteArray(".m").repeated(101) + "[2]").constData()),
              "0: type 3, area 1, address 105, element 2 of 4");
}

// Types without a structure between them take a component each, however many.
TEST_F(ContradictoryRecords, TypesOfTypesAreFollowedAsFarAsTheNameGoes) {
    Label_Type_Info inner = variable("m", 3, 7);
    for (int level = 0; level < 5000; ++level) {
        inner = ofStructure(variable("m", 0, 0), inner);
    }
    loadMain({inner});
    EXPECT_EQ(resolutionCode(("Main" + QByteArray(".m").repeated(5001)).constData()), 0);
    EXPECT_EQ(resolutionCode(("Main" + QByteArray(".m").repeated(5000)).constData()), 1);
}

TEST_F(ContradictoryRecords, NamedBitsWithoutTheirElementType) {
    loadMain({variable("flags", 3 | kBitAddressableFlag, 500)});
    expectNotRewritten("Main.flags.b[%%]", 1);
    EXPECT_EQ(resolve("Main.flags.b[1]"), "0: type 3, area 1, address 500, bit 1") << "a fixed bit needs none";
}

TEST_F(ContradictoryRecords, NumberBaseThatDoesNotExist) {
    for (int base : {1, 37, -1, 100, INT_MAX, INT_MIN}) {
        loadMain({asArray(variable("vector", 3, 0), {base, 0, 4})});
        EXPECT_EQ(resolutionCode("Main.vector[0]"), 3) << base;
        EXPECT_EQ(resolutionCode("Main.vector[1]"), 3) << base;
    }
}

TEST_F(ContradictoryRecords, ExtentOfZeroInRewriting) {
    loadMain({asArray(variable("inner", 3, 0), {10, 0, 4, 2, 2}), asArray(variable("outer", 3, 0), {10, 2, 2, 0, 4}),
              asArray(variable("single", 3, 0), {10, 2, 2})});
    expectNotRewritten("Main.inner[0,%%]", 0);
    expectNotRewritten("Main.inner[%%,2]", 0);
    expectNotRewritten("Main.outer[%%,0]", 0);
    expectNotRewritten("Main.single[%%]", 0);
}

TEST_F(ContradictoryRecords, ValueBelowAnExtentOfZeroNeedsNoDivision) {
    loadMain({asArray(variable("inner", 3, 0), {10, 0, 4, 2, 2})});
    QString tag = "Main.inner[%%,1]";
    EXPECT_EQ(get_label_address_info(tag, 3), 0);
    EXPECT_EQ(tag, "Main.inner[3,1]");
}

// The smallest number divided by -1 has no 32-bit result; on many processors the attempt ends the process.
TEST_F(ContradictoryRecords, SmallestSpanOverAnExtentOfMinusOne) {
    loadMain({asArray(variable("array", 3, 0), {10, 0, 4, -5, -6})});
    for (const char* tag : {"Main.array[0,%%+0]", "Main.array[%%,2147483643]"}) {
        const int arguments[] = {INT_MAX - 4, INT_MAX, INT_MIN};
        for (int argument : arguments) {
            QString first = tag;
            QString second = tag;
            const int result = get_label_address_info(first, argument);
            EXPECT_EQ(get_label_address_info(second, argument), result);
            EXPECT_EQ(first, second);
            EXPECT_FALSE(result != 0 && first != tag) << "a failure changed the name to " << first.toStdString();
        }
    }
}

TEST_F(ContradictoryRecords, NegativeExtentsResolveWithoutUndefinedSums) {
    loadMain({asArray(variable("down", 3, 100), {10, 0, -4}), asArray(variable("grid", 3, 100), {10, 0, 4, 0, -3})});
    EXPECT_EQ(resolve("Main.down[1]"), "0: type 3, area 1, address 102, element 1 of -4");
    EXPECT_EQ(resolve("Main.grid[1,1]"), "0: type 3, area 1, address 96, element -2 of -3");
}

TEST_F(ContradictoryRecords, BoundsAtTheEndsOfTheRange) {
    loadMain({asArray(variable("whole", 3, 0), {10, INT_MIN, INT_MAX}),
              asArray(variable("top", 3, 0), {10, INT_MAX, INT_MAX}),
              asArray(variable("bottom", 3, 0), {10, INT_MIN, INT_MIN + 4}),
              asArray(variable("wide", 3, 0), {10, 0, INT_MAX, 0, INT_MAX, 0, INT_MAX})});
    EXPECT_EQ(resolve("Main.whole[-2147483648]"), "0: type 3, area 1, address 0, element 0 of -1");
    EXPECT_EQ(resolve("Main.top[2147483647]"), "0: type 3, area 1, address 0, element 0 of 0");
    EXPECT_EQ(resolve("Main.bottom[-2147483646]"), "0: type 3, area 1, address 4, element 2 of 4");
    EXPECT_EQ(resolve("Main.wide[0,0,5]"), "0: type 3, area 1, address 10, element 5 of 2147483647");
    EXPECT_EQ(resolve("Main.wide[0,1,0]"), "0: type 3, area 1, address -2, element 2147483647 of 2147483647");
    EXPECT_EQ(resolve("Main.wide[1,0,0]"), "0: type 3, area 1, address 2, element 1 of 2147483647")
        << "2147483647 squared is 1 modulo 2 to the 32nd";
}

TEST_F(ContradictoryRecords, StructureSizesAndOffsetsThatWrap) {
    const Label_Type_Info huge = structure("Huge", INT_MAX, {member("last", 3, INT_MAX)});
    loadMain({asArray(ofStructure(variable("array", 0, INT_MAX), huge), {10, 0, 4})});
    // 2147483647 + 2 x 2147483647 + 2147483647 = 4 x 2147483647 = -4 modulo 2 to the 32nd
    EXPECT_EQ(resolve("Main.array[2].last"), "0: type 3, area 1, address -4");
}

TEST_F(ContradictoryRecords, RewritingAtTheEndsOfTheRange) {
    loadMain({asArray(variable("whole", 3, 0), {10, 0, 4, INT_MIN, INT_MAX}),
              asArray(variable("top", 3, 0), {10, INT_MAX - 1, INT_MAX, INT_MAX - 1, INT_MAX})});
    for (int argument : {INT_MIN, -1, 0, 1, INT_MAX}) {
        for (const char* tag : {"Main.whole[0,%%]", "Main.whole[0,%%+1]", "Main.whole[0,2147483647+%%]",
                                "Main.top[2147483647,%%]", "Main.top[0,%%+-2147483648]"}) {
            QString name = tag;
            const int result = get_label_address_info(name, argument);
            EXPECT_EQ(result == 0, !name.contains("%%")) << tag << " with " << argument;
        }
    }
}

// Twice the negative length of the row wraps to 1294967296: as many bytes would be read, or written as zeros.
TEST_F(ContradictoryRecords, RowFarBelowNoLengthIsNeitherReadNorWritten) {
    settings.maxRequestWords = 1 << 29;
    settings.accessMode = 2;
    for (const int type : {3, 5, 8, 10}) {
        loadMain({asArray(variable("row", type, 0), {10, 1500000000, 0})});
        QString label = "Main.row[1500000000]";
        QString argument;
        QList<HostTag> tags{HostTag{0, 0, QString(), label, 4}};
        EXPECT_EQ(ReCreatReadVarList(&tags), 0) << type;
        RW_VAR var = RW_VAR();
        var.labelName = label;
        var.size = 4;
        EXPECT_EQ(AddListOnceReadVar(&var), 0) << type;
        QByteArray in(8, '\x11');
        EXPECT_EQ(SetRegisterData(&label, 0, &argument, 0, &in, 4, 1, 2), 0U) << type;
    }
}

}  // namespace
}  // namespace ac500::test
