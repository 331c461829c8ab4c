#include "tools/host/reception_log.h"

#include <gtest/gtest.h>

namespace ac500::host {
namespace {

constexpr Time kEarly{1000};
constexpr Time kLate{2000};

TEST(ReceptionLog, KnowsNothingAtFirst) {
    EXPECT_EQ(ReceptionLog().oldest({{1, 0, 1}}), std::nullopt);
}

TEST(ReceptionLog, AnEmptyRunCountsAsNeverReceived) {
    ReceptionLog log;
    log.record({{1, 0, 4}}, kEarly);
    EXPECT_EQ(log.oldest({{1, 0, 0}}), std::nullopt);
    EXPECT_EQ(log.oldest({}), std::nullopt);
}

TEST(ReceptionLog, AValueIsAsOldAsItsOldestByte) {
    ReceptionLog log;
    log.record({{1, 10, 4}}, kEarly);
    log.record({{1, 12, 2}}, kLate);
    EXPECT_EQ(log.oldest({{1, 10, 4}}), kEarly);
    EXPECT_EQ(log.oldest({{1, 12, 2}}), kLate);
    EXPECT_EQ(log.oldest({{1, 12, 2}, {1, 11, 1}}), kEarly);
}

TEST(ReceptionLog, OneMissingByteMakesTheValueUnknown) {
    ReceptionLog log;
    log.record({{1, 10, 4}}, kEarly);
    EXPECT_EQ(log.oldest({{1, 9, 2}}), std::nullopt);
    EXPECT_EQ(log.oldest({{1, 13, 2}}), std::nullopt);
    EXPECT_EQ(log.oldest({{1, 10, 4}}), kEarly);
}

TEST(ReceptionLog, AreasAreSeparate) {
    ReceptionLog log;
    log.record({{1, 0, 8}}, kEarly);
    EXPECT_EQ(log.oldest({{2, 0, 8}}), std::nullopt);
}

TEST(ReceptionLog, ARunMayCrossPages) {
    ReceptionLog log;
    log.record({{1, 250, 600}}, kEarly);
    EXPECT_EQ(log.oldest({{1, 250, 600}}), kEarly);
    EXPECT_EQ(log.oldest({{1, 249, 2}}), std::nullopt);
    EXPECT_EQ(log.oldest({{1, 849, 2}}), std::nullopt);
    EXPECT_EQ(log.oldest({{1, 255, 2}}), kEarly);
}

TEST(ReceptionLog, TimeZeroIsATimeLikeAnyOther) {
    ReceptionLog log;
    log.record({{1, 0, 2}}, Time(0));
    EXPECT_EQ(log.oldest({{1, 0, 2}}), Time(0));
}

}  // namespace
}  // namespace ac500::host
