// The driver, given the label records, must find every element where the symbol file puts it.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/host_interface.h"
#include "tests/support/places.h"
#include "tests/symbol_file/sample.h"
#include "tools/symbol_file/label_records.h"

namespace ac500::symbol_file {
namespace {

// The same line for both sides: "type 3 at 1:128", with "bit 5" behind it where the tag names one.
std::string place(int type, int area, std::int64_t address, int bit) {
    std::string text = "type " + std::to_string(type) + " at " + std::to_string(area) + ":" + std::to_string(address);
    return bit < 0 ? text : text + " bit " + std::to_string(bit);
}

std::string foundByDriver(const std::string& tag) {
    ControlInformationM info = {};
    const QString name = QString::fromStdString(tag);
    const int code = get_label_address_info(name, info);
    if (code != 0) {
        return "code " + std::to_string(code);
    }
    return place(info.dataType, info.area, info.address, info.isBit ? info.bitIndex : -1);
}

std::string foundInFile(const SymbolFile& file, const std::string& tag) {
    std::string error;
    const std::optional<Element> element = findElement(file, tag, &error);
    if (!element) {
        return error;
    }
    return place(static_cast<int>(element->code), element->area, element->address, element->bit);
}

std::string rewritten(const std::string& tag, int argument) {
    QString name = QString::fromStdString(tag);
    const int code = get_label_address_info(name, argument);
    return code == 0 ? name.toStdString() : "code " + std::to_string(code);
}

// Every index list of an array, one without dimensions.
std::vector<std::string> indexLists(const std::vector<ArrayDimension>& dimensions) {
    std::vector<std::string> lists(1);
    for (const ArrayDimension& dimension : dimensions) {
        std::vector<std::string> longer;
        for (const std::string& list : lists) {
            for (int i = dimension.lower; i <= dimension.upper; ++i) {
                longer.push_back(list + (list.empty() ? "[" : ",") + std::to_string(i));
            }
        }
        lists = longer;
    }
    for (std::string& list : lists) {
        list += list.empty() ? "" : "]";
    }
    return lists;
}

std::vector<std::string> elementTags(const Leaf& leaf) {
    std::vector<std::string> tags;
    for (const std::string& list : indexLists(leaf.dimensions)) {
        tags.push_back(leaf.tag + list);
    }
    if (leaf.bitAddressable) {
        tags.push_back(leaf.tag + ".b[5]");
    }
    return tags;
}

void pass(const SymbolFile& file) {
    QList<Label_Type_Info> records = labelRecords(file);
    PassVarName_2(&records);
}

int expectAgreement(const SymbolFile& file) {
    pass(file);
    int compared = 0;
    for (const Leaf& leaf : listLeaves(file)) {
        for (const std::string& tag : elementTags(leaf)) {
            EXPECT_EQ(foundByDriver(tag), foundInFile(file, tag)) << tag;
            ++compared;
        }
    }
    return compared;
}

TEST(DriverAgreement, HoldsForEveryElementOfThePlant) {
    EXPECT_GT(expectAgreement(loadGood(test::projectFile("examples/plant.json"))), 900);
}

TEST(DriverAgreement, HoldsForEveryElementOfTheSample) {
    EXPECT_EQ(expectAgreement(sampleFile()), 85);
}

TEST(DriverAgreement, HoldsForKnownPlaces) {
    pass(sampleFile());
    EXPECT_EQ(foundByDriver("Main.grid[2,3]"), "type 3 at 1:128");
    EXPECT_EQ(foundByDriver("Main.cube[0,4,8]"), "type 9 at 1:288");
    EXPECT_EQ(foundByDriver("Main.pumps[2].valve[2,5].open"), "type 1 at 1:831");
    EXPECT_EQ(foundByDriver("Main.pumps[2].status.b[7]"), "type 15 at 1:824 bit 7");
    EXPECT_EQ(foundByDriver("Main.lamps[8]"), "type 13 at 3:47");
    EXPECT_EQ(foundByDriver("Aux.counter"), "type 2 at 3:7");
}

TEST(DriverAgreement, HoldsForTheLastElementWhenIndicesAreRewritten) {
    pass(sampleFile());
    EXPECT_EQ(rewritten("Main.lamps[%%]", 7), "Main.lamps[8]");
    EXPECT_EQ(rewritten("Main.lamps[%%]", 8), "code 1");
    EXPECT_EQ(rewritten("Main.grid[0,%%+1]", 5), "Main.grid[0,6]");
    EXPECT_EQ(rewritten("Main.grid[0,%%+1]", 6), "Main.grid[1,1]");
    EXPECT_EQ(rewritten("Main.pumps[1].hours[%%]", 2), "Main.pumps[1].hours[1]");
}

TEST(DriverAgreement, HoldsForTheHighestBitWhenBitsAreRewritten) {
    pass(sampleFile());
    EXPECT_EQ(rewritten("Main.flags.b[%%]", 15), "Main.flags.b[15]");
    EXPECT_EQ(rewritten("Main.flags.b[%%]", 16), "code 1");
    EXPECT_EQ(rewritten("Main.wide.b[%%]", 63), "Main.wide.b[63]");
    EXPECT_EQ(rewritten("Main.pump.status.b[%%]", 7), "Main.pump.status.b[7]");
    EXPECT_EQ(rewritten("Main.pump.status.b[%%]", 8), "code 1");
}

}  // namespace
}  // namespace ac500::symbol_file
