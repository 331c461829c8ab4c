// What is told to a broker, and when.
#include "tools/broker/report_filter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/broker/broker_tags.h"

namespace ac500::test {
namespace {

using broker::Report;
using broker::ReportFilter;
using broker::ReportTerms;
using host::HostValues;
using host::Milliseconds;
using host::Time;
using host::ValueState;

constexpr std::int64_t kStartUtcMs = 1763852400000;

// A filter of one tag, to which things happen at times in ms.
class Watched {
public:
    explicit Watched(const std::string& tag, ReportTerms terms = {}) : tag_(brokerTag(tag)), filter_({{tag_, terms}}) {}

    // Received at `atMs`, seen at once: what is told then, as texts of the values; "-" for a state alone.
    std::vector<std::string> receive(int atMs, const HostValues& values, ValueState state = ValueState::Fresh) {
        host::TagValue value;
        value.state = state;
        value.isKnown = !values.empty();
        value.values = values;
        value.received = Milliseconds(atMs);
        filter_.see(0, value, Milliseconds(atMs), kStartUtcMs + atMs);
        return take(atMs);
    }
    std::vector<std::string> receiveAgain(int atMs) {
        filter_.seeReception(0, Milliseconds(atMs), Milliseconds(atMs), kStartUtcMs + atMs);
        return take(atMs);
    }
    std::vector<std::string> take(int atMs) {
        std::vector<std::string> told;
        for (const Report& report : filter_.take(Milliseconds(atMs))) {
            const host::ValueForm form = tag_.form;
            told.push_back(report.values.empty() ? "-" : formatValues(form, report.values));
            last_ = report;
        }
        return told;
    }
    std::optional<Time> whenNext() const { return filter_.whenNext(); }
    const Report& last() const { return last_; }
    ReportFilter& filter() { return filter_; }

private:
    const host::Tag tag_;
    ReportFilter filter_;
    Report last_;
};

ReportTerms deadBand(double band) {
    return {band, Milliseconds(0), Milliseconds(0)};
}

HostValues real(float value) {
    return {value};
}

HostValues number(std::int64_t value) {
    return {value};
}

using testing::ElementsAre;
using testing::IsEmpty;

TEST(ReportFilterTest, FirstValueIsToldAndTheSameIsNotToldAgain) {
    Watched level("Main.level");
    EXPECT_THAT(level.receive(0, real(21.5F)), ElementsAre("21.5"));
    EXPECT_EQ(level.last().receivedUtcMs, kStartUtcMs);
    EXPECT_THAT(level.receive(100, real(21.5F)), IsEmpty());
    EXPECT_THAT(level.receive(200, real(21.6F)), ElementsAre("21.6"));
    EXPECT_EQ(level.last().receivedUtcMs, kStartUtcMs + 200);
}

TEST(ReportFilterTest, NothingReceivedNothingTold) {
    Watched level("Main.level", {0, Milliseconds(0), Milliseconds(1000)});
    host::TagValue never;
    level.filter().see(0, never, Time(0), kStartUtcMs);
    EXPECT_THAT(level.take(5000), IsEmpty());
    never.state = ValueState::WritePending;
    level.filter().see(0, never, Time(0), kStartUtcMs);
    level.filter().seeReception(0, std::nullopt, Time(0), kStartUtcMs);
    EXPECT_THAT(level.take(10000), IsEmpty());
    EXPECT_EQ(level.whenNext(), std::nullopt);
}

TEST(ReportFilterTest, SlowRampArrivesInStepsOfMoreThanTheDeadBand) {
    Watched count("Main.count", deadBand(5));
    std::vector<std::string> told;
    for (int i = 0; i <= 20; ++i) {
        for (const std::string& value : count.receive(i * 100, number(i))) {
            told.push_back(value);
        }
    }
    EXPECT_THAT(told, ElementsAre("0", "6", "12", "18"));
}

TEST(ReportFilterTest, StepsOfATenthAgainstADeadBandOfATenthTellEachSecond) {
    Watched level("Main.level", deadBand(0.1));
    std::vector<std::string> told;
    for (const float value : {0.0F, 0.1F, 0.2F, 0.3F, 0.4F, 0.5F, 0.6F, 0.7F, 0.8F, 0.9F, 1.0F}) {
        for (const std::string& text : level.receive(0, real(value))) {
            told.push_back(text);
        }
    }
    EXPECT_THAT(told, ElementsAre("0", "0.2", "0.4", "0.6", "0.8", "1"));
}

TEST(ReportFilterTest, StepsOfATenthDownFromAThousandDoTheSameInDoubles) {
    Watched exact("Main.exact", deadBand(0.1));
    std::vector<double> told;
    for (int i = 0; i <= 10; ++i) {
        exact.receive(0, {1000.0 - 0.1 * i});
        if (!exact.last().values.empty()) {
            told.push_back(std::round(std::get<double>(exact.last().values[0]) * 10));
        }
    }
    EXPECT_THAT(told, ElementsAre(10000, 10000, 9998, 9998, 9996, 9996, 9994, 9994, 9992, 9992, 9990));
}

TEST(ReportFilterTest, DeadBandIsInTheUnitOfThePlant) {
    Watched celsius("Main.celsius", deadBand(0.5));
    EXPECT_THAT(celsius.receive(0, number(600)), ElementsAre("600"));
    EXPECT_THAT(celsius.receive(1, number(605)), IsEmpty());
    EXPECT_THAT(celsius.receive(2, number(606)), ElementsAre("606"));
    EXPECT_THAT(celsius.receive(3, number(601)), IsEmpty());
    EXPECT_THAT(celsius.receive(4, number(600)), ElementsAre("600"));
}

TEST(ReportFilterTest, WholeNumbersBeyondDoublesAreComparedExactly) {
    Watched big("Main.big", deadBand(1));
    constexpr std::int64_t kBig = 9007199254740993;
    EXPECT_THAT(big.receive(0, number(kBig)), ElementsAre("9007199254740993"));
    EXPECT_THAT(big.receive(1, number(kBig + 1)), IsEmpty());
    EXPECT_THAT(big.receive(2, number(kBig + 2)), ElementsAre("9007199254740995"));
    EXPECT_THAT(big.receive(3, number(std::numeric_limits<std::int64_t>::min())), ElementsAre("-9223372036854775808"));
    EXPECT_THAT(big.receive(4, number(std::numeric_limits<std::int64_t>::max())), ElementsAre("9223372036854775807"));
}

TEST(ReportFilterTest, NoNumberPassesOnceAndSoDoesTheNumberAfterIt) {
    Watched level("Main.level", {1000, Milliseconds(60000), Milliseconds(0)});
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    EXPECT_THAT(level.receive(0, real(1)), ElementsAre("1"));
    EXPECT_THAT(level.receive(1, real(nan)), ElementsAre("nan"));
    EXPECT_THAT(level.receive(2, real(-nan)), IsEmpty());
    EXPECT_THAT(level.receive(3, real(infinity)), ElementsAre("inf"));
    EXPECT_THAT(level.receive(4, real(infinity)), IsEmpty());
    EXPECT_THAT(level.receive(5, real(-infinity)), ElementsAre("-inf"));
    EXPECT_THAT(level.receive(6, real(1)), ElementsAre("1"));
}

TEST(ReportFilterTest, SmallestIntervalHoldsBackAndThenTellsTheLatest) {
    Watched count("Main.count", {0, Milliseconds(1000), Milliseconds(0)});
    EXPECT_THAT(count.receive(0, number(1)), ElementsAre("1"));
    EXPECT_THAT(count.receive(100, number(2)), IsEmpty());
    EXPECT_THAT(count.receive(900, number(3)), IsEmpty());
    EXPECT_EQ(count.whenNext(), Time(Milliseconds(1000)));
    EXPECT_THAT(count.take(999), IsEmpty());
    EXPECT_THAT(count.take(1000), ElementsAre("3"));
    EXPECT_EQ(count.last().received, Time(Milliseconds(900)));
    EXPECT_EQ(count.whenNext(), std::nullopt);
}

TEST(ReportFilterTest, WhatCameBackWithinTheSmallestIntervalIsNotTold) {
    Watched count("Main.count", {0, Milliseconds(1000), Milliseconds(0)});
    count.receive(0, number(1));
    count.receive(100, number(2));
    EXPECT_THAT(count.receive(200, number(1)), IsEmpty());
    EXPECT_THAT(count.take(2000), IsEmpty());
    EXPECT_EQ(count.whenNext(), std::nullopt);
}

TEST(ReportFilterTest, BooleansBitsTextsAndNamesPassAtOnce) {
    const ReportTerms slow{1000, Milliseconds(60000), Milliseconds(0)};
    Watched on("Main.on", slow);
    EXPECT_THAT(on.receive(0, {false}), ElementsAre("FALSE"));
    EXPECT_THAT(on.receive(1, {true}), ElementsAre("TRUE"));
    Watched bit("Main.word.b[3]", slow);
    EXPECT_THAT(bit.receive(0, {false}), ElementsAre("0"));
    EXPECT_THAT(bit.receive(1, {true}), ElementsAre("1"));
    Watched name("Main.name", slow);
    EXPECT_THAT(name.receive(0, {std::string("a")}), ElementsAre("\"a\""));
    EXPECT_THAT(name.receive(1, {std::string("b")}), ElementsAre("\"b\""));
    Watched mode("Main.mode", slow);
    EXPECT_THAT(mode.receive(0, {std::uint64_t{0}}), ElementsAre("0"));
    EXPECT_THAT(mode.receive(1, {std::uint64_t{2}}), ElementsAre("2"));
}

TEST(ReportFilterTest, EachChangeOfStatePassesAtOnce) {
    Watched count("Main.count", {1000, Milliseconds(60000), Milliseconds(0)});
    count.receive(0, number(1));
    EXPECT_THAT(count.receive(10, number(1), ValueState::WritePending), ElementsAre("1"));
    EXPECT_EQ(count.last().state, ValueState::WritePending);
    EXPECT_THAT(count.receive(20, number(2)), ElementsAre("2"));
    EXPECT_THAT(count.receive(20, number(2), ValueState::Stale), ElementsAre("2"));
    EXPECT_THAT(count.receive(20, number(2), ValueState::Stale), IsEmpty());
}

TEST(ReportFilterTest, SuspectIsToldAsAStateWithoutAValue) {
    Watched count("Main.count");
    count.receive(0, number(1));
    EXPECT_THAT(count.receive(10, number(2), ValueState::Suspect), ElementsAre("-"));
    EXPECT_EQ(count.last().state, ValueState::Suspect);
    EXPECT_THAT(count.receive(20, number(3), ValueState::Suspect), IsEmpty());
    EXPECT_THAT(count.receive(30, number(1)), ElementsAre("1"));
    EXPECT_EQ(count.last().state, ValueState::Fresh);
}

TEST(ReportFilterTest, LargestIntervalRepeatsWhatWasReceivedAgainWithThatTime) {
    Watched count("Main.count", {5, Milliseconds(0), Milliseconds(1000)});
    count.receive(0, number(1));
    EXPECT_THAT(count.receiveAgain(500), IsEmpty());
    EXPECT_EQ(count.whenNext(), Time(Milliseconds(1000)));
    EXPECT_THAT(count.take(1000), ElementsAre("1"));
    EXPECT_EQ(count.last().received, Time(Milliseconds(500)));
    EXPECT_EQ(count.last().receivedUtcMs, kStartUtcMs + 500);
    // Not received since: not repeated.
    EXPECT_EQ(count.whenNext(), std::nullopt);
    EXPECT_THAT(count.take(10000), IsEmpty());
    // What changed within the dead band is repeated as it is now.
    count.receive(10500, number(3));
    EXPECT_EQ(count.last().receivedUtcMs, kStartUtcMs + 10500);
    EXPECT_THAT(count.last().values, ElementsAre(host::HostValue(std::int64_t{3})));
}

TEST(ReportFilterTest, WithoutALargestIntervalNothingIsRepeated) {
    Watched count("Main.count");
    count.receive(0, number(1));
    EXPECT_THAT(count.receiveAgain(1000000), IsEmpty());
    EXPECT_EQ(count.whenNext(), std::nullopt);
}

TEST(ReportFilterTest, OneElementBeyondTheDeadBandTellsTheArray) {
    Watched recipe("Main.recipe", deadBand(5));
    EXPECT_THAT(recipe.receive(0, {std::int64_t{1}, std::int64_t{2}, std::int64_t{3}}), ElementsAre("1, 2, 3"));
    EXPECT_THAT(recipe.receive(1, {std::int64_t{6}, std::int64_t{7}, std::int64_t{8}}), IsEmpty());
    EXPECT_THAT(recipe.receive(2, {std::int64_t{6}, std::int64_t{7}, std::int64_t{9}}), ElementsAre("6, 7, 9"));
}

TEST(ReportFilterTest, TimeOfAReceptionStaysWhenTheClockSteps) {
    Watched count("Main.count");
    count.receive(0, number(1));
    host::TagValue stale;
    stale.state = ValueState::Stale;
    stale.isKnown = true;
    stale.values = number(1);
    stale.received = Time(0);
    count.filter().see(0, stale, Milliseconds(3000), kStartUtcMs + 3600000);
    EXPECT_THAT(count.take(3000), ElementsAre("1"));
    EXPECT_EQ(count.last().receivedUtcMs, kStartUtcMs);
}

TEST(ReportFilterTest, AllIsToldAgainWhenForgotten) {
    Watched count("Main.count");
    count.receive(0, number(1));
    count.filter().forget();
    EXPECT_THAT(count.take(10), ElementsAre("1"));
}

TEST(ReportFilterTest, NewTermsHoldAgainstWhatWasTold) {
    Watched count("Main.count", deadBand(100));
    count.receive(0, number(1));
    EXPECT_THAT(count.receive(10, number(5)), IsEmpty());
    count.filter().setTerms({deadBand(3)});
    EXPECT_THAT(count.take(20), ElementsAre("5"));
}

TEST(ReportFilterTest, NewLargestIntervalRepeatsNothingThatWasNotReceivedAgain) {
    Watched count("Main.count");
    count.receive(0, number(1));
    count.filter().setTerms({{0, Milliseconds(0), Milliseconds(1000)}});
    EXPECT_THAT(count.take(5000), IsEmpty());
    EXPECT_THAT(count.receiveAgain(5001), ElementsAre("1"));
}

TEST(ReportFilterTest, ReportsComeInTheOrderOfTheList) {
    ReportFilter filter({{brokerTag("Main.count"), {}}, {brokerTag("Main.on"), {}}, {brokerTag("Pump.speed"), {}}});
    host::TagValue value;
    value.state = ValueState::Fresh;
    value.isKnown = true;
    value.received = Time(0);
    value.values = number(1);
    filter.see(2, value, Time(0), kStartUtcMs);
    filter.see(0, value, Time(0), kStartUtcMs);
    const std::vector<Report> reports = filter.take(Time(0));
    ASSERT_EQ(reports.size(), 2u);
    EXPECT_EQ(reports[0].tag, 0u);
    EXPECT_EQ(reports[1].tag, 2u);
}

}  // namespace
}  // namespace ac500::test
