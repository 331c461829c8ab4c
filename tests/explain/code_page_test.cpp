// The page of status codes holds the tables of this table of codes.
#include "tools/explain/code_page.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "tests/support/places.h"

namespace ac500::explain {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

std::string pageOfStatusCodes() {
    std::ifstream file(test::projectFile("docs/status-codes.md"));
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

TEST(CodePage, HoldsTheTableOfEachGroupAndNoOther) {
    std::string page = pageOfStatusCodes();
    for (const Group group : allGroups()) {
        const std::string table = "\n\n" + tableOf(group) + "\n";
        const std::size_t found = page.find(table);
        ASSERT_NE(found, std::string::npos) << "docs/status-codes.md is to hold this table:\n" << tableOf(group);
        page.erase(found, table.size());
    }
    EXPECT_EQ(page.find("\n|"), std::string::npos) << page.substr(page.find("\n|"), 200);
}

TEST(CodePage, ATableHasTheColumnsOfItsGroup) {
    EXPECT_THAT(tableOf(Group::Outcome),
                StartsWith("| Code | Name | Meaning | Status |\n"
                           "| --- | --- | --- | --- |\n"
                           "| 0 | `kReplyGood` | good | 1 |\n"
                           "| 1 | `kReplyRefused` | the PLC refused the request, or the reply is "
                           "no data reply | 11 - 22 |\n"));
    EXPECT_THAT(tableOf(Group::PlcStatus),
                HasSubstr("\n| 0x0301 | unknown area | The PLC has no such memory area. | "));
    EXPECT_THAT(tableOf(Group::HostExit), HasSubstr("\n| 4 | `tcp:` | there is no connection to the PLC | "));
}

TEST(CodePage, AStrokeDoesNotEndACellAndNothingIsADash) {
    EXPECT_THAT(tableOf(Group::HostExit), HasSubstr("`watch ... \\| head -1`. | - |\n"));
}

}  // namespace
}  // namespace ac500::explain
