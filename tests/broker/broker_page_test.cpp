// What docs/broker.md shows is what the code makes: each example of the page, to the byte.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "tests/broker/broker_tags.h"
#include "tests/support/json_schema.h"
#include "tests/support/places.h"
#include "tools/broker/command_desk.h"
#include "tools/broker/message_format.h"
#include "tools/symbol_file/json_document.h"

namespace ac500::test {
namespace {

using broker::Format;
using broker::MessageFormat;
using host::Milliseconds;
using host::ValueState;

constexpr std::int64_t kPageUtcMs = 1795388400123;  // 2026-11-22T23:00:00.123Z

std::string pageOfBrokers() {
    std::ifstream file(projectFile("docs/broker.md"));
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Lines as the page shows them: by four blanks.
bool pageShows(const std::string& text) {
    std::string shown = "\n    ";
    for (const char c : text) {
        shown += c == '\n' ? std::string("\n    ") : std::string(1, c);
    }
    return pageOfBrokers().find(shown + "\n") != std::string::npos;
}

MessageFormat pageFormat(Format format) {
    std::vector<MessageFormat::FormattedTag> tags;
    for (const std::string name : {"Main.level", "Main.lamps", "Pump.speed"}) {
        tags.push_back({brokerTag(name), name, name.substr(0, 4)});
    }
    return {{"plant/mixer", "mixer", format, broker::Batch::Pass, 131072}, tags};
}

std::string payloadForPage(Format format) {
    MessageFormat::Pass pass;
    pass.number = 99;
    pass.start = Milliseconds(1000);
    const host::Time received = Milliseconds(5000);
    return pageFormat(format)
        .values({{0, ValueState::Fresh, {21.5F}, received, kPageUtcMs},
                 {1, ValueState::Stale, {true, false}, received, kPageUtcMs},
                 {2, ValueState::Suspect, {}, received, kPageUtcMs}},
                pass, [] { return 4711; })
        .messages.at(0)
        .payload;
}

TEST(BrokerPageTest, MessagesOfValues) {
    EXPECT_TRUE(pageShows(payloadForPage(Format::Json))) << payloadForPage(Format::Json);
    EXPECT_EQ(outputComplaints("broker-values", payloadForPage(Format::Json)), "");
    EXPECT_TRUE(pageShows(payloadForPage(Format::Influx))) << payloadForPage(Format::Influx);
}

TEST(BrokerPageTest, GapRecords) {
    const broker::Gap gap{10, 20, kPageUtcMs, kPageUtcMs + 1000, "store full"};
    for (const Format format : {Format::Json, Format::Influx}) {
        const std::string payload = pageFormat(format).gap(gap, 21, kPageUtcMs + 5000).payload;
        EXPECT_TRUE(pageShows(payload)) << payload;
    }
}

TEST(BrokerPageTest, StatusInfoAndOutcome) {
    EXPECT_TRUE(pageShows(broker::statusJson({"mixer", broker::DoorState::PlcAway, kPageUtcMs, "5f3a", ""})));
    EXPECT_TRUE(pageShows(broker::infoJson({"mixer", "1.2.3", "0123456789abcdef", "fedcba9876543210", 520, Format::Json,
                                            broker::Batch::Pass, kPageUtcMs, "5f3a"})));
    EXPECT_TRUE(pageShows(broker::outcomeJson("a-1", host::WriteOutcome::Done, "")));
}

TEST(BrokerPageTest, TheCommandOfThePageIsTaken) {
    const std::string command =
        R"({"id":"a-1","tag":"Main.count","value":5,"old":4,"issued":"2026-11-22T23:00:59.000Z","expires":3000})";
    EXPECT_TRUE(pageShows(command));
    broker::CommandDesk desk({{brokerTag("Main.count"), "Main.count", 0, true}}, kPageUtcMs);
    broker::CommandDesk::Arrival arrival;
    arrival.payload = command;
    arrival.utcMs = kPageUtcMs + 59000;
    EXPECT_TRUE(std::holds_alternative<broker::CommandOrder>(desk.judge(arrival)));
}

TEST(BrokerPageTest, TheRulesOfThePageAreRead) {
    const std::string rules =
        "\"report\": [{\"tags\": [\"**\"], \"smallestInterval\": 1000},\n"
        "           {\"tags\": [\"Main.level\"], \"deadBand\": 0.5, \"largestInterval\": 60000}]";
    EXPECT_TRUE(pageShows(rules));
    const symbol_file::ParsedJson parsed =
        symbol_file::parseJson(R"({"servers": ["mqtts://a"], "topic": "t", )" + rules + "}");
    symbol_file::ProblemList problems;
    const broker::BrokerSettings settings = broker::readBrokerSettings({&parsed.root, "broker"}, "", "p", &problems);
    EXPECT_EQ(problems.count(), 0u);
    EXPECT_EQ(settings.report.size(), 2u);
}

// Each key that the reader knows, as it tells of one that it does not, has a row.
TEST(BrokerPageTest, TheTableHasEachKey) {
    const symbol_file::ParsedJson parsed =
        symbol_file::parseJson(R"({"servers": ["mqtts://a"], "topic": "t", "?": 1})");
    symbol_file::ProblemList problems;
    broker::readBrokerSettings({&parsed.root, "broker"}, "", "p", &problems);
    ASSERT_EQ(problems.count(), 1u);
    const std::string what = problems.inLineOrder()[0].what;
    const std::string page = pageOfBrokers();
    int keys = 0;
    std::size_t at = what.find("allowed are");
    while ((at = what.find('"', at)) != std::string::npos) {
        const std::size_t end = what.find('"', at + 1);
        const std::string key = what.substr(at + 1, end - at - 1);
        const bool hasRow =
            page.find("`" + key + "`") != std::string::npos || page.find("`" + key + ".") != std::string::npos;
        EXPECT_TRUE(hasRow) << key;
        ++keys;
        at = end + 1;
    }
    EXPECT_EQ(keys, 19);
}

}  // namespace
}  // namespace ac500::test
