#include "tools/guard/handshake_pattern.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace ac500::guard {
namespace {

std::string patternOf(const std::vector<std::string>& replies) {
    BytePattern pattern;
    for (const std::string& reply : replies) {
        pattern.add(reply);
    }
    return pattern.text();
}

TEST(BytePattern, KeepsWhatIsTheSameEachTime) {
    EXPECT_EQ(patternOf({}), "");
    EXPECT_EQ(patternOf({"AB"}), "4142");
    EXPECT_EQ(patternOf({"ABC", "AXC", "ABC"}), "41..43");
    EXPECT_EQ(patternOf({"\xFF\x80"}), "ff80");
    EXPECT_EQ(patternOf({"ABC", "AB"}), "4142*");
    EXPECT_EQ(patternOf({"AB", "ABC", "AB"}), "4142*");
    EXPECT_EQ(patternOf({"AB", ""}), "*");
}

TEST(BytePattern, CountsBytes) {
    const BytePattern pattern = BytePattern::parse("41..43").value();
    EXPECT_EQ(pattern.bytes(), 3);
    EXPECT_EQ(pattern.constantBytes(), 2);
}

TEST(BytePattern, IsReadBackFromItsText) {
    for (const char* text : {"", "*", "41", "..", "00ff..*"}) {
        ASSERT_TRUE(BytePattern::parse(text)) << text;
        EXPECT_EQ(BytePattern::parse(text)->text(), text);
    }
    for (const char* text : {"4", "4g", "AB", ".4", "41 42", "**", "*41"}) {
        EXPECT_FALSE(BytePattern::parse(text)) << text;
    }
}

TEST(BytePattern, TellsTheFirstDifference) {
    const BytePattern pattern = BytePattern::parse("41..4344").value();
    EXPECT_EQ(pattern.difference("AxCD"), "");
    EXPECT_EQ(pattern.difference("AxCE"), "byte 3 is 45, it was 44 each time");
    EXPECT_EQ(pattern.difference("BxEF"), "byte 0 is 42, it was 41 each time; 2 more differ");
    EXPECT_EQ(pattern.difference("AxC"), "it has 3 bytes, it had 4 each time");
    const BytePattern open = BytePattern::parse("41*").value();
    EXPECT_EQ(open.difference("AB"), "");
    EXPECT_EQ(open.difference(""), "it has 0 bytes, it had 1 each time");
}

// A reply to symbols with these session bytes at 24 and a number of the program at 16.
HandshakeReplies replies(const std::string& session, char program) {
    return {"hello", std::string(16, 'h') + program + std::string(7, 'p') + session + "tail"};
}

const HandshakeOrigin kOrigin{"10.0.0.5:1201", "plant.json", "0123456789abcdef"};
constexpr char kTime[] = "2026-11-22T07:45:12.345Z";

TEST(HandshakePattern, ComparesNothingBeforeTwoRunsWereSeen) {
    HandshakePattern pattern;
    pattern.add(replies("1234", 'A'), kOrigin, kTime);
    pattern.add(replies("1234", 'A'), kOrigin, kTime);
    EXPECT_EQ(pattern.connections(), 2);
    EXPECT_EQ(pattern.runs(), 1);
    EXPECT_FALSE(pattern.isUsable());
    EXPECT_FALSE(pattern.difference(replies("1234", 'B')));
    pattern.add(replies("5678", 'A'), kOrigin, kTime);
    EXPECT_EQ(pattern.runs(), 2);
    EXPECT_TRUE(pattern.isUsable());
    EXPECT_FALSE(pattern.difference(replies("9999", 'A')));
    EXPECT_EQ(pattern.difference(replies("9999", 'B')), "the reply to symbols: byte 16 is 42, it was 41 each time");
    HandshakeReplies both = replies("9999", 'B');
    both.hello = "hallo";
    EXPECT_EQ(
        pattern.difference(both),
        "the reply to hello: byte 1 is 61, it was 65 each time; the reply to symbols: byte 16 is 42, it was 41 each "
        "time");
    both.symbols = replies("9999", 'A').symbols;
    EXPECT_EQ(pattern.difference(both), "the reply to hello: byte 1 is 61, it was 65 each time");
}

TEST(HandshakePattern, IsReadBackFromItsFile) {
    HandshakePattern pattern;
    pattern.add(replies("1234", 'A'), kOrigin, kTime);
    pattern.add(replies("1235", 'A'), {"10.0.0.6:1201", "plant.json", "0123456789abcdef"}, "2026-11-23T07:45:12.345Z");
    const char* const json = R"({
  "format": "ac500-handshake",
  "version": 1,
  "plc": "10.0.0.6:1201",
  "symbols": "plant.json",
  "program": "0123456789abcdef",
  "first": "2026-11-22T07:45:12.345Z",
  "last": "2026-11-23T07:45:12.345Z",
  "connections": 2,
  "sessions": [
    "31323334",
    "31323335"
  ],
  "replies": {
    "hello": "68656c6c6f",
    "symbols": "686868686868686868686868686868684170707070707070........7461696c"
  }
}
)";
    EXPECT_EQ(pattern.toJson(), json);
    std::string error;
    const std::optional<HandshakePattern> again = HandshakePattern::fromJson(pattern.toJson(), &error);
    ASSERT_TRUE(again) << error;
    EXPECT_EQ(again->toJson(), pattern.toJson());
    EXPECT_EQ(again->difference(replies("9999", 'B')), "the reply to symbols: byte 16 is 42, it was 41 each time");
}

