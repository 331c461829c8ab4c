// Messages of values, in both formats, to the byte; and what the schemas say of them.
#include "tools/broker/message_format.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "tests/broker/broker_tags.h"
#include "tests/support/json_schema.h"

namespace ac500::test {
namespace {

using broker::Batch;
using broker::Format;
using broker::Gap;
using broker::Message;
using broker::MessageFormat;
using broker::Report;
using host::HostValue;
using host::HostValues;
using host::Milliseconds;
using host::ValueState;
using testing::IsEmpty;

constexpr std::int64_t kUtcMs = 1795388400123;  // 2026-11-22T23:00:00.123Z

MessageFormat::FormattedTag formattedTag(const std::string& name) {
    return {brokerTag(name), name, name.substr(0, name.find('.'))};
}

MessageFormat formatOf(const std::vector<std::string>& names, Format format = Format::Json, Batch batch = Batch::Pass,
                       std::size_t largest = 131072) {
    std::vector<MessageFormat::FormattedTag> tags;
    for (const std::string& name : names) {
        tags.push_back(formattedTag(name));
    }
    return {{"plant/mixer", "mixer", format, batch, largest}, tags};
}

Report reportOf(std::size_t tag, const HostValues& values, ValueState state = ValueState::Fresh) {
    Report report;
    report.tag = tag;
    report.state = state;
    report.values = values;
    report.received = Milliseconds(5000);
    report.receivedUtcMs = kUtcMs;
    return report;
}

MessageFormat::Formatted formatted(const MessageFormat& format, const std::vector<Report>& reports,
                                   bool isClockSet = true) {
    MessageFormat::Pass pass;
    pass.number = 99;
    pass.isClockSet = isClockSet;
    pass.start = Milliseconds(1000);
    std::int64_t last = 4710;
    return format.values(reports, pass, [&last] { return ++last; });
}

// The payload of one tag with one value in a message of its own.
std::string payloadOf(const std::string& tag, const HostValues& values, Format format = Format::Json) {
    const MessageFormat::Formatted all = formatted(formatOf({tag}, format), {reportOf(0, values)});
    EXPECT_EQ(all.messages.size(), 1u);
    return all.messages.empty() ? "" : all.messages[0].payload;
}

// The value alone, as it stands in the payload.
std::string jsonValue(const std::string& tag, const HostValues& values) {
    const std::string payload = payloadOf(tag, values);
    EXPECT_EQ(outputComplaints("broker-values", payload), "");
    const std::size_t begin = payload.find("\"value\":") + 8;
    return payload.substr(begin, payload.find(",\"state\"") - begin);
}

std::string lineValue(const std::string& tag, const HostValues& values) {
    const std::string payload = payloadOf(tag, values, Format::Influx);
    const std::size_t begin = payload.find(' ') + 1;
    return payload.substr(begin, payload.find(",state=") - begin);
}

TEST(MessageFormatTest, OneMessageForAllOfAPass) {
    const MessageFormat::Formatted all =
        formatted(formatOf({"Main.level", "Main.on", "Pump.speed"}),
                  {reportOf(0, {21.5F}), reportOf(1, {true}), reportOf(2, {std::int64_t{-7}}, ValueState::Stale)});
    ASSERT_EQ(all.messages.size(), 1u);
    const Message& message = all.messages[0];
    EXPECT_EQ(message.topic, "plant/mixer/values");
    EXPECT_EQ(message.sequence, 4711);
    EXPECT_EQ(message.atMs, kUtcMs);
    EXPECT_EQ(message.payload,
              R"({"version":1,"plc":"mixer","sequence":4711,"pass":99,"clock":"set","values":[)"
              R"({"tag":"Main.level","value":21.5,"state":"fresh","time":"2026-11-22T23:00:00.123Z","uptime":4000},)"
              R"({"tag":"Main.on","value":true,"state":"fresh","time":"2026-11-22T23:00:00.123Z","uptime":4000},)"
              R"({"tag":"Pump.speed","value":-7,"state":"stale","time":"2026-11-22T23:00:00.123Z","uptime":4000}]})");
    EXPECT_EQ(outputComplaints("broker-values", message.payload), "");
}

TEST(MessageFormatTest, OneMessageForEachScopeOrTag) {
    const std::vector<std::string> names = {"Main.level", "Pump.speed", "Main.on"};
    const std::vector<Report> reports = {reportOf(0, {1.0F}), reportOf(1, {std::int64_t{2}}), reportOf(2, {true})};
    const MessageFormat::Formatted scopes = formatted(formatOf(names, Format::Json, Batch::Scope), reports);
    ASSERT_EQ(scopes.messages.size(), 2u);
    EXPECT_EQ(scopes.messages[0].topic, "plant/mixer/values/Main");
    EXPECT_EQ(nlohmann::json::parse(scopes.messages[0].payload)["values"].size(), 2u);
    EXPECT_EQ(scopes.messages[1].topic, "plant/mixer/values/Pump");
    EXPECT_EQ(scopes.messages[1].sequence, 4712);
    const MessageFormat::Formatted tags = formatted(formatOf(names, Format::Json, Batch::Tag), reports);
    ASSERT_EQ(tags.messages.size(), 3u);
    EXPECT_EQ(tags.messages[0].topic, "plant/mixer/values/Main.level");
    EXPECT_EQ(tags.messages[2].topic, "plant/mixer/values/Main.on");
}

TEST(MessageFormatTest, NothingToTellMakesNoMessage) {
    EXPECT_THAT(formatted(formatOf({"Main.level"}), {}).messages, IsEmpty());
}

TEST(MessageFormatTest, WhatATopicMayNotHoldIsEscaped) {
    const MessageFormat format = formatOf({"Main.level"});
    EXPECT_EQ(format.valuesTopic("Main.motor[2].speed"), "plant/mixer/values/Main.motor[2].speed");
    EXPECT_EQ(format.valuesTopic("a/b+c#d%e\n"), "plant/mixer/values/a%2Fb%2Bc%23d%25e%0A");
}

TEST(MessageFormatTest, ValuesOfEachKindInJson) {
    EXPECT_EQ(jsonValue("Main.level", {0.1F}), "0.1");
    EXPECT_EQ(jsonValue("Main.exact", {0.1}), "0.1");
    EXPECT_EQ(jsonValue("Main.level", {1e20F}), "1e+20");
    EXPECT_EQ(jsonValue("Main.count", {std::int64_t{-32768}}), "-32768");
    EXPECT_EQ(jsonValue("Main.on", {false}), "false");
    EXPECT_EQ(jsonValue("Main.name", {std::string("a \"b\" \\ \xC3\xBC\n")}), R"("a \"b\" \\ )"
                                                                              "\xC3\xBC"
                                                                              R"(\n")");
    EXPECT_EQ(jsonValue("Main.celsius", {std::int64_t{615}}), "21.5");
    EXPECT_EQ(jsonValue("Main.mode", {std::uint64_t{2}}), "2");
    EXPECT_EQ(jsonValue("Main.recipe", {std::int64_t{1}, std::int64_t{2}, std::int64_t{3}}), "[1,2,3]");
    EXPECT_EQ(jsonValue("Main.texts", {std::string("a"), std::string("b")}), R"(["a","b"])");
}

TEST(MessageFormatTest, WholeNumbersOf64BitsStayExactInJson) {
    EXPECT_EQ(jsonValue("Main.big", {std::int64_t{9007199254740991}}), "9007199254740991");
    EXPECT_EQ(jsonValue("Main.big", {std::int64_t{9007199254740992}}), "\"9007199254740992\"");
    EXPECT_EQ(jsonValue("Main.big", {std::numeric_limits<std::int64_t>::min()}), "\"-9223372036854775808\"");
    EXPECT_EQ(jsonValue("Main.huge", {std::numeric_limits<std::uint64_t>::max()}), "\"18446744073709551615\"");
}

TEST(MessageFormatTest, NoNumberIsATextInJsonAndAFieldOfItsOwnInALine) {
    const float infinity = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(jsonValue("Main.level", {nan}), "\"nan\"");
    EXPECT_EQ(jsonValue("Main.level", {infinity}), "\"inf\"");
    EXPECT_EQ(jsonValue("Main.level", {-infinity}), "\"-inf\"");
    EXPECT_EQ(lineValue("Main.level", {nan}), "nofloat=\"nan\"");
    EXPECT_EQ(lineValue("Main.level", {-infinity}), "nofloat=\"-inf\"");
}

TEST(MessageFormatTest, StateAloneHasNoValue) {
    const std::vector<Report> reports = {reportOf(0, {}, ValueState::Suspect)};
    const std::string json = formatted(formatOf({"Main.level"}), reports).messages.at(0).payload;
    EXPECT_EQ(json, R"({"version":1,"plc":"mixer","sequence":4711,"pass":99,"clock":"set","values":[)"
                    R"({"tag":"Main.level","state":"suspect","time":"2026-11-22T23:00:00.123Z","uptime":4000}]})");
    EXPECT_EQ(outputComplaints("broker-values", json), "");
    EXPECT_EQ(formatted(formatOf({"Main.level"}, Format::Influx), reports).messages.at(0).payload,
              "ac500,plc=mixer,tag=Main.level state=\"suspect\",sequence=4711i,pass=99i 1795388400123000000");
}

TEST(MessageFormatTest, LinesOfOneMessageCarryItsNumber) {
    const MessageFormat::Formatted all =
        formatted(formatOf({"Main.level", "Main.recipe"}, Format::Influx),
                  {reportOf(0, {21.5F}), reportOf(1, {std::int64_t{1}, std::int64_t{2}, std::int64_t{3}})}, false);
    ASSERT_EQ(all.messages.size(), 1u);
    EXPECT_EQ(all.messages[0].payload,
              "ac500,plc=mixer,tag=Main.level float=21.5,state=\"fresh\",sequence=4711i,pass=99i,clock=\"unset\" "
              "1795388400123000000\n"
              "ac500,plc=mixer,tag=Main.recipe,element=1 integer=1i,state=\"fresh\",sequence=4711i,pass=99i,"
              "clock=\"unset\" 1795388400123000000\n"
              "ac500,plc=mixer,tag=Main.recipe,element=2 integer=2i,state=\"fresh\",sequence=4711i,pass=99i,"
              "clock=\"unset\" 1795388400123000000\n"
              "ac500,plc=mixer,tag=Main.recipe,element=3 integer=3i,state=\"fresh\",sequence=4711i,pass=99i,"
              "clock=\"unset\" 1795388400123000000");
}

TEST(MessageFormatTest, ValuesOfEachKindInALine) {
    EXPECT_EQ(lineValue("Main.on", {true}), "boolean=true");
    EXPECT_EQ(lineValue("Main.count", {std::int64_t{-5}}), "integer=-5i");
    EXPECT_EQ(lineValue("Main.word", {std::uint64_t{65535}}), "integer=65535i");
    EXPECT_EQ(lineValue("Main.huge", {std::numeric_limits<std::uint64_t>::max()}), "unsigned=18446744073709551615u");
    EXPECT_EQ(lineValue("Main.exact", {1e-300}), "float=1e-300");
    EXPECT_EQ(lineValue("Main.celsius", {std::int64_t{600}}), "float=20");
    EXPECT_EQ(lineValue("Main.name", {std::string("a \"b\" \\,=")}), R"(text="a \"b\" \\,=")");
}

TEST(MessageFormatTest, NamesInALineAreEscaped) {
    MessageFormat::FormattedTag tag = formattedTag("Main.on");
    tag.name = "a b,c=d\\e\nf";
    const MessageFormat format({"t", "my, plant=1", Format::Influx, Batch::Pass, 131072}, {tag});
    EXPECT_EQ(formatted(format, {reportOf(0, {true})}).messages.at(0).payload,
              "ac500,plc=my\\,\\ plant\\=1,tag=a\\ b\\,c\\=d_e_f boolean=true,state=\"fresh\",sequence=4711i,pass=99i "
              "1795388400123000000");
}

TEST(MessageFormatTest, MessagesAreCutAtTheLargestSizeAndTellAllInOrder) {
    for (const Format format : {Format::Json, Format::Influx}) {
        constexpr std::size_t kLargest = 1024;
        std::vector<Report> reports(200, reportOf(0, {1.25F}));
        const MessageFormat::Formatted all =
            formatted(formatOf({"Main.level"}, format, Batch::Pass, kLargest), reports);
        EXPECT_GT(all.messages.size(), 10u);
        EXPECT_THAT(all.gaps, IsEmpty());
        std::size_t values = 0;
        std::int64_t sequence = 4711;
        for (const Message& message : all.messages) {
            EXPECT_LE(message.topic.size() + message.payload.size(), kLargest);
            EXPECT_EQ(message.sequence, sequence++);
            if (format == Format::Json) {
                EXPECT_EQ(outputComplaints("broker-values", message.payload), "");
                values += nlohmann::json::parse(message.payload)["values"].size();
            } else {
                values +=
                    1 + static_cast<std::size_t>(std::count(message.payload.begin(), message.payload.end(), '\n'));
            }
        }
        EXPECT_EQ(values, 200u);
    }
}

TEST(MessageFormatTest, WhatFitsNoMessageBecomesAGapInItsPlace) {
    const MessageFormat format = formatOf({"Main.level", "Main.name"}, Format::Json, Batch::Pass, 240);
    const MessageFormat::Formatted all =
        formatted(format, {reportOf(0, {1.0F}), reportOf(1, {std::string(100, 'x')}), reportOf(0, {2.0F})});
    ASSERT_EQ(all.messages.size(), 2u);
    EXPECT_EQ(all.messages[0].sequence, 4711);
    EXPECT_EQ(all.messages[1].sequence, 4713);
    ASSERT_EQ(all.gaps.size(), 1u);
    EXPECT_EQ(all.gaps[0].first, 4712);
    EXPECT_EQ(all.gaps[0].last, 4712);
    EXPECT_EQ(all.gaps[0].fromMs, kUtcMs);
    EXPECT_EQ(all.gaps[0].reason, "Main.name alone may take 307 bytes, more than the largest message, 240");
}

TEST(MessageFormatTest, GapsInBothFormats) {
    const Gap gap{10, 20, kUtcMs, kUtcMs + 1000, "store full"};
    const Message json = formatOf({}).gap(gap, 21, kUtcMs + 5000);
    EXPECT_EQ(json.topic, "plant/mixer/values");
    EXPECT_EQ(json.sequence, 21);
    EXPECT_EQ(json.payload, R"({"version":1,"plc":"mixer","sequence":21,"gap":{"first":10,"last":20,)"
                            R"("from":"2026-11-22T23:00:00.123Z","to":"2026-11-22T23:00:01.123Z",)"
                            R"("reason":"store full"}})");
    EXPECT_EQ(outputComplaints("broker-values", json.payload), "");
    const Message line = formatOf({}, Format::Influx).gap(gap, 21, kUtcMs + 5000);
    EXPECT_EQ(
        line.payload,
        "ac500_gap,plc=mixer first=10i,last=20i,from=\"2026-11-22T23:00:00.123Z\",to=\"2026-11-22T23:00:01.123Z\","
        "reason=\"store full\",sequence=21i 1795388405123000000");
}

TEST(MessageFormatTest, StatusAndInfo) {
    broker::DoorStatus status{"mixer", broker::DoorState::PlcAway, kUtcMs, "5f3a", ""};
    EXPECT_EQ(broker::statusJson(status),
              R"({"version":1,"plc":"mixer","state":"plc away","since":"2026-11-22T23:00:00.123Z","session":"5f3a"})");
    status.text = "connection refused";
    EXPECT_EQ(outputComplaints("broker-status", broker::statusJson(status)), "");
    const std::string will = broker::statusJson({"mixer", broker::DoorState::Gone, std::nullopt, "5f3a", ""});
    EXPECT_EQ(will, R"({"version":1,"plc":"mixer","state":"gone","session":"5f3a"})");
    EXPECT_EQ(outputComplaints("broker-status", will), "");
    broker::DoorInfo info;
    info.plc = "mixer";
    info.build = "1.2.3";
    info.symbols = "0123456789abcdef";
    info.settingsHash = "fedcba9876543210";
    info.tags = 520;
    info.startedUtcMs = kUtcMs;
    info.session = "5f3a";
    EXPECT_EQ(
        broker::infoJson(info),
        R"({"version":1,"plc":"mixer","build":"1.2.3","symbols":"0123456789abcdef","settings":"fedcba9876543210",)"
        R"("tags":520,"format":"json","batch":"pass","started":"2026-11-22T23:00:00.123Z","session":"5f3a"})");
    EXPECT_EQ(outputComplaints("broker-info", broker::infoJson(info)), "");
}

}  // namespace
}  // namespace ac500::test
