// What reading tags costs, as a user sees it.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "tests/end_to_end/desk_commands.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class PlanCommandTest : public ac500::test::DeskCommandTest {
protected:
    json plan(const Words& words) {
        Words all{"plan", "--json"};
        all.insert(all.end(), words.begin(), words.end());
        const Result result = host(all);
        EXPECT_EQ(result.exitCode, 0) << result.error;
        const json document = json::parse(result.out, nullptr, false);
        EXPECT_TRUE(document.is_object()) << result.out;
        return document.is_object() ? document : json::object();
    }
};

// Main.counter has 2 bytes at 0, Main.setpoint 4 at 4, Main.enable 1 at 8.
TEST_F(PlanCommandTest, APlanIsToldInATable) {
    const Result result = host({"plan", "Main.counter", "Main.setpoint", "Main.enable"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.out,
              "Tags                3\n"
              "Largest item        100 words\n"
              "Requests in a pass  1\n"
              "Items               1\n"
              "Bytes asked for     9\n"
              "Bytes wanted        7, 78 % of those asked for\n"
              "Bytes read along    2, in 1 gap\n"
              "Bytes on the wire   26 sent, 22 received\n"
              "Time of a pass      6.0 ms, with a round trip of 1 ms and 5 ms in the PLC for each request\n"
              "Of ac500-host       12.0 ms, with its quiet look behind the last reply\n"
              "\n"
              "REQUEST  ITEMS  ASKED FOR  WANTED  FILL  SENT  RECEIVED\n"
              "1        1      9          7       78 %  26    22\n"
              "\n"
              "READ ALONG  AREA  ADDRESS  BETWEEN       AND\n"
              "2           1     2        Main.counter  Main.setpoint\n");
}

TEST_F(PlanCommandTest, APlanAsJson) {
    const json document = plan({"Main.counter", "Main.setpoint", "Main.enable"});
    EXPECT_EQ(document["plan"]["tags"], 3);
    EXPECT_EQ(document["plan"]["max_request_words"], 100);
    EXPECT_EQ(document["plan"]["requests"], 1);
    EXPECT_EQ(document["plan"]["items"], 1);
    EXPECT_EQ(document["plan"]["bytes_asked"], 9);
    EXPECT_EQ(document["plan"]["bytes_wanted"], 7);
    EXPECT_EQ(document["plan"]["bytes_read_along"], 2);
    EXPECT_EQ(document["plan"]["bytes_sent"], 26);
    EXPECT_EQ(document["plan"]["bytes_received"], 22);
    EXPECT_EQ(document["plan"]["pass_ms"], 6.0);
    EXPECT_EQ(document["per_request"].size(), 1u);
    EXPECT_EQ(document["gaps"], json::parse(R"([{"area": 1, "address": 2, "bytes": 2,
                                                 "before": "Main.counter", "behind": "Main.setpoint"}])"));
    EXPECT_FALSE(document.contains("what_if"));
    EXPECT_FALSE(document.contains("expect"));
}

TEST_F(PlanCommandTest, TimesAndSizeAreOptions) {
    const json document =
        plan({"Main.counter", "--round-trip", "0.5", "--plc-time", "20", "--max-request-words", "250"});
    EXPECT_EQ(document["plan"]["pass_ms"], 20.5);
    EXPECT_EQ(document["plan"]["pass_with_look_ms"], 41.0);
    EXPECT_EQ(document["plan"]["max_request_words"], 250);
}