TEST(HandshakePattern, IsWrittenWhateverTheFilesAreCalled) {
    HandshakePattern pattern;
    pattern.add(replies("1234", 'A'), {"10.0.0.5:1201", "\xFF.json", "0123456789abcdef"}, kTime);
    std::string error;
    EXPECT_TRUE(HandshakePattern::fromJson(pattern.toJson(), &error)) << error;
}

std::string problemOf(const std::string& text) {
    std::string error;
    return HandshakePattern::fromJson(text, &error) ? "none" : error;
}

TEST(HandshakePattern, TellsWhatIsWrongWithAFile) {
    const std::string notOurs = "is no file of handshake replies; \"ac500-host guard learn\" writes one";
    for (const char* text : {"", "{", "[]", "7", "{}", R"({"format": "ac500-symbols"})", R"({"format": 7})"}) {
        EXPECT_EQ(problemOf(text), notOurs) << text;
    }
    EXPECT_EQ(problemOf(R"({"format": "ac500-handshake", "version": 2})"),
              "has a version that is not known; this program knows 1");
    const std::string good =
        R"({"format": "ac500-handshake", "version": 1, "plc": "", "symbols": "s", "program": "p", "first": "", "last": "",
            "connections": 1, "sessions": ["01020304"], "replies": {"hello": "41", "symbols": "42"}})";
    EXPECT_EQ(problemOf(good), "none");
    for (const auto& [part, other] : std::vector<std::pair<std::string, std::string>>{
             {"\"connections\": 1", "\"connections\": 0"},
             {"\"connections\": 1", "\"connections\": 1.5"},
             {"\"connections\": 1", "\"connections\": 99999999999999999999"},
             {"01020304", "0102030"},
             {"01020304", "0102030G"},
             {"[\"01020304\"]", "7"},
             {"[\"01020304\"]", "[7]"},
             {"\"41\"", "\"4\""},
             {"\"42\"", "null"},
             {"\"plc\": \"\", ", ""},
             {"\"program\": \"p\"", "\"program\": 7"},
             {"\"hello\": \"41\", ", ""},
             {"{\"hello\": \"41\", \"symbols\": \"42\"}", "7"}}) {
        std::string text = good;
        EXPECT_EQ(problemOf(text.replace(text.find(part), part.size(), other)),
                  "is damaged; remove it, and learn again")
            << text;
    }
}

}  // namespace
}  // namespace ac500::guard
