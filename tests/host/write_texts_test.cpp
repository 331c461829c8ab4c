// How a write ended, in words (tools/host/write_path.h).
#include <gtest/gtest.h>

#include "tools/host/write_path.h"

namespace ac500::host {
namespace {

TEST(WriteTexts, EachOutcomeHasAName) {
    EXPECT_STREQ(writeOutcomeName(WriteOutcome::Pending), "pending");
    EXPECT_STREQ(writeOutcomeName(WriteOutcome::Done), "done");
    EXPECT_STREQ(writeOutcomeName(WriteOutcome::Refused), "refused");
    EXPECT_STREQ(writeOutcomeName(WriteOutcome::NotSent), "not sent");
    EXPECT_STREQ(writeOutcomeName(WriteOutcome::Unknown), "unknown");
}

TEST(WriteTexts, TheOutcomeStandsBeforeTheReasonOnce) {
    const auto textOf = [](WriteOutcome outcome, const std::string& why) {
        return outcomeText({outcome, {FailureKind::Request, why}, {}, {}});
    };
    EXPECT_EQ(textOf(WriteOutcome::Unknown, "no reply came"), "unknown: no reply came");
    EXPECT_EQ(textOf(WriteOutcome::Unknown, "zero bytes came"), "unknown: zero bytes came");
    EXPECT_EQ(textOf(WriteOutcome::Unknown, "unknown: no reply came"), "unknown: no reply came");
    EXPECT_EQ(textOf(WriteOutcome::NotSent, "not sent: its time was over"), "not sent: its time was over");
    EXPECT_EQ(textOf(WriteOutcome::NotSent, "not sent"), "not sent: not sent");
}

}  // namespace
}  // namespace ac500::host
