#include "tools/console/time_text.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace ac500::console {
namespace {

using std::chrono::milliseconds;

class TimeText : public testing::Test {
protected:
    TimeText() {
        ::setenv("TZ", "XYZ-2", 1);  // two hours east
        ::tzset();
    }

    static WallTime at(std::int64_t ms) { return WallTime(milliseconds(ms)); }
};

TEST_F(TimeText, IsLocalWithMilliseconds) {
    EXPECT_EQ(timeText(at(0)), "1970-01-01 02:00:00.000");
    EXPECT_EQ(timeText(at(1700000000007)), "2023-11-15 00:13:20.007");
}

TEST_F(TimeText, ForProgramsItIsInUtc) {
    EXPECT_EQ(utcText(at(1700000000007)), "2023-11-14T22:13:20.007Z");
}

TEST_F(TimeText, BeforeTheEpochTimeStillRunsForward) {
    EXPECT_EQ(utcText(at(-1)), "1969-12-31T23:59:59.999Z");
}

}  // namespace
}  // namespace ac500::console
