#include "tools/replay/apart.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include "tests/support/pace.h"

namespace {

using ac500::replay::ApartEnd;
using ac500::replay::Progress;
using ac500::replay::runApart;
using ac500::replay::signalName;

TEST(ApartTest, BringsBackWhatTheWorkAnswered) {
    int here = 1;
    const ApartEnd end = runApart(
        [&here](Progress& progress) {
            here = 2;
            progress.set(5);
            return std::string(300000, 'x');  // more than a pipe holds
        },
        std::nullopt);
    EXPECT_EQ(end.kind, ApartEnd::Kind::Done);
    EXPECT_EQ(end.result, std::string(300000, 'x'));
    EXPECT_EQ(end.step, 5u);
    EXPECT_EQ(here, 1);
}

TEST(ApartTest, TellsTheSignalThatEndedIt) {
    const ApartEnd end = runApart(
        [](Progress& progress) -> std::string {
            progress.set(7);
            ::signal(SIGTERM, SIG_DFL);
            ::raise(SIGTERM);
            return "not reached";
        },
        std::nullopt);
    EXPECT_EQ(end.kind, ApartEnd::Kind::Signal);
    EXPECT_EQ(signalName(end.signal), "SIGTERM");
    EXPECT_EQ(end.step, 7u);
    EXPECT_EQ(end.result, "");
}

TEST(ApartTest, EndsWorkThatTakesTooLong) {
    std::uint64_t seen = 0;
    const ApartEnd end = runApart(
        [](Progress& progress) -> std::string {
            progress.set(3);
            for (;;) {
                ::pause();
            }
        },
        std::chrono::milliseconds(100 * AC500_TEST_PACE), [&seen](std::uint64_t step) { seen = step; });
    EXPECT_EQ(end.kind, ApartEnd::Kind::TimeOut);
    EXPECT_EQ(seen, 3u);
}

TEST(ApartTest, NamesSignalsThatHaveNoName) {
    EXPECT_EQ(signalName(SIGSEGV), "SIGSEGV");
    EXPECT_EQ(signalName(4711), "signal 4711");
}

}  // namespace
