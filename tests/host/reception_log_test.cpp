#include "tools/host/reception_log.h"

#include <gtest/gtest.h>

namespace ac500::host {
namespace {

constexpr Time kEarly{1000};
constexpr Time kLate{2000};

std::optional<Time> oldest(const ReceptionLog& log, const std::vector<ByteRun>& runs) {
    const std::optional<Reception> reception = log.reception(runs);
    return reception ? std::optional<Time>(reception->oldest) : std::nullopt;
}

TEST(ReceptionLog, KnowsNothingAtFirst) {
    EXPECT_EQ(oldest(ReceptionLog(), {{1, 0, 1}}), std::nullopt);
}

TEST(ReceptionLog, AnEmptyRunCountsAsNeverReceived) {
    ReceptionLog log;
    log.record({{1, 0, 4}}, kEarly);
    EXPECT_EQ(oldest(log, {{1, 0, 0}}), std::nullopt);
    EXPECT_EQ(oldest(log, {}), std::nullopt);
}

TEST(ReceptionLog, AValueIsAsOldAsItsOldestByte) {
    ReceptionLog log;
    log.record({{1, 10, 4}}, kEarly);
    log.record({{1, 12, 2}}, kLate);
    EXPECT_EQ(oldest(log, {{1, 10, 4}}), kEarly);
    EXPECT_EQ(oldest(log, {{1, 12, 2}}), kLate);
    EXPECT_EQ(oldest(log, {{1, 12, 2}, {1, 11, 1}}), kEarly);
}

TEST(ReceptionLog, OneMissingByteMakesTheValueUnknown) {
    ReceptionLog log;
    log.record({{1, 10, 4}}, kEarly);
    EXPECT_EQ(oldest(log, {{1, 9, 2}}), std::nullopt);
    EXPECT_EQ(oldest(log, {{1, 13, 2}}), std::nullopt);
    EXPECT_EQ(oldest(log, {{1, 10, 4}}), kEarly);
}

TEST(ReceptionLog, AreasAreSeparate) {
    ReceptionLog log;
    log.record({{1, 0, 8}}, kEarly);
    EXPECT_EQ(oldest(log, {{2, 0, 8}}), std::nullopt);
}

TEST(ReceptionLog, ARunMayCrossPages) {
    ReceptionLog log;
    log.record({{1, 250, 600}}, kEarly);
    EXPECT_EQ(oldest(log, {{1, 250, 600}}), kEarly);
    EXPECT_EQ(oldest(log, {{1, 249, 2}}), std::nullopt);
    EXPECT_EQ(oldest(log, {{1, 849, 2}}), std::nullopt);
    EXPECT_EQ(oldest(log, {{1, 255, 2}}), kEarly);
}

TEST(ReceptionLog, TimeZeroIsATimeLikeAnyOther) {
    ReceptionLog log;
    log.record({{1, 0, 2}}, Time(0));
    EXPECT_EQ(oldest(log, {{1, 0, 2}}), Time(0));
}

TEST(ReceptionLog, AValueIsAsNewAsItsNewestByte) {
    ReceptionLog log;
    log.record({{1, 10, 4}}, kEarly);
    log.record({{1, 12, 300}}, kLate);
    EXPECT_EQ(log.reception({{1, 10, 4}})->newest, kLate);
    EXPECT_EQ(log.reception({{1, 10, 2}})->newest, kEarly);
    EXPECT_EQ(log.reception({{1, 10, 2}, {1, 300, 4}})->newest, kLate);
}

TEST(ReceptionLog, WhatWasRecordedSinceTheLineWasInStepIsToldFromWhatWasBefore) {
    ReceptionLog log;
    log.record({{1, 0, 2}}, kEarly);
    EXPECT_TRUE(log.isUnconfirmed(*log.reception({{1, 0, 2}})));
    log.confirm();
    EXPECT_FALSE(log.isUnconfirmed(*log.reception({{1, 0, 2}})));
    log.record({{1, 2, 2}}, kLate);
    EXPECT_FALSE(log.isUnconfirmed(*log.reception({{1, 0, 2}})));
    EXPECT_TRUE(log.isUnconfirmed(*log.reception({{1, 1, 2}})));
}

TEST(ReceptionLog, WhatWasNotInStepIsForgottenAlsoWhereOlderBytesWere) {
    ReceptionLog log;
    log.record({{1, 0, 8}}, kEarly);
    log.confirm();
    log.record({{1, 4, 8}}, kLate);
    log.discard();
    EXPECT_EQ(oldest(log, {{1, 0, 4}}), kEarly);
    EXPECT_EQ(oldest(log, {{1, 3, 2}}), std::nullopt) << "the image has the doubtful bytes in their place";
    EXPECT_EQ(oldest(log, {{1, 8, 4}}), std::nullopt);
    log.discard();
    EXPECT_EQ(oldest(log, {{1, 0, 4}}), kEarly);
}

TEST(ReceptionLog, WhatIsForgottenIsUnknownUntilItComesAgain) {
    ReceptionLog log;
    log.record({{1, 0, 8}}, kEarly);
    log.forget({{1, 2, 2}, {2, 0, 2}});
    EXPECT_EQ(oldest(log, {{1, 0, 8}}), std::nullopt);
    EXPECT_EQ(oldest(log, {{1, 4, 4}}), kEarly);
    log.record({{1, 2, 2}}, kLate);
    EXPECT_EQ(oldest(log, {{1, 0, 8}}), kEarly);
}

}  // namespace
}  // namespace ac500::host
