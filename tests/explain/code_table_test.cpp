// The one table of codes, held against those who give the numbers.
#include "tools/explain/code_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>

#include "tests/support/places.h"
#include "tools/simulator/options.h"
#include "tools/simulator/reply_frame.h"

namespace ac500::explain {
namespace {

using NumberOfName = std::map<std::string, int>;

// The constants as the driver's header spells them.
NumberOfName constantsOfTheDriver() {
    static const std::regex constant("\\b(k\\w+) = (-?\\w+)");
    NumberOfName constants;
    std::ifstream header(test::projectFile("core/codes.h"));
    for (std::string line; std::getline(header, line);) {
        const std::string code = line.substr(0, line.find("//"));
        for (std::sregex_iterator found(code.begin(), code.end(), constant), end; found != end; ++found) {
            constants.emplace((*found)[1], std::stoi((*found)[2], nullptr, 0));
        }
    }
    return constants;
}

TEST(CodeTable, HasEveryConstantOfTheDriverWithItsNumberAndNoOther) {
    NumberOfName constants = constantsOfTheDriver();
    EXPECT_GT(constants.size(), 60u);
    constants.erase("kLargestHostIdInCode");  // a bound, no code
    NumberOfName told;
    for (const Code& code : allCodes()) {
        const bool isWord = code.group == Group::HostExit || code.group == Group::Write || code.group == Group::State;
        if (isWord || code.name[0] == '\0') {
            continue;
        }
        const bool isFamily = code.first != code.last;
        EXPECT_TRUE(told.emplace(code.name, isFamily ? code.first - 1 : code.first).second) << code.name;
        EXPECT_EQ(code.last - code.first, isFamily ? 11 : 0)
            << code.name << ": a family has a code for each hostId to 11";
    }
    EXPECT_EQ(told, constants);
}

TEST(CodeTable, HasEveryStatusWordOfTheSimulatedPlc) {
    static const std::regex value("^    (\\w+) = (0x[0-9A-F]{4}),");
    std::set<int> given;
    std::ifstream header(test::projectFile("tools/simulator/reply_frame.h"));
    for (std::string line; std::getline(header, line);) {
        std::smatch part;
        if (std::regex_search(line, part, value)) {
            given.insert(std::stoi(part[2], nullptr, 16));
        }
    }
    EXPECT_EQ(given.size(), 13u);
    std::set<int> told;
    for (const Code& code : allCodes()) {
        if (code.group == Group::PlcStatus) {
            told.insert(code.first);
        }
    }
    EXPECT_EQ(told, given);
    EXPECT_STREQ(sim::statusText(sim::Status::OutOfRange), "item out of range");
    EXPECT_STREQ(sim::statusText(sim::Status{0x0777}), "unnamed status");
}

TEST(CodeTable, SaysTheExitCodesAsTheSimulatorDoes) {
    const std::string help = std::regex_replace(sim::parseOptions({"--help"}).text, std::regex("\\s+"), " ");
    int codes = 0;
    for (const Code& code : allCodes()) {
        if (code.group == Group::SimExit) {
            EXPECT_THAT(help, testing::HasSubstr(std::to_string(code.first) + " " + code.brief));
            ++codes;
        }
    }
    EXPECT_EQ(codes, 6);
}

TEST(CodeTable, SaysSomethingOfEachCodeAndWhatToDoOfEachFailure) {
    for (const Code& code : allCodes()) {
        EXPECT_STRNE(code.brief, "") << groupKey(code.group) << " " << code.first;
        const bool isGood = code.first == 0;
        if (!isGood && (code.group == Group::PlcStatus || code.group == Group::Resolution ||
                        (code.group == Group::HostExit && code.first < 100))) {
            EXPECT_STRNE(code.cause, "") << groupKey(code.group) << " " << code.first;
            EXPECT_STRNE(code.remedy, "") << groupKey(code.group) << " " << code.first;
        }
    }
}

TEST(CodeTable, FindsACodeByItsGroupAndNumber) {
    EXPECT_STREQ(findCode(Group::Resolution, 7)->name, "kUnknownMember");
    EXPECT_STREQ(findCode(Group::Status, 52)->name, "kEmptyBase");
    EXPECT_EQ(findCode(Group::Status, 53), nullptr);
    EXPECT_EQ(findCode(Group::Resolution, 4), nullptr);
    EXPECT_STREQ(briefOf(Group::Resolution, 2), "there is no such scope");
    EXPECT_STREQ(briefOf(Group::Resolution, 4), "a code that has no meaning");
}

}  // namespace
}  // namespace ac500::explain
