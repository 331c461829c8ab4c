#include "tools/desk/tag_check.h"

#include <chrono>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/pace.h"

namespace ac500::desk {
namespace {

using testing::HasSubstr;

TEST(TagCheckTest, EveryCodeOfTheDriverHasWords) {
    EXPECT_EQ(codeText(0), "resolved");
    EXPECT_EQ(codeText(1), "the variable does not exist, the name is incomplete, or the number of indices is wrong");
    EXPECT_EQ(codeText(2), "there is no such scope");
    EXPECT_EQ(codeText(3), "an index is missing, is no number, or lies below the lower bound");
    EXPECT_EQ(codeText(6), "the tag is empty");
    EXPECT_EQ(codeText(7), "the structure has no such member");
    EXPECT_EQ(codeText(10), "the symbol record has no element type");
    EXPECT_EQ(codeText(11), "a tag needs a scope and a variable");
    EXPECT_EQ(codeText(12), "the symbol record names no memory area");
    EXPECT_EQ(codeText(4), "a code that has no meaning");
}

TEST(TagCheckTest, PlacesAreToldWithTheirRows) {
    EXPECT_EQ(placeText({"tags.csv", 12}), "tags.csv:12");
    EXPECT_EQ(placeText({"", 0}), "command line");
}

TEST(TagCheckTest, ATagThatIsNamedAgainIsGivenTwice) {
    const std::vector<Finding> findings =
        givenTwice({{"Main.a", {"l", 1}}, {"Main.b", {"l", 2}}, {"Main.a", {"l", 3}}, {"Main.a", {"l", 4}}});
    ASSERT_EQ(findings.size(), 2u);
    EXPECT_EQ(findings[0].severity, Severity::Warning);
    EXPECT_EQ(findings[0].kind, FindingKind::GivenTwice);
    EXPECT_EQ(findings[0].tag, "Main.a");
    EXPECT_EQ(findings[0].place.row, 3);
    EXPECT_EQ(findings[0].text, "is given twice, first at l:1; remove one");
    EXPECT_EQ(findings[1].place.row, 4);
    EXPECT_TRUE(givenTwice({{"Main.a", {"l", 1}}, {"Main.A", {"l", 2}}}).empty()) << "case counts";
}

const std::vector<std::string> kPanels{"this panel", "another panel", "another panel"};

WrittenTag written(const char* tag, std::size_t panel, std::int64_t address, std::int64_t size, bool isBit) {
    return {{tag, {"list" + std::to_string(panel), 7}}, panel, {1, address, size}, isBit};
}

TEST(SharedWordsTest, BitsThatTwoPanelsWriteAreToldOnBothSides) {
    const std::vector<Finding> findings =
        sharedWords({written("Main.flags.b[3]", 0, 10, 2, true), written("Main.flags.b[5]", 1, 10, 2, true)}, kPanels);
    ASSERT_EQ(findings.size(), 2u);
    EXPECT_EQ(findings[0].severity, Severity::Warning);
    EXPECT_EQ(findings[0].kind, FindingKind::SharedWord);
    EXPECT_EQ(findings[0].tag, "Main.flags.b[3]");
    EXPECT_THAT(findings[0].text,
                HasSubstr("shares a variable with Main.flags.b[5] (another panel, list1:7): a bit is"));
    EXPECT_EQ(findings[1].tag, "Main.flags.b[5]");
    EXPECT_THAT(findings[1].text, HasSubstr("shares a variable with Main.flags.b[3] (this panel, list0:7): a bit is"));
}

TEST(SharedWordsTest, ABitAndTheWholeVariableShareIt) {
    const std::vector<Finding> findings =
        sharedWords({written("Main.flags", 0, 10, 2, false), written("Main.flags.b[5]", 1, 10, 2, true)}, kPanels);
    ASSERT_EQ(findings.size(), 2u);
    EXPECT_THAT(findings[0].text, HasSubstr("there a bit is written as the whole variable"));
}

TEST(SharedWordsTest, AnArrayThatHoldsTheVariableSharesIt) {
    const std::vector<Finding> findings =
        sharedWords({written("Main.words", 0, 0, 100, false), written("Main.words_too", 2, 98, 2, true)}, kPanels);
    EXPECT_EQ(findings.size(), 2u);
}

TEST(SharedWordsTest, NothingIsShared) {
    EXPECT_TRUE(sharedWords({}, kPanels).empty());
    EXPECT_TRUE(
        sharedWords({written("Main.flags.b[3]", 0, 10, 2, true), written("Main.flags.b[5]", 0, 10, 2, true)}, kPanels)
            .empty())
        << "by one panel";
    EXPECT_TRUE(
        sharedWords({written("Main.flags.b[3]", 0, 10, 2, true), written("Main.more.b[5]", 1, 12, 2, true)}, kPanels)
            .empty())
        << "the next variable";
    EXPECT_TRUE(
        sharedWords({written("Main.flags.b[3]", 0, 10, 2, true), written("Main.more.b[5]", 1, 8, 2, true)}, kPanels)
            .empty())
        << "the variable before";
    EXPECT_TRUE(
        sharedWords({written("Main.flags", 0, 10, 2, false), written("Main.flags", 1, 10, 2, false)}, kPanels).empty())
        << "whole variables are not taken back in part";
    WrittenTag elsewhere = written("Main.far.b[1]", 1, 10, 2, true);
    elsewhere.variable.area = 2;
    EXPECT_TRUE(sharedWords({written("Main.flags.b[3]", 0, 10, 2, true), elsewhere}, kPanels).empty())
        << "another area";
}

TEST(SharedWordsTest, OfSeveralTheFirstOfAnotherPanelIsTold) {
    const std::vector<WrittenTag> tags{
        written("Main.wide", 0, 0, 100, false),       written("Main.own.b[1]", 1, 20, 2, true),
        written("Main.far", 2, 30, 2, false),         written("Main.own.b[2]", 1, 20, 2, true),
        written("Main.third.b[1]", 2, 20, 2, true),   written("Main.wide_too", 1, 0, 100, false),
        written("Main.behind.b[0]", 0, 100, 2, true),
    };
    std::vector<std::string> told;
    for (const Finding& finding : sharedWords(tags, kPanels)) {
        const std::string with = " with ";
        const std::size_t begin = finding.text.find(with) + with.size();
        told.push_back(finding.tag + ": " + finding.text.substr(begin, finding.text.find(' ', begin) - begin));
    }
    EXPECT_THAT(told,
                testing::ElementsAre("Main.wide: Main.own.b[1]", "Main.own.b[1]: Main.wide", "Main.own.b[2]: Main.wide",
                                     "Main.third.b[1]: Main.wide", "Main.wide_too: Main.third.b[1]"));
}

// Wide arrays lie over all of them, and whatever the panels write over each other is no conflict but in one place.
TEST(SharedWordsTest, FiftyThousandUnderWideArraysTakeNoTime) {
    std::vector<WrittenTag> tags;
    for (std::size_t panel = 0; panel < 2; ++panel) {
        for (int i = 0; i < 50000; ++i) {
            tags.push_back(written("Main.v", panel, 2 * i, 2, false));
            tags.push_back(written("Main.all", panel, 0, 320000, false));
        }
    }
    tags.push_back(written("Main.flags.b[1]", 1, 310000, 2, true));
    const auto start = std::chrono::steady_clock::now();
    const std::vector<Finding> findings = sharedWords(tags, kPanels);
    const auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(findings.size(), 50001u);
    EXPECT_LT(elapsed, std::chrono::milliseconds(test::paced(10000)));  // a step that is quadratic takes a minute
}

TEST(TagCheckTest, FindingsAreCountedBySeverity) {
    Finding warning;
    warning.severity = Severity::Warning;
    const Tally tally = countFindings({Finding(), warning, Finding()});
    EXPECT_EQ(tally.errors, 2);
    EXPECT_EQ(tally.warnings, 1);
}

}  // namespace
}  // namespace ac500::desk
