// What a code means, as a user asks it.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "tests/end_to_end/desk_commands.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

class ExplainCommandTest : public ac500::test::DeskCommandTest {
protected:
    // Without driver and symbols: the command needs neither.
    Result explain(const Words& words) const {
        Words all{"explain"};
        all.insert(all.end(), words.begin(), words.end());
        return run(ac500::test::kHostProgram, all);
    }

    static std::vector<std::string> kinds(const std::string& document) {
        std::vector<std::string> all;
        const json parsed = json::parse(document, nullptr, false);
        for (const json& code : parsed["codes"]) {
            all.push_back(code["kind"]);
        }
        return all;
    }
};

TEST_F(ExplainCommandTest, ANumberIsExplainedInEveryMeaning) {
    const Result result = explain({"12"});
    EXPECT_THAT(result.out,
                StartsWith("12 may be 3 things:\n\nstatus 11 - 22 kRefusedBase: status of a request, from the "
                           "driver\n  meaning     The PLC refused the request"));
    EXPECT_THAT(result.out, HasSubstr("\n              12 says that the variable served first has hostId 1\n"));
    EXPECT_THAT(result.out, HasSubstr("\n\nresolution 12 kNoArea: answer of the driver to a tag name\n"));
    EXPECT_THAT(result.out, HasSubstr("\n\nrecord 12 kStructureType: code in a shared record\n"));
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.exitCode, 0);
    for (std::size_t at = 0, end = 0; end != std::string::npos; at = end + 1) {
        end = result.out.find('\n', at);
        EXPECT_LE(result.out.substr(at, end - at).size(), 100u);
    }
}

TEST_F(ExplainCommandTest, AKindInFrontSaysWhichIsMeantAndAloneStandsForAllOfIt) {
    EXPECT_EQ(explain({"exit", "3"}).out.substr(0, 33), "exit 3 name: exit code of ac500-h");
    EXPECT_EQ(kinds(explain({"--json", "exit", "3", "plc", "0x0301", "770"}).out),
              (std::vector<std::string>{"exit", "plc", "plc"}));
    EXPECT_EQ(kinds(explain({"--json", "sim-exit"}).out), std::vector<std::string>(6, "sim-exit"));
}

TEST_F(ExplainCommandTest, WhatIsNoCodeIsToldAndTheOthersAreExplained) {
    const Result result = explain({"kNoAera", "0x0777", "201", "\x1b[31m"});
    EXPECT_THAT(result.out, StartsWith("status 201 kStatusHandshakeRejected: "));
    EXPECT_THAT(result.error, StartsWith("name: kNoAera is no code; did you mean noarea; "));
    EXPECT_THAT(result.error,
                HasSubstr("\nname: 0x0777 is none of these codes; as a status word of a reply it is one of "
                          "the PLC's firmware"));
    EXPECT_THAT(result.error, HasSubstr("\nname: ?[31m is no code; "));
    EXPECT_EQ(result.exitCode, 3);
}

TEST_F(ExplainCommandTest, WithoutACodeAllAreListed) {
    const Result result = explain({});
    EXPECT_THAT(result.out, StartsWith("KIND        CODE       NAME                      MEANING\n"
                                       "status      0          kStatusPending            incomplete, or bad"));
    EXPECT_THAT(result.out, HasSubstr("\nplc         0x0302                               item out of range\n"));
    EXPECT_EQ(result.exitCode, 0);
}

TEST_F(ExplainCommandTest, ProgramsGetADocument) {
    const Result result = host({"explain", "--json", "200"});
    const json document = json::parse(result.out);
    ASSERT_EQ(document["codes"].size(), 1u);
    EXPECT_EQ(document["codes"][0]["name"], "kStatusUnknownOutcome");
    EXPECT_EQ(document["codes"][0]["meaning"], "GetDriverReturnValue was asked for an outcome that does not exist.");
    EXPECT_GT(json::parse(host({"explain", "--json"}).out)["codes"].size(), 90u);
    const Result unknown = host({"explain", "--json", "4711"});
    EXPECT_EQ(json::parse(unknown.out)["error"]["code"], 3);
    EXPECT_EQ(unknown.exitCode, 3);
}

TEST_F(ExplainCommandTest, AFullDiskIsTold) {
    const Result result = hostWith("> /dev/full", {"explain"});
    EXPECT_THAT(result.error, StartsWith("output: "));
    EXPECT_EQ(result.exitCode, 7);
}

}  // namespace