TEST_F(PlanCommandTest, OtherSizesAreTriedTheBestFirst) {
    symbols = write("wide.json", R"({"format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 9000}],
        "scopes": [{"name": "Main", "variables": [
          {"name": "wide", "type": "INT", "area": 1, "offset": 0, "array": [[1, 1800]]}]}]})");
    const json document = plan({"Main.wide", "--what-if=500"});
    ASSERT_EQ(document["what_if"].size(), 491u);
    const auto requests = [&document](int words) {
        for (const json& size : document["what_if"]) {
            if (size["max_request_words"] == words) {
                return size["requests"].get<int>();
            }
        }
        return 0;
    };
    EXPECT_EQ(requests(99), 5) << "18 items of 198 bytes and one of 36, four a request";
    EXPECT_EQ(requests(100), 6) << "18 items of 200 bytes, three a request";
    EXPECT_EQ(requests(250), 7) << "7 items of 500 bytes, the last with 100 more bytes";
    EXPECT_EQ(requests(500), 4) << "3 items of 1000 bytes and one of 600";
    for (std::size_t i = 1; i < document["what_if"].size(); ++i) {
        EXPECT_LE(document["what_if"][i - 1]["pass_ms"], document["what_if"][i]["pass_ms"]) << i;
    }
    EXPECT_EQ(document["what_if_note"], "only the PLC can tell what it accepts");
    EXPECT_THAT(host({"plan", "Main.wide", "--what-if"}).out,
                AllOf(HasSubstr("only the PLC can tell what it accepts"), HasSubstr("  now\n")));
}

TEST_F(PlanCommandTest, TheSizeInUseAndTheLargestHaveTheirOwnFigures) {
    symbols = write("wide.json", R"({"format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 9000}],
        "scopes": [{"name": "Main", "variables": [
          {"name": "wide", "type": "INT", "area": 1, "offset": 0, "array": [[1, 1800]]}]}]})");
    const std::string text = host({"plan", "Main.wide", "--what-if=101"}).out;
    EXPECT_THAT(text, HasSubstr("\n100 "));
    EXPECT_THAT(text, HasSubstr("\n101 "));
    const json beyond = plan({"Main.wide", "--what-if=50"});
    ASSERT_EQ(beyond["what_if"].size(), 42u) << "10 to 50, and the 100 in use";
    const std::string mixed = host({"plan", "Main.wide", "--what-if=50"}).out;
    EXPECT_THAT(mixed, HasSubstr("\n50 "));
    EXPECT_THAT(mixed, HasSubstr("  now\n"));
    EXPECT_THAT(host({"plan", "Main.wide", "--what-if=20", "--max-request-words", "5"}).out, HasSubstr("  now\n"));
}

TEST_F(PlanCommandTest, ALaterPlanIsHeldAgainstAnEarlierOne) {
    const std::string earlier = write("plan.json", host({"plan", "--json", "Main.counter", "Main.setpoint"}).out);
    const Result same = host({"plan", "Main.counter", "Main.setpoint", "--expect", earlier});
    EXPECT_EQ(same.exitCode, 0);
    EXPECT_THAT(same.out, HasSubstr("It costs what " + earlier + " says.\n"));
    const Result larger = host({"plan", "Main.counter", "Main.setpoint", "Main.start", "--expect", earlier});
    EXPECT_EQ(larger.exitCode, 3);
    EXPECT_EQ(larger.error, "");
    EXPECT_THAT(larger.out, HasSubstr("items  ")) << larger.out;
    EXPECT_THAT(larger.out, HasSubstr("1       2    grew\n"));
    const Result asJson = host({"plan", "--json", "Main.counter", "Main.setpoint", "Main.start", "--expect", earlier});
    EXPECT_EQ(asJson.exitCode, 3);
    EXPECT_EQ(json::parse(asJson.out)["expect"]["grew"], true);
    EXPECT_EQ(json::parse(asJson.out)["expect"]["changes"][0],
              json::parse(R"({"figure": "items", "before": 1, "now": 2})"));
    EXPECT_THAT(larger.out,
                HasSubstr("\nNot what " + earlier + " was made of: it is not the same list: 2 tags before, 3 now.\n"));
    EXPECT_EQ(json::parse(asJson.out)["expect"]["not_the_same"],
              json::parse(R"([{"what": "tags", "text": "it is not the same list: 2 tags before, 3 now"}])"));
    EXPECT_THAT(host({"plan", "--max-request-words", "250", "Main.counter", "Main.setpoint", "--expect", earlier}).out,
                HasSubstr("it is not the same --max-request-words: 100 before, 250 now.\n"));
    EXPECT_THAT(same.out, Not(HasSubstr("Not what")));
    const Result smaller = host({"plan", "Main.counter", "--expect", earlier});
    EXPECT_EQ(smaller.exitCode, 0);
    EXPECT_THAT(smaller.out, HasSubstr("less\n"));
    EXPECT_THAT(smaller.out, Not(HasSubstr("grew\n")));
}

