// Which commands become writes, and why others do not.
#include "tools/broker/command_desk.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/broker/broker_tags.h"
#include "tests/support/json_schema.h"
#include "tools/broker/message_format.h"

namespace ac500::test {
namespace {

using broker::CommandDesk;
using broker::CommandOrder;
using broker::CommandRefusal;
using host::HostValue;
using host::Milliseconds;
using testing::ElementsAre;

constexpr std::int64_t kStartedMs = 1795388400000;  // 2026-11-22T23:00:00Z
constexpr std::int64_t kNowMs = kStartedMs + 60000;

CommandDesk desk() {
    std::vector<CommandDesk::DeskTag> tags;
    std::size_t number = 0;
    for (const char* name : {"Main.level", "Main.count", "Main.on", "Main.word", "Main.name", "Main.celsius",
                             "Main.big", "Main.mode", "Main.recipe", "Main.texts", "Main.lamps"}) {
        tags.push_back({brokerTag(name), name, number++, true});
    }
    tags.push_back({brokerTag("Pump.speed"), "Pump.speed", number, false});
    return {tags, kStartedMs};
}

CommandDesk::Arrival arrivalOf(const std::string& payload) {
    CommandDesk::Arrival arrival;
    arrival.payload = payload;
    arrival.utcMs = kNowMs;
    return arrival;
}

// A command that is right but for what `more` says.
std::string command(const std::string& tag, const std::string& value, const std::string& more = "") {
    return R"({"id":"a-1","tag":")" + tag + R"(","value":)" + value + R"(,"issued":"2026-11-22T23:01:00Z")" + more +
           "}";
}

std::string refusalOf(CommandDesk& desk, const CommandDesk::Arrival& arrival) {
    const auto judged = desk.judge(arrival);
    const auto* refusal = std::get_if<CommandRefusal>(&judged);
    return refusal == nullptr ? "taken" : refusal->reason;
}

std::string refusalOf(const std::string& payload) {
    CommandDesk one = desk();
    return refusalOf(one, arrivalOf(payload));
}

CommandOrder orderOf(const std::string& payload) {
    CommandDesk one = desk();
    const auto judged = one.judge(arrivalOf(payload));
    if (const auto* refusal = std::get_if<CommandRefusal>(&judged)) {
        ADD_FAILURE() << refusal->reason;
        return {};
    }
    return std::get<CommandOrder>(judged);
}

TEST(CommandDeskTest, RightCommandIsAnOrder) {
    const std::string payload =
        R"({"id":"a-1","tag":"Main.count","value":5,"old":4,"issued":"2026-11-22T23:00:59.000Z","expires":3000})";
    EXPECT_EQ(outputComplaints("broker-command", payload), "");
    const CommandOrder order = orderOf(payload);
    EXPECT_EQ(order.id, "a-1");
    EXPECT_EQ(order.tag, 1u);
    EXPECT_THAT(order.values, ElementsAre(HostValue(std::int64_t{5})));
    ASSERT_TRUE(order.replaces);
    EXPECT_THAT(*order.replaces, ElementsAre(HostValue(std::int64_t{4})));
    EXPECT_EQ(order.expires, Milliseconds(2000));
}

TEST(CommandDeskTest, WithoutExpiryItHasFiveSeconds) {
    EXPECT_EQ(orderOf(command("Main.count", "5")).expires, Milliseconds(5000));
    EXPECT_EQ(orderOf(command("Main.count", "5")).replaces, std::nullopt);
}

TEST(CommandDeskTest, ValuesAreTakenAsJsonAndAsTyped) {
    EXPECT_THAT(orderOf(command("Main.level", "21.5")).values, ElementsAre(HostValue(21.5F)));
    EXPECT_THAT(orderOf(command("Main.level", "\"21.5 m\"")).values, ElementsAre(HostValue(21.5F)));
    EXPECT_THAT(orderOf(command("Main.on", "true")).values, ElementsAre(HostValue(true)));
    EXPECT_THAT(orderOf(command("Main.on", "\"FALSE\"")).values, ElementsAre(HostValue(false)));
    EXPECT_THAT(orderOf(command("Main.word", "\"16#FF\"")).values, ElementsAre(HostValue(std::uint64_t{255})));
    EXPECT_THAT(orderOf(command("Main.celsius", "21.5")).values, ElementsAre(HostValue(std::int64_t{615})));
    EXPECT_THAT(orderOf(command("Main.mode", "\"automatic\"")).values, ElementsAre(HostValue(std::uint64_t{2})));
    EXPECT_THAT(orderOf(command("Main.big", "9007199254740993")).values,
                ElementsAre(HostValue(std::int64_t{9007199254740993})));
    EXPECT_THAT(orderOf(command("Main.recipe", "[1,\"2\",3]")).values,
                ElementsAre(HostValue(std::int64_t{1}), HostValue(std::int64_t{2}), HostValue(std::int64_t{3})));
    EXPECT_THAT(orderOf(command("Main.recipe", "\"1, 2, 3\"")).values,
                ElementsAre(HostValue(std::int64_t{1}), HostValue(std::int64_t{2}), HostValue(std::int64_t{3})));
    EXPECT_THAT(orderOf(command("Main.lamps", "[true,false]")).values, ElementsAre(HostValue(true), HostValue(false)));
}

TEST(CommandDeskTest, TextsAreTakenToTheLetter) {
    for (const char* text : {"plain", "\"quoted\"", "a,b", "back\\slash", "tab\there", " blanks ", ""}) {
        const std::string json = nlohmann::json(text).dump();
        EXPECT_THAT(orderOf(command("Main.name", json)).values, ElementsAre(HostValue(std::string(text)))) << text;
    }
    EXPECT_THAT(orderOf(command("Main.texts", R"(["a,b","\"c\""])")).values,
                ElementsAre(HostValue(std::string("a,b")), HostValue(std::string("\"c\""))));
}

TEST(CommandDeskTest, OffWithoutTags) {
    CommandDesk off({{brokerTag("Main.count"), "Main.count", 0, false}}, kStartedMs);
    EXPECT_EQ(refusalOf(off, arrivalOf(command("Main.count", "5"))),
              "commands are off; the settings of the gateway name the tags that are taken");
}

TEST(CommandDeskTest, RetainedIsRefusedWithItsId) {
    CommandDesk::Arrival arrival = arrivalOf(command("Main.count", "5"));
    arrival.isRetained = true;
    CommandDesk one = desk();
    const auto judged = one.judge(arrival);
    const auto& refusal = std::get<CommandRefusal>(judged);
    EXPECT_EQ(refusal.id, "a-1");
    EXPECT_EQ(refusal.reason, "it is a retained message, which may be of any age; send commands without retain");
}

TEST(CommandDeskTest, RepeatedIsRefusedForAsLongAsItCouldBeTaken) {
    CommandDesk one = desk();
    EXPECT_EQ(refusalOf(one, arrivalOf(command("Main.count", "5"))), "taken");
    EXPECT_EQ(refusalOf(one, arrivalOf(command("Main.count", "5"))), "its id was used by another command");
    CommandDesk::Arrival later =
        arrivalOf(R"({"id":"a-1","tag":"Main.count","value":6,"issued":"2026-11-22T23:01:59Z","expires":60000})");
    later.utcMs = kNowMs + 59000;
    EXPECT_EQ(refusalOf(one, later), "its id was used by another command");
}

TEST(CommandDeskTest, IdsAreForgottenWhenNoCommandCouldBeThatOld) {
    CommandDesk one = desk();
    EXPECT_EQ(refusalOf(one, arrivalOf(command("Main.count", "5"))), "taken");
    CommandDesk::Arrival later =
        arrivalOf(R"({"id":"a-1","tag":"Main.count","value":6,"issued":"2026-11-22T23:03:10.001Z"})");
    later.utcMs = kNowMs + 130001;
    EXPECT_EQ(refusalOf(one, later), "taken");
}

TEST(CommandDeskTest, MoreIdsThanAreKeptAreRefused) {
    CommandDesk one = desk();
    for (int i = 0; i < 10000; ++i) {
        const std::string payload =
            R"({"id":")" + std::to_string(i) + R"(","tag":"Main.count","value":5,"issued":"2026-11-22T23:01:00Z"})";
        ASSERT_EQ(refusalOf(one, arrivalOf(payload)), "taken");
    }
    EXPECT_EQ(refusalOf(one, arrivalOf(command("Main.count", "5"))),
              "there were 10000 commands within two minutes; wait");
}

TEST(CommandDeskTest, ExpiryOfACommandFromTheFutureIsHeldAtTheLongest) {
    CommandDesk one = desk();
    CommandDesk::Arrival early = arrivalOf(command("Main.count", "5", ",\"expires\":60000"));
    early.utcMs = kNowMs - 4000;
    const auto judged = one.judge(early);
    EXPECT_EQ(std::get<CommandOrder>(judged).expires, Milliseconds(60000));
}

TEST(CommandDeskTest, RefusedCommandDoesNotUseItsId) {
    CommandDesk one = desk();
    EXPECT_NE(refusalOf(one, arrivalOf(command("Main.count", "\"x\""))), "taken");
    EXPECT_EQ(refusalOf(one, arrivalOf(command("Main.count", "5"))), "taken");
}

TEST(CommandDeskTest, TimesAreJudged) {
    CommandDesk one = desk();
    CommandDesk::Arrival arrival = arrivalOf(command("Main.count", "5"));
    arrival.utcMs = kNowMs + 5000;
    EXPECT_EQ(refusalOf(one, arrival), "it expired 0 ms ago");
    arrival.utcMs = kNowMs - 5001;
    EXPECT_EQ(refusalOf(one, arrival), "it was issued 5001 ms in the future; set the clocks");
    arrival.isClockSet = false;
    EXPECT_EQ(refusalOf(one, arrival), "the clock of the gateway is not set, so that nobody knows how old it is");
    EXPECT_EQ(
        refusalOf(R"({"id":"a","tag":"Main.count","value":5,"issued":"2026-11-22T22:59:59.999Z","expires":60000})"),
        "it was issued before this gateway started");
    arrival.isClockSet = true;
    arrival.utcMs = kNowMs - 5000;
    EXPECT_EQ(refusalOf(one, arrival), "taken");
}

TEST(CommandDeskTest, TagsAreJudged) {
    EXPECT_EQ(refusalOf(command("Main.nothing", "5")), "\"Main.nothing\" is none of the tags that this gateway reads");
    EXPECT_EQ(refusalOf(command("Pump.speed", "5")),
              "Pump.speed is not written by commands; the settings name the tags that are (broker.commands.tags)");
    CommandDesk one = desk();
    CommandDesk::Arrival other = arrivalOf(command("Main.count", "5"));
    other.isOtherProgram = true;
    EXPECT_EQ(refusalOf(one, other), "the PLC has another program than the symbols describe, or may have");
}

TEST(CommandDeskTest, ValuesAreJudged) {
    EXPECT_THAT(refusalOf(command("Main.count", "40000")), testing::StartsWith("value: "));
    EXPECT_THAT(refusalOf(command("Main.celsius", "120.1")), testing::HasSubstr("above the largest value, 120"));
    EXPECT_THAT(refusalOf(command("Main.recipe", "[1,2]")), testing::HasSubstr("3 element(s), and 2 were given"));
    EXPECT_THAT(refusalOf(command("Main.recipe", "[\"1,2\",3,4]")), testing::StartsWith("value: "));
    EXPECT_THAT(refusalOf(command("Main.count", "5", ",\"old\":\"x\"")), testing::StartsWith("old: "));
    EXPECT_THAT(refusalOf(command("Main.count", "null")), testing::StartsWith("value: is no value"));
    EXPECT_THAT(refusalOf(command("Main.count", "[]")), testing::StartsWith("value: is no value"));
    EXPECT_THAT(refusalOf(command("Main.recipe", "[[1],2,3]")), testing::StartsWith("value: is no value"));
}

TEST(CommandDeskTest, WrongBytesAreRefusedInWords) {
    EXPECT_THAT(refusalOf(""), testing::StartsWith("it is no JSON: "));
    EXPECT_THAT(refusalOf("{\"id\":"), testing::StartsWith("it is no JSON: "));
    EXPECT_THAT(refusalOf(std::string(1000, '[')), testing::StartsWith("it is no JSON: "));
    EXPECT_EQ(refusalOf(std::string(16385, ' ')), "a command has at most 16384 bytes, this one 16385");
    EXPECT_NE(refusalOf("[]"), "taken");
    EXPECT_THAT(refusalOf(R"({"tag":"Main.count","value":5,"issued":"2026-11-22T23:01:00Z"})"),
                testing::HasSubstr("give a text that no other command has"));
    EXPECT_THAT(refusalOf(command("Main.count", "5", ",\"id\":\"b\"")), testing::Not("taken"));
    EXPECT_THAT(refusalOf(command("Main.count", "5", ",\"force\":true")), testing::HasSubstr("force"));
    EXPECT_THAT(refusalOf(command("Main.count", "5", ",\"expires\":99")), testing::StartsWith("expires: "));
    EXPECT_THAT(refusalOf(command("Main.count", "5", ",\"expires\":60001")), testing::StartsWith("expires: "));
    EXPECT_THAT(refusalOf(R"({"id":"a","tag":"Main.count","value":5,"issued":"yesterday"})"),
                testing::HasSubstr("is no time in UTC"));
}

TEST(CommandDeskTest, IdsArePrintableAndShort) {
    for (const std::string& id : {std::string(), std::string(65, 'a'), std::string("a\\nb"), std::string("\xC3\xBC")}) {
        EXPECT_THAT(refusalOf(R"({"id":")" + id + R"(","tag":"Main.count","value":5,"issued":"2026-11-22T23:01:00Z"})"),
                    testing::StartsWith("id: has 1 to 64 printable characters"));
    }
}

TEST(CommandDeskTest, OutcomesKeepTheirSchema) {
    EXPECT_EQ(broker::outcomeJson("a-1", host::WriteOutcome::Done, ""),
              R"({"version":1,"id":"a-1","outcome":"done","text":""})");
    const std::string refused = broker::outcomeJson(CommandRefusal{"", "it is no JSON: \xFF"});
    EXPECT_EQ(refused, "{\"version\":1,\"id\":null,\"outcome\":\"refused\",\"text\":\"it is no JSON: \xEF\xBF\xBD\"}");
    for (const std::string& json : {refused, broker::outcomeJson("a", host::WriteOutcome::NotSent, "x"),
                                    broker::outcomeJson("a", host::WriteOutcome::Unknown, "x"),
                                    broker::outcomeJson("a", host::WriteOutcome::Refused, "x")}) {
        EXPECT_EQ(outputComplaints("broker-outcome", json), "");
    }
}

}  // namespace
}  // namespace ac500::test
