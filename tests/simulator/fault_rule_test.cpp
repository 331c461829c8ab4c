// The text form of fault rules.
#include "tools/simulator/fault_rule.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ac500::sim {
namespace {

using testing::HasSubstr;
using Trigger = FaultRule::Trigger;

FaultRule parsed(const char* text) {
    std::string error;
    const std::optional<FaultRule> rule = parseFaultRule(text, &error);
    EXPECT_TRUE(rule) << error;
    return rule.value_or(FaultRule());
}

TEST(FaultRule, AKindAloneHitsEveryReply) {
    const FaultRule rule = parsed("silence");
    EXPECT_EQ(rule.fault.kind, FaultKind::Silence);
    EXPECT_EQ(rule.fault.argument, 0);
    EXPECT_EQ(rule.trigger, Trigger::Always);
    EXPECT_EQ(rule.count, 0U);
    EXPECT_FALSE(rule.service);
}

TEST(FaultRule, EveryKindHasItsNumberAndName) {
    struct Row {
        const char* name;
        std::uint16_t number;
    };
    const Row rows[] = {
        {"delay", 1},     {"silence", 2}, {"late", 3},  {"truncate", 4}, {"length", 5},  {"status", 6},
        {"fragments", 7}, {"glue", 8},    {"reset", 9}, {"restart", 10}, {"repeat", 11},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(static_cast<std::uint16_t>(parsed(row.name).fault.kind), row.number) << row.name;
        ASSERT_NE(faultTraits(row.number), nullptr);
        EXPECT_STREQ(faultTraits(row.number)->name, row.name);
    }
    EXPECT_EQ(faultTraits(std::uint16_t{0}), nullptr);
    EXPECT_EQ(faultTraits(std::uint16_t{12}), nullptr);
}

TEST(FaultRule, ResetEveryFifty) {
    const FaultRule rule = parsed("reset:every=50");
    EXPECT_EQ(rule.fault.kind, FaultKind::Reset);
    EXPECT_EQ(rule.trigger, Trigger::Every);
    EXPECT_EQ(rule.number, 50U);
}

TEST(FaultRule, DelayOfSomeReads) {
    const FaultRule rule = parsed("delay:ms=200,rate=0.05,service=read");
    EXPECT_EQ(rule.fault.kind, FaultKind::Delay);
    EXPECT_EQ(rule.fault.argument, 200);
    EXPECT_EQ(rule.trigger, Trigger::Rate);
    EXPECT_EQ(rule.rate, 0.05);
    EXPECT_EQ(rule.service, Service::Read);
}

TEST(FaultRule, SilenceAtTheTenthForTwoReplies) {
    const FaultRule rule = parsed("silence:at=10,count=2");
    EXPECT_EQ(rule.trigger, Trigger::At);
    EXPECT_EQ(rule.number, 10U);
    EXPECT_EQ(rule.count, 2U);
}

TEST(FaultRule, AtAloneMeansOneReply) {
    EXPECT_EQ(parsed("silence:at=10").count, 1U);
}

TEST(FaultRule, ArgumentsByTheKeyOfTheirKind) {
    EXPECT_EQ(parsed("late:ms=5000").fault.argument, 5000);
    EXPECT_EQ(parsed("truncate:bytes=7").fault.argument, 7);
    EXPECT_EQ(parsed("length:bytes=-4").fault.argument, -4);
    EXPECT_EQ(parsed("status:value=0x0301").fault.argument, 0x0301);
    EXPECT_EQ(parsed("fragments:ms=3").fault.argument, 3);
    EXPECT_EQ(parsed("glue:copies=3").fault.argument, 3);
    EXPECT_EQ(parsed("repeat:ms=30").fault.argument, 30);
}

TEST(FaultRule, ServicesByName) {
    EXPECT_EQ(parsed("silence:service=hello").service, Service::Hello);
    EXPECT_EQ(parsed("silence:service=symbols").service, Service::Symbols);
    EXPECT_EQ(parsed("silence:service=read").service, Service::Read);
    EXPECT_EQ(parsed("silence:service=write").service, Service::Write);
}

TEST(FaultRule, ErrorsQuoteTheRuleAndSayWhatWouldBeRight) {
    struct Row {
        const char* text;
        const char* error;
    };
    const Row rows[] = {
        {"", "there is no fault \"\"; choose from delay, silence"},
        {"slow", "there is no fault \"slow\"; choose from delay, silence"},
        {"Delay", "there is no fault \"Delay\""},
        {"delay:", "\"\" is no key=value"},
        {"delay:ms", "\"ms\" is no key=value"},
        {"delay:ms=200,", "\"\" is no key=value"},
        {"delay:ms=0", "ms must be a number from 1 to 600000, not \"0\""},
        {"delay:ms=600001", "ms must be a number from 1 to 600000, not \"600001\""},
        {"delay:ms=fast", "not \"fast\""},
        {"delay:ms=", "not \"\""},
        {"length:bytes=0", "from -65535 to 65535 other than 0"},
        {"status:value=65536", "from 1 to 65535"},
        {"glue:copies=1", "from 2 to 16"},
        {"reset:ms=5", "reset has no key \"ms\"; it takes at, every, rate, count, service"},
        {"delay:bytes=5", "delay has no key \"bytes\"; it takes ms, at, every, rate, count, service"},
        {"reset:every=0", "every must be a whole number from 1 on, not \"0\""},
        {"reset:every=-1", "every must be a whole number from 1 on"},
        {"reset:count=x", "count must be a whole number from 1 on"},
        {"reset:rate=0", "rate must be above 0 and at most 1, not \"0\""},
        {"reset:rate=1.5", "rate must be above 0 and at most 1"},
        {"reset:rate=nan", "rate must be above 0 and at most 1"},
        {"reset:every=5,rate=0.5", "at, every and rate exclude each other"},
        {"reset:count=5,count=6", "count is given twice"},
        {"reset:service=ping", "service must be hello, symbols, read or write, not \"ping\""},
    };
    for (const Row& row : rows) {
        std::string error;
        EXPECT_FALSE(parseFaultRule(row.text, &error));
        EXPECT_THAT(error, HasSubstr(row.error)) << row.text;
        EXPECT_THAT(error, HasSubstr(std::string("fault rule \"") + row.text + "\": ")) << row.text;
    }
}

TEST(FaultRule, HelpNamesEveryKindAndKey) {
    const std::string help = faultRuleHelp();
    for (const char* word : {"delay",  "silence",  "late",    "truncate", "length", "status", "fragments",
                             "glue",   "reset",    "restart", "repeat",   "at=",    "every=", "rate=",
                             "count=", "service=", "ms=",     "bytes=",   "value=", "copies="}) {
        EXPECT_THAT(help, HasSubstr(word));
    }
}

}  // namespace
}  // namespace ac500::sim
