#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "tests/symbol_file/sample.h"
#include "tools/symbol_file/label_records.h"

namespace ac500::symbol_file {
namespace {

std::string listText(const QList<int>& numbers) {
    std::string text;
    for (int number : numbers) {
        text += (text.empty() ? "" : " ") + std::to_string(number);
    }
    return "[" + text + "]";
}

void print(const Label_Type_Info& record, const std::string& indent, std::ostringstream* out) {
    *out << indent << record.name.toStdString() << " type " << std::hex << record.type << std::dec << " offset "
         << record.offset << " dimensions " << record.dimensions << " bounds " << listText(record.arrayBounds)
         << " areas " << listText(record.areaList) << " named " << record.typeName.toStdString() << " members "
         << record.memberCount << "\n";
    for (const Label_Type_Info& member : record.members) {
        print(member, indent + "  . ", out);
    }
    for (const Label_Type_Info& element : record.elementType) {
        print(element, indent + "  > ", out);
    }
}

// One line per record: members behind ".", element types behind ">".
std::string text(const Label_Type_Info& record) {
    std::ostringstream out;
    out << "\n";
    print(record, "", &out);
    return out.str();
}

Label_Type_Info variable(const char* name) {
    const QList<Label_Type_Info> records = labelRecords(sampleFile());
    for (const Label_Type_Info& candidate : records[0].elementType[0].members) {
        if (candidate.name == QLatin1String(name)) {
            return candidate;
        }
    }
    ADD_FAILURE() << "no variable " << name;
    return records[0];
}

TEST(LabelRecords, AreOnePerScopeInFileOrder) {
    const QList<Label_Type_Info> records = labelRecords(sampleFile());
    ASSERT_EQ(records.size(), 2);
    EXPECT_EQ(records[0].name, QLatin1String("Main"));
    EXPECT_EQ(records[1].name, QLatin1String("Aux"));
}

TEST(LabelRecords, LeadFromAScopeToItsVariables) {
    EXPECT_EQ(text(labelRecords(sampleFile())[1]), R"(
Aux type c offset 0 dimensions 0 bounds [] areas [] named  members 0
  > Aux type 20c offset 0 dimensions 0 bounds [] areas [] named Aux members 1
  >   . counter type 2 offset 7 dimensions 0 bounds [] areas [3] named SINT members 0
)");
}

TEST(LabelRecords, CountTheVariablesOfAScope) {
    const QList<Label_Type_Info> records = labelRecords(sampleFile());
    EXPECT_EQ(records[0].elementType[0].memberCount, 11u);
    EXPECT_EQ(records[0].elementType[0].members.size(), 11);
}

TEST(LabelRecords, CarryOneMoreThanTheUpperBoundOfEachDimension) {
    EXPECT_EQ(text(variable("grid")), R"(
grid type 103 offset 100 dimensions 2 bounds [10 0 4 1 7] areas [1] named INT members 0
)");
    EXPECT_EQ(text(variable("cube")), R"(
cube type 109 offset 200 dimensions 3 bounds [10 -1 1 2 5 7 9] areas [1] named LREAL members 0
)");
}

TEST(LabelRecords, CarryTheBitsOfABitAddressableVariableAsAnArray) {
    EXPECT_EQ(text(variable("flags")), R"(
flags type 410 offset 12 dimensions 0 bounds [] areas [1] named WORD members 0
  > bits type 10d offset 0 dimensions 1 bounds [10 0 16] areas [] named BIT members 0
)");
    EXPECT_EQ(text(variable("wide")), R"(
wide type 412 offset 16 dimensions 0 bounds [] areas [1] named LWORD members 0
  > bits type 10d offset 0 dimensions 1 bounds [10 0 64] areas [] named BIT members 0
)");
}

TEST(LabelRecords, CountTheOffsetOfABitInBits) {
    EXPECT_EQ(text(variable("start")), R"(
start type d offset 21 dimensions 0 bounds [] areas [3] named BIT members 0
)");
    EXPECT_EQ(text(variable("lamps")), R"(
lamps type 10d offset 40 dimensions 1 bounds [10 1 9] areas [3] named BIT members 0
)");
}

TEST(LabelRecords, LeadFromAStructureToItsMembersAndCarryItsSize) {
    EXPECT_EQ(text(variable("pumps")), R"(
pumps type 10c offset 800 dimensions 1 bounds [10 1 3] areas [1] named Pump members 0
  > Pump type 20c offset 20 dimensions 0 bounds [] areas [] named Pump members 4
  >   . speed type 3 offset 2 dimensions 0 bounds [] areas [] named INT members 0
  >   . status type 40f offset 4 dimensions 0 bounds [] areas [] named BYTE members 0
  >   .   > bits type 10d offset 0 dimensions 1 bounds [10 0 8] areas [] named BIT members 0
  >   . valve type 10c offset 6 dimensions 2 bounds [10 1 3 5 7] areas [] named Valve members 0
  >   .   > Valve type 20c offset 2 dimensions 0 bounds [] areas [] named Valve members 1
  >   .   >   . open type 1 offset 1 dimensions 0 bounds [] areas [] named BOOL members 0
  >   . hours type 104 offset 14 dimensions 1 bounds [10 -1 2] areas [] named UINT members 0
)");
}

TEST(LabelRecords, CarryStringsUnderBothCodes) {
    EXPECT_EQ(text(variable("title")), R"(
title type a offset 300 dimensions 0 bounds [] areas [1] named STRING members 0
)");
    EXPECT_EQ(text(variable("lines")), R"(
lines type 10b offset 400 dimensions 1 bounds [10 1 4] areas [1] named CSTRING members 0
)");
}

void expectSparesZero(const Label_Type_Info& record) {
    EXPECT_EQ(record.extra1, 0) << record.name.toStdString();
    EXPECT_EQ(record.extra2, 0) << record.name.toStdString();
    EXPECT_TRUE(record.textList.isEmpty()) << record.name.toStdString();
    for (const Label_Type_Info& member : record.members) {
        expectSparesZero(member);
    }
    for (const Label_Type_Info& element : record.elementType) {
        expectSparesZero(element);
    }
}

TEST(LabelRecords, FillTheFieldsThatNobodyReads) {
    for (const Label_Type_Info& record : labelRecords(sampleFile())) {
        expectSparesZero(record);
    }
}

TEST(LabelRecords, OfAnEmptyFileAreNone) {
    EXPECT_TRUE(labelRecords(SymbolFile()).isEmpty());
}

}  // namespace
}  // namespace ac500::symbol_file
