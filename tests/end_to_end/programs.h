// The programs of this project as a user starts them, with a simulated PLC for those that need one.
#ifndef AC500_TESTS_END_TO_END_PROGRAMS_H
#define AC500_TESTS_END_TO_END_PROGRAMS_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/json_schema.h"
#include "tests/support/places.h"

namespace ac500::test {

constexpr int kProgramPatienceMs = 60000;
inline const std::string kPlantFile = projectFile("examples/plant.json");

struct Outcome {
    int exitCode = -1;
    std::string out;
    std::string error;
};

using Texts = std::vector<std::string>;

inline Texts operator+(Texts texts, const Texts& more) {
    texts.insert(texts.end(), more.begin(), more.end());
    return texts;
}

class CommandLineTest : public testing::Test {
protected:
    void TearDown() override {
        if (simulator_.isRunning()) {
            simulator_.sendSignal(SIGTERM);
            EXPECT_TRUE(simulator_.waitForEnd(kProgramPatienceMs));
        }
    }

    void startSimulator(const Texts& options = {}, const std::string& symbols = kPlantFile) {
        const Texts arguments{"--symbols", symbols, "--port", "0", "--quiet"};
        ASSERT_TRUE(simulator_.start(kSimulatorProgram, arguments + options));
        const std::string line = simulator_.takeLine(kProgramPatienceMs);
        plc_ = line.substr(line.rfind(' ') + 1);
        ASSERT_THAT(plc_, testing::MatchesRegex("127\\.0\\.0\\.1:[0-9]+")) << simulator_.takeErrors();
    }

    Texts usual() const { return {"--driver", kDriver, "--symbols", kPlantFile, "--plc", plc_}; }

    // Output for programs is held against the schema of its command.
    static Outcome runHost(const Texts& arguments) {
        Outcome outcome = run(kHostProgram, arguments);
        if (std::find(arguments.begin(), arguments.end(), "--json") != arguments.end()) {
            expectSchema(arguments, outcome.out);
        }
        return outcome;
    }

    static void expectSchema(const Texts& arguments, const std::string& out) {
        const auto command = std::find_if(arguments.begin(), arguments.end(), hasOutputSchema);
        ASSERT_NE(command, arguments.end()) << "docs/schema/ has no schema of this command";
        std::istringstream lines(out);
        std::string text = out;
        while (*command == "watch" ? bool(std::getline(lines, text)) : !text.empty()) {
            EXPECT_EQ(outputComplaints(*command, text), "");
            text.clear();
        }
    }

    static Outcome run(const char* program, const Texts& arguments) {
        ChildProcess process;
        EXPECT_TRUE(process.start(program, arguments) && process.waitForEnd(kProgramPatienceMs));
        return {process.exitCode(), process.takeOutput(), process.takeErrors()};
    }

    // The same with some redirection of a shell.
    static Outcome runHostWith(const std::string& redirection, const Texts& arguments) {
        return run("sh", Texts{"-c", "exec \"$0\" \"$@\" " + redirection, kHostProgram} + arguments);
    }

    // With driver, symbols and PLC.
    Outcome host(const Texts& arguments) const { return runHost(usual() + arguments); }

    ChildProcess simulator_;
    std::string plc_ = "127.0.0.1:1";  // nobody listens there
};

}  // namespace ac500::test

#endif
