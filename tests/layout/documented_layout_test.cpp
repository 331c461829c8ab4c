// The tables of docs/host-interface.md against the compiled records.
#include <fstream>
#include <initializer_list>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/layout/record_layout.h"
#include "tests/support/places.h"

namespace ac500::test {
namespace {

// A record as text, one line per fact, so that a difference reads as one: "60 and 72 bytes", "24 24 labelName text".
std::string factLine(std::initializer_list<std::string> words) {
    std::string line;
    for (const std::string& word : words) {
        line += (line.empty() ? "" : " ") + word;
    }
    return line + "\n";
}

// Record name to what the page says of it, in the page's order.
std::map<std::string, std::string> documentedRecords() {
    static const std::regex heading("### `(\\w+)`: (\\d+) and (\\d+) bytes");
    static const std::regex row("\\| (\\d+) \\| (\\d+) \\| `(\\w+)` \\| ([\\w ]+) \\| .* \\|");
    std::map<std::string, std::string> records;
    std::ifstream page(projectFile("docs/host-interface.md"));
    std::string record;
    for (std::string line; std::getline(page, line);) {
        std::smatch part;
        if (std::regex_match(line, part, heading)) {
            record = part[1];
            records[record] += factLine({part[2], "and", part[3], "bytes"});
        } else if (!record.empty() && std::regex_match(line, part, row)) {
            records[record] += factLine({part[1], part[2], part[3], part[4]});
        }
    }
    return records;
}

std::string compiledRecord(const Record& record) {
    const Layout narrow = layoutOn(k32Bit, record);
    const Layout wide = layoutOn(k64Bit, record);
    std::string text = factLine({std::to_string(narrow.size), "and", std::to_string(wide.size), "bytes"});
    for (std::size_t i = 0; i < record.fields.size(); ++i) {
        const Field& field = record.fields[i];
        text += factLine({std::to_string(narrow.offsets[i]), std::to_string(wide.offsets[i]), field.name, field.type});
    }
    return text;
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
    std::vector<std::string> documented;
    for (const auto& [name, text] : documentedRecords()) {
        documented.push_back(name);
    }
    EXPECT_THAT(documented,
                testing::UnorderedElementsAre("ComInfo", "RW_VAR", "Protocol", "Label_Type_Info", "ControlInformationM",
                                              "HostTag", "EXTENDVAR", "Communication_Protocol"));
}

class DocumentedRecord : public testing::TestWithParam<Record> {};

TEST_P(DocumentedRecord, HasTheFieldsOffsetsAndTypesOfTheCompiledOne) {
    EXPECT_EQ(documentedRecords()[GetParam().name], compiledRecord(GetParam()))
        << "docs/host-interface.md (first) and the compiled record differ; correct the page if the record is right";
}

INSTANTIATE_TEST_SUITE_P(Page, DocumentedRecord, testing::ValuesIn(sharedRecords()),
                         [](const testing::TestParamInfo<Record>& row) { return row.param.name; });

}  // namespace
}  // namespace ac500::test