TEST_F(PlanCommandTest, AnEarlierPlanThatIsNoneIsAnErrorOfTheFile) {
    for (const char* const content : {"", "{", "requests: 5"}) {
        const Result result = host({"plan", "Main.counter", "--expect", write("other.json", content)});
        EXPECT_EQ(result.exitCode, 2) << content;
        EXPECT_EQ(result.error,
                  "file: " + path("other.json") + ": is no JSON; name a file that plan --json has written\n");
    }
    const std::string contents[] = {"[]", "{}", R"({"plan": {}})", R"({"plan": {"requests": "5"}})",
                                    R"({"plan": {"requests": 5}})"};
    for (const std::string& content : contents) {
        const Result result = host({"plan", "Main.counter", "--expect", write("other.json", content)});
        EXPECT_EQ(result.exitCode, 2) << content;
        EXPECT_THAT(result.error, StartsWith("file: " + path("other.json") + ": is no plan, ")) << content;
    }
    const Result missing = host({"plan", "Main.counter", "--expect", path("nothing")});
    EXPECT_EQ(missing.exitCode, 2);
    EXPECT_EQ(missing.error, "file: " + path("nothing") + ": cannot be read: No such file or directory\n");
    const Result folder = host({"plan", "Main.counter", "--expect", path("")});
    EXPECT_EQ(folder.exitCode, 2);
    EXPECT_EQ(folder.error, "file: " + path("") + ": cannot be read: Is a directory\n");
}

// The five that check calls errors; a tag that is given twice is only a warning.
TEST_F(PlanCommandTest, WhatIsWrongInAListCanBeLeftOut) {
    const std::string list = "@" + ac500::test::projectFile("examples/panel-tags.txt");
    const Result strict = host({"plan", list});
    EXPECT_EQ(strict.exitCode, 3);
    EXPECT_EQ(strict.out, "");
    const Result result = host({"plan", "--skip-wrong", "--what-if=250", list});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.error, "note: 5 of 12 tags are left out; ac500-host check tells why\n");
    EXPECT_THAT(result.out, StartsWith("Tags                7\n"));
    EXPECT_THAT(result.out, HasSubstr("What if"));
    EXPECT_EQ(plan({"--skip-wrong", list})["plan"]["tags"], 7);
    EXPECT_EQ(host({"plan", "--skip-wrong", "Main.counter"}).error, "");
    EXPECT_EQ(host({"plan", "--skip-wrong", "Main.counter", "Nowhere.*"}).error,
              "note: 1 of 2 tags are left out; ac500-host check tells why\n");
    const Result none = host({"plan", "--skip-wrong", "Main.countr"});
    EXPECT_EQ(none.exitCode, 3);
    EXPECT_THAT(none.error, HasSubstr("name: no tag is left to plan; ac500-host check tells why\n"));
    EXPECT_EQ(host({"plan", "--skip-wrong", "@" + path("none.txt")}).exitCode, 2);
}

TEST_F(PlanCommandTest, MemoryIsDrawnInCharacters) {
    const Result result = host({"plan", "Main.counter", "Main.setpoint", "Main.enable", "--map"});
    EXPECT_THAT(result.out, HasSubstr("\nArea 1\n    0 |##--#####" + std::string(55, '.') + "| 1\n"));
}

TEST_F(PlanCommandTest, MemoryIsDrawnIntoAFile) {
    EXPECT_EQ(host({"plan", "Main.*", "--svg", path("plan.svg")}).exitCode, 0);
    EXPECT_THAT(read("plan.svg"), StartsWith("<svg "));
    EXPECT_THAT(read("plan.svg"), HasSubstr("What is read of the PLC's memory for 28 tags"));
    for (const std::string& bad : {std::string("/dev/full"), path("no/such/folder.svg")}) {
        const Result result = host({"plan", "Main.*", "--svg", bad});
        EXPECT_EQ(result.exitCode, 7) << bad;
        EXPECT_THAT(result.error, StartsWith("output: " + bad + ": the picture cannot be written: No s")) << bad;
        EXPECT_EQ(result.out, "");
    }
}

