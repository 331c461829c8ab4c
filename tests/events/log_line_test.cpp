#include "tools/events/log_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/support/json_schema.h"

namespace ac500::events {
namespace {

using nlohmann::json;
using testing::HasSubstr;

// 2026-11-22T07:45:12.345Z
const console::WallTime kMorning{std::chrono::milliseconds(1795333512345)};

TEST(LogLine, AnEventWithEverything) {
    LogLine line{EventId::ReplyRefused, kMorning, "no \"write\"", "request", 6, 17, 0};
    EXPECT_EQ(jsonLine("ac500-host", line),
              R"({"version":1,"time":"2026-11-22T07:45:12.345Z","program":"ac500-host","level":"warning",)"
              R"("event":"reply.refused","number":17,"layer":"request","code":6,"text":"no \"write\""})"
              "\n");
    EXPECT_EQ(test::outputComplaints("log", jsonLine("ac500-host", line)), "");
}

TEST(LogLine, WhatThereIsNotHasNoKey) {
    const LogLine line{EventId::RequestAnswered, kMorning, "hello", "", 0, std::nullopt, 3};
    EXPECT_EQ(jsonLine("ac500-sim", line),
              R"({"version":1,"time":"2026-11-22T07:45:12.345Z","program":"ac500-sim","level":"debug",)"
              R"("event":"request.answered","client":3,"text":"hello"})"
              "\n");
    EXPECT_EQ(test::outputComplaints("log", jsonLine("ac500-sim", line)), "");
}

TEST(LogLine, EveryEventFitsTheSchema) {
    for (const EventRow& row : eventTable()) {
        const std::string line = jsonLine("ac500-host", {row.event, kMorning, "x", "", 0, std::nullopt, 0});
        EXPECT_EQ(test::outputComplaints("log", line), "") << line;
    }
}

TEST(LogLine, IsOneLineWhateverTheTextHolds) {
    const LogLine line{EventId::CommandNote,
                       kMorning,
                       "a\nb\r\x1b[31m\xff"
                       "c",
                       "",
                       0,
                       std::nullopt,
                       0};
    const std::string text = jsonLine("ac500-host", line);
    EXPECT_EQ(text.find('\n'), text.size() - 1);
    EXPECT_EQ(text.find('\x1b'), std::string::npos);
    EXPECT_EQ(json::parse(text)["text"],
              "a\nb\r\x1b[31m\xEF\xBF\xBD"
              "c");
}

TEST(LogLine, ATextThatIsTooLongIsCutAndSaysSo) {
    for (const char* piece : {"x", "\"", "\n", "\x01", "ü", "\xff"}) {
        std::string text;
        while (text.size() < 10000) {
            text += piece;
        }
        const std::string line =
            jsonLine("ac500-host", {EventId::CommandFailed, kMorning, text, "file", 2, std::nullopt, 0});
        EXPECT_LE(line.size(), 4096U) << piece;
        EXPECT_GE(line.size(), 4000U) << piece;
        EXPECT_EQ(line.back(), '\n');
        EXPECT_EQ(test::outputComplaints("log", line), "");
        const json document = json::parse(line);
        const std::string kept = document["text"];
        if (std::string(piece) != "\xff") {
            EXPECT_EQ(text.compare(0, kept.size(), kept), 0);
            EXPECT_EQ(kept.size() + document["cut_bytes"].get<std::size_t>(), text.size());
        }
    }
    const std::string fits =
        jsonLine("ac500-host", {EventId::CommandFailed, kMorning, std::string(3000, 'x'), "", 0, std::nullopt, 0});
    EXPECT_THAT(fits, testing::Not(HasSubstr("cut_bytes")));
}

TEST(LogLine, JsonIsAskedForByOneOption) {
    EXPECT_TRUE(asksForJson({"--log-format", "json", "status"}));
    EXPECT_TRUE(asksForJson({"status", "--log-format=json"}));
    EXPECT_FALSE(asksForJson({"status", "--json"}));
    EXPECT_FALSE(asksForJson({"--log-format", "text", "json"}));
    EXPECT_FALSE(asksForJson({"--log-format"}));
    EXPECT_FALSE(asksForJson({}));
}

}  // namespace
}  // namespace ac500::events
