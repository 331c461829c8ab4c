// What the lines of the doctor come to.
#include "tools/doctor/check_line.h"

#include <gtest/gtest.h>

namespace ac500::doctor {
namespace {

CheckLine graded(Subject subject, Grade grade) {
    return {subject, grade, "text", "", ""};
}

TEST(CheckLines, TheFirstThatFailsGivesTheExitCode) {
    EXPECT_EQ(exitCodeOf(std::vector<CheckLine>{}), 0);
    EXPECT_EQ(exitCodeOf({graded(Subject::Clock, Grade::Warn), graded(Subject::Area, Grade::NotTried)}), 0);
    EXPECT_EQ(exitCodeOf({graded(Subject::Driver, Grade::Pass), graded(Subject::Port, Grade::Fail),
                          graded(Subject::Tag, Grade::Fail)}),
              4);
}

TEST(CheckLines, HaveTheExitCodesOfTheirLayer) {
    EXPECT_EQ(exitCodeOf(Subject::Driver), 2);
    EXPECT_EQ(exitCodeOf(Subject::Symbols), 2);
    EXPECT_EQ(exitCodeOf(Subject::Name), 4);
    EXPECT_EQ(exitCodeOf(Subject::Route), 4);
    EXPECT_EQ(exitCodeOf(Subject::Hello), 5);
    EXPECT_EQ(exitCodeOf(Subject::Session), 5);
    EXPECT_EQ(exitCodeOf(Subject::Program), 8);
    EXPECT_EQ(exitCodeOf(Subject::Area), 6);
    EXPECT_EQ(exitCodeOf(Subject::Limit), 6);
    EXPECT_EQ(exitCodeOf(Subject::Tag), 3);
}

TEST(CheckLines, AreCountedByGrade) {
    const Tally tally = countLines({graded(Subject::Clock, Grade::Warn), graded(Subject::Name, Grade::Pass),
                                    graded(Subject::Route, Grade::Pass), graded(Subject::Port, Grade::Fail),
                                    graded(Subject::Hello, Grade::NotTried)});
    EXPECT_EQ(tallyText(tally), "2 passed, 1 to look at, 1 failed, 1 not tried");
    EXPECT_EQ(tallyText(countLines({graded(Subject::Name, Grade::Pass)})), "1 passed");
}

}  // namespace
}  // namespace ac500::doctor