TEST_F(PlanCommandTest, WrongUseIsTold) {
    EXPECT_EQ(host({"plan"}).exitCode, 1);
    EXPECT_EQ(host({"plan", "Main.counter", "--what-if=9"}).exitCode, 1);
    EXPECT_EQ(host({"plan", "Main.counter", "--what-if=32001"}).exitCode, 1);
    EXPECT_EQ(host({"plan", "Main.counter", "--plc-time", "-1"}).exitCode, 1);
    for (const Words& words : {Words{"--round-trip", "nan"}, Words{"--plc-time", "NaN"}, Words{"--plc-time", "inf"}}) {
        const Result result = host({"plan", "Main.counter", words[0], words[1]});
        EXPECT_EQ(result.exitCode, 1) << words[0];
        EXPECT_THAT(result.error, StartsWith("usage: " + words[0] + ": Value " + words[1] + " ")) << words[0];
    }
    EXPECT_EQ(host({"watch", "Main.counter", "--seconds", "nan"}).exitCode, 1);
    const Result noSize = host({"plan", "Main.counter", "--what-if="});
    EXPECT_EQ(noSize.exitCode, 1);
    EXPECT_THAT(noSize.error, StartsWith("usage: --what-if=: the size is missing; write e.g. --what-if=250; "));
    const Result apart = host({"plan", "--what-if", "250", "Main.counter"});
    EXPECT_EQ(apart.exitCode, 1);
    EXPECT_THAT(apart.error, StartsWith("usage: 250 is no tag; write --what-if=250; "));
    EXPECT_EQ(host({"plan", "--json", "Main.counte"}).exitCode, 3);
    const Result wrong = host({"plan", "Main.counte", "Main.counter"});
    EXPECT_EQ(wrong.exitCode, 3);
    EXPECT_THAT(wrong.error, StartsWith("name: \"Main.counte\": "));
    EXPECT_EQ(host({"--driver", "/no/such.so", "plan", "Main.counter"}).exitCode, 1) << "given twice";
}

TEST_F(PlanCommandTest, AnOutputThatIsFullOrGone) {
    EXPECT_EQ(hostWith(">/dev/full", {"plan", "Main.counter"}).exitCode, 7);
    const std::string earlier = write("plan.json", host({"plan", "--json", "Main.counter"}).out);
    EXPECT_EQ(hostWith(">/dev/full", {"plan", "Main.*", "--expect", earlier}).exitCode, 7) << "which is larger";
    const Result result = hostWith("| head -n 1", {"plan", "--json", "Main.**"});
    EXPECT_EQ(result.out, "{\n");
    EXPECT_EQ(result.error, "");
}

// 200 bytes of a hundred tags, then 100 that nobody wants: the next hundred begin out of reach of the item before.
TEST_F(PlanCommandTest, FiftyThousandTags) {
    useManyTags();
    EXPECT_EQ(host({"plan", "@" + manyTags, "--max", std::to_string(kManyTags - 1)}).exitCode, 1);
    const json document = plan({"@" + manyTags, "--max", std::to_string(kManyTags), "--svg", path("many.svg")});
    EXPECT_EQ(document["plan"]["tags"], kManyTags);
    EXPECT_EQ(document["plan"]["items"], kManyTags / 100);
    EXPECT_EQ(document["plan"]["requests"], (kManyTags / 100 + 2) / 3) << "three items a request";
    EXPECT_EQ(document["plan"]["bytes_asked"], 2 * kManyTags);
    EXPECT_EQ(document["plan"]["bytes_read_along"], 0);
    EXPECT_LT(read("many.svg").size(), 2000000u);
}

}  // namespace
