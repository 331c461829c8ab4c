// The tables of docs/host-interface.md against the compiled records.
#include <fstream>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/layout/record_layout.h"

namespace ac500::test {
namespace {

using Lines = std::vector<std::string>;

// One line of text per fact, so that a difference reads as one: "60 and 72 bytes", "24 24 labelName text".
std::string sizeText(const std::string& on32Bit, const std::string& on64Bit) {
    return on32Bit + " and " + on64Bit + " bytes";
}

std::string fieldText(const std::string& on32Bit, const std::string& on64Bit, const Field& field) {
    return on32Bit + " " + on64Bit + " " + field.name + " " + field.type;
}

// Record name to the facts that the page states, in the page's order.
std::map<std::string, Lines> documentedRecords() {
    static const std::regex heading("### `(\\w+)`: (\\d+) and (\\d+) bytes");
    static const std::regex row("\\| (\\d+) \\| (\\d+) \\| `(\\w+)` \\| ([\\w ]+) \\| .* \\|");
    std::map<std::string, Lines> records;
    std::ifstream page(AC500_HOST_INTERFACE_PAGE);
    std::string record;
    for (std::string line; std::getline(page, line);) {
        std::smatch part;
        if (std::regex_match(line, part, heading)) {
            record = part[1];
            records[record].push_back(sizeText(part[2], part[3]));
        } else if (!record.empty() && std::regex_match(line, part, row)) {
            records[record].push_back(part[1].str() + " " + part[2].str() + " " + part[3].str() + " " + part[4].str());
        }
    }
    return records;
}

Lines compiledFacts(const Record& record) {
    const Layout narrow = layoutOn(k32Bit, record);
    const Layout wide = layoutOn(k64Bit, record);
    Lines facts{sizeText(std::to_string(narrow.size), std::to_string(wide.size))};
    for (std::size_t i = 0; i < record.fields.size(); ++i) {
        facts.push_back(
            fieldText(std::to_string(narrow.offsets[i]), std::to_string(wide.offsets[i]), record.fields[i]));
    }
    return facts;
}

// Also finds a field that is missing in the tests' own list: the fields behind it would not lie where they do.
TEST(RecordLayout, FieldsLieOneAfterTheOtherWithoutAGap) {
    const PointerBytes here = sizeof(void*) == 4 ? k32Bit : k64Bit;
    for (const Record& record : sharedRecords()) {
        const Layout computed = layoutOn(here, record);
        EXPECT_EQ(computed.size, record.size) << record.name;
        for (std::size_t i = 0; i < record.fields.size(); ++i) {
            EXPECT_EQ(computed.offsets[i], record.fields[i].offset) << record.name << "::" << record.fields[i].name;
        }
    }
}

TEST(RecordLayout, ThePageDescribesEverySharedRecordAndNoOther) {
    Lines documented;
    for (const auto& [name, facts] : documentedRecords()) {
        documented.push_back(name);
    }
    EXPECT_THAT(documented,
                testing::UnorderedElementsAre("ComInfo", "RW_VAR", "Protocol", "Label_Type_Info", "ControlInformationM",
                                              "HostTag", "EXTENDVAR", "Communication_Protocol"));
}

class DocumentedRecord : public testing::TestWithParam<Record> {};

TEST_P(DocumentedRecord, HasTheFieldsOffsetsAndTypesOfTheCompiledOne) {
    EXPECT_THAT(documentedRecords()[GetParam().name], testing::ElementsAreArray(compiledFacts(GetParam())));
}

INSTANTIATE_TEST_SUITE_P(Page, DocumentedRecord, testing::ValuesIn(sharedRecords()),
                         [](const testing::TestParamInfo<Record>& row) { return row.param.name; });

}  // namespace
}  // namespace ac500::test
