// The command line of ac500-sim.
#include "tools/simulator/options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ac500::sim {
namespace {

using testing::HasSubstr;

TEST(Options, TheSymbolFileIsAllThatIsNeeded) {
    const ParsedOptions parsed = parseOptions({"--symbols", "plant.json"});
    ASSERT_TRUE(parsed.run) << parsed.text;
    EXPECT_EQ(parsed.options.symbols, "plant.json");
    EXPECT_EQ(parsed.options.address, "127.0.0.1");
    EXPECT_EQ(parsed.options.port, 1201);
    EXPECT_EQ(parsed.options.seed, 1U);
    EXPECT_TRUE(parsed.options.faults.empty());
    EXPECT_FALSE(parsed.options.quiet);
    EXPECT_FALSE(parsed.options.verbose);
    EXPECT_EQ(parsed.options.runSeconds, 0);
    EXPECT_EQ(parsed.options.limits.maxClients, 64);
    EXPECT_EQ(parsed.options.limits.requestMs, 10000);
    EXPECT_EQ(parsed.options.limits.idleMs, 10000);
    EXPECT_EQ(parsed.options.mostReplyBytes, 65535);
}

TEST(Options, EveryOptionArrives) {
    const ParsedOptions parsed = parseOptions({"--port",
                                               "0",
                                               "--address",
                                               "127.0.0.2",
                                               "--seed",
                                               "18446744073709551615",
                                               "--fault",
                                               "reset:every=50",
                                               "--verbose",
                                               "--fault",
                                               "silence:at=3",
                                               "--run-seconds",
                                               "2.5",
                                               "--symbols=p",
                                               "--max-clients",
                                               "7",
                                               "--request-seconds",
                                               "0.25",
                                               "--max-reply",
                                               "300",
                                               "--idle-seconds",
                                               "3"});
    ASSERT_TRUE(parsed.run) << parsed.text;
    EXPECT_EQ(parsed.options.port, 0);
    EXPECT_EQ(parsed.options.address, "127.0.0.2");
    EXPECT_EQ(parsed.options.seed, 18446744073709551615U);
    ASSERT_EQ(parsed.options.faults.size(), 2U);
    EXPECT_EQ(parsed.options.faults[0].fault.kind, FaultKind::Reset);
    EXPECT_EQ(parsed.options.faults[1].fault.kind, FaultKind::Silence);
    EXPECT_TRUE(parsed.options.verbose);
    EXPECT_EQ(parsed.options.runSeconds, 2.5);
    EXPECT_EQ(parsed.options.limits.maxClients, 7);
    EXPECT_EQ(parsed.options.limits.requestMs, 250);
    EXPECT_EQ(parsed.options.limits.idleMs, 3000);
    EXPECT_EQ(parsed.options.mostReplyBytes, 300);
}

TEST(Options, AnAddressMayCarryItsPort) {
    const ParsedOptions parsed = parseOptions({"--symbols", "p", "--address", "[::1]:502"});
    ASSERT_TRUE(parsed.run) << parsed.text;
    EXPECT_EQ(parsed.options.address, "::1");
    EXPECT_EQ(parsed.options.port, 502);
}

TEST(Options, WrongUsageSaysWhatAndExitsWithOne) {
    struct Row {
        std::vector<std::string> arguments;
        const char* text;
    };
    const Row rows[] = {
        {{}, "--symbols is required"},
        {{"--symbols", "p", "--port", "65536"}, "--port: Value 65536 not in range 0 to 65535"},
        {{"--symbols", "p", "--port", "-1"}, "--port"},
        {{"--symbols", "p", "--seed", "x"}, "--seed"},
        {{"--symbols", "p", "--run-seconds", "-1"}, "--run-seconds"},
        {{"--symbols", "p", "--run-seconds", "nan"}, "--run-seconds: Value nan is no number"},
        {{"--symbols", "p", "--request-seconds", "nan"}, "--request-seconds: Value nan is no number"},
        {{"--symbols", "p", "--idle-seconds", "nan"}, "--idle-seconds: Value nan is no number"},
        {{"--symbols", "p", "--max-clients", "0"}, "--max-clients"},
        {{"--symbols", "p", "--request-seconds", "0"}, "--request-seconds"},
        {{"--symbols", "p", "--idle-seconds", "-1"}, "--idle-seconds"},
        {{"--symbols", "p", "--quiet", "--verbose"}, "excludes"},
        {{"--symbols", "p", "--turbo"}, "ac500-sim: there is no option \"--turbo\"\n"},
        {{"--symbls", "p"}, "ac500-sim: there is no option \"--symbls\"; did you mean \"--symbols\"?\n"},
        {{"--symbols", "p", "--address", "::1"}, "--address ::1 is no IP[:PORT]; write e.g. 127.0.0.1 or [::1]:1201"},
        {{"--symbols", "p", "--address", "[::1]:5", "--port", "6"}, "--address [::1]:5 and --port both give a port"},
        {{"--symbols", "p", "stray"}, "ac500-sim: \"stray\" is one argument too many\n"},
        {{"--symbols", "p", "--load", ""}, "ac500-sim: --load is given without a value\n"},
        {{"--symbols", "p", "--load=", "q"}, "ac500-sim: --load is given without a value\n"},
        {{"--symbols", "p", "--fault", "slow"}, "there is no fault \"slow\""},
    };
    for (const Row& row : rows) {
        const ParsedOptions parsed = parseOptions(row.arguments);
        EXPECT_FALSE(parsed.run) << row.text;
        EXPECT_EQ(parsed.exitCode, 1) << row.text;
        EXPECT_THAT(parsed.text, HasSubstr(row.text));
        EXPECT_THAT(parsed.text, HasSubstr("Try ac500-sim --help."));
    }
}

TEST(Options, HelpTellsEverythingAndExitsWithZero) {
    const ParsedOptions parsed = parseOptions({"--help"});
    EXPECT_FALSE(parsed.run);
    EXPECT_EQ(parsed.exitCode, 0);
    for (const char* word :
         {"--symbols", "--port", "--address", "--seed", "--fault", "--quiet", "--verbose", "--run-seconds",
          "0: without end", "silence:at=10,count=2", "Sim.fault_kind", "Exit codes"}) {
        EXPECT_THAT(parsed.text, HasSubstr(word));
    }
}

TEST(Options, ASecondProgramAndWhenItIsLoaded) {
    const ParsedOptions parsed = parseOptions({"--symbols", "a.json", "--load", "b.json", "--at", "1.5"});
    EXPECT_TRUE(parsed.run);
    EXPECT_EQ(parsed.options.load, "b.json");
    EXPECT_EQ(parsed.options.loadAt, 1.5);
    EXPECT_LT(parseOptions({"--symbols", "a.json", "--load", "b.json"}).options.loadAt, 0);
    EXPECT_EQ(parseOptions({"--symbols", "a.json", "--at", "1"}).exitCode, 1) << "there is nothing to load";
    EXPECT_EQ(parseOptions({"--symbols", "a.json", "--load", "b.json", "--at", "-1"}).exitCode, 1);
}

}  // namespace
}  // namespace ac500::sim
