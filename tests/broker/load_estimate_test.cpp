// What is reckoned of a broker's load, against messages that are counted here.
#include "tools/broker/load_estimate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/broker/broker_tags.h"

namespace ac500::test {
namespace {

using broker::Batch;
using broker::LoadEstimate;
using broker::LoadQuestion;
using host::Milliseconds;
using testing::ElementsAre;

LoadQuestion questionOf(std::size_t tags, Batch batch = Batch::Pass) {
    LoadQuestion question;
    for (std::size_t i = 0; i < tags; ++i) {
        question.tags.push_back(
            {brokerTag("Main.on"), i % 2 == 0 ? "Main.on" : "Pump.on", i % 2 == 0 ? "Main" : "Pump"});
    }
    question.terms.resize(tags);
    question.format.topic = "plant/mixer";
    question.format.plc = "mixer";
    question.format.batch = batch;
    question.keep.file = "store";
    return question;
}

// {"version":1,"plc":"mixer","sequence":1000000000000,"pass":10000000000,"clock":"set","values":[]} and the topic, and
// {"tag":"Main.on","value":false,"state":"fresh","time":"2027-01-15T08:00:00.000Z","uptime":315360000000} with a comma.
constexpr double kAround = 97 + 18;
constexpr double kEach = 104;

TEST(LoadEstimateTest, OneMessageForEachPass) {
    const LoadEstimate estimate = estimateLoad(questionOf(20));
    EXPECT_EQ(estimate.everything.tags, 20u);
    EXPECT_DOUBLE_EQ(estimate.everything.messagesPerSecond, 10);
    EXPECT_NEAR(estimate.everything.bytesPerSecond, 10 * (kAround + 20 * kEach - 1), 0.01);
    EXPECT_EQ(estimate.tenth.tags, 2u);
    EXPECT_DOUBLE_EQ(estimate.tenth.messagesPerSecond, 10);
    EXPECT_NEAR(estimate.tenth.bytesPerSecond, 10 * (kAround + 2 * kEach - 1), 0.01);
    EXPECT_EQ(estimate.largestMessage, static_cast<std::size_t>(kAround + 20 * kEach - 1));
    EXPECT_EQ(estimate.tooLarge, 0u);
}

TEST(LoadEstimateTest, BatchesMakeTheMessages) {
    EXPECT_DOUBLE_EQ(estimateLoad(questionOf(20, Batch::Scope)).everything.messagesPerSecond, 20);
    LoadQuestion question = questionOf(2, Batch::Tag);
    EXPECT_DOUBLE_EQ(estimateLoad(question).everything.messagesPerSecond, 20);
}

TEST(LoadEstimateTest, CutMessagesCountEach) {
    LoadQuestion question = questionOf(20);
    question.format.largestMessage = 1200;  // ten of them and what is around
    EXPECT_DOUBLE_EQ(estimateLoad(question).everything.messagesPerSecond, 20);
}

TEST(LoadEstimateTest, SmallestIntervalsSlowItDown) {
    LoadQuestion question = questionOf(20);
    for (broker::ReportTerms& terms : question.terms) {
        terms.smallestInterval = Milliseconds(1000);
    }
    EXPECT_DOUBLE_EQ(estimateLoad(question).everything.messagesPerSecond, 1);
    EXPECT_NEAR(estimateLoad(question).everything.bytesPerSecond, kAround + 20 * kEach - 1, 0.01);
    question.terms[0].smallestInterval = Milliseconds(0);
    EXPECT_DOUBLE_EQ(estimateLoad(question).everything.messagesPerSecond, 10);
}

TEST(LoadEstimateTest, StoreLastsUntilItsBytesOrItsDaysAreOver) {
    LoadQuestion question = questionOf(20);
    question.keep.bytes = 1000000;
    const LoadEstimate estimate = estimateLoad(question);
    EXPECT_NEAR(estimate.everything.keptSeconds, 1000000 / (10 * (kAround + 20 * kEach - 1 + 64)), 0.01);
    question.keep.bytes = 1000000000000;
    EXPECT_DOUBLE_EQ(estimateLoad(question).everything.keptSeconds, 7 * 86400);
    question.keep.file = "";
    question.keep.memoryBytes = 65536;
    EXPECT_NEAR(estimateLoad(question).everything.keptSeconds, 65536 / (10 * (kAround + 20 * kEach - 1 + 64)), 0.01);
}

TEST(LoadEstimateTest, WhatFitsNoMessageIsTold) {
    LoadQuestion question = questionOf(1);
    question.tags.push_back({brokerTag("Main.name"), std::string(1000, 'n'), "Main"});
    question.terms.resize(2);
    question.format.largestMessage = 1024;
    const LoadEstimate estimate = estimateLoad(question);
    EXPECT_EQ(estimate.tooLarge, 1u);
    EXPECT_THAT(loadLines(question, estimate),
                ElementsAre(testing::StartsWith("broker: all 2 tags changing in each pass: 10.0 messages and "),
                            testing::StartsWith("broker: a tenth of them, 1: 10.0 messages and "),
                            "broker: the largest message has 218 bytes with its topic; 1024 are allowed",
                            "broker: 1 tags do not fit a message even alone, and would be told as gaps; raise "
                            "\"largestMessage\""));
}

TEST(LoadEstimateTest, NothingToPublishIsNoLoad) {
    const LoadEstimate estimate = estimateLoad(questionOf(0));
    EXPECT_DOUBLE_EQ(estimate.everything.messagesPerSecond, 0);
    EXPECT_DOUBLE_EQ(estimate.everything.keptSeconds, 7 * 86400);
}

}  // namespace
}  // namespace ac500::test
