#include "tools/host/via/message.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/end_to_end/plant.h"

namespace ac500 {
namespace {

using host::Failure;
using host::FailureKind;
using host::Tag;
using host::TagValue;
using host::ValueState;
using host::WriteOutcome;
using via::Json;

class MessageTest : public testing::Test {
protected:
    Tag tag(const std::string& name) const {
        std::string error;
        const std::optional<Tag> found = table.find(name, &error);
        EXPECT_TRUE(found) << error;
        return found.value_or(Tag());
    }

    const host::TagTable table{programOf(kProgram)};
};

TEST_F(MessageTest, AValueIsAsItWas) {
    TagValue value;
    value.state = ValueState::WriteFailed;
    value.isKnown = true;
    value.values = {0.1F};
    value.received = host::Time(123456789);
    value.failure = {FailureKind::Tcp, "gone"};
    value.suspicion = {FailureKind::Program, "another"};
    const Json json = via::jsonOf(tag("Main.real"), value);
    EXPECT_EQ(json.dump(), R"({"failure":{"kind":"tcp","text":"gone"},"received":123456789,"state":"write failed",)"
                           R"("suspicion":{"kind":"program","text":"another"},"values":"0.1"})");
    const std::optional<TagValue> back = via::valueOf(tag("Main.real"), json);
    ASSERT_TRUE(back);
    EXPECT_EQ(back->state, ValueState::WriteFailed);
    EXPECT_TRUE(back->isKnown);
    EXPECT_TRUE(host::sameValues(back->values, value.values));
    EXPECT_EQ(back->received, host::Time(123456789));
    EXPECT_EQ(back->failure.kind, FailureKind::Tcp);
    EXPECT_EQ(back->suspicion.text, "another");
}

TEST_F(MessageTest, ValuesOfEveryTypeComeThroughExactly) {
    const std::pair<const char*, const char*> rows[] = {
        {"Main.bool", "TRUE"},
        {"Main.lint", "-9223372036854775808"},
        {"Main.ulint", "18446744073709551615"},
        {"Main.lreal", "0.1"},
        {"Main.lreal", "nan"},
        {"Main.lreal", "-inf"},
        {"Main.word", "0xBEEF"},
        {"Main.time", "T#59m59s999ms"},
        {"Main.string", "a \"b\", \\x01"},
        {"Main.string", "\xc3\xa4"},
        {"Main.ints[1..3]", "1, -2, 3"},
        {"Main.word.b[3]", "1"},
    };
    for (const auto& [name, text] : rows) {
        std::string error;
        TagValue value;
        value.state = ValueState::Fresh;
        value.isKnown = true;
        const std::optional<host::HostValues> values =
            host::parseValues(tag(name).form, tag(name).elements, text, &error);
        ASSERT_TRUE(values) << name << ": " << error;
        value.values = *values;
        const std::optional<Json> sent = via::messageOf(via::lineOf(via::jsonOf(tag(name), value)));
        ASSERT_TRUE(sent) << name;
        const std::optional<TagValue> back = via::valueOf(tag(name), *sent);
        ASSERT_TRUE(back) << name;
        EXPECT_TRUE(host::sameValues(back->values, value.values)) << name << " = " << text;
    }
}

TEST_F(MessageTest, AWriteIsAsItWasOrdered) {
    host::WriteRequest request;
    request.tag = tag("Main.int");
    request.values = {std::int64_t{5}};
    request.replaces = host::HostValues{std::int64_t{4}};
    request.conditions = {{tag("Main.bool"), {true}, "the door"}};
    request.readsFirst = true;
    request.expiry = host::Time(77);
    request.number = "n1";
    request.who = "mallory";
    request.undoes = "4711";
    std::string error;
    const std::optional<host::WriteRequest> back = via::writeRequestOf(via::jsonOf(request), table, &error);
    ASSERT_TRUE(back) << error;
    EXPECT_EQ(back->tag.text, "Main.int");
    EXPECT_TRUE(host::sameValues(back->values, request.values));
    EXPECT_TRUE(back->replaces && host::sameValues(*back->replaces, *request.replaces));
    ASSERT_EQ(back->conditions.size(), 1U);
    EXPECT_EQ(back->conditions[0].tag.text, "Main.bool");
    EXPECT_EQ(back->conditions[0].otherwise, "the door");
    EXPECT_TRUE(back->readsFirst);
    EXPECT_EQ(back->expiry, host::Time(77));
    EXPECT_EQ(back->number, "n1");
    EXPECT_EQ(back->undoes, "4711");
    EXPECT_EQ(back->who, "") << "who orders it is not the client's to say";
}

TEST_F(MessageTest, AWriteOfWhatThereIsNotIsNone) {
    for (const char* text : {R"({})", R"({"tag":"Main.nothing","values":"1"})", R"({"tag":"Main.int"})",
                             R"({"tag":"Main.int","values":1})", R"({"tag":"Main.int","values":"1, 2"})",
                             R"({"tag":"Main.int","values":"x"})", R"({"tag":"Main.int","values":"1","replaces":"x"})",
                             R"({"tag":"Main.int","values":"1","conditions":[1]})",
                             R"({"tag":"Main.int","values":"1","conditions":[{"tag":"Main.bool"}]})"}) {
        std::string error;
        EXPECT_FALSE(via::writeRequestOf(Json::parse(text), table, &error)) << text;
        EXPECT_NE(error, "") << text;
    }
}

TEST_F(MessageTest, AWriteHasItsBounds) {
    const auto problemWith = [&](const char* key, const Json& value) {
        Json json{{"tag", "Main.int"}, {"values", "1"}, {key, value}};
        std::string error;
        const bool isTaken = via::writeRequestOf(json, table, &error).has_value();
        EXPECT_EQ(isTaken, error.empty());
        return error;
    };
    const auto condition = [](std::size_t bytes) {
        return Json{{"tag", "Main.bool"}, {"values", "TRUE"}, {"otherwise", std::string(bytes, 'x')}};
    };
    EXPECT_EQ(problemWith("conditions", Json(16, condition(1024))), "");
    EXPECT_EQ(problemWith("conditions", Json(17, condition(0))), "17 conditions, and 16 is the most");
    EXPECT_EQ(problemWith("conditions", Json(1, condition(1025))), "the text of a condition is longer than 1024 bytes");
    EXPECT_EQ(problemWith("undoes", std::string(64, '1')), "");
    EXPECT_EQ(problemWith("undoes", std::string(65, '1')), "the id of the write to be undone is longer than 64 bytes");
}

TEST_F(MessageTest, WhatIsNestedTooDeepIsNoMessage) {
    const auto nested = [](int depth) {  // arrays in an object
        return "{\"a\":" + std::string(static_cast<std::size_t>(depth - 1), '[') +
               std::string(static_cast<std::size_t>(depth - 1), ']') + "}";
    };
    EXPECT_TRUE(via::messageOf(nested(16)));
    EXPECT_FALSE(via::messageOf(nested(17)));
    // Neither what lies side by side counts nor what is in a text.
    EXPECT_TRUE(via::messageOf(R"({"a":[[],[],[],[],[],[],[],[],[],[],[],[],[],[],[],[],[],[]]})"));
    EXPECT_TRUE(via::messageOf(R"({"a":"[[[[[[[[[[[[[[[[[[[[ \"[[[[[[[[[[[[[[[[[[[[[ \\"})"));
    EXPECT_FALSE(via::messageOf(R"({"a":"\\","b":[[[[[[[[[[[[[[[[[]]]]]]]]]]]]]]]]]})"));
}

TEST_F(MessageTest, AReportIsAsItWas) {
    const host::WriteReport report{
        WriteOutcome::Refused, {FailureKind::Request, "no"}, {std::int64_t{3}}, {true, false}};
    const std::optional<host::WriteReport> back =
        via::writeReportOf(tag("Main.int"), via::jsonOf(tag("Main.int"), report));
    ASSERT_TRUE(back);
    EXPECT_EQ(back->outcome, WriteOutcome::Refused);
    EXPECT_EQ(back->failure.text, "no");
    EXPECT_TRUE(host::sameValues(back->before, report.before));
    EXPECT_TRUE(host::sameValues(back->bitsBefore, report.bitsBefore));
}

TEST_F(MessageTest, HistogramsGiveTheSameQuantilesAtTheOtherEnd) {
    host::Latencies latencies;
    for (int us : {3, 500, 501, 7000, 80000000}) {
        latencies.of(host::LatencyKind::Pass).add(host::Time(us));
    }
    latencies.since = host::Time(9);
    const std::optional<host::Latencies> back = via::latenciesOf(via::jsonOf(latencies));
    ASSERT_TRUE(back);
    const metrics::Histogram& pass = back->of(host::LatencyKind::Pass);
    EXPECT_EQ(pass.count(), 5);
    EXPECT_EQ(pass.sum().count(), 80008004);
    EXPECT_EQ(pass.longest().count(), 80000000);
    EXPECT_EQ(pass.last().count(), 80000000);
    EXPECT_EQ(pass.p50(), latencies.of(host::LatencyKind::Pass).p50());
    EXPECT_EQ(back->of(host::LatencyKind::Write).count(), 0);
    EXPECT_EQ(back->since, host::Time(9));
}

TEST_F(MessageTest, WhatIsNoMessageGivesNothing) {
    for (const char* line : {"", "x", "[]", "1", "{", "{\"a\":1}}", "null"}) {
        EXPECT_FALSE(via::messageOf(line)) << line;
    }
    const Json odd =
        Json::parse(R"({"a":1.5,"b":"1","c":9223372036854775807,"d":18446744073709551615,"e":-9223372036854775808,
                                     "f":9007199254740992,"g":[1]})");
    for (const char* key : {"a", "b", "c", "d", "e", "g", "missing"}) {
        EXPECT_EQ(via::numberAt(odd, key), std::nullopt) << key;
    }
    EXPECT_EQ(via::numberAt(odd, "f"), 9007199254740992);
    EXPECT_EQ(via::textAt(odd, "a"), "");
    EXPECT_TRUE(via::arrayAt(odd, "a").empty());
    EXPECT_FALSE(via::statusOf(Json::parse(R"({"state":"dancing"})")));
    EXPECT_FALSE(via::eventOf(Json::parse(R"({"event":"no.such"})")));
    EXPECT_FALSE(via::valueOf(tag("Main.int"), Json::parse(R"({"state":"fresh","values":"x"})")));
    EXPECT_FALSE(via::valueOf(tag("Main.int"), Json::parse(R"(7)")));
}

TEST_F(MessageTest, AHelloOfAnotherVersionSaysWhatToInstall) {
    std::string error;
    EXPECT_FALSE(via::helloOf(Json::parse(R"({"ac500_gateway":2})"), &error));
    EXPECT_EQ(
        error,
        "it speaks version 2 of the socket's language, and this program version 1; install the same version of both");
    EXPECT_FALSE(
        via::helloOf(Json::parse(R"({"error":{"what":"32 programs use it already","next":"end one"}})"), &error));
    EXPECT_EQ(error, "32 programs use it already; end one");
}

}  // namespace
}  // namespace ac500
