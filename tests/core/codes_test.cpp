// The numbers that cross the border, and the page that explains them.
#include "core/codes.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <regex>
#include <string>

#include "tests/support/places.h"

namespace {

// Name to number, as text is written: "0x0400" and "11 - 22" are numbers too.
using NamedCodes = std::map<std::string, int>;

// The constants as the header spells them.
NamedCodes codesOfTheHeader() {
    static const std::regex constant("\\b(k\\w+) = (-?\\w+)");
    NamedCodes codes;
    std::ifstream header(ac500::test::projectFile("core/codes.h"));
    for (std::string line; std::getline(header, line);) {
        const std::string code = line.substr(0, line.find("//"));
        for (std::sregex_iterator found(code.begin(), code.end(), constant), end; found != end; ++found) {
            EXPECT_TRUE(codes.emplace((*found)[1], std::stoi((*found)[2], nullptr, 0)).second) << line;
        }
    }
    return codes;
}

// Rows of the page that begin with a number or a range and a name. A family stands there with its range, first code to
// last, the codes for a hostId of 0 to 11; its base lies one below.
NamedCodes codesOfThePage() {
    static const std::regex row("\\| (-?\\w+)( - (\\d+))? \\| `(k\\w+)` \\| .*");
    NamedCodes codes;
    std::ifstream page(ac500::test::projectFile("docs/status-codes.md"));
    for (std::string line; std::getline(page, line);) {
        std::smatch part;
        if (!std::regex_match(line, part, row)) {
            continue;
        }
        const int first = std::stoi(part[1], nullptr, 0);
        if (part[2].matched) {
            EXPECT_EQ(std::stoi(part[3]), first + 11) << line;
        }
        EXPECT_TRUE(codes.emplace(part[4], part[2].matched ? first - 1 : first).second) << line;
    }
    return codes;
}

TEST(CodesPage, NamesEveryConstantOfTheHeaderWithItsValueAndNoOther) {
    NamedCodes header = codesOfTheHeader();
    ASSERT_EQ(header.count("kLargestHostIdInCode"), 1u);
    EXPECT_EQ(header["kLargestHostIdInCode"], 11);
    header.erase("kLargestHostIdInCode");  // in the text and in the ranges
    EXPECT_GT(header.size(), 60u);
    EXPECT_EQ(codesOfThePage(), header);
}

TEST(AcceptedStatus, IsOneAndAHundredAlone) {
    EXPECT_TRUE(ac500::isAccepted(1));
    EXPECT_TRUE(ac500::isAccepted(100));
    for (int status : {0, 2, -1, 11, 41, 71, 99, 101, 200, 201}) {
        EXPECT_FALSE(ac500::isAccepted(status)) << status;
    }
}

}  // namespace
