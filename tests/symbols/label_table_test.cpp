// Symbol records and the table of scopes they are loaded into.
#include "symbols/label_type_info.h"

#include <cstring>
#include <memory>
#include <new>

#include "tests/support/driver_test.h"
#include "tests/support/label_builders.h"

namespace ac500::test {
namespace {

class LabelTable : public DriverTest {
protected:
    static std::string names() {
        QStringList keys = PLC_driver.labelTable.keys();
        keys.sort();
        return keys.join(", ").toStdString();
    }
};

// A record in which every field differs from every other record's.
Label_Type_Info fullRecord() {
    Label_Type_Info record = member("Main", 0x70C, 11);
    record.dimensions = 2;
    record.memberCount = 1;
    record.arrayBounds = QList<int>{10, 1, 2, 3, 4};
    record.members = Labels{member("inner", 3, 22)};
    record.elementType = Labels{member("element", 4, 33)};
    record.typeName = "MAIN_TYPE";
    record.extra1 = 44;
    record.extra2 = 55;
    record.areaList = QList<int>{66, 77};
    record.textList = QList<QString>{"first", "second"};
    return record;
}

void expectFullRecord(const Label_Type_Info& record) {
    EXPECT_EQ(record.name, "Main");
    EXPECT_EQ(record.type, 0x70C);
    EXPECT_EQ(record.offset, 11);
    EXPECT_EQ(record.dimensions, 2);
    EXPECT_EQ(record.memberCount, 1u);
    EXPECT_EQ(record.arrayBounds, (QList<int>{10, 1, 2, 3, 4}));
    ASSERT_EQ(record.members.size(), 1);
    EXPECT_EQ(record.members.at(0).name, "inner");
    EXPECT_EQ(record.members.at(0).offset, 22);
    ASSERT_EQ(record.elementType.size(), 1);
    EXPECT_EQ(record.elementType.at(0).name, "element");
    EXPECT_EQ(record.elementType.at(0).offset, 33);
    EXPECT_EQ(record.typeName, "MAIN_TYPE");
    EXPECT_EQ(record.extra1, 44);
    EXPECT_EQ(record.extra2, 55);
    EXPECT_EQ(record.areaList, (QList<int>{66, 77}));
    EXPECT_EQ(record.textList, (QList<QString>{"first", "second"}));
}

TEST_F(LabelTable, IsEmptyAfterLoadingTheLibrary) {
    EXPECT_EQ(names(), "");
    ControlInformationM info = ControlInformationM();
    EXPECT_EQ(get_label_address_info(QString("Main.counter"), info), 2);
}

TEST_F(LabelTable, NullListChangesNothing) {
    load({scope("Main", {})});
    PassVarName_2(nullptr);
    EXPECT_EQ(names(), "Main");
}

TEST_F(LabelTable, EmptyListChangesNothing) {
    load({scope("Main", {})});
    Labels none;
    PassVarName_2(&none);
    EXPECT_EQ(names(), "Main");
}

TEST_F(LabelTable, StoresEveryFieldUnderTheRecordsName) {
    Labels list{fullRecord(), scope("Second", {})};
    PassVarName_2(&list);
    EXPECT_EQ(names(), "Main, Second");
    expectFullRecord(PLC_driver.labelTable.value("Main"));
}

TEST_F(LabelTable, LastRecordOfANameInOneListWins) {
    Labels list{scope("Main", {variable("old", 3, 0)}), fullRecord()};
    PassVarName_2(&list);
    EXPECT_EQ(names(), "Main");
    expectFullRecord(PLC_driver.labelTable.value("Main"));
}

TEST_F(LabelTable, LaterCallReplacesANameCompletelyAndKeepsTheOthers) {
    Labels first{fullRecord(), scope("Second", {variable("kept", 3, 8)})};
    PassVarName_2(&first);
    Labels later{member("Main", 3, 99), scope("Third", {})};
    PassVarName_2(&later);

    EXPECT_EQ(names(), "Main, Second, Third");
    const Label_Type_Info replaced = PLC_driver.labelTable.value("Main");
    EXPECT_EQ(replaced.type, 3);
    EXPECT_EQ(replaced.offset, 99);
    EXPECT_EQ(replaced.dimensions, 0);
    EXPECT_EQ(replaced.memberCount, 0u);
    EXPECT_TRUE(replaced.arrayBounds.isEmpty());
    EXPECT_TRUE(replaced.members.isEmpty());
    EXPECT_TRUE(replaced.elementType.isEmpty());
    EXPECT_EQ(replaced.typeName, "");
    EXPECT_EQ(replaced.extra1, 0);
    EXPECT_EQ(replaced.extra2, 0);
    EXPECT_TRUE(replaced.areaList.isEmpty());
    EXPECT_TRUE(replaced.textList.isEmpty());

    ControlInformationM info = ControlInformationM();
    EXPECT_EQ(get_label_address_info(QString("Second.kept"), info), 0);
    EXPECT_EQ(info.address, 8);
}

TEST_F(LabelTable, KeepsItsCopiesWhenTheHostDestroysTheList) {
    auto list = std::make_unique<Labels>(Labels{fullRecord()});
    PassVarName_2(list.get());
    (*list)[0].members[0].name = "changed by the host";
    list.reset();
    expectFullRecord(PLC_driver.labelTable.value("Main"));
}

TEST_F(LabelTable, LeavesTheHostsListAsItWas) {
    Labels list{fullRecord(), scope("Second", {})};
    PassVarName_2(&list);
    ASSERT_EQ(list.size(), 2);
    expectFullRecord(list.at(0));
}

TEST_F(LabelTable, TakesARecordWithoutAName) {
    Labels list{scope("", {variable("counter", 3, 12)})};
    PassVarName_2(&list);
    ControlInformationM info = ControlInformationM();
    EXPECT_EQ(get_label_address_info(QString(".counter"), info), 0);
    EXPECT_EQ(info.address, 12);
}

TEST_F(LabelTable, FailedLookupInsertsNothing) {
    load({scope("Main", {})});
    ControlInformationM info = ControlInformationM();
    QString tag = "Ghost.values[%%]";
    EXPECT_EQ(get_label_address_info(QString("Ghost.counter"), info), 2);
    EXPECT_EQ(get_label_address_info(tag, 1), 2);
    EXPECT_EQ(names(), "Main");
}

TEST_F(LabelTable, NamesAreCaseSensitive) {
    load({scope("Main", {variable("counter", 3, 1)}), scope("MAIN", {variable("counter", 3, 2)})});
    ControlInformationM info = ControlInformationM();
    EXPECT_EQ(get_label_address_info(QString("MAIN.counter"), info), 0);
    EXPECT_EQ(info.address, 2);
    EXPECT_EQ(get_label_address_info(QString("main.counter"), info), 2);
    EXPECT_EQ(get_label_address_info(QString("Main.Counter"), info), 1);
}

TEST(LabelTypeInfo, CopySurvivesDestructionOfTheSourceList) {
    auto list = std::make_unique<Labels>(Labels{fullRecord()});
    const Label_Type_Info copy = list->at(0);
    list.reset();
    expectFullRecord(copy);
}

TEST(LabelTypeInfo, ChangingACopyLeavesTheOriginalAlone) {
    const Label_Type_Info original = fullRecord();
    Label_Type_Info copy = original;
    copy.name = "Other";
    copy.members[0].name = "other";
    copy.elementType.clear();
    copy.arrayBounds[0] = 16;
    copy.areaList.append(1);
    copy.textList[1] = "other";
    expectFullRecord(original);
}

TEST(LabelTypeInfo, DefaultConstructedListsAndTextsAreEmpty) {
    Label_Type_Info record;
    EXPECT_TRUE(record.name.isEmpty());
    EXPECT_TRUE(record.arrayBounds.isEmpty());
    EXPECT_TRUE(record.members.isEmpty());
    EXPECT_TRUE(record.elementType.isEmpty());
    EXPECT_TRUE(record.typeName.isEmpty());
    EXPECT_TRUE(record.areaList.isEmpty());
    EXPECT_TRUE(record.textList.isEmpty());
}

// What stands where a record's integer is, byte by byte: the integer itself has no value to speak of.
template <typename Integer>
std::string memoryOf(const Integer& integer) {
    QByteArray copy(sizeof integer, '\0');
    std::memcpy(copy.data(), &integer, sizeof integer);
    return hex(copy);
}

// quirk 20: memory filled with AB is still AB wherever the constructed record has an integer. The compiler may normally
// drop what was stored before construction; this file is compiled with -fno-lifetime-dse so that it does not.
TEST(LabelTypeInfo, DefaultConstructionLeavesTheIntegersUninitialised) {
    alignas(Label_Type_Info) unsigned char memory[sizeof(Label_Type_Info)];
    std::memset(memory, 0xAB, sizeof memory);
    asm volatile("" : : "r"(memory) : "memory");
    auto* record = new (memory) Label_Type_Info;
    asm volatile("" : : "r"(memory) : "memory");

    EXPECT_EQ(memoryOf(record->type), "AB AB");
    EXPECT_EQ(memoryOf(record->offset), "AB AB AB AB");
    EXPECT_EQ(memoryOf(record->dimensions), "AB AB AB AB");
    EXPECT_EQ(memoryOf(record->memberCount), "AB AB AB AB");
    EXPECT_EQ(memoryOf(record->extra1), "AB AB AB AB");
    EXPECT_EQ(memoryOf(record->extra2), "AB AB AB AB");
    record->~Label_Type_Info();
}

}  // namespace
}  // namespace ac500::test
